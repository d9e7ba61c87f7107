// One press of each Fourier button on a 512 x 512 AOI image, and the filter mask alone.
#include "FourierEngine.h"
#include "FrequencyFilter.h"

#include <benchmark/benchmark.h>

#include <QImage>

#include <cmath>
#include <random>

namespace {

QImage aoiImage()
{
    QImage image(512, 512, QImage::Format_Grayscale8);
    image.fill(0);
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> grey(0, 255);
    // A textured disc on black, like an AOI canvas.
    for (int y = 0; y < 512; ++y) {
        uchar* row = image.scanLine(y);
        for (int x = 0; x < 512; ++x) {
            const int dx = x - 256, dy = y - 256;
            if (dx * dx + dy * dy < 200 * 200)
                row[x] = static_cast<uchar>(grey(rng));
        }
    }
    return image;
}

void BM_Spectrum(benchmark::State& state)
{
    const QImage image = aoiImage();
    for (auto _ : state)
        benchmark::DoNotOptimize(kelvara::spectrumImage(image, true));
}
BENCHMARK(BM_Spectrum)->Unit(benchmark::kMillisecond)->MinTime(0.2);

void BM_Threshold(benchmark::State& state)
{
    const QImage image = aoiImage();
    const kelvara::ThresholdWindow window{0.0, 0.5, 0.0, 0.5};
    for (auto _ : state)
        benchmark::DoNotOptimize(kelvara::spectrumThresholdValue(image, window));
}
BENCHMARK(BM_Threshold)->Unit(benchmark::kMillisecond)->MinTime(0.2);

void BM_Filter(benchmark::State& state)
{
    const QImage image = aoiImage();
    const kelvara::FrequencyFilter controls{BandPass, 0.2, 0.6};
    for (auto _ : state) {
        const auto parameters = kelvara::filterParameters(controls, image.width());
        benchmark::DoNotOptimize(kelvara::filteredImage(image, parameters));
    }
}
BENCHMARK(BM_Filter)->Unit(benchmark::kMillisecond)->MinTime(0.2);

// "Display FFT", "Display treshold" and "Display result" of one image: each from its own
// forward transform (separate:1, as every press did) or all three from one (separate:0). Fails
// when the shared transform gives a single different bit.
void BM_ThreeViews(benchmark::State& state)
{
    const bool separate = state.range(0) != 0;
    const QImage image = aoiImage();
    const kelvara::ThresholdWindow window{0.1, 0.4, 0.1, 0.4};
    const auto parameters = kelvara::filterParameters({LowPass, 0.3, 0.5}, image.width());
    for (auto _ : state) {
        if (separate) {
            benchmark::DoNotOptimize(kelvara::spectrumImage(image, true));
            benchmark::DoNotOptimize(kelvara::spectrumThresholdValue(image, window));
            benchmark::DoNotOptimize(kelvara::filteredImage(image, parameters));
        } else {
            kelvara::FourierViews views;
            views.setImage(image);
            benchmark::DoNotOptimize(views.spectrum(true));
            benchmark::DoNotOptimize(views.threshold(window));
            benchmark::DoNotOptimize(views.filtered(parameters));
        }
    }
    kelvara::FourierViews views;
    views.setImage(image);
    if (views.spectrum(true) != kelvara::spectrumImage(image, true) ||
        views.threshold(window) != kelvara::spectrumThresholdValue(image, window) ||
        views.filtered(parameters) != kelvara::filteredImage(image, parameters))
        state.SkipWithError("the shared transform gives other views");
}
BENCHMARK(BM_ThreeViews)->ArgName("separate")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->MinTime(0.5);

void BM_FilterMask(benchmark::State& state)
{
    FourierEngine engine;
    engine.setImage(aoiImage());
    engine.setFilterType(BandPass);
    engine.setFirstRadius(51.2f);
    engine.setSecondRadius(153.6f);
    for (auto _ : state) {
        engine.buildFilterMask();
        benchmark::DoNotOptimize(engine.mask().data);
    }
}
BENCHMARK(BM_FilterMask)->Unit(benchmark::kMillisecond)->MinTime(0.2);

// The per-element square-root rule, for comparison with the integer thresholds above.
void BM_FilterMaskDirectRule(benchmark::State& state)
{
    const int rows = 512, cols = 512, cy = rows / 2, cx = cols / 2;
    const float r1 = 51.2f, r2 = 153.6f;
    cv::Mat mask(rows, cols, CV_32FC2);
    for (auto _ : state) {
        for (int y = 0; y < rows; ++y) {
            float* out = mask.ptr<float>(y);
            for (int x = 0; x < cols; ++x) {
                const int dx = x - cx, dy = y - cy;
                const float d =
                    static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
                const float v = (d > r1 && d < r2) ? 1.0f : 0.0f;
                out[2 * x] = v;
                out[2 * x + 1] = v;
            }
        }
        benchmark::DoNotOptimize(mask.data);
    }
}
BENCHMARK(BM_FilterMaskDirectRule)->Unit(benchmark::kMillisecond)->MinTime(0.2);

void BM_ForwardDft(benchmark::State& state)
{
    cv::Mat complex(512, 512, CV_32FC2, cv::Scalar(1.0f, 0.0f));
    cv::Mat spectrum;
    for (auto _ : state) {
        cv::dft(complex, spectrum, cv::DFT_COMPLEX_OUTPUT);
        benchmark::DoNotOptimize(spectrum.data);
    }
}
BENCHMARK(BM_ForwardDft)->Unit(benchmark::kMillisecond)->MinTime(0.2);

} // namespace

BENCHMARK_MAIN();
