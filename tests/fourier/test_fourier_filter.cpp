// Frequency-domain filters: the mask against its per-element rule, and the filtered image
// against a direct transform.
#include "DirectDft.h"
#include "FourierEngine.h"

#include <QtTest>

#include <cmath>
#include <set>

using namespace fourier_test;

namespace {

const double kSqrt2 = std::sqrt(2.0);

// The rule as written: the distance is the square root of the integer squared distance,
// taken in double and rounded to float, compared with a float radius.
float distanceOf(long long squared)
{
    return static_cast<float>(std::sqrt(static_cast<double>(squared)));
}

float maskValue(int type, float d, float r1, float r2)
{
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

cv::Mat engineMask(int rows, int cols, int type, float r1, float r2)
{
    QImage black(cols, rows, QImage::Format_Grayscale8);
    black.fill(0);
    FourierEngine engine;
    engine.setImage(black);
    engine.setFilterType(type);
    engine.setFirstRadius(r1);
    engine.setSecondRadius(r2);
    engine.buildFilterMask();
    return engine.mask();
}

// The first element where the engine's mask differs from the rule, or an empty string.
QString maskMismatch(const cv::Mat& mask, int type, float r1, float r2)
{
    const int cy = mask.rows / 2, cx = mask.cols / 2;
    for (int y = 0; y < mask.rows; ++y)
        for (int x = 0; x < mask.cols; ++x) {
            const long long dx = x - cx, dy = y - cy;
            const float v = maskValue(type, distanceOf(dx * dx + dy * dy), r1, r2);
            const cv::Vec2f m = mask.at<cv::Vec2f>(y, x);
            if (m[0] != v || m[1] != v)
                return QString("type %1, radii %2 %3: (%4,%5) is (%6,%7), rule says %8")
                    .arg(type)
                    .arg(double(r1), 0, 'g', 9)
                    .arg(double(r2), 0, 'g', 9)
                    .arg(x)
                    .arg(y)
                    .arg(double(m[0]))
                    .arg(double(m[1]))
                    .arg(double(v));
        }
    return {};
}

// Every radius at which the rule can change its answer on a rows x cols mask, with its float
// neighbours on both sides.
std::vector<float> criticalRadii(int rows, int cols)
{
    std::set<long long> squared;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            const long long dx = x - cols / 2, dy = y - rows / 2;
            squared.insert(dx * dx + dy * dy);
        }
    std::vector<float> radii;
    for (long long n : squared) {
        const float d = distanceOf(n);
        radii.push_back(std::nextafter(d, -1.0f));
        radii.push_back(d);
        radii.push_back(std::nextafter(d, 1e9f));
    }
    return radii;
}

// Filtered image by the textbook route: multiply the exact spectrum by v (1 + i), chosen per
// frequency by its distance from the zero frequency, and take the modulus of the inverse.
// Even sizes only: there the quadrant swap is the usual centring.
Grid filteredByFrequency(const Grid& input, int type, float r1, float r2)
{
    const int R = input.rows, K = input.cols;
    Grid F = directDft(input, -1);
    auto signedFrequency = [](int k, int n) { return k < n / 2 ? k : k - n; };
    for (int ky = 0; ky < R; ++ky)
        for (int kx = 0; kx < K; ++kx) {
            const long long fy = signedFrequency(ky, R), fx = signedFrequency(kx, K);
            const float v = maskValue(type, distanceOf(fx * fx + fy * fy), r1, r2);
            F.at(ky, kx) *= Complex(v, v);
        }
    Grid out = directDft(F, +1);
    for (Complex& c : out.v)
        c /= double(R) * K;
    return out;
}

// For an odd size the swap leaves the last row or column in place and the swap back does
// nothing, so the product is transformed back in its swapped layout.
Grid filteredWithOddLayout(const Grid& input, int type, float r1, float r2)
{
    const int R = input.rows, K = input.cols, cy = R / 2, cx = K / 2;
    const Grid F = directDft(input, -1);
    Grid P(R, K);
    for (int y = 0; y < R; ++y)
        for (int x = 0; x < K; ++x) {
            int sy = y, sx = x;
            if (y < 2 * cy && x < 2 * cx) {
                sy = y < cy ? y + cy : y - cy;
                sx = x < cx ? x + cx : x - cx;
            }
            const long long dx = x - cx, dy = y - cy;
            const float v = maskValue(type, distanceOf(dx * dx + dy * dy), r1, r2);
            P.at(y, x) = F.at(sy, sx) * Complex(v, v);
        }
    Grid out = directDft(P, +1);
    for (Complex& c : out.v)
        c /= double(R) * K;
    return out;
}

QImage filtered(const QImage& image, int type, float r1, float r2)
{
    FourierEngine engine;
    engine.setFilterType(type);
    engine.setFirstRadius(r1);
    engine.setSecondRadius(r2);
    engine.setImage(image);
    engine.applyFilter();
    return engine.outputImage();
}

// Each column one grey level: the spectrum lies on the horizontal axis, within radius 256.
QImage columnImage(int size, int (*grey)(int x))
{
    QImage image(size, size, QImage::Format_Grayscale8);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            image.scanLine(y)[x] = static_cast<uchar>(grey(x));
    return image;
}

int rampGrey(int x)
{
    return (x * 7) % 256; // every grey level, twice
}

// 60 + 50 cos(2 pi 5 x / 20): exact integers, frequencies 0 and +-5 only.
int waveGrey(int x)
{
    static const int values[] = {110, 60, 10, 60};
    return values[x % 4];
}

} // namespace

class TestFourierFilter : public QObject
{
    Q_OBJECT

private slots:
    void distanceNeverDecreases();
    void maskLayout_data();
    void maskLayout();
    void maskMatchesRule_data();
    void maskMatchesRule();
    void maskMatchesRuleAtEveryStep_data();
    void maskMatchesRuleAtEveryStep();
    void filterMatchesDirectDft_data();
    void filterMatchesDirectDft();
    void filterEdgeCases_data();
    void filterEdgeCases();
};

void TestFourierFilter::distanceNeverDecreases()
{
    // The mask compares integer squared distances with precomputed limits; that is the rule
    // exactly as long as the distance never decreases with the squared distance. Checked up to
    // the corners of a 2048 x 2048 matrix.
    float previous = distanceOf(0);
    for (long long n = 1; n <= 2LL * 1024 * 1024; ++n) {
        const float d = distanceOf(n);
        if (d < previous)
            QFAIL(qPrintable(QString("distance decreases at %1").arg(n)));
        previous = d;
    }
}

void TestFourierFilter::maskLayout_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("nonZero");
    QTest::newRow("LowPass radius 2") << int(LowPass) << 13;
    QTest::newRow("HighPass radius 2") << int(HighPass) << 64 - 13;
    QTest::newRow("type -1 stays 0") << -1 << 0;
    QTest::newRow("type 4 stays 0") << 4 << 0;
}

void TestFourierFilter::maskLayout()
{
    QFETCH(int, type);
    QFETCH(int, nonZero);
    const cv::Mat mask = engineMask(8, 8, type, 2.0f, 3.0f);
    QCOMPARE(mask.type(), CV_32FC2);
    QCOMPARE(mask.size(), cv::Size(8, 8));
    cv::Mat planes[2];
    cv::split(mask, planes);
    QCOMPARE(cv::countNonZero(planes[0]), nonZero);
    QCOMPARE(cv::norm(planes[0], planes[1], cv::NORM_INF), 0.0); // v (1 + i)
}

void TestFourierFilter::maskMatchesRule_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<float>("r1");
    QTest::addColumn<float>("r2");
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float five = 5.0f, root2 = distanceOf(2), corner = distanceOf(2 * 256 * 256);
    struct Row
    {
        const char* name;
        float r1, r2;
    } rows[] = {
        {"0 and 0", 0.0f, 0.0f},
        {"-0 and -1", -0.0f, -1.0f},
        {"denormal", std::numeric_limits<float>::denorm_min(), 1e-40f},
        {"band 0.3/0.4", 76.8f, 102.4f},
        {"radius 128", 128.0f, 51.2f},
        {"half width", 256.0f, 281.6f},
        {"exactly 5", five, 2 * five},
        {"just below 5", std::nextafter(five, 0.0f), std::nextafter(2 * five, 99.0f)},
        {"just above 5", std::nextafter(five, 99.0f), std::nextafter(2 * five, 0.0f)},
        {"exactly sqrt 2", root2, std::nextafter(root2, 9.0f)},
        {"corner distance", corner, inf},
        {"beyond the corners", std::nextafter(corner, inf), 1e30f},
        {"infinite", inf, -inf},
        {"NaN", nan, nan},
        {"first above second", 200.0f, 100.0f},
    };
    for (const Row& r : rows) {
        QTest::addRow("512x512 %s", r.name) << 512 << 512 << r.r1 << r.r2;
        QTest::addRow("45x75 %s", r.name) << 45 << 75 << r.r1 << r.r2;
    }
}

void TestFourierFilter::maskMatchesRule()
{
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(float, r1);
    QFETCH(float, r2);
    for (int type : {int(LowPass), int(HighPass), int(BandPass), int(BandReject)}) {
        const QString mismatch = maskMismatch(engineMask(rows, cols, type, r1, r2), type, r1, r2);
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }
}

void TestFourierFilter::maskMatchesRuleAtEveryStep_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::newRow("32x32") << 32 << 32;
    QTest::newRow("15x25") << 15 << 25;
    QTest::newRow("1x1") << 1 << 1;
}

void TestFourierFilter::maskMatchesRuleAtEveryStep()
{
    // The rule's mask changes only at these radii, and the engine's limits are the rule's own
    // comparisons searched over a distance that never decreases (distanceNeverDecreases):
    // checking every step on these sizes covers every float radius.
    QFETCH(int, rows);
    QFETCH(int, cols);
    const std::vector<float> radii = criticalRadii(rows, cols);
    const float mid = radii[radii.size() / 2];
    for (float r : radii) {
        struct Case
        {
            int type;
            float r1, r2;
        } cases[] = {{LowPass, r, 0.0f},   {HighPass, r, 0.0f}, {BandPass, r, mid},
                     {BandReject, r, mid}, {BandPass, mid, r},  {BandReject, mid, r}};
        for (const Case& c : cases) {
            const QString mismatch =
                maskMismatch(engineMask(rows, cols, c.type, c.r1, c.r2), c.type, c.r1, c.r2);
            QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
        }
    }
}

void TestFourierFilter::filterMatchesDirectDft_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("type");
    QTest::addColumn<float>("r1");
    QTest::addColumn<float>("r2");
    QTest::newRow("16x16 LowPass 4") << 16 << 16 << int(LowPass) << 4.0f << 0.0f;
    QTest::newRow("16x16 HighPass 3") << 16 << 16 << int(HighPass) << 3.0f << 0.0f;
    QTest::newRow("16x16 BandPass 2..6") << 16 << 16 << int(BandPass) << 2.0f << 6.0f;
    QTest::newRow("16x16 BandReject 1..5") << 16 << 16 << int(BandReject) << 1.0f << 5.0f;
    QTest::newRow("16 wide x 8 high LowPass 5") << 16 << 8 << int(LowPass) << 5.0f << 0.0f;
    QTest::newRow("8 wide x 16 high BandPass 1.5..4") << 8 << 16 << int(BandPass) << 1.5f << 4.0f;
    QTest::newRow("7x7 padded HighPass 2") << 7 << 7 << int(HighPass) << 2.0f << 0.0f;
    QTest::newRow("9x5 odd LowPass 2") << 9 << 5 << int(LowPass) << 2.0f << 0.0f;
    QTest::newRow("9x5 odd BandPass 1..3") << 9 << 5 << int(BandPass) << 1.0f << 3.0f;
    QTest::newRow("8 wide x 5 high odd HighPass 1") << 8 << 5 << int(HighPass) << 1.0f << 0.0f;
}

void TestFourierFilter::filterMatchesDirectDft()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, type);
    QFETCH(float, r1);
    QFETCH(float, r2);
    const QImage image = randomImage(width, height, 255, quint32(width * 13 + height + type));
    const QImage out = filtered(image, type, r1, r2);
    const Grid input = gridOf(image, out.height(), out.width());
    const bool even = out.width() % 2 == 0 && out.height() % 2 == 0;
    const Grid expected = even ? filteredByFrequency(input, type, r1, r2)
                               : filteredWithOddLayout(input, type, r1, r2);
    const double err = 2e-6 * sumOfMagnitudes(input);
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x) {
            const double m = std::abs(expected.at(y, x));
            const int byte = out.scanLine(y)[x];
            if (!byteWithin(byte, m, err, [](double v) { return v; }))
                QFAIL(
                    qPrintable(QString("(%1,%2): %3, expected %4").arg(x).arg(y).arg(byte).arg(m)));
        }
}

void TestFourierFilter::filterEdgeCases_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<int>("type");
    QTest::addColumn<float>("r1");
    QTest::addColumn<float>("r2");
    QTest::addColumn<QVector<double>>("expected"); // exact value per column
    const QImage ramp = columnImage(512, rampGrey), wave = columnImage(20, waveGrey);
    double mean = 0;
    for (int x = 0; x < 512; ++x)
        mean += rampGrey(x) / 512.0;

    auto perColumn = [](int size, int (*grey)(int), auto f) {
        QVector<double> v;
        for (int x = 0; x < size; ++x)
            v << f(grey(x));
        return v;
    };
    auto times2 = [](int g) { return kSqrt2 * g; };
    // Cut-off 1: grey levels up to 179 become round(g sqrt 2) (179 -> 253), the rest 255.
    QTest::newRow("LowPass 256 keeps the image x sqrt 2")
        << ramp << int(LowPass) << 256.0f << 0.0f << perColumn(512, rampGrey, times2);
    QTest::newRow("LowPass 0 keeps the zero frequency")
        << ramp << int(LowPass) << 0.0f << 0.0f
        << perColumn(512, rampGrey, [mean](int) { return kSqrt2 * mean; });
    QTest::newRow("HighPass 0 removes the zero frequency")
        << ramp << int(HighPass) << 0.0f << 0.0f
        << perColumn(512, rampGrey, [mean](int g) { return kSqrt2 * std::abs(g - mean); });
    QTest::newRow("BandReject with radius1 >= radius2 passes all")
        << ramp << int(BandReject) << 300.0f << 100.0f << perColumn(512, rampGrey, times2);

    // The wave's frequencies lie at distance 0 and exactly 5.
    const float five = 5.0f, below = std::nextafter(five, 0.0f);
    auto dcOnly = [](int) { return kSqrt2 * 60; };
    auto waveOnly = [](int g) { return kSqrt2 * std::abs(g - 60); };
    auto zero = [](int) { return 0.0; };
    QTest::newRow("at radius1: LowPass passes")
        << wave << int(LowPass) << five << 0.0f << perColumn(20, waveGrey, times2);
    QTest::newRow("at radius1: HighPass blocks")
        << wave << int(HighPass) << five << 0.0f << perColumn(20, waveGrey, zero);
    QTest::newRow("at radius1: BandPass blocks")
        << wave << int(BandPass) << five << 8.0f << perColumn(20, waveGrey, zero);
    QTest::newRow("at radius1: BandReject passes")
        << wave << int(BandReject) << five << 8.0f << perColumn(20, waveGrey, times2);
    QTest::newRow("below radius1: LowPass")
        << wave << int(LowPass) << below << 0.0f << perColumn(20, waveGrey, dcOnly);
    QTest::newRow("below radius1: HighPass")
        << wave << int(HighPass) << below << 0.0f << perColumn(20, waveGrey, waveOnly);
    QTest::newRow("below radius1: BandPass")
        << wave << int(BandPass) << below << 8.0f << perColumn(20, waveGrey, waveOnly);
    QTest::newRow("at radius2: BandPass blocks")
        << wave << int(BandPass) << 1.0f << five << perColumn(20, waveGrey, zero);
}

void TestFourierFilter::filterEdgeCases()
{
    QFETCH(QImage, image);
    QFETCH(int, type);
    QFETCH(float, r1);
    QFETCH(float, r2);
    QFETCH(QVector<double>, expected);
    const QImage out = filtered(image, type, r1, r2);
    QCOMPARE(out.size(), image.size());
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x) {
            const int byte = out.scanLine(y)[x];
            if (!byteWithin(byte, expected[x], 1e-3, [](double v) { return v; }))
                QFAIL(qPrintable(QString("(%1,%2): %3, expected %4")
                                     .arg(x)
                                     .arg(y)
                                     .arg(byte)
                                     .arg(expected[x], 0, 'f', 4)));
        }
}

QTEST_GUILESS_MAIN(TestFourierFilter)
#include "test_fourier_filter.moc"
