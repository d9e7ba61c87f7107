#pragma once

#include <QGraphicsPixmapItem>
#include <QObject>

// Pixmap item with its own painting opacity, drawn centred on its position so that scaling the
// item scales the image about its centre (how the overlay registers the modalities).
// Its opacity is not QGraphicsItem's: setting it schedules no repaint, the caller repaints.
class TransparentPixmapItem : public QObject, public QGraphicsPixmapItem
{
    Q_OBJECT
public:
    TransparentPixmapItem();
    ~TransparentPixmapItem() override;

    void setOpacity(double value) { opacityValue = value; }
    double opacity() const { return opacityValue; }

    // Geometry change deliberately not announced: the flag is set once, before any painting.
    void setCentered(bool value) { centered = value; }
    bool isCentered() const { return centered; }

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    double opacityValue = 1.0;
    bool centered = true;
};
