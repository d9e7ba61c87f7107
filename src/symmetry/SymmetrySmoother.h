#pragma once

#include "KernelWindowSums.h"
#include "Plane.h"
#include "SmoothingApproach.h"

#include <optional>
#include <vector>

// Smoothing machine of one modality: a uniform disc or rectangle kernel and a 512 x 512 result
// grid, filled either with the kernel mean of the raw symmetry ("Average symmetries") or with
// the difference of the kernel means of the input image at a point and at its reflection
// through the canvas centre ("Average image"). Planes are passed as column tables, [x][y].
class SymmetrySmoother
{
public:
    // The kernel storage; larger extents are clamped to it.
    static constexpr int kKernelSize = 512;

    SymmetrySmoother();

    // A filled disc of the given radius in a (2r + 1)-square block. A radius above 255 is taken
    // as 255, the largest disc the storage holds.
    void setCircleKernel(int radius);
    // A filled extentX x extentY block (full extents, each clamped to 512).
    void setRectangleKernel(int extentX, int extentY);

    int kernelRows() const { return m_kernelRows; }
    int kernelCols() const { return m_kernelCols; }
    double kernelFactor() const { return m_kernelFactor; }
    // Kernel cell [i][j]; cells beyond the storage read 0.0.
    double kernelValue(int i, int j) const;

    // Keeps an existing 512 x 512 result untouched; otherwise allocates one filled with 0.0.
    // Both arguments are ignored.
    void prepareResult(int, int);

    // Kernel mean around (x, y), zero padding outside 0..width-1 x 0..height-1. Computed as the
    // direct weighted sum over every kernel cell: this is the reference for rounding.
    double averageAt(const double* const* source, int x, int y, int width, int height) const;
    // |mean around (x, y) - mean around (mirrorX, mirrorY)|, by the same direct sums.
    double mirroredDifferenceAt(const double* const* source, int x, int y, int mirrorX, int mirrorY,
                                int width, int height) const;

    // Fills the result: cell (r, c) is the approach at (r * stepX, c * stepY), the "Average
    // image" mirror point being (511 - r * stepX, 511 - c * stepY). regionWidth and
    // regionHeight are ignored. Bit for bit equal to smoothDirect, but exact integer window
    // sums replace the per-cell weighted sums whenever the plane holds whole numbers.
    void smooth(SmoothingApproach approach, const double* const* image,
                const double* const* symmetry, int regionWidth, int regionHeight, int stepX,
                int stepY);
    // The same through averageAt / mirroredDifferenceAt for every cell: the reference.
    void smoothDirect(SmoothingApproach approach, const double* const* image,
                      const double* const* symmetry, int regionWidth, int regionHeight, int stepX,
                      int stepY);

    // Column table of the result, nullptr before the first prepareResult.
    const double* const* result() const { return m_result ? m_result->columns() : nullptr; }
    int resultRows() const { return m_resultRows; }
    int resultCols() const { return m_resultCols; }

private:
    double kernelSum(const double* const* source, long long x, long long y, int width,
                     int height) const;
    std::vector<kelvara::KernelRun> kernelRuns() const;
    bool smoothFast(SmoothingApproach approach, const double* const* image,
                    const double* const* symmetry, int stepX, int stepY);

    int m_kernelRows = 1;
    int m_kernelCols = 1;
    double m_kernelFactor = 1.0;
    std::vector<double> m_kernel; // [i * kKernelSize + j]
    std::optional<kelvara::Plane> m_result;
    int m_resultRows = 0;
    int m_resultCols = 0;
};
