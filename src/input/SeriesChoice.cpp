#include "SeriesChoice.h"

#include "DicomError.h"
#include "StoredControlTable.h"

#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace kelvara {

namespace {

// Slices whose normals differ by more than this are not one plane: registration by scale and
// AOI position would compare different anatomy.
constexpr double kMaximumTiltDegrees = 5.0;

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
    if (!source.refusedBValue.isUndefined())
        fail(m, source.path,
             QStringLiteral("\"BValue\" is %1, not a b-value (a finite number from 0); %2")
                 .arg(StoredControlTable::shown(source.refusedBValue),
                      series.bValues.empty()
                          ? QStringLiteral("series %1 has no b-values").arg(series.uid)
                          : QStringLiteral("series %1 has b = %2")
                                .arg(series.uid, numbers(series.bValues))));
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

// The slice asked for when it is no index into the series, as the user wrote it, with why.
QString refusedSlice(const QJsonValue& slice)
{
    const QString value = StoredControlTable::shown(slice);
    if (!slice.isDouble())
        return QStringLiteral("\"Slice\" is %1, not a number").arg(value);
    if (std::floor(slice.toDouble()) != slice.toDouble())
        return QStringLiteral("slice %1 is not a whole number").arg(value);
    return QStringLiteral("slice %1 is out of range").arg(value);
}

std::optional<std::array<double, 3>> sliceNormal(const DicomSeries& series)
{
    if (!series.orientation)
        return std::nullopt;
    const std::array<double, 6>& o = *series.orientation;
    return std::array<double, 3>{o[1] * o[5] - o[2] * o[4], o[2] * o[3] - o[0] * o[5],
                                 o[0] * o[4] - o[1] * o[3]};
}

// The angle between the slice planes of two series, in degrees (0 to 90: a reversed normal is
// the same plane); NaN when either has no orientation.
double tiltDegrees(const DicomSeries& a, const DicomSeries& b)
{
    const auto na = sliceNormal(a), nb = sliceNormal(b);
    if (!na || !nb)
        return kNoValue;
    double dot = 0.0, la = 0.0, lb = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        dot += (*na)[i] * (*nb)[i];
        la += (*na)[i] * (*na)[i];
        lb += (*nb)[i] * (*nb)[i];
    }
    const double cosine = std::min(1.0, std::abs(dot) / std::sqrt(la * lb));
    return std::acos(cosine) * 180.0 / M_PI;
}

// A DWI or ADC file whose frames lie at more than one position is a stack of slices, chosen
// among as a series' images are; frame 0 would be any one of them.
bool isSliceStack(Modality m, const QString& path)
{
    if (m == Modality::T2)
        return false;
    try {
        const DicomScan scan = scanDicomSeries(path);
        if (scan.series.size() != 1)
            return false;
        const std::vector<DicomSeriesImage>& images = scan.series.front().images;
        for (const DicomSeriesImage& image : images)
            if (image.file == images.front().file && image.frame != images.front().frame &&
                std::isfinite(image.normalPosition) &&
                image.normalPosition != images.front().normalPosition)
                return true;
    } catch (const std::exception&) {
        // Read as a single file then, which says what is wrong with it.
    }
    return false;
}

} // namespace

bool readsSeries(Modality m, const ImageSource& source)
{
    const QFileInfo info(source.path);
    return source.choosesImage() || info.isDir() ||
           (info.isFile() && isSliceStack(m, source.path));
}

ChosenImage chooseSeriesImage(Modality m, const ImageSource& source, const ChosenImage* t2,
                              const QString& t2Unplaced)
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

    if (!source.refusedSlice.isUndefined() || source.slice >= count)
        fail(m, source.path,
             QStringLiteral("%1: series %2 has slices 0 to %3")
                 .arg(source.refusedSlice.isUndefined()
                          ? QStringLiteral("slice %1 is out of range").arg(source.slice)
                          : refusedSlice(source.refusedSlice),
                      series.uid, QString::number(count - 1)));
    if (t2 && m != Modality::T2) {
        const double tilt = tiltDegrees(series, t2->series);
        if (tilt > kMaximumTiltDegrees)
            chosen.warnings << QStringLiteral("%1 image '%2': its slices are tilted %3 degrees "
                                              "against T2's (more than %4)")
                                   .arg(QLatin1String(modalityName(m)), source.path,
                                        QString::number(tilt, 'f', 1),
                                        QString::number(kMaximumTiltDegrees));
    }

    if (source.slice >= 0) {
        chosen.index = source.slice;
    } else if (m != Modality::T2 && !t2 && !t2Unplaced.isEmpty()) {
        // T2 is DICOM, but its position cannot be trusted: the middle slice would be a guess.
        fail(m, source.path,
             QStringLiteral("no slice of series %1 can be matched to T2's slice (%2); name one "
                            "with \"Slice\"")
                 .arg(series.uid, t2Unplaced));
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
        // Without a finite distance there is no nearest slice, and any other would be a guess.
        if (nearest.index < 0 || !std::isfinite(nearest.distance))
            fail(m, source.path,
                 QStringLiteral("no slice of series %1 can be matched to T2's slice %2 ('%3'): "
                                "%4; name one with \"Slice\"")
                     .arg(series.uid, QString::number(t2->index), t2->image().file,
                          nearest.index >= 0
                              ? QStringLiteral("the distance between them is not finite")
                          : !t2->image().position ? QStringLiteral("T2's image has no position")
                                                  : QStringLiteral("this series' images have no "
                                                                   "position along its normal")));
        chosen.index = nearest.index;
        const double thickness =
            std::isnan(series.sliceThickness) ? series.sliceSpacing : series.sliceThickness;
        if (!(nearest.distance <= thickness))
            chosen.warnings << QStringLiteral("%1 image '%2': slice %3 lies %4 mm from T2's "
                                              "slice, more than one slice thickness")
                                   .arg(QLatin1String(modalityName(m)), source.path)
                                   .arg(chosen.index)
                                   .arg(nearest.distance);
    }
    return chosen;
}

} // namespace kelvara
