// The whole batch chain on the lesion sample with radius-100 disc smoothing on all three
// modalities, PNG writing included; the per-stage wall times of the last run are reported as
// counters (milliseconds). CPU time is that of the whole process, worker threads included.
// threads:1 runs the modalities' transforms and smoothings one after the other, as every case
// of kelvara-batch does (prepareProcessForCases); threads:2 shows what the window's pool gives.
#include "BatchCase.h"
#include "BenchSupport.h"

#include <benchmark/benchmark.h>

namespace {

void BM_BatchCaseRadius100(benchmark::State& state)
{
    kelvara::prepareProcessForCases();
    const PoolSize threads(int(state.range(0)));
    QTemporaryDir dir;
    const QString project = heavyProject(dir);
    if (project.isEmpty()) {
        state.SkipWithError("cannot prepare the sample project");
        return;
    }
    kelvara::BatchOptions options;
    options.outDir = dir.path();
    kelvara::CaseOutcome outcome;
    for (auto _ : state) {
        outcome = kelvara::runBatchCase(project, QStringLiteral("case"), options);
        if (!outcome.ok()) {
            state.SkipWithError(outcome.error.toStdString().c_str());
            return;
        }
    }
    const QJsonObject timings = outcome.result.value(QStringLiteral("timingsMs")).toObject();
    for (auto it = timings.begin(); it != timings.end(); ++it)
        state.counters[it.key().toStdString()] = it.value().toDouble();
}
BENCHMARK(BM_BatchCaseRadius100)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(3.0);

} // namespace

BENCHMARK_MAIN();
