// The overlay scene: item stacking and pen, centred drawing with the item's own opacity, the
// AOI ellipse geometry and the box origins in each scaled image.
#include "OverlayView.h"
#include "TransparentPixmapItem.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QPainter>
#include <QSignalSpy>
#include <QtTest>

#include <tuple>

using kelvara::Modality;

namespace {

QPixmap uniform(int w, int h, int grey)
{
    QImage img(w, h, QImage::Format_Grayscale8);
    img.fill(grey);
    return QPixmap::fromImage(img);
}

// The scene rendered 1:1 over white, scene rectangle `area` onto an image of its size.
QImage render(QGraphicsScene& scene, const QRect& area)
{
    QImage out(area.size(), QImage::Format_RGB32);
    out.fill(Qt::white);
    QPainter p(&out);
    scene.render(&p, QRectF(QPointF(0, 0), QSizeF(area.size())), QRectF(area));
    return out;
}

} // namespace

class TestOverlayView : public QObject
{
    Q_OBJECT

private slots:
    void itemPainting_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("centered");
        QTest::addColumn<double>("opacity");
        QTest::newRow("centred, opaque") << QSize(21, 11) << true << 1.0;
        QTest::newRow("centred, half transparent") << QSize(20, 10) << true << 0.5;
        QTest::newRow("corner at the origin, 0.01") << QSize(20, 12) << false << 0.01;
        QTest::newRow("9 wide is not painted") << QSize(9, 30) << true << 1.0;
        QTest::newRow("9 high is not painted") << QSize(30, 9) << false << 1.0;
    }
    void itemPainting()
    {
        QFETCH(QSize, size);
        QFETCH(bool, centered);
        QFETCH(double, opacity);
        QGraphicsScene scene;
        auto* item = new TransparentPixmapItem();
        item->setPixmap(uniform(size.width(), size.height(), 0));
        item->setCentered(centered);
        item->setOpacity(opacity);
        scene.addItem(item);

        const QRect area(-40, -40, 80, 80);
        const QImage shown = render(scene, area);
        const bool painted = size.width() >= 10 && size.height() >= 10;
        const QRect drawn = centered
                                ? QRect(QPoint(-(size.width() / 2), -(size.height() / 2)), size)
                                : QRect(QPoint(0, 0), size);
        QCOMPARE(item->boundingRect(), QRectF(drawn));          // integer halves when centred
        const int expectedGrey = qRound(255 * (1.0 - opacity)); // black over white
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x) {
                const int grey = qGray(shown.pixel(x - area.left(), y - area.top()));
                const int expected = painted && drawn.contains(x, y) ? expectedGrey : 255;
                QVERIFY2(qAbs(grey - expected) <= 3, // the painter quantises opacity
                         qPrintable(QStringLiteral("(%1, %2): %3").arg(x).arg(y).arg(grey)));
            }
    }

    // The scene gets no update request from an opacity change: the window repaints by itself.
    void opacityRequestsNoRepaint()
    {
        QGraphicsScene scene;
        auto* item = new TransparentPixmapItem();
        item->setPixmap(uniform(20, 20, 10));
        scene.addItem(item);
        QSignalSpy changed(&scene, &QGraphicsScene::changed);
        QCoreApplication::processEvents();

        // A real repaint request reaches the scene within one round of the event loop...
        changed.clear();
        item->update();
        QCoreApplication::processEvents();
        QVERIFY(changed.count() >= 1);

        // ...an opacity change does not.
        for (int i = 0; i < 5; ++i) // let the update above finish
            QCoreApplication::processEvents();
        changed.clear();
        item->setOpacity(0.3);
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(item->opacity(), 0.3);
    }

    void construction()
    {
        OverlayView overlay;
        const QList<QGraphicsItem*> items = overlay.graphicsScene()->items(Qt::AscendingOrder);
        QCOMPARE(items,
                 (QList<QGraphicsItem*>{overlay.item(Modality::T2), overlay.item(Modality::DWI),
                                        overlay.item(Modality::ADC), overlay.aoiEllipse()}));
        for (Modality m : kelvara::kModalities) {
            QCOMPARE(overlay.item(m)->zValue(), double(int(m)));
            QCOMPARE(overlay.item(m)->pos(), QPointF(0, 0));
            QCOMPARE(overlay.item(m)->opacity(), 1.0);
            QVERIFY(overlay.item(m)->isCentered());
            QCOMPARE(overlay.item(m)->boundingRect(), QRectF()); // no image yet
        }

        QGraphicsEllipseItem* aoi = overlay.aoiEllipse();
        QCOMPARE(aoi->zValue(), 3.0);
        QCOMPARE(aoi->rect(), QRectF(-50, -25, 100, 50));
        QCOMPARE(aoi->pos(), QPointF(0, 0));
        QVERIFY(!aoi->parentItem());
        QCOMPARE(aoi->pen(),
                 QPen(QBrush(Qt::green), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
        QCOMPARE(aoi->brush().style(), Qt::NoBrush);
        QCOMPARE(overlay.aoiFullWidth(), 100.0);
        QCOMPARE(overlay.aoiFullHeight(), 50.0);
    }

    void perModalityOperations_data()
    {
        QTest::addColumn<int>("modality");
        for (Modality m : kelvara::kModalities)
            QTest::newRow(kelvara::modalityName(m)) << int(m);
    }
    void perModalityOperations()
    {
        QFETCH(int, modality);
        const auto m = Modality(modality);
        OverlayView overlay;
        // Each modality's own setters, as the window's controls call them.
        using Setters =
            std::tuple<void (OverlayView::*)(const QImage&), void (OverlayView::*)(double),
                       void (OverlayView::*)(bool), void (OverlayView::*)(double)>;
        const Setters setters[] = {
            {&OverlayView::setT2Image, &OverlayView::setT2Scale, &OverlayView::setT2Visible,
             &OverlayView::setT2OpacityPercent},
            {&OverlayView::setDWIImage, &OverlayView::setDWIScale, &OverlayView::setDWIVisible,
             &OverlayView::setDWIOpacityPercent},
            {&OverlayView::setADCImage, &OverlayView::setADCScale, &OverlayView::setADCVisible,
             &OverlayView::setADCOpacityPercent}};
        const auto [image, scale, visible, opacity] = setters[modality];
        (overlay.*image)(uniform(30, 20, 5).toImage());
        (overlay.*scale)(1.5);
        (overlay.*visible)(false);
        (overlay.*opacity)(1);
        QCOMPARE(overlay.item(m)->pixmap().size(), QSize(30, 20));
        QCOMPARE(overlay.item(m)->scale(), 1.5);
        QVERIFY(!overlay.item(m)->isVisible());
        QCOMPARE(overlay.item(m)->opacity(), 0.01);
        for (Modality other : kelvara::kModalities) {
            if (other == m)
                continue;
            QVERIFY(overlay.item(other)->pixmap().isNull());
            QCOMPARE(overlay.item(other)->scale(), 1.0);
            QVERIFY(overlay.item(other)->isVisible());
            QCOMPARE(overlay.item(other)->opacity(), 1.0);
        }
    }

    void aoiGeometry()
    {
        OverlayView overlay;
        overlay.setAOIX(30);
        overlay.setAOIY(-500);
        QCOMPARE(overlay.aoiEllipse()->pos(), QPointF(30, -500));
        overlay.setAOIHalfWidth(70);
        overlay.setAOIHeight(33);
        QCOMPARE(overlay.aoiFullWidth(), 140.0);
        QCOMPARE(overlay.aoiEllipse()->rect(), QRectF(-70, -16.5, 140, 33));
        QCOMPARE(overlay.aoiEllipse()->pos(), QPointF(30, -500)); // size changes keep the centre
        overlay.setAOIX(-4);
        QCOMPARE(overlay.aoiCentre(), QPointF(-4, -500));
        QCOMPARE(overlay.aoiEllipse()->sceneBoundingRect().center(), QPointF(-4, -500));
        overlay.setAOIVisible(false);
        QVERIFY(!overlay.aoiEllipse()->isVisible());
        QVERIFY(!overlay.isAOIVisible());
        overlay.setAOIVisible(true);
        QVERIFY(overlay.aoiEllipse()->isVisible());
    }

    void boxOrigin_data()
    {
        QTest::addColumn<QSize>("image");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QPointF>("centre");
        QTest::addColumn<QSizeF>("aoi"); // half-width, height
        QTest::addColumn<QPointF>("origin");
        QTest::newRow("256 at 2.0, default AOI at the origin")
            << QSize(256, 256) << 2.0 << QPointF(0, 0) << QSizeF(50, 50) << QPointF(206, 231);
        QTest::newRow("odd size keeps the exact half")
            << QSize(101, 51) << 1.0 << QPointF(0, 0) << QSizeF(50, 50) << QPointF(0.5, 0.5);
        QTest::newRow("moved AOI") << QSize(200, 100) << 0.5 << QPointF(-30, 40) << QSizeF(10, 7)
                                   << QPointF(-30 - 10 + 50, 40 - 3.5 + 25);
        QTest::newRow("fractional origin -3.72") << QSize(256, 256) << 1.01 << QPointF(-83, 0)
                                                 << QSizeF(50, 50) << QPointF(-3.72, 129.28 - 25);
        QTest::newRow("no image") << QSize() << 3.0 << QPointF(5, 6) << QSizeF(50, 50)
                                  << QPointF(-45, -19);
        QTest::newRow("scale 0") << QSize(256, 256) << 0.0 << QPointF(0, 0) << QSizeF(50, 50)
                                 << QPointF(-50, -25);
    }
    void boxOrigin()
    {
        QFETCH(QSize, image);
        QFETCH(double, scale);
        QFETCH(QPointF, centre);
        QFETCH(QSizeF, aoi);
        QFETCH(QPointF, origin);
        for (Modality m : kelvara::kModalities) {
            OverlayView overlay;
            if (image.isValid())
                overlay.setImage(m, uniform(image.width(), image.height(), 1).toImage());
            overlay.setScale(m, scale);
            overlay.setAOIX(centre.x());
            overlay.setAOIY(centre.y());
            overlay.setAOIHalfWidth(aoi.width());
            overlay.setAOIHeight(aoi.height());
            const QPointF got = overlay.boxOrigin(m);
            QVERIFY2(qAbs(got.x() - origin.x()) < 1e-9 && qAbs(got.y() - origin.y()) < 1e-9,
                     qPrintable(QStringLiteral("%1: (%2, %3)")
                                    .arg(kelvara::modalityName(m))
                                    .arg(got.x(), 0, 'g', 17)
                                    .arg(got.y(), 0, 'g', 17)));
            const QPointF named = m == Modality::T2    ? overlay.t2BoxOrigin()
                                  : m == Modality::DWI ? overlay.dwiBoxOrigin()
                                                       : overlay.adcBoxOrigin();
            QCOMPARE(named, got);
            // The other modalities have no image: their origin is the AOI corner itself.
            const Modality other = m == Modality::ADC ? Modality::T2 : Modality(int(m) + 1);
            QCOMPARE(overlay.boxOrigin(other),
                     QPointF(centre.x() - aoi.width(), centre.y() - aoi.height() / 2));
        }
    }

    // The overlay shows the AOI's top-left corner where the box origin says it is in the
    // scaled image: the image's scene rectangle and the ellipse's agree.
    void originMatchesTheDrawnScene()
    {
        OverlayView overlay;
        overlay.setDWIImage(uniform(120, 80, 1).toImage());
        overlay.setDWIScale(2.0);
        overlay.setAOIX(17);
        overlay.setAOIY(-9);
        const QRectF image = overlay.item(Modality::DWI)->sceneBoundingRect();
        const QRectF ellipse = overlay.aoiEllipse()->mapRectToScene(overlay.aoiEllipse()->rect());
        QCOMPARE(overlay.dwiBoxOrigin(), ellipse.topLeft() - image.topLeft());
    }
};

QTEST_MAIN(TestOverlayView)
#include "test_overlayview.moc"
