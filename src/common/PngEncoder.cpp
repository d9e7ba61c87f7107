#include "PngEncoder.h"

#include "FileAccess.h"

#include <QtEndian>

#include <zlib.h>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace kelvara {

namespace {

void appendUint32(QByteArray& out, quint32 v)
{
    const char bytes[4] = {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    out.append(bytes, 4);
}

void appendChunk(QByteArray& out, const char* type, const char* data, qsizetype size)
{
    appendUint32(out, quint32(size));
    const qsizetype start = out.size();
    out.append(type, 4);
    out.append(data, size);
    appendUint32(out, quint32(crc32(0, reinterpret_cast<const Bytef*>(out.constData() + start),
                                    uInt(size + 4))));
}

// One row of width pixels in PNG byte order: grey as it is, 0xAARRGGBB words as R, G, B (and
// A). A pixel is stored as one little-endian word whose fourth byte the next pixel overwrites,
// so out needs one byte beyond the row.
void packRow(const uchar* line, int width, int channels, uchar* out)
{
    if (channels == 1) {
        std::memcpy(out, line, size_t(width));
        return;
    }
    const QRgb* pixels = reinterpret_cast<const QRgb*>(line);
    for (int x = 0; x < width; ++x, out += channels) {
        const QRgb p = pixels[x];
        const quint32 bytes = quint32(qRed(p)) | quint32(qGreen(p)) << 8 | quint32(qBlue(p)) << 16
                              | quint32(qAlpha(p)) << 24;
        qToUnaligned(qToLittleEndian(bytes), out);
    }
}

// out[i] = a[i] - b[i] (mod 256), eight bytes at a time with no borrow from one byte into the
// next: filtering is then cheap beside the compression.
void subtractBytes(const uchar* a, const uchar* b, size_t size, uchar* out)
{
    constexpr quint64 high = 0x8080808080808080ull;
    size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        const quint64 x = qFromUnaligned<quint64>(a + i), y = qFromUnaligned<quint64>(b + i);
        qToUnaligned(((x | high) - (y & ~high)) ^ ((x ^ ~y) & high), out + i);
    }
    for (; i < size; ++i)
        out[i] = uchar(a[i] - b[i]);
}

uchar paeth(int a, int b, int c)
{
    const int p = a + b - c;
    const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return uchar(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// out[0] takes the filter's number, out[1..] the filtered bytes of row (prior: the row above,
// zeros for the first row).
void filterRow(PngFilter filter, const uchar* row, const uchar* prior, size_t size, int bpp,
               uchar* out)
{
    *out++ = uchar(filter);
    const size_t left = std::min(size_t(bpp), size);
    switch (filter) {
    case PngFilter::None:
        std::memcpy(out, row, size);
        break;
    case PngFilter::Sub:
        std::memcpy(out, row, left);
        subtractBytes(row + left, row, size - left, out + left);
        break;
    case PngFilter::Up:
        subtractBytes(row, prior, size, out);
        break;
    case PngFilter::Paeth:
        subtractBytes(row, prior, left, out);
        for (size_t i = left; i < size; ++i)
            out[i] = uchar(row[i] - paeth(row[i - left], prior[i], prior[i - left]));
        break;
    }
}

// zlib's Adler-32 checksum of the stream's bytes, continued from adler. zlib's own takes a
// sixth of the writing time; sixteen bytes at a time it is nearly free.
quint32 adler32Of(quint32 adler, const uchar* data, size_t size)
{
#ifdef __SSE2__
    constexpr quint64 kBase = 65521;
    // Bytes per round, a multiple of 16 small enough that no 32-bit lane overflows.
    constexpr size_t kRound = 5552 / 16 * 16;
    quint64 s1 = adler & 0xffff, s2 = adler >> 16;
    const __m128i zero = _mm_setzero_si128();
    const __m128i weightsLow = _mm_setr_epi16(16, 15, 14, 13, 12, 11, 10, 9);
    const __m128i weightsHigh = _mm_setr_epi16(8, 7, 6, 5, 4, 3, 2, 1);
    while (size >= 16) {
        const size_t round = std::min(size, kRound) / 16 * 16;
        // sums: the bytes; earlier: the sums before each block; weighted: each block's bytes
        // counted as often as s2 adds them within the block.
        __m128i sums = zero, earlier = zero, weighted = zero;
        for (size_t i = 0; i < round; i += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
            earlier = _mm_add_epi32(earlier, sums);
            sums = _mm_add_epi32(sums, _mm_sad_epu8(v, zero));
            weighted = _mm_add_epi32(weighted, _mm_madd_epi16(_mm_unpacklo_epi8(v, zero), weightsLow));
            weighted = _mm_add_epi32(weighted, _mm_madd_epi16(_mm_unpackhi_epi8(v, zero), weightsHigh));
        }
        alignas(16) quint32 lanes[3][4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes[0]), sums);
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes[1]), earlier);
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes[2]), weighted);
        auto total = [](const quint32* l) { return quint64(l[0]) + l[1] + l[2] + l[3]; };
        s2 = (s2 + s1 * round + 16 * total(lanes[1]) + total(lanes[2])) % kBase;
        s1 = (s1 + total(lanes[0])) % kBase;
        data += round;
        size -= round;
    }
    adler = quint32(s2 << 16 | s1);
#endif
    return quint32(::adler32(adler, data, uInt(size)));
}

// The filtered rows compressed into one zlib stream; false with *reason on a zlib failure.
bool compressRows(const QImage& image, int channels, const PngSettings& settings,
                  QByteArray* compressed, QString* reason)
{
    z_stream z{};
    // A raw deflate stream inside a zlib header and checksum of our own (adler32Of).
    int status = deflateInit2(&z, settings.level, Z_DEFLATED, -15, 8, settings.strategy);
    if (status != Z_OK) {
        *reason = QStringLiteral("the compression could not start (%1)")
                      .arg(QString::fromLatin1(z.msg ? z.msg : zError(status)));
        return false;
    }
    const size_t rowSize = size_t(image.width()) * size_t(channels);
    std::vector<uchar> rows(2 * (rowSize + 1), 0); // + 1: packRow's spare byte after each
    uchar* row = rows.data() + rowSize + 1;
    uchar* prior = rows.data();
    // Rows go to zlib some 64 KiB at a time: one call per row would cost more than the filter.
    const size_t batchRows = std::max<size_t>(1, 65536 / (rowSize + 1));
    std::vector<uchar> batch(batchRows * (rowSize + 1));
    compressed->resize(qsizetype(rowSize / 4 + 1024));
    (*compressed)[0] = char(0x78); // deflate, 32 KiB window
    (*compressed)[1] = char(0x01); // makes the header a multiple of 31
    qsizetype written = 2;
    quint32 adler = 1;
    for (int y = 0; y < image.height() && status == Z_OK;) {
        size_t filled = 0;
        for (; filled < batch.size() && y < image.height(); ++y, filled += rowSize + 1) {
            packRow(image.constScanLine(y), image.width(), channels, row);
            filterRow(settings.filter, row, prior, rowSize, channels, batch.data() + filled);
            std::swap(row, prior);
        }
        const int flush = y == image.height() ? Z_FINISH : Z_NO_FLUSH;
        z.next_in = batch.data();
        z.avail_in = uInt(filled);
        adler = adler32Of(adler, batch.data(), filled);
        do {
            if (written == compressed->size())
                compressed->resize(written * 2);
            z.next_out = reinterpret_cast<Bytef*>(compressed->data() + written);
            z.avail_out = uInt(std::min<qsizetype>(compressed->size() - written, 1 << 30));
            const uInt before = z.avail_out;
            status = deflate(&z, flush);
            written += qsizetype(before - z.avail_out);
        } while (status == Z_OK && (z.avail_in > 0 || z.avail_out == 0 || flush == Z_FINISH));
    }
    deflateEnd(&z);
    if (status != Z_STREAM_END) {
        *reason = QStringLiteral("the compression failed (%1)")
                      .arg(QString::fromLatin1(zError(status)));
        return false;
    }
    compressed->resize(written);
    appendUint32(*compressed, adler);
    return true;
}

} // namespace

std::optional<QByteArray> encodePng(const QString& path, const QImage& image, QString* error,
                                    const PngSettings& settings)
{
    int channels = 0;
    quint8 colourType = 0;
    switch (image.format()) {
    case QImage::Format_Grayscale8:
        channels = 1;
        colourType = 0;
        break;
    case QImage::Format_RGB32:
        channels = 3;
        colourType = 2;
        break;
    case QImage::Format_ARGB32:
        channels = 4;
        colourType = 6;
        break;
    case QImage::Format_Invalid:
        return encodeImage(path, image, "PNG", -1, error); // says there is no image
    default:
        // Deeper channels would lose bits in 8-bit rows: those stay with Qt's writer.
        if (image.depth() > 32 || image.format() == QImage::Format_Grayscale16)
            return encodeImage(path, image, "PNG", -1, error);
        return encodePng(path,
                         image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32
                                                                       : QImage::Format_RGB32),
                         error, settings);
    }

    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray header;
    appendUint32(header, quint32(image.width()));
    appendUint32(header, quint32(image.height()));
    header.append(char(8)); // bits per channel
    header.append(char(colourType));
    header.append(3, char(0)); // deflate, adaptive filter method, no interlace
    appendChunk(png, "IHDR", header.constData(), header.size());

    QByteArray compressed;
    QString reason;
    if (!compressRows(image, channels, settings, &compressed, &reason)) {
        if (error)
            *error = QStringLiteral("cannot write '%1': %2").arg(displayPath(path), reason);
        return std::nullopt;
    }
    // A chunk holds less than 2^31 bytes.
    constexpr qsizetype kChunk = qsizetype(1) << 30;
    for (qsizetype at = 0; at < compressed.size(); at += kChunk)
        appendChunk(png, "IDAT", compressed.constData() + at,
                    std::min(kChunk, compressed.size() - at));
    appendChunk(png, "IEND", nullptr, 0);
    return png;
}

} // namespace kelvara
