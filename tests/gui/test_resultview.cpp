// The solution/evaluation view: its half-transparent overlay item and the composed PNG save
// (base image blended with the red overlay, without midline or zoom) through the dialog seam.
#include "Dialogs.h"
#include "ResultView.h"
#include "TransparentPixmapItem.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>
#include <QPushButton>
#include <QtTest>

namespace {

QImage flatGrey(int w, int h, int grey)
{
    QImage img(w, h, QImage::Format_RGB32);
    img.fill(qRgb(grey, grey, grey));
    return img;
}

// Red points on transparent black, as the solution's interval image is drawn.
QImage redMarks(int w, int h, const QList<QPoint>& points)
{
    QImage img(w, h, QImage::Format_ARGB32);
    img.fill(qRgba(0, 0, 0, 0));
    QPainter p(&img);
    p.setPen(Qt::red);
    for (const QPoint& pt : points)
        p.drawPoint(pt);
    return img;
}

} // namespace

class TestResultView : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    // One view for all cases: each carries a 3D graph, which is costly under software OpenGL.
    std::unique_ptr<ResultView> view;
    std::unique_ptr<QGraphicsView> graphicsView;
    std::unique_ptr<QPushButton> saveButton;

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        view = std::make_unique<ResultView>();
        graphicsView = std::make_unique<QGraphicsView>();
        saveButton = std::make_unique<QPushButton>();
        view->attachView(graphicsView.get(), saveButton.get());
    }
    void cleanupTestCase() { view.reset(); }
    void cleanup() { kelvara::Dialogs::resetHandlers(); }

    void overlayItem()
    {
        const TransparentPixmapItem* o = view->overlay();
        QVERIFY(o);
        QCOMPARE(o->scene(), view->graphicsScene());
        QCOMPARE(o->zValue(), 2.0);
        QCOMPARE(o->opacity(), 0.5);
        QVERIFY(!o->isCentered());
        view->setOverlayImage(redMarks(30, 20, {}));
        QCOMPARE(o->pixmap().size(), QSize(30, 20));
        QCOMPARE(o->boundingRect(), QRectF(0, 0, 30, 20)); // top-left at the item origin
    }

    void composedSave_data()
    {
        QTest::addColumn<bool>("cancel");
        QTest::newRow("saved") << false;
        QTest::newRow("cancelled") << true;
    }
    void composedSave()
    {
        QFETCH(bool, cancel);
        const QString file = dir.filePath(cancel ? "cancelled.png" : "composed.png");
        QStringList asked; // caption, start directory, filter
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget* parent, const QString& c, const QString& d, const QString& f) {
                asked = {c, d, f};
                return parent || cancel ? QString() : file;
            });
        view->setImage(flatGrey(64, 48, 100));
        view->setMidlineVisible(true);
        view->setOverlayImage(redMarks(64, 48, {{5, 7}, {32, 10}, {63, 47}}));
        view->setZoom(250);
        saveButton->click(); // the button reaches ResultView's override
        QCOMPARE(asked, (QStringList{"Save image", ".", "PNG files (*.png)"}));
        QCOMPARE(QFile::exists(file), !cancel);
        if (cancel)
            return;
        const QImage back(file);
        QCOMPARE(back.size(), QSize(64, 48));
        // Red over grey 100 at opacity 0.5: (255 + 100) / 2, 100 / 2, 100 / 2.
        for (const QPoint& pt : {QPoint(5, 7), QPoint(32, 10), QPoint(63, 47)}) {
            const QRgb c = back.pixel(pt);
            QVERIFY2(qAbs(qRed(c) - 177) <= 1 && qAbs(qGreen(c) - 50) <= 1 &&
                         qAbs(qBlue(c) - 50) <= 1 && qAlpha(c) == 255,
                     qPrintable(QString::asprintf("%d,%d: %08x", pt.x(), pt.y(), c)));
        }
        // Unmarked pixels keep the base, the midline column included.
        for (const QPoint& pt : {QPoint(0, 0), QPoint(32, 20), QPoint(32, 47), QPoint(6, 7)})
            QCOMPARE(back.pixel(pt), qRgb(100, 100, 100));
    }

    void nothingWrittenWithoutImage()
    {
        ResultView fresh; // the evaluation view's situation: no graph attached, no image yet
        const QString file = dir.filePath("empty.png");
        kelvara::Dialogs::setSaveFileHandler(
            [&](QWidget*, const QString&, const QString&, const QString&) { return file; });
        fresh.setOverlayImage(redMarks(30, 30, {{1, 1}}));
        fresh.save2DImage();
        QVERIFY(!QFile::exists(file));
    }
};

QTEST_MAIN(TestResultView)
#include "test_resultview.moc"
