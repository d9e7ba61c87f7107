// PNG writing of one batch case: Qt's writer (libpng) beside encodePng with each row filter,
// zlib level and strategy, time and size; and the whole writing spread over threads. The images
// are those the batch writes for the heavy sample case, decoded back (in the formats it hands
// over: grey, RGB32, ARGB32).
// QImageWriter's PNG quality q is zlib level (100 - q) * 9 / 91: 100 stores, 80 is level 1,
// 70 level 2, 60 level 3, 40 level 5, 0 level 9; -1 is Qt's default.
#include "BatchCase.h"
#include "BenchSupport.h"
#include "FileAccess.h"
#include "ImageEncoder.h"
#include "PngEncoder.h"

#include <zlib.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

struct NamedImage
{
    QString file;
    QImage image;
};

const std::vector<NamedImage>& caseImages()
{
    static const std::vector<NamedImage> images = [] {
        std::vector<NamedImage> read;
        QTemporaryDir dir;
        kelvara::BatchOptions options;
        options.outDir = dir.path(); // the folder must exist: the case is staged inside it
        const kelvara::CaseOutcome outcome = kelvara::runBatchCase(heavyProject(dir), QStringLiteral("case"), options);
        if (!outcome.ok())
            return read;
        const QDir caseDir(QDir(options.outDir).filePath(outcome.name));
        for (const QString& file : caseDir.entryList({QStringLiteral("*.png")}, QDir::Files))
            read.push_back({file, QImage(caseDir.filePath(file))});
        return read;
    }();
    return images;
}

bool haveImages(benchmark::State& state)
{
    if (caseImages().empty())
        state.SkipWithError("the sample case did not run");
    return !caseImages().empty();
}

// Every image encoded in memory, one after the other, by encode(file, image, &error).
template <typename Encode>
void encodeCase(benchmark::State& state, Encode encode)
{
    if (!haveImages(state))
        return;
    double bytes = 0;
    for (auto _ : state) {
        bytes = 0;
        for (const NamedImage& n : caseImages()) {
            QString error;
            const std::optional<QByteArray> png = encode(n.file, n.image, &error);
            if (!png) {
                state.SkipWithError(error.toStdString().c_str());
                return;
            }
            bytes += double(png->size());
        }
    }
    state.counters["KiB"] = bytes / 1024.0;
    state.counters["images"] = double(caseImages().size());
}

// Qt's writer, as the batch wrote before (quality 80).
void BM_QtWriter(benchmark::State& state)
{
    const int quality = int(state.range(0));
    encodeCase(state, [quality](const QString& file, const QImage& image, QString* error) {
        return kelvara::encodeImage(file, image, "PNG", quality, error);
    });
}
BENCHMARK(BM_QtWriter)
    ->ArgName("quality")
    ->Arg(100)->Arg(80)->Arg(60)->Arg(-1)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(1.0);

void BM_EncodePng(benchmark::State& state)
{
    kelvara::PngSettings settings;
    settings.filter = kelvara::PngFilter(state.range(0));
    settings.level = int(state.range(1));
    settings.strategy = int(state.range(2));
    encodeCase(state, [&settings](const QString& file, const QImage& image, QString* error) {
        return kelvara::encodePng(file, image, error, settings);
    });
}
// Filters None 0, Sub 1, Up 2, Paeth 4; strategies default 0, filtered 1, run-length 3.
BENCHMARK(BM_EncodePng)
    ->ArgNames({"filter", "level", "strategy"})
    ->ArgsProduct({{0, 1, 2, 4}, {1, 2, 3}, {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_RLE}})
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(0.5);

// The whole writing of a case through ImageEncoder: every image handed over at once, encoded
// on a pool of the given size (1: on the calling thread), written atomically.
void BM_WriteCase(benchmark::State& state)
{
    if (!haveImages(state))
        return;
    const PoolSize threads(int(state.range(0)));
    QTemporaryDir dir;
    for (auto _ : state) {
        kelvara::ImageEncoder encoder{QDir(dir.path())};
        for (const NamedImage& n : caseImages())
            encoder.add(n.file, n.image);
        QString error;
        if (!encoder.writeAll(&error)) {
            state.SkipWithError(error.toStdString().c_str());
            break;
        }
    }
}
BENCHMARK(BM_WriteCase)
    ->ArgName("threads")
    ->Arg(1)->Arg(2)->Arg(3)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(1.0);

} // namespace

BENCHMARK_MAIN();
