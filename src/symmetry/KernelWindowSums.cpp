#include "KernelWindowSums.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>

namespace kelvara {

namespace {

constexpr int kSize = 512;

// A box must span this many kernel rows before the four summed-area reads beat two prefix reads
// per row.
constexpr int kMinBoxRows = 3;

// Largest magnitude for which every partial window sum, and the difference of two, fits 32 bits
// (512 * 512 * 4095 < 2^30).
constexpr double kMaxAbsForInt32 = 4095.0;

template <typename Acc>
inline void addRunSums(Acc* __restrict acc, const Acc* __restrict hi, const Acc* __restrict lo)
{
    for (int k = 0; k < kSize; ++k)
        acc[k] += hi[k] - lo[k];
}

template <typename Acc>
inline void addBoxSums(Acc* __restrict acc, const Acc* __restrict b1, const Acc* __restrict a1,
                       const Acc* __restrict b0, const Acc* __restrict a0)
{
    for (int k = 0; k < kSize; ++k)
        acc[k] += (b1[k] - a1[k]) - (b0[k] - a0[k]);
}

inline std::int64_t clamp64(std::int64_t v, std::int64_t lo, std::int64_t hi)
{
    return v < lo ? lo : (v > hi ? hi : v);
}

// Tables of a few megabytes are rebuilt for every smoothing; keeping their storage avoids
// fresh pages (and their faults) on every call.
template <typename Acc> struct Scratch
{
    std::vector<Acc> prefix;
    std::vector<Acc> area;
    std::vector<Acc> acc;
    std::vector<double> row;
};

template <typename Acc> Scratch<Acc>& scratch()
{
    thread_local Scratch<Acc> s;
    return s;
}

} // namespace

KernelWindowSums::KernelWindowSums(std::vector<KernelRun> runs)
{
    std::sort(runs.begin(), runs.end(), [](const KernelRun& a, const KernelRun& b) {
        return std::tie(a.dx, a.dy0) < std::tie(b.dx, b.dy0);
    });
    runs.erase(
        std::remove_if(runs.begin(), runs.end(), [](const KernelRun& r) { return r.dy1 < r.dy0; }),
        runs.end());

    // Group consecutive kernel rows that consist of one identical run into boxes.
    std::vector<Box> groups;
    std::vector<KernelRun> loose;
    std::size_t i = 0;
    while (i < runs.size()) {
        std::size_t end = i;
        while (end < runs.size() && runs[end].dx == runs[i].dx)
            ++end;
        const KernelRun& r = runs[i];
        if (end - i == 1) {
            if (!groups.empty()) {
                Box& last = groups.back();
                if (last.dx1 + 1 == r.dx && last.dy0 == r.dy0 && last.dy1 == r.dy1) {
                    last.dx1 = r.dx;
                    i = end;
                    continue;
                }
            }
            groups.push_back({r.dx, r.dx, r.dy0, r.dy1});
        } else {
            // Rows with several runs stay runs; a box must not continue across them.
            groups.push_back({r.dx, r.dx, 1, 0});
            loose.insert(loose.end(), runs.begin() + std::ptrdiff_t(i),
                         runs.begin() + std::ptrdiff_t(end));
        }
        i = end;
    }
    for (const Box& b : groups) {
        if (b.dy1 < b.dy0)
            continue;
        if (b.dx1 - b.dx0 + 1 >= kMinBoxRows) {
            m_boxes.push_back(b);
        } else {
            for (int dx = b.dx0; dx <= b.dx1; ++dx)
                m_runs.push_back({dx, b.dy0, b.dy1});
        }
    }
    m_runs.insert(m_runs.end(), loose.begin(), loose.end());

    for (const KernelRun& r : runs) {
        m_minDy = std::min(m_minDy, r.dy0);
        m_maxDy = std::max(m_maxDy, r.dy1);
    }
}

bool KernelWindowSums::holdsWholeNumbers(const double* const* plane, double& maxAbs)
{
    double largest = 0.0;
    for (int x = 0; x < kSize; ++x) {
        const double* column = plane[x];
        for (int y = 0; y < kSize; ++y) {
            const double a = std::fabs(column[y]);
            // The negated test also rejects NaN.
            if (!(a <= 2147483648.0) || a != std::floor(a))
                return false;
            largest = std::max(largest, a);
        }
    }
    maxAbs = largest;
    return true;
}

bool KernelWindowSums::compute(const double* const* plane, const std::vector<int>& xs,
                               const std::vector<int>& ys, const ColumnSink& sink) const
{
    double maxAbs = 0.0;
    if (!holdsWholeNumbers(plane, maxAbs))
        return false;
    if (maxAbs <= kMaxAbsForInt32)
        computeWith<std::int32_t>(plane, xs, ys, sink);
    else
        computeWith<std::int64_t>(plane, xs, ys, sink);
    return true;
}

template <typename Acc>
void KernelWindowSums::computeWith(const double* const* plane, const std::vector<int>& xs,
                                   const std::vector<int>& ys, const ColumnSink& sink) const
{
    Scratch<Acc>& work = scratch<Acc>();
    // Prefix index t stands for the sum of rows 0..t-1; it is padded on both sides so that
    // every window of a centre row 0..511 reads inside the table without clamping.
    const int loT = std::min(0, m_minDy);
    const int hiT = std::max(kSize, kSize + m_maxDy);
    const std::size_t rowLength = std::size_t(hiT - loT + 1);

    // Column prefix sums, one row per canvas column.
    std::vector<Acc>& prefix = work.prefix;
    prefix.resize(std::size_t(kSize) * rowLength);
    for (int x = 0; x < kSize; ++x) {
        Acc* row = prefix.data() + std::size_t(x) * rowLength - loT;
        const double* column = plane[x];
        for (int t = loT; t <= 0; ++t)
            row[t] = 0;
        Acc running = 0;
        for (int y = 0; y < kSize; ++y) {
            running += static_cast<Acc>(column[y]);
            row[y + 1] = running;
        }
        for (int t = kSize + 1; t <= hiT; ++t)
            row[t] = running;
    }

    // Summed-area table: row x' holds the sums over columns 0..x'-1.
    std::vector<Acc>& area = work.area;
    if (!m_boxes.empty()) {
        area.resize(std::size_t(kSize + 1) * rowLength);
        std::fill(area.begin(), area.begin() + std::ptrdiff_t(rowLength), Acc(0));
        for (int x = 0; x < kSize; ++x) {
            const Acc* before = area.data() + std::size_t(x) * rowLength;
            const Acc* column = prefix.data() + std::size_t(x) * rowLength;
            Acc* row = area.data() + std::size_t(x + 1) * rowLength;
            for (std::size_t t = 0; t < rowLength; ++t)
                row[t] = before[t] + column[t];
        }
    }

    bool contiguous = ys.size() == std::size_t(kSize);
    for (std::size_t k = 0; contiguous && k < ys.size(); ++k)
        contiguous = ys[k] == int(k);

    const std::size_t ny = ys.size();
    // Clamped prefix index: beyond the padding the prefix values are constant.
    auto tIndex = [&](int y, int offset) {
        return std::size_t(clamp64(std::int64_t(y) + offset, loT, hiT) - loT);
    };

    std::vector<Acc>& acc = work.acc;
    acc.resize(std::max(ny, std::size_t(kSize)));
    std::vector<double>& row = work.row;
    row.resize(ny);
    for (std::size_t ix = 0; ix < xs.size(); ++ix) {
        const std::int64_t p = xs[ix];
        std::fill(acc.begin(), acc.end(), Acc(0));

        for (const Box& b : m_boxes) {
            const std::int64_t xa = clamp64(p + b.dx0, 0, kSize);
            const std::int64_t xb = clamp64(p + b.dx1 + 1, 0, kSize);
            if (xa == xb)
                continue; // the box lies beside the plane
            const Acc* a = area.data() + std::size_t(xa) * rowLength;
            const Acc* bRow = area.data() + std::size_t(xb) * rowLength;
            if (contiguous) {
                const std::size_t o1 = std::size_t(b.dy1 + 1 - loT);
                const std::size_t o0 = std::size_t(b.dy0 - loT);
                addBoxSums(acc.data(), bRow + o1, a + o1, bRow + o0, a + o0);
            } else {
                for (std::size_t k = 0; k < ny; ++k) {
                    const std::size_t t1 = tIndex(ys[k], b.dy1 + 1);
                    const std::size_t t0 = tIndex(ys[k], b.dy0);
                    acc[k] += (bRow[t1] - a[t1]) - (bRow[t0] - a[t0]);
                }
            }
        }

        for (const KernelRun& r : m_runs) {
            const std::int64_t x = p + r.dx;
            if (x < 0 || x >= kSize)
                continue;
            const Acc* column = prefix.data() + std::size_t(x) * rowLength;
            if (contiguous) {
                addRunSums(acc.data(), column + std::size_t(r.dy1 + 1 - loT),
                           column + std::size_t(r.dy0 - loT));
            } else {
                for (std::size_t k = 0; k < ny; ++k)
                    acc[k] += column[tIndex(ys[k], r.dy1 + 1)] - column[tIndex(ys[k], r.dy0)];
            }
        }

        for (std::size_t k = 0; k < ny; ++k)
            row[k] = static_cast<double>(acc[k]);
        sink(ix, row.data());
    }
}

} // namespace kelvara
