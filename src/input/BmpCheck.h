#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace kelvara {

// Why the BMP file `bytes` would not decode to the image its headers describe, in plain words
// without the file name; empty when it will. QImage takes a truncated file, a data offset past
// the end or a colour table cut off without a word and fills the gap with black, so the headers
// are checked against the file first: the signature, the header kind, the size (within
// kMaximumImageSide), planes, bit depth and compression QImage decodes faithfully, the colour
// table, and pixel data as long as the header declares (compressed data: setting every pixel).
QString bmpProblem(const QByteArray& bytes);

// A file's contents as 8-bit grey. A BMP is checked by bmpProblem first; any other format QImage
// reads is taken as it is. Images up to kMaximumImageSide in both directions are decoded (Qt's
// default allocation limit would refuse the larger ones). A null image and *error, without the
// file name, when the contents cannot be read.
QImage decodeGreyImage(const QByteArray& bytes, QString* error);

} // namespace kelvara
