// A 16-case cohort (the heavy sample case: radius-100 discs on all three modalities, all PNGs
// written) run as kelvara-batch runs a manifest, with --jobs 1 and --jobs 2: the ratio of the
// two wall times is what parallel cases give on this machine (divide by 16 for one case). Progress lines go to stderr.
#include "BenchSupport.h"
#include "CohortCommand.h"

#include <QFile>

#include <benchmark/benchmark.h>

namespace {

constexpr int kCases = 16;

void BM_Cohort16(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString project = heavyProject(dir);
    // A manifest names each project file once: sixteen copies of the one project.
    QByteArray manifest = "project,label\n";
    bool copied = !project.isEmpty();
    for (int i = 0; i < kCases && copied; ++i) {
        const QString copy = dir.filePath(QStringLiteral("case%1.kelvara").arg(i));
        copied = QFile::copy(project, copy);
        manifest += QFile::encodeName(copy) + (i % 2 ? ",1\n" : ",0\n");
    }
    QFile file(dir.filePath(QStringLiteral("cohort.csv")));
    if (!copied || !file.open(QIODevice::WriteOnly) || file.write(manifest) < 0) {
        state.SkipWithError("cannot prepare the cohort");
        return;
    }
    file.close();
    kelvara::BatchOptions options;
    options.manifest = file.fileName();
    options.outDir = dir.filePath(QStringLiteral("out"));
    options.jobs = int(state.range(0));
    for (auto _ : state)
        if (kelvara::runCases(options) != 0) {
            state.SkipWithError("a case failed");
            return;
        }
}
BENCHMARK(BM_Cohort16)->ArgName("jobs")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
