// The case model: scaled sizes and box origins where the truncations matter, and when the AOI
// images are cut again (the loaders' rules are tested through the window and kelvara-batch).
#include "CaseImages.h"

#include <QtTest>

using kelvara::Modality;

class TestCaseImages : public QObject
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
        kelvara::CaseImages images;
        images.setAOICells(10, 8, 1, 1);
        images.setAOIPosition(hPos, 0);
        images.setScale(Modality::ADC, scale);
        images.setImage(Modality::ADC, QImage(pixmapWidth, pixmapWidth ? 30 : 0,
                                              QImage::Format_Grayscale8));
        QCOMPARE(images.boxOrigin(Modality::ADC), expected);
    }

    // The AOI images are cut again after any change of what they depend on, and only then.
    void extractionFollowsChanges()
    {
        kelvara::CaseImages images;
        QImage t2(200, 200, QImage::Format_Grayscale8);
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 200; ++x)
                t2.scanLine(y)[x] = uchar(x + y);
        images.setImage(Modality::T2, t2);
        const QImage first = images.aoiImages().t2;
        QCOMPARE(images.aoiImages().t2.constBits(), first.constBits()); // cached, not recut
        images.setAOIPosition(0, 3);
        const QImage moved = images.aoiImages().t2;
        // Up the screen by 3: the canvas centre now shows the source row 3 above.
        QCOMPARE(int(moved.pixel(256, 256) & 0xFF), int(first.pixel(256, 253) & 0xFF));
        images.setScale(Modality::T2, 2.0);
        QVERIFY(images.aoiImages().t2 != moved);
    }
};

QTEST_GUILESS_MAIN(TestCaseImages)
#include "test_caseimages.moc"
