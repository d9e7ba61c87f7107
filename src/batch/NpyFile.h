#pragma once

#include <QString>

namespace kelvara {

// Writes a plane (columns: plane[x][y]) as a NumPy .npy array of little-endian float64 with
// shape (height, width), indexed [y][x] as images are. False if the file cannot be written.
bool writeNpy(const QString& path, const double* const* plane, int width, int height);

} // namespace kelvara
