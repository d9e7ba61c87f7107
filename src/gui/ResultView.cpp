#include "ResultView.h"

#include "ImageSaving.h"
#include "MidLinePixmapItem.h"
#include "ResultOverlay.h"
#include "TransparentPixmapItem.h"

#include <QGraphicsScene>

ResultView::ResultView() : overlayItem(new TransparentPixmapItem())
{
    overlayItem->setZValue(2.0);
    scene->addItem(overlayItem);
    overlayItem->setOpacity(kelvara::kResultOverlayOpacity);
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
    const QImage composed = kelvara::composeOverlay(pixmap->pixmap().toImage(),
                                                    overlayItem->pixmap().toImage(),
                                                    overlayItem->opacity());
    kelvara::saveImageAs(nullptr, QStringLiteral("Save image"), composed);
}
