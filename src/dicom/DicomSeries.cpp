#include "DicomSeries.h"

#include "DICOMUtil.h"
#include "DicomError.h"
#include "DicomFunctionalGroups.h"
#include "DicomStructureGuard.h"
#include "FileAccess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include <algorithm>
#include <cmath>
#include <functional>
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

// An attribute of N numbers as it stands in a data set.
template <size_t N>
struct Numbers
{
    bool present = false;                        // an element with a value
    QString text;                                // the value as written, when present
    std::optional<std::array<double, N>> values; // when it holds N finite numbers
    QString problem;                             // present, but not N finite numbers
};

// The value as written, shortened, for a message.
QString valueText(DcmElement& element)
{
    OFString value;
    element.getOFStringArray(value);
    QString t = QString::fromLatin1(value.c_str()).simplified();
    if (t.size() > 60)
        t = t.left(57) + QStringLiteral("...");
    return t;
}

template <size_t N>
Numbers<N> readNumbers(DcmItem& item, const DcmTagKey& key)
{
    Numbers<N> r;
    DcmElement* element = nullptr;
    if (item.findAndGetElement(key, element).bad() || !element || element->getLength() == 0)
        return r;
    r.present = true;
    r.text = valueText(*element);
    const unsigned long count = element->getVM();
    if (count != N) {
        r.problem = QStringLiteral("holds %1 value(s) (\"%2\"), not %3")
                        .arg(count)
                        .arg(r.text)
                        .arg(N);
        return r;
    }
    std::array<double, N> values{};
    for (size_t i = 0; i < N; ++i) {
        Float64 v = 0;
        if (element->getFloat64(v, static_cast<unsigned long>(i)).bad() || !std::isfinite(v)) {
            r.problem = QStringLiteral("is \"%1\", not %2 finite number(s)")
                            .arg(r.text)
                            .arg(N);
            return r;
        }
        values[i] = v;
    }
    r.values = values;
    return r;
}

// `key` from the frame's functional group `macro`, else from the shared one, else from the top
// level: a per-frame value overrides the shared one.
template <size_t N>
Numbers<N> frameNumbers(DcmDataset& dataset, const DcmTagKey& macro, const DcmTagKey& key,
                        uint32_t frame)
{
    for (DcmItem* item : functionalGroups(dataset, macro, frame))
        if (Numbers<N> r = readNumbers<N>(*item, key); r.present)
            return r;
    return readNumbers<N>(dataset, key);
}

// Why six direction cosines are no orientation: empty when they are two unit, perpendicular
// vectors within the tolerances.
QString orientationProblem(const std::array<double, 6>& o)
{
    const double row = std::sqrt(o[0] * o[0] + o[1] * o[1] + o[2] * o[2]);
    const double column = std::sqrt(o[3] * o[3] + o[4] * o[4] + o[5] * o[5]);
    if (std::abs(row - 1) > kUnitVectorTolerance || std::abs(column - 1) > kUnitVectorTolerance)
        return QStringLiteral("its row and column vectors are not unit vectors (lengths %1 and "
                              "%2)")
            .arg(row, 0, 'g', 4)
            .arg(column, 0, 'g', 4);
    const double cosine = (o[0] * o[3] + o[1] * o[4] + o[2] * o[5]) / (row * column);
    if (std::abs(cosine) > kPerpendicularTolerance)
        return QStringLiteral("its row and column vectors are not perpendicular (%1 degrees "
                              "apart)")
            .arg(std::acos(std::clamp(cosine, -1.0, 1.0)) * 180 / M_PI, 0, 'f', 1);
    return QString();
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

// The images of one file, with the series each belongs to. Empty for a data set without Pixel
// Data (a DICOMDIR, a report): it holds no image.
struct FileImages
{
    QString uid, modality, description;
    std::optional<int> seriesNumber;
    std::vector<DicomSeriesImage> images;
    // Per image: whether the file gives a position, and an orientation, at all (maybe a faulty
    // one, which is a fault of its own).
    std::vector<char> positioned, oriented;
    QStringList faults, warnings; // each naming the file
};

// One message per file and kind of problem, however many frames have it.
class FrameProblems
{
public:
    void add(const QString& what, const QString& file, uint32_t frame, uint32_t frames,
             const QString& problem)
    {
        Entry& e = m_entries[what];
        if (e.count++ == 0)
            e.text = QStringLiteral("\"%1\"%2: %3 %4")
                         .arg(file,
                              frames > 1 ? QStringLiteral(" frame %1").arg(frame) : QString(),
                              what, problem);
    }
    void appendTo(QStringList& list) const
    {
        for (const auto& [what, e] : m_entries)
            list << (e.count > 1 ? QStringLiteral("%1 (and %2 more frame(s))")
                                       .arg(e.text)
                                       .arg(e.count - 1)
                                 : e.text);
    }

private:
    struct Entry
    {
        QString text;
        int count = 0;
    };
    std::map<QString, Entry> m_entries;
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

    // From here on the series is known: what is wrong is a fault of that series.
    uint32_t frames = 1;
    try {
        const std::optional<int> declaredFrames = integer(ds, DCM_NumberOfFrames);
        if (declaredFrames && *declaredFrames < 1)
            throw DicomError(file, QStringLiteral("Number of Frames is %1").arg(*declaredFrames));
        frames = uint32_t(declaredFrames.value_or(1));
        checkFrameCount(ds, *pixelData, frames, file);
        // Per-frame items that do not match the frames one to one would give frames the
        // geometry of others.
        if (const std::optional<unsigned long> groups = perFrameGroupCount(ds);
            groups && *groups != frames)
            throw DicomError(file, QStringLiteral("its Per-frame Functional Groups Sequence holds "
                                                  "%1 item(s) for %2 frame(s) (Number of Frames)")
                                       .arg(*groups)
                                       .arg(frames));
    } catch (const DicomError& e) {
        result.faults << QString::fromUtf8(e.what());
        return result;
    }
    const bool enhanced = perFrameGroupCount(ds).has_value();

    FrameProblems faults, warnings;
    const std::optional<int> instance = integer(ds, DCM_InstanceNumber);
    for (uint32_t f = 0; f < frames; ++f) {
        DicomSeriesImage image;
        image.file = file;
        image.frame = int(f);
        image.instanceNumber = instance;
        const auto position =
            frameNumbers<3>(ds, DCM_PlanePositionSequence, DCM_ImagePositionPatient, f);
        const auto orientation =
            frameNumbers<6>(ds, DCM_PlaneOrientationSequence, DCM_ImageOrientationPatient, f);
        const QString positionName = QStringLiteral("Image Position (Patient)");
        const QString orientationName = QStringLiteral("Image Orientation (Patient)");
        if (!position.problem.isEmpty())
            faults.add(positionName, file, f, frames, position.problem);
        else if (enhanced && !position.present)
            faults.add(positionName, file, f, frames, QStringLiteral("is missing"));
        if (!orientation.problem.isEmpty())
            faults.add(orientationName, file, f, frames, orientation.problem);
        else if (orientation.values)
            if (const QString why = orientationProblem(*orientation.values); !why.isEmpty())
                faults.add(orientationName, file, f, frames,
                           QStringLiteral("%1: %2").arg(joined(orientation.values->data(), 6),
                                                        why));
        image.position = position.values;
        image.orientation = orientation.values;
        if (image.position && image.orientation)
            image.normalPosition = along(*image.orientation, *image.position);
        if (const auto spacing =
                frameNumbers<2>(ds, DCM_PixelMeasuresSequence, DCM_PixelSpacing, f).values)
            image.pixelSpacing = *spacing;
        if (const auto thickness =
                frameNumbers<1>(ds, DCM_PixelMeasuresSequence, DCM_SliceThickness, f).values)
            image.sliceThickness = (*thickness)[0];
        // A b-value that cannot be one is no b-value at all, never 0 or the highest.
        const auto b = frameNumbers<1>(ds, DCM_MRDiffusionSequence, DCM_DiffusionBValue, f);
        if (b.values && (*b.values)[0] >= 0 && (*b.values)[0] <= kMaximumBValue)
            image.bValue = (*b.values)[0];
        else if (b.present)
            warnings.add(QStringLiteral("Diffusion b-value"), file, f, frames,
                         QStringLiteral("is %1, not a number from 0 to %2 s/mm^2: the image is "
                                        "read as having no b-value")
                             .arg(b.text)
                             .arg(kMaximumBValue));
        result.images.push_back(std::move(image));
        result.positioned.push_back(position.present);
        result.oriented.push_back(orientation.present);
    }
    faults.appendTo(result.faults);
    warnings.appendTo(result.warnings);
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

// Pixel spacings closer than this (mm) are one spacing.
constexpr double kSameSpacingMm = 1e-4;

// A series being collected: its images with what their files said about position and
// orientation, in the order they were read.
struct PendingSeries
{
    DicomSeries series;
    std::vector<char> positioned, oriented;
};

QString listed(const QStringList& names)
{
    constexpr int kNamed = 3;
    QString text = names.mid(0, kNamed).join(QStringLiteral(", "));
    if (names.size() > kNamed)
        text += QStringLiteral(" and %1 more").arg(names.size() - kNamed);
    return text;
}

// Geometry that must hold before the order means anything: all images placed, or none.
void checkPlacement(PendingSeries& p)
{
    DicomSeries& s = p.series;
    QStringList unpositioned, unoriented;
    bool anyPosition = false;
    for (size_t i = 0; i < s.images.size(); ++i) {
        anyPosition = anyPosition || p.positioned[i];
        if (!p.positioned[i])
            unpositioned << describe(s.images[i]);
        if (!p.oriented[i])
            unoriented << describe(s.images[i]);
    }
    if (anyPosition && !unpositioned.isEmpty())
        s.faults << QStringLiteral("%1 of its %2 images have no Image Position (Patient) while "
                                   "others have: %3")
                        .arg(unpositioned.size())
                        .arg(s.images.size())
                        .arg(listed(unpositioned));
    if (anyPosition && !unoriented.isEmpty())
        s.faults << QStringLiteral("%1 of its %2 images have no Image Orientation (Patient): %3")
                        .arg(unoriented.size())
                        .arg(s.images.size())
                        .arg(listed(unoriented));
    if (!anyPosition && s.images.size() > 1)
        s.warnings << QStringLiteral("no image of DICOM series \"%1\" of \"%2\" has an Image "
                                     "Position (Patient): its %3 images are in Instance Number "
                                     "order")
                          .arg(s.uid, s.source)
                          .arg(s.images.size());
}

void summarise(PendingSeries& pending)
{
    checkPlacement(pending);
    DicomSeries& s = pending.series;
    std::stable_sort(s.images.begin(), s.images.end(), comesBefore);
    const DicomSeriesImage& first = s.images.front();
    s.orientation = first.orientation;
    std::vector<double> positions;
    const DicomSeriesImage* spacingSource = nullptr;
    bool spacingsDiffer = false;
    for (const DicomSeriesImage& image : s.images) {
        s.mixedOrientations =
            s.mixedOrientations || !sameOrientation(image.orientation, s.orientation);
        if (!spacingSource && !std::isnan(image.pixelSpacing[0])) {
            spacingSource = &image;
            s.pixelSpacing = image.pixelSpacing;
        } else if (spacingSource && !spacingsDiffer && !std::isnan(image.pixelSpacing[0]) &&
                   (std::abs(image.pixelSpacing[0] - s.pixelSpacing[0]) > kSameSpacingMm ||
                    std::abs(image.pixelSpacing[1] - s.pixelSpacing[1]) > kSameSpacingMm)) {
            spacingsDiffer = true; // one message names the first disagreement
            s.faults << QStringLiteral("its images have different pixel spacings (%1 has %2, %3 "
                                       "has %4)")
                            .arg(describe(*spacingSource), joined(s.pixelSpacing.data(), 2),
                                 describe(image), joined(image.pixelSpacing.data(), 2));
        }
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
    if (!s.mixedOrientations) {
        // Two images of one b-value at one position: which one is "the slice" would be a guess.
        std::map<std::pair<bool, double>, const DicomSeriesImage*> lastOfB;
        for (const DicomSeriesImage& image : s.images) {
            if (std::isnan(image.normalPosition))
                continue;
            const std::pair<bool, double> b{image.bValue.has_value(), image.bValue.value_or(0)};
            const DicomSeriesImage*& last = lastOfB[b];
            if (last && image.normalPosition - last->normalPosition <= kSamePositionMm)
                s.faults << QStringLiteral("%1 and %2 lie at one position (%3 mm along the slice "
                                           "normal%4)")
                                .arg(describe(*last), describe(image))
                                .arg(image.normalPosition, 0, 'f', 3)
                                .arg(image.bValue ? QStringLiteral(", both b = %1").arg(*image.bValue)
                                                  : QString());
            last = &image;
        }
    }
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

void DicomSeries::requireUsable() const
{
    if (faults.isEmpty())
        return;
    constexpr int kShown = 5;
    QString text = faults.mid(0, kShown).join(QStringLiteral("; "));
    if (faults.size() > kShown)
        text += QStringLiteral("; and %1 more problem(s)").arg(faults.size() - kShown);
    throw DicomError(QStringLiteral("Cannot use %1: %2").arg(seriesName(*this), text));
}

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
    requireUsable();
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
    requireUsable();
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

namespace {

// The series of `path` (a file, or the files of a folder). With `requireImages`, a path without
// any DICOM image is an error; without, the scan is simply empty.
DicomScan scanPath(const QString& path, bool requireImages)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        throw DicomError(
            QStringLiteral("Cannot read DICOM series from \"%1\": it does not exist").arg(path));
    DicomScan scan;
    scan.path = path;
    std::map<QString, PendingSeries> byUid;
    std::map<QString, QStringList> skippedOfSeries; // uid: files of it that could not be used
    QStringList unknownSeries; // files that could not be read, series unknown
    auto add = [&](FileImages&& found) {
        if (found.images.empty()) {
            for (const QString& fault : found.faults) {
                scan.problems << fault;
                skippedOfSeries[found.uid] << fault;
            }
            return;
        }
        PendingSeries& p = byUid[found.uid];
        DicomSeries& s = p.series;
        if (s.images.empty()) {
            s.source = path;
            s.uid = found.uid;
            s.modality = found.modality;
            s.description = found.description;
            s.seriesNumber = found.seriesNumber;
        }
        for (DicomSeriesImage& image : found.images)
            s.images.push_back(std::move(image));
        p.positioned.insert(p.positioned.end(), found.positioned.begin(), found.positioned.end());
        p.oriented.insert(p.oriented.end(), found.oriented.begin(), found.oriented.end());
        s.faults << found.faults;
        s.warnings << found.warnings;
    };

    try {
        if (!info.isDir()) {
            FileImages found = readFileImages(path);
            if (found.images.empty() && !found.faults.isEmpty())
                throw DicomError(found.faults.front());
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
            // FIFOs, devices, sockets and broken links are listed too, so that skipping them is
            // said.
            for (const QString& name : dir.entryList(QDir::Files | QDir::System, QDir::Name)) {
                const QString file = dir.filePath(name);
                auto unreadable = [&](const QString& message) {
                    scan.problems << message;
                    unknownSeries << message;
                };
                if (const QString problem = regularFileProblem(file, kMaximumImageFileSize);
                    !problem.isEmpty()) {
                    const QFileInfo entry(file);
                    // A FIFO, a device or a socket holds no image; a broken link, a file that
                    // cannot be examined or one too large to read might.
                    if (entry.exists() && !entry.isFile())
                        scan.problems << QString::fromStdString(DicomError(file, problem).what());
                    else
                        unreadable(QString::fromStdString(DicomError(file, problem).what()));
                    continue;
                }
                QFile opened(file);
                if (!opened.open(QIODevice::ReadOnly)) {
                    unreadable(QString::fromStdString(
                        DicomError(file, QStringLiteral("cannot open it: %1")
                                             .arg(opened.errorString()))
                            .what()));
                    continue;
                }
                const bool dicom = opened.read(132).mid(128) == "DICM";
                opened.close();
                try {
                    add(readFileImages(file));
                } catch (const DicomError& e) {
                    if (dicom) // files that are not DICOM at all are passed over
                        unreadable(QString::fromStdString(e.what()));
                }
            }
            if (byUid.empty() && requireImages) {
                const bool subfolders =
                    !dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty();
                throw DicomError(
                    QStringLiteral("Cannot read DICOM folder \"%1\": it holds no DICOM image%2%3")
                        .arg(path,
                             scan.problems.isEmpty()
                                 ? QString()
                                 : QStringLiteral(" that can be read (%1 file(s) failed; the "
                                                  "first: %2)")
                                       .arg(scan.problems.size())
                                       .arg(scan.problems.front()),
                             subfolders ? QStringLiteral(" (its subfolders are not read: name "
                                                         "the folder of one series)")
                                        : QString()));
            }
        }
    } catch (const std::bad_alloc&) {
        throw DicomError(QStringLiteral("Cannot read DICOM series from \"%1\": there is not "
                                        "enough memory")
                             .arg(path));
    }

    for (auto& [uid, pending] : byUid) {
        summarise(pending);
        DicomSeries& s = pending.series;
        if (const auto skipped = skippedOfSeries.find(uid); skipped != skippedOfSeries.end())
            for (const QString& fault : skipped->second)
                s.faults << QStringLiteral("%1 (a file of this series)").arg(fault);
        for (const QString& fault : unknownSeries)
            s.faults << QStringLiteral("%1 (its series is not known: it may hold an image of "
                                       "this one)")
                            .arg(fault);
        scan.series.push_back(std::move(s));
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

} // namespace

DicomScan scanDicomSeries(const QString& path)
{
    return scanPath(path, true);
}

DicomTreeScan scanDicomTree(const QString& path, int maxDepth, int maxEntries)
{
    const QFileInfo root(path);
    if (!root.isDir()) // a file, or nothing (the scan says it does not exist)
        return {{scanDicomSeries(path)}, {}};
    DicomTreeScan tree;
    QSet<QString> visited; // canonical paths: a link back into the tree is not entered again
    int entries = 0;
    bool stopped = false;
    // Depth first, in name order, a folder before its subfolders.
    std::function<void(const QString&, int)> visit = [&](const QString& folder, int depth) {
        if (stopped)
            return;
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (visited.contains(canonical)) {
            tree.notes << QStringLiteral("\"%1\" leads back to \"%2\", which is listed once")
                              .arg(folder, canonical);
            return;
        }
        visited.insert(canonical);
        const QDir dir(folder);
        const QFileInfo info(folder);
        if (!info.isReadable() || !info.isExecutable()) {
            tree.notes << QStringLiteral("Cannot read DICOM folder \"%1\": permission denied")
                              .arg(folder);
            return;
        }
        const qsizetype count = dir.entryList(QDir::Files | QDir::System).size();
        if (entries + count > maxEntries) {
            stopped = true;
            tree.notes << QStringLiteral("the listing stops at \"%1\": it would pass %2 files "
                                         "examined in all; the rest of \"%3\" is not listed")
                              .arg(folder)
                              .arg(maxEntries)
                              .arg(path);
            return;
        }
        entries += int(count);
        if (count > 0) {
            try {
                DicomScan scan = scanPath(folder, false);
                if (!scan.series.empty())
                    tree.folders.push_back(std::move(scan));
                else
                    tree.notes << scan.problems;
            } catch (const DicomError& e) {
                tree.notes << QString::fromUtf8(e.what());
            }
        }
        const QStringList subfolders = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        if (!subfolders.isEmpty() && depth >= maxDepth) {
            tree.notes << QStringLiteral("the subfolders of \"%1\" are not listed: it lies %2 "
                                         "folder(s) below \"%3\", the most that are entered")
                              .arg(folder)
                              .arg(depth)
                              .arg(path);
            return;
        }
        for (const QString& name : subfolders)
            visit(dir.filePath(name), depth + 1);
    };
    visit(path, 0);
    if (tree.folders.empty())
        throw DicomError(QStringLiteral("Cannot read DICOM folder \"%1\": neither it nor a folder "
                                        "below it holds a DICOM image that can be read%2")
                             .arg(path, tree.notes.isEmpty()
                                            ? QString()
                                            : QStringLiteral(" (%1 note(s); the first: %2)")
                                                  .arg(tree.notes.size())
                                                  .arg(tree.notes.front())));
    return tree;
}

QStringList seriesListHeader()
{
    return {QStringLiteral("series"),      QStringLiteral("modality"),
            QStringLiteral("description"), QStringLiteral("images"),
            QStringLiteral("orientation"), QStringLiteral("pixel spacing"),
            QStringLiteral("b-values"),    QStringLiteral("path")};
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
            field(joined(s.bValues.data(), s.bValues.size())),
            field(s.source)};
}

} // namespace kelvara
