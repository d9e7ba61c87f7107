#include "ExactCompare.h"
#include "Plane.h"
#include "PlaneImage.h"
#include "SymmetryEngine.h"

#include <QImage>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <random>

using kelvara::Plane;

namespace {

constexpr int kN = 512;

QImage uniformImage(int grey)
{
    QImage image(kN, kN, QImage::Format_Grayscale8);
    image.fill(uchar(grey));
    return image;
}

QImage noiseImage(unsigned seed)
{
    QImage image = uniformImage(0);
    std::mt19937 random(seed);
    for (int y = 0; y < kN; ++y)
        for (int x = 0; x < kN; ++x)
            image.scanLine(y)[x] = uchar(random());
    return image;
}

// The engine sized to W x H, at the AOI origin the analysis passes, with its raw symmetries
// (and its masks) computed from the image, as the analysis computes them.
void compute(SymmetryEngine& engine, int w, int h, const QImage& image, bool inverted = false,
             bool masks = false)
{
    engine.resize(w, h);
    const int x0 = int(256.0 - w / 2), y0 = int(256.0 - h * 0.5);
    engine.computeRawSymmetries(image, image, image, x0, y0, x0, y0, x0, y0, inverted, inverted,
                                inverted);
    if (masks)
        engine.computeMasks(image, image, x0, y0, x0, y0, MaskMode::Binary, MaskMode::Binary);
}

bool planeIs(const double* const* plane, double v)
{
    for (int x = 0; x < kN; ++x)
        if (!std::all_of(plane[x], plane[x] + kN, [v](double cell) { return cell == v; }))
            return false;
    return true;
}

} // namespace

class TestSymmetryEngine : public QObject
{
    Q_OBJECT

private slots:
    // Uniform grey 100 in the AOI W 100, H 50 (columns 206..305, rows 231..280): the raw
    // symmetries show only the ellipse's rim, 100 (or 255 - 100 inverted) where a cell faces a
    // mirror cell across the border, 0 (255) elsewhere.
    void uniformRim()
    {
        for (const bool inverted : {false, true}) {
            SymmetryEngine engine;
            compute(engine, 100, 50, uniformImage(100), inverted);
            const double* const* region = engine.t2Region();
            QRect box;
            for (int x = 0; x < kN; ++x)
                for (int y = 0; y < kN; ++y)
                    if (region[x][y] != 0.0)
                        box |= QRect(x, y, 1, 1);
            QCOMPARE(box, QRect(206, 231, 100, 50));
            for (int k = 0; k < kN; ++k) { // the leftmost column and top row touch it only
                COMPARE_EXACT(region[206][k], k == 256 ? 100.0 : 0.0);
                COMPARE_EXACT(region[k][231], k == 256 ? 100.0 : 0.0);
            }
            for (const double* const* raw :
                 {engine.t2RawSymmetry(), engine.dwiRawSymmetry(), engine.adcRawSymmetry()})
                for (int x = 0; x < kN; ++x)
                    for (int y = 0; y < kN; ++y) {
                        const bool rim = (region[x][y] == 0.0) != (region[kN - 1 - x][y] == 0.0);
                        const double d = rim ? 100.0 : 0.0;
                        COMPARE_EXACT(raw[x][y], inverted ? 255.0 - d : d);
                    }
            // Resizing to the same AOI keeps the planes; another size clears them.
            engine.resize(100, 50);
            COMPARE_EXACT(engine.adcRawSymmetry()[255][231], inverted ? 155.0 : 100.0);
            engine.resize(100, 52);
            QVERIFY(planeIs(engine.t2Region(), 0.0) && planeIs(engine.adcRawSymmetry(), 0.0));
        }
    }

    // Grey 50 in the ellipse, 0 outside it, one pixel 200 at (300, 256) whose mirror cell is
    // (211, 256). The intervals are inclusive; the symmetric mask also takes cells whose mirror
    // cell is inside.
    void masks_data()
    {
        QTest::addColumn<double>("left");
        QTest::addColumn<double>("right");
        // mask, then symmetric mask, at: the pixel, its mirror, the ellipse, outside
        QTest::addColumn<QVector<double>>("expected");
        QTest::newRow("[150, 255]") << 150.0 << 255.0 << QVector<double>{1, 0, 0, 0, 1, 1, 0, 0};
        QTest::newRow("[50, 50]") << 50.0 << 50.0 << QVector<double>{0, 1, 1, 0, 1, 1, 1, 0};
        QTest::newRow("[0, 255]") << 0.0 << 255.0 << QVector<double>(8, 1.0);
        QTest::newRow("lower above upper") << 200.0 << 100.0 << QVector<double>(8, 0.0);
    }
    void masks()
    {
        QFETCH(double, left);
        QFETCH(double, right);
        QFETCH(QVector<double>, expected);
        QImage image = uniformImage(50);
        image.scanLine(256)[300] = 200;
        SymmetryEngine engine;
        engine.setDWILeft(left);
        engine.setDWIRight(right);
        compute(engine, 100, 50, image, false, true);
        const double* const* region = engine.dwiRegion();
        for (int x = 0; x < kN; ++x) {
            for (int y = 0; y < kN; ++y) {
                if ((region[x][y] == 0.0) != (region[kN - 1 - x][y] == 0.0))
                    continue; // the rim, where a uniform ellipse is not symmetric
                const int at = x == 300 && y == 256   ? 0
                               : x == 211 && y == 256 ? 1
                               : region[x][y] != 0.0  ? 2
                                                      : 3;
                COMPARE_EXACT(engine.dwiMask()[x][y], expected[at]);
                COMPARE_EXACT(engine.dwiSymmetricMask()[x][y], expected[4 + at]);
            }
        }
        QCOMPARE(engine.dwiSymmetricMaskImage().pixel(211, 256),
                 expected[5] ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
    }

    // Averages run over the ellipse only: the ADC interval [0, 0] holds the black cells
    // outside it but none of the grey 77 cells on it.
    void regionAverage()
    {
        for (const QSize size : {QSize(100, 50), QSize(2, 1)}) {
            SymmetryEngine engine;
            compute(engine, size.width(), size.height(), uniformImage(77), false, true);
            QVERIFY(engine.dwiImageAverage() == 77.0 && engine.adcImageAverage() == 77.0);
            QVERIFY(engine.dwiMaskAverage() == 1.0 && engine.adcMaskAverage() == 0.0);
        }
    }

    // Planes are shown column x as image column x, the grey (times the scale) truncated.
    void planeImages()
    {
        Plane p;
        p[5][300] = 12.7;
        p[6][300] = 0.5;
        const QImage image = kelvara::planeImage(p.columns(), kN, kN);
        QCOMPARE(image.format(), QImage::Format_RGB32);
        QVERIFY(image.pixel(5, 300) == qRgb(12, 12, 12) && image.pixel(300, 5) == qRgb(0, 0, 0));
        QCOMPARE(kelvara::planeImage(p.columns(), kN, kN, 255.0).pixel(6, 300),
                 qRgb(127, 127, 127));
    }

    // AOIs beyond the canvas are clipped to it; the sanitizer build proves nothing else is
    // touched. A one-row AOI fills exactly one canvas row.
    void oversizeAoi()
    {
        for (const int h : {1000, 1}) {
            SymmetryEngine engine;
            compute(engine, 2000, h, uniformImage(100), false, true);
            engine.smoothSymmetries(0, 1, 0, 2000, h, 1, 1, 1, 1, 0, 0, 0, 0, 0, 9, 9, 100, 100, 1);
            for (int x = 0; x < kN; ++x)
                for (int y = 0; y < kN; ++y)
                    COMPARE_EXACT(engine.t2Region()[x][y], h > 1 || y == 256 ? 100.0 : 0.0);
            COMPARE_EXACT(engine.dwiMaskAverage(), 1.0);
        }
    }

    void smoothSymmetriesChain()
    {
        SymmetryEngine engine;
        compute(engine, 300, 250, noiseImage(2));
        // Rectangle 0 x 0, "Average symmetries": the raw symmetries unchanged.
        engine.smoothSymmetries(0, 0, 0, 300, 250, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1);
        for (auto [raw, result] : {std::pair{engine.t2RawSymmetry(), engine.t2SmoothResult()},
                                   {engine.dwiRawSymmetry(), engine.dwiSmoothResult()},
                                   {engine.adcRawSymmetry(), engine.adcSmoothResult()}})
            for (int x = 0; x < kN; ++x)
                QVERIFY(std::equal(raw[x], raw[x] + kN, result[x]));

        // T2: circle of radius 1, the mean of the cell and its four neighbours. DWI: "Average
        // image" with rectangle 0 x 0, the region against its point reflection. ADC: radius 2.
        engine.smoothSymmetries(0, 1, 0, 300, 250, 1, 1, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 1, 2);
        QCOMPARE(engine.adcSmoother().kernelRows(), 5);
        const double* const* raw = engine.t2RawSymmetry();
        for (int x = 1; x < kN - 1; x += 5)
            for (int y = 1; y < kN - 1; y += 3)
                COMPARE_EXACT(
                    engine.t2SmoothResult()[x][y],
                    (raw[x - 1][y] + raw[x][y - 1] + raw[x][y] + raw[x][y + 1] + raw[x + 1][y]) *
                        0.2);
        const double* const* region = engine.dwiRegion();
        for (int x = 0; x < kN; ++x)
            for (int y = 0; y < kN; ++y)
                if (engine.dwiSmoothResult()[x][y] !=
                    std::fabs(region[x][y] - region[kN - 1 - x][kN - 1 - y]))
                    QFAIL(qPrintable(QString("cell %1,%2").arg(x).arg(y)));
    }
};

QTEST_GUILESS_MAIN(TestSymmetryEngine)
#include "test_symmetryengine.moc"
