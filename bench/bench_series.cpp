// Scanning a folder of 500 DICOM files (256 x 256, 16 bits; 5 series of 100 slices) with
// scanDicomSeries: headers only, the Pixel Data is never read. The files are written once, by
// this benchmark, and stay in the page cache, so the figure is the warm-cache one.
#include "DicomSeries.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcuid.h>

#include <cstdlib>
#include <vector>

namespace {

constexpr int kFiles = 500, kSide = 256, kSlicesPerSeries = 100;

const QTemporaryDir& folder()
{
    static QTemporaryDir dir;
    static const bool written = [] {
        std::vector<Uint16> pixels(size_t(kSide) * kSide);
        for (int i = 0; i < kFiles; ++i) {
            const int series = i / kSlicesPerSeries, slice = i % kSlicesPerSeries;
            DcmFileFormat file;
            DcmDataset* ds = file.getDataset();
            ds->putAndInsertString(DCM_SOPClassUID, UID_MRImageStorage);
            ds->putAndInsertString(DCM_SOPInstanceUID, QByteArray("1.2.826.0.1.3680043.2.1143.7.") +
                                                           QByteArray::number(i));
            ds->putAndInsertString(DCM_SeriesInstanceUID,
                                   QByteArray("1.2.826.0.1.3680043.2.1143.6.") +
                                       QByteArray::number(series));
            ds->putAndInsertString(DCM_Modality, "MR");
            ds->putAndInsertString(DCM_SeriesDescription, "t2_tse_tra");
            ds->putAndInsertString(DCM_InstanceNumber,
                                   QByteArray::number(kSlicesPerSeries - slice));
            ds->putAndInsertString(DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0");
            ds->putAndInsertString(DCM_ImagePositionPatient,
                                   QByteArray("-100\\-100\\") + QByteArray::number(3.0 * slice));
            ds->putAndInsertString(DCM_PixelSpacing, "0.7\\0.7");
            ds->putAndInsertString(DCM_SliceThickness, "3");
            ds->putAndInsertUint16(DCM_Rows, kSide);
            ds->putAndInsertUint16(DCM_Columns, kSide);
            ds->putAndInsertUint16(DCM_BitsAllocated, 16);
            ds->putAndInsertUint16(DCM_BitsStored, 12);
            ds->putAndInsertUint16(DCM_HighBit, 11);
            ds->putAndInsertUint16(DCM_PixelRepresentation, 0);
            ds->putAndInsertUint16(DCM_SamplesPerPixel, 1);
            ds->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
            for (size_t p = 0; p < pixels.size(); ++p)
                pixels[p] = Uint16((p * 7 + size_t(i)) & 0x0FFF);
            ds->putAndInsertUint16Array(DCM_PixelData, pixels.data(), Uint32(pixels.size()));
            const QString path = dir.filePath(QStringLiteral("IM%1").arg(i * 7919 % 100003));
            if (file.saveFile(OFFilename(QFile::encodeName(path).constData()),
                              EXS_LittleEndianExplicit)
                    .bad())
                std::abort();
        }
        return true;
    }();
    Q_UNUSED(written);
    return dir;
}

void BM_ScanFolder500(benchmark::State& state)
{
    const QString path = folder().path();
    for (auto _ : state) {
        const kelvara::DicomScan scan = kelvara::scanDicomSeries(path);
        size_t images = 0;
        for (const kelvara::DicomSeries& s : scan.series)
            images += s.images.size();
        if (images != size_t(kFiles)) // a scan that skipped files would look fast
            std::abort();
        benchmark::DoNotOptimize(scan.series.data());
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

} // namespace

BENCHMARK(BM_ScanFolder500)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
