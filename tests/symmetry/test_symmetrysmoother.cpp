#include "ExactCompare.h"
#include "Plane.h"
#include "SymmetrySmoother.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using kelvara::Plane;

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
    const int hi = values == Values::Wide ? 5000000 : values == Values::Signed ? 300 : 255;
    std::uniform_int_distribution<int> pick(values == Values::Signed ? -300 : 0, hi);
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

// A circle of radius a, or a rectangle of extents a x b.
struct Kernel
{
    bool circle;
    int a, b;
};

SymmetrySmoother make(const Kernel& k)
{
    SymmetrySmoother s;
    if (k.circle)
        s.setCircleKernel(k.a);
    else
        s.setRectangleKernel(k.a, k.b);
    s.prepareResult(0, 0);
    return s;
}

QString cellMessage(int approach, int x, int y, double got, double expected)
{
    return QString::asprintf("approach %d cell %d,%d: %.17g != %.17g", approach, x, y, got,
                             expected);
}

// Smooths p with itself as image and symmetry, step 1.
const double* const* smoothed(SymmetrySmoother& s, const Plane& p,
                              SmoothingApproach approach = SmoothingApproach::AverageSymmetries)
{
    s.smooth(approach, p.columns(), p.columns(), 0, 0, 1, 1);
    return s.result();
}

constexpr SmoothingApproach kApproaches[] = {SmoothingApproach::AverageSymmetries,
                                             SmoothingApproach::AverageImage};

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

Q_DECLARE_METATYPE(Kernel)
Q_DECLARE_METATYPE(Values)

class TestSymmetrySmoother : public QObject
{
    Q_OBJECT

private slots:
    void kernelShape_data();
    void kernelShape();
    void fastEqualsDirect_data();
    void fastEqualsDirect();
    void nonWholeNumbersFallBack();
    void windowPlacement_data();
    void windowPlacement();
    void zeroPaddingAtBorder();
    void stepsSampleTheCanvas();
    void unknownApproachGivesZero();
    void prepareResultKeepsResult();
};

void TestSymmetrySmoother::kernelShape_data()
{
    QTest::addColumn<Kernel>("k");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<int>("cells"); // -1: not counted
    const int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    QTest::newRow("r=0") << Kernel{true, 0, 0} << 1 << 1 << 1;
    QTest::newRow("r=1 cross") << Kernel{true, 1, 0} << 3 << 3 << 5;
    QTest::newRow("r=2") << Kernel{true, 2, 0} << 5 << 5 << 13;
    QTest::newRow("r=3") << Kernel{true, 3, 0} << 7 << 7 << 29;
    QTest::newRow("r=10") << Kernel{true, 10, 0} << 21 << 21 << 317;
    QTest::newRow("r=100") << Kernel{true, 100, 0} << 201 << 201 << 31417;
    QTest::newRow("1x1") << Kernel{false, 1, 1} << 1 << 1 << 1;
    QTest::newRow("4x3") << Kernel{false, 4, 3} << 4 << 3 << 12;
    QTest::newRow("100x100") << Kernel{false, 100, 100} << 100 << 100 << 10000;
    // Empty kernels keep the values.
    QTest::newRow("0x0") << Kernel{false, 0, 0} << 0 << 0 << 0;
    QTest::newRow("5x0") << Kernel{false, 5, 0} << 5 << 0 << 0;
    QTest::newRow("0x5") << Kernel{false, 0, 5} << 0 << 5 << 0;
    // Kernels beyond the 512 x 512 storage are clamped to it and still smooth like the reference.
    QTest::newRow("900x600") << Kernel{false, 900, 600} << 512 << 512 << 512 * 512;
    QTest::newRow("rectangle most") << Kernel{false, most, most} << 512 << 512 << 512 * 512;
    QTest::newRow("rectangle 513x2") << Kernel{false, 513, 2} << 512 << 2 << 1024;
    QTest::newRow("circle 300") << Kernel{true, 300, 0} << 511 << 511 << -1;
    QTest::newRow("circle most") << Kernel{true, most, 0} << 511 << 511 << -1;
    // A negative extent is no empty kernel: the sums run over nothing and meet the infinite factor.
    QTest::newRow("circle -1") << Kernel{true, -1, 0} << -1 << -1 << -1;
    QTest::newRow("circle least") << Kernel{true, least, 0} << least << least << -1;
    QTest::newRow("rectangle -2x3") << Kernel{false, -2, 3} << -2 << 3 << -1;
    QTest::newRow("rectangle 3x-2") << Kernel{false, 3, -2} << 3 << -2 << -1;
}

void TestSymmetrySmoother::kernelShape()
{
    QFETCH(Kernel, k);
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(int, cells);
    // Leftovers of an earlier kernel of the other shape must not count.
    SymmetrySmoother s = make(k.circle ? Kernel{false, 9, 9} : Kernel{true, 1, 0});
    if (k.circle)
        s.setCircleKernel(k.a);
    else
        s.setRectangleKernel(k.a, k.b);
    QCOMPARE(s.kernelRows(), rows);
    QCOMPARE(s.kernelCols(), cols);
    if (cells >= 0) {
        int ones = 0;
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < cols; ++j)
                ones += s.kernelValue(i, j) == 1.0;
        QCOMPARE(ones, cells);
        COMPARE_EXACT(s.kernelFactor(), cells > 0 ? 1.0 / cells : kInf);
    }
    if (k.circle && cells > 0) {
        // The disc is round: the block's corners are outside it (except for the single cell).
        COMPARE_EXACT(s.kernelValue(0, 0), k.a == 0 ? 1.0 : 0.0);
        COMPARE_EXACT(s.kernelValue(k.a, k.a), 1.0);
        COMPARE_EXACT(s.kernelValue(0, k.a), 1.0);
    }
    if (!k.circle && rows < 1)
        COMPARE_EXACT(s.kernelValue(0, 0), 0.0); // the cross's corner: the kernel was not touched

    Plane symmetry = randomPlane(7);
    symmetry[3][4] = 12.375; // passes an empty kernel unchanged too: no arithmetic touches it
    const Plane image = randomPlane(8);
    auto at = [](const Plane& p, int x, int y) {
        return x >= 0 && y >= 0 && x < kN && y < kN ? p[x][y] : 0.0;
    };
    for (auto approach : kApproaches) {
        const double* const* r = smoothed(s, image, approach);
        if (rows < 0 || cols < 0) {
            COMPARE_EXACT(s.kernelFactor(), kInf);
            QVERIFY(std::isnan(r[0][0]) && std::isnan(r[300][17]) && std::isnan(r[511][511]));
        }
        for (int x = 0; rows > 500 && x < kN; x += 255) {
            QVERIFY(std::isfinite(s.kernelFactor()));
            COMPARE_EXACT(r[x][100], approach == SmoothingApproach::AverageImage
                                         ? s.mirroredDifferenceAt(image.columns(), x, 100, 511 - x,
                                                                  411, kN, kN)
                                         : s.averageAt(image.columns(), x, 100, kN, kN));
        }
        for (int step : {1, 3}) {
            if (rows != 0 && cols != 0)
                break;
            // Empty kernel; "Average image" takes the point reflection on both axes.
            s.smooth(approach, image.columns(), symmetry.columns(), 0, 0, step, step);
            for (int x = 0; x < kN; ++x) {
                for (int y = 0; y < kN; ++y) {
                    const int px = x * step, py = y * step;
                    const double expected =
                        approach == SmoothingApproach::AverageSymmetries
                            ? at(symmetry, px, py)
                            : std::fabs(at(image, px, py) - at(image, kN - 1 - px, kN - 1 - py));
                    if (s.result()[x][y] != expected)
                        QFAIL(qPrintable(
                            cellMessage(int(approach), x, y, s.result()[x][y], expected)));
                }
            }
        }
    }
}

void TestSymmetrySmoother::fastEqualsDirect_data()
{
    QTest::addColumn<Kernel>("k");
    QTest::addColumn<int>("stepX");
    QTest::addColumn<int>("stepY");
    QTest::addColumn<Values>("values");

    const Values grey = Values::Grey;
    for (int r = 0; r <= 12; ++r)
        for (int step : {1, 3})
            QTest::addRow("circle r=%d step %d", r, step)
                << Kernel{true, r, 0} << step << step << grey;
    QTest::newRow("circle r=50") << Kernel{true, 50, 0} << 1 << 1 << grey;
    QTest::newRow("circle r=50 step 3") << Kernel{true, 50, 0} << 3 << 3 << grey;
    QTest::newRow("circle r=9 wide values") << Kernel{true, 9, 0} << 1 << 1 << Values::Wide;
    QTest::newRow("circle r=6 signed values") << Kernel{true, 6, 0} << 1 << 1 << Values::Signed;
    const int rects[][2] = {{1, 1}, {2, 2},  {3, 4}, {4, 3},  {2, 7}, {7, 1},
                            {1, 8}, {10, 6}, {5, 5}, {40, 3}, {3, 40}};
    for (const auto& e : rects)
        for (int step : {1, 3})
            QTest::addRow("rectangle %dx%d step %d", e[0], e[1], step)
                << Kernel{false, e[0], e[1]} << step << step << grey;
    // Windows that reach past the canvas border from every centre.
    QTest::newRow("rectangle 512x2") << Kernel{false, 512, 2} << 1 << 1 << grey;
    QTest::newRow("rectangle 3x600") << Kernel{false, 3, 600} << 1 << 1 << grey;
    QTest::newRow("rectangle 7x5 wide values") << Kernel{false, 7, 5} << 1 << 1 << Values::Wide;
    QTest::newRow("rectangle 6x9 signed step 3") << Kernel{false, 6, 9} << 3 << 3 << Values::Signed;
    // Uneven, zero and negative steps put centres on one line or outside the canvas.
    QTest::newRow("circle r=4 steps 2x1") << Kernel{true, 4, 0} << 2 << 1 << grey;
    QTest::newRow("circle r=4 steps 0x1") << Kernel{true, 4, 0} << 0 << 1 << grey;
    QTest::newRow("rectangle 4x4 steps -1x1") << Kernel{false, 4, 4} << -1 << 1 << grey;
}

// Bit-identical to the point operations; small kernels over the whole grid against the
// direct smoothing.
void TestSymmetrySmoother::fastEqualsDirect()
{
    QFETCH(Kernel, k);
    QFETCH(int, stepX);
    QFETCH(int, stepY);
    QFETCH(Values, values);
    SymmetrySmoother s = make(k);
    SymmetrySmoother direct = s;
    const Plane image = randomPlane(11 + unsigned(k.a), values);
    const Plane symmetry = randomPlane(29 + unsigned(k.b), values);
    const std::vector<int> rows = sampledIndices(std::max(s.kernelRows(), s.kernelCols()));
    for (auto approach : kApproaches) {
        s.smooth(approach, image.columns(), symmetry.columns(), 0, 0, stepX, stepY);
        for (int r : rows) {
            for (int c : rows) {
                const int x = r * stepX, y = c * stepY;
                const double expected =
                    approach == SmoothingApproach::AverageSymmetries
                        ? s.averageAt(symmetry.columns(), x, y, kN, kN)
                        : s.mirroredDifferenceAt(image.columns(), x, y, kN - 1 - x, kN - 1 - y, kN,
                                                 kN);
                if (!(s.result()[r][c] == expected))
                    QFAIL(qPrintable(cellMessage(int(approach), r, c, s.result()[r][c], expected)));
            }
        }
        if (s.kernelRows() * s.kernelCols() <= 25) {
            direct.smoothDirect(approach, image.columns(), symmetry.columns(), 0, 0, stepX, stepY);
            for (int x = 0; x < kN; ++x)
                QVERIFY(std::equal(s.result()[x], s.result()[x] + kN, direct.result()[x]));
        }
    }
}

// A plane that is not made of whole numbers takes the direct sums, so rounding still follows
// the reference.
void TestSymmetrySmoother::nonWholeNumbersFallBack()
{
    Plane p = randomPlane(5);
    for (int x = 0; x < kN; x += 3)
        p[x][x] += 0.1;
    p[200][0] = std::numeric_limits<double>::quiet_NaN();
    SymmetrySmoother fast = make({true, 2, 0});
    SymmetrySmoother direct = fast;
    for (auto approach : kApproaches) {
        smoothed(fast, p, approach);
        direct.smoothDirect(approach, p.columns(), p.columns(), 0, 0, 1, 1);
        for (int x = 0; x < kN; ++x) {
            for (int y = 0; y < kN; ++y) {
                const double f = fast.result()[x][y], d = direct.result()[x][y];
                if (!(f == d || (std::isnan(f) && std::isnan(d))))
                    QFAIL(qPrintable(cellMessage(int(approach), x, y, f, d)));
            }
        }
    }
    QVERIFY(std::isnan(fast.result()[200][1]));
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
        SymmetrySmoother s = vertical ? make({false, 1, extent}) : make({false, extent, 1});
        const double* const* r = smoothed(s, p);
        for (int k = 95; k <= 106; ++k)
            COMPARE_EXACT(vertical ? r[300][k] : r[k][300],
                          k >= first && k <= last ? 60.0 * (1.0 / extent) : 0.0);
    }
}

void TestSymmetrySmoother::zeroPaddingAtBorder()
{
    const Plane p = constantPlane(100.0);
    SymmetrySmoother s = make({false, 5, 5});
    const double* const* r = smoothed(s, p);
    COMPARE_EXACT(r[256][256], 100.0);
    COMPARE_EXACT(r[2][2], 100.0);
    COMPARE_EXACT(r[0][0], 36.0);   // 3 x 3 of the 25 cells lie on the canvas
    COMPARE_EXACT(r[0][300], 60.0); // 3 x 5
    COMPARE_EXACT(r[511][1], 48.0); // 3 x 4
    COMPARE_EXACT(r[300][510], 80.0);

    SymmetrySmoother disc = make({true, 3, 0});
    const double* const* d = smoothed(disc, p);
    COMPARE_EXACT(d[3][3], d[256][256]); // the first full window
    QVERIFY(qFuzzyCompare(d[3][3], 100.0));
    QVERIFY(d[2][100] < 100.0 && d[100][509] < 100.0 && d[0][0] < d[0][100]);
}

void TestSymmetrySmoother::stepsSampleTheCanvas()
{
    // Rectangle 4 x 3: columns p-2..p+1, rows q-1..q+1; step 3 samples every third cell.
    const Plane p = constantPlane(90.0);
    SymmetrySmoother s = make({false, 4, 3});
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
    SymmetrySmoother s = make({true, 2, 0});
    for (int approach : {2, -1}) {
        COMPARE_EXACT(smoothed(s, p)[40][40], 50.0);
        const double* const* r = smoothed(s, p, SmoothingApproach(approach));
        for (int x = 0; x < kN; ++x)
            QVERIFY(std::all_of(r[x], r[x] + kN, [](double v) { return v == 0.0; }));
    }
}

void TestSymmetrySmoother::prepareResultKeepsResult()
{
    SymmetrySmoother s;
    QVERIFY(s.result() == nullptr);
    QCOMPARE(s.resultRows(), 0);
    const Plane p = constantPlane(70.0);
    QVERIFY(smoothed(s, p) == nullptr); // nothing to write into yet

    s.prepareResult(3, 4);
    QCOMPARE(s.resultRows(), 512);
    QCOMPARE(s.resultCols(), 512);
    COMPARE_EXACT(s.result()[511][511], 0.0);
    const double* const* before = smoothed(s, p);
    s.prepareResult(100, 50);
    QCOMPARE(s.result(), before);
    COMPARE_EXACT(s.result()[0][0], 70.0);
    COMPARE_EXACT(s.result()[511][511], 70.0);
}

QTEST_GUILESS_MAIN(TestSymmetrySmoother)
#include "test_symmetrysmoother.moc"
