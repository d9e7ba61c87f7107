#include "CohortCommand.h"

#include "BatchCase.h"
#include "BatchProgress.h"
#include "CaseQueue.h"
#include "CohortEvaluation.h"
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

#include <cstdio>
#include <unistd.h>

namespace kelvara {

namespace {

void printErr(const QString& text)
{
    printError(QStringLiteral("kelvara-batch: ") + text);
}

QString describe(const CohortSettings& s)
{
    return QStringLiteral("version %1, small area %2, pathology %3")
        .arg(s.version)
        .arg(s.smallAreaThreshold)
        .arg(s.pathologyThreshold);
}

// Rows of several summaries as one cohort, each ok case with its overlay image as the report
// in outDir links it (the case folders sit beside their summary.csv).
bool mergeSummaries(const QStringList& paths, const QDir& outDir, CohortReport* report)
{
    CohortSummary& merged = report->summary;
    QString settingsFrom, columnsFrom;
    for (const QString& path : paths) {
        QString error;
        const std::optional<CohortSummary> s = readSummary(path, &error);
        if (!s) {
            printErr(error);
            return false;
        }
        // A summary without rows decided nothing; it fits any other.
        if (!s->rows.isEmpty()) {
            if (settingsFrom.isEmpty()) {
                merged.settings = s->settings;
                settingsFrom = path;
            } else if (!(s->settings == merged.settings)) {
                printErr(QStringLiteral("'%1' was made with %2, '%3' with %4; their verdicts "
                                        "cannot be evaluated together")
                             .arg(displayPath(path), describe(s->settings),
                                  displayPath(settingsFrom), describe(merged.settings)));
                return false;
            }
        }
        if (columnsFrom.isEmpty()) {
            merged.extraColumns = s->extraColumns;
            columnsFrom = path;
        } else if (s->extraColumns != merged.extraColumns) {
            printErr(QStringLiteral("'%1' has the manifest columns (%2), '%3' has (%4)")
                         .arg(displayPath(path), s->extraColumns.join(QLatin1Char(',')),
                              displayPath(columnsFrom),
                              merged.extraColumns.join(QLatin1Char(','))));
            return false;
        }
        const QDir folder = QFileInfo(path).absoluteDir();
        for (const SummaryRow& r : s->rows) {
            report->overlays << overlayLink(r, folder, outDir);
            merged.rows << r;
        }
    }
    if (settingsFrom.isEmpty())
        merged.settings.version = QString::fromLatin1(versionString());
    return true;
}

// An option's value as the report shows it: lists joined, numbers and switches as written.
QString optionText(const QJsonValue& value)
{
    if (value.isArray()) {
        QStringList parts;
        for (const QJsonValue& v : value.toArray())
            parts << optionText(v);
        return parts.join(QStringLiteral(", "));
    }
    if (value.isBool())
        return value.toBool() ? QStringLiteral("yes") : QStringLiteral("no");
    if (value.isDouble())
        return QString::number(value.toDouble());
    return value.toString();
}

} // namespace

int evaluateSummaries(const BatchOptions& options)
{
    const QDir outDir(QFileInfo(options.outDir).absoluteFilePath());
    CohortReport report;
    if (!mergeSummaries(options.summaries, outDir, &report))
        return 1;
    if (!QDir().mkpath(outDir.path())) {
        printErr(QStringLiteral("cannot create the output folder '%1'")
                     .arg(displayPath(options.outDir)));
        return 1;
    }
    QStringList shown;
    for (const QString& s : options.summaries)
        shown << displayPath(s);
    report.options << qMakePair(QStringLiteral("summaries evaluated"),
                                shown.join(QStringLiteral(", ")));
    bool evaluated = false;
    QString error;
    if (!writeCohortOutputs(outDir, report, &evaluated, &error)) {
        printErr(error);
        return 1;
    }
    if (!evaluated)
        printErr(QStringLiteral("note: no case has a label, so no evaluation.json is written"));
    std::printf("%d cases from %d summaries; %s written to %s\n", int(report.summary.rows.size()),
                int(options.summaries.size()),
                evaluated ? "evaluation.json and report.html" : "report.html",
                QFile::encodeName(displayPath(outDir.path())).constData());
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
    };
    QList<Case> cases;
    QStringList extraColumns;
    for (const QString& p : options.projects)
        cases << Case{p, p, std::nullopt, {}};
    if (!options.manifest.isEmpty()) {
        QString error;
        const std::optional<Manifest> manifest = readManifest(options.manifest, &error);
        if (!manifest) {
            printErr(error);
            return 1;
        }
        extraColumns = manifest->extraColumns;
        for (int i = 0; i < manifest->rows.size(); ++i) {
            const Manifest::Row& r = manifest->rows[i];
            if (inShard(i, options.shard, options.shards))
                cases << Case{r.project, r.projectPath, r.label, r.extra};
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
    report.summary.settings = {QString::fromLatin1(versionString()), options.smallAreaThreshold,
                               options.pathologyThreshold};
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
            report.summary.rows << summaryRow(o, cases[i].project, cases[i].label, cases[i].extra);
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
    return failed ? 1 : 0;
}

} // namespace kelvara
