#pragma once

#include "Manifest.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace kelvara {

struct CaseOutcome;

// What the verdicts of a run were made with; a summary carries it so that it can be evaluated
// (and merged with other shards) on its own.
struct CohortSettings
{
    QString version; // empty for a summary without rows: nothing was decided with it
    int smallAreaThreshold = 0;
    int pathologyThreshold = 0;

    bool operator==(const CohortSettings& o) const
    {
        return version == o.version && smallAreaThreshold == o.smallAreaThreshold &&
               pathologyThreshold == o.pathologyThreshold;
    }
};

// One case of summary.csv.
struct SummaryRow
{
    QString caseName; // its output folder beside summary.csv
    QString project;
    CaseLabel label;
    bool ok = true;
    QString error; // why it failed
    bool pathology = false;
    int suspiciousPixels = 0;
    double averageSignal = 0.0;
    double averageSignalNonMasked = 0.0;
    int keptAreaPixels = 0;
    QStringList extra; // the manifest's own columns
};

struct CohortSummary
{
    CohortSettings settings;
    QStringList extraColumns;
    QList<SummaryRow> rows;
};

// Every column summary.csv writes itself; a manifest may not use these names.
const QStringList& summaryColumns();

SummaryRow summaryRow(const CaseOutcome& outcome, const QString& project, const CaseLabel& label,
                      const QStringList& extra);

// One row per case in the given order, numbers written so that they read back bit-identical.
QByteArray summaryCsv(const CohortSummary& summary);
bool writeSummary(const QString& path, const CohortSummary& summary, QString* error);
// Refused, with *error naming the file and line: another header, a status, verdict, label or
// number that does not parse, rows made with different settings.
std::optional<CohortSummary> readSummary(const QString& path, QString* error);

} // namespace kelvara
