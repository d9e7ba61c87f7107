#include "ResultMatrix.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <numeric>
#include <vector>

namespace {

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
    // Every calculation starts from values 1, an empty interval mask and no labels.
    void resizeStartsAfresh()
    {
        ResultMatrix matrix;
        QVERIFY(matrix.data() == nullptr && matrix.toGrayImage().isNull());
        for (const QSize size : {QSize(4, 5), QSize(4, 5), QSize(5, 4)}) {
            matrix.resize(size.width(), size.height());
            QVERIFY(matrix.width() == size.width() && matrix.height() == size.height());
            for (int x = 0; x < matrix.width(); ++x) {
                for (int y = 0; y < matrix.height(); ++y) {
                    QVERIFY(matrix.data()[x][y] == 1.0 && matrix.intervalMask()[x][y] == 0.0);
                    QCOMPARE(matrix.labels()[x][y], 0u);
                    matrix.values()[x][y] = 7.0;
                    matrix.intervalMask()[x][y] = 1.0;
                    matrix.labels()[x][y] = ResultMatrix::KeptAreaLabel;
                }
            }
        }
    }

    void statistics()
    {
        ResultMatrix matrix;
        matrix.resize(2, 3);
        const double values[] = {0.5, 0.0, 0.0, 0.25, 1.7, 0.75};
        for (int i = 0; i < 6; ++i)
            matrix.values()[i / 3][i % 3] = values[i];
        QCOMPARE(matrix.averagePositive(), (0.5 + 0.25 + 1.7 + 0.75) / 4); // zeros ignored
        // Over-amplified values count as 1 for the interval, which is inclusive at both ends.
        const QList<QPair<QPair<double, double>, int>> intervals{
            {{0.25, 0.5}, 2}, {{0.75, 1.0}, 2}, {{0.0, 0.0}, 2}, {{0.6, 0.4}, 0}};
        for (const auto& [interval, count] : intervals) {
            matrix.applyInterval(interval.first, interval.second);
            QCOMPARE(matrix.countInterval(), count);
            QCOMPARE(matrix.data()[1][1], 1.7);
        }
        matrix.resize(1, 1);
        matrix.values()[0][0] = 0.0;
        QVERIFY(std::isnan(matrix.averagePositive())); // no positive value
    }

    void overlaysMatchPainter()
    {
        ResultMatrix matrix;
        matrix.resize(97, 31);
        QRandomGenerator random(3);
        std::vector<QPoint> points, kept;
        for (int x = 0; x < 97; ++x) {
            for (int y = 0; y < 31; ++y) {
                if (random.bounded(2)) {
                    matrix.intervalMask()[x][y] = 1.0;
                    points.emplace_back(x, y);
                }
                matrix.labels()[x][y] = random.bounded(3); // only kept areas (2) are drawn
                if (matrix.labels()[x][y] == 2)
                    kept.emplace_back(x, y);
            }
        }
        QCOMPARE(matrix.intervalImage(), paintedReference(97, 31, points));
        QCOMPARE(matrix.evaluationImage(), paintedReference(97, 31, kept));
    }

    // Against an independent union-find labelling of the 8-connected areas.
    void removeSmallAreasMatchesUnionFind_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("density");
        QTest::addColumn<int>("minArea");
        for (double density : {0.05, 0.35, 0.7})
            for (int minArea : {1, 2, 8})
                QTest::addRow("64x48 d%.2f min%d", density, minArea)
                    << QSize(64, 48) << density << minArea;
        QTest::newRow("512 square") << QSize(512, 512) << 0.3 << 5;
        QTest::newRow("full, min exactly its size") << QSize(512, 512) << 1.0 << 512 * 512;
        QTest::newRow("full, min one more") << QSize(512, 512) << 1.0 << 512 * 512 + 1;
    }
    void removeSmallAreasMatchesUnionFind()
    {
        QFETCH(QSize, size);
        QFETCH(double, density);
        QFETCH(int, minArea);
        const int w = size.width(), h = size.height();
        QRandomGenerator random(quint32(w * 7919 + h * 31 + minArea) ^ quint32(density * 1000));
        std::vector<bool> marked(std::size_t(w) * std::size_t(h));
        ResultMatrix matrix;
        matrix.resize(w, h);
        for (int i = 0; i < w * h; ++i)
            if ((marked[std::size_t(i)] = random.generateDouble() < density))
                matrix.intervalMask()[i / h][i % h] = 1.0;
        matrix.removeSmallAreas(minArea);

        std::vector<int> parent(marked.size()), count(marked.size(), 0);
        std::iota(parent.begin(), parent.end(), 0);
        auto find = [&parent](int i) {
            while (parent[std::size_t(i)] != i)
                i = parent[std::size_t(i)] = parent[std::size_t(parent[std::size_t(i)])];
            return i;
        };
        auto on = [&](int x, int y) { return x >= 0 && y >= 0 && y < h && marked[x * h + y]; };
        // Earlier neighbours in column order are enough to join every pair.
        for (int x = 0; x < w; ++x)
            for (int y = 0; y < h; ++y)
                for (const QPoint n : {QPoint(x - 1, y - 1), QPoint(x - 1, y), QPoint(x - 1, y + 1),
                                       QPoint(x, y - 1)})
                    if (on(x, y) && on(n.x(), n.y()))
                        parent[std::size_t(find(x * h + y))] = find(n.x() * h + n.y());
        for (int i = 0; i < w * h; ++i)
            count[std::size_t(find(i))] += marked[std::size_t(i)];
        int kept = 0;
        for (int i = 0; i < w * h; ++i) {
            const bool keep = marked[std::size_t(i)] && count[std::size_t(find(i))] >= minArea;
            if (matrix.labels()[i / h][i % h] != (keep ? 2u : 0u))
                QFAIL(qPrintable(QString("label at (%1, %2)").arg(i / h).arg(i % h)));
            kept += keep;
        }
        QVERIFY(matrix.hasPathology(kept) && !matrix.hasPathology(kept + 1));
    }
};

QTEST_GUILESS_MAIN(TestResultMatrix)
#include "test_resultmatrix.moc"
