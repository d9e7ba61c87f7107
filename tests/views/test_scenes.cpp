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
        QTest::newRow("T2 3x3 by 1.5 truncates to 4x4") << false << QSize(3, 3) << 1.5 << QSize(4, 4);
        QTest::newRow("mask 3x3 by 1.5") << true << QSize(3, 3) << 1.5 << QSize(4, 4);
        // 10x3 by 1.5 targets 15x4: the T2 scene stretches, the mask scene keeps 10:3.
        QTest::newRow("T2 ignores aspect ratio") << false << QSize(10, 3) << 1.5 << QSize(15, 4);
        QTest::newRow("mask keeps aspect ratio") << true << QSize(10, 3) << 1.5 << QSize(13, 4);
        QTest::newRow("T2 256 by 2") << false << QSize(256, 256) << 2.0 << QSize(512, 512);
        QTest::newRow("scale 0 empties the image") << false << QSize(64, 64) << 0.0 << QSize(0, 0);
        QTest::newRow("mask scale 0 empties the image") << true << QSize(64, 64) << 0.0 << QSize(0, 0);
    }
    void scaling()
    {
        QFETCH(bool, keepAspect);
        QFETCH(QSize, input);
        QFETCH(double, factor);
        QFETCH(QSize, expected);
        T2_View t2;
        MaskView mask;
        ImageScene& s = keepAspect ? static_cast<ImageScene&>(mask) : static_cast<ImageScene&>(t2);
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
        const QImage src = greyRamp(4, 4);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x)
                QCOMPARE(qGray(t2.image().pixel(x, y)), qGray(src.pixel(x / 2, y / 2)));
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

    void saveThroughSeam_data()
    {
        QTest::addColumn<bool>("cancel");
        QTest::newRow("saved") << false;
        QTest::newRow("cancelled") << true;
    }
    void saveThroughSeam()
    {
        QFETCH(bool, cancel);
        const QString file = dir.filePath(cancel ? "cancelled.png" : "saved.png");
        QString caption, filter, start;
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget*, const QString& c, const QString& d, const QString& f) {
                caption = c;
                start = d;
                filter = f;
                return cancel ? QString() : file;
            });
        MaskView v;
        QGraphicsView gv;
        QPushButton save;
        v.attachView(&gv, &save);
        v.setMidlineVisible(true);
        const QImage img = greyRamp(40, 30);
        v.setImage(img);
        save.click(); // through the button: the override runs
        QCOMPARE(caption, QStringLiteral("Save image"));
        QCOMPARE(start, QStringLiteral("."));
        QCOMPARE(filter, QStringLiteral("PNG files (*.png)"));
        QCOMPARE(QFile::exists(file), !cancel);
        if (!cancel) {
            const QImage back(file);
            QCOMPARE(back.size(), img.size());
            for (int y = 0; y < img.height(); ++y)
                for (int x = 0; x < img.width(); ++x) // no midline in the saved picture
                    QCOMPARE(qGray(back.pixel(x, y)), qGray(img.pixel(x, y)));
        }
    }

    void saveOfScaledImageKeepsShownSize()
    {
        const QString file = dir.filePath("scaled.png");
        kelvara::Dialogs::setSaveFileHandler([&](QWidget*, const QString&, const QString&, const QString&) {
            return file;
        });
        MaskView v;
        v.setImage(greyRamp(20, 10));
        v.scaleImage(2.0);
        v.setZoom(300); // never attached (like the hidden AOI sources): ignored
        v.save2DImage();
        QCOMPARE(QImage(file).size(), QSize(40, 20));
    }

    void nothingSavedWithoutImage()
    {
        const QString file = dir.filePath("empty.png");
        kelvara::Dialogs::setSaveFileHandler([&](QWidget*, const QString&, const QString&, const QString&) {
            return file;
        });
        MaskView v;
        v.save2DImage();
        QVERIFY(!QFile::exists(file));
    }

    void t2ViewSaveButtonDoesNothing()
    {
        bool asked = false;
        kelvara::Dialogs::setSaveFileHandler([&](QWidget*, const QString&, const QString&, const QString&) {
            asked = true;
            return dir.filePath("t2.png");
        });
        T2_View v;
        QGraphicsView gv;
        QPushButton save;
        v.attachView(&gv, &save);
        v.setImage(greyRamp(20, 20));
        save.click();
        QVERIFY(!asked);
        QVERIFY(!QFile::exists(dir.filePath("t2.png")));
    }

    void zoomReplacesTransform()
    {
        T2_View v;
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
