// Extraction of the three AOI images, beside the plain per-pixel QImage::pixel/setPixel
// extraction on the same input (boxes inside the images, where the plain one logs nothing).
#include "AOIExtractor.h"

#include <benchmark/benchmark.h>

#include <QImage>

namespace {

QImage greyImage(int w, int h, int seed)
{
    QImage img(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.scanLine(y)[x] = uchar((x * 7 + y * 13 + seed) & 0xFF);
    return img;
}

// The AOI sizes of interest: the default, a large one, one covering the canvas, and the
// largest the controls allow (reaching past the canvas, but not past the 2048 x 2048 images).
void sizes(benchmark::internal::Benchmark* b)
{
    b->Args({100, 50})->Args({400, 400})->Args({1000, 1000})->Args({2000, 1000});
}

struct Input
{
    QImage t2 = greyImage(2048, 2048, 1);
    QImage dwi = greyImage(2048, 2048, 2);
    QImage adc = greyImage(2048, 2048, 3);
    // Box corners that centre the AOI on each image.
    int x(int w) const { return 1024 - w / 2; }
    int y(int h) const { return 1024 - h / 2; }
};

void BM_ExtractThree(benchmark::State& state)
{
    const int w = int(state.range(0)), h = int(state.range(1));
    const Input in;
    AOIExtractor extractor;
    for (auto _ : state) {
        extractor.setNeedsUpdate(true);
        extractor.extract(in.t2, in.dwi, in.adc, in.x(w), in.y(h), in.x(w), in.y(h), in.x(w),
                          in.y(h), w, h);
        benchmark::DoNotOptimize(extractor.t2AOIImage().constBits());
    }
}
BENCHMARK(BM_ExtractThree)->Apply(sizes)->Unit(benchmark::kMillisecond);

QImage plainAOI(const QImage& src, int x0, int y0, int w, int h)
{
    QImage out(512, 512, QImage::Format_Grayscale8);
    out.fill(Qt::black);
    const int c0 = 256 - w / 2, r0 = 256 - h / 2;
    const double a = w * 0.5, b = h * 0.5;
    for (int c = c0; c < c0 + w; ++c) {
        const double tc = ((c - 256) * (c - 256)) / (a * a);
        for (int r = r0; r < r0 + h; ++r) {
            if (c < 0 || c >= 512 || r < 0 || r >= 512)
                continue;
            if (tc + ((r - 256) * (r - 256)) / (b * b) <= 1.0)
                out.setPixel(c, r, src.pixel(x0 + c - c0, y0 + r - r0));
            else
                out.setPixel(c, r, 0xFF000000u);
        }
    }
    return out;
}

void BM_PlainPerPixelThree(benchmark::State& state)
{
    const int w = int(state.range(0)), h = int(state.range(1));
    const Input in;
    for (auto _ : state) {
        const QImage t2 = plainAOI(in.t2, in.x(w), in.y(h), w, h);
        const QImage dwi = plainAOI(in.dwi, in.x(w), in.y(h), w, h);
        const QImage adc = plainAOI(in.adc, in.x(w), in.y(h), w, h);
        benchmark::DoNotOptimize(t2.constBits());
        benchmark::DoNotOptimize(dwi.constBits());
        benchmark::DoNotOptimize(adc.constBits());
    }
}
BENCHMARK(BM_PlainPerPixelThree)->Apply(sizes)->Unit(benchmark::kMillisecond);

// No image loaded: every sample inside the ellipse is missing data.
void BM_ExtractThreeNullImages(benchmark::State& state)
{
    AOIExtractor extractor;
    for (auto _ : state) {
        extractor.setNeedsUpdate(true);
        extractor.extract(QImage(), QImage(), QImage(), 0, 0, 0, 0, 0, 0, 2000, 1000);
        benchmark::DoNotOptimize(extractor.t2AOIImage().constBits());
    }
}
BENCHMARK(BM_ExtractThreeNullImages)->Unit(benchmark::kMillisecond);

// The call every analysis makes when nothing changed.
void BM_ExtractUpToDate(benchmark::State& state)
{
    const Input in;
    AOIExtractor extractor;
    extractor.extract(in.t2, in.dwi, in.adc, 974, 999, 974, 999, 974, 999, 100, 50);
    for (auto _ : state) {
        extractor.extract(in.t2, in.dwi, in.adc, 974, 999, 974, 999, 974, 999, 100, 50);
        benchmark::DoNotOptimize(extractor.needsUpdate());
    }
}
BENCHMARK(BM_ExtractUpToDate);

} // namespace

BENCHMARK_MAIN();
