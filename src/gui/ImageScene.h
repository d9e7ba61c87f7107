#pragma once

#include "AbstractView.h"

#include <QImage>
#include <QPointF>

class MidLinePixmapItem;
class QGraphicsEllipseItem;

namespace kelvara {

// One grey image with an optional midline and a green AOI box: the common part of T2_View and
// MaskView, which differ in what their save button does.
class ImageScene : public AbstractView
{
    Q_OBJECT
public:
    ~ImageScene() override;

    virtual void setImage(const QImage& image);
    const QImage& image() const { return shown; }
    bool imageSet() const { return hasImage; }

    void setBoxVisible(bool visible);
    void setMidlineVisible(bool visible);
    void setBoxPos(QPointF p);
    void setBoxHalfWidth(double v);
    void setBoxHeight(double v);

    double boxX() const { return boxXPos; }
    double boxY() const { return boxYPos; }
    double boxHalfWidth() const { return halfWidth; }
    double boxHeight() const { return height; }
    bool isBoxVisible() const { return boxVisible; }
    bool isMidlineVisible() const { return midlineVisible; }

    // The grey level of the shown image under `p`.
    QString readout(QPointF p) const override;

    MidLinePixmapItem* pixmapItem() const { return pixmap; }
    QGraphicsEllipseItem* boxItem() const { return box; }

protected:
    ImageScene();

    // The shown pixmap as it is (no zoom, no midline) written to a PNG the user names.
    void saveShownImage();
    // The pixel of the shown image under scene point `p`; false outside it.
    bool pixelAt(QPointF p, int& x, int& y) const;

    QImage shown;
    MidLinePixmapItem* pixmap = nullptr;
    QGraphicsEllipseItem* box = nullptr;
    double boxXPos = 0.0;
    double boxYPos = 0.0;
    double halfWidth = 50.0;
    double height = 50.0;
    bool boxVisible = false;
    bool midlineVisible = false;
    bool hasImage = false;

};

} // namespace kelvara
