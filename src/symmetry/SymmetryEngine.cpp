#include "SymmetryEngine.h"

#include "Parallel.h"
#include "PlaneImage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

constexpr int kCanvas = SymmetryEngine::kCanvas;
constexpr int kCentre = kCanvas / 2;

// Visits the cells (256 + i, 256 + j) of the ellipse inscribed in the W x H box centred on
// (256, 256), i outer, j inner. Box cells beyond the canvas (an AOI wider or higher than 512)
// are skipped, so the planes are never indexed outside.
template <typename Visit> void forEachRegionCell(int width, int height, Visit visit)
{
    if (width < 1 || height < 1)
        return;
    const long long halfW = width / 2;
    const long long halfH = height / 2;
    const int iFirst = int(std::max<long long>(-halfW, -kCentre));
    const int iLast = int(std::min<long long>(width - 1LL - halfW, kCanvas - 1 - kCentre));
    const int jFirst = int(std::max<long long>(-halfH, -kCentre));
    const int jLast = int(std::min<long long>(height - 1LL - halfH, kCanvas - 1 - kCentre));
    const double w2 = width / 2.0;
    const double h2 = height / 2.0;
    const double w2sq = w2 * w2;
    const double h2sq = h2 * h2;

    // The row term depends on j only; computing it once per row gives the same doubles.
    std::array<double, kCanvas> rowTerm{};
    for (int j = jFirst; j <= jLast; ++j)
        rowTerm[std::size_t(j + kCentre)] = double(j * j) / h2sq;
    for (int i = iFirst; i <= iLast; ++i) {
        const double columnTerm = double(i * i) / w2sq;
        for (int j = jFirst; j <= jLast; ++j) {
            if (rowTerm[std::size_t(j + kCentre)] + columnTerm <= 1.0)
                visit(i, j);
        }
    }
}

int toIntCoordinate(long long v)
{
    return int(
        std::clamp<long long>(v, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// Low byte of an image pixel, as QImage::pixel gives it. The common formats are read straight
// from the scan lines; everything else, and every pixel outside the image, goes through
// QImage::pixel itself.
class PixelReader
{
public:
    explicit PixelReader(const QImage& image)
        : m_image(image), m_format(image.format()), m_width(image.width()), m_height(image.height())
    {
    }

    int lowByte(long long x, long long y) const
    {
        if (x >= 0 && y >= 0 && x < m_width && y < m_height) {
            const uchar* line = m_image.constScanLine(int(y));
            switch (m_format) {
            case QImage::Format_Grayscale8:
                return line[x];
            case QImage::Format_RGB32:
            case QImage::Format_ARGB32:
                return int(reinterpret_cast<const QRgb*>(line)[x] & 0xFF);
            default:
                break;
            }
        }
        return int(m_image.pixel(toIntCoordinate(x), toIntCoordinate(y)) & 0xFF);
    }

private:
    const QImage& m_image;
    QImage::Format m_format;
    int m_width;
    int m_height;
};

} // namespace

void SymmetryEngine::resize(int width, int height)
{
    if (width == m_regionWidth && height == m_regionHeight)
        return;
    m_regionWidth = width;
    m_regionHeight = height;
    for (kelvara::Plane* plane :
         {&m_t2Region, &m_t2RawSymmetry, &m_dwiRawSymmetry, &m_adcRawSymmetry, &m_dwiMask,
          &m_adcMask, &m_dwiSymmetricMask, &m_adcSymmetricMask, &m_dwiRegion, &m_adcRegion})
        plane->fill(0.0);
}

void SymmetryEngine::fillRegion(const QImage& image, int x0, int y0, kelvara::Plane& target) const
{
    target.fill(0.0);
    const PixelReader reader(image);
    const long long left = (long long)x0 + m_regionWidth / 2;
    const long long top = (long long)y0 + m_regionHeight / 2;
    forEachRegionCell(m_regionWidth, m_regionHeight, [&](int i, int j) {
        target[kCentre + i][kCentre + j] = double(reader.lowByte(left + i, top + j));
    });
}

void SymmetryEngine::rawSymmetry(const QImage& image, kelvara::Plane& raw, kelvara::Plane& region,
                                 int x0, int y0, bool inverted) const
{
    fillRegion(image, x0, y0, region);
    for (int x = 0; x < kCanvas; ++x) {
        const double* column = region[x];
        const double* mirror = region[kCanvas - 1 - x];
        double* out = raw[x];
        for (int y = 0; y < kCanvas; ++y) {
            const double d = std::fabs(column[y] - mirror[y]);
            out[y] = inverted ? std::fabs(255.0 - d) : d;
        }
    }
}

void SymmetryEngine::computeRawSymmetries(const QImage& t2, const QImage& dwi, const QImage& adc,
                                          int t2X, int t2Y, int dwiX, int dwiY, int adcX, int adcY,
                                          bool t2Inverted, bool dwiInverted, bool adcInverted)
{
    rawSymmetry(t2, m_t2RawSymmetry, m_t2Region, t2X, t2Y, t2Inverted);
    rawSymmetry(dwi, m_dwiRawSymmetry, m_dwiRegion, dwiX, dwiY, dwiInverted);
    rawSymmetry(adc, m_adcRawSymmetry, m_adcRegion, adcX, adcY, adcInverted);
}

void SymmetryEngine::loadMaskRegions(const QImage& dwi, const QImage& adc, int dwiX, int dwiY,
                                     int adcX, int adcY)
{
    fillRegion(dwi, dwiX, dwiY, m_dwiRegion);
    fillRegion(adc, adcX, adcY, m_adcRegion);
}

void SymmetryEngine::computeMasks(const QImage& dwi, const QImage& adc, int dwiX, int dwiY,
                                  int adcX, int adcY, MaskMode dwiMode, MaskMode adcMode)
{
    loadMaskRegions(dwi, adc, dwiX, dwiY, adcX, adcY);
    computeMask(m_dwiRegion, m_dwiLeft, m_dwiRight, dwiMode, m_dwiMask, m_dwiSymmetricMask);
    computeMask(m_adcRegion, m_adcLeft, m_adcRight, adcMode, m_adcMask, m_adcSymmetricMask);
}

void SymmetryEngine::computeMask(const kelvara::Plane& region, double left, double right,
                                 MaskMode mode, kelvara::Plane& mask,
                                 kelvara::Plane& symmetricMask) const
{
    // A NaN bound or value compares false and is never inside.
    auto inside = [left, right](double v) { return v >= left && right >= v; };
    for (int x = 0; x < kCanvas; ++x) {
        const double* column = region[x];
        const double* mirror = region[kCanvas - 1 - x];
        double* maskColumn = mask[x];
        double* symmetricColumn = symmetricMask[x];
        for (int y = 0; y < kCanvas; ++y) {
            const double a = column[y];
            const double b = mirror[y];
            const bool aInside = inside(a);
            const bool selected = aInside || inside(b);
            double value = 0.0;
            bool valued = true;
            switch (mode) {
            case MaskMode::Binary:
                value = 1.0;
                break;
            case MaskMode::Difference:
                value = std::fabs(a - b) / 255.0;
                break;
            case MaskMode::Similarity:
                value = 1.0 - std::fabs(a - b) / 255.0;
                break;
            default:
                valued = false; // an unknown mode leaves selected cells as they are
                break;
            }
            if (!selected)
                symmetricColumn[y] = 0.0;
            else if (valued)
                symmetricColumn[y] = value;
            if (!aInside)
                maskColumn[y] = 0.0;
            else if (valued)
                maskColumn[y] = value;
        }
    }
}

double SymmetryEngine::regionAverage(const double* const* plane) const
{
    double sum = 0.0;
    long long count = 0;
    forEachRegionCell(m_regionWidth, m_regionHeight, [&](int i, int j) {
        sum += plane[kCentre + i][kCentre + j];
        ++count;
    });
    if (count == 0)
        return std::numeric_limits<double>::quiet_NaN();
    return sum / double(count);
}

void SymmetryEngine::setKernel(SymmetrySmoother& smoother, int shape, int x, int y, int radius)
{
    if (shape != 0)
        smoother.setCircleKernel(radius);
    else
        smoother.setRectangleKernel(x, y);
}

void SymmetryEngine::smoothSymmetries(int t2Approach, int dwiApproach, int adcApproach, int, int,
                                      int stepX, int stepY, int t2Shape, int dwiShape, int adcShape,
                                      int t2X, int t2Y, int dwiX, int dwiY, int adcX, int adcY,
                                      int t2Radius, int dwiRadius, int adcRadius)
{
    m_t2Smoother.prepareResult(m_regionWidth, m_regionHeight);
    m_dwiSmoother.prepareResult(m_regionWidth, m_regionHeight);
    m_adcSmoother.prepareResult(m_regionWidth, m_regionHeight);

    setKernel(m_t2Smoother, t2Shape, t2X, t2Y, t2Radius);
    setKernel(m_dwiSmoother, dwiShape, dwiX, dwiY, dwiRadius);
    setKernel(m_adcSmoother, adcShape, adcX, adcY, adcRadius);

    // Each smoother reads its own planes and writes only its own result.
    auto smoothing = [this, stepX, stepY](SymmetrySmoother& smoother, int approach,
                                          const kelvara::Plane& region, const kelvara::Plane& raw) {
        return [this, stepX, stepY, &smoother, approach, &region, &raw]() {
            smoother.smooth(static_cast<SmoothingApproach>(approach), region.columns(),
                            raw.columns(), m_regionWidth, m_regionHeight, stepX, stepY);
        };
    };
    kelvara::runConcurrently({smoothing(m_t2Smoother, t2Approach, m_t2Region, m_t2RawSymmetry),
                              smoothing(m_dwiSmoother, dwiApproach, m_dwiRegion, m_dwiRawSymmetry),
                              smoothing(m_adcSmoother, adcApproach, m_adcRegion, m_adcRawSymmetry)});
}

QImage SymmetryEngine::t2RawSymmetryImage() const
{
    return kelvara::planeImage(m_t2RawSymmetry.columns(), kCanvas, kCanvas);
}

QImage SymmetryEngine::dwiRawSymmetryImage() const
{
    return kelvara::planeImage(m_dwiRawSymmetry.columns(), kCanvas, kCanvas);
}

QImage SymmetryEngine::adcRawSymmetryImage() const
{
    return kelvara::planeImage(m_adcRawSymmetry.columns(), kCanvas, kCanvas);
}

QImage SymmetryEngine::dwiMaskImage() const
{
    return kelvara::planeImage(m_dwiMask.columns(), kCanvas, kCanvas, 255.0);
}

QImage SymmetryEngine::dwiSymmetricMaskImage() const
{
    return kelvara::planeImage(m_dwiSymmetricMask.columns(), kCanvas, kCanvas, 255.0);
}

QImage SymmetryEngine::adcMaskImage() const
{
    return kelvara::planeImage(m_adcMask.columns(), kCanvas, kCanvas, 255.0);
}

QImage SymmetryEngine::adcSymmetricMaskImage() const
{
    return kelvara::planeImage(m_adcSymmetricMask.columns(), kCanvas, kCanvas, 255.0);
}

QImage SymmetryEngine::smoothImage(const SymmetrySmoother& smoother)
{
    return kelvara::planeImage(smoother.result(), smoother.resultRows(), smoother.resultCols());
}

QImage SymmetryEngine::t2SmoothImage() const
{
    return smoothImage(m_t2Smoother);
}

QImage SymmetryEngine::dwiSmoothImage() const
{
    return smoothImage(m_dwiSmoother);
}

QImage SymmetryEngine::adcSmoothImage() const
{
    return smoothImage(m_adcSmoother);
}
