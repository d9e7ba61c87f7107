// What the window's Fourier buttons compute from their controls.
#include "FourierFilterType.h"
#include "FrequencyFilter.h"

#include <QtTest>

#include <cmath>

using kelvara::FilterParameters;
using kelvara::FrequencyFilter;
Q_DECLARE_METATYPE(FilterParameters)
Q_DECLARE_METATYPE(FrequencyFilter)

class TestFrequencyFilter : public QObject
{
    Q_OBJECT

private slots:
    // The band filters raise a second cut-off that is not above the first, and say so; the
    // radii are the cut-offs times half the image width. The image, columns 110, 60, 10, 60
    // repeated, has frequencies only at distance 0 and 128, i.e. at cut-off 0.5: its filtered
    // columns are the moduli of v (1 + i) times the parts kept (60 sqrt 2 = 84.85,
    // 110 sqrt 2 = 155.56, 10 sqrt 2 = 14.14, 50 sqrt 2 = 70.71).
    void filterFromControls_data()
    {
        QTest::addColumn<FrequencyFilter>("controls");
        QTest::addColumn<FilterParameters>("expected");
        QTest::addColumn<QVector<int>>("columns");
        QTest::newRow("BandPass 0.5/0.5 becomes 0.5/0.6: the wave on the excluded border")
            << FrequencyFilter{BandPass, 0.5, 0.5}
            << FilterParameters{BandPass, 0.5, .6, 128, 153.6f, true} << QVector<int>{0, 0, 0, 0};
        QTest::newRow("BandReject 0.5/0.2")
            << FrequencyFilter{BandReject, 0.5, 0.2}
            << FilterParameters{BandReject, 0.5, .6, 128, 153.6f, true}
            << QVector<int>{156, 85, 14, 85};
        QTest::newRow("LowPass 0.5/0.2: silent, passes both")
            << FrequencyFilter{LowPass, 0.5, 0.2}
            << FilterParameters{LowPass, 0.5, .6, 128, 153.6f, false}
            << QVector<int>{156, 85, 14, 85};
        QTest::newRow("LowPass 0.4 keeps the mean")
            << FrequencyFilter{LowPass, 0.4, 0.6}
            << FilterParameters{LowPass, 0.4, .6, 102.4f, 153.6f, false}
            << QVector<int>{85, 85, 85, 85};
        QTest::newRow("HighPass keeps the wave")
            << FrequencyFilter{HighPass, 0.4, 0.6}
            << FilterParameters{HighPass, 0.4, .6, 102.4f, 153.6f, false}
            << QVector<int>{71, 0, 71, 0};
    }
    void filterFromControls()
    {
        QFETCH(FrequencyFilter, controls);
        QFETCH(FilterParameters, expected);
        QFETCH(QVector<int>, columns);
        const FilterParameters p = kelvara::filterParameters(controls, 512);
        QVERIFY(std::abs(p.cut2 - expected.cut2) < 1e-12);
        QVERIFY(p.type == expected.type && p.cut1 == expected.cut1);
        QVERIFY(p.radius1 == expected.radius1 && p.radius2 == expected.radius2);
        QCOMPARE(p.showCutoffMessage, expected.showCutoffMessage);
        QImage image(512, 512, QImage::Format_Grayscale8);
        for (int y = 0; y < 512; ++y)
            for (int x = 0; x < 512; ++x)
                image.scanLine(y)[x] = uchar(QVector<int>{110, 60, 10, 60}[x % 4]);
        const QImage out = kelvara::filteredImage(image, p);
        QCOMPARE(out.format(), QImage::Format_Grayscale8);
        for (int y = 0; y < 512; y += 37)
            for (int x = 0; x < 512; ++x)
                QCOMPARE(int(out.constScanLine(y)[x]), columns[x % 4]);
    }

    // A uniform image has only the zero frequency: 20 ln(512 * 512) = 249.5 when logarithmic,
    // and every window from 0 holds all of it.
    void spectrumAndThreshold()
    {
        QImage uniform(512, 512, QImage::Format_Grayscale8);
        uniform.fill(1);
        QCOMPARE(qGray(kelvara::spectrumImage(uniform, true).pixel(0, 0)), 250);
        QCOMPARE(qGray(kelvara::spectrumImage(uniform, false).pixel(0, 0)), 255);
        QVERIFY(std::abs(kelvara::spectrumThresholdValue(uniform, {0, 0.01, 0, 0.01})) < 1e-6);
        QVERIFY(std::abs(kelvara::spectrumThresholdValue(uniform, {0.01, 1, 0, 1}) - 1.0) < 1e-6);
        QVERIFY(std::abs(kelvara::spectrumThresholdValue(uniform, {0, 1, 0.01, 1}) - 1.0) < 1e-6);
    }

    // One FourierViews asked in turn for every view with changing parameters, and with the
    // image changed in place, answers exactly as a fresh computation: no result is kept past a
    // change it depends on, and the filter does not disturb the shared transform.
    void fourierViewsFollowEveryChange()
    {
        QImage image(512, 512, QImage::Format_Grayscale8);
        for (int y = 0; y < 512; ++y)
            for (int x = 0; x < 512; ++x)
                image.scanLine(y)[x] = uchar((x * 7 + y * 13 + (x * y) % 31) % 256);
        const FilterParameters low = kelvara::filterParameters({LowPass, 0.2, 0.5}, 512);
        const FilterParameters band = kelvara::filterParameters({BandPass, 0.2, 0.5}, 512);
        const kelvara::ThresholdWindow narrow{0.1, 0.4, 0.1, 0.4}, wide{0.0, 0.9, 0.1, 0.4};
        kelvara::FourierViews views;
        for (int step = 0; step < 3; ++step) {
            if (step == 2)
                image.scanLine(300)[200] ^= 0xFF; // the same QImage, other pixels
            views.setImage(image);
            for (const FilterParameters& p : {low, band, low})
                QCOMPARE(views.filtered(p), kelvara::filteredImage(image, p));
            for (bool logarithmic : {true, false})
                QCOMPARE(views.spectrum(logarithmic), kelvara::spectrumImage(image, logarithmic));
            for (const kelvara::ThresholdWindow& w : {narrow, wide, narrow})
                QCOMPARE(views.threshold(w), kelvara::spectrumThresholdValue(image, w));
        }
    }
};

QTEST_GUILESS_MAIN(TestFrequencyFilter)
#include "test_frequency_filter.moc"
