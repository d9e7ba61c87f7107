#pragma once

#include "Dual2D3DView.h"

class TransparentPixmapItem;

// The solution (and evaluation) view: the T2 AOI image with the suspicious pixels laid over it
// in red at half opacity, plus the solution's 3D surface. Its 2D save writes the composition.
class ResultView : public Dual2D3DView
{
    Q_OBJECT
public:
    ResultView();
    ~ResultView() override;

    void setOverlayImage(const QImage& image);
    TransparentPixmapItem* overlay() const { return overlayItem; }

    // Base pixmap with the overlay drawn on top at the overlay's opacity; no midline, no zoom.
    void save2DImage() override;

private:
    TransparentPixmapItem* overlayItem = nullptr;
};
