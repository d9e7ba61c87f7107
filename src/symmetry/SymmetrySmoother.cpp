#include "SymmetrySmoother.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr int kCanvas = kelvara::Plane::kSize;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Sampling centres farther out than this see only zero padding for any kernel the storage
// holds; clamping there keeps r * step from overflowing.
constexpr std::int64_t kFarCentre = std::int64_t(1) << 20;

int centreOf(std::int64_t v)
{
    return int(std::clamp(v, -kFarCentre, kFarCentre));
}

std::vector<int> sampleCentres(int count, int step)
{
    std::vector<int> centres(std::size_t(std::max(count, 0)));
    for (int k = 0; k < count; ++k)
        centres[std::size_t(k)] = centreOf(std::int64_t(k) * step);
    return centres;
}

std::vector<int> mirroredCentres(int count, int step)
{
    std::vector<int> centres(std::size_t(std::max(count, 0)));
    for (int k = 0; k < count; ++k)
        centres[std::size_t(k)] = centreOf(kCanvas - 1 - std::int64_t(k) * step);
    return centres;
}

double cellOrZero(const double* const* source, long long x, long long y, int width, int height)
{
    return (x >= 0 && x < width && y >= 0 && y < height) ? source[x][y] : 0.0;
}

// Point operations accept any bounds, but the planes end at 512.
int boundOf(int extent)
{
    return std::clamp(extent, 0, kCanvas);
}

} // namespace

SymmetrySmoother::SymmetrySmoother() : m_kernel(std::size_t(kKernelSize) * kKernelSize, 1.0) {}

double SymmetrySmoother::kernelValue(int i, int j) const
{
    if (i < 0 || j < 0 || i >= kKernelSize || j >= kKernelSize)
        return 0.0;
    return m_kernel[std::size_t(i) * kKernelSize + std::size_t(j)];
}

void SymmetrySmoother::setCircleKernel(int radius)
{
    const std::int64_t wanted = 2 * std::int64_t(radius) + 1;
    if (wanted < 1) {
        // Not smoothing, and not an empty kernel either: the sums run over nothing.
        m_kernelRows = m_kernelCols = int(std::max<std::int64_t>(wanted, INT_MIN));
        m_kernelFactor = kInfinity;
        return;
    }
    const int r = std::min(radius, (kKernelSize - 1) / 2);
    const int d = 2 * r + 1;
    int count = 0;
    for (int i = 0; i < d; ++i) {
        const int dy = r - i;
        double* row = m_kernel.data() + std::size_t(i) * kKernelSize;
        for (int j = 0; j < d; ++j) {
            const int dx = r - j;
            if (dx * dx + dy * dy <= r * r) {
                row[j] = 1.0;
                ++count;
            } else {
                row[j] = 0.0;
            }
        }
    }
    m_kernelFactor = 1.0 / count;
    m_kernelRows = m_kernelCols = d;
}

void SymmetrySmoother::setRectangleKernel(int extentX, int extentY)
{
    const int x = std::min(extentX, kKernelSize);
    const int y = std::min(extentY, kKernelSize);
    if (x < 1) {
        m_kernelRows = x;
        m_kernelCols = y;
        m_kernelFactor = kInfinity;
        return;
    }
    int count = 0;
    for (int i = 0; i < x; ++i) {
        double* row = m_kernel.data() + std::size_t(i) * kKernelSize;
        for (int j = 0; j < y; ++j) {
            row[j] = 1.0;
            ++count;
        }
    }
    // A zero height leaves no cell: the factor becomes infinite, but the empty-kernel rule
    // keeps it from ever being applied.
    m_kernelFactor = count > 0 ? 1.0 / count : kInfinity;
    m_kernelRows = x;
    m_kernelCols = y;
}

void SymmetrySmoother::prepareResult(int, int)
{
    if (m_result && m_resultRows == kCanvas && m_resultCols == kCanvas)
        return;
    m_result.emplace();
    m_resultRows = m_resultCols = kCanvas;
}

double SymmetrySmoother::kernelSum(const double* const* source, long long x, long long y, int width,
                                   int height) const
{
    const long long left = x - m_kernelRows / 2;
    const long long top = y - m_kernelCols / 2;
    double sum = 0.0;
    for (int i = 0; i < m_kernelRows; ++i) {
        const double* kernelRow = m_kernel.data() + std::size_t(i) * kKernelSize;
        const long long px = left + i;
        for (int j = 0; j < m_kernelCols; ++j)
            sum += kernelRow[j] * cellOrZero(source, px, top + j, width, height);
    }
    return sum;
}

double SymmetrySmoother::averageAt(const double* const* source, int x, int y, int width,
                                   int height) const
{
    width = boundOf(width);
    height = boundOf(height);
    if (m_kernelRows == 0 || m_kernelCols == 0)
        return cellOrZero(source, x, y, width, height);
    return kernelSum(source, x, y, width, height) * m_kernelFactor;
}

double SymmetrySmoother::mirroredDifferenceAt(const double* const* source, int x, int y,
                                              int mirrorX, int mirrorY, int width, int height) const
{
    width = boundOf(width);
    height = boundOf(height);
    if (m_kernelRows == 0 || m_kernelCols == 0) {
        const double a = cellOrZero(source, x, y, width, height);
        const double b = cellOrZero(source, mirrorX, mirrorY, width, height);
        return std::fabs(a - b);
    }
    const double s1 = kernelSum(source, x, y, width, height);
    const double s2 = kernelSum(source, mirrorX, mirrorY, width, height);
    return std::fabs(s1 * m_kernelFactor - s2 * m_kernelFactor);
}

void SymmetrySmoother::smoothDirect(SmoothingApproach approach, const double* const* image,
                                    const double* const* symmetry, int, int, int stepX, int stepY)
{
    if (!m_result)
        return;
    kelvara::Plane& result = *m_result;
    const std::vector<int> xs = sampleCentres(m_resultRows, stepX);
    const std::vector<int> ys = sampleCentres(m_resultCols, stepY);
    const std::vector<int> mxs = mirroredCentres(m_resultRows, stepX);
    const std::vector<int> mys = mirroredCentres(m_resultCols, stepY);
    for (int r = 0; r < m_resultRows; ++r) {
        double* column = result[r];
        for (int c = 0; c < m_resultCols; ++c) {
            switch (approach) {
            case SmoothingApproach::AverageSymmetries:
                column[c] =
                    averageAt(symmetry, xs[std::size_t(r)], ys[std::size_t(c)], kCanvas, kCanvas);
                break;
            case SmoothingApproach::AverageImage:
                column[c] = mirroredDifferenceAt(image, xs[std::size_t(r)], ys[std::size_t(c)],
                                                 mxs[std::size_t(r)], mys[std::size_t(c)], kCanvas,
                                                 kCanvas);
                break;
            default:
                column[c] = 0.0;
                break;
            }
        }
    }
}

void SymmetrySmoother::smooth(SmoothingApproach approach, const double* const* image,
                              const double* const* symmetry, int regionWidth, int regionHeight,
                              int stepX, int stepY)
{
    if (!m_result)
        return;
    // An empty or negative kernel costs one read per cell on the direct path already.
    const bool sums = m_kernelRows > 0 && m_kernelCols > 0 &&
                      (approach == SmoothingApproach::AverageSymmetries ||
                       approach == SmoothingApproach::AverageImage);
    if (sums && smoothFast(approach, image, symmetry, stepX, stepY))
        return;
    smoothDirect(approach, image, symmetry, regionWidth, regionHeight, stepX, stepY);
}

std::vector<kelvara::KernelRun> SymmetrySmoother::kernelRuns() const
{
    std::vector<kelvara::KernelRun> runs;
    const int halfRows = m_kernelRows / 2;
    const int halfCols = m_kernelCols / 2;
    for (int i = 0; i < m_kernelRows; ++i) {
        const double* row = m_kernel.data() + std::size_t(i) * kKernelSize;
        int j = 0;
        while (j < m_kernelCols) {
            if (row[j] != 1.0) {
                ++j;
                continue;
            }
            const int start = j;
            while (j < m_kernelCols && row[j] == 1.0)
                ++j;
            runs.push_back({i - halfRows, start - halfCols, j - 1 - halfCols});
        }
    }
    return runs;
}

bool SymmetrySmoother::smoothFast(SmoothingApproach approach, const double* const* image,
                                  const double* const* symmetry, int stepX, int stepY)
{
    const kelvara::KernelWindowSums windows(kernelRuns());
    const std::vector<int> xs = sampleCentres(m_resultRows, stepX);
    const std::vector<int> ys = sampleCentres(m_resultCols, stepY);
    const double f = m_kernelFactor;
    kelvara::Plane& result = *m_result;
    const int cols = m_resultCols;

    // Kernel means straight into the result.
    auto storeMeans = [&](std::size_t r, const double* sums) {
        double* column = result[std::ptrdiff_t(r)];
        for (int c = 0; c < cols; ++c)
            column[c] = sums[c] * f;
    };

    if (approach == SmoothingApproach::AverageSymmetries)
        return windows.compute(symmetry, xs, ys, storeMeans);

    const bool sameGrid =
        stepX == 1 && stepY == 1 && m_resultRows == kCanvas && m_resultCols == kCanvas;
    if (sameGrid) {
        // With step 1 the mirror points are the same grid read backwards: keep the means in
        // the result, then replace each point-symmetric pair by their difference (the same
        // for both cells of a pair).
        if (!windows.compute(image, xs, ys, storeMeans))
            return false;
        for (int r = 0; r < kCanvas / 2; ++r) {
            double* column = result[r];
            double* mirror = result[kCanvas - 1 - r];
            for (int c = 0; c < kCanvas; ++c) {
                const double d = std::fabs(column[c] - mirror[kCanvas - 1 - c]);
                column[c] = d;
                mirror[kCanvas - 1 - c] = d;
            }
        }
        return true;
    }

    const std::size_t ny = ys.size();
    std::vector<double> mirrorMeans(std::size_t(m_resultRows) * ny);
    const bool whole = windows.compute(image, mirroredCentres(m_resultRows, stepX),
                                       mirroredCentres(m_resultCols, stepY),
                                       [&](std::size_t r, const double* sums) {
                                           double* out = mirrorMeans.data() + r * ny;
                                           for (std::size_t c = 0; c < ny; ++c)
                                               out[c] = sums[c] * f;
                                       });
    if (!whole)
        return false;
    return windows.compute(image, xs, ys, [&](std::size_t r, const double* sums) {
        const double* mirror = mirrorMeans.data() + r * ny;
        double* column = result[std::ptrdiff_t(r)];
        for (int c = 0; c < cols; ++c)
            column[c] = std::fabs(sums[c] * f - mirror[c]);
    });
}
