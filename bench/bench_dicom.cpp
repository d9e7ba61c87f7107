// Loading one 512 x 512 16-bit MR slice with DICOMUtil, from files this benchmark writes itself
// with DCMTK (native and RLE-compressed), and a 3-frame file of which only frame 0 is read.
#include "DICOMUtil.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcuid.h>

#include <cstdlib>
#include <vector>

namespace {

constexpr int kSide = 512;

QString writeSlice(const QTemporaryDir& dir, const char* name, E_TransferSyntax syntax, int frames,
                   bool window)
{
    DcmFileFormat file;
    DcmDataset* ds = file.getDataset();
    ds->putAndInsertString(DCM_SOPClassUID, UID_MRImageStorage);
    ds->putAndInsertString(DCM_SOPInstanceUID, "1.2.826.0.1.3680043.2.1143.2");
    ds->putAndInsertUint16(DCM_Rows, kSide);
    ds->putAndInsertUint16(DCM_Columns, kSide);
    ds->putAndInsertUint16(DCM_BitsAllocated, 16);
    ds->putAndInsertUint16(DCM_BitsStored, 12);
    ds->putAndInsertUint16(DCM_HighBit, 11);
    ds->putAndInsertUint16(DCM_PixelRepresentation, 0);
    ds->putAndInsertUint16(DCM_SamplesPerPixel, 1);
    ds->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    ds->putAndInsertString(DCM_NumberOfFrames, std::to_string(frames).c_str());
    if (window) {
        ds->putAndInsertString(DCM_WindowCenter, "1200");
        ds->putAndInsertString(DCM_WindowWidth, "2400");
    }
    // An MR-like slice: a bright disc with texture on a dark background.
    std::vector<Uint16> pixels(size_t(kSide) * kSide * size_t(frames));
    for (size_t i = 0; i < pixels.size(); ++i) {
        const int x = int(i % kSide) - kSide / 2, y = int(i / kSide % kSide) - kSide / 2;
        const bool inside = x * x + y * y < 200 * 200;
        pixels[i] = Uint16(((inside ? 1500 : 40) + (x * 7 + y * 13) % 300) & 0x0FFF);
    }
    ds->putAndInsertUint16Array(DCM_PixelData, pixels.data(), Uint32(pixels.size()));
    if (DcmXfer(syntax).isEncapsulated() && ds->chooseRepresentation(syntax, nullptr).bad())
        std::abort();
    const QString path = dir.filePath(QString::fromLatin1(name));
    if (file.saveFile(OFFilename(QFile::encodeName(path).constData()), syntax).bad())
        std::abort();
    return path;
}

void loadSlice(benchmark::State& state, E_TransferSyntax syntax, int frames, bool window)
{
    DcmRLEEncoderRegistration::registerCodecs();
    QTemporaryDir dir;
    const QString path = writeSlice(dir, "slice.dcm", syntax, frames, window);
    DICOMUtil reader;
    for (auto _ : state) {
        QImage image = reader.loadImage(path);
        benchmark::DoNotOptimize(image.constBits());
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

void BM_LoadNative512(benchmark::State& state)
{
    loadSlice(state, EXS_LittleEndianExplicit, 1, false);
}

void BM_LoadNative512StoredWindow(benchmark::State& state)
{
    loadSlice(state, EXS_LittleEndianExplicit, 1, true);
}

void BM_LoadRle512(benchmark::State& state)
{
    loadSlice(state, EXS_RLELossless, 1, false);
}

void BM_LoadFrame0Of3(benchmark::State& state)
{
    loadSlice(state, EXS_LittleEndianExplicit, 3, false);
}

} // namespace

BENCHMARK(BM_LoadNative512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadNative512StoredWindow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadRle512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadFrame0Of3)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
