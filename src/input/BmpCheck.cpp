#include "BmpCheck.h"

#include "FileAccess.h"

#include <QBuffer>
#include <QImageReader>
#include <QtEndian>

#include <algorithm>
#include <cstdlib>

namespace kelvara {

namespace {

constexpr qint64 kFileHeaderSize = 14;
constexpr quint32 kCoreHeaderSize = 12; // the old OS/2 header: 16-bit sizes, 3-byte colours
enum Compression : quint32 { Plain = 0, Rle8 = 1, Rle4 = 2, BitFields = 3 };

// Enough for a decoded image of kMaximumImageSide squared in 32-bit pixels.
constexpr int kDecodeLimitMiB =
    int(qint64(kMaximumImageSide) * kMaximumImageSide * 4 / (1024 * 1024)) + 1;

quint32 u32(const QByteArray& b, qint64 at)
{
    return qFromLittleEndian<quint32>(b.constData() + at);
}

quint16 u16(const QByteArray& b, qint64 at)
{
    return qFromLittleEndian<quint16>(b.constData() + at);
}

QString compressionName(quint32 c)
{
    static const char* const names[] = {"none", "RLE8", "RLE4", "bit fields", "JPEG", "PNG",
                                        "alpha bit fields"};
    return c < 7 ? QLatin1String(names[c]) : QStringLiteral("type %1").arg(c);
}

// Why a run-length stream from `at` does not set every pixel: QImage leaves the pixels it skips
// (an early end of line or of the bitmap, a jump) as the memory happened to hold them, and
// fills nothing when the stream is cut short. Empty when every pixel is set.
QString rleProblem(const QByteArray& b, qint64 at, qint64 width, qint64 height, bool fourBit)
{
    qint64 row = 0, x = 0;
    const qint64 end = b.size();
    auto skipped = [&row] {
        return QStringLiteral("its compressed pixel data leaves pixels of row %1 unset").arg(row);
    };
    while (row < height && end - at >= 2) {
        const uchar count = uchar(b[at]), code = uchar(b[at + 1]);
        at += 2;
        if (count > 0) {
            x += count; // a run of `count` pixels
        } else if (code == 0 || code == 1) { // end of line, end of bitmap
            if (x < width || (code == 1 && row < height - 1))
                return skipped();
            ++row;
            x = 0;
            if (code == 1)
                return QString();
        } else if (code == 2) { // a jump: the pixels passed are never set
            if (end - at >= 2 && b[at] == 0 && b[at + 1] == 0) {
                at += 2;
                continue;
            }
            return skipped();
        } else {
            // Literal pixels, padded to a 16-bit boundary.
            const qint64 bytes = fourBit ? (code + 1) / 2 : code;
            if (end - at < bytes)
                break;
            at += bytes + (bytes & 1);
            x += code;
        }
    }
    if (row == height || (row == height - 1 && x >= width))
        return QString();
    return QStringLiteral("its compressed pixel data ends after %1 of %2 rows (the file is "
                          "truncated)")
        .arg(row)
        .arg(height);
}

} // namespace

QString bmpProblem(const QByteArray& b)
{
    const qint64 size = b.size();
    if (size < kFileHeaderSize + 4 || !b.startsWith("BM"))
        return QStringLiteral("not a BMP file");
    const quint32 headerSize = u32(b, kFileHeaderSize);
    const bool core = headerSize == kCoreHeaderSize;
    if (!core && headerSize != 40 && headerSize != 52 && headerSize != 56 && headerSize != 108 &&
        headerSize != 124)
        return QStringLiteral("its header of %1 bytes is of a kind this program does not read")
            .arg(headerSize);
    const qint64 headerEnd = kFileHeaderSize + headerSize;
    if (size < headerEnd)
        return QStringLiteral("the file ends inside its header (%1 bytes)").arg(size);

    const qint64 at = kFileHeaderSize + 4;
    const qint64 width = core ? u16(b, at) : qint32(u32(b, at));
    const qint64 signedHeight = core ? u16(b, at + 2) : qint32(u32(b, at + 4));
    const qint64 height = std::abs(signedHeight);
    const quint16 planes = core ? u16(b, at + 4) : u16(b, at + 8);
    const quint16 bits = core ? u16(b, at + 6) : u16(b, at + 10);
    const quint32 compression = core ? quint32(Plain) : u32(b, at + 12);
    const qint64 coloursUsed = core ? 0 : u32(b, at + 28);

    if (width <= 0 || height == 0)
        return QStringLiteral("it declares %1 x %2 pixels").arg(width).arg(signedHeight);
    if (const QString tooLarge = imageSideProblem(width, height); !tooLarge.isEmpty())
        return tooLarge;
    if (planes != 1)
        return QStringLiteral("it declares %1 colour planes (1 expected)").arg(planes);
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return QStringLiteral("its %1 bits per pixel cannot be read").arg(bits);
    const bool rle = compression == Rle8 || compression == Rle4;
    const bool fits = compression == Plain || (compression == Rle8 && bits == 8) ||
                      (compression == Rle4 && bits == 4) ||
                      (compression == BitFields && (bits == 16 || bits == 32));
    if (!fits)
        return QStringLiteral("its compression (%1) is not supported for %2-bit pixels")
            .arg(compressionName(compression))
            .arg(bits);
    if (rle && signedHeight < 0)
        return QStringLiteral("its compressed rows are stored top-down, which the format does "
                              "not allow");

    // Bit field masks follow a 40-byte header; the longer headers hold them.
    qint64 tableStart = headerEnd;
    if (compression == BitFields) {
        const qint64 masks = headerSize == 40 ? headerEnd : kFileHeaderSize + 40;
        if (size < masks + 12)
            return QStringLiteral("the file ends inside its colour masks");
        if ((u32(b, masks) | u32(b, masks + 4) | u32(b, masks + 8)) == 0)
            return QStringLiteral("its colour masks are all zero");
        if (headerSize == 40)
            tableStart += 12;
    }
    const qint64 paletteMax = bits <= 8 ? qint64(1) << bits : 0;
    if (coloursUsed > paletteMax && bits <= 8)
        return QStringLiteral("it declares %1 colours for %2-bit pixels").arg(coloursUsed).arg(bits);
    const qint64 colours = bits <= 8 ? (coloursUsed > 0 ? coloursUsed : paletteMax) : 0;
    if (bits == 1 && colours < 2)
        return QStringLiteral("its colour table holds 1 colour for 2 pixel values");
    const qint64 tableEnd = tableStart + colours * (core ? 3 : 4);

    const qint64 offset = u32(b, 10);
    if (offset >= size)
        return QStringLiteral("its pixel data starts at byte %1, past the end of the file (%2 "
                              "bytes)")
            .arg(offset)
            .arg(size);
    if (offset < tableEnd)
        return QStringLiteral("its pixel data starts at byte %1, inside its headers and colour "
                              "table (which end at byte %2)")
            .arg(offset)
            .arg(tableEnd);

    if (rle)
        return rleProblem(b, offset, width, height, compression == Rle4);
    // The last row's padding may be missing: it holds no pixel.
    const qint64 stride = (width * bits + 31) / 32 * 4;
    const qint64 needed = stride * (height - 1) + (width * bits + 7) / 8;
    if (size - offset < needed)
        return QStringLiteral("its pixel data is shorter than its header declares: %1 bytes for "
                              "%2 x %3 pixels of %4 bits, which need %5 (the file is truncated)")
            .arg(size - offset)
            .arg(width)
            .arg(height)
            .arg(bits)
            .arg(needed);
    return QString();
}

QImage decodeGreyImage(const QByteArray& bytes, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return QImage();
    };
    const bool bmp = bytes.startsWith("BM");
    if (bmp)
        if (const QString problem = bmpProblem(bytes); !problem.isEmpty())
            return fail(problem);
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, bmp ? QByteArray("bmp") : QByteArray());
    reader.setAllocationLimit(kDecodeLimitMiB);
    const QSize size = reader.size();
    if (size.isValid())
        if (const QString tooLarge = imageSideProblem(size.width(), size.height());
            !tooLarge.isEmpty())
            return fail(tooLarge);
    QImage image = reader.read();
    if (image.isNull()) {
        if (!size.isValid())
            return fail(QStringLiteral("not a readable image"));
        return fail(QStringLiteral("the image of %1 x %2 pixels cannot be decoded (%3); it may be "
                                   "too large for the memory available")
                        .arg(size.width())
                        .arg(size.height())
                        .arg(reader.errorString()));
    }
    // An index past a short colour table would turn grey from whatever memory follows it.
    if (image.format() == QImage::Format_Indexed8 && image.colorCount() < 256)
        for (int y = 0; y < image.height(); ++y) {
            const uchar* line = image.constScanLine(y);
            const uchar* used = std::max_element(line, line + image.width());
            if (*used >= image.colorCount())
                return fail(QStringLiteral("pixel (%1, %2) has colour %3, but its colour table "
                                           "holds %4 colours")
                                .arg(used - line)
                                .arg(y)
                                .arg(*used)
                                .arg(image.colorCount()));
        }
    image.convertTo(QImage::Format_Grayscale8);
    if (image.format() != QImage::Format_Grayscale8)
        return fail(QStringLiteral("the image of %1 x %2 pixels is too large for the memory "
                                   "available")
                        .arg(size.width())
                        .arg(size.height()));
    return image;
}

} // namespace kelvara
