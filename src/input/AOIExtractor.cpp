#include "AOIExtractor.h"

#include <QtGlobal>

#include <algorithm>
#include <array>

namespace {

constexpr int Size = AOIExtractor::CanvasSize;

// One modality's part of the extraction: where its box starts in the source image and where
// the result goes.
struct Cut
{
    const QImage& source;
    qint64 originX;
    qint64 originY;
    QImage& target;
};

// Fills `count` canvas pixels from the source row `j` below the box origin, starting `i`
// columns right of it; samples off the image (or of a null image) are missing data.
void copyRun(const Cut& cut, int j, int i, int count, uchar* out)
{
    const QImage& src = cut.source;
    const qint64 sy = cut.originY + j;
    if (src.isNull() || sy < 0 || sy >= src.height()) {
        std::fill(out, out + count, uchar(AOIExtractor::MissingGrey));
        return;
    }
    // Part of the run that lies on the image: source columns [first, last).
    const qint64 sx = cut.originX + i;
    const qint64 first = std::clamp<qint64>(-sx, 0, count);
    const qint64 last = std::clamp<qint64>(src.width() - sx, first, count);
    std::fill(out, out + first, uchar(AOIExtractor::MissingGrey));
    std::fill(out + last, out + count, uchar(AOIExtractor::MissingGrey));

    const int y = int(sy);
    const uchar* line = src.constScanLine(y);
    switch (src.format()) {
    case QImage::Format_Grayscale8:
        std::copy(line + (sx + first), line + (sx + last), out + first);
        break;
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32: {
        const QRgb* px = reinterpret_cast<const QRgb*>(line);
        for (qint64 k = first; k < last; ++k)
            out[k] = uchar(qGray(px[sx + k]));
        break;
    }
    default:
        // Exact for every other format, and silent for coordinates inside the image.
        for (qint64 k = first; k < last; ++k)
            out[k] = uchar(qGray(src.pixel(int(sx + k), y)));
        break;
    }
}

} // namespace

void AOIExtractor::extract(QImage t2, QImage dwi, QImage adc, int t2X, int t2Y, int dwiX, int dwiY,
                           int adcX, int adcY, int w, int h)
{
    if (!updateNeeded)
        return;
    updateNeeded = false;

    const int c0 = Centre - w / 2;
    const int r0 = Centre - h / 2;
    const double a = w * 0.5;
    const double b = h * 0.5;

    for (QImage* img : {&t2Image, &dwiImage, &adcImage}) {
        *img = QImage(Size, Size, QImage::Format_Grayscale8);
        img->fill(Qt::black);
    }
    if (w < 1 || h < 1)
        return;

    // Only the part of the box that lies on the canvas can show: the rest of a large AOI is
    // cut off. 64-bit bounds because the box may reach far beyond any int-sized image.
    const int cFirst = int(std::max<qint64>(c0, 0));
    const int cLast = int(std::min<qint64>(qint64(c0) + w - 1, Size - 1));
    const int rFirst = int(std::max<qint64>(r0, 0));
    const int rLast = int(std::min<qint64>(qint64(r0) + h - 1, Size - 1));
    if (cFirst > cLast || rFirst > rLast)
        return;

    // The ellipse is centred on the pixel (256, 256) itself, so for an even width the leftmost
    // column touches it (term exactly 1.0) and is kept while its mirror is outside the box.
    std::array<double, Size> columnTerm{};
    for (int c = cFirst; c <= cLast; ++c) {
        const int dc = c - Centre;
        columnTerm[c] = (dc * dc) / (a * a);
    }

    const Cut cuts[] = {
        {t2, t2X, t2Y, t2Image}, {dwi, dwiX, dwiY, dwiImage}, {adc, adcX, adcY, adcImage}};
    for (int r = rFirst; r <= rLast; ++r) {
        const int dr = r - Centre;
        const double rowTerm = (dr * dr) / (b * b);
        // The column term grows with the distance from column 256 and is the same on both
        // sides, so the ellipse covers one unbroken run of this row.
        int lo = cFirst;
        while (lo <= cLast && !(columnTerm[lo] + rowTerm <= 1.0))
            ++lo;
        int hi = cLast;
        while (hi >= lo && !(columnTerm[hi] + rowTerm <= 1.0))
            --hi;
        if (lo > hi)
            continue; // the rest of the row stays black
        for (const Cut& cut : cuts)
            copyRun(cut, r - r0, lo - c0, hi - lo + 1, cut.target.scanLine(r) + lo);
    }
}
