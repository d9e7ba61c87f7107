// PNG writing of one batch case: the zlib level against time and size, and the encoding spread
// over threads. The images are those the batch writes for the heavy sample case, decoded back.
// QImageWriter's PNG quality q is zlib level (100 - q) * 9 / 91: 100 stores, 80 is level 1,
// 70 level 2, 60 level 3, 40 level 5, 0 level 9; -1 is Qt's default.
#include "BatchCase.h"
#include "BenchSupport.h"
#include "FileAccess.h"
#include "ImageEncoder.h"

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
        options.outDir = dir.filePath(QStringLiteral("out"));
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

// Every image encoded in memory, one after the other.
void BM_EncodeQuality(benchmark::State& state)
{
    if (!haveImages(state))
        return;
    const int quality = int(state.range(0));
    double bytes = 0;
    for (auto _ : state) {
        bytes = 0;
        for (const NamedImage& n : caseImages()) {
            QString error;
            const auto png = kelvara::encodeImage(n.file, n.image, "PNG", quality, &error);
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
BENCHMARK(BM_EncodeQuality)
    ->ArgName("quality")
    ->Arg(100)->Arg(80)->Arg(70)->Arg(60)->Arg(40)->Arg(0)->Arg(-1)
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(1.0);

// The whole writing of a case through ImageEncoder: every image handed over at once, encoded
// on a pool of the given size (1: on the calling thread), written atomically.
void BM_WriteCase(benchmark::State& state)
{
    if (!haveImages(state))
        return;
    const PoolSize threads(int(state.range(0)));
    const int quality = int(state.range(1));
    QTemporaryDir dir;
    for (auto _ : state) {
        kelvara::ImageEncoder encoder(QDir(dir.path()), "PNG", quality);
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
    ->ArgNames({"threads", "quality"})
    ->ArgsProduct({{1, 2, 3}, {100, 80, 70}})
    ->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->MinTime(1.0);

} // namespace

BENCHMARK_MAIN();
