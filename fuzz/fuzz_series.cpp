// Series scan: the bytes, cut at each separator, become up to six files of one folder, which is
// scanned and whose series are checked, placed and read as a case would. Only DicomError may
// leave; a series without faults must hold what the checks promise (every image placed or none,
// no two images of one b-value at one position, b-values from 0 to the maximum).
#include "DicomError.h"
#include "DicomSeries.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>

namespace {

const QByteArray kSeparator("\xf0SPLIT\xf0"); // as in make_series_seeds.py
constexpr int kMaximumFiles = 6;

void check(bool promise)
{
    if (!promise)
        std::abort();
}

void checkSeries(const kelvara::DicomSeries& s)
{
    try {
        s.requireUsable();
    } catch (const kelvara::DicomError&) {
        check(!s.faults.isEmpty());
        return;
    }
    check(!s.images.empty());
    for (double b : s.bValues)
        check(std::isfinite(b) && b >= 0 && b <= kelvara::kMaximumBValue);
    const bool placed = !std::isnan(s.images.front().normalPosition);
    std::map<std::pair<bool, double>, double> lastOfB;
    for (const kelvara::DicomSeriesImage& image : s.images) {
        check(std::isnan(image.normalPosition) != placed);
        if (!placed || s.mixedOrientations)
            continue;
        const std::pair<bool, double> b{image.bValue.has_value(), image.bValue.value_or(0)};
        if (const auto last = lastOfB.find(b); last != lastOfB.end())
            check(image.normalPosition - last->second > 1e-3);
        lastOfB[b] = image.normalPosition;
    }
    try {
        const kelvara::NearestSlice nearest = s.nearestSlice(0.0);
        check(placed ? nearest.index >= 0 && std::isfinite(nearest.distance) : nearest.index < 0);
        s.loadImage(int(s.images.size() - 1) / 2);
    } catch (const kelvara::DicomError&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // One folder per process, emptied for every input and removed when the process ends.
    static const struct Scratch
    {
        QString path = QDir::temp().filePath(
            QStringLiteral("kelvara-fuzz-series-%1").arg(QCoreApplication::applicationPid()));
        ~Scratch() { QDir(path).removeRecursively(); }
    } scratch;
    QDir folder(scratch.path);
    if (!folder.removeRecursively() || !QDir().mkpath(scratch.path))
        std::abort(); // the harness itself is broken, not the reader

    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data),
                                                     qsizetype(size));
    qsizetype start = 0;
    for (int i = 0; i < kMaximumFiles && start <= bytes.size(); ++i) {
        qsizetype end = bytes.indexOf(kSeparator, start);
        if (end < 0 || i == kMaximumFiles - 1)
            end = bytes.size();
        QFile file(folder.filePath(QStringLiteral("f%1").arg(i)));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes.mid(start, end - start)) < 0)
            std::abort();
        start = end + kSeparator.size();
    }

    try {
        const kelvara::DicomScan scan = kelvara::scanDicomSeries(scratch.path);
        check(!scan.series.empty());
        for (const kelvara::DicomSeries& s : scan.series)
            checkSeries(s);
    } catch (const kelvara::DicomError&) {
    }
    return 0;
}
