#pragma once

#include <QImage>

namespace kelvara {

// A plane shown as an image: a new width x height Format_RGB32 image whose pixel (x, y) is the
// opaque grey of plane[x][y] * scale, truncated toward zero and reduced to its low 8 bits
// (values wrap, they are never clamped). Scale 1 for grey-level planes, 255 for 0..1 planes.
// A null table or an empty size gives a null image.
QImage planeImage(const double* const* plane, int width, int height, double scale = 1.0);

} // namespace kelvara
