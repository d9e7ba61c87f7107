#pragma once

// A deliberately plain AOI extraction for comparison: the whole box visited column by column,
// every pixel read with QImage::pixel and written with QImage::setPixel. The two toolkit rules
// it leans on (12345 from pixel() off the image, dropped setPixel() off the canvas) are applied
// without calling pixel()/setPixel() out of range, which would log a warning per pixel.

#include <QImage>
#include <QtGlobal>

namespace aoitest {

constexpr QRgb kOffImage = 12345;

inline QImage oracleAOI(const QImage& source, qint64 originX, qint64 originY, int w, int h)
{
    QImage out(512, 512, QImage::Format_Grayscale8);
    out.fill(Qt::black);
    if (w < 1)
        return out;
    const int c0 = 256 - w / 2;
    const int r0 = 256 - h / 2;
    const double a = w * 0.5;
    const double b = h * 0.5;
    for (qint64 c = c0; c <= qint64(c0) + w - 1; ++c) {
        const int dc = int(c - 256);
        const double tc = (dc * dc) / (a * a);
        for (qint64 r = r0; h >= 1 && r <= qint64(r0) + h - 1; ++r) {
            const bool onCanvas = c >= 0 && c < 512 && r >= 0 && r < 512;
            if (!onCanvas)
                continue; // setPixel() would drop it
            const int dr = int(r - 256);
            if (tc + (dr * dr) / (b * b) <= 1.0) {
                const qint64 x = originX + (c - c0);
                const qint64 y = originY + (r - r0);
                const bool onImage = x >= 0 && x < source.width() && y >= 0 && y < source.height();
                out.setPixel(int(c), int(r), onImage ? source.pixel(int(x), int(y)) : kOffImage);
            } else {
                out.setPixel(int(c), int(r), 0xFF000000u);
            }
        }
    }
    return out;
}

// Grey ramp whose every pixel is non-zero, so the ellipse's extent shows in the AOI image.
inline QImage nonZeroGrey(int w, int h, int seed = 0)
{
    QImage img(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.scanLine(y)[x] = uchar(1 + (x * 7 + y * 13 + seed * 31) % 255);
    return img;
}

} // namespace aoitest
