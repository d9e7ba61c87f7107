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

QImage filteredImage(const QImage& aoiImage, const FilterParameters& parameters)
{
    FourierEngine engine;
    engine.setFirstRadius(parameters.radius1);
    engine.setSecondRadius(parameters.radius2);
    engine.setFilterType(parameters.type);
    engine.setImage(aoiImage);
    engine.applyFilter();
    return engine.outputImage();
}

QImage spectrumImage(const QImage& aoiImage, bool logarithmic)
{
    FourierEngine engine;
    engine.setImage(aoiImage);
    engine.setLogarithmic(logarithmic);
    engine.computeSpectrum();
    return engine.outputImage();
}

double spectrumThresholdValue(const QImage& aoiImage, const ThresholdWindow& window)
{
    FourierEngine engine;
    engine.setImage(aoiImage);
    return engine.spectrumThreshold(window.xMin, window.xMax, window.yMin, window.yMax);
}

} // namespace kelvara
