#include "OverlayView.h"

#include "TransparentPixmapItem.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPen>
#include <QPixmap>

#include <algorithm>
#include <cmath>

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
    images[static_cast<std::size_t>(m)] = image;
    item(m)->setPixmap(QPixmap::fromImage(image));
}

QString OverlayView::readout(QPointF p) const
{
    // Top of the stack first; an image that is hidden, fully transparent or too small to be
    // drawn is looked through.
    for (Modality m : {Modality::ADC, Modality::DWI, Modality::T2}) {
        const TransparentPixmapItem* it = item(m);
        const QImage& image = images[static_cast<std::size_t>(m)];
        if (!it->isVisible() || it->opacity() <= 0.0 || image.width() < 10 || image.height() < 10)
            continue;
        // Centred on the item's origin with integer halves, as the item paints it.
        const QPointF local = it->mapFromScene(p);
        const int x = int(std::floor(local.x())) + image.width() / 2;
        const int y = int(std::floor(local.y())) + image.height() / 2;
        if (!image.valid(x, y))
            continue;
        return QStringLiteral("%1 x %2, y %3: grey %4")
            .arg(QLatin1String(kelvara::modalityName(m)))
            .arg(x)
            .arg(y)
            .arg(qGray(image.pixel(x, y)));
    }
    return positionText(p);
}

bool OverlayView::onAOI(QPointF p) const
{
    if (!aoiVisible)
        return false;
    // A few screen pixels of slack, so a thin AOI can still be caught.
    const double zoom = view ? std::abs(view->transform().m11()) : 1.0;
    const double slack = 4.0 / std::max(zoom, 1e-6);
    const double a = aoiWidth / 2 + slack;
    const double b = aoiHeight / 2 + slack;
    const double dx = (p.x() - aoiX) / a;
    const double dy = (p.y() - aoiY) / b;
    return dx * dx + dy * dy <= 1.0;
}

bool OverlayView::viewportMouseEvent(QEvent::Type type, QPointF p, Qt::MouseButton button)
{
    switch (type) {
    case QEvent::MouseButtonPress:
        if (button != Qt::LeftButton || !onAOI(p))
            return false;
        dragging = true;
        dragStart = p;
        centreAtDragStart = aoiCentre();
        return true;
    case QEvent::MouseMove:
        if (dragging) {
            emit aoiDragged(centreAtDragStart + (p - dragStart));
            return true;
        }
        if (view && onAOI(p))
            view->viewport()->setCursor(Qt::SizeAllCursor);
        else if (view)
            view->viewport()->unsetCursor();
        return false;
    case QEvent::MouseButtonRelease:
        if (button != Qt::LeftButton || !dragging)
            return false;
        dragging = false;
        return true;
    default:
        return false;
    }
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
