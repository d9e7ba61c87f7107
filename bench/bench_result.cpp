// The result matrix on the 512 x 512 AOI canvas: area labelling, overlays and the product.
#include "ResultMatrix.h"

#include <benchmark/benchmark.h>

#include <QImage>
#include <QPainter>

#include <random>
#include <vector>

namespace {

constexpr int Size = 512;

void randomMask(ResultMatrix& matrix, double density, unsigned seed)
{
    std::mt19937 rng(seed);
    std::bernoulli_distribution on(density);
    for (int x = 0; x < Size; ++x)
        for (int y = 0; y < Size; ++y)
            matrix.intervalMask()[x][y] = on(rng) ? 1.0 : 0.0;
}

void BM_RemoveSmallAreasFullArea(benchmark::State& state)
{
    ResultMatrix matrix;
    for (auto _ : state) {
        // resize and applyInterval are part of every evaluation anyway.
        matrix.resize(Size, Size);
        matrix.applyInterval(0.0, 1.0);
        matrix.removeSmallAreas(2000);
        benchmark::DoNotOptimize(matrix.hasPathology(2000));
    }
}
BENCHMARK(BM_RemoveSmallAreasFullArea)->Unit(benchmark::kMillisecond);

void BM_RemoveSmallAreasRandom30(benchmark::State& state)
{
    ResultMatrix matrix;
    matrix.resize(Size, Size);
    randomMask(matrix, 0.3, 11);
    for (auto _ : state) {
        state.PauseTiming();
        for (int x = 0; x < Size; ++x)
            std::fill(matrix.labels()[x], matrix.labels()[x] + Size, 0u);
        state.ResumeTiming();
        matrix.removeSmallAreas(static_cast<int>(state.range(0)));
        benchmark::DoNotOptimize(matrix.hasPathology(0));
    }
}
BENCHMARK(BM_RemoveSmallAreasRandom30)->Arg(2)->Arg(50)->Unit(benchmark::kMillisecond);

void BM_IntervalImage(benchmark::State& state)
{
    ResultMatrix matrix;
    matrix.resize(Size, Size);
    randomMask(matrix, 0.3, 5);
    for (auto _ : state)
        benchmark::DoNotOptimize(matrix.intervalImage());
}
BENCHMARK(BM_IntervalImage)->Unit(benchmark::kMillisecond);

// The definition the overlay follows: one painter point per marked pixel. Same input as above,
// so the two figures give the ratio of the direct pixel writes.
void BM_IntervalImagePainterReference(benchmark::State& state)
{
    ResultMatrix matrix;
    matrix.resize(Size, Size);
    randomMask(matrix, 0.3, 5);
    const double* const* mask = matrix.intervalMask();
    for (auto _ : state) {
        QImage image(Size, Size, QImage::Format_ARGB32);
        image.fill(QColor(0, 0, 0, 0));
        QPainter painter(&image);
        painter.setPen(Qt::red);
        for (int x = 0; x < Size; ++x)
            for (int y = 0; y < Size; ++y)
                if (mask[x][y] > 0.5)
                    painter.drawPoint(x, y);
        painter.end();
        benchmark::DoNotOptimize(image);
    }
}
BENCHMARK(BM_IntervalImagePainterReference)->Unit(benchmark::kMillisecond);

void BM_MultiplyScaled(benchmark::State& state)
{
    std::vector<double> cells(static_cast<std::size_t>(Size) * Size);
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> grey(0.0, 255.0);
    for (double& c : cells)
        c = grey(rng);
    std::vector<const double*> columns(Size);
    for (int x = 0; x < Size; ++x)
        columns[static_cast<std::size_t>(x)] = cells.data() + static_cast<std::size_t>(x) * Size;

    ResultMatrix matrix;
    for (auto _ : state) {
        // Fresh ones every time, as each calculation starts; repeated products would underflow.
        state.PauseTiming();
        matrix.resize(Size, Size);
        state.ResumeTiming();
        matrix.multiplyScaled(columns.data(), 1.0);
        benchmark::DoNotOptimize(matrix.data()[0][0]);
    }
}
BENCHMARK(BM_MultiplyScaled)->Unit(benchmark::kMicrosecond);

void BM_ToGrayImage(benchmark::State& state)
{
    ResultMatrix matrix;
    matrix.resize(Size, Size);
    for (auto _ : state)
        benchmark::DoNotOptimize(matrix.toGrayImage());
}
BENCHMARK(BM_ToGrayImage)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
