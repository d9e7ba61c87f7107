#pragma once

#include "AOIExtractor.h"
#include "ControlValues.h"
#include "ImageSource.h"
#include "Modality.h"
#include "SeriesChoice.h"

#include <QImage>
#include <QPointF>
#include <QSize>

#include <array>
#include <optional>

namespace kelvara {

// The three AOI images as the extraction left them, and the AOI size they were cut with.
struct AOIImages {
    QImage t2, dwi, adc;
    double boxHalfWidth = 50.0;
    double boxHeight = 50.0;

    const QImage& of(Modality m) const { return m == Modality::T2 ? t2 : m == Modality::DWI ? dwi : adc; }
};

// How a modality's image is scaled for the extraction: T2 stretches fast, DWI and ADC keep the
// aspect ratio and smooth.
struct SourceScaling
{
    Qt::AspectRatioMode aspect;
    Qt::TransformationMode transform;
};
SourceScaling aoiSourceScaling(Modality m);

// The scaled image the AOI is cut from: target size truncated toward zero (3 x 3 by 1.5 gives
// 4 x 4); an empty target or a null image gives a null image.
QImage scaleSourceImage(const QImage& base, double factor, SourceScaling scaling);

// Top-left corner of the AOI box in a modality's scaled image. The overlay centres every image
// on the scene origin and scales it about its centre by `scale`; imageSize is the unscaled
// size. The halves are exact, also for odd sizes.
QPointF aoiBoxOrigin(QPointF aoiCentre, double aoiWidth, double aoiHeight, QSize imageSize,
                     double scale);

// Where a project's image path points. Relative paths are taken from the project's folder; the
// window first tries the working directory, as it always has, and falls back to the project's
// folder when the file is not there.
enum class ImagePathBase { ProjectFolder, WorkingDirectoryFirst };
QString resolveImagePath(const QString& path, const QString& projectFile, ImagePathBase base);

// One case as both front ends hold it: the three loaded images with the file each came from,
// their registration scales, the AOI geometry in control units, and the AOI images cut from
// them. The window feeds its scenes from it, kelvara-batch runs on it directly.
class CaseImages
{
public:
    // Any format the toolkit reads, kept as 8-bit grey; a BMP's headers are checked against the
    // file first (decodeGreyImage). An unreadable file gives a null image that replaces the
    // previous one (the AOI then reads as missing data); false and *error naming the file then.
    bool loadBmp(Modality m, const QString& path, QString* error = nullptr);
    // Frame 0 of a DICOM file. On failure the previous image stays; *error names the file and
    // the reason.
    bool loadDicom(Modality m, const QString& path, QString* error = nullptr);
    // By the kind a project records ("BMP" or "DICOM"); the source is remembered before
    // reading, so a project saved after a failed load still names the file asked for. Another
    // kind reads nothing.
    bool load(Modality m, const ImageSource& source, QString* error = nullptr);

    // A project's DICOM source: a file read as loadDicom does, or, for a folder or a source
    // with series keys, the image they choose (DWI and ADC default to the slice nearest to
    // T2's, so T2 is loaded first). False with *error naming the modality, the path and the
    // problem; notes that are not errors (a far slice) go to *warnings.
    bool loadSource(Modality m, const ImageSource& source, QString* error,
                    QStringList* warnings = nullptr);
    // The series image chosen for a modality, when its source chose one.
    const ChosenImage* chosenImage(Modality m) const;
    // Another slice of the chosen series, read as loading does.
    bool setSlice(Modality m, int slice, QString* error);

    // The modality's column pixel spacing over T2's, rounded as the scale spin box rounds
    // (T2 gives 1). False with *error when either image has no pixel spacing.
    bool automaticScale(Modality m, double* scale, QString* error);

    void setImage(Modality m, const QImage& image);
    const QImage& image(Modality m) const { return images[index(m)]; }
    const ImageSource& source(Modality m) const { return sources[index(m)]; }
    std::array<ImageSource, 3> imageSources() const { return sources; }

    // Geometry, in the units of the overlay and AOI controls.
    void setScale(Modality m, double scale);
    double scale(Modality m) const { return scales[index(m)]; }
    void setAOICells(int hCells, int vCells, int hStep, int vStep);
    void setAOIPosition(int hPos, int vPos);
    // Scales, AOI cells and position from the controls.
    void setGeometry(const ControlValues& c);

    // Half-width = HCells x HStep, height = VCells x VStep; the centre is (HPos, -VPos) in the
    // overlay scene, whose y grows down while the vertical slider points up.
    double boxHalfWidth() const { return double(hCells * hStep); }
    double boxHeight() const { return double(vCells * vStep); }
    QPointF aoiCentre() const { return QPointF(hPos, -vPos); }
    // The AOI size the engines work on, truncated toward zero.
    int aoiWidth() const;
    int aoiHeight() const;

    QImage scaledImage(Modality m) const;
    QPointF boxOrigin(Modality m) const;

    // The three AOI images; they are cut again only after an image, a scale or the AOI changed.
    AOIImages aoiImages();

private:
    static std::size_t index(Modality m) { return static_cast<std::size_t>(m); }
    void changed() { extractor.setNeedsUpdate(true); }

    std::array<QImage, 3> images;
    std::array<ImageSource, 3> sources;
    std::array<double, 3> scales{1.0, 1.0, 1.0};
    int hCells = 50, vCells = 50, hStep = 1, vStep = 1;
    int hPos = 0, vPos = 0;
    AOIExtractor extractor;
    std::array<std::optional<ChosenImage>, 3> chosen;
};

} // namespace kelvara
