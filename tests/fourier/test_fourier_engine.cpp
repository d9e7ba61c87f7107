// Image-matrix conversion, spectrum display, quadrant swaps and the spectrum threshold.
#include "DirectDft.h"
#include "FourierEngine.h"

#include <QtTest>

#include <cmath>

using namespace fourier_test;

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
    for (int x = 0; x < greys.size(); ++x)
        image.scanLine(0)[x] = static_cast<uchar>(greys[x]);
    return image;
}

// A separable image a(y) * b(x): its spectrum is A(ky) * B(kx), so large sizes can be checked
// with one-dimensional transforms.
struct Separable
{
    QVector<int> a, b;
    QImage image() const
    {
        QImage img(b.size(), a.size(), QImage::Format_Grayscale8);
        for (int y = 0; y < a.size(); ++y)
            for (int x = 0; x < b.size(); ++x)
                img.scanLine(y)[x] = static_cast<uchar>(a[y] * b[x]);
        return img;
    }
    static QVector<double> magnitudes(const QVector<int>& f)
    {
        Grid g(1, f.size());
        for (int i = 0; i < f.size(); ++i)
            g.at(0, i) = f[i];
        const Grid F = directDft(g, -1);
        QVector<double> m;
        for (const Complex& c : F.v)
            m << std::abs(c);
        return m;
    }
};

QVector<int> randomFactors(int n, quint32 seed)
{
    QRandomGenerator rng(seed);
    QVector<int> f;
    for (int i = 0; i < n; ++i)
        f << 1 + int(rng.bounded(15));
    return f;
}

// The threshold rule evaluated on exact magnitudes; bounds beyond the matrix are clipped.
double thresholdOf(const Grid& F, double xMin, double xMax, double yMin, double yMax)
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
    const double window = sum(int(hc * xMin), int(hc * xMax), int(hr * yMin), int(hr * yMax));
    return (total - window) / total;
}

} // namespace

class TestFourierEngine : public QObject
{
    Q_OBJECT

private slots:
    void padsToOptimalSize_data();
    void padsToOptimalSize();
    void nonGreyFormatsAreReadAsGreyLevels();
    void nullImageGivesEmptyResults();
    void spectrumMatchesDirectDft_data();
    void spectrumMatchesDirectDft();
    void spectrumEdgeCases_data();
    void spectrumEdgeCases();
    void quadrantSwaps_data();
    void quadrantSwaps();
    void thresholdMatchesDirectDft_data();
    void thresholdMatchesDirectDft();
    void thresholdOfSeparableImages_data();
    void thresholdOfSeparableImages();
    void thresholdOfBlackImageIsNaN();
};

void TestFourierEngine::padsToOptimalSize_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("paddedWidth");
    QTest::addColumn<int>("paddedHeight");
    QTest::newRow("7x7 -> 8x8") << 7 << 7 << 8 << 8;
    QTest::newRow("512 stays") << 512 << 512 << 512 << 512;
    QTest::newRow("13x11 -> 15x12") << 13 << 11 << 15 << 12;
    QTest::newRow("odd optimal 9x5") << 9 << 5 << 9 << 5;
    QTest::newRow("1x1") << 1 << 1 << 1 << 1;
}

void TestFourierEngine::padsToOptimalSize()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, paddedWidth);
    QFETCH(int, paddedHeight);
    // Rows of these widths carry padding bytes in a QImage, so the row step is exercised too.
    const QImage image = randomImage(width, height, 255, 11);
    FourierEngine engine;
    engine.setImage(image);
    const cv::Mat& m = engine.input();
    QCOMPARE(m.type(), CV_32F);
    QCOMPARE(m.cols, paddedWidth);
    QCOMPARE(m.rows, paddedHeight);
    for (int y = 0; y < paddedHeight; ++y)
        for (int x = 0; x < paddedWidth; ++x) {
            const float expected = (x < width && y < height) ? image.scanLine(y)[x] : 0.0f;
            QCOMPARE(m.at<float>(y, x), expected);
        }
    engine.computeSpectrum();
    const QImage out = engine.outputImage();
    QCOMPARE(out.size(), QSize(paddedWidth, paddedHeight));
    QCOMPARE(out.format(), QImage::Format_Grayscale8);
}

void TestFourierEngine::nonGreyFormatsAreReadAsGreyLevels()
{
    const QImage grey = randomImage(9, 6, 255, 5);
    FourierEngine fromGrey, fromRgb, fromIndexed;
    fromGrey.setImage(grey);
    fromRgb.setImage(grey.convertToFormat(QImage::Format_RGB32));
    fromIndexed.setImage(grey.convertToFormat(QImage::Format_Indexed8));
    QCOMPARE(cv::norm(fromGrey.input(), fromRgb.input(), cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(fromGrey.input(), fromIndexed.input(), cv::NORM_INF), 0.0);
}

void TestFourierEngine::nullImageGivesEmptyResults()
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
}

void TestFourierEngine::spectrumMatchesDirectDft_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("maxGrey");
    QTest::addColumn<bool>("logarithmic");
    // Small grey levels keep most direct magnitudes below white.
    QTest::newRow("8x8 direct") << 8 << 8 << 3 << false;
    QTest::newRow("16x16 direct") << 16 << 16 << 2 << false;
    QTest::newRow("8x8 log") << 8 << 8 << 255 << true;
    QTest::newRow("16x16 log") << 16 << 16 << 255 << true;
    QTest::newRow("16 wide x 8 high log") << 16 << 8 << 40 << true;
    QTest::newRow("8 wide x 16 high direct") << 8 << 16 << 2 << false;
    QTest::newRow("7x7 padded log") << 7 << 7 << 255 << true;
    QTest::newRow("9x5 odd log") << 9 << 5 << 100 << true;
}

void TestFourierEngine::spectrumMatchesDirectDft()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, maxGrey);
    QFETCH(bool, logarithmic);
    const QImage image = randomImage(width, height, maxGrey, quint32(width * 31 + height));
    FourierEngine engine;
    engine.setImage(image);
    engine.setLogarithmic(logarithmic);
    engine.computeSpectrum();
    const QImage out = engine.outputImage();

    const Grid F = directDft(gridOf(image, out.height(), out.width()), -1);
    const double err = 1e-6 * sumOfMagnitudes(gridOf(image, out.height(), out.width()));
    auto shown = [logarithmic](double m) { return logarithmic ? 20.0 * std::log(m) : m; };
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x) {
            const double m = std::abs(F.at(y, x));
            const int byte = out.scanLine(y)[x];
            if (!byteWithin(byte, m, err, shown))
                QFAIL(qPrintable(
                    QString("(%1,%2): %3 for magnitude %4").arg(x).arg(y).arg(byte).arg(m)));
        }
}

void TestFourierEngine::spectrumEdgeCases_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<bool>("logarithmic");
    QTest::addColumn<QPoint>("pixel");
    QTest::addColumn<int>("expected");
    QTest::addColumn<bool>("restBlack");
    QTest::newRow("uniform 512 direct: white zero frequency")
        << uniformImage(512, 512, 3) << false << QPoint(0, 0) << 255 << true;
    QTest::newRow("uniform 512 direct grey 1")
        << uniformImage(512, 512, 1) << false << QPoint(0, 0) << 255 << true;
    // 20 ln(512 * 512) = 249.5...; from a mean of about 1.31 on the zero frequency saturates.
    QTest::newRow("uniform 512 log, mean 1")
        << uniformImage(512, 512, 1) << true << QPoint(0, 0) << 250 << false;
    QTest::newRow("uniform 512 log, mean 2")
        << uniformImage(512, 512, 2) << true << QPoint(0, 0) << 255 << false;
    QTest::newRow("log of magnitude 1 is 0")
        << imageFromRow({1}) << true << QPoint(0, 0) << 0 << false;
    QTest::newRow("log of 3 is 22") << imageFromRow({3}) << true << QPoint(0, 0) << 22 << false;
    QTest::newRow("log of 0 is black") << imageFromRow({0}) << true << QPoint(0, 0) << 0 << false;
    QTest::newRow("both magnitudes 1")
        << imageFromRow({1, 0}) << true << QPoint(1, 0) << 0 << false;
    // |X4| of (1, 2, 0, 0, 3) is 2.71698, within 0.0013 of e.
    QTest::newRow("log of about e is 20")
        << imageFromRow({1, 2, 0, 0, 3}) << true << QPoint(4, 0) << 20 << false;
}

void TestFourierEngine::spectrumEdgeCases()
{
    QFETCH(QImage, image);
    QFETCH(bool, logarithmic);
    QFETCH(QPoint, pixel);
    QFETCH(int, expected);
    QFETCH(bool, restBlack);
    FourierEngine engine;
    engine.setImage(image);
    engine.setLogarithmic(logarithmic);
    engine.computeSpectrum();
    const QImage out = engine.outputImage();
    QCOMPARE(int(out.scanLine(pixel.y())[pixel.x()]), expected);
    if (restBlack) {
        for (int y = 0; y < out.height(); ++y)
            for (int x = 0; x < out.width(); ++x)
                if (QPoint(x, y) != pixel && out.scanLine(y)[x] != 0)
                    QFAIL(qPrintable(QString("pixel (%1,%2) is not black").arg(x).arg(y)));
    }
}

void TestFourierEngine::quadrantSwaps_data()
{
    // Matrices of element values 10 * row + column, written row by row.
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<QVector<int>>("shifted");
    QTest::newRow("2x2") << 2 << 2 << QVector<int>{11, 10, 1, 0};
    QTest::newRow("4x2") << 4 << 2 << QVector<int>{21, 20, 31, 30, 1, 0, 11, 10};
    QTest::newRow("2x4") << 2 << 4 << QVector<int>{12, 13, 10, 11, 2, 3, 0, 1};
    // Odd sizes: the last row or column stays where it is.
    QTest::newRow("3x3") << 3 << 3 << QVector<int>{11, 10, 2, 1, 0, 12, 20, 21, 22};
    QTest::newRow("3x4") << 3 << 4 << QVector<int>{12, 13, 10, 11, 2, 3, 0, 1, 20, 21, 22, 23};
    QTest::newRow("2x3") << 2 << 3 << QVector<int>{11, 10, 2, 1, 0, 12};
    QTest::newRow("1x4") << 1 << 4 << QVector<int>{0, 1, 2, 3};
}

void TestFourierEngine::quadrantSwaps()
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
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) {
            const float v = float(shifted[r * cols + c]);
            QCOMPARE(m.at<cv::Vec2f>(r, c), cv::Vec2f(v, -v));
        }

    FourierEngine::unshiftQuadrants(m);
    const bool odd = rows % 2 != 0 || cols % 2 != 0;
    if (odd) {
        // Any odd dimension: unshift writes nothing, the shifted layout stays.
        for (int r = 0; r < rows; ++r)
            for (int c = 0; c < cols; ++c)
                QCOMPARE(m.at<cv::Vec2f>(r, c)[0], float(shifted[r * cols + c]));
    } else {
        QCOMPARE(cv::norm(m, original, cv::NORM_INF), 0.0);
    }
}

void TestFourierEngine::thresholdMatchesDirectDft_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QVector<double>>("window"); // xMin, xMax, yMin, yMax
    QTest::newRow("16x16 inner") << 16 << 16 << QVector<double>{0.25, 0.75, 0.125, 0.5};
    QTest::newRow("16x16 from zero") << 16 << 16 << QVector<double>{0, 0.5, 0, 0.5};
    // Non-square: rows are fractions of half the columns and columns of half the rows.
    QTest::newRow("16 wide x 8 high") << 16 << 8 << QVector<double>{0.25, 0.5, 0, 0.75};
    QTest::newRow("8 wide x 16 high") << 8 << 16 << QVector<double>{0, 0.75, 0.5, 1};
    QTest::newRow("12 wide x 10 high") << 12 << 10 << QVector<double>{0.3, 0.9, 0.1, 0.7};
    // More than twice as wide as high: the row bound passes the last row and is clipped.
    QTest::newRow("16 wide x 4 high") << 16 << 4 << QVector<double>{0, 1, 0, 1};
    QTest::newRow("4 wide x 16 high") << 4 << 16 << QVector<double>{0.5, 1, 0, 0.5};
    QTest::newRow("fractions beyond 0..1") << 8 << 8 << QVector<double>{-1, 0.5, 0.25, 3};
    QTest::newRow("empty window") << 8 << 8 << QVector<double>{0, 0, 0, 0};
    QTest::newRow("min above max") << 8 << 8 << QVector<double>{0.8, 0.2, 0, 1};
}

void TestFourierEngine::thresholdMatchesDirectDft()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QVector<double>, window);
    const QImage image = randomImage(width, height, 255, quint32(width * 7 + height));
    FourierEngine engine;
    engine.setImage(image);
    const double value = engine.spectrumThreshold(window[0], window[1], window[2], window[3]);
    const Grid F = directDft(gridOf(image, height, width), -1);
    const double expected = thresholdOf(F, window[0], window[1], window[2], window[3]);
    QVERIFY2(
        std::abs(value - expected) < 1e-5,
        qPrintable(QString("%1 instead of %2").arg(value, 0, 'g', 10).arg(expected, 0, 'g', 10)));
}

void TestFourierEngine::thresholdOfSeparableImages_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QVector<double>>("window");
    QTest::addColumn<double>("fixedValue"); // NaN: compare with the direct transform
    const double nan = std::nan("");
    QTest::newRow("all spin boxes 0: exactly 1")
        << 512 << 512 << QVector<double>{0, 0, 0, 0} << 1.0;
    QTest::newRow("whole quadrant: 0") << 512 << 512 << QVector<double>{0, 1, 0, 1} << 0.0;
    QTest::newRow("half: rows and columns 0..127")
        << 512 << 512 << QVector<double>{0, 0.5, 0, 0.5} << nan;
    QTest::newRow("rows and columns differ")
        << 512 << 512 << QVector<double>{0.1, 0.3, 0.5, 0.9} << nan;
    QTest::newRow("256 wide x 64 high")
        << 256 << 64 << QVector<double>{0.1, 0.2, 0.25, 0.75} << nan;
}

void TestFourierEngine::thresholdOfSeparableImages()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QVector<double>, window);
    QFETCH(double, fixedValue);
    const Separable s{randomFactors(height, 3), randomFactors(width, 4)};
    FourierEngine engine;
    engine.setImage(s.image());
    const double value = engine.spectrumThreshold(window[0], window[1], window[2], window[3]);

    double expected = fixedValue;
    if (std::isnan(fixedValue)) {
        const QVector<double> A = Separable::magnitudes(s.a), B = Separable::magnitudes(s.b);
        auto sum = [](const QVector<double>& m, int from, int to) {
            double t = 0;
            for (int i = std::max(from, 0); i < std::min(to, int(m.size())); ++i)
                t += m[i];
            return t;
        };
        const int hr = height / 2, hc = width / 2;
        const double total = sum(A, 0, hc) * sum(B, 0, hr);
        const double inside = sum(A, int(hc * window[0]), int(hc * window[1])) *
                              sum(B, int(hr * window[2]), int(hr * window[3]));
        expected = (total - inside) / total;
    }
    QVERIFY2(
        std::abs(value - expected) < 1e-6,
        qPrintable(QString("%1 instead of %2").arg(value, 0, 'g', 10).arg(expected, 0, 'g', 10)));
}

void TestFourierEngine::thresholdOfBlackImageIsNaN()
{
    FourierEngine engine;
    engine.setImage(uniformImage(512, 512, 0));
    QVERIFY(std::isnan(engine.spectrumThreshold(0, 0.5, 0, 0.5)));
}

QTEST_GUILESS_MAIN(TestFourierEngine)
#include "test_fourier_engine.moc"
