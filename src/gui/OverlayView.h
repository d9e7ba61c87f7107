#pragma once

#include "AbstractView.h"
#include "Modality.h"

#include <QImage>
#include <QPointF>

#include <array>

class QGraphicsEllipseItem;
class TransparentPixmapItem;

// The "Prepare images" scene: T2, DWI and ADC stacked (ADC on top), each centred on the scene
// origin and scaled about its centre by its own factor, with the green AOI ellipse above them.
// Registration is by scale only; no image is ever moved. It only shows the case: where the AOI
// lies in each image is the case model's business.
class OverlayView : public AbstractView
{
    Q_OBJECT
public:
    OverlayView();
    ~OverlayView() override;

    void setImage(kelvara::Modality m, const QImage& image);
    void setScale(kelvara::Modality m, double scale);
    void setImageVisible(kelvara::Modality m, bool visible);
    // Percent of opacity; the items ask for no repaint, the caller repaints the view.
    void setOpacityPercent(kelvara::Modality m, double percent);

    // The AOI ellipse: centre in scene units, size as the case model gives it.
    void setAOICentre(QPointF centre);
    void setAOISize(double halfWidth, double height);
    void setAOIVisible(bool visible);

    QPointF aoiCentre() const { return QPointF(aoiX, aoiY); }
    double aoiFullWidth() const { return aoiWidth; }
    double aoiFullHeight() const { return aoiHeight; }
    bool isAOIVisible() const { return aoiVisible; }

    TransparentPixmapItem* item(kelvara::Modality m) const;
    QGraphicsEllipseItem* aoiEllipse() const { return aoiItem; }

    // The grey level of the topmost image drawn under `p`, with its modality and pixel.
    QString readout(QPointF p) const override;

signals:
    // The user drags the AOI ellipse: where its centre would go, in scene units.
    void aoiDragged(QPointF centre);

protected:
    bool viewportMouseEvent(QEvent::Type type, QPointF p, Qt::MouseButton button) override;

private:
    void updateAOIRect();
    bool onAOI(QPointF p) const;

    std::array<QImage, 3> images;
    bool dragging = false;
    QPointF dragStart;
    QPointF centreAtDragStart;

    TransparentPixmapItem* t2Item = nullptr;
    TransparentPixmapItem* dwiItem = nullptr;
    TransparentPixmapItem* adcItem = nullptr;
    QGraphicsEllipseItem* aoiItem = nullptr;
    double aoiX = 0.0;
    double aoiY = 0.0;
    double aoiWidth = 100.0;
    double aoiHeight = 50.0;
    bool aoiVisible = true;
};
