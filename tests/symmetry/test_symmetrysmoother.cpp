#include "ExactCompare.h"
#include "KernelWindowSums.h"
#include "Plane.h"
#include "SymmetrySmoother.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using kelvara::Plane;

Q_DECLARE_METATYPE(std::vector<kelvara::KernelRun>)

namespace {

constexpr int kN = Plane::kSize;
constexpr double kInf = std::numeric_limits<double>::infinity();

enum class Values { Grey, Wide, Signed };

// Whole numbers of three ranges: grey levels (32-bit sums), values whose window sums need
// 64 bits, and signed values.
Plane randomPlane(unsigned seed, Values values = Values::Grey)
{
    Plane p;
    std::mt19937 random(seed);
    int lo = 0, hi = 255;
    if (values == Values::Wide)
        hi = 5000000;
    else if (values == Values::Signed)
        lo = -300, hi = 300;
    std::uniform_int_distribution<int> pick(lo, hi);
    for (int x = 0; x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            p[x][y] = pick(random);
    return p;
}

Plane constantPlane(double v)
{
    Plane p;
    p.fill(v);
    return p;
}

SymmetrySmoother withCircle(int radius)
{
    SymmetrySmoother s;
    s.setCircleKernel(radius);
    s.prepareResult(0, 0);
    return s;
}

SymmetrySmoother withRectangle(int x, int y)
{
    SymmetrySmoother s;
    s.setRectangleKernel(x, y);
    s.prepareResult(0, 0);
    return s;
}

int countOnes(const SymmetrySmoother& s)
{
    int count = 0;
    for (int i = 0; i < s.kernelRows(); ++i)
        for (int j = 0; j < s.kernelCols(); ++j)
            count += s.kernelValue(i, j) == 1.0;
    return count;
}

// Result rows and columns compared against the point operations: the borders (where the
// padding matters), a spread over the interior and the cells around the kernel's reach.
std::vector<int> sampledIndices(int reach)
{
    std::vector<int> v;
    for (int k = 0; k < kN; ++k) {
        const bool border = k < 16 || k >= kN - 16;
        const bool nearReach = std::abs(k - reach) <= 1 || std::abs(kN - 1 - k - reach) <= 1;
        if (border || nearReach || k % 23 == 0)
            v.push_back(k);
    }
    return v;
}

} // namespace

class TestSymmetrySmoother : public QObject
{
    Q_OBJECT

private slots:
    void circleKernel_data();
    void circleKernel();
    void rectangleKernel_data();
    void rectangleKernel();
    void hugeKernelsStayInStorage_data();
    void hugeKernelsStayInStorage();
    void emptyKernelKeepsValues_data();
    void emptyKernelKeepsValues();
    void negativeExtentGivesNaN_data();
    void negativeExtentGivesNaN();
    void fastEqualsDirect_data();
    void fastEqualsDirect();
    void irregularKernels_data();
    void irregularKernels();
    void nonWholeNumbersFallBack();
    void crossAroundBrightCell();
    void windowPlacement_data();
    void windowPlacement();
    void zeroPaddingAtBorder();
    void averageImageMirrorsBothAxes();
    void stepsSampleTheCanvas();
    void unknownApproachGivesZero();
    void prepareResultKeepsResult();
};

void TestSymmetrySmoother::circleKernel_data()
{
    QTest::addColumn<int>("radius");
    QTest::addColumn<int>("extent");
    QTest::addColumn<int>("cells");
    QTest::newRow("r=0") << 0 << 1 << 1;
    QTest::newRow("r=1 cross") << 1 << 3 << 5;
    QTest::newRow("r=2") << 2 << 5 << 13;
    QTest::newRow("r=3") << 3 << 7 << 29;
    QTest::newRow("r=10") << 10 << 21 << 317;
    QTest::newRow("r=100") << 100 << 201 << 31417;
}

void TestSymmetrySmoother::circleKernel()
{
    QFETCH(int, radius);
    QFETCH(int, extent);
    QFETCH(int, cells);
    SymmetrySmoother s;
    s.setRectangleKernel(9, 9); // leftovers of an earlier kernel must not count
    s.setCircleKernel(radius);
    QCOMPARE(s.kernelRows(), extent);
    QCOMPARE(s.kernelCols(), extent);
    QCOMPARE(countOnes(s), cells);
    COMPARE_EXACT(s.kernelFactor(), 1.0 / cells);
    // The disc is round: the block's corners are outside it (except for the single cell).
    COMPARE_EXACT(s.kernelValue(0, 0), radius == 0 ? 1.0 : 0.0);
    COMPARE_EXACT(s.kernelValue(radius, radius), 1.0);
    COMPARE_EXACT(s.kernelValue(0, radius), 1.0);
}

void TestSymmetrySmoother::rectangleKernel_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<double>("factor");
    QTest::newRow("1x1") << 1 << 1 << 1 << 1 << 1.0;
    QTest::newRow("4x3") << 4 << 3 << 4 << 3 << 1.0 / 12;
    QTest::newRow("100x100") << 100 << 100 << 100 << 100 << 1.0 / 10000;
    QTest::newRow("0x0") << 0 << 0 << 0 << 0 << kInf;
    QTest::newRow("5x0") << 5 << 0 << 5 << 0 << kInf;
    QTest::newRow("0x5") << 0 << 5 << 0 << 5 << kInf;
    QTest::newRow("beyond the storage") << 900 << 600 << 512 << 512 << 1.0 / (512 * 512);
}

void TestSymmetrySmoother::rectangleKernel()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(double, factor);
    SymmetrySmoother s;
    s.setCircleKernel(1);
    s.setRectangleKernel(x, y);
    QCOMPARE(s.kernelRows(), rows);
    QCOMPARE(s.kernelCols(), cols);
    COMPARE_EXACT(s.kernelFactor(), factor);
    if (rows > 0 && cols > 0)
        QCOMPARE(countOnes(s), rows * cols);
    else if (rows < 1)
        COMPARE_EXACT(s.kernelValue(0, 0), 0.0); // the cross's corner: the kernel was not touched
}

void TestSymmetrySmoother::hugeKernelsStayInStorage_data()
{
    QTest::addColumn<bool>("circle");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    const int most = std::numeric_limits<int>::max();
    QTest::newRow("circle 300") << true << 300 << 0 << 511 << 511;
    QTest::newRow("circle most") << true << most << 0 << 511 << 511;
    QTest::newRow("rectangle most") << false << most << most << 512 << 512;
    QTest::newRow("rectangle 513x2") << false << 513 << 2 << 512 << 2;
}

// Kernels beyond the 512 x 512 storage are clamped to it and still smooth like the reference.
void TestSymmetrySmoother::hugeKernelsStayInStorage()
{
    QFETCH(bool, circle);
    QFETCH(int, a);
    QFETCH(int, b);
    QFETCH(int, rows);
    QFETCH(int, cols);
    SymmetrySmoother s = circle ? withCircle(a) : withRectangle(a, b);
    QCOMPARE(s.kernelRows(), rows);
    QCOMPARE(s.kernelCols(), cols);
    QVERIFY(std::isfinite(s.kernelFactor()));
    const Plane p = randomPlane(17);
    s.smooth(SmoothingApproach::AverageImage, p.columns(), p.columns(), 0, 0, 1, 1);
    for (int x : {0, 255, 511})
        COMPARE_EXACT(s.result()[x][100],
                      s.mirroredDifferenceAt(p.columns(), x, 100, 511 - x, 411, kN, kN));
}

void TestSymmetrySmoother::emptyKernelKeepsValues_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("step");
    QTest::newRow("0x0") << 0 << 0 << 1;
    QTest::newRow("5x0") << 5 << 0 << 1;
    QTest::newRow("0x5") << 0 << 5 << 1;
    QTest::newRow("0x0 step 3") << 0 << 0 << 3;
}

void TestSymmetrySmoother::emptyKernelKeepsValues()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, step);
    // Non-whole values pass unchanged too: no arithmetic touches them.
    Plane symmetry = randomPlane(7);
    symmetry[3][4] = 12.375;
    const Plane image = randomPlane(8);
    SymmetrySmoother s = withRectangle(x, y);

    s.smooth(SmoothingApproach::AverageSymmetries, image.columns(), symmetry.columns(), 0, 0, step,
             step);
    for (int r = 0; r < kN; ++r) {
        for (int c = 0; c < kN; ++c) {
            const int px = r * step, py = c * step;
            const double expected = (px < kN && py < kN) ? symmetry[px][py] : 0.0;
            if (s.result()[r][c] != expected)
                QFAIL(qPrintable(QString("Average symmetries at %1,%2").arg(r).arg(c)));
        }
    }

    s.smooth(SmoothingApproach::AverageImage, image.columns(), symmetry.columns(), 0, 0, step,
             step);
    for (int r = 0; r < kN; ++r) {
        for (int c = 0; c < kN; ++c) {
            const int px = r * step, py = c * step;
            const int mx = kN - 1 - px, my = kN - 1 - py;
            const double a = (px < kN && py < kN) ? image[px][py] : 0.0;
            const double b = (mx >= 0 && my >= 0) ? image[mx][my] : 0.0;
            if (s.result()[r][c] != std::fabs(a - b))
                QFAIL(qPrintable(QString("Average image at %1,%2").arg(r).arg(c)));
        }
    }
}

void TestSymmetrySmoother::negativeExtentGivesNaN_data()
{
    QTest::addColumn<bool>("circle");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::newRow("circle -1") << true << -1 << 0;
    QTest::newRow("circle most negative") << true << std::numeric_limits<int>::min() << 0;
    QTest::newRow("rectangle -2x3") << false << -2 << 3;
    QTest::newRow("rectangle 3x-2") << false << 3 << -2;
}

// A negative extent is no empty kernel: the sums run over nothing and meet the infinite factor.
void TestSymmetrySmoother::negativeExtentGivesNaN()
{
    QFETCH(bool, circle);
    QFETCH(int, a);
    QFETCH(int, b);
    SymmetrySmoother s;
    if (circle)
        s.setCircleKernel(a);
    else
        s.setRectangleKernel(a, b);
    s.prepareResult(0, 0);
    COMPARE_EXACT(s.kernelFactor(), kInf);
    const Plane p = randomPlane(3);
    for (auto approach : {SmoothingApproach::AverageSymmetries, SmoothingApproach::AverageImage}) {
        s.smooth(approach, p.columns(), p.columns(), 0, 0, 1, 1);
        QVERIFY(std::isnan(s.result()[0][0]));
        QVERIFY(std::isnan(s.result()[300][17]));
        QVERIFY(std::isnan(s.result()[511][511]));
    }
}

void TestSymmetrySmoother::fastEqualsDirect_data()
{
    QTest::addColumn<bool>("circle");
    QTest::addColumn<int>("a"); // radius, or horizontal extent
    QTest::addColumn<int>("b"); // vertical extent
    QTest::addColumn<int>("stepX");
    QTest::addColumn<int>("stepY");
    QTest::addColumn<int>("values");

    const int grey = int(Values::Grey);
    for (int r = 0; r <= 12; ++r) {
        for (int step : {1, 3})
            QTest::addRow("circle r=%d step %d", r, step) << true << r << 0 << step << step << grey;
    }
    QTest::newRow("circle r=50") << true << 50 << 0 << 1 << 1 << grey;
    QTest::newRow("circle r=50 step 3") << true << 50 << 0 << 3 << 3 << grey;
    QTest::newRow("circle r=9 wide values") << true << 9 << 0 << 1 << 1 << int(Values::Wide);
    QTest::newRow("circle r=6 signed values") << true << 6 << 0 << 1 << 1 << int(Values::Signed);

    const int rects[][2] = {{1, 1}, {2, 2},  {3, 4}, {4, 3},  {2, 7}, {7, 1},
                            {1, 8}, {10, 6}, {5, 5}, {40, 3}, {3, 40}};
    for (const auto& e : rects) {
        for (int step : {1, 3})
            QTest::addRow("rectangle %dx%d step %d", e[0], e[1], step)
                << false << e[0] << e[1] << step << step << grey;
    }
    // Windows that reach past the canvas border from every centre.
    QTest::newRow("rectangle 512x2") << false << 512 << 2 << 1 << 1 << grey;
    QTest::newRow("rectangle 3x600") << false << 3 << 600 << 1 << 1 << grey;
    QTest::newRow("rectangle 7x5 wide values") << false << 7 << 5 << 1 << 1 << int(Values::Wide);
    QTest::newRow("rectangle 6x9 signed step 3")
        << false << 6 << 9 << 3 << 3 << int(Values::Signed);
    // Uneven, zero and negative steps put centres on one line or outside the canvas.
    QTest::newRow("circle r=4 steps 2x1") << true << 4 << 0 << 2 << 1 << grey;
    QTest::newRow("circle r=4 steps 0x1") << true << 4 << 0 << 0 << 1 << grey;
    QTest::newRow("rectangle 4x4 steps -1x1") << false << 4 << 4 << -1 << 1 << grey;
}

void TestSymmetrySmoother::fastEqualsDirect()
{
    QFETCH(bool, circle);
    QFETCH(int, a);
    QFETCH(int, b);
    QFETCH(int, stepX);
    QFETCH(int, stepY);
    QFETCH(int, values);

    SymmetrySmoother s = circle ? withCircle(a) : withRectangle(a, b);
    const Plane image = randomPlane(11 + unsigned(a), Values(values));
    const Plane symmetry = randomPlane(29 + unsigned(b), Values(values));
    const int reach = std::max(s.kernelRows(), s.kernelCols());
    const std::vector<int> rows = sampledIndices(reach);

    for (auto approach : {SmoothingApproach::AverageSymmetries, SmoothingApproach::AverageImage}) {
        s.smooth(approach, image.columns(), symmetry.columns(), 0, 0, stepX, stepY);
        for (int r : rows) {
            for (int c : rows) {
                const int x = r * stepX, y = c * stepY;
                const double expected =
                    approach == SmoothingApproach::AverageSymmetries
                        ? s.averageAt(symmetry.columns(), x, y, kN, kN)
                        : s.mirroredDifferenceAt(image.columns(), x, y, kN - 1 - x, kN - 1 - y, kN,
                                                 kN);
                const double got = s.result()[r][c];
                if (!(got == expected))
                    QFAIL(qPrintable(QString("approach %1 cell %2,%3: %4 != %5")
                                         .arg(int(approach))
                                         .arg(r)
                                         .arg(c)
                                         .arg(got, 0, 'g', 17)
                                         .arg(expected, 0, 'g', 17)));
            }
        }
    }

    // Small kernels: the whole grid against the direct smoothing.
    if (s.kernelRows() * s.kernelCols() <= 25) {
        SymmetrySmoother direct = s;
        for (auto approach :
             {SmoothingApproach::AverageSymmetries, SmoothingApproach::AverageImage}) {
            s.smooth(approach, image.columns(), symmetry.columns(), 0, 0, stepX, stepY);
            direct.smoothDirect(approach, image.columns(), symmetry.columns(), 0, 0, stepX, stepY);
            for (int x = 0; x < kN; ++x)
                QVERIFY(std::equal(s.result()[x], s.result()[x] + kN, direct.result()[x]));
        }
    }
}

void TestSymmetrySmoother::irregularKernels_data()
{
    using Runs = std::vector<kelvara::KernelRun>;
    QTest::addColumn<Runs>("runs");
    QTest::addColumn<int>("step");
    // A ring: the middle rows hold two runs each, between full rows above and below.
    Runs ring{{-2, -2, 2}, {-1, -2, -1}, {-1, 1, 2}, {0, -2, -1},
              {0, 1, 2},   {1, -2, -1},  {1, 1, 2},  {2, -2, 2}};
    // Scattered cells far from the centre, and a tall box next to a lone run.
    Runs scattered{{-40, 7, 7}, {3, -60, -60}, {3, 0, 0}, {90, 30, 32}};
    Runs boxes{{-3, -5, 9}, {-2, -5, 9}, {-1, -5, 9}, {0, -5, 9}, {1, 0, 0}, {5, 2, 3}};
    for (int step : {1, 2}) {
        QTest::addRow("ring step %d", step) << ring << step;
        QTest::addRow("scattered step %d", step) << scattered << step;
        QTest::addRow("boxes step %d", step) << boxes << step;
    }
}

// The window sums against a plain sum over the cells of each run.
void TestSymmetrySmoother::irregularKernels()
{
    QFETCH(std::vector<kelvara::KernelRun>, runs);
    QFETCH(int, step);
    const Plane p = randomPlane(23, Values::Signed);
    std::vector<int> xs, ys;
    for (int k = -3; k * step < kN + 100; ++k)
        xs.push_back(k * step);
    for (int k = 0; k < kN; ++k)
        ys.push_back(k * step);
    const kelvara::KernelWindowSums windows(runs);
    int columns = 0;
    const bool whole =
        windows.compute(p.columns(), xs, ys, [&](std::size_t ix, const double* sums) {
            ++columns;
            for (std::size_t iy = 0; iy < ys.size(); iy += 3) {
                double expected = 0.0;
                for (const kelvara::KernelRun& r : runs) {
                    const int x = xs[ix] + r.dx;
                    for (int y = ys[iy] + r.dy0; y <= ys[iy] + r.dy1; ++y)
                        if (x >= 0 && x < kN && y >= 0 && y < kN)
                            expected += p[x][y];
                }
                if (sums[iy] != expected)
                    QFAIL(qPrintable(QString("centre %1,%2").arg(xs[ix]).arg(ys[iy])));
            }
        });
    QVERIFY(whole);
    QCOMPARE(columns, int(xs.size()));
}

// A plane that is not made of whole numbers takes the direct sums, so rounding still follows
// the reference.
void TestSymmetrySmoother::nonWholeNumbersFallBack()
{
    Plane p = randomPlane(5);
    for (int x = 0; x < kN; x += 3)
        p[x][x] += 0.1;
    p[200][0] = std::numeric_limits<double>::quiet_NaN();
    SymmetrySmoother fast = withCircle(2);
    SymmetrySmoother direct = fast;
    for (auto approach : {SmoothingApproach::AverageSymmetries, SmoothingApproach::AverageImage}) {
        fast.smooth(approach, p.columns(), p.columns(), 0, 0, 1, 1);
        direct.smoothDirect(approach, p.columns(), p.columns(), 0, 0, 1, 1);
        for (int x = 0; x < kN; ++x) {
            for (int y = 0; y < kN; ++y) {
                const double f = fast.result()[x][y], d = direct.result()[x][y];
                if (!(f == d || (std::isnan(f) && std::isnan(d))))
                    QFAIL(qPrintable(QString("cell %1,%2").arg(x).arg(y)));
            }
        }
    }
    QVERIFY(std::isnan(fast.result()[200][1]));
}

void TestSymmetrySmoother::crossAroundBrightCell()
{
    Plane p;
    p[100][200] = 255.0;
    SymmetrySmoother s = withCircle(1);
    s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
    const double* const* r = s.result();
    for (auto [x, y] : {std::pair{100, 200}, {99, 200}, {101, 200}, {100, 199}, {100, 201}})
        COMPARE_EXACT(r[x][y], 51.0);
    for (auto [x, y] : {std::pair{99, 199}, {101, 201}, {98, 200}, {100, 202}})
        COMPARE_EXACT(r[x][y], 0.0);
}

void TestSymmetrySmoother::windowPlacement_data()
{
    QTest::addColumn<int>("extent");
    QTest::addColumn<int>("first"); // first centre column whose window holds column 100
    QTest::addColumn<int>("last");
    // An odd extent is centred; an even one reaches one cell further toward lower indices.
    QTest::newRow("1") << 1 << 100 << 100;
    QTest::newRow("2") << 2 << 100 << 101;
    QTest::newRow("3") << 3 << 99 << 101;
    QTest::newRow("4") << 4 << 99 << 102;
    QTest::newRow("5") << 5 << 98 << 102;
}

void TestSymmetrySmoother::windowPlacement()
{
    QFETCH(int, extent);
    QFETCH(int, first);
    QFETCH(int, last);
    Plane p;
    p[100][300] = 60.0;
    p[300][100] = 60.0;
    for (bool vertical : {false, true}) {
        SymmetrySmoother s = vertical ? withRectangle(1, extent) : withRectangle(extent, 1);
        s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
        for (int k = 95; k <= 106; ++k) {
            const double v = vertical ? s.result()[300][k] : s.result()[k][300];
            const bool inside = k >= first && k <= last;
            COMPARE_EXACT(v, inside ? 60.0 * (1.0 / extent) : 0.0);
        }
    }
}

void TestSymmetrySmoother::zeroPaddingAtBorder()
{
    const Plane p = constantPlane(100.0);
    SymmetrySmoother s = withRectangle(5, 5);
    s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
    COMPARE_EXACT(s.result()[256][256], 100.0);
    COMPARE_EXACT(s.result()[2][2], 100.0);
    COMPARE_EXACT(s.result()[0][0], 36.0);   // 3 x 3 of the 25 cells lie on the canvas
    COMPARE_EXACT(s.result()[0][300], 60.0); // 3 x 5
    COMPARE_EXACT(s.result()[511][1], 48.0); // 3 x 4
    COMPARE_EXACT(s.result()[300][510], 80.0);

    SymmetrySmoother disc = withCircle(3);
    disc.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
    COMPARE_EXACT(disc.result()[3][3], disc.result()[256][256]); // the first full window
    QVERIFY(qFuzzyCompare(disc.result()[3][3], 100.0));
    QVERIFY(disc.result()[2][100] < 100.0);
    QVERIFY(disc.result()[100][509] < 100.0);
    QVERIFY(disc.result()[0][0] < disc.result()[0][100]);
}

void TestSymmetrySmoother::averageImageMirrorsBothAxes()
{
    // Symmetric about the vertical midline only: image[x][y] == image[511 - x][y].
    Plane image;
    for (int x = 0; x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            image[x][y] = double(std::min(x, kN - 1 - x) + y % 7);
    for (int extent : {0, 1}) {
        SymmetrySmoother s = withRectangle(extent, extent);
        s.smooth(SmoothingApproach::AverageImage, image.columns(), nullptr, 0, 0, 1, 1);
        bool nonZero = false;
        for (int x = 0; x < kN; ++x) {
            for (int y = 0; y < kN; ++y) {
                const double expected = std::fabs(image[x][y] - image[kN - 1 - x][kN - 1 - y]);
                if (s.result()[x][y] != expected)
                    QFAIL(qPrintable(QString("extent %1 cell %2,%3").arg(extent).arg(x).arg(y)));
                nonZero = nonZero || expected != 0.0;
            }
        }
        QVERIFY(nonZero);
    }
}

void TestSymmetrySmoother::stepsSampleTheCanvas()
{
    // Rectangle 4 x 3: columns p-2..p+1, rows q-1..q+1; step 3 samples every third cell.
    const Plane p = constantPlane(90.0);
    SymmetrySmoother s = withRectangle(4, 3);
    const double f = 1.0 / 12;
    s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 3, 3);
    COMPARE_EXACT(s.result()[10][20], 1080.0 * f);  // centre (30, 60), all 12 cells
    COMPARE_EXACT(s.result()[170][20], 1080.0 * f); // centre column 510: columns 508..511
    COMPARE_EXACT(s.result()[171][20], 270.0 * f);  // centre column 513: column 511 only
    COMPARE_EXACT(s.result()[172][20], 0.0);        // centre column 516: off the canvas
    COMPARE_EXACT(s.result()[511][511], 0.0);

    s.smooth(SmoothingApproach::AverageImage, p.columns(), p.columns(), 0, 0, 3, 3);
    COMPARE_EXACT(s.result()[10][20], 0.0); // (30, 60) and (481, 451): both full
    // (0, 60) keeps two of its columns, its mirror (511, 451) three.
    COMPARE_EXACT(s.result()[0][20], std::fabs(540.0 * f - 810.0 * f));
    // (513, 60) keeps one column, its mirror (-2, 451) none.
    COMPARE_EXACT(s.result()[171][20], 270.0 * f);
    COMPARE_EXACT(s.result()[200][200], 0.0); // both windows off the canvas
}

void TestSymmetrySmoother::unknownApproachGivesZero()
{
    const Plane p = constantPlane(50.0);
    SymmetrySmoother s = withCircle(2);
    for (int approach : {2, -1}) {
        s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
        COMPARE_EXACT(s.result()[40][40], 50.0);
        s.smooth(SmoothingApproach(approach), p.columns(), p.columns(), 0, 0, 1, 1);
        for (int x = 0; x < kN; ++x)
            QVERIFY(
                std::all_of(s.result()[x], s.result()[x] + kN, [](double v) { return v == 0.0; }));
    }
}

void TestSymmetrySmoother::prepareResultKeepsResult()
{
    SymmetrySmoother s;
    QVERIFY(s.result() == nullptr);
    QCOMPARE(s.resultRows(), 0);
    const Plane p = constantPlane(70.0);
    s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
    QVERIFY(s.result() == nullptr); // nothing to write into yet

    s.prepareResult(3, 4);
    QCOMPARE(s.resultRows(), 512);
    QCOMPARE(s.resultCols(), 512);
    COMPARE_EXACT(s.result()[511][511], 0.0);
    s.smooth(SmoothingApproach::AverageSymmetries, p.columns(), p.columns(), 0, 0, 1, 1);
    const double* const* before = s.result();
    s.prepareResult(100, 50);
    QCOMPARE(s.result(), before);
    COMPARE_EXACT(s.result()[0][0], 70.0);
    COMPARE_EXACT(s.result()[511][511], 70.0);
}

QTEST_GUILESS_MAIN(TestSymmetrySmoother)
#include "test_symmetrysmoother.moc"
