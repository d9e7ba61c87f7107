#include "DicomSeries.h"

#include "DICOMUtil.h"
#include "DicomError.h"
#include "DicomFunctionalGroups.h"
#include "DicomStructureGuard.h"
#include "FileAccess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <tuple>

namespace kelvara {

namespace {

// Direction cosines closer than this are one orientation (scanners round them differently).
constexpr double kOrientationTolerance = 1e-4;
// Positions along the normal closer than this (mm) are one slice position.
constexpr double kSamePositionMm = 1e-3;

QString text(DcmItem& item, const DcmTagKey& key)
{
    OFString value;
    if (item.findAndGetOFString(key, value, 0).bad())
        return QString();
    return QString::fromLatin1(value.c_str()).trimmed();
}

std::optional<int> integer(DcmItem& item, const DcmTagKey& key)
{
    Sint32 value = 0;
    if (item.findAndGetSint32(key, value).bad())
        return std::nullopt;
    return int(value);
}

template <size_t N>
std::optional<std::array<double, N>> numbers(DcmItem& item, const DcmTagKey& key)
{
    std::array<double, N> values{};
    for (size_t i = 0; i < N; ++i) {
        Float64 v = 0;
        if (item.findAndGetFloat64(key, v, unsigned(i)).bad() || !std::isfinite(v))
            return std::nullopt;
        values[i] = v;
    }
    return values;
}

// `key` from the frame's functional group `macro`, else from the top level.
template <size_t N>
std::optional<std::array<double, N>> frameNumbers(DcmDataset& dataset, const DcmTagKey& macro,
                                                  const DcmTagKey& key, uint32_t frame)
{
    DcmItem* group = functionalGroup(dataset, macro, frame);
    return numbers<N>(group ? *group : static_cast<DcmItem&>(dataset), key);
}

std::array<double, 3> sliceNormal(const std::array<double, 6>& o)
{
    return {o[1] * o[5] - o[2] * o[4], o[2] * o[3] - o[0] * o[5], o[0] * o[4] - o[1] * o[3]};
}

double along(const std::array<double, 6>& orientation, const std::array<double, 3>& position)
{
    const std::array<double, 3> n = sliceNormal(orientation);
    return n[0] * position[0] + n[1] * position[1] + n[2] * position[2];
}

bool sameOrientation(const std::optional<std::array<double, 6>>& a,
                     const std::optional<std::array<double, 6>>& b)
{
    if (!a || !b)
        return !a && !b;
    for (size_t i = 0; i < 6; ++i)
        if (std::abs((*a)[i] - (*b)[i]) > kOrientationTolerance)
            return false;
    return true;
}

QString joined(const double* values, size_t count)
{
    QStringList parts;
    for (size_t i = 0; i < count; ++i)
        parts << QString::number(values[i], 'g', 6);
    return parts.join(QLatin1Char(','));
}

QString describe(const DicomSeriesImage& image)
{
    QString name = QStringLiteral("\"%1\"").arg(image.file);
    if (image.frame > 0)
        name += QStringLiteral(" frame %1").arg(image.frame);
    return name;
}

bool hasDicomPreamble(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) && f.read(132).mid(128) == "DICM";
}

// The images of one file, with the series each belongs to. Empty for a data set without Pixel
// Data (a DICOMDIR, a report): it holds no image.
struct FileImages
{
    QString uid, modality, description;
    std::optional<int> seriesNumber;
    std::vector<DicomSeriesImage> images;
};

// Number of Frames must be backed by the Pixel Data, or a few header bytes could make the scan
// list millions of images. A frame takes at least one sample per pixel (4:2:2 colour stores two
// for three); the exact layout is checked when a frame is read.
void checkFrameCount(DcmDataset& dataset, DcmElement& pixelData, uint64_t frames,
                     const QString& file)
{
    DcmPixelSequence* fragments = nullptr;
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    auto& pixels = static_cast<DcmPixelData&>(pixelData);
    pixels.getCurrentRepresentationKey(syntax, parameter);
    if (DcmXfer(syntax).isEncapsulated()) {
        if (pixels.getEncapsulatedRepresentation(syntax, parameter, fragments).good() &&
            fragments && fragments->card() > 0 && frames > fragments->card() - 1)
            throw DicomError(file, QStringLiteral("Number of Frames is %1 but the Pixel Data "
                                                  "holds %2 fragment(s)")
                                       .arg(frames)
                                       .arg(fragments->card() - 1));
        return;
    }
    Uint16 rows = 0, columns = 0, bits = 0;
    dataset.findAndGetUint16(DCM_Rows, rows);
    dataset.findAndGetUint16(DCM_Columns, columns);
    dataset.findAndGetUint16(DCM_BitsAllocated, bits);
    const uint64_t frameBits = std::max<uint64_t>(uint64_t(rows) * columns * bits, 1);
    if (frames > uint64_t(pixelData.getLength()) * 8 / frameBits)
        throw DicomError(file, QStringLiteral("Number of Frames is %1 but the Pixel Data holds "
                                              "%2 bytes")
                                   .arg(frames)
                                   .arg(pixelData.getLength()));
}

FileImages readFileImages(const QString& file)
{
    DcmFileFormat format;
    loadDicomFile(format, file);
    DcmDataset& ds = *format.getDataset();

    FileImages result;
    DcmElement* pixelData = nullptr;
    if (ds.findAndGetElement(DCM_PixelData, pixelData).bad() || !pixelData ||
        pixelData->ident() != EVR_PixelData)
        return result;
    result.uid = text(ds, DCM_SeriesInstanceUID);
    result.modality = text(ds, DCM_Modality);
    result.description = text(ds, DCM_SeriesDescription);
    result.seriesNumber = integer(ds, DCM_SeriesNumber);

    const std::optional<int> declaredFrames = integer(ds, DCM_NumberOfFrames);
    if (declaredFrames && *declaredFrames < 1)
        throw DicomError(file, QStringLiteral("Number of Frames is %1").arg(*declaredFrames));
    const uint32_t frames = uint32_t(declaredFrames.value_or(1));
    checkFrameCount(ds, *pixelData, frames, file);

    const std::optional<int> instance = integer(ds, DCM_InstanceNumber);
    for (uint32_t f = 0; f < frames; ++f) {
        DicomSeriesImage image;
        image.file = file;
        image.frame = int(f);
        image.instanceNumber = instance;
        image.position =
            frameNumbers<3>(ds, DCM_PlanePositionSequence, DCM_ImagePositionPatient, f);
        image.orientation =
            frameNumbers<6>(ds, DCM_PlaneOrientationSequence, DCM_ImageOrientationPatient, f);
        if (image.position && image.orientation)
            image.normalPosition = along(*image.orientation, *image.position);
        if (const auto spacing =
                frameNumbers<2>(ds, DCM_PixelMeasuresSequence, DCM_PixelSpacing, f))
            image.pixelSpacing = *spacing;
        if (const auto thickness =
                frameNumbers<1>(ds, DCM_PixelMeasuresSequence, DCM_SliceThickness, f))
            image.sliceThickness = (*thickness)[0];
        if (const auto b = frameNumbers<1>(ds, DCM_MRDiffusionSequence, DCM_DiffusionBValue, f))
            image.bValue = (*b)[0];
        result.images.push_back(std::move(image));
    }
    return result;
}

// Order along the normal; then Instance Number, file name and frame, which alone order images
// without a position.
bool comesBefore(const DicomSeriesImage& a, const DicomSeriesImage& b)
{
    const bool aPlaced = !std::isnan(a.normalPosition), bPlaced = !std::isnan(b.normalPosition);
    return std::make_tuple(!aPlaced, aPlaced ? a.normalPosition : 0.0, !a.instanceNumber,
                           a.instanceNumber.value_or(0), a.file, a.frame) <
           std::make_tuple(!bPlaced, bPlaced ? b.normalPosition : 0.0, !b.instanceNumber,
                           b.instanceNumber.value_or(0), b.file, b.frame);
}

void summarise(DicomSeries& s)
{
    std::stable_sort(s.images.begin(), s.images.end(), comesBefore);
    const DicomSeriesImage& first = s.images.front();
    s.orientation = first.orientation;
    std::vector<double> positions;
    for (const DicomSeriesImage& image : s.images) {
        s.mixedOrientations =
            s.mixedOrientations || !sameOrientation(image.orientation, s.orientation);
        if (std::isnan(s.pixelSpacing[0]) && !std::isnan(image.pixelSpacing[0]))
            s.pixelSpacing = image.pixelSpacing;
        if (std::isnan(s.sliceThickness))
            s.sliceThickness = image.sliceThickness;
        if (image.bValue &&
            std::find(s.bValues.begin(), s.bValues.end(), *image.bValue) == s.bValues.end())
            s.bValues.push_back(*image.bValue);
        if (!std::isnan(image.normalPosition) &&
            (positions.empty() || image.normalPosition - positions.back() > kSamePositionMm))
            positions.push_back(image.normalPosition); // the images are in order already
    }
    std::sort(s.bValues.begin(), s.bValues.end());
    if (positions.size() >= 2 && !s.mixedOrientations) {
        std::vector<double> steps;
        for (size_t i = 1; i < positions.size(); ++i)
            steps.push_back(positions[i] - positions[i - 1]);
        std::nth_element(steps.begin(), steps.begin() + steps.size() / 2, steps.end());
        s.sliceSpacing = steps[steps.size() / 2];
    }
}

QString seriesName(const DicomSeries& s)
{
    return QStringLiteral("DICOM series \"%1\" of \"%2\"").arg(s.uid, s.source);
}

} // namespace

void DicomSeries::requireOneOrientation() const
{
    for (const DicomSeriesImage& image : images) {
        if (sameOrientation(image.orientation, images.front().orientation))
            continue;
        auto cosines = [](const DicomSeriesImage& i) {
            return i.orientation ? joined(i.orientation->data(), 6) : QStringLiteral("none");
        };
        throw DicomError(QStringLiteral("Cannot use %1: its images have mixed orientations "
                                        "(%2 has %3, %4 has %5)")
                             .arg(seriesName(*this), describe(images.front()),
                                  cosines(images.front()), describe(image), cosines(image)));
    }
}

NearestSlice DicomSeries::nearestSlice(double normal) const
{
    requireOneOrientation();
    NearestSlice best;
    for (size_t i = 0; i < images.size(); ++i) {
        const double d = std::abs(images[i].normalPosition - normal);
        if (!std::isnan(d) && !(d >= best.distance)) // strict: a tie keeps the lower index
            best = {int(i), d};
    }
    return best;
}

NearestSlice DicomSeries::nearestSliceTo(const DicomSeries& other, int index) const
{
    requireOneOrientation();
    if (index < 0 || size_t(index) >= other.images.size())
        throw DicomError(QStringLiteral("Cannot use image %1 of %2: the series has %3 images")
                             .arg(index)
                             .arg(seriesName(other))
                             .arg(other.images.size()));
    const DicomSeriesImage& image = other.images[size_t(index)];
    if (!image.position || !orientation)
        return {};
    return nearestSlice(along(*orientation, *image.position));
}

QImage DicomSeries::loadImage(int index) const
{
    requireOneOrientation();
    if (index < 0 || size_t(index) >= images.size())
        throw DicomError(QStringLiteral("Cannot read image %1 of %2: the series has %3 images")
                             .arg(index)
                             .arg(seriesName(*this))
                             .arg(images.size()));
    const DicomSeriesImage& image = images[size_t(index)];
    return DICOMUtil().loadImage(image.file, image.frame);
}

const DicomSeries& DicomScan::find(const QString& uid) const
{
    for (const DicomSeries& s : series)
        if (s.uid == uid)
            return s;
    throw DicomError(QStringLiteral("Cannot find DICOM series \"%1\" in \"%2\": it holds %3 "
                                    "other series")
                         .arg(uid, path)
                         .arg(series.size()));
}

DicomScan scanDicomSeries(const QString& path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        throw DicomError(
            QStringLiteral("Cannot read DICOM series from \"%1\": it does not exist").arg(path));
    DicomScan scan;
    scan.path = path;
    std::map<QString, DicomSeries> byUid;
    auto add = [&](FileImages&& found) {
        DicomSeries& s = byUid[found.uid];
        if (s.images.empty()) {
            s.source = path;
            s.uid = found.uid;
            s.modality = found.modality;
            s.description = found.description;
            s.seriesNumber = found.seriesNumber;
        }
        for (DicomSeriesImage& image : found.images)
            s.images.push_back(std::move(image));
    };

    try {
        if (!info.isDir()) {
            FileImages found = readFileImages(path);
            if (found.images.empty())
                throw DicomError(path, QStringLiteral("the data set holds no image (no Pixel "
                                                      "Data)"));
            add(std::move(found));
        } else {
            const QDir dir(path);
            if (!info.isReadable() || !info.isExecutable())
                throw DicomError(QStringLiteral("Cannot read DICOM folder \"%1\": permission "
                                                "denied")
                                     .arg(path));
            // FIFOs, devices and sockets are listed too, so that skipping them is said.
            for (const QString& name : dir.entryList(QDir::Files | QDir::System, QDir::Name)) {
                const QString file = dir.filePath(name);
                if (const QString problem = regularFileProblem(file, kMaximumImageFileSize);
                    !problem.isEmpty()) {
                    scan.problems << QString::fromStdString(DicomError(file, problem).what());
                    continue;
                }
                const bool dicom = hasDicomPreamble(file);
                try {
                    FileImages found = readFileImages(file);
                    if (!found.images.empty())
                        add(std::move(found));
                } catch (const DicomError& e) {
                    if (dicom)
                        scan.problems << QString::fromStdString(e.what());
                }
            }
            if (byUid.empty())
                throw DicomError(
                    QStringLiteral("Cannot read DICOM folder \"%1\": it holds no DICOM image%2")
                        .arg(path, scan.problems.isEmpty()
                                       ? QString()
                                       : QStringLiteral(" that can be read (%1 DICOM file(s) "
                                                        "failed; the first: %2)")
                                             .arg(scan.problems.size())
                                             .arg(scan.problems.front())));
        }
    } catch (const std::bad_alloc&) {
        throw DicomError(QStringLiteral("Cannot read DICOM series from \"%1\": there is not "
                                        "enough memory")
                             .arg(path));
    }

    for (auto& entry : byUid) {
        summarise(entry.second);
        scan.series.push_back(std::move(entry.second));
    }
    std::stable_sort(scan.series.begin(), scan.series.end(),
                     [](const DicomSeries& a, const DicomSeries& b) {
                         return std::make_tuple(!a.seriesNumber, a.seriesNumber.value_or(0),
                                                a.description, a.uid) <
                                std::make_tuple(!b.seriesNumber, b.seriesNumber.value_or(0),
                                                b.description, b.uid);
                     });
    return scan;
}

QStringList seriesListHeader()
{
    return {QStringLiteral("series"),      QStringLiteral("modality"),
            QStringLiteral("description"), QStringLiteral("images"),
            QStringLiteral("orientation"), QStringLiteral("pixel spacing"),
            QStringLiteral("b-values")};
}

QStringList seriesListRow(const DicomSeries& s)
{
    // One line per series, tab-separated: tabs and line breaks in the header texts become spaces.
    auto field = [](QString t) {
        for (QChar& c : t)
            if (c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
                c = QLatin1Char(' ');
        return t.isEmpty() ? QStringLiteral("-") : t;
    };
    const QString orientation = s.mixedOrientations ? QStringLiteral("mixed")
                                : s.orientation     ? joined(s.orientation->data(), 6)
                                                    : QString();
    const QString spacing =
        std::isnan(s.pixelSpacing[0]) ? QString() : joined(s.pixelSpacing.data(), 2);
    return {field(s.uid),
            field(s.modality),
            field(s.description),
            QString::number(s.images.size()),
            field(orientation),
            field(spacing),
            field(joined(s.bValues.data(), s.bValues.size()))};
}

} // namespace kelvara
