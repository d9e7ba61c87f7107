#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <optional>

namespace kelvara {

// The PNG row filters this writer offers (the numbers are those written before each row).
enum class PngFilter { None = 0, Sub = 1, Up = 2, Paeth = 4 };

// How the pixels are filtered and compressed. One filter for every row instead of trying each
// row with every filter (what makes general-purpose writers slow); the defaults are the fastest
// setting that keeps a case's images about as small as before (bench/bench_png.cpp).
struct PngSettings
{
    PngFilter filter = PngFilter::Up;
    int level = 1;    // zlib level, 0 to 9
    int strategy = 3; // Z_RLE; as deflateInit2 takes it
};

// The image as a PNG file in memory: 8-bit grey for Format_Grayscale8, RGB for Format_RGB32,
// RGBA for Format_ARGB32, so that the file decodes to the same pixels and format. Other formats
// are converted first (premultiplied pixels to straight alpha, as PNG stores them), except those
// with more than 8 bits a channel, which Qt's writer keeps. Nothing, with *error naming path,
// when the image is null or cannot be compressed.
std::optional<QByteArray> encodePng(const QString& path, const QImage& image, QString* error,
                                    const PngSettings& settings = PngSettings());

} // namespace kelvara
