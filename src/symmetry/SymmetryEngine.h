#pragma once

#include "MaskMode.h"
#include "Plane.h"
#include "SymmetrySmoother.h"

#include <QImage>

// Numeric core of the symmetry and mask analysis. For the current AOI (W x H, centred on
// canvas cell (256, 256)) it keeps ten 512 x 512 planes over the AOI canvas: the three region
// planes (AOI pixels inside the AOI ellipse, 0 outside), the three raw symmetries, the DWI/ADC
// masks and symmetric masks; plus the mask intervals and one smoother per modality.
//
// Planes are indexed [x][y] with x the canvas column. The accessors hand out column tables
// (`const double* const*`), valid as long as the engine lives.
class SymmetryEngine
{
public:
    static constexpr int kCanvas = kelvara::Plane::kSize;

    SymmetryEngine() = default;

    // A new AOI size clears every plane; the same size changes nothing. Sizes beyond the
    // canvas are accepted: the region is then clipped to it.
    void resize(int width, int height);
    int regionWidth() const { return m_regionWidth; }
    int regionHeight() const { return m_regionHeight; }

    // Clears target, then copies into every cell (256 + i, 256 + j) of the region ellipse the
    // low byte of image pixel (x0 + W/2 + i, y0 + H/2 + j). Callers pass x0 = 256 - W/2 and
    // y0 = trunc(256 - H/2): for an odd height that reads the image one row above the canvas
    // row it fills, which the analysis has always done. Pixels outside the image read as
    // QImage::pixel reads them.
    void fillRegion(const QImage& image, int x0, int y0, kelvara::Plane& target) const;
    // Fills region, then raw[x][y] = |region[x][y] - region[511 - x][y]| (or |255 - that|
    // when inverted): the left-right difference about the AOI's vertical midline.
    void rawSymmetry(const QImage& image, kelvara::Plane& raw, kelvara::Plane& region, int x0,
                     int y0, bool inverted) const;
    void computeRawSymmetries(const QImage& t2, const QImage& dwi, const QImage& adc, int t2X,
                              int t2Y, int dwiX, int dwiY, int adcX, int adcY, bool t2Inverted,
                              bool dwiInverted, bool adcInverted);

    // Mask intervals, inclusive at both ends. Storing a bound recomputes nothing.
    void setDWILeft(double value) { m_dwiLeft = value; }
    void setDWIRight(double value) { m_dwiRight = value; }
    void setADCLeft(double value) { m_adcLeft = value; }
    void setADCRight(double value) { m_adcRight = value; }
    double dwiLeft() const { return m_dwiLeft; }
    double dwiRight() const { return m_dwiRight; }
    double adcLeft() const { return m_adcLeft; }
    double adcRight() const { return m_adcRight; }

    void loadMaskRegions(const QImage& dwi, const QImage& adc, int dwiX, int dwiY, int adcX,
                         int adcY);
    // Reloads both regions, then marks the cells inside the interval (mask) and the cells whose
    // value or mirror value lies inside it (symmetric mask).
    void computeMasks(const QImage& dwi, const QImage& adc, int dwiX, int dwiY, int adcX, int adcY,
                      MaskMode dwiMode, MaskMode adcMode);

    // Mean of the plane over the region ellipse; NaN for an empty region.
    double regionAverage(const double* const* plane) const;
    double dwiImageAverage() const { return regionAverage(m_dwiRegion.columns()); }
    double adcImageAverage() const { return regionAverage(m_adcRegion.columns()); }
    double dwiMaskAverage() const { return regionAverage(m_dwiMask.columns()); }
    double adcMaskAverage() const { return regionAverage(m_adcMask.columns()); }

    // Smooths the three raw symmetries ("Average symmetries", approach 0) or compares the
    // region planes with their point reflection ("Average image", approach 1). A shape other
    // than 0 is a disc of the given radius, 0 a rectangle of the given extents. cellsWidth and
    // cellsHeight are ignored.
    void smoothSymmetries(int t2Approach, int dwiApproach, int adcApproach, int cellsWidth,
                          int cellsHeight, int stepX, int stepY, int t2Shape, int dwiShape,
                          int adcShape, int t2X, int t2Y, int dwiX, int dwiY, int adcX, int adcY,
                          int t2Radius, int dwiRadius, int adcRadius);

    // Plane images (see kelvara::planeImage): grey levels as they are, masks times 255.
    QImage t2RawSymmetryImage() const;
    QImage dwiRawSymmetryImage() const;
    QImage adcRawSymmetryImage() const;
    QImage dwiMaskImage() const;
    QImage dwiSymmetricMaskImage() const;
    QImage adcMaskImage() const;
    QImage adcSymmetricMaskImage() const;
    // resultRows x resultCols images of the smoothers' results; null before the first smoothing.
    QImage t2SmoothImage() const;
    QImage dwiSmoothImage() const;
    QImage adcSmoothImage() const;

    const double* const* t2Region() const { return m_t2Region.columns(); }
    const double* const* dwiRegion() const { return m_dwiRegion.columns(); }
    const double* const* adcRegion() const { return m_adcRegion.columns(); }
    const double* const* t2RawSymmetry() const { return m_t2RawSymmetry.columns(); }
    const double* const* dwiRawSymmetry() const { return m_dwiRawSymmetry.columns(); }
    const double* const* adcRawSymmetry() const { return m_adcRawSymmetry.columns(); }
    const double* const* dwiMask() const { return m_dwiMask.columns(); }
    const double* const* adcMask() const { return m_adcMask.columns(); }
    const double* const* dwiSymmetricMask() const { return m_dwiSymmetricMask.columns(); }
    const double* const* adcSymmetricMask() const { return m_adcSymmetricMask.columns(); }

    const SymmetrySmoother& t2Smoother() const { return m_t2Smoother; }
    const SymmetrySmoother& dwiSmoother() const { return m_dwiSmoother; }
    const SymmetrySmoother& adcSmoother() const { return m_adcSmoother; }
    // The smoothed symmetries, nullptr before the first smoothing.
    const double* const* t2SmoothResult() const { return m_t2Smoother.result(); }
    const double* const* dwiSmoothResult() const { return m_dwiSmoother.result(); }
    const double* const* adcSmoothResult() const { return m_adcSmoother.result(); }

private:
    static QImage smoothImage(const SymmetrySmoother& smoother);
    static void setKernel(SymmetrySmoother& smoother, int shape, int x, int y, int radius);
    void computeMask(const kelvara::Plane& region, double left, double right, MaskMode mode,
                     kelvara::Plane& mask, kelvara::Plane& symmetricMask) const;

    SymmetrySmoother m_t2Smoother;
    SymmetrySmoother m_dwiSmoother;
    SymmetrySmoother m_adcSmoother;
    kelvara::Plane m_t2Region;
    kelvara::Plane m_t2RawSymmetry;
    kelvara::Plane m_dwiRawSymmetry;
    kelvara::Plane m_adcRawSymmetry;
    kelvara::Plane m_dwiMask;
    kelvara::Plane m_adcMask;
    kelvara::Plane m_dwiSymmetricMask;
    kelvara::Plane m_adcSymmetricMask;
    kelvara::Plane m_dwiRegion;
    kelvara::Plane m_adcRegion;
    int m_regionWidth = 0;
    int m_regionHeight = 0;
    double m_dwiLeft = 0.0;
    double m_dwiRight = 255.0;
    // The ADC upper bound starts at 0, like its spin box.
    double m_adcLeft = 0.0;
    double m_adcRight = 0.0;
};
