// The "Filter symmetry" chain (raw symmetries of three modalities, then their smoothing) with
// the kernels that cost most, and the direct weighted sum it replaces on the same input.

#include "BenchSupport.h"
#include "SymmetryEngine.h"
#include "SymmetrySmoother.h"

#include <benchmark/benchmark.h>

#include <QImage>

#include <algorithm>
#include <ctime>
#include <random>

namespace {

constexpr int kCanvas = 512;
// A large AOI, so that most of the canvas carries image values.
constexpr int kAoiWidth = 400;
constexpr int kAoiHeight = 360;
constexpr int kX0 = 256 - kAoiWidth / 2;
constexpr int kY0 = 256 - kAoiHeight / 2;

struct Kernel
{
    int shape;  // 0 rectangle, 1 circle
    int x, y;   // rectangle extents
    int radius; // circle radius
};

constexpr Kernel kDisc100{1, 0, 0, 100};
constexpr Kernel kRect100{0, 100, 100, 1};

QImage noiseImage(unsigned seed)
{
    QImage image(kCanvas, kCanvas, QImage::Format_Grayscale8);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> grey(0, 255);
    for (int y = 0; y < kCanvas; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < kCanvas; ++x)
            line[x] = uchar(grey(random));
    }
    return image;
}

struct Case
{
    QImage t2 = noiseImage(1);
    QImage dwi = noiseImage(2);
    QImage adc = noiseImage(3);
};

const Case& input()
{
    static const Case c;
    return c;
}

void filterSymmetry(SymmetryEngine& engine, const Kernel& k, int approach)
{
    const Case& in = input();
    engine.computeRawSymmetries(in.t2, in.dwi, in.adc, kX0, kY0, kX0, kY0, kX0, kY0, false, true,
                                false);
    engine.smoothSymmetries(approach, approach, approach, kAoiWidth, kAoiHeight, 1, 1, k.shape,
                            k.shape, k.shape, k.x, k.y, k.x, k.y, k.x, k.y, k.radius, k.radius,
                            k.radius);
}

// threads:1 smooths the three modalities one after the other, threads:2 two at a time.
void BM_FilterSymmetry(benchmark::State& state, Kernel kernel, int approach)
{
    const PoolSize threads(int(state.range(0)));
    SymmetryEngine engine;
    engine.resize(kAoiWidth, kAoiHeight);
    for (auto _ : state) {
        filterSymmetry(engine, kernel, approach);
        benchmark::DoNotOptimize(engine.t2SmoothResult()[256][256]);
    }
}

// The same chain with every result cell computed by the direct weighted sum (one iteration:
// it takes many seconds). Also times the fast chain on the same input, reports the ratio and
// fails when any result differs by a single bit.
void BM_DirectReference(benchmark::State& state, Kernel kernel)
{
    SymmetryEngine engine;
    engine.resize(kAoiWidth, kAoiHeight);
    SymmetrySmoother direct[3];
    for (SymmetrySmoother& s : direct) {
        if (kernel.shape != 0)
            s.setCircleKernel(kernel.radius);
        else
            s.setRectangleKernel(kernel.x, kernel.y);
        s.prepareResult(0, 0);
    }
    const Case& in = input();
    // Processor time of this process, worker threads included: the machine is shared.
    auto cpuSeconds = [] { return double(std::clock()) / CLOCKS_PER_SEC; };
    double directSeconds = 0.0;
    for (auto _ : state) {
        const double start = cpuSeconds();
        engine.computeRawSymmetries(in.t2, in.dwi, in.adc, kX0, kY0, kX0, kY0, kX0, kY0, false,
                                    true, false);
        direct[0].smoothDirect(SmoothingApproach::AverageSymmetries, engine.t2Region(),
                               engine.t2RawSymmetry(), 0, 0, 1, 1);
        direct[1].smoothDirect(SmoothingApproach::AverageSymmetries, engine.dwiRegion(),
                               engine.dwiRawSymmetry(), 0, 0, 1, 1);
        direct[2].smoothDirect(SmoothingApproach::AverageSymmetries, engine.adcRegion(),
                               engine.adcRawSymmetry(), 0, 0, 1, 1);
        directSeconds += cpuSeconds() - start;
    }
    directSeconds /= double(std::max<benchmark::IterationCount>(state.iterations(), 1));

    // The fast chain on the same input: best of a few runs.
    double fastSeconds = 1e300;
    for (int run = 0; run < 5; ++run) {
        const double start = cpuSeconds();
        filterSymmetry(engine, kernel, 0);
        fastSeconds = std::min(fastSeconds, cpuSeconds() - start);
    }

    const double* const* fast[3] = {engine.t2SmoothResult(), engine.dwiSmoothResult(),
                                    engine.adcSmoothResult()};
    for (int m = 0; m < 3; ++m) {
        for (int x = 0; x < kCanvas; ++x) {
            if (!std::equal(fast[m][x], fast[m][x] + kCanvas, direct[m].result()[x])) {
                state.SkipWithError("fast smoothing differs from the direct weighted sum");
                return;
            }
        }
    }
    state.counters["direct_cpu_ms"] = directSeconds * 1e3;
    state.counters["fast_cpu_ms"] = fastSeconds * 1e3;
    state.counters["direct_over_fast"] = directSeconds / fastSeconds;
}

} // namespace

BENCHMARK_CAPTURE(BM_FilterSymmetry, disc100_averageSymmetries, kDisc100, 0)
    ->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(BM_FilterSymmetry, disc100_averageImage, kDisc100, 1)
    ->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(BM_FilterSymmetry, rect100x100_averageSymmetries, kRect100, 0)
    ->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(BM_FilterSymmetry, rect100x100_averageImage, kRect100, 1)
    ->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(BM_DirectReference, disc100, kDisc100)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DirectReference, rect100x100, kRect100)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
