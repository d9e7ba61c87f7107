#include "FourierEngine.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

// Distance of a frequency from the centre as the filters compare it: the square root of the
// integer squared distance, taken in double and then rounded to float.
float distanceOf(std::int64_t squared)
{
    return static_cast<float>(std::sqrt(static_cast<double>(squared)));
}

// The first n in [0, limit] for which pred(n) holds, or limit + 1. pred must be false up to
// some n and true from there on.
template <typename Pred> std::int64_t firstTrue(std::int64_t limit, Pred pred)
{
    std::int64_t lo = 0, hi = limit + 1;
    while (lo < hi) {
        const std::int64_t mid = lo + (hi - lo) / 2;
        if (pred(mid))
            hi = mid;
        else
            lo = mid + 1;
    }
    return lo;
}

// The complex matrix the filter works in, kept per thread from one engine to the next: a press
// then reuses memory that the previous one already touched instead of faulting in 2 MB of
// fresh pages. Only memory is kept; every element is written before it is read, and no result
// refers to it.
cv::Mat& transformBuffer()
{
    static thread_local cv::Mat buffer;
    return buffer;
}

// Swap two blocks of equal size inside m, row by row.
void swapBlocks(cv::Mat& m, const cv::Rect& a, const cv::Rect& b)
{
    const std::size_t bytes = static_cast<std::size_t>(a.width) * m.elemSize();
    if (bytes == 0)
        return;
    for (int i = 0; i < a.height; ++i) {
        uchar* pa = m.ptr(a.y + i) + static_cast<std::size_t>(a.x) * m.elemSize();
        uchar* pb = m.ptr(b.y + i) + static_cast<std::size_t>(b.x) * m.elemSize();
        std::swap_ranges(pa, pa + bytes, pb);
    }
}

// Row or column bound of the threshold window, kept inside the matrix so that fractions
// outside 0..1 (or a NaN) cannot reach beyond it.
int boundIndex(double v, int limit)
{
    if (!(v > 0.0))
        return 0;
    if (v >= limit)
        return limit;
    return static_cast<int>(v);
}

} // namespace

FourierEngine::FourierEngine()
    : radius1(0.0f), radius2(0.0f), filterType(LowPass), logarithmic(false)
{
}

void FourierEngine::setImage(QImage image)
{
    inputMatrix.release();
    forward.release();
    forwardMagnitude.release();
    if (image.isNull())
        return;
    // The analysis images are Format_Grayscale8; anything else is brought to grey levels
    // rather than having its bytes misread as pixels.
    if (image.format() != QImage::Format_Grayscale8 && image.format() != QImage::Format_Alpha8)
        image = image.convertToFormat(QImage::Format_Grayscale8);
    if (image.isNull())
        return;

    const cv::Mat bytes(image.height(), image.width(), CV_8UC1,
                        const_cast<uchar*>(image.constBits()),
                        static_cast<std::size_t>(image.bytesPerLine()));
    const int rows = cv::getOptimalDFTSize(bytes.rows);
    const int cols = cv::getOptimalDFTSize(bytes.cols);
    if (rows < bytes.rows || cols < bytes.cols)
        return;
    // The image stays at the top-left corner; the padding at the bottom and right is zero.
    if (rows == bytes.rows && cols == bytes.cols)
        inputMatrix.create(rows, cols, CV_32F);
    else
        inputMatrix = cv::Mat::zeros(rows, cols, CV_32F);
    cv::Mat topLeft = inputMatrix(cv::Rect(0, 0, bytes.cols, bytes.rows));
    bytes.convertTo(topLeft, CV_32F, 1, 0);
}

const cv::Mat& FourierEngine::forwardTransform() const
{
    if (!forward.empty())
        return forward;
    // The complex input (real part the image, imaginary part zero) is written straight into
    // the matrix and transformed in place, without a zero plane and a merge.
    forward.create(inputMatrix.size(), CV_32FC2);
    for (int y = 0; y < inputMatrix.rows; ++y) {
        const float* in = inputMatrix.ptr<float>(y);
        float* out = forward.ptr<float>(y);
        for (int x = 0; x < inputMatrix.cols; ++x) {
            out[2 * x] = in[x];
            out[2 * x + 1] = 0.0f;
        }
    }
    cv::dft(forward, forward, cv::DFT_COMPLEX_OUTPUT);
    return forward;
}

const cv::Mat& FourierEngine::magnitude() const
{
    if (forwardMagnitude.empty())
        forwardMagnitude = magnitudeOf(forwardTransform());
    return forwardMagnitude;
}

cv::Mat FourierEngine::magnitudeOf(const cv::Mat& complex)
{
    // OpenCV's own magnitude, not a hand-written sqrt(re * re + im * im): its vector code may
    // round differently (fused multiply-add), and one ulp is enough to move a truncated grey
    // level.
    CV_Assert(complex.type() == CV_32FC2);
    cv::Mat planes[2];
    cv::split(complex, planes);
    cv::Mat magnitude;
    cv::magnitude(planes[0], planes[1], magnitude);
    return magnitude;
}

void FourierEngine::computeSpectrum()
{
    outputMatrix.release();
    if (inputMatrix.empty())
        return;
    if (!logarithmic) {
        magnitude().convertTo(outputMatrix, CV_8U, 1.0, 0);
        return;
    }
    // No "+1": a zero magnitude is minus infinity and saturates to black.
    cv::Mat logged;
    cv::log(magnitude(), logged);
    logged.convertTo(outputMatrix, CV_8U, 20.0, 0);
}

double FourierEngine::spectrumThreshold(double xMin, double xMax, double yMin, double yMax) const
{
    if (inputMatrix.empty())
        return std::numeric_limits<double>::quiet_NaN();
    const cv::Mat& m = magnitude();

    const int rows = m.rows, cols = m.cols;
    const int hr = rows / 2, hc = cols / 2;

    // Rows are bounded by half the column count and columns by half the row count. For a
    // matrix more than twice as wide as high (or high as wide) that reaches past its edge, so
    // only the part inside the matrix counts.
    double total = 0.0;
    for (int r = 0; r < std::min(hc, rows); ++r) {
        const float* row = m.ptr<float>(r);
        for (int c = 0; c < std::min(hr, cols); ++c)
            total += row[c];
    }

    const int r0 = boundIndex(hc * xMin, rows), r1 = boundIndex(hc * xMax, rows);
    const int c0 = boundIndex(hr * yMin, cols), c1 = boundIndex(hr * yMax, cols);
    double window = 0.0;
    for (int r = r0; r < r1; ++r) {
        const float* row = m.ptr<float>(r);
        for (int c = c0; c < c1; ++c)
            window += row[c];
    }
    return (total - window) / total;
}

void FourierEngine::buildFilterMask()
{
    const int rows = inputMatrix.rows, cols = inputMatrix.cols;
    const int cy = rows / 2, cx = cols / 2;
    // A new matrix each time: a copy of the previous mask held elsewhere stays as it was.
    filterMask = cv::Mat(rows, cols, CV_32FC2);
    if (filterType < LowPass || filterType > BandReject) {
        filterMask.setTo(cv::Scalar::all(0));
        return;
    }

    // The distance d(n) of a squared distance n never decreases as n grows, so "d > radius1"
    // holds exactly from some n on and "d < radius2" exactly below some n. Finding those two
    // integers with the same comparisons as the per-element rule gives the identical mask
    // without a square root per element.
    const std::int64_t maxSquared =
        static_cast<std::int64_t>(cx) * cx + static_cast<std::int64_t>(cy) * cy;
    const float r1 = radius1, r2 = radius2;
    const std::int64_t outside1 =
        firstTrue(maxSquared, [r1](std::int64_t n) { return distanceOf(n) > r1; });
    const std::int64_t notInside2 =
        firstTrue(maxSquared, [r2](std::int64_t n) { return !(distanceOf(n) < r2); });

    // v = (lo <= n < hi) != invert
    std::int64_t lo = 0, hi = maxSquared + 1;
    bool invert = false;
    switch (filterType) {
    case LowPass:
        hi = outside1;
        break;
    case HighPass:
        lo = outside1;
        break;
    case BandPass:
        lo = outside1;
        hi = notInside2;
        break;
    case BandReject:
        lo = outside1;
        hi = notInside2;
        invert = true;
        break;
    }

    for (int y = 0; y < rows; ++y) {
        const std::int64_t dy = y - cy;
        const std::int64_t dy2 = dy * dy;
        float* out = filterMask.ptr<float>(y);
        for (int x = 0; x < cols; ++x) {
            const std::int64_t dx = x - cx;
            const std::int64_t n = dy2 + dx * dx;
            const float v = ((n >= lo && n < hi) != invert) ? 1.0f : 0.0f;
            out[2 * x] = v;
            out[2 * x + 1] = v;
        }
    }
}

void FourierEngine::shiftQuadrants(cv::Mat& m)
{
    const int cx = m.cols / 2, cy = m.rows / 2;
    swapBlocks(m, cv::Rect(0, 0, cx, cy), cv::Rect(cx, cy, cx, cy));
    swapBlocks(m, cv::Rect(cx, 0, cx, cy), cv::Rect(0, cy, cx, cy));
}

void FourierEngine::unshiftQuadrants(cv::Mat& m)
{
    // With an odd dimension the blocks to exchange differ in size and none is written.
    if (m.cols % 2 != 0 || m.rows % 2 != 0)
        return;
    shiftQuadrants(m);
}

void FourierEngine::applyFilter()
{
    buildFilterMask();
    outputMatrix.release();
    if (inputMatrix.empty())
        return;
    // The filter works on a copy: the transform stays for the other views of this image.
    cv::Mat& spectrum = transformBuffer();
    forwardTransform().copyTo(spectrum);
    shiftQuadrants(spectrum);
    cv::mulSpectrums(spectrum, filterMask, spectrum, 0, false);
    unshiftQuadrants(spectrum);
    cv::idft(spectrum, spectrum, cv::DFT_SCALE | cv::DFT_COMPLEX_OUTPUT);
    magnitudeOf(spectrum).convertTo(outputMatrix, CV_8U, 1, 0);
}

QImage FourierEngine::outputImage() const
{
    if (outputMatrix.empty())
        return {};
    QImage image(outputMatrix.cols, outputMatrix.rows, QImage::Format_Grayscale8);
    if (image.isNull())
        return {};
    for (int y = 0; y < outputMatrix.rows; ++y)
        std::memcpy(image.scanLine(y), outputMatrix.ptr(y),
                    static_cast<std::size_t>(outputMatrix.cols));
    return image;
}
