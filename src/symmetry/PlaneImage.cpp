#include "PlaneImage.h"

#include "Numeric.h"

namespace kelvara {

QImage planeImage(const double* const* plane, int width, int height, double scale)
{
    if (!plane || width < 1 || height < 1)
        return QImage();
    QImage image(width, height, QImage::Format_RGB32);
    if (image.isNull())
        return image;
    for (int y = 0; y < height; ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int v = wrapGrey(plane[x][y] * scale);
            line[x] = qRgb(v, v, v);
        }
    }
    return image;
}

} // namespace kelvara
