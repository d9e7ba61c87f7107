// What the window's Fourier buttons compute from their controls.
#include "FourierFilterType.h"
#include "FrequencyFilter.h"

#include <QtTest>

#include <cmath>

using kelvara::FilterParameters;
using kelvara::FrequencyFilter;

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
    void cutoffCorrection_data();
    void cutoffCorrection();
    void filteredImageUsesTheRadii_data();
    void filteredImageUsesTheRadii();
    void spectrumImage();
    void thresholdValue_data();
    void thresholdValue();
    void nullImage();
};

void TestFrequencyFilter::cutoffCorrection_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<double>("cut1");
    QTest::addColumn<double>("cut2");
    QTest::addColumn<int>("expectedType");
    QTest::addColumn<double>("expectedCut2");
    QTest::addColumn<float>("radius1");
    QTest::addColumn<float>("radius2");
    QTest::addColumn<bool>("message");
    QTest::newRow("BandPass 0.3/0.3")
        << int(BandPass) << 0.3 << 0.3 << int(BandPass) << 0.4 << 76.8f << 102.4f << true;
    QTest::newRow("BandReject 0.5/0.2")
        << int(BandReject) << 0.5 << 0.2 << int(BandReject) << 0.6 << 128.0f << 153.6f << true;
    QTest::newRow("LowPass 0.5/0.2: silent")
        << int(LowPass) << 0.5 << 0.2 << int(LowPass) << 0.6 << 128.0f << 153.6f << false;
    QTest::newRow("HighPass 0/0: silent")
        << int(HighPass) << 0.0 << 0.0 << int(HighPass) << 0.1 << 0.0f << 25.6f << false;
    QTest::newRow("BandPass in order")
        << int(BandPass) << 0.2 << 0.6 << int(BandPass) << 0.6 << 51.2f << 153.6f << false;
    QTest::newRow("cut-off 1 goes beyond 1")
        << int(BandPass) << 1.0 << 1.0 << int(BandPass) << 1.1 << 256.0f << 281.6f << true;
    QTest::newRow("type 4 is LowPass")
        << 4 << 0.5 << 0.5 << int(LowPass) << 0.6 << 128.0f << 153.6f << false;
    QTest::newRow("type -1 is LowPass")
        << -1 << 0.1 << 0.9 << int(LowPass) << 0.9 << 25.6f << 230.4f << false;
}

void TestFrequencyFilter::cutoffCorrection()
{
    QFETCH(int, type);
    QFETCH(double, cut1);
    QFETCH(double, cut2);
    QFETCH(int, expectedType);
    QFETCH(double, expectedCut2);
    QFETCH(float, radius1);
    QFETCH(float, radius2);
    QFETCH(bool, message);
    const FilterParameters p = kelvara::filterParameters(FrequencyFilter{type, cut1, cut2}, 512);
    QCOMPARE(p.type, expectedType);
    QCOMPARE(p.cut1, cut1);
    QVERIFY(std::abs(p.cut2 - expectedCut2) < 1e-12);
    QCOMPARE(p.radius1, radius1);
    QCOMPARE(p.radius2, radius2);
    QCOMPARE(p.showCutoffMessage, message);
}

void TestFrequencyFilter::filteredImageUsesTheRadii_data()
{
    // One column pattern: 60 + 50 cos(pi x / 2) has frequencies only at distance 0 and 128
    // on a 512-pixel image, i.e. at cut-off 0.5.
    QTest::addColumn<int>("type");
    QTest::addColumn<double>("cut1");
    QTest::addColumn<double>("cut2");
    QTest::addColumn<QVector<int>>("columns"); // expected output of columns 0..3
    // 60 sqrt 2 = 84.85, 110 sqrt 2 = 155.56, 10 sqrt 2 = 14.14, 50 sqrt 2 = 70.71
    QTest::newRow("LowPass 0.5 passes both")
        << int(LowPass) << 0.5 << 0.0 << QVector<int>{156, 85, 14, 85};
    QTest::newRow("LowPass 0.4 keeps the mean")
        << int(LowPass) << 0.4 << 0.0 << QVector<int>{85, 85, 85, 85};
    QTest::newRow("HighPass 0.4 keeps the wave")
        << int(HighPass) << 0.4 << 0.0 << QVector<int>{71, 0, 71, 0};
    // 0.5/0.5 becomes 0.5/0.6: the wave sits on the excluded first border.
    QTest::newRow("BandPass corrected") << int(BandPass) << 0.5 << 0.5 << QVector<int>{0, 0, 0, 0};
    QTest::newRow("BandPass 0.4..0.6") << int(BandPass) << 0.4 << 0.6 << QVector<int>{71, 0, 71, 0};
}

void TestFrequencyFilter::filteredImageUsesTheRadii()
{
    QFETCH(int, type);
    QFETCH(double, cut1);
    QFETCH(double, cut2);
    QFETCH(QVector<int>, columns);
    QImage image(512, 512, QImage::Format_Grayscale8);
    const int wave[] = {110, 60, 10, 60};
    for (int y = 0; y < 512; ++y)
        for (int x = 0; x < 512; ++x)
            image.scanLine(y)[x] = static_cast<uchar>(wave[x % 4]);
    const QImage out = kelvara::filteredImage(
        image, kelvara::filterParameters(FrequencyFilter{type, cut1, cut2}, image.width()));
    QCOMPARE(out.size(), image.size());
    QCOMPARE(out.format(), QImage::Format_Grayscale8);
    for (int y = 0; y < 512; y += 37)
        for (int x = 0; x < 512; ++x)
            QCOMPARE(int(out.scanLine(y)[x]), columns[x % 4]);
}

void TestFrequencyFilter::spectrumImage()
{
    const QImage direct = kelvara::spectrumImage(uniformImage(512, 7), false);
    QCOMPARE(direct.size(), QSize(512, 512));
    QCOMPARE(int(direct.scanLine(0)[0]), 255);
    int lit = 0;
    for (int y = 0; y < 512; ++y)
        for (int x = 0; x < 512; ++x)
            lit += direct.scanLine(y)[x] != 0;
    QCOMPARE(lit, 1);
    // 20 ln(512 * 512 * 1) = 249.5
    QCOMPARE(int(kelvara::spectrumImage(uniformImage(512, 1), true).scanLine(0)[0]), 250);
}

void TestFrequencyFilter::thresholdValue_data()
{
    QTest::addColumn<QVector<double>>("window");
    QTest::addColumn<double>("expected");
    QTest::newRow("empty window") << QVector<double>{0, 0, 0, 0} << 1.0;
    QTest::newRow("whole quadrant") << QVector<double>{0, 1, 0, 1} << 0.0;
    // A uniform image has only the zero frequency, which every window from 0 contains.
    QTest::newRow("zero frequency only") << QVector<double>{0, 0.01, 0, 0.01} << 0.0;
    QTest::newRow("window without it") << QVector<double>{0.01, 1, 0, 1} << 1.0;
}

void TestFrequencyFilter::thresholdValue()
{
    QFETCH(QVector<double>, window);
    QFETCH(double, expected);
    const double value = kelvara::spectrumThresholdValue(
        uniformImage(512, 9), kelvara::ThresholdWindow{window[0], window[1], window[2], window[3]});
    QVERIFY2(std::abs(value - expected) < 1e-6, qPrintable(QString::number(value)));
}

void TestFrequencyFilter::nullImage()
{
    QVERIFY(kelvara::spectrumImage(QImage(), true).isNull());
    QVERIFY(kelvara::filteredImage(QImage(), kelvara::filterParameters({}, 0)).isNull());
    QVERIFY(std::isnan(kelvara::spectrumThresholdValue(QImage(), {0, 1, 0, 1})));
    QVERIFY(std::isnan(kelvara::spectrumThresholdValue(uniformImage(64, 0), {0, 1, 0, 1})));
}

QTEST_GUILESS_MAIN(TestFrequencyFilter)
#include "test_frequency_filter.moc"
