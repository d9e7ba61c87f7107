#include "TransparentPixmapItem.h"

#include <QPainter>

TransparentPixmapItem::TransparentPixmapItem() = default;
TransparentPixmapItem::~TransparentPixmapItem() = default;

QRectF TransparentPixmapItem::boundingRect() const
{
    const QSize size = pixmap().size();
    if (centered) // integer halves, the same as paint() uses
        return QRectF(-(size.width() / 2), -(size.height() / 2), size.width(), size.height());
    return QRectF(0, 0, size.width(), size.height());
}

void TransparentPixmapItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    const QPixmap& pm = pixmap();
    // Tiny images (and the empty pixmap of a modality not loaded yet) are not drawn.
    if (pm.width() < 10 || pm.height() < 10)
        return;
    painter->setOpacity(opacityValue);
    if (centered)
        painter->drawPixmap(-(pm.width() / 2), -(pm.height() / 2), pm);
    else
        painter->drawPixmap(0, 0, pm);
}
