#pragma once

#include "CohortEvaluation.h"
#include "CohortSummary.h"

#include <QByteArray>
#include <QDir>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace kelvara {

// What report.html shows. overlays[i] is the path of row i's evaluation_overlay.png relative to
// the report's folder, empty when there is none to show.
struct CohortReport
{
    CohortSummary summary;
    QStringList overlays;
    CohortEvaluation evaluation;
    QList<QPair<QString, QString>> options; // further settings worth naming, in order
    // What a merge allowed to be incomplete lacks; said at the top of the page and in
    // evaluation.json.
    QStringList missingShards;
    QList<int> missingRows;
    QString missing; // the same as one sentence part, empty when nothing is missing
};

// One self-contained page (nothing fetched, no script), HTML5 that is also well-formed XML
// and gives the same tree either way (hence the explicit tbody).
QByteArray cohortReportHtml(const CohortReport& report);
bool writeCohortReport(const QString& path, const CohortReport& report, QString* error);

// The row's caseRoot/<case>/evaluation_overlay.png as a path relative to reportDir; empty when
// the case failed or the image is not there.
QString overlayLink(const SummaryRow& row, const QDir& caseRoot, const QDir& reportDir);

// Evaluates report.summary, then writes evaluation.json (when a case has a label; otherwise an
// earlier one is removed, as it would be taken for this cohort's; with "missing" when the
// report has missing shards or rows) and report.html into outDir.
// *evaluated says whether evaluation.json was written; *error names the file that failed.
bool writeCohortOutputs(const QDir& outDir, CohortReport& report, bool* evaluated, QString* error);

} // namespace kelvara
