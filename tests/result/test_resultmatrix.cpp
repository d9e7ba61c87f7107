#include "ResultMatrix.h"

#include <QPainter>
#include <QPoint>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

// A plane in the callers' shape: columns of doubles behind a table of column pointers.
class Plane
{
public:
    Plane(int width, int height, double fill = 0.0)
        : m_cells(std::size_t(width) * std::size_t(height), fill), m_columns(std::size_t(width))
    {
        for (int x = 0; x < width; ++x)
            m_columns[std::size_t(x)] = m_cells.data() + std::size_t(x) * std::size_t(height);
    }
    double& at(int x, int y) { return m_columns[std::size_t(x)][y]; }
    const double* const* columns() const { return m_columns.data(); }

private:
    std::vector<double> m_cells;
    std::vector<double*> m_columns;
};

int keptCount(const ResultMatrix& matrix)
{
    int count = 0;
    for (int x = 0; x < matrix.width(); ++x)
        for (int y = 0; y < matrix.height(); ++y)
            count += matrix.labels()[x][y] == 2 ? 1 : 0;
    return count;
}

// Sets a 2 x 2 plane from four values listed column by column.
void setCells(double* const* plane, const QVector<double>& values)
{
    for (int i = 0; i < 4; ++i)
        plane[i / 2][i % 2] = values[i];
}

// Independent 8-connected labelling of the marked cells (index x * height + y): union-find,
// then the size test.
std::vector<quint32> expectedLabels(const std::vector<bool>& marked, int width, int height,
                                    int minArea)
{
    std::vector<int> parent(marked.size());
    std::iota(parent.begin(), parent.end(), 0);
    auto find = [&parent](int i) {
        while (parent[std::size_t(i)] != i)
            i = parent[std::size_t(i)] = parent[std::size_t(parent[std::size_t(i)])];
        return i;
    };
    auto on = [&](int x, int y) {
        return x >= 0 && y >= 0 && y < height && marked[std::size_t(x * height + y)];
    };
    for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
            // Earlier neighbours in column order are enough to join every pair.
            for (const QPoint& n :
                 {QPoint(x - 1, y - 1), QPoint(x - 1, y), QPoint(x - 1, y + 1), QPoint(x, y - 1)})
                if (on(x, y) && on(n.x(), n.y()))
                    parent[std::size_t(find(x * height + y))] = find(n.x() * height + n.y());
    std::vector<int> size(marked.size(), 0);
    for (std::size_t i = 0; i < marked.size(); ++i)
        size[std::size_t(find(int(i)))] += marked[i];
    std::vector<quint32> labels(marked.size(), 0);
    for (std::size_t i = 0; i < marked.size(); ++i)
        labels[i] = marked[i] && size[std::size_t(find(int(i)))] >= minArea ? 2 : 0;
    return labels;
}

// What the overlays are defined as: red points drawn by a painter on a transparent image.
QImage paintedReference(int width, int height, const std::vector<QPoint>& points)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(QColor(0, 0, 0, 0));
    QPainter painter(&image);
    painter.setPen(Qt::red);
    for (const QPoint& p : points)
        painter.drawPoint(p);
    return image;
}

} // namespace

class TestResultMatrix : public QObject
{
    Q_OBJECT

private slots:
    void resize_data();
    void resize();
    void emptyMatrixIsHarmless();
    void multiplyScaledWrapsInGrayImage_data();
    void multiplyScaledWrapsInGrayImage();
    void productOfSeveralFactors();
    void grayImageLayout();
    void averagePositive_data();
    void averagePositive();
    void applyInterval_data();
    void applyInterval();
    void countIntervalTruncatesRunningSum_data();
    void countIntervalTruncatesRunningSum();
    void overlaysMatchPainter_data();
    void overlaysMatchPainter();
    void markingThresholdAndStaleLabels();
    void fullMatrixIsOneArea_data();
    void fullMatrixIsOneArea();
    void removeSmallAreasMatchesUnionFind_data();
    void removeSmallAreasMatchesUnionFind();
};

void TestResultMatrix::resize_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("expectedWidth");
    QTest::newRow("same size") << 4 << 5 << 4;
    QTest::newRow("wider") << 6 << 5 << 6;
    QTest::newRow("transposed") << 5 << 4 << 5;
    QTest::newRow("negative counts as empty") << -3 << 5 << 0;
}

// Every calculation starts from values 1, an empty interval mask and no labels: two
// calculations in a row must not accumulate.
void TestResultMatrix::resize()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, expectedWidth);
    ResultMatrix matrix;
    matrix.resize(4, 5);
    const double* firstColumn = matrix.data()[0];
    for (int x = 0; x < 4; ++x) {
        for (int y = 0; y < 5; ++y) {
            matrix.values()[x][y] = 7.0;
            matrix.intervalMask()[x][y] = 1.0;
            matrix.labels()[x][y] = 2;
        }
    }
    matrix.resize(width, height);
    QCOMPARE(matrix.width(), expectedWidth);
    QCOMPARE(matrix.height(), height);
    if (width == 4 && height == 5)
        QCOMPARE(matrix.data()[0], firstColumn); // same size: the planes are kept
    for (int x = 0; x < expectedWidth; ++x) {
        for (int y = 0; y < height; ++y) {
            QCOMPARE(matrix.data()[x][y], 1.0);
            QCOMPARE(matrix.intervalMask()[x][y], 0.0);
            QCOMPARE(matrix.labels()[x][y], 0u);
        }
    }
}

void TestResultMatrix::emptyMatrixIsHarmless()
{
    ResultMatrix matrix;
    QCOMPARE(matrix.width(), 0);
    QCOMPARE(matrix.height(), 0);
    QVERIFY(matrix.data() == nullptr);
    Plane image(1, 1, 255.0);
    matrix.multiplyScaled(image.columns(), 2.0);
    matrix.multiply(image.columns());
    matrix.applyInterval(0.0, 1.0);
    matrix.removeSmallAreas(0);
    QVERIFY(std::isnan(matrix.averagePositive()));
    QCOMPARE(matrix.countInterval(), 0);
    QVERIFY(matrix.hasPathology(0));
    QVERIFY(!matrix.hasPathology(1));
    QVERIFY(matrix.toGrayImage().isNull());
    QVERIFY(matrix.intervalImage().isNull());
    QVERIFY(matrix.evaluationImage().isNull());

    // A missing image leaves the values alone instead of crashing.
    matrix.resize(2, 2);
    matrix.multiplyScaled(nullptr, 2.0);
    matrix.multiply(nullptr);
    QCOMPARE(matrix.data()[1][1], 1.0);
}

void TestResultMatrix::multiplyScaledWrapsInGrayImage_data()
{
    QTest::addColumn<double>("symmetry");
    QTest::addColumn<double>("amplification");
    QTest::addColumn<int>("grey");
    QTest::newRow("127 x2") << 127.0 << 2.0 << 254;
    QTest::newRow("128 x2 wraps to black") << 128.0 << 2.0 << 0;
    QTest::newRow("200 x2 wraps") << 200.0 << 2.0 << 144;
    QTest::newRow("amplification 0") << 200.0 << 0.0 << 0;
    QTest::newRow("x1 truncates") << 200.7 << 1.0 << 200;
    QTest::newRow("255 x1 is white") << 255.0 << 1.0 << 255;
    QTest::newRow("x1.2 wraps to 50") << 255.0 << 1.2 << 50;
    // 11 x 3 is 33, but dividing by 255 first, as the analysis does, lands just below it.
    QTest::newRow("division before amplification") << 11.0 << 3.0 << 32;
    QTest::newRow("division before amplification, 0.7") << 10.0 << 0.7 << 6;
}

void TestResultMatrix::multiplyScaledWrapsInGrayImage()
{
    QFETCH(double, symmetry);
    QFETCH(double, amplification);
    QFETCH(int, grey);
    ResultMatrix matrix;
    matrix.resize(3, 2);
    matrix.multiplyScaled(Plane(3, 2, symmetry).columns(), amplification);
    const QImage gray = matrix.toGrayImage();
    QCOMPARE(gray.format(), QImage::Format_RGB32);
    QCOMPARE(gray.size(), QSize(3, 2));
    for (int x = 0; x < 3; ++x)
        for (int y = 0; y < 2; ++y)
            QCOMPARE(gray.pixel(x, y), qRgb(grey, grey, grey));
}

void TestResultMatrix::productOfSeveralFactors()
{
    ResultMatrix matrix;
    matrix.resize(2, 1);
    Plane symmetry(2, 1, 127.5);
    Plane mask(2, 1);
    mask.at(0, 0) = 1.0;
    matrix.multiplyScaled(symmetry.columns(), 1.0);
    matrix.multiplyScaled(symmetry.columns(), 4.0);
    matrix.multiply(mask.columns());
    QCOMPARE(matrix.data()[0][0], 1.0);
    QCOMPARE(matrix.data()[1][0], 0.0);
    QCOMPARE(matrix.toGrayImage().pixel(0, 0), qRgb(255, 255, 255));
}

void TestResultMatrix::grayImageLayout()
{
    // Distinct values per cell reveal a swapped x/y or a transposed image.
    ResultMatrix matrix;
    matrix.resize(3, 2);
    for (int x = 0; x < 3; ++x)
        for (int y = 0; y < 2; ++y)
            matrix.values()[x][y] = (10 * x + y) / 255.0;
    matrix.values()[2][1] = -1.0 / 255.0; // keeps its low 8 bits: white
    const QImage gray = matrix.toGrayImage();
    const int expected[2][3] = {{0, 10, 20}, {1, 11, 255}};
    for (int x = 0; x < 3; ++x)
        for (int y = 0; y < 2; ++y)
            QCOMPARE(gray.pixel(x, y), qRgb(expected[y][x], expected[y][x], expected[y][x]));
}

void TestResultMatrix::averagePositive_data()
{
    QTest::addColumn<QVector<double>>("values");
    QTest::addColumn<double>("expected");
    QTest::newRow("all one") << QVector<double>{1, 1, 1, 1} << 1.0;
    QTest::newRow("zeros and negatives ignored") << QVector<double>{0.5, 0, -3, 0.25} << 0.375;
    QTest::newRow("above one kept") << QVector<double>{2.5, 0, 0, 0.5} << 1.5;
    QTest::newRow("no positive value") << QVector<double>{0, -1, 0, -0.5} << std::nan("");
}

void TestResultMatrix::averagePositive()
{
    QFETCH(QVector<double>, values);
    QFETCH(double, expected);
    ResultMatrix matrix;
    matrix.resize(2, 2);
    setCells(matrix.values(), values);
    const double average = matrix.averagePositive();
    QVERIFY2(average == expected || (std::isnan(average) && std::isnan(expected)),
             qPrintable(QString::number(average)));
}

void TestResultMatrix::applyInterval_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("lo");
    QTest::addColumn<double>("hi");
    QTest::addColumn<double>("marked");
    QTest::newRow("inside") << 0.5 << 0.25 << 0.75 << 1.0;
    QTest::newRow("lower bound inclusive") << 0.25 << 0.25 << 0.75 << 1.0;
    QTest::newRow("upper bound inclusive") << 0.75 << 0.25 << 0.75 << 1.0;
    QTest::newRow("below") << 0.2 << 0.25 << 0.75 << 0.0;
    QTest::newRow("above") << 0.8 << 0.25 << 0.75 << 0.0;
    QTest::newRow("over-amplified counts as 1") << 1.7 << 1.0 << 1.0 << 1.0;
    QTest::newRow("over-amplified outside") << 1.7 << 0.0 << 0.9 << 0.0;
    QTest::newRow("negative not raised") << -0.2 << -0.5 << 0.0 << 1.0;
    QTest::newRow("negative below 0") << -0.2 << 0.0 << 1.0 << 0.0;
    QTest::newRow("min above max") << 0.5 << 0.6 << 0.4 << 0.0;
    QTest::newRow("not a number") << std::nan("") << 0.0 << 1.0 << 0.0;
}

void TestResultMatrix::applyInterval()
{
    QFETCH(double, value);
    QFETCH(double, lo);
    QFETCH(double, hi);
    QFETCH(double, marked);
    ResultMatrix matrix;
    matrix.resize(2, 3);
    matrix.values()[1][2] = value;
    matrix.applyInterval(lo, hi);
    QCOMPARE(matrix.intervalMask()[1][2], marked);
    // The limit to 1.0 is for the test only: the value itself is what the 3D view shows.
    if (!std::isnan(value))
        QCOMPARE(matrix.data()[1][2], value);
    const double others = (lo <= 1.0 && 1.0 <= hi) ? 1.0 : 0.0;
    QCOMPARE(matrix.intervalMask()[0][0], others);
    QCOMPARE(matrix.countInterval(), int(marked) + 5 * int(others));
}

void TestResultMatrix::countIntervalTruncatesRunningSum_data()
{
    QTest::addColumn<QVector<double>>("mask");
    QTest::addColumn<int>("count");
    QTest::newRow("ones") << QVector<double>{1, 0, 1, 1} << 3;
    QTest::newRow("fractions truncated at every step") << QVector<double>{0.6, 0.6, 0.6, 0.6} << 0;
    QTest::newRow("fraction after a one") << QVector<double>{1, 0.6, 0.6, 1} << 2;
}

void TestResultMatrix::countIntervalTruncatesRunningSum()
{
    QFETCH(QVector<double>, mask);
    QFETCH(int, count);
    ResultMatrix matrix;
    matrix.resize(2, 2);
    setCells(matrix.intervalMask(), mask);
    QCOMPARE(matrix.countInterval(), count);
}

void TestResultMatrix::overlaysMatchPainter_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<double>("density");
    QTest::newRow("square sparse") << 64 << 64 << 0.1;
    QTest::newRow("wide dense") << 97 << 31 << 0.7;
    QTest::newRow("tall half") << 13 << 80 << 0.5;
    QTest::newRow("single pixel") << 1 << 1 << 1.0;
}

void TestResultMatrix::overlaysMatchPainter()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(double, density);
    ResultMatrix matrix;
    matrix.resize(width, height);
    QRandomGenerator random(quint32(width * 1000 + height));
    std::vector<QPoint> points, kept;
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y) {
            if (random.generateDouble() < density) {
                matrix.intervalMask()[x][y] = 1.0;
                points.emplace_back(x, y);
            }
            if (random.generateDouble() < density) {
                matrix.labels()[x][y] = 2;
                kept.emplace_back(x, y);
            } else if (random.generateDouble() < 0.5) {
                matrix.labels()[x][y] = 1; // only kept areas are drawn
            }
        }
    }
    QCOMPARE(matrix.intervalImage().format(), QImage::Format_ARGB32);
    QCOMPARE(matrix.intervalImage(), paintedReference(width, height, points));
    QCOMPARE(matrix.evaluationImage().format(), QImage::Format_ARGB32);
    QCOMPARE(matrix.evaluationImage(), paintedReference(width, height, kept));
}

void TestResultMatrix::markingThresholdAndStaleLabels()
{
    ResultMatrix matrix;
    matrix.resize(10, 1);
    // Only values strictly above one half are suspicious: the area is {2, 3}, too small for 3.
    matrix.intervalMask()[0][0] = 0.5;
    matrix.intervalMask()[1][0] = 0.5;
    matrix.intervalMask()[2][0] = 0.5000001;
    matrix.intervalMask()[3][0] = 1.0;
    // Marking only adds candidates: a label already set elsewhere stays, and an area grows
    // over candidates only, so {6, 7} does not join it.
    matrix.labels()[5][0] = 2;
    matrix.intervalMask()[6][0] = 1.0;
    matrix.intervalMask()[7][0] = 1.0;
    matrix.removeSmallAreas(3);
    for (int x : {0, 1, 2, 3, 6, 7})
        QCOMPARE(matrix.labels()[x][0], 0u);
    QCOMPARE(matrix.labels()[5][0], 2u);
}

void TestResultMatrix::fullMatrixIsOneArea_data()
{
    QTest::addColumn<int>("minArea");
    QTest::addColumn<int>("kept");
    QTest::newRow("min 2000") << 2000 << 262144;
    QTest::newRow("min exactly the size") << 262144 << 262144;
    QTest::newRow("min one more") << 262145 << 0;
}

// An empty program leaves every value 1: the interval [0, 255] / 255 marks the whole matrix.
void TestResultMatrix::fullMatrixIsOneArea()
{
    QFETCH(int, minArea);
    QFETCH(int, kept);
    ResultMatrix matrix;
    matrix.resize(512, 512);
    matrix.applyInterval(0.0 / 255.0, 255.0 / 255.0);
    QCOMPARE(matrix.countInterval(), 262144);
    QCOMPARE(matrix.averagePositive() * 255.0, 255.0);
    matrix.removeSmallAreas(minArea);
    QCOMPARE(keptCount(matrix), kept);
    QCOMPARE(matrix.hasPathology(2000), kept >= 2000);
}

void TestResultMatrix::removeSmallAreasMatchesUnionFind_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<double>("density");
    QTest::addColumn<int>("minArea");
    for (double density : {0.05, 0.2, 0.35, 0.5, 0.7})
        for (int minArea : {-5, 0, 1, 2, 3, 8, 40})
            QTest::addRow("64x48 d%.2f min%d", density, minArea) << 64 << 48 << density << minArea;
    QTest::newRow("nothing marked") << 30 << 30 << 0.0 << 0;
    QTest::newRow("tall strip") << 3 << 200 << 0.45 << 4;
    QTest::newRow("wide strip") << 200 << 2 << 0.6 << 3;
    QTest::newRow("512 square") << 512 << 512 << 0.3 << 5;
}

void TestResultMatrix::removeSmallAreasMatchesUnionFind()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(double, density);
    QFETCH(int, minArea);
    QRandomGenerator random(quint32(width * 7919 + height * 31 + minArea) ^
                            quint32(density * 1000));
    std::vector<bool> marked(std::size_t(width) * std::size_t(height));
    ResultMatrix matrix;
    matrix.resize(width, height);
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y) {
            marked[std::size_t(x * height + y)] = random.generateDouble() < density;
            matrix.intervalMask()[x][y] = marked[std::size_t(x * height + y)] ? 1.0 : 0.0;
        }
    }
    matrix.removeSmallAreas(minArea);
    const std::vector<quint32> expected = expectedLabels(marked, width, height, minArea);
    for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
            if (matrix.labels()[x][y] != expected[std::size_t(x * height + y)])
                QFAIL(qPrintable(QString("label at (%1, %2)").arg(x).arg(y)));
    const int kept = int(std::count(expected.begin(), expected.end(), 2u));
    QVERIFY(matrix.hasPathology(kept));
    QVERIFY(!matrix.hasPathology(kept + 1));
}

QTEST_GUILESS_MAIN(TestResultMatrix)
#include "test_resultmatrix.moc"
