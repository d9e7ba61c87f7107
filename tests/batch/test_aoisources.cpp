// The GUI-free overlay and AOI sources: scaled sizes and box origins for the cases where the
// window's truncations matter.
#include "AOISources.h"

#include <QtTest>

using kelvara::Modality;

class TestAOISources : public QObject
{
    Q_OBJECT

private slots:
    void scaledSize_data()
    {
        QTest::addColumn<QSize>("base");
        QTest::addColumn<double>("factor");
        QTest::addColumn<int>("modality");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("truncated, not rounded") << QSize(3, 3) << 1.5 << 0 << QSize(4, 4);
        QTest::newRow("T2 ignores the aspect ratio")
            << QSize(100, 50) << 0.333 << 0 << QSize(33, 16);
        QTest::newRow("DWI keeps it") << QSize(100, 50) << 0.333 << 1 << QSize(32, 16);
        QTest::newRow("too small to show") << QSize(10, 10) << 0.05 << 2 << QSize();
    }

    void scaledSize()
    {
        QFETCH(QSize, base);
        QFETCH(double, factor);
        QFETCH(int, modality);
        QFETCH(QSize, expected);
        QImage img(base, QImage::Format_Grayscale8);
        img.fill(uchar(9));
        const Modality m = Modality(modality);
        const QImage scaled = kelvara::scaleSourceImage(img, factor, kelvara::aoiSourceScaling(m));
        QCOMPARE(scaled.isNull() ? QSize() : scaled.size(), expected);
    }

    void boxOrigin_data()
    {
        QTest::addColumn<int>("pixmapWidth");
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("hPos");
        QTest::addColumn<QPointF>("expected");
        // x = hPos - W/2 + pw*s/2 with W = 2 * 10, H = 8, image 0..pw, height 30.
        QTest::newRow("centred") << 100 << 1.0 << 0 << QPointF(40, 11);
        QTest::newRow("odd width, exact half") << 101 << 1.0 << 3 << QPointF(43.5, 11);
        QTest::newRow("scaled about the centre") << 100 << 2.0 << -5 << QPointF(85, 26);
        QTest::newRow("no image") << 0 << 2.0 << 4 << QPointF(-6, -4);
    }

    void boxOrigin()
    {
        QFETCH(int, pixmapWidth);
        QFETCH(double, scale);
        QFETCH(int, hPos);
        QFETCH(QPointF, expected);
        kelvara::ControlValues c;
        c.hCells = 10;
        c.vCells = 8;
        c.hPos = hPos;
        c.vPos = 0;
        c.scale = {scale, scale, scale};
        kelvara::AOISources sources;
        QImage img(pixmapWidth, pixmapWidth ? 30 : 0, QImage::Format_Grayscale8);
        sources.setImage(Modality::ADC, img);
        QCOMPARE(sources.boxOrigin(Modality::ADC, c), expected);
    }

    // The window's loader: anything the toolkit reads, grey; nothing for a non-image.
    void loadBmp()
    {
        QTemporaryDir dir;
        QImage colour(4, 2, QImage::Format_RGB32);
        colour.fill(qRgb(200, 10, 10));
        QVERIFY(colour.save(dir.filePath("c.bmp")));
        const QImage grey = kelvara::loadBmpImage(dir.filePath("c.bmp"));
        QCOMPARE(grey.format(), QImage::Format_Grayscale8);
        QCOMPARE(grey.size(), QSize(4, 2));
        QVERIFY(kelvara::loadBmpImage(dir.filePath("missing.bmp")).isNull());
    }
};

QTEST_GUILESS_MAIN(TestAOISources)
#include "test_aoisources.moc"
