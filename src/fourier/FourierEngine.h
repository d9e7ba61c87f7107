#pragma once

#include "FourierFilterType.h"

#include <QImage>

#include <opencv2/core.hpp>

// The matrices of the Fourier computations of one image. The forward transform and its
// magnitude are computed once per image and shared by the spectrum, the threshold and the
// filter, which all start from them.
class FourierEngine
{
public:
    FourierEngine();

    // Input: the image's bytes as one 8-bit grey channel, zero-padded at the bottom and right
    // to the DFT-friendly size. Images that are not 8-bit grey are converted to
    // Format_Grayscale8 first; a null image leaves an empty matrix, and every operation on
    // an empty matrix gives an empty (null) output.
    void setImage(QImage image);
    void setLogarithmic(bool value) { logarithmic = value; }
    void setFilterType(int type) { filterType = type; }
    void setFirstRadius(float radius) { radius1 = radius; }
    void setSecondRadius(float radius) { radius2 = radius; }

    // Magnitude spectrum as it comes out of the DFT (zero frequency top-left), direct or as
    // 20 ln |F|, rounded and saturated to 8 bits.
    void computeSpectrum();

    // Share of the magnitude of the low-frequency quadrant that lies outside the window.
    // X fractions pick rows out of half the column count, Y fractions columns out of half the
    // row count. NaN when the quadrant has no magnitude at all (an all-black image).
    double spectrumThreshold(double xMin, double xMax, double yMin, double yMax) const;

    // Ideal filter: mask v * (1 + i) with v = 0 or 1 by distance from the centre.
    void buildFilterMask();
    // Swap the four cx x cy blocks; for an odd size the last row or column stays put.
    static void shiftQuadrants(cv::Mat& m);
    // Inverse of shiftQuadrants for even sizes; any odd dimension leaves m as it is.
    static void unshiftQuadrants(cv::Mat& m);
    // Modulus of the inverse transform of the masked spectrum, saturated to 8 bits.
    void applyFilter();

    // A Format_Grayscale8 copy of the output matrix, at the padded size.
    QImage outputImage() const;

    const cv::Mat& input() const { return inputMatrix; }
    const cv::Mat& mask() const { return filterMask; }

private:
    // The forward transform of the input (computed on first use) and its magnitude.
    const cv::Mat& forwardTransform() const;
    const cv::Mat& magnitude() const;
    // cv::magnitude of the real and imaginary planes of a CV_32FC2 matrix.
    static cv::Mat magnitudeOf(const cv::Mat& complex);

    float radius1;
    float radius2;
    int filterType;
    cv::Mat filterMask;   // CV_32FC2, the size of inputMatrix
    cv::Mat inputMatrix;  // CV_32F
    cv::Mat outputMatrix; // CV_8U
    mutable cv::Mat forward;          // CV_32FC2; empty until first needed
    mutable cv::Mat forwardMagnitude; // CV_32F; empty until first needed
    bool logarithmic;
};
