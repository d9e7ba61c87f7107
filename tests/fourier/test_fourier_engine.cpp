// The spectrum display and the spectrum threshold against a direct transform.
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

QImage imageOf(const cv::Mat& bytes)
{
    QImage image(bytes.cols, bytes.rows, QImage::Format_Grayscale8);
    for (int y = 0; y < bytes.rows; ++y)
        std::copy_n(bytes.ptr(y), bytes.cols, image.scanLine(y));
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
    // Small squares stand in for the 512 x 512 AOI images, whose direct transform would take
    // too long.
    void spectrumMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("maxGrey"); // small grey levels keep direct magnitudes below white
        QTest::addColumn<bool>("logarithmic");
        QTest::newRow("8x8 direct") << QSize(8, 8) << 3 << false;
        QTest::newRow("16x16 log") << QSize(16, 16) << 255 << true;
        QTest::newRow("32x32 log") << QSize(32, 32) << 40 << true;
    }
    void spectrumMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(int, maxGrey);
        QFETCH(bool, logarithmic);
        const QImage image = randomImage(size.width(), size.height(), maxGrey,
                                         quint32(size.width() * 31 + size.height()));
        const QImage out = spectrumOf(image, logarithmic);
        QCOMPARE(out.size(), size);
        QCOMPARE(out.format(), QImage::Format_Grayscale8);
        double magnitude = 0;
        const Grid F = directDft(gridOf(image, &magnitude), -1);
        const QString bad = firstBadByte(
            out, [&](int x, int y) { return std::abs(F.at(y, x)); }, 1e-6 * magnitude,
            [logarithmic](double m) { return logarithmic ? 20.0 * std::log(m) : m; });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }

    // Real images, the prescribed OpenCV computation beside the engine: every magnitude must be
    // cv::magnitude's, bit for bit (a hand-written sqrt(re * re + im * im) rounds differently
    // where OpenCV's vector code fuses the multiply-add).
    void magnitudesAreOpenCVs_data()
    {
        QTest::addColumn<QString>("file");
        for (const char* f : {"mr_small.png", "ct_small.png", "j2k_14bit_lossy.png"})
            QTest::newRow(f) << QString::fromLatin1(f);
    }
    void magnitudesAreOpenCVs()
    {
        QFETCH(QString, file);
        const QImage image =
            QImage(qEnvironmentVariable("KELVARA_SOURCE_DIR") + "/tests/dicom/data/" + file)
                .convertToFormat(QImage::Format_Grayscale8);
        QVERIFY(!image.isNull());
        FourierEngine engine;
        engine.setImage(image);
        cv::Mat planes[2] = {engine.input().clone(), cv::Mat::zeros(engine.input().size(), CV_32F)};
        cv::Mat complex, magnitude, expected;
        cv::merge(planes, 2, complex);
        cv::dft(complex, complex, cv::DFT_COMPLEX_OUTPUT);
        auto magnitudeOf = [&](const cv::Mat& c) {
            cv::split(c, planes);
            cv::magnitude(planes[0], planes[1], magnitude);
            return magnitude;
        };
        cv::log(magnitudeOf(complex), magnitude);
        magnitude.convertTo(expected, CV_8U, 20.0);
        engine.setLogarithmic(true);
        engine.computeSpectrum();
        QCOMPARE(engine.outputImage(), imageOf(expected));

        // Band-pass filtered: the same spectrum times the engine's own mask, back.
        engine.setFilterType(BandPass);
        engine.setFirstRadius(10.0f);
        engine.setSecondRadius(60.0f);
        engine.applyFilter();
        cv::Mat shifted = complex.clone();
        FourierEngine::shiftQuadrants(shifted);
        cv::mulSpectrums(shifted, engine.mask(), shifted, 0, false);
        FourierEngine::unshiftQuadrants(shifted);
        cv::idft(shifted, shifted, cv::DFT_SCALE | cv::DFT_COMPLEX_OUTPUT);
        magnitudeOf(shifted).convertTo(expected, CV_8U);
        QCOMPARE(engine.outputImage(), imageOf(expected));
    }

    void spectrumEdgeCases()
    {
        // An all-black image has no magnitude to share out.
        FourierEngine black;
        black.setImage(uniformImage(512, 512, 0));
        QVERIFY(std::isnan(black.spectrumThreshold(0, 0.5, 0, 0.5)));
        // Direct: only the zero frequency is lit, saturated.
        QImage out = spectrumOf(uniformImage(512, 512, 3), false);
        QCOMPARE(out.pixel(0, 0), qRgb(255, 255, 255));
        out.setPixel(0, 0, 0);
        QCOMPARE(out, uniformImage(512, 512, 0));
        // 20 ln(512 * 512) = 249.5; a magnitude 0 is minus infinity, black.
        const QImage log = spectrumOf(uniformImage(512, 512, 1), true);
        QVERIFY(qGray(log.pixel(0, 0)) == 250 && qGray(log.pixel(1, 0)) == 0);
    }

    // The share of the low-frequency quadrant outside the window, on exact magnitudes: the X
    // fractions pick rows, the Y fractions columns.
    void thresholdMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<Window>("w");
        QTest::newRow("all spin boxes 0: 1") << QSize(16, 16) << Window{0, 0, 0, 0};
        QTest::newRow("the whole quadrant: 0") << QSize(16, 16) << Window{0, 1, 0, 1};
        QTest::newRow("rows 2..3, columns 0..5") << QSize(16, 16) << Window{0.25, 0.5, 0, 0.75};
        QTest::newRow("min above max") << QSize(8, 8) << Window{0.8, 0.2, 0, 1};
    }
    void thresholdMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(Window, w);
        const int rows = size.height(), cols = size.width(), hr = rows / 2, hc = cols / 2;
        const QImage image = randomImage(cols, rows, 255, quint32(cols * 7 + rows));
        double magnitude = 0;
        const Grid F = directDft(gridOf(image, &magnitude), -1);
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
