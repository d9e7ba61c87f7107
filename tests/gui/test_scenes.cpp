// Image scenes: scaling rules of the two scene kinds, midline painting, the PNG save through
// the dialog seam, and zoom.
#include "Dialogs.h"
#include "MaskView.h"
#include "MidLinePixmapItem.h"
#include "T2_View.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPushButton>
#include <QtTest>

#include <memory>

namespace {

QImage greyRamp(int w, int h)
{
    QImage img(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.scanLine(y)[x] = uchar((x * 7 + y * 13) & 0xFF);
    return img;
}

// What the scene paints, rendered 1:1 into an opaque white image of the pixmap's size.
QImage renderScene(QGraphicsScene* scene, QSize size)
{
    QImage out(size, QImage::Format_ARGB32);
    out.fill(Qt::white);
    QPainter p(&out);
    scene->render(&p, QRectF(QPointF(0, 0), QSizeF(size)), QRectF(QPointF(0, 0), QSizeF(size)));
    return out;
}

} // namespace

class TestScenes : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

private slots:
    void cleanup() { kelvara::Dialogs::resetHandlers(); }

    void scaling_data()
    {
        QTest::addColumn<bool>("keepAspect");
        QTest::addColumn<QSize>("input");
        QTest::addColumn<double>("factor");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("T2 3x3 by 1.5 truncates to 4x4")
            << false << QSize(3, 3) << 1.5 << QSize(4, 4);
        // 10x3 by 1.5 targets 15x4: the T2 scene stretches, the mask scene keeps 10:3.
        QTest::newRow("T2 ignores aspect ratio") << false << QSize(10, 3) << 1.5 << QSize(15, 4);
        QTest::newRow("mask keeps aspect ratio") << true << QSize(10, 3) << 1.5 << QSize(13, 4);
        QTest::newRow("scale 0 empties the image") << false << QSize(64, 64) << 0.0 << QSize(0, 0);
        QTest::newRow("mask scale 0 empties the image")
            << true << QSize(64, 64) << 0.0 << QSize(0, 0);
    }
    void scaling()
    {
        QFETCH(bool, keepAspect);
        QFETCH(QSize, input);
        QFETCH(double, factor);
        QFETCH(QSize, expected);
        T2_View t2;
        MaskView mask;
        ImageScene& s = keepAspect ? static_cast<ImageScene&>(mask) : t2;
        s.scaleImage(3.0); // ignored before any image
        QVERIFY(s.image().isNull());
        s.setImage(greyRamp(input.width(), input.height()));
        s.scaleImage(factor);
        QCOMPARE(s.image().size(), expected);
        QCOMPARE(s.pixmapItem()->pixmap().size(), expected);
        QCOMPARE(s.originalImage().size(), input); // scaling always starts from the image as set
    }

    void nearestNeighbourForT2()
    {
        T2_View t2;
        t2.setImage(greyRamp(4, 4));
        t2.scaleImage(2.0);
        // Fast transformation: every output pixel is a copy of a source pixel.
        for (int i = 0; i < 64; ++i)
            QCOMPARE(t2.image().pixel(i % 8, i / 8), greyRamp(4, 4).pixel(i % 8 / 2, i / 16));
    }

    void boxGeometry()
    {
        MaskView v;
        QCOMPARE(v.boxItem()->rect(), QRectF(0, 0, 100, 50));
        QCOMPARE(v.boxItem()->zValue(), 2.0);
        QCOMPARE(v.boxItem()->pen().color(), QColor(Qt::green));
        QCOMPARE(v.boxItem()->brush().style(), Qt::NoBrush);
        v.setBoxHalfWidth(30);
        v.setBoxHeight(21);
        v.setBoxPos(QPointF(206, 231));
        QCOMPARE(v.boxItem()->rect(), QRectF(0, 0, 60, 21));
        QCOMPARE(v.boxItem()->pos(), QPointF(206, 231));
        QCOMPARE(v.boxX(), 206.0);
        QCOMPARE(v.boxY(), 231.0);
        v.setBoxVisible(false);
        QVERIFY(!v.boxItem()->isVisible());
    }

    void midline_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("midline");
        QTest::newRow("64x32 with midline") << QSize(64, 32) << true;
        QTest::newRow("63x20 with midline") << QSize(63, 20) << true;
        QTest::newRow("64x32 without") << QSize(64, 32) << false;
        QTest::newRow("9 wide paints nothing") << QSize(9, 40) << true;
        QTest::newRow("9 high paints nothing") << QSize(40, 9) << true;
    }
    void midline()
    {
        QFETCH(QSize, size);
        QFETCH(bool, midline);
        T2_View v;
        v.setBoxVisible(false);
        QImage black(size, QImage::Format_Grayscale8);
        black.fill(0);
        v.setImage(black);
        v.setMidlineVisible(midline);
        const QImage shown = renderScene(v.graphicsScene(), size);
        const bool painted = size.width() >= 10 && size.height() >= 10;
        for (int x = 0; x < size.width(); ++x) {
            const QRgb c = shown.pixel(x, size.height() / 2);
            if (!painted)
                QCOMPARE(c, qRgb(255, 255, 255)); // background shows through
            else if (midline && x == size.width() / 2)
                QVERIFY2(qBlue(c) > 200 && qRed(c) < 60, qPrintable(QString::number(x)));
            else
                QCOMPARE(c, qRgb(0, 0, 0));
        }
    }

    void save_data()
    {
        QTest::addColumn<bool>("mask"); // the T2 scene's save button does nothing
        QTest::addColumn<bool>("hasImage");
        QTest::addColumn<bool>("cancel");
        QTest::newRow("saved") << true << true << false;
        QTest::newRow("cancelled") << true << true << true;
        QTest::newRow("no image") << true << false << false;
        QTest::newRow("T2 scene") << false << true << false;
    }
    void save()
    {
        QFETCH(bool, mask);
        QFETCH(bool, hasImage);
        QFETCH(bool, cancel);
        const QString file = dir.filePath(QTest::currentDataTag() + QString(".png"));
        QStringList asked;
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget*, const QString& c, const QString& d, const QString& f) {
                asked << c << d << f;
                return cancel ? QString() : file;
            });
        std::unique_ptr<ImageScene> v;
        if (mask)
            v = std::make_unique<MaskView>();
        else
            v = std::make_unique<T2_View>();
        QGraphicsView gv;
        QPushButton save;
        v->attachView(&gv, &save);
        v->setMidlineVisible(true);
        const QImage img = greyRamp(40, 30);
        if (hasImage)
            v->setImage(img);
        save.click(); // through the button: the override runs
        QCOMPARE(QFile::exists(file), mask && hasImage && !cancel);
        if (mask && hasImage)
            QCOMPARE(asked, QStringList({"Save image", ".", "PNG files (*.png)"}));
        if (!mask)
            QVERIFY(asked.isEmpty());
        if (QFile::exists(file)) // no midline in the saved picture
            QCOMPARE(QImage(file).convertToFormat(QImage::Format_Grayscale8), img);
    }

    void zoomReplacesTransform()
    {
        T2_View v;
        v.setZoom(300); // not attached (like the hidden AOI sources): ignored
        QGraphicsView gv;
        v.attachView(&gv, nullptr);
        QCOMPARE(gv.scene(), v.graphicsScene());
        QCOMPARE(gv.renderHints(), QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        v.setZoom(500);
        v.setZoom(1);
        QCOMPARE(gv.transform(), QTransform::fromScale(0.01, 0.01));
        v.setZoom(100);
        QVERIFY(gv.transform().isIdentity());
    }
};

QTEST_MAIN(TestScenes)
#include "test_scenes.moc"
