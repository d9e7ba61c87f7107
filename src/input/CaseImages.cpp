#include "CaseImages.h"

#include "BmpCheck.h"
#include "FileAccess.h"
#include "DICOMUtil.h"
#include "DicomError.h"
#include "StoredControlTable.h"
#include "Numeric.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>
#include <exception>
#include <new>

namespace kelvara {

namespace {

const QString kBmp = QStringLiteral("BMP");
const QString kDicom = QStringLiteral("DICOM");

// The reader gives a null image for Rows or Columns 0, which no analysis can use.
QImage withPixels(const QImage& image, const QString& path)
{
    if (image.isNull())
        throw DicomError(path, QStringLiteral("its image has no pixels (Rows or Columns is 0)"));
    return image;
}

} // namespace

SourceScaling aoiSourceScaling(Modality m)
{
    if (m == Modality::T2)
        return {Qt::IgnoreAspectRatio, Qt::FastTransformation};
    return {Qt::KeepAspectRatio, Qt::SmoothTransformation};
}

QImage scaleSourceImage(const QImage& base, double factor, SourceScaling scaling)
{
    const int w = truncToInt(base.width() * factor);
    const int h = truncToInt(base.height() * factor);
    if (w <= 0 || h <= 0 || base.isNull())
        return QImage();
    return base.scaled(w, h, scaling.aspect, scaling.transform);
}

QPointF aoiBoxOrigin(QPointF aoiCentre, double aoiWidth, double aoiHeight, QSize imageSize,
                     double scale)
{
    const double pw = imageSize.width();
    const double ph = imageSize.height();
    return QPointF((-aoiWidth * 0.5) + aoiCentre.x() - (-pw) * 0.5 * scale,
                   (-aoiHeight * 0.5) + aoiCentre.y() - (-ph) * 0.5 * scale);
}

QString resolveImagePath(const QString& path, const QString& projectFile, ImagePathBase base)
{
    if (path.isEmpty() || QDir::isAbsolutePath(path))
        return path;
    if (base == ImagePathBase::WorkingDirectoryFirst && QFileInfo::exists(path))
        return path;
    return QDir::cleanPath(QFileInfo(projectFile).absoluteDir().absoluteFilePath(path));
}

bool CaseImages::loadBmp(Modality m, const QString& path, QString* error)
{
    sources[index(m)] = {path, kBmp};
    QString why;
    QImage image;
    try {
        const std::optional<QByteArray> bytes = readRegularFile(path, kMaximumImageFileSize, &why);
        if (bytes) {
            image = decodeGreyImage(*bytes, &why);
            if (image.isNull())
                why = QStringLiteral("'%1': %2").arg(displayPath(path), why);
        }
    } catch (const std::bad_alloc&) {
        image = QImage();
        why = QStringLiteral("'%1': the file (%2 MiB) is too large for the memory available")
                  .arg(displayPath(path))
                  .arg(double(QFileInfo(path).size()) / (1024 * 1024), 0, 'f', 1);
    }
    setImage(m, image);
    if (image.isNull() && error)
        *error = why;
    return !image.isNull();
}

bool CaseImages::loadDicom(Modality m, const QString& path, QString* error)
{
    sources[index(m)] = {path, kDicom};
    try {
        DICOMUtil reader;
        setImage(m, withPixels(reader.loadImage(path), path));
        return true;
    } catch (const std::exception& e) {
        if (error)
            *error = QString::fromUtf8(e.what());
        return false;
    }
}

bool CaseImages::loadSource(Modality m, const ImageSource& source, QString* error,
                            QStringList* warnings)
{
    if (source.kind != kDicom || !readsSeries(m, source)) {
        chosen[index(m)].reset();
        const bool loaded = load(m, source, error);
        sources[index(m)] = source;
        return loaded;
    }
    try {
        const ChosenImage* t2 = m == Modality::T2 ? nullptr : chosenImage(Modality::T2);
        // A T2 read from a single file still has a position to match.
        std::optional<ChosenImage> t2File;
        QString t2Unplaced;
        const ImageSource& t2Source = sources[index(Modality::T2)];
        if (m != Modality::T2 && !t2 && t2Source.kind == kDicom && !t2Source.path.isEmpty()) {
            try {
                ImageSource firstFrame = t2Source;
                firstFrame.slice = -1;
                firstFrame.refusedSlice = QJsonValue(QJsonValue::Undefined);
                t2File = chooseSeriesImage(Modality::T2, firstFrame, nullptr);
                const auto& images = t2File->series.images;
                for (std::size_t i = 0; i < images.size(); ++i)
                    if (images[i].frame == 0)
                        t2File->index = int(i);
                t2 = &*t2File;
            } catch (const std::exception& e) {
                t2Unplaced = QString::fromUtf8(e.what());
            }
        }
        ChosenImage choice = chooseSeriesImage(m, source, t2, t2Unplaced);
        setImage(m, withPixels(choice.series.loadImage(choice.index), choice.image().file));
        if (warnings)
            *warnings << choice.warnings;
        chosen[index(m)] = std::move(choice);
        sources[index(m)] = source;
        return true;
    } catch (const std::exception& e) {
        sources[index(m)] = source;
        if (error)
            *error = QString::fromUtf8(e.what());
        return false;
    }
}

const ChosenImage* CaseImages::chosenImage(Modality m) const
{
    return chosen[index(m)] ? &*chosen[index(m)] : nullptr;
}

bool CaseImages::setSlice(Modality m, int slice, QString* error)
{
    ImageSource source = sources[index(m)];
    source.slice = slice;
    source.refusedSlice = QJsonValue(QJsonValue::Undefined);
    return loadSource(m, source, error);
}

bool CaseImages::automaticScale(Modality m, double* scale, QString* error)
{
    // A single file's spacing comes from its own header.
    auto spacing = [this](Modality k) {
        if (const ChosenImage* c = chosenImage(k))
            return c->image().pixelSpacing[1];
        if (sources[index(k)].kind != kDicom)
            return kNoValue;
        try {
            const DicomScan scan = scanDicomSeries(sources[index(k)].path);
            return scan.series.front().images.front().pixelSpacing[1];
        } catch (const std::exception&) {
            return kNoValue;
        }
    };
    const double own = spacing(m), t2 = spacing(Modality::T2);
    if (!(own > 0.0) || !(t2 > 0.0)) {
        if (error)
            *error = QStringLiteral("%1 image '%2': \"Scale\": \"auto\" needs the pixel spacing "
                                    "of this image and of T2 ('%3')")
                         .arg(QLatin1String(modalityName(m)), source(m).path,
                              source(Modality::T2).path);
        return false;
    }
    if (m == Modality::T2) {
        *scale = 1.0;
        return true;
    }
    // A ratio the scale box cannot hold would be clamped to another registration (or to 0, no
    // image at all) without a word.
    const QString control = QStringLiteral("OverlayScale") + QLatin1String(modalityName(m));
    const StoredControl& box = StoredControlTable::control(control);
    const double ratio = own / t2;
    const double limited = StoredControlTable::limitedNumber(control, ratio);
    if (!(ratio <= box.maximum) || !(limited > box.minimum)) {
        if (error)
            *error = QStringLiteral("%1 image '%2': \"Scale\": \"auto\" gives %3 (column spacing "
                                    "%4 mm over T2's %5 mm), which the scale box cannot hold "
                                    "(%6 to %7)")
                         .arg(QLatin1String(modalityName(m)), source(m).path,
                              QString::number(ratio, 'g', 6), QString::number(own, 'g', 6),
                              QString::number(t2, 'g', 6),
                              QString::number(std::pow(10.0, -box.decimals), 'f', box.decimals),
                              QString::number(box.maximum, 'f', box.decimals));
        return false;
    }
    *scale = limited;
    return true;
}

bool CaseImages::load(Modality m, const ImageSource& source, QString* error)
{
    if (source.kind == kBmp)
        return loadBmp(m, source.path, error);
    if (source.kind == kDicom)
        return loadDicom(m, source.path, error);
    sources[index(m)] = source;
    if (error)
        *error = QStringLiteral("%1: unknown image type '%2' (expected BMP or DICOM)")
                     .arg(source.path, source.kind);
    return false;
}

void CaseImages::setImage(Modality m, const QImage& image)
{
    images[index(m)] = image;
    changed();
}

void CaseImages::setScale(Modality m, double scale)
{
    scales[index(m)] = scale;
    changed();
}

void CaseImages::setAOICells(int h, int v, int hs, int vs)
{
    hCells = h;
    vCells = v;
    hStep = hs;
    vStep = vs;
    changed();
}

void CaseImages::setAOIPosition(int h, int v)
{
    hPos = h;
    vPos = v;
    changed();
}

void CaseImages::setGeometry(const ControlValues& c)
{
    scales = c.scale;
    setAOICells(c.hCells, c.vCells, c.hStep, c.vStep);
    setAOIPosition(c.hPos, c.vPos);
}

int CaseImages::aoiWidth() const
{
    return truncToInt(2.0 * boxHalfWidth());
}

int CaseImages::aoiHeight() const
{
    return truncToInt(boxHeight());
}

QImage CaseImages::scaledImage(Modality m) const
{
    return scaleSourceImage(image(m), scale(m), aoiSourceScaling(m));
}

QPointF CaseImages::boxOrigin(Modality m) const
{
    const double halfWidth = boxHalfWidth();
    return aoiBoxOrigin(aoiCentre(), halfWidth + halfWidth, boxHeight(), image(m).size(), scale(m));
}

AOIImages CaseImages::aoiImages()
{
    if (extractor.needsUpdate()) {
        const QPointF t2 = boxOrigin(Modality::T2);
        const QPointF dwi = boxOrigin(Modality::DWI);
        const QPointF adc = boxOrigin(Modality::ADC);
        extractor.extract(scaledImage(Modality::T2), scaledImage(Modality::DWI),
                          scaledImage(Modality::ADC), truncToInt(t2.x()), truncToInt(t2.y()),
                          truncToInt(dwi.x()), truncToInt(dwi.y()), truncToInt(adc.x()),
                          truncToInt(adc.y()), aoiWidth(), aoiHeight());
    }
    return {extractor.t2AOIImage(), extractor.dwiAOIImage(), extractor.adcAOIImage(),
            boxHalfWidth(), boxHeight()};
}

} // namespace kelvara
