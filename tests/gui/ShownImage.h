#pragma once

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QImage>

// The picture a graphics view of the window currently shows: its scene's lowest pixmap item
// (overlays such as the solution's red marks sit above it).
inline QImage shownImage(QGraphicsView* view)
{
    QImage found;
    qreal lowest = 1e9;
    for (QGraphicsItem* item : view->scene()->items())
        if (auto* p = dynamic_cast<QGraphicsPixmapItem*>(item); p && p->zValue() < lowest) {
            lowest = p->zValue();
            found = p->pixmap().toImage();
        }
    return found;
}
