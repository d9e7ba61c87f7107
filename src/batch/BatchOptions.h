#pragma once

#include "ControlValues.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <array>

namespace kelvara {

// More workers than this would only queue for the same cores and memory.
constexpr int kMaximumJobs = 256;
// One worker per core, within 1..kMaximumJobs.
int defaultJobs();

// The command line of kelvara-batch. Options stand for window controls that a project does not
// store; each defaults to its control's start value and is limited as that control limits it.
struct BatchOptions
{
    QString outDir = QStringLiteral("kelvara-out");
    int smallAreaThreshold = 0;
    int pathologyThreshold = 0;
    double resultAutocorrectFactor = 1.0;
    std::array<bool, 3> productChecked{false, false, false};
    std::array<double, 3> productAmplification{1.0, 1.0, 1.0};
    bool logarithmic = true;
    bool planes = false;
    // Project values the window would replace by defaults (missing keys, wrong types, unknown
    // solution entries or image types) are used that way instead of failing the case.
    bool lenient = false;
    QStringList projects;
    QString listSeries; // --list-series PATH: list the DICOM series under PATH, analyse nothing
    QString manifest;   // --manifest FILE: a cohort, with or without projects named here
    int jobs = defaultJobs();
    int shard = 1, shards = 1;  // --shard I/N: only the manifest rows of shard I
    QStringList summaries;      // --evaluate: evaluate these summary.csv files, run nothing

    // Every option as result.json records it, so a result says how it was made.
    QJsonObject toJson() const;

    // The window's controls before a project load: the form's start values with the options.
    ControlValues controlsBeforeLoad() const;
};

// Run: projects and/or a manifest; Evaluate: --evaluate.
enum class BatchCommand { Run, Evaluate, ListSeries, Help, Version, UsageError };

// arguments without the program name. On UsageError, *error says what is wrong.
BatchCommand parseBatchArguments(const QStringList& arguments, BatchOptions* options,
                                 QString* error);

QString batchUsage();

} // namespace kelvara
