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

QImage imageFromRow(const QVector<int>& greys)
{
    QImage image(greys.size(), 1, QImage::Format_Grayscale8);
    std::copy(greys.begin(), greys.end(), image.scanLine(0));
    return image;
}

// The threshold rule on exact magnitudes: rows are fractions of half the columns, columns of
// half the rows; bounds beyond the matrix are clipped.
double thresholdOf(const Grid& F, const Window& w)
{
    const int hr = F.rows / 2, hc = F.cols / 2;
    auto sum = [&](int r0, int r1, int c0, int c1) {
        double s = 0;
        for (int r = std::max(r0, 0); r < std::min(r1, F.rows); ++r)
            for (int c = std::max(c0, 0); c < std::min(c1, F.cols); ++c)
                s += std::abs(F.at(r, c));
        return s;
    };
    const double total = sum(0, hc, 0, hr);
    return (total - sum(int(hc * w[0]), int(hc * w[1]), int(hr * w[2]), int(hr * w[3]))) / total;
}

double thresholdOf(const QImage& image, const Window& w)
{
    FourierEngine engine;
    engine.setImage(image);
    return engine.spectrumThreshold(w[0], w[1], w[2], w[3]);
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
    void nonGreyFormatsAreReadAsGreyLevels()
    {
        const QImage grey = randomImage(9, 6, 255, 5);
        FourierEngine fromGrey, other;
        fromGrey.setImage(grey);
        for (auto format : {QImage::Format_RGB32, QImage::Format_Indexed8}) {
            other.setImage(grey.convertToFormat(format));
            QCOMPARE(cv::norm(fromGrey.input(), other.input(), cv::NORM_INF), 0.0);
        }
    }

    void emptyResults()
    {
        FourierEngine engine;
        engine.setImage(randomImage(8, 8, 255, 1));
        engine.setImage(QImage());
        QVERIFY(engine.input().empty());
        engine.computeSpectrum();
        QVERIFY(engine.outputImage().isNull());
        engine.setFilterType(LowPass);
        engine.applyFilter();
        QVERIFY(engine.outputImage().isNull());
        QVERIFY(std::isnan(engine.spectrumThreshold(0, 1, 0, 1)));
        // An all-black image has no magnitude to share out.
        QVERIFY(std::isnan(thresholdOf(uniformImage(512, 512, 0), {0, 0.5, 0, 0.5})));
    }

    void spectrumMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("padded"); // to the DFT-friendly size, at the bottom and right
        QTest::addColumn<int>("maxGrey");  // small grey levels keep direct magnitudes below white
        QTest::addColumn<bool>("logarithmic");
        QTest::newRow("8x8 direct") << QSize(8, 8) << QSize(8, 8) << 3 << false;
        QTest::newRow("16x16 log") << QSize(16, 16) << QSize(16, 16) << 255 << true;
        QTest::newRow("16 wide x 8 high log") << QSize(16, 8) << QSize(16, 8) << 40 << true;
        QTest::newRow("8 wide x 16 high direct") << QSize(8, 16) << QSize(8, 16) << 2 << false;
        // Rows of these widths carry padding bytes in a QImage, so the row step is exercised too.
        QTest::newRow("7x7 padded to 8x8") << QSize(7, 7) << QSize(8, 8) << 255 << true;
        QTest::newRow("13x11 padded to 15x12") << QSize(13, 11) << QSize(15, 12) << 255 << true;
        QTest::newRow("9x5 odd, not padded") << QSize(9, 5) << QSize(9, 5) << 100 << true;
        QTest::newRow("1x1") << QSize(1, 1) << QSize(1, 1) << 255 << true;
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
        const Grid input = gridOf(image, out.height(), out.width()), F = directDft(input, -1);
        const QString bad = firstBadByte(
            out, [&](int x, int y) { return std::abs(F.at(y, x)); }, 1e-6 * sumOfMagnitudes(input),
            [logarithmic](double m) { return logarithmic ? 20.0 * std::log(m) : m; });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }

    void spectrumEdgeCases_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<bool>("logarithmic");
        QTest::addColumn<QPoint>("pixel");
        QTest::addColumn<int>("expected");
        const QPoint o(0, 0);
        // Direct: only the zero frequency is lit, saturated.
        QTest::newRow("uniform 512 direct") << uniformImage(512, 512, 3) << false << o << 255;
        // 20 ln(512 * 512) = 249.5...; from a mean of about 1.31 on the zero frequency saturates.
        QTest::newRow("uniform 512 log, mean 1") << uniformImage(512, 512, 1) << true << o << 250;
        QTest::newRow("uniform 512 log, mean 2") << uniformImage(512, 512, 2) << true << o << 255;
        QTest::newRow("log of magnitude 1 is 0") << imageFromRow({1}) << true << o << 0;
        QTest::newRow("log of 3 is 22") << imageFromRow({3}) << true << o << 22;
        QTest::newRow("log of 0 is black") << imageFromRow({0}) << true << o << 0;
        // |X4| of (1, 2, 0, 0, 3) is 2.71698, within 0.0013 of e.
        QTest::newRow("log of about e is 20")
            << imageFromRow({1, 2, 0, 0, 3}) << true << QPoint(4, 0) << 20;
    }
    void spectrumEdgeCases()
    {
        QFETCH(QImage, image);
        QFETCH(bool, logarithmic);
        QFETCH(QPoint, pixel);
        QFETCH(int, expected);
        const QImage out = spectrumOf(image, logarithmic);
        QCOMPARE(int(out.constScanLine(pixel.y())[pixel.x()]), expected);
        if (!logarithmic) {
            QImage others = out;
            others.setPixel(pixel, 0);
            QCOMPARE(others, QImage(uniformImage(out.width(), out.height(), 0)));
        }
    }

    void quadrantSwaps_data()
    {
        // Matrices of element values 10 * row + column, written row by row.
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("cols");
        QTest::addColumn<QVector<int>>("shifted");
        QTest::newRow("4x2") << 4 << 2 << QVector<int>{21, 20, 31, 30, 1, 0, 11, 10};
        QTest::newRow("2x4") << 2 << 4 << QVector<int>{12, 13, 10, 11, 2, 3, 0, 1};
        // Odd sizes: the last row or column stays where it is.
        QTest::newRow("3x3") << 3 << 3 << QVector<int>{11, 10, 2, 1, 0, 12, 20, 21, 22};
        QTest::newRow("3x4") << 3 << 4 << QVector<int>{12, 13, 10, 11, 2, 3, 0, 1, 20, 21, 22, 23};
        QTest::newRow("2x3") << 2 << 3 << QVector<int>{11, 10, 2, 1, 0, 12};
        QTest::newRow("1x4") << 1 << 4 << QVector<int>{0, 1, 2, 3};
    }
    void quadrantSwaps()
    {
        QFETCH(int, rows);
        QFETCH(int, cols);
        QFETCH(QVector<int>, shifted);
        // Two channels, as the spectra are: both must move together.
        cv::Mat original(rows, cols, CV_32FC2);
        for (int r = 0; r < rows; ++r)
            for (int c = 0; c < cols; ++c)
                original.at<cv::Vec2f>(r, c) = cv::Vec2f(10.0f * r + c, -(10.0f * r + c));
        cv::Mat m = original.clone();
        FourierEngine::shiftQuadrants(m);
        auto isShifted = [&] {
            for (int i = 0; i < rows * cols; ++i)
                if (m.at<cv::Vec2f>(i / cols, i % cols) != cv::Vec2f(shifted[i], -shifted[i]))
                    return false;
            return true;
        };
        QVERIFY(isShifted());
        FourierEngine::unshiftQuadrants(m);
        // Any odd dimension: unshift writes nothing, the shifted layout stays.
        if (rows % 2 != 0 || cols % 2 != 0)
            QVERIFY(isShifted());
        else
            QCOMPARE(cv::norm(m, original, cv::NORM_INF), 0.0);
    }

    // Separable images a(y) * b(x) have the spectrum A(ky) * B(kx): full-size windows are
    // checked with one-dimensional direct transforms.
    void thresholdMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<Window>("window");
        QTest::newRow("all spin boxes 0: 1") << QSize(512, 512) << Window{0, 0, 0, 0};
        QTest::newRow("whole quadrant: 0") << QSize(512, 512) << Window{0, 1, 0, 1};
        QTest::newRow("rows and columns 0..127") << QSize(512, 512) << Window{0, .5, 0, .5};
        QTest::newRow("256 wide x 64 high") << QSize(256, 64) << Window{.1, .2, .25, .75};
        QTest::newRow("16x16 inner") << QSize(16, 16) << Window{0.25, 0.75, 0.125, 0.5};
        // Non-square: rows are fractions of half the columns and columns of half the rows.
        QTest::newRow("16 wide x 8 high") << QSize(16, 8) << Window{0.25, 0.5, 0, 0.75};
        QTest::newRow("12 wide x 10 high") << QSize(12, 10) << Window{0.3, 0.9, 0.1, 0.7};
        // More than twice as wide as high: the row bound passes the last row and is clipped.
        QTest::newRow("16 wide x 4 high") << QSize(16, 4) << Window{0, 1, 0, 1};
        QTest::newRow("4 wide x 16 high") << QSize(4, 16) << Window{0.5, 1, 0, 0.5};
        QTest::newRow("fractions beyond 0..1") << QSize(8, 8) << Window{-1, 0.5, 0.25, 3};
        QTest::newRow("min above max") << QSize(8, 8) << Window{0.8, 0.2, 0, 1};
    }
    void thresholdMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(Window, window);
        QRandomGenerator rng(quint32(size.width() * 7 + size.height()));
        Grid a(1, size.height()), b(1, size.width());
        for (Complex& c : a.v)
            c = 1 + int(rng.bounded(15));
        for (Complex& c : b.v)
            c = 1 + int(rng.bounded(15));
        QImage image(size, QImage::Format_Grayscale8);
        const Grid A = directDft(a, -1), B = directDft(b, -1);
        Grid F(size.height(), size.width());
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x) {
                image.scanLine(y)[x] = uchar(a.v[y].real() * b.v[x].real());
                F.at(y, x) = A.v[y] * B.v[x];
            }
        const double value = thresholdOf(image, window), expected = thresholdOf(F, window);
        QVERIFY2(std::abs(value - expected) < 1e-6,
                 qPrintable(QString("%1 instead of %2").arg(value, 0, 'g', 10).arg(expected)));
    }
};

QTEST_GUILESS_MAIN(TestFourierEngine)
#include "test_fourier_engine.moc"
