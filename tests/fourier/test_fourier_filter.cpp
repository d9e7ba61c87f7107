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

const double kSqrt2 = std::sqrt(2.0);

// The rule as written: the distance is the square root of the integer squared distance,
// taken in double and rounded to float, compared with a float radius.
float maskValue(int type, long long dx, long long dy, float r1, float r2)
{
    const float d = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
    switch (type) {
    case LowPass:
        return d > r1 ? 0.0f : 1.0f;
    case HighPass:
        return d > r1 ? 1.0f : 0.0f;
    case BandPass:
        return (d > r1 && d < r2) ? 1.0f : 0.0f;
    case BandReject:
        return (d > r1 && d < r2) ? 0.0f : 1.0f;
    default:
        return 0.0f;
    }
}

FourierEngine engineFor(int type, float r1, float r2)
{
    FourierEngine engine;
    engine.setFilterType(type);
    engine.setFirstRadius(r1);
    engine.setSecondRadius(r2);
    return engine;
}

// The first element where the engine's mask differs from the rule, or an empty string.
QString maskMismatch(int rows, int cols, int type, float r1, float r2)
{
    FourierEngine engine = engineFor(type, r1, r2);
    QImage black(cols, rows, QImage::Format_Grayscale8);
    black.fill(0);
    engine.setImage(black);
    engine.buildFilterMask();
    const cv::Mat& mask = engine.mask();
    if (mask.type() != CV_32FC2 || mask.rows != rows || mask.cols != cols)
        return QStringLiteral("mask of the wrong type or size");
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            const float v = maskValue(type, x - cols / 2, y - rows / 2, r1, r2);
            if (mask.at<cv::Vec2f>(y, x) != cv::Vec2f(v, v)) // v (1 + i)
                return QString::asprintf("type %d, radii %.9g %.9g: (%d,%d) differs from %g", type,
                                         r1, r2, x, y, v);
        }
    return {};
}

// Filtered image by the textbook route: the exact spectrum quadrant-swapped, multiplied by the
// centred mask v (1 + i) and transformed back. For an odd size the swap leaves the last row or
// column in place and the engine's swap back does nothing; for an even one the swap back only
// changes the phase, so the modulus is the same either way.
Grid filteredByDirectDft(const Grid& input, int type, float r1, float r2)
{
    const int R = input.rows, K = input.cols, cy = R / 2, cx = K / 2;
    const Grid F = directDft(input, -1);
    Grid P(R, K);
    for (int y = 0; y < R; ++y)
        for (int x = 0; x < K; ++x) {
            const bool moved = y < 2 * cy && x < 2 * cx;
            const int sy = moved ? (y + cy) % (2 * cy) : y, sx = moved ? (x + cx) % (2 * cx) : x;
            const float v = maskValue(type, x - cx, y - cy, r1, r2);
            P.at(y, x) = F.at(sy, sx) * Complex(v, v) / (double(R) * K);
        }
    return directDft(P, +1);
}

QImage filtered(const QImage& image, int type, float r1, float r2)
{
    FourierEngine engine = engineFor(type, r1, r2);
    engine.setImage(image);
    engine.applyFilter();
    return engine.outputImage();
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
        const float inf = std::numeric_limits<float>::infinity();
        const float nan = std::numeric_limits<float>::quiet_NaN();
        const float corner = float(std::sqrt(2.0 * 256 * 256));
        const Radii special = {
            0,      0,      -0.0f,  -1,  std::numeric_limits<float>::denorm_min(),
            1e-40f, 76.8f,  102.4f, 128, 51.2f,
            256,    281.6f, corner, inf, std::nextafter(corner, inf),
            1e30f,  inf,    -inf,   nan, nan,
            200,    100};
        QTest::newRow("512x512 special radii") << QSize(512, 512) << special;
        QTest::newRow("75 wide x 45 high special radii") << QSize(75, 45) << special;

        // The rule's mask changes only at the distances on the grid: each of them and its float
        // neighbours, as first and as second radius, covers every float radius on these sizes.
        for (QSize size : {QSize(32, 32), QSize(25, 15), QSize(1, 1)}) {
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
        // Types outside 0..3 leave the mask at 0.
        for (int type : {int(LowPass), int(HighPass), int(BandPass), int(BandReject), -1, 4})
            for (int i = 0; i < radii.size(); i += 2) {
                const QString mismatch =
                    maskMismatch(size.height(), size.width(), type, radii[i], radii[i + 1]);
                QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
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
        QTest::newRow("16x16 BandReject 1..5") << QSize(16, 16) << int(BandReject) << 1.0f << 5.0f;
        QTest::newRow("16 wide x 8 high LowPass") << QSize(16, 8) << int(LowPass) << 5.0f << 0.0f;
        QTest::newRow("8 wide x 16 high BandPass") << QSize(8, 16) << int(BandPass) << 1.5f << 4.0f;
        QTest::newRow("7x7 padded HighPass 2") << QSize(7, 7) << int(HighPass) << 2.0f << 0.0f;
        QTest::newRow("9x5 odd LowPass 2") << QSize(9, 5) << int(LowPass) << 2.0f << 0.0f;
        QTest::newRow("8 wide x 5 high odd") << QSize(8, 5) << int(HighPass) << 1.0f << 0.0f;
    }
    void filterMatchesDirectDft()
    {
        QFETCH(QSize, size);
        QFETCH(int, type);
        QFETCH(float, r1);
        QFETCH(float, r2);
        const QImage image = randomImage(size.width(), size.height(), 255,
                                         quint32(size.width() * 13 + size.height() + type));
        const QImage out = filtered(image, type, r1, r2);
        const Grid input = gridOf(image, out.height(), out.width());
        const Grid expected = filteredByDirectDft(input, type, r1, r2);
        const QString bad = firstBadByte(
            out, [&](int x, int y) { return std::abs(expected.at(y, x)); },
            2e-6 * sumOfMagnitudes(input));
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }

    void filterEdgeCases_data()
    {
        // Images of one grey level per column, so the spectrum lies on the horizontal axis.
        // The ramp 7x mod 256 has every grey level on 512 columns, within radius 256; the wave
        // 60 + 50 cos(pi x / 2) on 20 columns has frequencies only at distance 0 and exactly 5.
        QTest::addColumn<bool>("wave");
        QTest::addColumn<int>("type");
        QTest::addColumn<float>("r1");
        QTest::addColumn<float>("r2");
        QTest::addColumn<int>("kept"); // 0 all, 1 the mean, 2 all but the mean, 3 nothing
        // Cut-off 1: grey levels up to 179 become round(g sqrt 2) (179 -> 253), the rest 255.
        QTest::newRow("LowPass 256 keeps the image") << false << int(LowPass) << 256.f << 0.f << 0;
        QTest::newRow("LowPass 0 keeps the mean") << false << int(LowPass) << 0.f << 0.f << 1;
        QTest::newRow("HighPass 0 removes the mean") << false << int(HighPass) << 0.f << 0.f << 2;
        QTest::newRow("BandReject r1 >= r2 passes")
            << false << int(BandReject) << 300.f << 100.f << 0;
        QTest::newRow("at radius1: LowPass passes") << true << int(LowPass) << 5.f << 0.f << 0;
        QTest::newRow("at radius1: HighPass blocks") << true << int(HighPass) << 5.f << 0.f << 3;
        QTest::newRow("at radius1: BandPass blocks") << true << int(BandPass) << 5.f << 8.f << 3;
        QTest::newRow("at radius1: BandReject passes")
            << true << int(BandReject) << 5.f << 8.f << 0;
        QTest::newRow("below radius1: BandPass")
            << true << int(BandPass) << std::nextafter(5.f, 0.f) << 8.f << 2;
        QTest::newRow("at radius2: BandPass blocks") << true << int(BandPass) << 1.f << 5.f << 3;
    }
    void filterEdgeCases()
    {
        QFETCH(bool, wave);
        QFETCH(int, type);
        QFETCH(float, r1);
        QFETCH(float, r2);
        QFETCH(int, kept);
        const int size = wave ? 20 : 512;
        auto grey = [wave](int x) {
            return wave ? QVector<int>{110, 60, 10, 60}[x % 4] : x * 7 % 256;
        };
        QImage image(size, size, QImage::Format_Grayscale8);
        double mean = 0;
        for (int x = 0; x < size; ++x) {
            mean += grey(x) / double(size);
            for (int y = 0; y < size; ++y)
                image.scanLine(y)[x] = uchar(grey(x));
        }
        const QImage out = filtered(image, type, r1, r2);
        QCOMPARE(out.size(), image.size());
        const QString bad = firstBadByte(
            out,
            [&](int x, int) {
                const double parts[] = {double(grey(x)), mean, std::abs(grey(x) - mean), 0.0};
                return kSqrt2 * parts[kept];
            },
            1e-3);
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }
};

QTEST_GUILESS_MAIN(TestFourierFilter)
#include "test_fourier_filter.moc"
