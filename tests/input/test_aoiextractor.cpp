// AOI extraction: agreement with a plain per-pixel extraction for the geometries the controls
// allow (odd heights, oversize boxes, missing data), where the ellipse lands, and laziness.
#include "AOIExtractor.h"
#include "AOIOracle.h"

#include <QtTest>

using aoitest::nonZeroGrey;
using aoitest::oracleAOI;

namespace {

int warningCount = 0;

// Counts the warnings logged while it lives, without printing them.
struct WarningCounter
{
    QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString&) {
            warningCount += type == QtWarningMsg;
        });
    WarningCounter() { warningCount = 0; }
    ~WarningCounter() { qInstallMessageHandler(previous); }
};

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
        const QList<QImage> all512{g512, g512, g512};
        const QPoint c(206, 231);
        QTest::newRow("default 100 x 50") << QSize(100, 50) << all512 << QList<QPoint>{c, c, c};
        QTest::newRow("odd height 51") << QSize(100, 51) << QList<QImage>{g512, g300, g512}
                                       << QList<QPoint>{c, {20, 30}, {1, 1}};
        QTest::newRow("partly off the images") << QSize(200, 120) << QList<QImage>{g512, g300, g512}
                                               << QList<QPoint>{{-3, 231}, {200, 150}, {480, -49}};
        QTest::newRow("oversize 2000 x 1000") << QSize(2000, 1000) << QList<QImage>{big, g512, g300}
                                              << QList<QPoint>{{0, 0}, {-744, -244}, {50, 60}};
        QTest::newRow("null images")
            << QSize(100, 50) << QList<QImage>{QImage(), QImage(), QImage()}
            << QList<QPoint>{c, c, c};
    }
    void matchesPlainExtraction()
    {
        QFETCH(QSize, box);
        QFETCH(QList<QImage>, images);
        QFETCH(QList<QPoint>, origins);
        AOIExtractor extractor;
        WarningCounter warnings;
        extractor.extract(images[0], images[1], images[2], origins[0].x(), origins[0].y(),
                          origins[1].x(), origins[1].y(), origins[2].x(), origins[2].y(),
                          box.width(), box.height());
        QCOMPARE(warningCount, 0);
        const QImage got[] = {extractor.t2AOIImage(), extractor.dwiAOIImage(),
                              extractor.adcAOIImage()};
        for (int i = 0; i < 3; ++i)
            QCOMPARE(got[i], oracleAOI(images[i], origins[i].x(), origins[i].y(), box.width(),
                                       box.height()));
    }

    // Where the ellipse lands on the canvas, told directly rather than through the oracle.
    void ellipseExtent_data()
    {
        QTest::addColumn<QSize>("box");
        QTest::addColumn<QRect>("bounds");
        QTest::newRow("default W 100, H 50") << QSize(100, 50) << QRect(206, 231, 100, 50);
        // Column 255 lies exactly on the boundary (term 1.0) and is kept.
        QTest::newRow("W 2, H 1") << QSize(2, 1) << QRect(255, 256, 2, 1);
        QTest::newRow("H 51 starts at row 231") << QSize(100, 51) << QRect(206, 231, 100, 51);
        QTest::newRow("oversize covers the canvas") << QSize(2000, 1000) << QRect(0, 0, 512, 512);
    }
    void ellipseExtent()
    {
        QFETCH(QSize, box);
        QFETCH(QRect, bounds);
        const QImage src = nonZeroGrey(3000, 3000);
        AOIExtractor extractor;
        extractor.extract(src, src, src, 100, 100, 100, 100, 100, 100, box.width(), box.height());
        const QImage aoi = extractor.t2AOIImage();
        QRect lit;
        for (int y = 0; y < 512; ++y)
            for (int x = 0; x < 512; ++x)
                if (aoi.constScanLine(y)[x] != 0)
                    lit |= QRect(x, y, 1, 1);
        QCOMPARE(lit, bounds);
        // Canvas pixel (256, 256) is the source pixel W/2, H/2 into the box.
        QCOMPARE(int(aoi.constScanLine(256)[256]),
                 qGray(src.pixel(100 + box.width() / 2, 100 + box.height() / 2)));
    }

    // Extraction runs again only after something it depends on changed.
    void lazy()
    {
        const QImage first = nonZeroGrey(512, 512, 4), second = nonZeroGrey(512, 512, 5);
        AOIExtractor extractor;
        QVERIFY(extractor.needsUpdate() && extractor.t2AOIImage().isNull());
        extractor.extract(first, first, first, 206, 231, 206, 231, 206, 231, 100, 50);
        extractor.extract(second, second, second, 0, 0, 0, 0, 0, 0, 300, 300);
        QVERIFY(!extractor.needsUpdate());
        QCOMPARE(extractor.adcAOIImage(), oracleAOI(first, 206, 231, 100, 50));
        extractor.setNeedsUpdate(true);
        extractor.extract(second, second, second, 0, 0, 0, 0, 0, 0, 300, 300);
        QVERIFY(!extractor.needsUpdate());
        QCOMPARE(extractor.dwiAOIImage(), oracleAOI(second, 0, 0, 300, 300));
    }
};

QTEST_GUILESS_MAIN(TestAOIExtractor)
#include "test_aoiextractor.moc"
