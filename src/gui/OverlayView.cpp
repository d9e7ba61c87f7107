#include "OverlayView.h"

#include "AOISources.h"
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

QPointF OverlayView::boxOrigin(Modality m) const
{
    const TransparentPixmapItem* it = item(m);
    // Exact halves of the scaled image, although the item draws at the integer half: the
    // half-pixel difference for odd sizes is accepted.
    return kelvara::aoiBoxOrigin(QPointF(aoiX, aoiY), aoiWidth, aoiHeight, it->pixmap().size(),
                                 it->scale());
}

void OverlayView::setAOIX(double x)
{
    aoiX = x;
    aoiItem->setPos(aoiX, aoiY);
}

void OverlayView::setAOIY(double y)
{
    aoiY = y;
    aoiItem->setPos(aoiX, aoiY);
}

void OverlayView::setAOIHalfWidth(double v)
{
    aoiWidth = v + v;
    updateAOIRect();
}

void OverlayView::setAOIHeight(double v)
{
    aoiHeight = v;
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
