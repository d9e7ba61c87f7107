#include "CohortCommand.h"

#include "BatchCase.h"
#include "BatchProgress.h"
#include "CaseQueue.h"
#include "CohortEvaluation.h"
#include "CohortMerge.h"
#include "CohortReport.h"
#include "CohortSummary.h"
#include "FileAccess.h"
#include "KelvaraVersion.h"
#include "Manifest.h"
#include "RunStaging.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QFileInfo>
#include <QHash>

#include <cstdio>
#include <unistd.h>

namespace kelvara {

namespace {

void printErr(const QString& text)
{
    printError(QStringLiteral("kelvara-batch: ") + text);
}

} // namespace

int evaluateSummaries(const BatchOptions& options)
{
    const QDir outDir(QFileInfo(options.outDir).absoluteFilePath());
    const QString summaryPath = outDir.filePath(QStringLiteral("summary.csv"));
    const QString summaryTarget = QFileInfo(summaryPath).canonicalFilePath();
    QList<SummaryFile> files;
    QHash<QString, QString> given; // canonical path -> as given
    for (const QString& path : options.summaries) {
        QString canonical = QFileInfo(path).canonicalFilePath();
        if (canonical.isEmpty())
            canonical = QFileInfo(path).absoluteFilePath();
        if (const auto earlier = given.constFind(canonical); earlier != given.cend()) {
            printErr(QStringLiteral("'%1' and '%2' are the same file; each shard is given once")
                         .arg(displayPath(*earlier), displayPath(path)));
            return 1;
        }
        given.insert(canonical, path);
        // The merged summary.csv would replace a summary that belongs to its case folders.
        if (canonical == summaryTarget) {
            printErr(QStringLiteral("'%1' is one of the summaries evaluated; give --out another "
                                    "folder for the merged summary.csv")
                         .arg(displayPath(summaryPath)));
            return 1;
        }
        QString error;
        std::optional<CohortSummary> s = readSummary(path, &error);
        if (!s) {
            printErr(error);
            return 1;
        }
        files << SummaryFile{path, std::move(*s)};
    }
    QString error;
    std::optional<CohortMerge> merge = mergeCohort(files, &error);
    if (!merge) {
        printErr(error);
        return 1;
    }
    if (!merge->complete()) {
        if (!options.allowMissing) {
            printErr(QStringLiteral("the summaries lack %1; give every shard's summary (or "
                                    "--allow-missing to evaluate what there is)")
                         .arg(missingText(*merge)));
            return 1;
        }
        printErr(QStringLiteral("note: incomplete cohort, it lacks %1").arg(missingText(*merge)));
    }

    CohortReport report;
    report.summary = merge->summary;
    CohortSettings& settings = report.summary.settings;
    if (settings.version.isEmpty()) // no summary has a row: nothing was decided
        settings = cohortSettings(BatchOptions(), QString::fromLatin1(versionString()));
    for (int i = 0; i < report.summary.rows.size(); ++i) {
        const auto& [file, name] = merge->origins[i];
        SummaryRow original = report.summary.rows[i];
        original.caseName = name;
        report.overlays << overlayLink(original, QFileInfo(files[file].path).absoluteDir(),
                                       outDir);
    }
    if (!QDir().mkpath(outDir.path())) {
        printErr(QStringLiteral("cannot create the output folder '%1'")
                     .arg(displayPath(options.outDir)));
        return 1;
    }
    const QStringList& keys = BatchOptions::analysisKeys();
    for (int i = 2; i < keys.size(); ++i) // the thresholds have rows of their own
        report.options << qMakePair(keys[i], settings.options.value(i));
    report.options << qMakePair(QStringLiteral("manifest"),
                                settings.hasManifest()
                                    ? QStringLiteral("SHA-256 %1, %2 rows")
                                          .arg(settings.manifestSha256)
                                          .arg(settings.manifestRows)
                                    : QStringLiteral("none"));
    QStringList shown;
    for (const QString& s : options.summaries)
        shown << displayPath(s);
    report.options << qMakePair(QStringLiteral("summaries evaluated"),
                                shown.join(QStringLiteral(", ")));
    report.missingShards = merge->missingShards;
    report.missingRows = merge->missingRows;
    report.missing = missingText(*merge);
    bool evaluated = false;
    if (!writeSummary(summaryPath, report.summary, &error) ||
        !writeCohortOutputs(outDir, report, &evaluated, &error)) {
        printErr(error);
        return 1;
    }
    if (!evaluated)
        printErr(QStringLiteral("note: no case has a label, so no evaluation.json is written"));
    std::printf("%d cases from %d summaries; summary.csv, %s written to %s\n",
                int(report.summary.rows.size()), int(options.summaries.size()),
                evaluated ? "evaluation.json and report.html" : "report.html",
                QFile::encodeName(terminalSafe(displayPath(outDir.path()))).constData());
    return 0;
}

int runCases(const BatchOptions& options)
{
    // The projects named on the line first, then the manifest's rows (of this shard only).
    struct Case
    {
        QString project; // as the user wrote it
        QString path;
        CaseLabel label;
        QStringList extra;
        int manifestRow = -1;
    };
    QList<Case> cases;
    QStringList extraColumns;
    QString manifestSha256;
    int manifestRows = 0;
    for (const QString& p : options.projects)
        cases << Case{p, p, std::nullopt, {}, -1};
    if (!options.manifest.isEmpty()) {
        QString error;
        const std::optional<Manifest> manifest = readManifest(options.manifest, &error);
        if (!manifest) {
            printErr(error);
            return 1;
        }
        extraColumns = manifest->extraColumns;
        manifestSha256 = manifest->sha256;
        manifestRows = int(manifest->rows.size());
        for (int i = 0; i < manifest->rows.size(); ++i) {
            const Manifest::Row& r = manifest->rows[i];
            if (inShard(i, options.shard, options.shards))
                cases << Case{r.project, r.projectPath, r.label, r.extra, i};
        }
        // Positional projects have no manifest columns; their cells stay empty.
        for (Case& c : cases)
            if (c.extra.isEmpty())
                c.extra = QStringList(extraColumns.size(), QString());
    }

    const QDir outDir(QFileInfo(options.outDir).absoluteFilePath());
    if (!QDir().mkpath(outDir.path())) {
        printErr(QStringLiteral("cannot create the output folder '%1'")
                     .arg(displayPath(options.outDir)));
        return 1;
    }
    // An earlier run's summary would look like this run's if this one is killed or fails.
    for (const char* name : {"summary.csv", "evaluation.json", "report.html"}) {
        const QString earlier = outDir.filePath(QLatin1String(name));
        if (QFileInfo(earlier).isFile() && !QFile::remove(earlier)) {
            printErr(QStringLiteral("cannot remove the earlier '%1'").arg(displayPath(earlier)));
            return 1;
        }
    }
    prepareProcessForCases();
    RunStaging::stopOnSignals();
    // Folders of earlier runs that were killed while writing a case.
    QStringList problems;
    for (const QString& removed : removeStaleStagingFolders(outDir.path(), &problems))
        printErr(QStringLiteral("note: removed '%1', left by an earlier run that was stopped")
                     .arg(displayPath(removed)));
    for (const QString& problem : std::as_const(problems))
        printErr(QStringLiteral("note: %1 (left by an earlier run that was stopped)").arg(problem));
    QStringList paths;
    for (const Case& c : cases)
        paths << c.path;
    QStringList taken;
    const QStringList folders = caseFolderNames(paths, outDir.path(), &taken);
    for (const QString& note : std::as_const(taken))
        printErr(QStringLiteral("note: ") + note);

    CohortReport report;
    report.summary.settings = cohortSettings(options, QString::fromLatin1(versionString()),
                                             manifestSha256, manifestRows);
    report.summary.extraColumns = extraColumns;
    const QJsonObject shown = options.toJson();
    for (auto it = shown.begin(); it != shown.end(); ++it)
        if (it.key() != QLatin1String("smallArea") && it.key() != QLatin1String("pathology"))
            report.options << qMakePair(it.key(), optionText(it.value()));

    // Workers only compute and write their own case folder; everything that is said or
    // collected happens here, in input order, so that the outputs are the same for any --jobs.
    struct Finished
    {
        CaseOutcome outcome;
        QStringList notes;
        double seconds = 0.0;
    };
    BatchProgress progress(int(cases.size()), isatty(fileno(stderr)) != 0);
    bool failed = false;
    runInOrder<Finished>(
        int(cases.size()), options.jobs,
        [&](int i) {
            Finished f;
            QElapsedTimer timer;
            timer.start();
            f.outcome = runBatchCase(cases[i].path, folders[i], options,
                                     [&f](const QString& text) { f.notes << text; });
            f.seconds = double(timer.nsecsElapsed()) / 1e9;
            return f;
        },
        [&](int i, Finished& f) {
            const CaseOutcome& o = f.outcome;
            for (const QString& n : std::as_const(f.notes))
                progress.note(QStringLiteral("kelvara-batch: note: %1").arg(n));
            if (o.ok()) {
                progress.caseFinished(QStringLiteral("%1: %2, %3 suspicious pixels (%4 s)")
                                          .arg(o.name, verdictText(o.pathology))
                                          .arg(o.statistics.suspiciousPixels)
                                          .arg(f.seconds, 0, 'f', 2));
            } else {
                failed = true;
                progress.caseFinished(QStringLiteral("kelvara-batch: case '%1' (%2) failed: %3")
                                          .arg(o.name, displayPath(cases[i].project), o.error));
            }
            report.summary.rows << summaryRow(o, cases[i].project, cases[i].label, cases[i].extra,
                                              cases[i].manifestRow);
            report.overlays << overlayLink(report.summary.rows.last(), outDir, outDir);
        });
    progress.finish();

    // A signal now ends the process only once these are written.
    const auto finishing = RunStaging::hold();
    QString error;
    bool evaluated = false;
    if (!writeSummary(outDir.filePath(QStringLiteral("summary.csv")), report.summary, &error) ||
        !writeCohortOutputs(outDir, report, &evaluated, &error)) {
        printErr(error);
        return 1;
    }
    return failed ? options.failedCasesExit : 0;
}

} // namespace kelvara
