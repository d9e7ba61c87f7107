#include "ExactCompare.h"
#include "Plane.h"
#include "PlaneImage.h"
#include "SymmetryEngine.h"

#include <QImage>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using kelvara::Plane;

namespace {

constexpr int kN = 512;

QImage uniformImage(int grey, int size = kN)
{
    QImage image(size, size, QImage::Format_Grayscale8);
    image.fill(uchar(grey));
    return image;
}

QImage noiseImage(unsigned seed)
{
    QImage image(kN, kN, QImage::Format_Grayscale8);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> grey(0, 255);
    for (int y = 0; y < kN; ++y)
        for (int x = 0; x < kN; ++x)
            image.scanLine(y)[x] = uchar(grey(random));
    return image;
}

// An engine sized to W x H at the callers' AOI origin, whose three raw symmetries come from the
// given image.
void computeRaw(SymmetryEngine& engine, int w, int h, const QImage& image, bool inverted = false)
{
    engine.resize(w, h);
    const int x0 = int(256.0 - w / 2), y0 = int(256.0 - h * 0.5);
    engine.computeRawSymmetries(image, image, image, x0, y0, x0, y0, x0, y0, inverted, inverted,
                                inverted);
}

void computeMasks(SymmetryEngine& engine, int w, int h, const QImage& dwi, const QImage& adc,
                  MaskMode mode = MaskMode::Binary)
{
    engine.resize(w, h);
    const int x0 = int(256.0 - w / 2), y0 = int(256.0 - h * 0.5);
    engine.computeMasks(dwi, adc, x0, y0, x0, y0, mode, mode);
}

bool planeIs(const double* const* plane, double v)
{
    for (int x = 0; x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            if (plane[x][y] != v)
                return false;
    return true;
}

} // namespace

class TestSymmetryEngine : public QObject
{
    Q_OBJECT

private slots:
    void planeCopiesOwnStorage();
    void uniformRim_data();
    void uniformRim();
    void oddHeightReadsOneRowHigher_data();
    void oddHeightReadsOneRowHigher();
    void pixelsReadAsQImagePixel_data();
    void pixelsReadAsQImagePixel();
    void pixelsOutsideTheImage();
    void masks_data();
    void masks();
    void maskModes_data();
    void maskModes();
    void regionAverage_data();
    void regionAverage();
    void planeImageWraps_data();
    void planeImageWraps();
    void engineImages();
    void oversizeAoi_data();
    void oversizeAoi();
    void smoothSymmetriesChain();
};

void TestSymmetryEngine::planeCopiesOwnStorage()
{
    Plane a;
    a[3][4] = 7.0;
    Plane b = a;
    b[3][4] = 9.0;
    COMPARE_EXACT(a[3][4], 7.0);
    COMPARE_EXACT(b.columns()[3][4], 9.0);
    QCOMPARE(b.columns()[0], b.data());
    QCOMPARE(b.columns()[511], b.data() + 511 * kN);
    a = b;
    COMPARE_EXACT(a.columns()[3][4], 9.0);
    QVERIFY(a.columns()[3] != b.columns()[3]);
}

void TestSymmetryEngine::uniformRim_data()
{
    QTest::addColumn<bool>("inverted");
    QTest::addColumn<double>("flat");
    QTest::addColumn<double>("rim");
    QTest::newRow("plain") << false << 0.0 << 100.0;
    QTest::newRow("inverted") << true << 255.0 << 155.0;
}

// Uniform grey 100 in the default AOI (W 100, H 50: columns 206..305, rows 231..280): the raw
// symmetries show only the ellipse's rim.
void TestSymmetryEngine::uniformRim()
{
    QFETCH(bool, inverted);
    QFETCH(double, flat);
    QFETCH(double, rim);
    SymmetryEngine engine;
    QCOMPARE(engine.regionWidth(), 0);
    QCOMPARE(engine.regionHeight(), 0);
    computeRaw(engine, 100, 50, uniformImage(100), inverted);
    const double* const* region = engine.t2Region();
    QRect box;
    for (int x = 0; x < kN; ++x) {
        for (int y = 0; y < kN; ++y) {
            if (region[x][y] != 0.0)
                box |= QRect(x, y, 1, 1);
            COMPARE_EXACT(region[x][y], region[x][y] == 0.0 ? 0.0 : 100.0);
        }
    }
    QCOMPARE(box, QRect(QPoint(206, 231), QPoint(305, 280)));
    for (int k = 0; k < kN; ++k) {
        COMPARE_EXACT(region[206][k], k == 256 ? 100.0 : 0.0);
        COMPARE_EXACT(region[k][231], k == 256 ? 100.0 : 0.0);
    }
    COMPARE_EXACT(engine.dwiRegion()[256][256], 100.0);
    COMPARE_EXACT(engine.adcRegion()[305][256], 100.0);
    for (const double* const* raw :
         {engine.t2RawSymmetry(), engine.dwiRawSymmetry(), engine.adcRawSymmetry()}) {
        int rimCells = 0;
        for (int x = 0; x < kN; ++x) {
            for (int y = 0; y < kN; ++y) {
                // A rim cell faces a mirror cell on the other side of the ellipse's border.
                const bool onRim = (region[x][y] == 0.0) != (region[kN - 1 - x][y] == 0.0);
                COMPARE_EXACT(raw[x][y], onRim ? rim : flat);
                rimCells += onRim;
            }
        }
        QVERIFY(rimCells > 0);
        // Row 231 holds the single cell of column 256: it and its mirror cell read the rim.
        COMPARE_EXACT(raw[256][231], rim);
        COMPARE_EXACT(raw[255][231], rim);
    }
    // Resizing to the same AOI keeps the planes; another size clears them.
    engine.resize(100, 50);
    COMPARE_EXACT(engine.t2Region()[256][256], 100.0);
    COMPARE_EXACT(engine.adcRawSymmetry()[256][231], rim);
    engine.resize(100, 52);
    QCOMPARE(engine.regionHeight(), 52);
    QVERIFY(planeIs(engine.t2Region(), 0.0));
    QVERIFY(planeIs(engine.adcRawSymmetry(), 0.0));
}

void TestSymmetryEngine::oddHeightReadsOneRowHigher_data()
{
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("shift");
    QTest::newRow("even 50") << 50 << 0;
    QTest::newRow("odd 51") << 51 << -1;
    QTest::newRow("odd 7") << 7 << -1;
}

void TestSymmetryEngine::oddHeightReadsOneRowHigher()
{
    QFETCH(int, height);
    QFETCH(int, shift);
    QImage image(kN, kN, QImage::Format_Grayscale8);
    for (int y = 0; y < kN; ++y)
        std::fill_n(image.scanLine(y), kN, uchar(y % 200 + 1));
    SymmetryEngine engine;
    computeRaw(engine, 100, height, image);
    for (int y = 256 - height / 2 + 1; y < 256 + height / 2 - 1; ++y)
        COMPARE_EXACT(engine.t2Region()[256][y], double((y + shift) % 200 + 1));
}

void TestSymmetryEngine::pixelsReadAsQImagePixel_data()
{
    QTest::addColumn<int>("format");
    for (QImage::Format f : {QImage::Format_Grayscale8, QImage::Format_RGB32, QImage::Format_ARGB32,
                             QImage::Format_ARGB32_Premultiplied, QImage::Format_RGB888,
                             QImage::Format_Indexed8, QImage::Format_Grayscale16})
        QTest::addRow("format %d", int(f)) << int(f);
}

// Every format gives the low byte of QImage::pixel, whether read from the scan line or not.
void TestSymmetryEngine::pixelsReadAsQImagePixel()
{
    QFETCH(int, format);
    QImage colours(kN, kN, QImage::Format_ARGB32);
    std::mt19937 random(4);
    for (int y = 0; y < kN; ++y)
        for (int x = 0; x < kN; ++x)
            colours.setPixel(x, y, uint(random()));
    const QImage image = colours.convertToFormat(QImage::Format(format));

    SymmetryEngine engine;
    engine.resize(512, 512);
    QImage white(kN, kN, QImage::Format_RGB32);
    white.fill(Qt::white);
    Plane inside, region; // inside: 1 on the region ellipse
    engine.fillRegion(white, 0, 0, inside);
    engine.fillRegion(image, 0, 0, region);
    int cells = 0;
    for (int x = 0; x < kN; ++x) {
        for (int y = 0; y < kN; ++y) {
            const double expected = inside[x][y] != 0.0 ? double(image.pixel(x, y) & 0xFF) : 0.0;
            if (region[x][y] != expected)
                QFAIL(qPrintable(QString("pixel %1,%2").arg(x).arg(y)));
            cells += inside[x][y] != 0.0;
        }
    }
    QVERIFY(cells > 200000);
}

void TestSymmetryEngine::pixelsOutsideTheImage()
{
    // A 2 x 2 AOI holds cells (256, 256), (255, 256) and (256, 255). With x0 = -1 the middle one
    // reads image column -1.
    const QImage image = uniformImage(90, 10);
    SymmetryEngine engine;
    engine.resize(2, 2);
    Plane region;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QImage::pixel"));
    engine.fillRegion(image, -1, 0, region);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QImage::pixel"));
    const double outside = double(image.pixel(-1, 1) & 0xFF);
    COMPARE_EXACT(region[255][256], outside);
    COMPARE_EXACT(region[256][256], 90.0);
    COMPARE_EXACT(region[256][255], 90.0);
}

void TestSymmetryEngine::masks_data()
{
    QTest::addColumn<double>("left");
    QTest::addColumn<double>("right");
    QTest::addColumn<double>("outside"); // mask value outside the ellipse (grey 0)
    QTest::addColumn<double>("inside");  // mask value on the AOI (grey 80)
    QTest::newRow("default [0, 255]") << 0.0 << 255.0 << 1.0 << 1.0;
    QTest::newRow("[0, 0]") << 0.0 << 0.0 << 1.0 << 0.0;
    QTest::newRow("[1, 255]") << 1.0 << 255.0 << 0.0 << 1.0;
    QTest::newRow("[80, 80]") << 80.0 << 80.0 << 0.0 << 1.0;
    QTest::newRow("lower above upper") << 200.0 << 100.0 << 0.0 << 0.0;
    QTest::newRow("NaN bound") << std::nan("") << 255.0 << 0.0 << 0.0;
}

void TestSymmetryEngine::masks()
{
    QFETCH(double, left);
    QFETCH(double, right);
    QFETCH(double, outside);
    QFETCH(double, inside);
    SymmetryEngine engine;
    // Start-up intervals: DWI [0, 255], ADC [0, 0].
    QVERIFY(engine.dwiLeft() == 0.0 && engine.dwiRight() == 255.0);
    QVERIFY(engine.adcLeft() == 0.0 && engine.adcRight() == 0.0);
    engine.setDWILeft(left);
    engine.setDWIRight(right);
    engine.setADCLeft(left);
    engine.setADCRight(right);
    computeMasks(engine, 100, 50, uniformImage(80), uniformImage(80));
    const double* const* region = engine.dwiRegion();
    for (int x = 0; x < kN; ++x) {
        for (int y = 0; y < kN; ++y) {
            const double expected = region[x][y] == 0.0 ? outside : inside;
            COMPARE_EXACT(engine.dwiMask()[x][y], expected);
            COMPARE_EXACT(engine.adcMask()[x][y], expected);
        }
    }
    // A uniform AOI is symmetric except on the rim, so check the symmetric masks away from it.
    for (const double* const* mask : {engine.dwiSymmetricMask(), engine.adcSymmetricMask()}) {
        COMPARE_EXACT(mask[0][0], outside);
        COMPARE_EXACT(mask[511][300], outside);
        COMPARE_EXACT(mask[256][256], inside);
        COMPARE_EXACT(mask[220][250], inside);
    }
    COMPARE_EXACT(engine.dwiMaskAverage(), inside);
    QCOMPARE(engine.dwiMaskImage().pixel(0, 0),
             outside == 1.0 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
    QCOMPARE(engine.adcSymmetricMaskImage().pixel(256, 256),
             inside == 1.0 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
}

void TestSymmetryEngine::maskModes_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("value");
    QTest::newRow("Binary") << int(MaskMode::Binary) << 1.0;
    QTest::newRow("Difference") << int(MaskMode::Difference) << 150.0 / 255.0;
    QTest::newRow("Similarity") << int(MaskMode::Similarity) << 1.0 - 150.0 / 255.0;
}

// One pixel inside the interval [150, 255] whose mirror pixel (grey 50) lies outside it.
void TestSymmetryEngine::maskModes()
{
    QFETCH(int, mode);
    QFETCH(double, value);
    QImage dwi = uniformImage(50);
    dwi.scanLine(256)[300] = 200; // setPixel would convert an RGB value
    SymmetryEngine engine;
    engine.setDWILeft(150);
    computeMasks(engine, 100, 50, dwi, uniformImage(0), MaskMode(mode));
    for (int x = 0; x < kN; ++x) {
        for (int y = 0; y < kN; ++y) {
            const bool pixel = x == 300 && y == 256;
            const bool mirror = x == 211 && y == 256;
            COMPARE_EXACT(engine.dwiMask()[x][y], pixel ? value : 0.0);
            COMPARE_EXACT(engine.dwiSymmetricMask()[x][y], pixel || mirror ? value : 0.0);
        }
    }
    if (MaskMode(mode) == MaskMode::Binary) {
        QCOMPARE(engine.dwiSymmetricMaskImage().pixel(211, 256), qRgb(255, 255, 255));
        QCOMPARE(engine.dwiMaskImage().pixel(211, 256), qRgb(0, 0, 0));
        // The ADC interval [0, 0] holds the whole black image.
        QVERIFY(planeIs(engine.adcMask(), 1.0));
    }

    // An unknown mode keeps the selected cells (now all of them) as they were.
    engine.setDWILeft(0);
    computeMasks(engine, 100, 50, dwi, dwi, MaskMode(7));
    COMPARE_EXACT(engine.dwiMask()[300][256], value);
    COMPARE_EXACT(engine.dwiMask()[256][256], 0.0);
    COMPARE_EXACT(engine.dwiSymmetricMask()[211][256], value);
}

void TestSymmetryEngine::regionAverage_data()
{
    QTest::addColumn<int>("w");
    QTest::addColumn<int>("h");
    QTest::addColumn<double>("average");
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("100x50") << 100 << 50 << 77.0;
    QTest::newRow("1x1") << 1 << 1 << 77.0;
    QTest::newRow("width 0") << 0 << 50 << nan;
    QTest::newRow("height 0") << 100 << 0 << nan;
    QTest::newRow("negative width") << -4 << 10 << nan;
}

void TestSymmetryEngine::regionAverage()
{
    QFETCH(int, w);
    QFETCH(int, h);
    QFETCH(double, average);
    SymmetryEngine engine;
    computeMasks(engine, w, h, uniformImage(77), uniformImage(77));
    Plane ones;
    ones.fill(1.0);
    // ADC [0, 0] holds none of the grey 77 cells; cells outside the ellipse never count.
    const bool none = std::isnan(average);
    const double got[] = {engine.dwiImageAverage(), engine.adcImageAverage(),
                          engine.adcMaskAverage(), engine.regionAverage(ones.columns())};
    const double expected[] = {average, average, none ? average : 0.0, none ? average : 1.0};
    for (int i = 0; i < 4; ++i)
        QVERIFY2(none ? std::isnan(got[i]) : got[i] == expected[i], qPrintable(QString::number(i)));
}

void TestSymmetryEngine::planeImageWraps_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("grey");
    QTest::newRow("255") << 255.0 << 1.0 << 255;
    QTest::newRow("255.9 truncates") << 255.9 << 1.0 << 255;
    QTest::newRow("256 wraps") << 256.0 << 1.0 << 0;
    QTest::newRow("300 wraps") << 300.0 << 1.0 << 44;
    QTest::newRow("-1 wraps") << -1.0 << 1.0 << 255;
    QTest::newRow("NaN") << std::nan("") << 1.0 << 0;
    QTest::newRow("mask 1") << 1.0 << 255.0 << 255;
    QTest::newRow("mask 0.5") << 0.5 << 255.0 << 127;
}

void TestSymmetryEngine::planeImageWraps()
{
    QFETCH(double, value);
    QFETCH(double, scale);
    QFETCH(int, grey);
    Plane p;
    p[5][300] = value;
    const QImage image = kelvara::planeImage(p.columns(), kN, kN, scale);
    QCOMPARE(image.format(), QImage::Format_RGB32);
    QCOMPARE(image.pixel(5, 300), qRgb(grey, grey, grey));
    QCOMPARE(image.pixel(300, 5), qRgb(0, 0, 0)); // columns are x: not transposed
}

// The images show the planes, the smooth result with its grey wrapped.
void TestSymmetryEngine::engineImages()
{
    SymmetryEngine engine;
    QVERIFY(engine.t2SmoothImage().isNull());
    computeRaw(engine, 300, 200, noiseImage(9));
    engine.smoothSymmetries(0, 0, 0, 300, 200, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 3, 3, 3);
    const QImage raw = engine.dwiRawSymmetryImage(), smooth = engine.adcSmoothImage();
    for (int x = 0; x < kN; x += 7) {
        for (int y = 0; y < kN; y += 5) {
            const int r = int(engine.dwiRawSymmetry()[x][y]);
            const int s = int(engine.adcSmoothResult()[x][y]) & 0xFF;
            QVERIFY(raw.pixel(x, y) == qRgb(r, r, r) && smooth.pixel(x, y) == qRgb(s, s, s));
        }
    }
}

void TestSymmetryEngine::oversizeAoi_data()
{
    QTest::addColumn<int>("w");
    QTest::addColumn<int>("h");
    QTest::newRow("2000x1000") << 2000 << 1000;
    QTest::newRow("2000x999") << 2000 << 999;
    QTest::newRow("600x513") << 600 << 513;
    QTest::newRow("2000x1") << 2000 << 1;
    QTest::newRow("1x1000") << 1 << 1000;
}

// AOIs beyond the canvas are clipped to it; the sanitizer build proves nothing else is touched.
void TestSymmetryEngine::oversizeAoi()
{
    QFETCH(int, w);
    QFETCH(int, h);
    SymmetryEngine engine;
    const QImage image = uniformImage(100);
    computeRaw(engine, w, h, image);
    computeMasks(engine, w, h, image, image);
    engine.smoothSymmetries(0, 1, 0, w, h, 1, 1, 1, 1, 0, 0, 0, 0, 0, 9, 9, 100, 100, 1);

    const double* const* region = engine.t2Region();
    // The ellipse is symmetric about column 256, so beyond the canvas a full-height (or
    // full-width) band remains.
    if (w >= 1024 && h >= 1000)
        QVERIFY(planeIs(region, 100.0));
    // A one-cell-thin AOI fills exactly one canvas row or column: a write that ran past the
    // end of a column would land in the next one.
    for (int x = 0; (h == 1 || w == 1) && x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            COMPARE_EXACT(region[x][y], (h == 1 ? y == 256 : x == 256) ? 100.0 : 0.0);
    COMPARE_EXACT(engine.dwiImageAverage(), 100.0);
    COMPARE_EXACT(engine.dwiMaskAverage(), 1.0);
    QCOMPARE(engine.t2SmoothImage().size(), QSize(kN, kN));
}

void TestSymmetryEngine::smoothSymmetriesChain()
{
    SymmetryEngine engine;
    computeRaw(engine, 300, 250, noiseImage(2));
    // Start-up settings (rectangle 0 x 0, "Average symmetries"): the raw symmetries unchanged.
    engine.smoothSymmetries(0, 0, 0, 300, 250, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1);
    for (auto [raw, result] : {std::pair{engine.t2RawSymmetry(), engine.t2SmoothResult()},
                               {engine.dwiRawSymmetry(), engine.dwiSmoothResult()},
                               {engine.adcRawSymmetry(), engine.adcSmoothResult()}})
        for (int x = 0; x < kN; ++x)
            QVERIFY(std::equal(raw[x], raw[x] + kN, result[x]));

    // Circle of radius 1: the mean of the cell and its four neighbours, summed column by
    // column. "Average image" with rectangle 0 x 0: the region against its point reflection.
    engine.smoothSymmetries(0, 1, 0, 300, 250, 1, 1, 1, 0, 7, 0, 0, 0, 0, 0, 0, 1, 1, 1);
    QCOMPARE(engine.t2Smoother().kernelRows(), 3);
    QCOMPARE(engine.dwiSmoother().kernelRows(), 0);
    QCOMPARE(engine.adcSmoother().kernelRows(), 3); // any shape but 0 is the circle
    const double* const* raw = engine.t2RawSymmetry();
    for (int x = 1; x < kN - 1; x += 5)
        for (int y = 1; y < kN - 1; y += 3)
            COMPARE_EXACT(
                engine.t2SmoothResult()[x][y],
                (raw[x - 1][y] + raw[x][y - 1] + raw[x][y] + raw[x][y + 1] + raw[x + 1][y]) * 0.2);
    const double* const* region = engine.dwiRegion();
    for (int x = 0; x < kN; ++x)
        for (int y = 0; y < kN; ++y)
            if (engine.dwiSmoothResult()[x][y] !=
                std::fabs(region[x][y] - region[kN - 1 - x][kN - 1 - y]))
                QFAIL(qPrintable(QString("cell %1,%2").arg(x).arg(y)));
}

QTEST_GUILESS_MAIN(TestSymmetryEngine)
#include "test_symmetryengine.moc"
