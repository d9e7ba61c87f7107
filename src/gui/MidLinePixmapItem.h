#pragma once

#include <QGraphicsPixmapItem>
#include <QImage>
#include <QObject>

// Pixmap item that can draw a vertical blue line through the middle of its image (the AOI's
// midline). The line exists only on screen; renderToImage gives the bare pixmap.
class MidLinePixmapItem : public QObject, public QGraphicsPixmapItem
{
    Q_OBJECT
public:
    MidLinePixmapItem();
    ~MidLinePixmapItem() override;

    void setShowMidline(bool show) { showMidline = show; }
    bool midlineShown() const { return showMidline; }

    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option,
               QWidget* widget) override;

    QImage renderToImage() const;

private:
    bool showMidline = false;
};
