#include "LEDWidget.h"

#include <QEvent>
#include <QImage>
#include <QPixmap>
#include <QRect>
#include <QTest>

#include <algorithm>
#include <cmath>

namespace {

QImage render(LEDWidget& led, bool active)
{
    led.setActive(active);
    return led.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

bool isRed(QRgb c)
{
    return qRed(c) > 240 && qGreen(c) < 15 && qBlue(c) < 15;
}

bool isGreen(QRgb c)
{
    return qGreen(c) > 240 && qRed(c) < 15 && qBlue(c) < 15;
}

bool isDark(QRgb c)
{
    return qRed(c) < 90 && qGreen(c) < 90 && qBlue(c) < 90;
}

// Bounding box of everything painted over the widget background (the corner pixel).
QRect paintedBox(const QImage& image)
{
    const QRgb background = image.pixel(0, 0);
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) != background)
                box |= QRect(x, y, 1, 1);
    return box;
}

// Dark (text or outline) pixels inside a square around the lamp's centre, clear of the outline.
int darkPixelsNear(const QImage& image, QPoint centre, int half)
{
    int count = 0;
    for (int y = centre.y() - half; y <= centre.y() + half; ++y)
        for (int x = centre.x() - half; x <= centre.x() + half; ++x)
            count += isDark(image.pixel(x, y)) ? 1 : 0;
    return count;
}

class PaintCounter : public QObject
{
public:
    int paints = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

class TestLEDWidget : public QObject
{
    Q_OBJECT

private slots:
    void lampGeometry_data();
    void lampGeometry();
    void textFollowsVerdict();
    void setActiveAlwaysRepaints();
};

void TestLEDWidget::lampGeometry_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("active");
    QTest::newRow("410x205 inactive") << QSize(410, 205) << false;
    QTest::newRow("410x205 active") << QSize(410, 205) << true;
    QTest::newRow("411x206 odd halves") << QSize(411, 206) << true;
    QTest::newRow("600x300 wide") << QSize(600, 300) << false;
    QTest::newRow("150x400 tall") << QSize(150, 400) << true;
}

void TestLEDWidget::lampGeometry()
{
    QFETCH(QSize, size);
    QFETCH(bool, active);
    LEDWidget led;
    QVERIFY(!led.isActive()); // a new lamp shows no verdict
    led.resize(size);
    const QImage image = render(led, active);
    QCOMPARE(image.size(), size);

    // Lamp box in widget pixels: origin (w/2, h/2) in integer halves, scale min(w, h) / 205,
    // ellipse from -90 to +100 logical units on both axes (410 x 205: 115, 12, 190 x 190).
    const double s = std::min(size.width(), size.height()) / 205.0;
    const QRectF lamp(size.width() / 2 - 90 * s, size.height() / 2 - 90 * s, 190 * s, 190 * s);
    // The antialiased outline (one unit wide, so scaled too) reaches half a pen beyond the
    // geometric edge and may touch one more pixel.
    const double tolerance = 0.5 * s + 1.0;
    const QRect box = paintedBox(image);
    QVERIFY2(std::abs(box.left() - lamp.left()) <= tolerance &&
                 std::abs(box.right() + 1 - lamp.right()) <= tolerance &&
                 std::abs(box.top() - lamp.top()) <= tolerance &&
                 std::abs(box.bottom() + 1 - lamp.bottom()) <= tolerance,
             qPrintable(QStringLiteral("painted %1,%2 %3x%4")
                            .arg(box.left())
                            .arg(box.top())
                            .arg(box.width())
                            .arg(box.height())));

    // Fill colour near the rim, above, below and diagonally off the three text lines.
    const QPointF c = lamp.center();
    const double r = lamp.width() / 2 - 6 * s, d = r * 0.7;
    for (const QPointF& p :
         {QPointF(c.x(), c.y() - r), QPointF(c.x(), c.y() + r), c + QPointF(-d, -d),
          c + QPointF(d, -d), c + QPointF(-d, d), c + QPointF(d, d)}) {
        const QRgb pixel = image.pixel(p.toPoint());
        QVERIFY2(active ? isRed(pixel) : isGreen(pixel),
                 qPrintable(QString::asprintf("pixel at %g,%g is %08x", p.x(), p.y(), pixel)));
    }

    // A black outline darkens the rim: a blend of fill and background alone would keep one
    // channel above 200.
    bool outlined = false;
    for (int y = int(std::floor(lamp.top())) - 1; y <= int(std::ceil(lamp.top())); ++y) {
        const QRgb pixel = image.pixel(int(c.x()), y);
        outlined = outlined || std::max({qRed(pixel), qGreen(pixel), qBlue(pixel)}) < 200;
    }
    QVERIFY(outlined);
}

void TestLEDWidget::textFollowsVerdict()
{
    LEDWidget led;
    led.resize(410, 205);
    const QImage fresh = led.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QImage inactive = render(led, false);
    QCOMPARE(fresh, inactive); // a new lamp shows the inactive verdict
    const int inactiveDark = darkPixelsNear(inactive, QPoint(210, 107), 80);
    const int activeDark = darkPixelsNear(render(led, true), QPoint(210, 107), 80);
    // "SIGNIFICANT" is a much longer first line than "NO".
    QVERIFY2(inactiveDark > 100 && activeDark > inactiveDark + 50,
             qPrintable(QStringLiteral("%1 vs %2").arg(activeDark).arg(inactiveDark)));
    // Switching back restores the inactive lamp exactly.
    QCOMPARE(render(led, false), inactive);
}

void TestLEDWidget::setActiveAlwaysRepaints()
{
    LEDWidget led;
    led.resize(410, 205);
    PaintCounter counter;
    led.installEventFilter(&counter);
    led.show();
    QVERIFY(QTest::qWaitForWindowExposed(&led));
    QTRY_VERIFY(counter.paints > 0);

    // Setting the same verdict again still repaints: the evaluation re-sets it every time.
    for (bool value : {false, false, true, true}) {
        const int before = counter.paints;
        led.setActive(value);
        QCOMPARE(led.isActive(), value);
        QTRY_VERIFY(counter.paints > before);
    }
}

QTEST_MAIN(TestLEDWidget)
#include "test_ledwidget.moc"
