#include "ExactCompare.h"
#include "Plane.h"
#include "SymmetrySmoother.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using kelvara::Plane;

namespace {

constexpr int kN = Plane::kSize;
constexpr auto kAverageSymmetries = SmoothingApproach::AverageSymmetries;
constexpr auto kAverageImage = SmoothingApproach::AverageImage;

// Whole numbers in [lo, hi]; grey levels take 32-bit window sums, wider ranges 64-bit ones.
Plane randomPlane(unsigned seed, int lo = 0, int hi = 255)
{
    Plane p;
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> pick(lo, hi);
    for (int x = 0; x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            p[x][y] = pick(random);
    return p;
}

// A circle of radius a (b < 0), or a rectangle of extents a x b.
SymmetrySmoother make(int a, int b = -1)
{
    SymmetrySmoother s;
    if (b < 0)
        s.setCircleKernel(a);
    else
        s.setRectangleKernel(a, b);
    s.prepareResult(0, 0);
    return s;
}

} // namespace

class TestSymmetrySmoother : public QObject
{
    Q_OBJECT

private slots:
    // Disc sizes are the lattice points within the radius (1, 5, 13, 29, 317, ...).
    void kernelShape_data()
    {
        QTest::addColumn<int>("a");
        QTest::addColumn<int>("b");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("cols");
        QTest::addColumn<int>("cells");
        QTest::newRow("r=0") << 0 << -1 << 1 << 1 << 1;
        QTest::newRow("r=1 cross") << 1 << -1 << 3 << 3 << 5;
        QTest::newRow("r=2") << 2 << -1 << 5 << 5 << 13;
        QTest::newRow("r=3") << 3 << -1 << 7 << 7 << 29;
        QTest::newRow("r=10") << 10 << -1 << 21 << 21 << 317;
        QTest::newRow("r=300 is r=255") << 300 << -1 << 511 << 511 << 204269;
        QTest::newRow("4x3") << 4 << 3 << 4 << 3 << 12;
        QTest::newRow("900x600 clamped") << 900 << 600 << 512 << 512 << 512 * 512;
    }
    void kernelShape()
    {
        QFETCH(int, a);
        QFETCH(int, b);
        QFETCH(int, rows);
        QFETCH(int, cols);
        QFETCH(int, cells);
        // Leftovers of an earlier kernel of the other shape must not count.
        SymmetrySmoother s = b < 0 ? make(9, 9) : make(1);
        if (b < 0)
            s.setCircleKernel(a);
        else
            s.setRectangleKernel(a, b);
        QCOMPARE(s.kernelRows(), rows);
        QCOMPARE(s.kernelCols(), cols);
        int ones = 0;
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < cols; ++j)
                ones += s.kernelValue(i, j) == 1.0;
        QCOMPARE(ones, cells);
        COMPARE_EXACT(s.kernelFactor(), 1.0 / cells);
        if (b < 0) // round: the block's corners lie outside, the middle of each edge inside
            QVERIFY(s.kernelValue(0, 0) == (a == 0) && s.kernelValue(0, rows / 2) == 1.0);
    }

    // An empty kernel passes the symmetry (or the image against its point reflection) through;
    // a negative one sums over nothing and meets an infinite factor.
    void degenerateKernels()
    {
        const Plane image = randomPlane(8), symmetry = randomPlane(7);
        for (const QPoint k : {QPoint(0, 0), QPoint(5, 0), QPoint(-2, 3), QPoint(-1, -1)}) {
            SymmetrySmoother s = make(k.x(), k.y());
            for (const int step : {1, 3}) {
                s.smooth(kAverageSymmetries, image.columns(), symmetry.columns(), 0, 0, step, step);
                const double* const* r = s.result();
                const int px = 100 * step, py = 170 * step;
                if (k.x() < 0) {
                    COMPARE_EXACT(s.kernelFactor(), std::numeric_limits<double>::infinity());
                    QVERIFY(std::isnan(r[0][0]) && std::isnan(r[100][170]));
                } else {
                    COMPARE_EXACT(r[100][170], symmetry[px][py]);
                    COMPARE_EXACT(r[200][200], step == 1 ? symmetry[200][200] : 0.0);
                }
                s.smooth(kAverageImage, image.columns(), symmetry.columns(), 0, 0, step, step);
                if (k.x() >= 0)
                    COMPARE_EXACT(s.result()[100][170],
                                  std::fabs(image[px][py] - image[kN - 1 - px][kN - 1 - py]));
            }
        }
    }

    void fastEqualsDirect_data()
    {
        QTest::addColumn<int>("a");
        QTest::addColumn<int>("b");
        QTest::addColumn<int>("stepX");
        QTest::addColumn<int>("stepY");
        QTest::addColumn<int>("lo");
        QTest::addColumn<int>("hi");
        for (int r : {1, 2, 3, 4, 7, 12})
            for (int step : {1, 3})
                QTest::addRow("circle r=%d step %d", r, step)
                    << r << -1 << step << step << 0 << 255;
        const int rects[][2] = {{1, 1},  {3, 4},  {4, 3},   {2, 7},
                                {10, 6}, {40, 3}, {512, 2}, {3, 600}};
        for (const auto& e : rects)
            for (int step : {1, 3})
                QTest::addRow("rectangle %dx%d step %d", e[0], e[1], step)
                    << e[0] << e[1] << step << step << 0 << 255;
        QTest::newRow("circle r=50 step 3") << 50 << -1 << 3 << 3 << 0 << 255;
        QTest::newRow("circle r=9 wide values") << 9 << -1 << 1 << 1 << 0 << 5000000;
        QTest::newRow("rectangle 6x9 signed step 3") << 6 << 9 << 3 << 3 << -300 << 300;
        // Uneven, zero and negative steps put centres on one line or outside the canvas.
        QTest::newRow("circle r=4 steps 2x1") << 4 << -1 << 2 << 1 << 0 << 255;
        QTest::newRow("circle r=4 steps 0x1") << 4 << -1 << 0 << 1 << 0 << 255;
        QTest::newRow("rectangle 4x4 steps -1x1") << 4 << 4 << -1 << 1 << 0 << 255;
    }
    // Bit for bit the direct weighted sums, also where windows reach past the canvas. Compared
    // on the borders, around the kernel's reach and on a spread over the interior.
    void fastEqualsDirect()
    {
        QFETCH(int, a);
        QFETCH(int, b);
        QFETCH(int, stepX);
        QFETCH(int, stepY);
        QFETCH(int, lo);
        QFETCH(int, hi);
        SymmetrySmoother s = make(a, b);
        const Plane image = randomPlane(11 + unsigned(a), lo, hi);
        const Plane symmetry = randomPlane(29 + unsigned(b), lo, hi);
        const int reach = std::max(s.kernelRows(), s.kernelCols());
        std::vector<int> sampled;
        for (int k = 0; k < kN; ++k)
            if (k < 16 || k >= kN - 16 || std::abs(k - reach) <= 1 ||
                std::abs(kN - 1 - k - reach) <= 1 || k % 23 == 0)
                sampled.push_back(k);
        for (const auto approach : {kAverageSymmetries, kAverageImage}) {
            s.smooth(approach, image.columns(), symmetry.columns(), 0, 0, stepX, stepY);
            for (const int r : sampled) {
                for (const int c : sampled) {
                    const int x = r * stepX, y = c * stepY;
                    const double expected =
                        approach == kAverageSymmetries
                            ? s.averageAt(symmetry.columns(), x, y, kN, kN)
                            : s.mirroredDifferenceAt(image.columns(), x, y, kN - 1 - x, kN - 1 - y,
                                                     kN, kN);
                    if (!(s.result()[r][c] == expected))
                        QFAIL(qPrintable(QString::asprintf("approach %d cell %d,%d: %.17g != %.17g",
                                                           int(approach), r, c, s.result()[r][c],
                                                           expected)));
                }
            }
        }
    }

    // A plane that is not made of whole numbers takes the direct sums, so rounding still
    // follows the reference.
    void nonWholeNumbersFallBack()
    {
        Plane p = randomPlane(5);
        for (int x = 0; x < kN; x += 3)
            p[x][x] += 0.1;
        p[200][0] = std::numeric_limits<double>::quiet_NaN();
        SymmetrySmoother fast = make(2), direct = fast;
        for (const auto approach : {kAverageSymmetries, kAverageImage}) {
            fast.smooth(approach, p.columns(), p.columns(), 0, 0, 1, 1);
            direct.smoothDirect(approach, p.columns(), p.columns(), 0, 0, 1, 1);
            // Planes are one block of values: the same bits, NaN included.
            QVERIFY(!std::memcmp(fast.result()[0], direct.result()[0], sizeof(double) * kN * kN));
        }
        QVERIFY(std::isnan(fast.result()[200][1]));
    }

    // The direct sums themselves: an odd extent is centred, an even one reaches one cell further
    // toward lower indices; cells beyond the canvas count as 0.
    void windowPlacementAndPadding()
    {
        Plane p;
        p[100][300] = p[300][100] = 60.0;
        for (const int extent : {1, 2, 3, 4}) {
            for (const bool vertical : {false, true}) {
                SymmetrySmoother s = vertical ? make(1, extent) : make(extent, 1);
                s.smooth(kAverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
                for (int k = 95; k <= 106; ++k)
                    COMPARE_EXACT(vertical ? s.result()[300][k] : s.result()[k][300],
                                  k >= 100 - (extent - 1) / 2 && k <= 100 + extent / 2
                                      ? 60.0 * (1.0 / extent)
                                      : 0.0);
            }
        }
        p.fill(90.0);
        // Rectangle 4 x 3: columns p-2..p+1, rows q-1..q+1; step 3 samples every third cell.
        SymmetrySmoother s = make(4, 3);
        const double f = 1.0 / 12;
        s.smooth(kAverageSymmetries, p.columns(), p.columns(), 0, 0, 3, 3);
        COMPARE_EXACT(s.result()[10][20], 1080.0 * f); // centre (30, 60), all 12 cells
        COMPARE_EXACT(s.result()[170][0], 720.0 * f);  // centre (510, 0): 4 columns, 2 rows
        COMPARE_EXACT(s.result()[171][20], 270.0 * f); // centre column 513: column 511 only
        COMPARE_EXACT(s.result()[172][20], 0.0);       // centre column 516: off the canvas
        s.smooth(kAverageImage, p.columns(), p.columns(), 0, 0, 3, 3);
        // (0, 60) keeps two of its columns, its mirror (511, 451) three.
        COMPARE_EXACT(s.result()[0][20], std::fabs(540.0 * f - 810.0 * f));
        COMPARE_EXACT(s.result()[171][20], 270.0 * f); // its mirror (-2, 451) has none
    }

    void unknownApproachAndResultStorage()
    {
        SymmetrySmoother s;
        const Plane p = randomPlane(3, 1, 255);
        s.smooth(kAverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
        QVERIFY(s.result() == nullptr); // nothing to write into yet
        s.prepareResult(3, 4);
        QVERIFY(s.resultRows() == 512 && s.resultCols() == 512);
        s.smooth(kAverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
        const double* const* before = s.result();
        s.prepareResult(100, 50); // keeps the result
        QVERIFY(s.result() == before && s.result()[511][511] == p[511][511]);
        for (const int approach : {2, -1}) {
            s.smooth(SmoothingApproach(approach), p.columns(), p.columns(), 0, 0, 1, 1);
            QCOMPARE(std::count(s.result()[0], s.result()[0] + kN * kN, 0.0), kN * kN);
        }
    }
};

QTEST_GUILESS_MAIN(TestSymmetrySmoother)
#include "test_symmetrysmoother.moc"
