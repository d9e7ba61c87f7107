#include "CohortCommand.h"

#include "CohortEvaluation.h"
#include "CohortReport.h"
#include "CohortSummary.h"
#include "FileAccess.h"
#include "KelvaraVersion.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>

namespace kelvara {

namespace {

void printErr(const QString& text)
{
    std::fprintf(stderr, "kelvara-batch: %s\n", text.toLocal8Bit().constData());
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

int runCohort(const BatchOptions& options)
{
    if (!options.manifest.isEmpty()) {
        QString error;
        if (!readManifest(options.manifest, &error)) {
            printErr(error);
            return 1;
        }
    }
    printErr(QStringLiteral("running cases with --manifest, --jobs or --shard is not available "
                            "in this version yet; run the projects without these options"));
    return 2;
}

} // namespace kelvara
