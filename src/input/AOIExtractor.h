#pragma once

#include <QImage>

// Cuts the T2, DWI and ADC AOI images: 512 x 512 grey canvases with the AOI ellipse centred on
// pixel (256, 256), carrying the pixels of each modality's scaled image under the ellipse and
// black elsewhere. Extraction is lazy: every analysis asks for it, but it only runs again after
// something it depends on changed (setNeedsUpdate).
class AOIExtractor
{
public:
    static constexpr int CanvasSize = 512;
    static constexpr int Centre = 256;
    // What a sample outside a source image (or from a null image) reads: the grey of the RGB
    // value 12345 that the toolkit's pixel access returns there.
    static constexpr int MissingGrey = 32;

    void setNeedsUpdate(bool update) { updateNeeded = update; }
    bool needsUpdate() const { return updateNeeded; }

    // (t2X, t2Y) etc. are the AOI box's top-left corners in each scaled image, w x h the box.
    // Recomputes only when an update is pending; clears the pending flag either way.
    void extract(QImage t2, QImage dwi, QImage adc, int t2X, int t2Y, int dwiX, int dwiY, int adcX,
                 int adcY, int w, int h);

    QImage t2AOIImage() const { return t2Image; }
    QImage dwiAOIImage() const { return dwiImage; }
    QImage adcAOIImage() const { return adcImage; }

private:
    bool updateNeeded = true;
    QImage t2Image;
    QImage dwiImage;
    QImage adcImage;
};
