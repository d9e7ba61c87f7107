#include "ResultView.h"

#include "Dialogs.h"
#include "MidLinePixmapItem.h"
#include "TransparentPixmapItem.h"

#include <QGraphicsScene>
#include <QPainter>

ResultView::ResultView() : overlayItem(new TransparentPixmapItem())
{
    overlayItem->setZValue(2.0);
    scene->addItem(overlayItem);
    // Fixed for the view's life: the red marks must never hide the anatomy beneath.
    overlayItem->setOpacity(0.5);
    // The overlay covers the image pixel for pixel, so both share the top-left origin.
    overlayItem->setCentered(false);
}

ResultView::~ResultView() = default;

void ResultView::setOverlayImage(const QImage& image)
{
    overlayItem->setPixmap(QPixmap::fromImage(image));
}

void ResultView::save2DImage()
{
    if (!pixmap)
        return;
    QImage composed = pixmap->renderToImage();
    if (!composed.isNull()) {
        QPainter painter(&composed);
        painter.setOpacity(overlayItem->opacity());
        painter.drawPixmap(0, 0, overlayItem->pixmap());
    }
    const QString name =
        kelvara::Dialogs::getSaveFileName(nullptr, QStringLiteral("Save image"),
                                          QStringLiteral("."), QStringLiteral("PNG files (*.png)"));
    if (!name.isEmpty())
        composed.save(name);
}
