// Frequency-domain filters: the mask against its per-element rule, and the filtered image
// against a direct transform.
#include "DirectDft.h"
#include "FourierEngine.h"

#include <QtTest>

#include <cmath>
#include <set>

using namespace fourier_test;
using Radii = QVector<float>; // pairs r1, r2

namespace {

// The rule as written: the distance is the square root of the integer squared distance,
// taken in double and rounded to float, compared with a float radius.
float maskValue(int type, long long dx, long long dy, float r1, float r2)
{
    const float d = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
    const bool band = d > r1 && d < r2;
    switch (type) {
    case LowPass:
        return d > r1 ? 0.0f : 1.0f;
    case HighPass:
        return d > r1 ? 1.0f : 0.0f;
    case BandPass:
        return band ? 1.0f : 0.0f;
    default:
        return band ? 0.0f : 1.0f;
    }
}

FourierEngine engineFor(int type, float r1, float r2, const QImage& image)
{
    FourierEngine engine;
    engine.setFilterType(type);
    engine.setFirstRadius(r1);
    engine.setSecondRadius(r2);
    engine.setImage(image);
    return engine;
}

} // namespace

class TestFourierFilter : public QObject
{
    Q_OBJECT

private slots:
    void maskMatchesRule_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<Radii>("radii");
        // Radii of cut-offs 0 to 1.1 on the 512 x 512 AOI images.
        QTest::newRow("512x512") << QSize(512, 512) << Radii{0,   0,   128,    51.2f, 102.4f,
                                                             128, 256, 281.6f, 76.8f, 230.4f};
        // The rule's mask changes only at the distances on the grid: each of them and its float
        // neighbours, as first and as second radius, covers every float radius on these sizes.
        for (QSize size : {QSize(32, 32)}) {
            std::set<long long> squared;
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x)
                    squared.insert(1LL * (x - size.width() / 2) * (x - size.width() / 2) +
                                   1LL * (y - size.height() / 2) * (y - size.height() / 2));
            Radii steps;
            for (long long n : squared) {
                const float d = float(std::sqrt(double(n)));
                steps << std::nextafter(d, -1.0f) << d << std::nextafter(d, 1e9f);
            }
            const float mid = steps[steps.size() / 2];
            Radii radii;
            for (float r : steps)
                radii << r << mid << mid << r;
            QTest::addRow("%dx%d every step", size.width(), size.height()) << size << radii;
        }
    }
    void maskMatchesRule()
    {
        QFETCH(QSize, size);
        QFETCH(Radii, radii);
        const int rows = size.height(), cols = size.width();
        QImage black(size, QImage::Format_Grayscale8);
        black.fill(0);
        for (int type : {int(LowPass), int(HighPass), int(BandPass), int(BandReject)}) {
            for (int i = 0; i < radii.size(); i += 2) {
                FourierEngine engine = engineFor(type, radii[i], radii[i + 1], black);
                engine.buildFilterMask();
                const cv::Mat& mask = engine.mask();
                QVERIFY(mask.type() == CV_32FC2 && mask.rows == rows && mask.cols == cols);
                for (int y = 0; y < rows; ++y)
                    for (int x = 0; x < cols; ++x) {
                        const float v =
                            maskValue(type, x - cols / 2, y - rows / 2, radii[i], radii[i + 1]);
                        if (mask.at<cv::Vec2f>(y, x) != cv::Vec2f(v, v)) // v (1 + i)
                            QFAIL(
                                qPrintable(QString::asprintf("type %d, radii %.9g %.9g: (%d,%d)",
                                                             type, radii[i], radii[i + 1], x, y)));
                    }
            }
        }
    }

    void filterMatchesDirectDft_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("type");
        QTest::addColumn<float>("r1");
        QTest::addColumn<float>("r2");
        QTest::newRow("16x16 LowPass 4") << QSize(16, 16) << int(LowPass) << 4.0f << 0.0f;
        QTest::newRow("16x16 HighPass 3") << QSize(16, 16) << int(HighPass) << 3.0f << 0.0f;
        QTest::newRow("16x16 BandPass 2..6") << QSize(16, 16) << int(BandPass) << 2.0f << 6.0f;
        QTest::newRow("8x8 BandReject 1..3") << QSize(8, 8) << int(BandReject) << 1.0f << 3.0f;
    }
    // The textbook route: the exact spectrum with its quadrants swapped, multiplied by the
    // centred mask v (1 + i) and transformed back. The engine's swap back only changes the phase,
    // so the modulus is the same either way.
    void filterMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(int, type);
        QFETCH(float, r1);
        QFETCH(float, r2);
        const QImage image = randomImage(size.width(), size.height(), 255,
                                         quint32(size.width() * 13 + size.height() + type));
        FourierEngine engine = engineFor(type, r1, r2, image);
        engine.applyFilter();
        const QImage out = engine.outputImage();
        const int R = out.height(), K = out.width(), cy = R / 2, cx = K / 2;
        double magnitude = 0;
        const Grid F = directDft(gridOf(image, &magnitude), -1);
        Grid P(R, K);
        for (int y = 0; y < R; ++y)
            for (int x = 0; x < K; ++x) {
                const float v = maskValue(type, x - cx, y - cy, r1, r2);
                P.at(y, x) = F.at((y + cy) % R, (x + cx) % K) * Complex(v, v) / (double(R) * K);
            }
        const Grid expected = directDft(P, +1);
        const QString bad = firstBadByte(
            out, [&](int x, int y) { return std::abs(expected.at(y, x)); }, 2e-6 * magnitude);
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }
};

QTEST_GUILESS_MAIN(TestFourierFilter)
#include "test_fourier_filter.moc"
