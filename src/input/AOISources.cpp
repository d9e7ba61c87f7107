#include "AOISources.h"

#include "AOIExtractor.h"
#include "Numeric.h"

namespace kelvara {

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

QPointF aoiBoxOrigin(QPointF aoiCentre, double aoiWidth, double aoiHeight, QSize pixmapSize,
                     double scale)
{
    const double pw = pixmapSize.width();
    const double ph = pixmapSize.height();
    return QPointF((-aoiWidth * 0.5) + aoiCentre.x() - (-pw) * 0.5 * scale,
                   (-aoiHeight * 0.5) + aoiCentre.y() - (-ph) * 0.5 * scale);
}

QImage loadBmpImage(const QString& path)
{
    QImage image(path);
    image.convertTo(QImage::Format_Grayscale8);
    return image;
}

QImage AOISources::scaledImage(Modality m, const ControlValues& c) const
{
    return scaleSourceImage(image(m), c.scale[static_cast<int>(m)], aoiSourceScaling(m));
}

QPointF AOISources::boxOrigin(Modality m, const ControlValues& c) const
{
    const double halfWidth = boxHalfWidth(c);
    // The vertical slider points up the screen, scene y down.
    return aoiBoxOrigin(QPointF(c.hPos, -c.vPos), halfWidth + halfWidth, boxHeight(c),
                        image(m).size(), c.scale[static_cast<int>(m)]);
}

void AOISources::extract(const ControlValues& c, AOIExtractor& extractor) const
{
    const QPointF t2 = boxOrigin(Modality::T2, c);
    const QPointF dwi = boxOrigin(Modality::DWI, c);
    const QPointF adc = boxOrigin(Modality::ADC, c);
    extractor.setNeedsUpdate(true);
    extractor.extract(scaledImage(Modality::T2, c), scaledImage(Modality::DWI, c),
                      scaledImage(Modality::ADC, c), truncToInt(t2.x()), truncToInt(t2.y()),
                      truncToInt(dwi.x()), truncToInt(dwi.y()), truncToInt(adc.x()),
                      truncToInt(adc.y()), truncToInt(boxHalfWidth(c) * 2.0),
                      truncToInt(boxHeight(c)));
}

} // namespace kelvara
