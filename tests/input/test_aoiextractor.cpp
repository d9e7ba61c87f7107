// AOI extraction: the canvas geometry (asymmetric boundary, odd sizes, oversize boxes), missing
// data, laziness, and agreement with a plain per-pixel extraction for every source format.
#include "AOIExtractor.h"
#include "AOIOracle.h"

#include <QtTest>

#include <climits>

using aoitest::nonZeroGrey;
using aoitest::oracleAOI;

namespace {

int warningCount = 0;
void countWarnings(QtMsgType type, const QMessageLogContext&, const QString&)
{
    if (type == QtWarningMsg)
        ++warningCount;
}

// Counts the warnings logged while it lives, without printing them.
struct WarningCounter
{
    QtMessageHandler previous;
    WarningCounter() : previous(qInstallMessageHandler(countWarnings)) { warningCount = 0; }
    ~WarningCounter() { qInstallMessageHandler(previous); }
    int count() const { return warningCount; }
};

// Smallest rectangle holding the non-zero pixels of a grey image.
QRect nonZeroBounds(const QImage& img)
{
    QRect bounds;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (img.constScanLine(y)[x] != 0)
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

QString firstDifference(const QImage& got, const QImage& expected)
{
    for (int y = 0; y < got.height(); ++y)
        for (int x = 0; x < got.width(); ++x)
            if (got.constScanLine(y)[x] != expected.constScanLine(y)[x])
                return QString::asprintf("(%d, %d): got %d, expected %d", x, y,
                                         got.constScanLine(y)[x], expected.constScanLine(y)[x]);
    return QString();
}

} // namespace

class TestAOIExtractor : public QObject
{
    Q_OBJECT

private slots:
    void matchesPlainExtraction_data()
    {
        QTest::addColumn<QSize>("box");
        QTest::addColumn<QList<QImage>>("images"); // T2, DWI, ADC
        QTest::addColumn<QList<QPoint>>("origins");
        const QImage g512 = nonZeroGrey(512, 512), g300 = nonZeroGrey(300, 180, 1),
                     big = nonZeroGrey(2300, 1300, 2);
        const QList<QImage> all512{g512, g512, g512}, allBig{big, big, big};
        const QPoint c(206, 231);
        auto row = [](const char* name, int w, int h, const QList<QImage>& images,
                      const QList<QPoint>& origins) {
            QTest::newRow(name) << QSize(w, h) << images << origins;
        };
        row("default 100 x 50", 100, 50, all512, {c, c, c});
        row("W 2, H 1", 2, 1, {g512, g300, g512}, {{255, 256}, {5, 7}, {0, 0}});
        row("odd height 51", 100, 51, all512, {c, c, c});
        row("odd width 101", 101, 40, {g512, g300, g512}, {c, {20, 30}, {1, 1}});
        row("partly left of and above the images", 100, 50, {g512, g300, g512},
            {{-3, 231}, {-60, -20}, {250, -49}});
        row("partly right of and below the images", 200, 120, {g300, g300, g512},
            {{250, 100}, {200, 150}, {480, 500}});
        row("entirely off the images", 100, 50, {g300, g300, g300},
            {{-500, 0}, {0, 900}, {301, 181}});
        row("full canvas 1000 x 1000", 1000, 1000, {big, big, g512},
            {{0, 0}, {700, 100}, {-244, -244}});
        row("oversize 2000 x 1000", 2000, 1000, {big, g512, g300},
            {{0, 0}, {-744, -244}, {50, 60}});
        row("oversize 2000 x 1", 2000, 1, allBig, {{0, 0}, {100, 5}, {-10, 1299}});
        row("tall 2 x 1000", 2, 1000, allBig, {{0, 0}, {2298, 300}, {1, -1}});
        row("origins at the int limits", 100, 50, all512,
            {{INT_MAX - 10, INT_MAX - 3}, {INT_MIN + 3, INT_MIN}, {INT_MAX, INT_MIN}});
        row("null images", 100, 50, {QImage(), QImage(), QImage()}, {c, c, c});
        row("colour formats", 120, 90,
            {aoitest::colourPattern(400, 300, QImage::Format_RGB32),
             aoitest::colourPattern(400, 300, QImage::Format_ARGB32),
             aoitest::colourPattern(400, 300, QImage::Format_ARGB32_Premultiplied)},
            {{10, 20}, {150, 100}, {-5, 250}});
        row("indexed, 24-bit and 16-bit grey", 150, 150,
            {aoitest::colourPattern(300, 300, QImage::Format_Indexed8),
             aoitest::colourPattern(300, 300, QImage::Format_RGB888),
             aoitest::colourPattern(300, 300, QImage::Format_Grayscale16)},
            {{100, 100}, {0, 0}, {200, 200}});
        row("width 0", 0, 50, all512, {c, c, c});
        row("height 0", 100, 0, all512, {c, c, c});
        row("negative size", -40, -10, all512, {c, c, c});
    }
    void matchesPlainExtraction()
    {
        QFETCH(QSize, box);
        QFETCH(QList<QImage>, images);
        QFETCH(QList<QPoint>, origins);
        AOIExtractor extractor;
        {
            WarningCounter warnings;
            extractor.extract(images[0], images[1], images[2], origins[0].x(), origins[0].y(),
                              origins[1].x(), origins[1].y(), origins[2].x(), origins[2].y(),
                              box.width(), box.height());
            QCOMPARE(warnings.count(), 0);
        }
        QVERIFY(!extractor.needsUpdate());
        const QImage got[] = {extractor.t2AOIImage(), extractor.dwiAOIImage(),
                              extractor.adcAOIImage()};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(got[i].size(), QSize(512, 512));
            QCOMPARE(got[i].format(), QImage::Format_Grayscale8);
            const QString diff =
                firstDifference(got[i], oracleAOI(images[i], origins[i].x(), origins[i].y(),
                                                  box.width(), box.height()));
            QVERIFY2(diff.isEmpty(), qPrintable(QString("%1: %2").arg(i).arg(diff)));
        }
    }

    // Where the ellipse lands on the canvas, told directly rather than through the oracle.
    void ellipseExtent_data()
    {
        QTest::addColumn<int>("w");
        QTest::addColumn<int>("h");
        QTest::addColumn<QRect>("bounds");
        QTest::newRow("default W 100, H 50")
            << 100 << 50 << QRect(QPoint(206, 231), QPoint(305, 280));
        // Column 255 lies exactly on the boundary (term 1.0) and is kept.
        QTest::newRow("W 2, H 1") << 2 << 1 << QRect(QPoint(255, 256), QPoint(256, 256));
        QTest::newRow("H 51 starts at row 231")
            << 100 << 51 << QRect(QPoint(206, 231), QPoint(305, 281));
        QTest::newRow("W 4, H 4") << 4 << 4 << QRect(QPoint(254, 254), QPoint(257, 257));
        QTest::newRow("oversize covers the canvas") << 2000 << 1000 << QRect(0, 0, 512, 512);
    }
    void ellipseExtent()
    {
        QFETCH(int, w);
        QFETCH(int, h);
        QFETCH(QRect, bounds);
        const QImage src = nonZeroGrey(3000, 3000);
        AOIExtractor extractor;
        extractor.extract(src, src, src, 100, 100, 100, 100, 100, 100, w, h);
        QCOMPARE(nonZeroBounds(extractor.t2AOIImage()), bounds);
        // The first sample of the box is the source pixel at the box origin.
        const QImage aoi = extractor.t2AOIImage();
        const int c0 = 256 - w / 2, r0 = 256 - h / 2;
        QCOMPARE(int(aoi.constScanLine(256)[256]),
                 qGray(src.pixel(100 + 256 - c0, 100 + 256 - r0)));
    }

    void samplesLeftOfTheImageReadMissingGrey()
    {
        // A box origin of -3.7 reaches the extraction truncated to -3.
        const QImage src = nonZeroGrey(512, 512);
        AOIExtractor extractor;
        extractor.extract(src, src, src, -3, 231, 206, 231, 206, 231, 100, 50);
        const uchar* row = extractor.t2AOIImage().constScanLine(256);
        for (int c = 206; c <= 208; ++c)
            QCOMPARE(int(row[c]), AOIExtractor::MissingGrey);
        QCOMPARE(int(row[209]), qGray(src.pixel(0, 256))); // j = 25 below the box origin 231
        QCOMPARE(int(row[205]), 0);                        // outside the box
    }

    void largestSizesFillTheCanvasWithMissingData()
    {
        const QImage src = nonZeroGrey(512, 512);
        AOIExtractor extractor;
        WarningCounter warnings;
        extractor.extract(src, src, src, 0, 0, 0, 0, 0, 0, INT_MAX, INT_MAX);
        QCOMPARE(warnings.count(), 0);
        // The canvas lies deep inside the box, a billion pixels right of and below any image.
        QImage expected(512, 512, QImage::Format_Grayscale8);
        expected.fill(AOIExtractor::MissingGrey);
        QCOMPARE(extractor.adcAOIImage(), expected);
    }

    void lazy()
    {
        const QImage first = nonZeroGrey(512, 512, 4);
        QImage second(512, 512, QImage::Format_Grayscale8);
        second.fill(77);

        AOIExtractor extractor;
        QVERIFY(extractor.needsUpdate());
        QVERIFY(extractor.t2AOIImage().isNull());
        extractor.extract(first, first, first, 206, 231, 206, 231, 206, 231, 100, 50);
        const QImage t2 = extractor.t2AOIImage();

        // Nothing changed as far as the extractor knows: the second call keeps the first result.
        extractor.extract(second, second, second, 0, 0, 0, 0, 0, 0, 300, 300);
        QVERIFY(!extractor.needsUpdate());
        QCOMPARE(extractor.t2AOIImage(), t2);
        QCOMPARE(extractor.adcAOIImage(), oracleAOI(first, 206, 231, 100, 50));

        extractor.setNeedsUpdate(true);
        extractor.extract(second, second, second, 0, 0, 0, 0, 0, 0, 300, 300);
        QVERIFY(!extractor.needsUpdate());
        QCOMPARE(extractor.dwiAOIImage(), oracleAOI(second, 0, 0, 300, 300));
    }
};

QTEST_GUILESS_MAIN(TestAOIExtractor)
#include "test_aoiextractor.moc"
