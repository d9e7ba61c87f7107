// Kernels as the controls set them (rectangles 0..100 a side, discs of radius 1..100) over
// planes of grey-level differences, sampled with step 1 as the analysis does.
#include "ExactCompare.h"
#include "Plane.h"
#include "SymmetrySmoother.h"

#include <QTest>

#include <cmath>
#include <random>
#include <vector>

using kelvara::Plane;

namespace {

constexpr int kN = Plane::kSize;
constexpr auto kAverageSymmetries = SmoothingApproach::AverageSymmetries;
constexpr auto kAverageImage = SmoothingApproach::AverageImage;

Plane randomPlane(unsigned seed)
{
    Plane p;
    std::mt19937 random(seed);
    for (int x = 0; x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            p[x][y] = random() % 256;
    return p;
}

// A disc of radius a (b < 0), or a rectangle of extents a x b.
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
    // Disc sizes are the lattice points within the radius.
    void kernelShape_data()
    {
        QTest::addColumn<int>("a");
        QTest::addColumn<int>("b");
        QTest::addColumn<int>("side");
        QTest::addColumn<int>("cells");
        QTest::newRow("r=1 cross") << 1 << -1 << 3 << 5;
        QTest::newRow("r=2") << 2 << -1 << 5 << 13;
        QTest::newRow("r=10") << 10 << -1 << 21 << 317;
        QTest::newRow("r=100") << 100 << -1 << 201 << 31417;
        QTest::newRow("4x3") << 4 << 3 << 4 << 12;
    }
    void kernelShape()
    {
        QFETCH(int, a);
        QFETCH(int, b);
        QFETCH(int, side);
        QFETCH(int, cells);
        // Leftovers of an earlier, larger kernel of the other shape must not count.
        SymmetrySmoother s = b < 0 ? make(100, 100) : make(100);
        if (b < 0)
            s.setCircleKernel(a);
        else
            s.setRectangleKernel(a, b);
        QCOMPARE(s.kernelRows(), side);
        QCOMPARE(s.kernelCols(), b < 0 ? side : b);
        int ones = 0;
        for (int i = 0; i < s.kernelRows(); ++i)
            for (int j = 0; j < s.kernelCols(); ++j)
                ones += s.kernelValue(i, j) == 1.0;
        QCOMPARE(ones, cells);
        COMPARE_EXACT(s.kernelFactor(), 1.0 / cells);
    }

    // A rectangle with a zero extent passes the symmetry (or the image against its point
    // reflection) through.
    void emptyKernels()
    {
        const Plane image = randomPlane(8), symmetry = randomPlane(7);
        for (const int a : {0, 5}) {
            SymmetrySmoother s = make(a, 0);
            s.smooth(kAverageSymmetries, image.columns(), symmetry.columns(), 0, 0, 1, 1);
            COMPARE_EXACT(s.result()[100][170], symmetry[100][170]);
            s.smooth(kAverageImage, image.columns(), symmetry.columns(), 0, 0, 1, 1);
            COMPARE_EXACT(s.result()[100][170], std::fabs(image[100][170] - image[411][341]));
        }
    }

    void fastEqualsDirect_data()
    {
        QTest::addColumn<int>("a");
        QTest::addColumn<int>("b");
        for (int r : {1, 2, 3, 4, 7, 12, 50})
            QTest::addRow("disc r=%d", r) << r << -1;
        const int rects[][2] = {{1, 1},  {3, 4},  {4, 3},   {2, 7},
                                {10, 6}, {40, 3}, {100, 2}, {3, 100}};
        for (const auto& e : rects)
            QTest::addRow("rectangle %dx%d", e[0], e[1]) << e[0] << e[1];
    }
    // Bit for bit the direct weighted sums, also where windows reach past the canvas. Compared
    // on the borders, around the kernel's reach and on a spread over the interior.
    void fastEqualsDirect()
    {
        QFETCH(int, a);
        QFETCH(int, b);
        SymmetrySmoother s = make(a, b);
        const Plane image = randomPlane(11 + unsigned(a)), symmetry = randomPlane(29 + unsigned(b));
        const int reach = std::max(s.kernelRows(), s.kernelCols());
        std::vector<int> sampled;
        for (int k = 0; k < kN; ++k)
            if (k < 16 || k >= kN - 16 || std::abs(k - reach) <= 1 ||
                std::abs(kN - 1 - k - reach) <= 1 || k % 23 == 0)
                sampled.push_back(k);
        for (const auto approach : {kAverageSymmetries, kAverageImage}) {
            s.smooth(approach, image.columns(), symmetry.columns(), 0, 0, 1, 1);
            for (const int x : sampled) {
                for (const int y : sampled) {
                    const double expected =
                        approach == kAverageSymmetries
                            ? s.averageAt(symmetry.columns(), x, y, kN, kN)
                            : s.mirroredDifferenceAt(image.columns(), x, y, kN - 1 - x, kN - 1 - y,
                                                     kN, kN);
                    if (!(s.result()[x][y] == expected))
                        QFAIL(qPrintable(QString::asprintf("approach %d cell %d,%d: %.17g != %.17g",
                                                           int(approach), x, y, s.result()[x][y],
                                                           expected)));
                }
            }
        }
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
        SymmetrySmoother s = make(4, 3); // columns x-2..x+1, rows y-1..y+1
        s.smooth(kAverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
        COMPARE_EXACT(s.result()[2][1], 1080.0 * (1.0 / 12));    // the first full window
        COMPARE_EXACT(s.result()[0][0], 360.0 * (1.0 / 12));     // 2 columns, 2 rows
        COMPARE_EXACT(s.result()[511][300], 810.0 * (1.0 / 12)); // 3 columns, 3 rows
        s.smooth(kAverageImage, p.columns(), p.columns(), 0, 0, 1, 1);
        // (0, 300) keeps 2 x 3 cells, its mirror (511, 211) 3 x 3.
        COMPARE_EXACT(s.result()[0][300], std::fabs(540.0 * (1.0 / 12) - 810.0 * (1.0 / 12)));
    }

};

QTEST_GUILESS_MAIN(TestSymmetrySmoother)
#include "test_symmetrysmoother.moc"
