#include "SeriesChoice.h"

#include "DicomError.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace kelvara {

namespace {

QString numbers(const std::vector<double>& values)
{
    QStringList s;
    for (double v : values)
        s << QString::number(v);
    return s.join(QStringLiteral(", "));
}

[[noreturn]] void fail(Modality m, const QString& path, const QString& problem)
{
    throw DicomError(QStringLiteral("%1 image '%2': %3")
                         .arg(QLatin1String(modalityName(m)), path, problem));
}

// The reader's own message, which names the file or folder, with the modality in front.
DicomError withModality(Modality m, const DicomError& e)
{
    return DicomError(QStringLiteral("%1 image: %2")
                          .arg(QLatin1String(modalityName(m)), QString::fromUtf8(e.what())));
}

const DicomSeries& pickSeries(Modality m, const ImageSource& source, const DicomScan& scan)
{
    if (!source.series.isEmpty()) {
        try {
            return scan.find(source.series);
        } catch (const DicomError& e) {
            throw withModality(m, e);
        }
    }
    if (scan.series.size() == 1)
        return scan.series.front();
    QStringList found;
    for (const DicomSeries& s : scan.series)
        found << QStringLiteral("%1 (%2, %3 images)")
                     .arg(s.uid, s.description.isEmpty() ? QStringLiteral("no description")
                                                         : s.description)
                     .arg(s.images.size());
    fail(m, source.path,
         QStringLiteral("holds %1 series; name one with \"Series\": %2")
             .arg(scan.series.size())
             .arg(found.join(QStringLiteral("; "))));
}

// The series with only the images of one b-value, when it has several.
DicomSeries atBValue(Modality m, const ImageSource& source, const DicomSeries& series)
{
    if (source.bValue < 0.0 && series.bValues.size() <= 1)
        return series;
    if (series.bValues.empty())
        fail(m, source.path, QStringLiteral("series %1 has no b-values, but b = %2 was asked for")
                                 .arg(series.uid)
                                 .arg(source.bValue));
    const double b = source.bValue >= 0.0 ? source.bValue : series.bValues.back();
    if (std::find(series.bValues.begin(), series.bValues.end(), b) == series.bValues.end())
        fail(m, source.path, QStringLiteral("series %1 has no b = %2; it has b = %3")
                                 .arg(series.uid)
                                 .arg(b)
                                 .arg(numbers(series.bValues)));
    DicomSeries reduced = series;
    reduced.images.clear();
    for (const DicomSeriesImage& image : series.images)
        if (image.bValue && *image.bValue == b)
            reduced.images.push_back(image);
    reduced.bValues = {b};
    return reduced;
}

} // namespace

bool readsSeries(const ImageSource& source)
{
    return source.choosesImage() || QFileInfo(source.path).isDir();
}

ChosenImage chooseSeriesImage(Modality m, const ImageSource& source, const ChosenImage* t2)
{
    ChosenImage chosen;
    DicomScan scan;
    try {
        scan = scanDicomSeries(source.path);
    } catch (const DicomError& e) {
        throw withModality(m, e);
    }
    // What the scan passed over is said, or a missing slice would go unexplained.
    for (const QString& problem : scan.problems)
        chosen.warnings << QStringLiteral("%1 image: skipped: %2")
                               .arg(QLatin1String(modalityName(m)), problem);
    const DicomSeries& picked = pickSeries(m, source, scan);
    try {
        picked.requireUsable();
    } catch (const DicomError& e) {
        throw withModality(m, e);
    }
    for (const QString& warning : picked.warnings)
        chosen.warnings << QStringLiteral("%1 image: %2").arg(QLatin1String(modalityName(m)), warning);
    chosen.series = atBValue(m, source, picked);
    const DicomSeries& series = chosen.series;
    const int count = int(series.images.size());
    if (series.mixedOrientations)
        fail(m, source.path, QStringLiteral("series %1 mixes image orientations").arg(series.uid));

    if (source.slice >= 0) {
        if (source.slice >= count)
            fail(m, source.path, QStringLiteral("slice %1 is out of range: series %2 has slices "
                                                "0 to %3")
                                     .arg(source.slice)
                                     .arg(series.uid)
                                     .arg(count - 1));
        chosen.index = source.slice;
    } else if (m == Modality::T2 || !t2) {
        // The lower of the two middle slices for an even count.
        chosen.index = (count - 1) / 2;
        if (m != Modality::T2)
            chosen.warnings << QStringLiteral("%1 image '%2': T2 has no position to match; the "
                                              "middle slice %3 is used")
                                   .arg(QLatin1String(modalityName(m)), source.path)
                                   .arg(chosen.index);
    } else {
        const NearestSlice nearest = series.nearestSliceTo(t2->series, t2->index);
        chosen.index = nearest.index >= 0 ? nearest.index : (count - 1) / 2;
        const double thickness =
            std::isnan(series.sliceThickness) ? series.sliceSpacing : series.sliceThickness;
        if (nearest.index < 0 || !(nearest.distance <= thickness))
            chosen.warnings << QStringLiteral("%1 image '%2': slice %3 lies %4 mm from T2's "
                                              "slice, more than one slice thickness")
                                   .arg(QLatin1String(modalityName(m)), source.path)
                                   .arg(chosen.index)
                                   .arg(nearest.distance);
    }
    return chosen;
}

} // namespace kelvara
