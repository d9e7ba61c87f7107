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
    if (got.size() != expected.size() || got.format() != expected.format())
        return QStringLiteral("size or format differs");
    for (int y = 0; y < got.height(); ++y)
        for (int x = 0; x < got.width(); ++x)
            if (got.constScanLine(y)[x] != expected.constScanLine(y)[x])
                return QStringLiteral("(%1, %2): got %3, expected %4")
                    .arg(x)
                    .arg(y)
                    .arg(got.constScanLine(y)[x])
                    .arg(expected.constScanLine(y)[x]);
    return QString();
}

} // namespace

class TestAOIExtractor : public QObject
{
    Q_OBJECT

private slots:
    // The toolkit behaviour the extraction reproduces without calling it out of range.
    void toolkitPixelRules()
    {
        WarningCounter silence;
        QCOMPARE(QImage().pixel(0, 0), QRgb(12345));
        QImage small(4, 4, QImage::Format_Grayscale8);
        small.fill(200);
        QCOMPARE(small.pixel(-1, 0), QRgb(12345));
        QCOMPARE(small.pixel(0, 4), QRgb(12345));
        small.setPixel(0, 0, 12345);
        QCOMPARE(int(small.constScanLine(0)[0]), AOIExtractor::MissingGrey);
        small.setPixel(4, 0, qRgb(0, 0, 0)); // dropped
        QCOMPARE(int(small.constScanLine(0)[3]), 200);
        QVERIFY(silence.count() >= 4);
    }

    void matchesPlainExtraction_data()
    {
        QTest::addColumn<int>("w");
        QTest::addColumn<int>("h");
        QTest::addColumn<QImage>("t2");
        QTest::addColumn<QImage>("dwi");
        QTest::addColumn<QImage>("adc");
        QTest::addColumn<QPoint>("t2Origin");
        QTest::addColumn<QPoint>("dwiOrigin");
        QTest::addColumn<QPoint>("adcOrigin");

        const QImage g512 = nonZeroGrey(512, 512);
        const QImage g300 = nonZeroGrey(300, 180, 1);
        const QImage big = nonZeroGrey(2300, 1300, 2);
        const QPoint centred(206, 231);
        QTest::newRow("default 100 x 50")
            << 100 << 50 << g512 << g512 << g512 << centred << centred << centred;
        QTest::newRow("W 2, H 1") << 2 << 1 << g512 << g300 << g512 << QPoint(255, 256)
                                  << QPoint(5, 7) << QPoint(0, 0);
        QTest::newRow("odd height 51")
            << 100 << 51 << g512 << g512 << g512 << centred << centred << centred;
        QTest::newRow("odd width 101")
            << 101 << 40 << g512 << g300 << g512 << centred << QPoint(20, 30) << QPoint(1, 1);
        QTest::newRow("partly left of and above the images")
            << 100 << 50 << g512 << g300 << g512 << QPoint(-3, 231) << QPoint(-60, -20)
            << QPoint(250, -49);
        QTest::newRow("partly right of and below the images")
            << 200 << 120 << g300 << g300 << g512 << QPoint(250, 100) << QPoint(200, 150)
            << QPoint(480, 500);
        QTest::newRow("entirely off the images")
            << 100 << 50 << g300 << g300 << g300 << QPoint(-500, 0) << QPoint(0, 900)
            << QPoint(301, 181);
        QTest::newRow("full canvas 1000 x 1000")
            << 1000 << 1000 << big << big << g512 << QPoint(0, 0) << QPoint(700, 100)
            << QPoint(-244, -244);
        QTest::newRow("oversize 2000 x 1000") << 2000 << 1000 << big << g512 << g300 << QPoint(0, 0)
                                              << QPoint(-744, -244) << QPoint(50, 60);
        QTest::newRow("oversize 2000 x 1 and 2 x 1000")
            << 2000 << 1 << big << big << big << QPoint(0, 0) << QPoint(100, 5)
            << QPoint(-10, 1299);
        QTest::newRow("tall 2 x 1000")
            << 2 << 1000 << big << big << big << QPoint(0, 0) << QPoint(2298, 300) << QPoint(1, -1);
        QTest::newRow("origins at the int limits")
            << 100 << 50 << g512 << g512 << g512 << QPoint(INT_MAX - 10, INT_MAX - 3)
            << QPoint(INT_MIN + 3, INT_MIN) << QPoint(INT_MAX, INT_MIN);
        QTest::newRow("null images")
            << 100 << 50 << QImage() << QImage() << QImage() << centred << centred << centred;
        QTest::newRow("colour formats")
            << 120 << 90 << aoitest::colourPattern(400, 300, QImage::Format_RGB32)
            << aoitest::colourPattern(400, 300, QImage::Format_ARGB32)
            << aoitest::colourPattern(400, 300, QImage::Format_ARGB32_Premultiplied)
            << QPoint(10, 20) << QPoint(150, 100) << QPoint(-5, 250);
        QTest::newRow("indexed, 24-bit and 16-bit grey")
            << 150 << 150 << aoitest::colourPattern(300, 300, QImage::Format_Indexed8)
            << aoitest::colourPattern(300, 300, QImage::Format_RGB888)
            << aoitest::colourPattern(300, 300, QImage::Format_Grayscale16) << QPoint(100, 100)
            << QPoint(0, 0) << QPoint(200, 200);
        QTest::newRow("width 0") << 0 << 50 << g512 << g512 << g512 << centred << centred
                                 << centred;
        QTest::newRow("height 0") << 100 << 0 << g512 << g512 << g512 << centred << centred
                                  << centred;
        QTest::newRow("negative size")
            << -40 << -10 << g512 << g512 << g512 << centred << centred << centred;
    }
    void matchesPlainExtraction()
    {
        QFETCH(int, w);
        QFETCH(int, h);
        QFETCH(QImage, t2);
        QFETCH(QImage, dwi);
        QFETCH(QImage, adc);
        QFETCH(QPoint, t2Origin);
        QFETCH(QPoint, dwiOrigin);
        QFETCH(QPoint, adcOrigin);

        AOIExtractor extractor;
        {
            WarningCounter warnings;
            extractor.extract(t2, dwi, adc, t2Origin.x(), t2Origin.y(), dwiOrigin.x(),
                              dwiOrigin.y(), adcOrigin.x(), adcOrigin.y(), w, h);
            QCOMPARE(warnings.count(), 0);
        }
        QVERIFY(!extractor.needsUpdate());
        const QImage got[] = {extractor.t2AOIImage(), extractor.dwiAOIImage(),
                              extractor.adcAOIImage()};
        const QImage expected[] = {oracleAOI(t2, t2Origin.x(), t2Origin.y(), w, h),
                                   oracleAOI(dwi, dwiOrigin.x(), dwiOrigin.y(), w, h),
                                   oracleAOI(adc, adcOrigin.x(), adcOrigin.y(), w, h)};
        const char* names[] = {"T2", "DWI", "ADC"};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(got[i].size(), QSize(512, 512));
            QCOMPARE(got[i].format(), QImage::Format_Grayscale8);
            const QString diff = firstDifference(got[i], expected[i]);
            QVERIFY2(diff.isEmpty(),
                     qPrintable(QString::fromLatin1(names[i]) + QLatin1Char(' ') + diff));
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

    void nullImagesGiveMissingGreyInsideTheEllipse()
    {
        AOIExtractor extractor;
        extractor.extract(QImage(), QImage(), QImage(), 0, 0, 0, 0, 0, 0, 100, 50);
        for (const QImage& aoi :
             {extractor.t2AOIImage(), extractor.dwiAOIImage(), extractor.adcAOIImage()}) {
            int inside = 0;
            for (int y = 0; y < 512; ++y)
                for (int x = 0; x < 512; ++x) {
                    const int v = aoi.constScanLine(y)[x];
                    QVERIFY(v == 0 || v == AOIExtractor::MissingGrey);
                    const double tx = (x - 256) * (x - 256) / 2500.0,
                                 ty = (y - 256) * (y - 256) / 625.0;
                    const bool inBox = x >= 206 && x <= 305 && y >= 231 && y <= 280;
                    QCOMPARE(v == AOIExtractor::MissingGrey, inBox && tx + ty <= 1.0);
                    inside += v != 0;
                }
            QVERIFY(inside > 3800); // about pi * 50 * 25
        }
    }

    void oversizeShowsTheCentralPart()
    {
        const QImage src = nonZeroGrey(2000, 1000, 3);
        AOIExtractor extractor;
        extractor.extract(src, src, src, 0, 0, 0, 0, 0, 0, 2000, 1000);
        const QImage aoi = extractor.t2AOIImage();
        // c0 = 256 - 1000 = -744, r0 = 256 - 500 = -244: canvas (x, y) shows (x + 744, y + 244).
        for (const QPoint p :
             {QPoint(0, 0), QPoint(511, 0), QPoint(0, 511), QPoint(511, 511), QPoint(256, 256)})
            QCOMPARE(int(aoi.constScanLine(p.y())[p.x()]),
                     qGray(src.pixel(p.x() + 744, p.y() + 244)));
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
        QCOMPARE(int(t2.constScanLine(256)[256]), qGray(first.pixel(256, 256)));

        // Nothing changed as far as the extractor knows: the second call keeps the first result.
        extractor.extract(second, second, second, 0, 0, 0, 0, 0, 0, 300, 300);
        QVERIFY(!extractor.needsUpdate());
        QCOMPARE(extractor.t2AOIImage(), t2);
        QCOMPARE(extractor.adcAOIImage(), oracleAOI(first, 206, 231, 100, 50));

        extractor.setNeedsUpdate(true);
        extractor.extract(second, second, second, 0, 0, 0, 0, 0, 0, 300, 300);
        QVERIFY(!extractor.needsUpdate());
        QCOMPARE(int(extractor.dwiAOIImage().constScanLine(256)[256]), 77);
        QCOMPARE(extractor.dwiAOIImage(), oracleAOI(second, 0, 0, 300, 300));
    }
};

QTEST_GUILESS_MAIN(TestAOIExtractor)
#include "test_aoiextractor.moc"
