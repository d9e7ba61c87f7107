#pragma once

#include "BatchOptions.h"

namespace kelvara {

// kelvara-batch --evaluate: reads the summaries, merges them in order and writes
// evaluation.json and report.html into options.outDir. Returns the exit status.
int evaluateSummaries(const BatchOptions& options);

// kelvara-batch's run: the projects named, then the manifest's rows of this shard, on
// options.jobs workers; writes the case folders, summary.csv, report.html and (when cases are
// labelled) evaluation.json. Returns the exit status: 1 when any case failed.
int runCases(const BatchOptions& options);

} // namespace kelvara
