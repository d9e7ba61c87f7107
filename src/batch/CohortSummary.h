#pragma once

#include "BatchOptions.h"
#include "Manifest.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <optional>

namespace kelvara {

struct CaseOutcome;

// What the verdicts of a run were made with and which part of which cohort it ran; a summary
// carries it so that it can be evaluated (and merged with other shards) on its own.
struct CohortSettings
{
    QString version; // empty for a summary without rows: nothing was decided with it
    // The analysis options as summary.csv writes them, in BatchOptions::analysisKeys() order.
    QStringList options;
    int smallAreaThreshold = 0; // the first two options as numbers
    int pathologyThreshold = 0;
    int shard = 1, shards = 1;
    // The manifest the rows come from; empty (and no rows) for projects named on the command
    // line only, which no manifest ties to a cohort.
    QString manifestSha256;
    int manifestRows = 0;

    bool hasManifest() const { return !manifestSha256.isEmpty(); }
    bool operator==(const CohortSettings& o) const
    {
        return version == o.version && options == o.options && shard == o.shard &&
               shards == o.shards && manifestSha256 == o.manifestSha256 &&
               manifestRows == o.manifestRows;
    }
};

// The settings of a run with these options (shard included) of a manifest with this hash and
// number of rows (empty hash: none).
CohortSettings cohortSettings(const BatchOptions& options, const QString& version,
                              const QString& manifestSha256 = {}, int manifestRows = 0);

// The facts that make runs parts of one cohort, named: version, each analysis option, the
// manifest, the number of shards.
QList<QPair<QString, QString>> runFacts(const CohortSettings& settings);
// The facts (and the shard) in which a differs from b, as "key value, ..."; *inB the same
// facts of b.
QString settingsDifference(const CohortSettings& a, const CohortSettings& b, QString* inB);

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
    QStringList extra;    // the manifest's own columns
    int manifestRow = -1; // 0-based; -1 for a project named on the command line
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
                      const QStringList& extra, int manifestRow);

// One row per case in the given order, numbers written so that they read back bit-identical.
QByteArray summaryCsv(const CohortSummary& summary);
bool writeSummary(const QString& path, const CohortSummary& summary, QString* error);
// Refused, with *error naming the file and line: another header, a status, verdict, label or
// number that does not parse, a count that is negative or not whole, a verdict that does not
// follow from the kept area, a manifest row outside the manifest or its shard or given twice,
// rows made with different settings.
std::optional<CohortSummary> readSummary(const QString& path, QString* error);
// The same on bytes already read from path.
std::optional<CohortSummary> parseSummary(const QByteArray& bytes, const QString& path,
                                          QString* error);

} // namespace kelvara
