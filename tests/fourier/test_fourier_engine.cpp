// Image-matrix conversion, spectrum display, quadrant swaps and the spectrum threshold.
#include "DirectDft.h"
#include "FourierEngine.h"

#include <QtTest>

#include <cmath>

using namespace fourier_test;
using Window = QVector<double>; // xMin, xMax, yMin, yMax

namespace {

QImage uniformImage(int width, int height, int grey)
{
    QImage image(width, height, QImage::Format_Grayscale8);
    image.fill(grey);
    return image;
}

QImage spectrumOf(const QImage& image, bool logarithmic)
{
    FourierEngine engine;
    engine.setImage(image);
    engine.setLogarithmic(logarithmic);
    engine.computeSpectrum();
    return engine.outputImage();
}

} // namespace

class TestFourierEngine : public QObject
{
    Q_OBJECT

private slots:
    // Other formats are read as their grey levels; no image, or no magnitude in an all-black
    // one, gives no result.
    void inputsAndEmptyResults()
    {
        const QImage grey = randomImage(9, 6, 255, 5);
        FourierEngine fromGrey, engine;
        fromGrey.setImage(grey);
        for (auto format : {QImage::Format_RGB32, QImage::Format_Indexed8}) {
            engine.setImage(grey.convertToFormat(format));
            QCOMPARE(cv::norm(fromGrey.input(), engine.input(), cv::NORM_INF), 0.0);
        }
        engine.setImage(QImage());
        engine.computeSpectrum();
        QVERIFY(engine.outputImage().isNull());
        engine.applyFilter();
        QVERIFY(engine.outputImage().isNull());
        QVERIFY(std::isnan(engine.spectrumThreshold(0, 1, 0, 1)));
        engine.setImage(uniformImage(512, 512, 0));
        QVERIFY(std::isnan(engine.spectrumThreshold(0, 0.5, 0, 0.5)));
    }

    void spectrumMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("padded"); // to the DFT-friendly size, at the bottom and right
        QTest::addColumn<int>("maxGrey");  // small grey levels keep direct magnitudes below white
        QTest::addColumn<bool>("logarithmic");
        QTest::newRow("8x8 direct") << QSize(8, 8) << QSize(8, 8) << 3 << false;
        QTest::newRow("16 wide x 8 high log") << QSize(16, 8) << QSize(16, 8) << 40 << true;
        QTest::newRow("8 wide x 16 high direct") << QSize(8, 16) << QSize(8, 16) << 2 << false;
        // Rows of these widths carry padding bytes in a QImage, so the row step is exercised too.
        QTest::newRow("7x7 padded to 8x8") << QSize(7, 7) << QSize(8, 8) << 255 << true;
        QTest::newRow("13x11 padded to 15x12") << QSize(13, 11) << QSize(15, 12) << 255 << true;
        QTest::newRow("9x5 odd, not padded") << QSize(9, 5) << QSize(9, 5) << 100 << true;
    }
    void spectrumMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(QSize, padded);
        QFETCH(int, maxGrey);
        QFETCH(bool, logarithmic);
        const QImage image = randomImage(size.width(), size.height(), maxGrey,
                                         quint32(size.width() * 31 + size.height()));
        const QImage out = spectrumOf(image, logarithmic);
        QCOMPARE(out.size(), padded);
        QCOMPARE(out.format(), QImage::Format_Grayscale8);
        double magnitude = 0;
        const Grid F = directDft(gridOf(image, out.height(), out.width(), &magnitude), -1);
        const QString bad = firstBadByte(
            out, [&](int x, int y) { return std::abs(F.at(y, x)); }, 1e-6 * magnitude,
            [logarithmic](double m) { return logarithmic ? 20.0 * std::log(m) : m; });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }

    void spectrumEdgeCases()
    {
        // Direct: only the zero frequency is lit, saturated.
        QImage out = spectrumOf(uniformImage(512, 512, 3), false);
        QCOMPARE(out.pixel(0, 0), qRgb(255, 255, 255));
        out.setPixel(0, 0, 0);
        QCOMPARE(out, uniformImage(512, 512, 0));
        // 20 ln(512 * 512) = 249.5; a magnitude 0 is minus infinity, black; 20 ln 3 = 21.97.
        QCOMPARE(qGray(spectrumOf(uniformImage(512, 512, 1), true).pixel(0, 0)), 250);
        QCOMPARE(qGray(spectrumOf(uniformImage(1, 1, 0), true).pixel(0, 0)), 0);
        QCOMPARE(qGray(spectrumOf(uniformImage(1, 1, 3), true).pixel(0, 0)), 22);
    }

    // The share of the low-frequency quadrant outside the window, on exact magnitudes: rows are
    // fractions of half the columns, columns of half the rows; bounds beyond it are clipped.
    void thresholdMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<Window>("w");
        QTest::newRow("all spin boxes 0: 1") << QSize(16, 16) << Window{0, 0, 0, 0};
        QTest::newRow("rows and columns 0..3") << QSize(16, 16) << Window{0, .5, 0, .5};
        QTest::newRow("16 wide x 8 high") << QSize(16, 8) << Window{0.25, 0.5, 0, 0.75};
        QTest::newRow("16 wide x 4 high, row bound clipped") << QSize(16, 4) << Window{0, 1, 0, 1};
        QTest::newRow("4 wide x 16 high") << QSize(4, 16) << Window{0.5, 1, 0, 0.5};
        QTest::newRow("fractions beyond 0..1") << QSize(8, 8) << Window{-1, 0.5, 0.25, 3};
        QTest::newRow("min above max") << QSize(8, 8) << Window{0.8, 0.2, 0, 1};
    }
    void thresholdMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(Window, w);
        const int rows = size.height(), cols = size.width(), hr = rows / 2, hc = cols / 2;
        const QImage image = randomImage(cols, rows, 255, quint32(cols * 7 + rows));
        double magnitude = 0;
        const Grid F = directDft(gridOf(image, rows, cols, &magnitude), -1);
        auto sum = [&](int r0, int r1, int c0, int c1) {
            double s = 0;
            for (int r = std::max(r0, 0); r < std::min(r1, rows); ++r)
                for (int c = std::max(c0, 0); c < std::min(c1, cols); ++c)
                    s += std::abs(F.at(r, c));
            return s;
        };
        const double total = sum(0, hc, 0, hr);
        const double expected =
            (total - sum(int(hc * w[0]), int(hc * w[1]), int(hr * w[2]), int(hr * w[3]))) / total;
        FourierEngine engine;
        engine.setImage(image);
        const double value = engine.spectrumThreshold(w[0], w[1], w[2], w[3]);
        QVERIFY2(std::abs(value - expected) < 1e-6,
                 qPrintable(QString("%1 instead of %2").arg(value, 0, 'g', 10).arg(expected)));
    }
};

QTEST_GUILESS_MAIN(TestFourierEngine)
#include "test_fourier_engine.moc"
