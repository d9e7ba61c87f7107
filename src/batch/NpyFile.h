#pragma once

#include <QByteArray>

namespace kelvara {

// A plane (columns: plane[x][y]) as the bytes of a NumPy .npy array of little-endian float64
// with shape (height, width), indexed [y][x] as images are. Empty when there is no plane.
QByteArray npyBytes(const double* const* plane, int width, int height);

} // namespace kelvara
