#pragma once

#include "ControlValues.h"

#include <QImage>

#include <memory>

class FourierEngine;

// The Fourier buttons without the window: the main window and the batch tool both call these,
// so a slot only reads its controls, shows what these return and, for the filter, the
// cut-off message.
namespace kelvara {

inline constexpr const char* kCutoffMessageTitle = "Error";
inline constexpr const char* kCutoffMessageText =
    "Second cutoff must be greater than first. cutoff2=cutoff1 + 0.1";

// One filter run as derived from the controls. The cut-offs are corrected locally only; the
// controls keep their values.
struct FilterParameters
{
    int type = 0;         // FourierFilterType; anything outside 0..3 has become LowPass
    double cut1 = 0.0;    // as given
    double cut2 = 0.0;    // raised to cut1 + 0.1 when it was not above cut1
    float radius1 = 0.0f; // width * cut1 * 0.5, in pixels
    float radius2 = 0.0f; // width * cut2 * 0.5
    // The band filters use the second cut-off, so its correction must be told to the user.
    bool showCutoffMessage = false;
};

// imageWidth is the width of the AOI image that will be filtered.
FilterParameters filterParameters(const FrequencyFilter& controls, int imageWidth);

// The filtered image (Format_Grayscale8, padded size); null for a null image.
QImage filteredImage(const QImage& aoiImage, const FilterParameters& parameters);

// The three Fourier views of one AOI image ("Display FFT", "Display treshold", "Display
// result"), all from one forward transform. Each view's last result is kept, so asking again
// with the same image and parameters costs nothing. The image counts as the same while its
// QImage::cacheKey is, which changes with every change to its pixels.
class FourierViews
{
public:
    FourierViews();
    ~FourierViews();
    FourierViews(const FourierViews&) = delete;
    FourierViews& operator=(const FourierViews&) = delete;

    // Forgets every result when aoiImage is not the image of the last call.
    void setImage(const QImage& aoiImage);
    QImage spectrum(bool logarithmic);
    double threshold(const ThresholdWindow& window);
    QImage filtered(const FilterParameters& parameters);

private:
    std::unique_ptr<FourierEngine> engine;
    QImage image; // a shallow copy: its key cannot be reused while it is held
    bool hasSpectrum = false, hasThreshold = false, hasFiltered = false;
    bool spectrumLogarithmic = false;
    ThresholdWindow thresholdWindow;
    FilterParameters filter;
    QImage spectrumResult, filteredResult;
    double thresholdResult = 0.0;
};

// The magnitude spectrum as shown by "Display FFT".
QImage spectrumImage(const QImage& aoiImage, bool logarithmic);

// The spectrum threshold value of "Display treshold"; NaN for an all-black image.
double spectrumThresholdValue(const QImage& aoiImage, const ThresholdWindow& window);

} // namespace kelvara
