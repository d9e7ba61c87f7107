#pragma once

#include "ControlValues.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QList>
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
    bool allowMissing = false;  // --allow-missing: --evaluate merges shards that lack rows
    // The exit status when cases failed but every one is listed; a cluster may want 0 for it.
    int failedCasesExit = 1;

    // One option as the outputs record it: its key (in result.json's provenance and, for an
    // analysis option, as summary.csv's column), its value, and whether it can change a case's
    // numbers or verdict (then summaries made with other values are not one cohort).
    struct Recorded
    {
        QString key;
        QJsonValue value;
        bool analysis = false;
    };
    // Every option, in the order the outputs show them.
    QList<Recorded> recorded() const;

    // Every option as result.json records it, so a result says how it was made.
    QJsonObject toJson() const;

    // The keys of the analysis options, in recorded() order (smallArea and pathology first).
    static const QStringList& analysisKeys();
    // Their values as summary.csv writes them (optionText), in the same order.
    QStringList analysisTexts() const;

    // The window's controls before a project load: the form's start values with the options.
    ControlValues controlsBeforeLoad() const;
};

// An option's value as text: numbers as short as they read back exactly, switches yes/no,
// lists joined by ", " (the product: T2, DWI, ADC in that order).
QString optionText(const QJsonValue& value);

// Run: projects and/or a manifest; Evaluate: --evaluate.
enum class BatchCommand { Run, Evaluate, ListSeries, Help, Version, UsageError };

// The exit status a --failed-cases-exit may choose: above it are the shell's own.
constexpr int kMaximumFailedCasesExit = 125;

// arguments without the program name. On UsageError, *error says what is wrong.
BatchCommand parseBatchArguments(const QStringList& arguments, BatchOptions* options,
                                 QString* error);

QString batchUsage();

} // namespace kelvara
