#pragma once

#include "AbstractView.h"
#include "Modality.h"

#include <QImage>
#include <QPointF>

class QGraphicsEllipseItem;
class TransparentPixmapItem;

// The "Prepare images" scene: T2, DWI and ADC stacked (ADC on top), each centred on the scene
// origin and scaled about its centre by its own factor, with the green AOI ellipse above them.
// Registration is by scale only; no image is ever moved. The box origins tell where the AOI's
// top-left corner lies in each scaled image, which is what the extraction cuts.
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
    QPointF boxOrigin(kelvara::Modality m) const;

    void setT2Image(const QImage& image) { setImage(kelvara::Modality::T2, image); }
    void setDWIImage(const QImage& image) { setImage(kelvara::Modality::DWI, image); }
    void setADCImage(const QImage& image) { setImage(kelvara::Modality::ADC, image); }
    void setT2Scale(double s) { setScale(kelvara::Modality::T2, s); }
    void setDWIScale(double s) { setScale(kelvara::Modality::DWI, s); }
    void setADCScale(double s) { setScale(kelvara::Modality::ADC, s); }
    void setT2Visible(bool b) { setImageVisible(kelvara::Modality::T2, b); }
    void setDWIVisible(bool b) { setImageVisible(kelvara::Modality::DWI, b); }
    void setADCVisible(bool b) { setImageVisible(kelvara::Modality::ADC, b); }
    void setT2OpacityPercent(double p) { setOpacityPercent(kelvara::Modality::T2, p); }
    void setDWIOpacityPercent(double p) { setOpacityPercent(kelvara::Modality::DWI, p); }
    void setADCOpacityPercent(double p) { setOpacityPercent(kelvara::Modality::ADC, p); }
    QPointF t2BoxOrigin() const { return boxOrigin(kelvara::Modality::T2); }
    QPointF dwiBoxOrigin() const { return boxOrigin(kelvara::Modality::DWI); }
    QPointF adcBoxOrigin() const { return boxOrigin(kelvara::Modality::ADC); }

    void setAOIX(double x);
    void setAOIY(double y);
    // The AOI spans two equal halves about its centre line; the full width is stored.
    void setAOIHalfWidth(double v);
    void setAOIHeight(double v);
    void setAOIVisible(bool visible);

    QPointF aoiCentre() const { return QPointF(aoiX, aoiY); }
    double aoiFullWidth() const { return aoiWidth; }
    double aoiFullHeight() const { return aoiHeight; }
    bool isAOIVisible() const { return aoiVisible; }

    TransparentPixmapItem* item(kelvara::Modality m) const;
    QGraphicsEllipseItem* aoiEllipse() const { return aoiItem; }

private:
    void updateAOIRect();

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
