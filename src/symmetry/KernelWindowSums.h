#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace kelvara {

// Kernel cells of weight 1 in one kernel row: offsets from the window centre, x offset dx and
// the inclusive y offsets dy0..dy1.
struct KernelRun
{
    int dx = 0;
    int dy0 = 0;
    int dy1 = 0;
};

// Window sums of a 512 x 512 plane under a 0/1 kernel, with zero padding outside the plane,
// computed in integers. When every plane value is a whole number the direct weighted sum of
// doubles is exact too (its partial sums stay far below 2^53), so these sums are bit for bit
// the ones the direct sum produces, at a fraction of its cost: runs of consecutive kernel rows
// with equal extent are read from a summed-area table, other rows from column prefix sums.
class KernelWindowSums
{
public:
    // The runs of one kernel; they must not overlap (each kernel cell weighs 1 or 0).
    explicit KernelWindowSums(std::vector<KernelRun> runs);

    // Receives, for centre column xs[ix], the sums at (xs[ix], ys[iy]) for every iy, as exact
    // whole numbers. The sink must not start another computation on the same thread (the
    // tables are scratch storage kept per thread).
    using ColumnSink = std::function<void(std::size_t ix, const double* sums)>;

    // Hands the kernel sums at every centre of xs x ys to the sink, column by column. Centres
    // may lie anywhere, also outside the plane. Returns false without calling the sink when
    // the plane holds a value that is not a whole number of magnitude at most 2^31 (NaN and
    // infinities included): such a plane needs the direct sum.
    bool compute(const double* const* plane, const std::vector<int>& xs, const std::vector<int>& ys,
                 const ColumnSink& sink) const;

    // Whether every cell is a whole number of magnitude at most 2^31; maxAbs receives the
    // largest magnitude.
    static bool holdsWholeNumbers(const double* const* plane, double& maxAbs);

private:
    struct Box
    {
        int dx0, dx1, dy0, dy1;
    };

    template <typename Acc>
    void computeWith(const double* const* plane, const std::vector<int>& xs,
                     const std::vector<int>& ys, const ColumnSink& sink) const;

    std::vector<Box> m_boxes;      // read from the summed-area table
    std::vector<KernelRun> m_runs; // read from column prefix sums
    int m_minDy = 0;
    int m_maxDy = 0;
};

} // namespace kelvara
