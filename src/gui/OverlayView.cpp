#include "OverlayView.h"

#include "TransparentPixmapItem.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QPen>
#include <QPixmap>

using kelvara::Modality;

OverlayView::OverlayView()
{
    // Stacking: T2 at the bottom, then DWI, then ADC, the AOI ellipse over all.
    TransparentPixmapItem** fields[] = {&t2Item, &dwiItem, &adcItem};
    for (int z = 0; z < 3; ++z) {
        *fields[z] = new TransparentPixmapItem();
        (*fields[z])->setZValue(z);
        scene->addItem(*fields[z]);
    }

    aoiWidth = 100.0;
    aoiHeight = 50.0;
    aoiItem = new QGraphicsEllipseItem(-50, -25, 100, 50);
    aoiItem->setZValue(3);
    // No brush: the images show through the ellipse.
    aoiItem->setPen(QPen(QBrush(Qt::green, Qt::SolidPattern), 1.0, Qt::SolidLine, Qt::SquareCap,
                         Qt::BevelJoin));
    scene->addItem(aoiItem);
}

OverlayView::~OverlayView() = default;

TransparentPixmapItem* OverlayView::item(Modality m) const
{
    switch (m) {
    case Modality::T2:
        return t2Item;
    case Modality::DWI:
        return dwiItem;
    case Modality::ADC:
        return adcItem;
    }
    return t2Item;
}

void OverlayView::setImage(Modality m, const QImage& image)
{
    item(m)->setPixmap(QPixmap::fromImage(image));
}

void OverlayView::setScale(Modality m, double scale)
{
    item(m)->setScale(scale);
}

void OverlayView::setImageVisible(Modality m, bool visible)
{
    item(m)->setVisible(visible);
}

void OverlayView::setOpacityPercent(Modality m, double percent)
{
    item(m)->setOpacity(percent / 100.0);
}

void OverlayView::setAOICentre(QPointF centre)
{
    aoiX = centre.x();
    aoiY = centre.y();
    aoiItem->setPos(aoiX, aoiY);
}

void OverlayView::setAOISize(double halfWidth, double height)
{
    aoiWidth = halfWidth + halfWidth;
    aoiHeight = height;
    updateAOIRect();
}

void OverlayView::setAOIVisible(bool visible)
{
    aoiItem->setVisible(visible);
    aoiVisible = visible;
}

void OverlayView::updateAOIRect()
{
    aoiItem->setRect(-aoiWidth / 2, -aoiHeight / 2, aoiWidth, aoiHeight);
}
