#pragma once

#include "CohortEvaluation.h"
#include "CohortSummary.h"

#include <QByteArray>
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
};

// One self-contained page (nothing fetched, no script), HTML5 that is also well-formed XML.
QByteArray cohortReportHtml(const CohortReport& report);
bool writeCohortReport(const QString& path, const CohortReport& report, QString* error);

} // namespace kelvara
