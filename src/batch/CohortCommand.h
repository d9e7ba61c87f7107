#pragma once

#include "BatchOptions.h"

namespace kelvara {

// kelvara-batch --evaluate: reads the summaries, merges them in order and writes
// evaluation.json and report.html into options.outDir. Returns the exit status.
int evaluateSummaries(const BatchOptions& options);

// kelvara-batch --manifest / --jobs / --shard. Returns the exit status.
int runCohort(const BatchOptions& options);

} // namespace kelvara
