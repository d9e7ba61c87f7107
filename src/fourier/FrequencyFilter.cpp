#include "FrequencyFilter.h"

#include "FourierEngine.h"

namespace kelvara {

FilterParameters filterParameters(const FrequencyFilter& controls, int imageWidth)
{
    FilterParameters p;
    p.type = (controls.type >= LowPass && controls.type <= BandReject) ? controls.type : LowPass;
    p.cut1 = controls.cut1;
    p.cut2 = controls.cut2;
    if (p.cut1 >= p.cut2) {
        p.cut2 = p.cut1 + 0.1;
        p.showCutoffMessage = p.type == BandPass || p.type == BandReject;
    }
    p.radius1 = static_cast<float>(imageWidth * p.cut1 * 0.5);
    p.radius2 = static_cast<float>(imageWidth * p.cut2 * 0.5);
    return p;
}

FourierViews::FourierViews() : engine(std::make_unique<FourierEngine>()) {}

FourierViews::~FourierViews() = default;

void FourierViews::setImage(const QImage& aoiImage)
{
    if (!image.isNull() && aoiImage.cacheKey() == image.cacheKey())
        return;
    image = aoiImage;
    engine->setImage(aoiImage);
    hasSpectrum = hasThreshold = hasFiltered = false;
}

QImage FourierViews::spectrum(bool logarithmic)
{
    if (!hasSpectrum || spectrumLogarithmic != logarithmic) {
        engine->setLogarithmic(logarithmic);
        engine->computeSpectrum();
        spectrumResult = engine->outputImage();
        spectrumLogarithmic = logarithmic;
        hasSpectrum = true;
    }
    return spectrumResult;
}

double FourierViews::threshold(const ThresholdWindow& window)
{
    const ThresholdWindow& w = thresholdWindow;
    if (!hasThreshold || w.xMin != window.xMin || w.xMax != window.xMax ||
        w.yMin != window.yMin || w.yMax != window.yMax) {
        thresholdResult = engine->spectrumThreshold(window.xMin, window.xMax, window.yMin, window.yMax);
        thresholdWindow = window;
        hasThreshold = true;
    }
    return thresholdResult;
}

QImage FourierViews::filtered(const FilterParameters& parameters)
{
    // The engine reads nothing else of the parameters.
    if (!hasFiltered || filter.type != parameters.type || filter.radius1 != parameters.radius1 ||
        filter.radius2 != parameters.radius2) {
        engine->setFirstRadius(parameters.radius1);
        engine->setSecondRadius(parameters.radius2);
        engine->setFilterType(parameters.type);
        engine->applyFilter();
        filteredResult = engine->outputImage();
        filter = parameters;
        hasFiltered = true;
    }
    return filteredResult;
}

QImage filteredImage(const QImage& aoiImage, const FilterParameters& parameters)
{
    FourierViews views;
    views.setImage(aoiImage);
    return views.filtered(parameters);
}

QImage spectrumImage(const QImage& aoiImage, bool logarithmic)
{
    FourierViews views;
    views.setImage(aoiImage);
    return views.spectrum(logarithmic);
}

double spectrumThresholdValue(const QImage& aoiImage, const ThresholdWindow& window)
{
    FourierViews views;
    views.setImage(aoiImage);
    return views.threshold(window);
}

} // namespace kelvara
