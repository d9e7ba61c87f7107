#pragma once

#include "ControlValues.h"
#include "Modality.h"

#include <QImage>
#include <QPointF>
#include <QSize>

#include <array>

class AOIExtractor;

namespace kelvara {

// How a modality's hidden AOI source scales its image: T2 stretches fast, DWI and ADC keep the
// aspect ratio and smooth.
struct SourceScaling
{
    Qt::AspectRatioMode aspect;
    Qt::TransformationMode transform;
};
SourceScaling aoiSourceScaling(Modality m);

// The scaled image an AOI source holds: target size truncated toward zero (3 x 3 by 1.5 gives
// 4 x 4); an empty target or a null image gives a null image.
QImage scaleSourceImage(const QImage& base, double factor, SourceScaling scaling);

// Top-left corner of the AOI box in a modality's scaled image. The overlay centres every image
// on the scene origin and scales it about its centre by `scale`; pixmapSize is the unscaled
// size. The halves are exact, also for odd sizes.
QPointF aoiBoxOrigin(QPointF aoiCentre, double aoiWidth, double aoiHeight, QSize pixmapSize,
                     double scale);

// A BMP (or any image the toolkit reads) as the loaders keep it: 8-bit grey. Null when the file
// cannot be read.
QImage loadBmpImage(const QString& path);

// The overlay and the three hidden AOI sources without any widget: the images as loaded, and
// the extraction of the AOI images for given overlay and AOI control values, the same as the
// window performs after a project load.
class AOISources
{
public:
    void setImage(Modality m, const QImage& image) { images[static_cast<int>(m)] = image; }
    const QImage& image(Modality m) const { return images[static_cast<int>(m)]; }

    static double boxHalfWidth(const ControlValues& c) { return double(c.hCells * c.hStep); }
    static double boxHeight(const ControlValues& c) { return double(c.vCells * c.vStep); }

    // The modality's scaled image and its box origin for these controls.
    QImage scaledImage(Modality m, const ControlValues& c) const;
    QPointF boxOrigin(Modality m, const ControlValues& c) const;

    // Extracts the three AOI images into the extractor (whatever its pending flag says).
    void extract(const ControlValues& c, AOIExtractor& extractor) const;

private:
    std::array<QImage, 3> images;
};

} // namespace kelvara
