// What the window's Fourier buttons compute from their controls.
#include "FourierFilterType.h"
#include "FrequencyFilter.h"

#include <QtTest>

#include <cmath>

using kelvara::FilterParameters;
using kelvara::FrequencyFilter;
Q_DECLARE_METATYPE(FilterParameters)

namespace {

QImage uniformImage(int size, int grey)
{
    QImage image(size, size, QImage::Format_Grayscale8);
    image.fill(grey);
    return image;
}

} // namespace

class TestFrequencyFilter : public QObject
{
    Q_OBJECT

private slots:
    void cutoffCorrection_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<double>("cut1");
        QTest::addColumn<double>("cut2");
        QTest::addColumn<FilterParameters>("expected"); // cut1 as given
        QTest::newRow("BandPass 0.3/0.3") << int(BandPass) << 0.3 << 0.3
                                          << FilterParameters{BandPass, 0, .4, 76.8f, 102.4f, true};
        QTest::newRow("BandReject 0.5/0.2")
            << int(BandReject) << 0.5 << 0.2
            << FilterParameters{BandReject, 0, .6, 128, 153.6f, true};
        QTest::newRow("LowPass 0.5/0.2: silent")
            << int(LowPass) << 0.5 << 0.2 << FilterParameters{LowPass, 0, .6, 128, 153.6f, false};
        QTest::newRow("HighPass 0/0: silent")
            << int(HighPass) << 0.0 << 0.0 << FilterParameters{HighPass, 0, .1, 0, 25.6f, false};
        QTest::newRow("BandPass in order")
            << int(BandPass) << 0.2 << 0.6
            << FilterParameters{BandPass, 0, .6, 51.2f, 153.6f, false};
        QTest::newRow("cut-off 1 goes beyond 1")
            << int(BandPass) << 1.0 << 1.0 << FilterParameters{BandPass, 0, 1.1, 256, 281.6f, true};
        QTest::newRow("type 4 is LowPass")
            << 4 << 0.5 << 0.5 << FilterParameters{LowPass, 0, .6, 128, 153.6f, false};
        QTest::newRow("type -1 is LowPass")
            << -1 << 0.1 << 0.9 << FilterParameters{LowPass, 0, .9, 25.6f, 230.4f, false};
    }
    void cutoffCorrection()
    {
        QFETCH(int, type);
        QFETCH(double, cut1);
        QFETCH(double, cut2);
        QFETCH(FilterParameters, expected);
        const FilterParameters p =
            kelvara::filterParameters(FrequencyFilter{type, cut1, cut2}, 512);
        QCOMPARE(p.type, expected.type);
        QCOMPARE(p.cut1, cut1);
        QVERIFY(std::abs(p.cut2 - expected.cut2) < 1e-12);
        QCOMPARE(p.radius1, expected.radius1);
        QCOMPARE(p.radius2, expected.radius2);
        QCOMPARE(p.showCutoffMessage, expected.showCutoffMessage);
    }

    void filteredImageUsesTheRadii_data()
    {
        // Columns 110, 60, 10, 60 repeated: frequencies only at distance 0 and 128 on a
        // 512-pixel image, i.e. at cut-off 0.5.
        QTest::addColumn<int>("type");
        QTest::addColumn<double>("cut1");
        QTest::addColumn<double>("cut2");
        QTest::addColumn<QVector<int>>("columns"); // expected output of columns 0..3
        // 60 sqrt 2 = 84.85, 110 sqrt 2 = 155.56, 10 sqrt 2 = 14.14, 50 sqrt 2 = 70.71
        QTest::newRow("LowPass 0.5 passes both")
            << int(LowPass) << .5 << 0. << QVector<int>{156, 85, 14, 85};
        QTest::newRow("LowPass 0.4 keeps the mean")
            << int(LowPass) << .4 << 0. << QVector<int>{85, 85, 85, 85};
        QTest::newRow("HighPass 0.4 keeps the wave")
            << int(HighPass) << .4 << 0. << QVector<int>{71, 0, 71, 0};
        // 0.5/0.5 becomes 0.5/0.6: the wave sits on the excluded first border.
        QTest::newRow("BandPass corrected")
            << int(BandPass) << .5 << .5 << QVector<int>{0, 0, 0, 0};
    }
    void filteredImageUsesTheRadii()
    {
        QFETCH(int, type);
        QFETCH(double, cut1);
        QFETCH(double, cut2);
        QFETCH(QVector<int>, columns);
        QImage image(512, 512, QImage::Format_Grayscale8);
        for (int y = 0; y < 512; ++y)
            for (int x = 0; x < 512; ++x)
                image.scanLine(y)[x] = uchar(QVector<int>{110, 60, 10, 60}[x % 4]);
        const QImage out = kelvara::filteredImage(
            image, kelvara::filterParameters(FrequencyFilter{type, cut1, cut2}, image.width()));
        QCOMPARE(out.size(), image.size());
        QCOMPARE(out.format(), QImage::Format_Grayscale8);
        for (int y = 0; y < 512; y += 37)
            for (int x = 0; x < 512; ++x)
                QCOMPARE(int(out.constScanLine(y)[x]), columns[x % 4]);
    }

    void spectrumAndThreshold()
    {
        // A uniform image has only the zero frequency: lit alone when direct, 20 ln(512 * 512)
        // when logarithmic; every window from 0 holds all of it.
        QImage direct = kelvara::spectrumImage(uniformImage(512, 7), false);
        QCOMPARE(direct.pixel(0, 0), qRgb(255, 255, 255));
        direct.setPixel(0, 0, 0);
        QCOMPARE(direct, uniformImage(512, 0));
        QCOMPARE(qGray(kelvara::spectrumImage(uniformImage(512, 1), true).pixel(0, 0)), 250);
        auto threshold = [](kelvara::ThresholdWindow w) {
            return kelvara::spectrumThresholdValue(uniformImage(512, 9), w);
        };
        QVERIFY(std::abs(threshold({0, 0, 0, 0}) - 1.0) < 1e-6);
        QVERIFY(std::abs(threshold({0, 0.01, 0, 0.01})) < 1e-6);
        QVERIFY(std::abs(threshold({0.01, 1, 0, 1}) - 1.0) < 1e-6);
        QVERIFY(std::abs(threshold({0, 1, 0.01, 1}) - 1.0) < 1e-6);
    }

    void nullImage()
    {
        QVERIFY(kelvara::spectrumImage(QImage(), true).isNull());
        QVERIFY(kelvara::filteredImage(QImage(), kelvara::filterParameters({}, 0)).isNull());
        QVERIFY(std::isnan(kelvara::spectrumThresholdValue(QImage(), {0, 1, 0, 1})));
        QVERIFY(std::isnan(kelvara::spectrumThresholdValue(uniformImage(64, 0), {0, 1, 0, 1})));
    }
};

QTEST_GUILESS_MAIN(TestFrequencyFilter)
#include "test_frequency_filter.moc"
