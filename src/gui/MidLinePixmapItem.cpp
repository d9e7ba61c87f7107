#include "MidLinePixmapItem.h"

#include <QPainter>

MidLinePixmapItem::MidLinePixmapItem() = default;
MidLinePixmapItem::~MidLinePixmapItem() = default;

void MidLinePixmapItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    const QPixmap& pm = pixmap();
    const int pw = pm.width();
    const int ph = pm.height();
    // Tiny images (and the empty pixmap of a view without data) are not drawn at all.
    if (pw < 10 || ph < 10)
        return;
    painter->drawPixmap(0, 0, pm);
    if (showMidline) {
        painter->setPen(QPen(QBrush(Qt::blue, Qt::SolidPattern), 1.0, Qt::SolidLine, Qt::SquareCap,
                             Qt::BevelJoin));
        painter->drawLine(pw / 2, -100000, pw / 2, 100000);
    }
}

QImage MidLinePixmapItem::renderToImage() const
{
    const QPixmap& pm = pixmap();
    QImage image(pm.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    if (!image.isNull()) {
        QPainter p(&image);
        p.drawPixmap(0, 0, pm);
    }
    return image;
}
