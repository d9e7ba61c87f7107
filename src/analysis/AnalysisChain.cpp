#include "AnalysisChain.h"

#include "FrequencyFilter.h"
#include "Numeric.h"
#include "Parallel.h"
#include "ResultMatrix.h"
#include "StoredControlTable.h"
#include "SymmetryEngine.h"

namespace kelvara {

namespace {

int index(Modality m)
{
    return static_cast<int>(m);
}

// The smooth-symmetry result and the masks a solution entry names.
const double* const* solutionPlane(const SymmetryEngine& e, const QString& key, bool* symmetry)
{
    const int i = solutionKeyIndex(key);
    *symmetry = i >= 0 && i < 3;
    switch (i) {
    case 0:
        return e.t2SmoothResult();
    case 1:
        return e.dwiSmoothResult();
    case 2:
        return e.adcSmoothResult();
    case 3:
        return e.dwiMask();
    case 4:
        return e.adcMask();
    case 5:
        return e.dwiSymmetricMask();
    case 6:
        return e.adcSymmetricMask();
    default:
        return nullptr;
    }
}

} // namespace

AnalysisChain::AnalysisChain(SymmetryEngine& engine, ResultMatrix& product, ResultMatrix& solution,
                             ResultMatrix& nonMasked, IntervalBases& averages, AOIProvider aoi,
                             CutoffNotice cutoffNotice)
    : engine(engine), productMatrix(product), solutionMatrix(solution), nonMaskedMatrix(nonMasked),
      averages(averages), aoi(std::move(aoi)), cutoffNotice(std::move(cutoffNotice))
{
}

int AnalysisChain::regionX0(const AOIImages& a)
{
    return truncToInt(256.0 - a.boxHalfWidth);
}

int AnalysisChain::regionY0(const AOIImages& a)
{
    return truncToInt(256.0 - a.boxHeight * 0.5);
}

QImage AnalysisChain::spectrum(Modality m, const ControlValues& c) const
{
    FourierViews& views = fourier[std::size_t(index(m))];
    views.setImage(aoi().of(m));
    return views.spectrum(c.logarithmic[index(m)]);
}

double AnalysisChain::prepareThreshold(Modality m, const ControlValues& c)
{
    FourierViews& views = fourier[std::size_t(index(m))];
    views.setImage(aoi().of(m));
    const double value = views.threshold(c.threshold[index(m)]);
    averages.of(m) = value;
    return value;
}

QImage AnalysisChain::filtered(Modality m, const ControlValues& c) const
{
    const AOIImages images = aoi();
    const QImage& input = images.of(m);
    const FilterParameters p = filterParameters(c.filter[index(m)], input.width());
    // The message comes before the filtering, which then runs with the raised cut-off.
    if (p.showCutoffMessage && cutoffNotice)
        cutoffNotice();
    FourierViews& views = fourier[std::size_t(index(m))];
    views.setImage(input);
    return views.filtered(p);
}

void AnalysisChain::prepareSpectra(const ControlValues& c)
{
    const AOIImages images = aoi();
    std::vector<std::function<void()>> tasks;
    for (Modality m : kModalities) {
        // Each task touches only its modality's views.
        tasks.push_back([this, &images, &c, m]() {
            const int i = index(m);
            const QImage& input = images.of(m);
            FourierViews& views = fourier[std::size_t(i)];
            views.setImage(input);
            views.spectrum(c.logarithmic[i]);
            views.threshold(c.threshold[i]);
            views.filtered(filterParameters(c.filter[i], input.width()));
        });
    }
    runConcurrently(tasks);
}

std::array<QImage, 3> AnalysisChain::symmetryInputs(const ControlValues& c) const
{
    const AOIImages images = aoi();
    std::array<QImage, 3> in{images.t2, images.dwi, images.adc};
    for (Modality m : kModalities)
        if (c.symmetry[index(m)].input == 1)
            in[index(m)] = filtered(m, c);
    return in;
}

void AnalysisChain::rawSymmetries(const ControlValues& c)
{
    const std::array<QImage, 3> in = symmetryInputs(c);
    const AOIImages images = aoi(); // already up to date: no second extraction
    const int x0 = regionX0(images);
    const int y0 = regionY0(images);
    engine.computeRawSymmetries(in[0], in[1], in[2], x0, y0, x0, y0, x0, y0, c.symmetry[0].inverted,
                                c.symmetry[1].inverted, c.symmetry[2].inverted);
}

void AnalysisChain::smoothSymmetries(const ControlValues& c)
{
    rawSymmetries(c);
    smoothRawSymmetries(c);
}

void AnalysisChain::smoothRawSymmetries(const ControlValues& c)
{
    const SymmetryControls& t2 = c.symmetry[0];
    const SymmetryControls& dwi = c.symmetry[1];
    const SymmetryControls& adc = c.symmetry[2];
    engine.smoothSymmetries(t2.approach, dwi.approach, adc.approach, 2 * c.hCells, c.vCells, c.hStep,
                            c.vStep, t2.shape, dwi.shape, adc.shape, t2.rectX, t2.rectY, dwi.rectX,
                            dwi.rectY, adc.rectX, adc.rectY, t2.circleRadius, dwi.circleRadius,
                            adc.circleRadius);
}

MaskInputs AnalysisChain::prepareMasks(ControlValues& c)
{
    const AOIImages images = aoi();
    MaskInputs in{images.dwi, images.adc};
    const int x0 = regionX0(images);
    const int y0 = regionY0(images);
    if (c.dwiMask.input == 1)
        in.dwi = filtered(Modality::DWI, c).convertToFormat(QImage::Format_Grayscale8);
    if (c.adcMask.input == 1)
        in.adc = filtered(Modality::ADC, c).convertToFormat(QImage::Format_Grayscale8);

    // The window keeps these equal to its spin boxes; a front end without widgets relies on this.
    engine.setDWILeft(c.dwiMask.left);
    engine.setDWIRight(c.dwiMask.right);
    engine.setADCLeft(c.adcMask.left);
    engine.setADCRight(c.adcMask.right);

    // The "Average" base must describe exactly this run's inputs.
    engine.loadMaskRegions(in.dwi, in.adc, x0, y0, x0, y0);

    // The threshold is recomputed whatever the base; DWI corrects its lower bound, ADC its
    // upper one.
    if (c.dwiMask.autocorrect) {
        prepareThreshold(Modality::DWI, c);
        const double base = c.dwiMask.autocorrectBase == 0 ? averages.dwiFourierAverage
                                                            : engine.dwiImageAverage();
        c.dwiMask.left = StoredControlTable::limitedInteger(
            QStringLiteral("DWI_IntervalLeft"), truncToInt(c.dwiMask.autocorrectFactor * base));
        engine.setDWILeft(c.dwiMask.left);
    }
    if (c.adcMask.autocorrect) {
        prepareThreshold(Modality::ADC, c);
        const double base = c.adcMask.autocorrectBase == 0 ? averages.adcFourierAverage
                                                            : engine.adcImageAverage();
        c.adcMask.right = StoredControlTable::limitedInteger(
            QStringLiteral("ADC_IntervalRight"), truncToInt(c.adcMask.autocorrectFactor * base));
        engine.setADCRight(c.adcMask.right);
    }
    engine.computeMasks(in.dwi, in.adc, x0, y0, x0, y0, MaskMode::Binary, MaskMode::Binary);
    return in;
}

void AnalysisChain::product(const ControlValues& c)
{
    smoothSymmetries(c);
    productOfSmoothed(c);
}

void AnalysisChain::productOfSmoothed(const ControlValues& c)
{
    productMatrix.resize(engine.t2Smoother().resultRows(), engine.t2Smoother().resultCols());
    const double* const* results[3] = {engine.t2SmoothResult(), engine.dwiSmoothResult(),
                                       engine.adcSmoothResult()};
    for (Modality m : kModalities)
        if (c.productChecked[index(m)])
            productMatrix.multiplyScaled(results[index(m)], c.productAmplification[index(m)]);
}

SolutionStatistics AnalysisChain::solution(ControlValues& c)
{
    smoothSymmetries(c);
    prepareMasks(c);
    return solutionOfPlanes(c);
}

SolutionStatistics AnalysisChain::solutionOfPlanes(ControlValues& c)
{
    const int w = engine.t2Smoother().resultRows();
    const int h = engine.t2Smoother().resultCols();
    solutionMatrix.resize(w, h);
    nonMaskedMatrix.resize(w, h);

    for (const ProgramItem& item : std::as_const(c.program)) {
        const double amplification = item.amplification();
        bool symmetry = false;
        const double* const* plane = solutionPlane(engine, item.key(), &symmetry);
        if (!plane)
            continue;
        if (symmetry) {
            solutionMatrix.multiplyScaled(plane, amplification);
            nonMaskedMatrix.multiplyScaled(plane, amplification);
        } else {
            solutionMatrix.multiply(plane);
        }
    }

    averages.nonMaskedAverage = nonMaskedMatrix.averagePositive() * 255.0;
    if (c.resultAutocorrect) {
        // The Fourier bases are used as last computed; they are not recomputed here.
        const int b = c.resultAutocorrectBase;
        const double base = b == 0   ? averages.t2FourierAverage
                            : b == 1 ? averages.dwiFourierAverage
                            : b == 2 ? averages.adcFourierAverage
                            : b == 3 ? averages.nonMaskedAverage
                                     : 0.0;
        c.resultMin = StoredControlTable::limitedNumber(QStringLiteral("ResultMaskIntervalMin"),
                                                      c.resultAutocorrectFactor * base);
    }
    solutionMatrix.applyInterval(c.resultMin / 255.0, c.resultMax / 255.0);

    SolutionStatistics s;
    s.suspiciousPixels = solutionMatrix.countInterval();
    s.averageSignal = solutionMatrix.averagePositive() * 255.0;
    s.averageSignalNonMasked = averages.nonMaskedAverage;
    return s;
}

bool AnalysisChain::evaluate(ControlValues& c, SolutionStatistics* statistics)
{
    const SolutionStatistics s = solution(c);
    if (statistics)
        *statistics = s;
    return evaluateSolution(c);
}

bool AnalysisChain::evaluateSolution(const ControlValues& c)
{
    solutionMatrix.removeSmallAreas(c.smallAreaThreshold);
    return solutionMatrix.hasPathology(c.pathologyThreshold);
}

int AnalysisChain::keptAreaPixels() const
{
    return solutionMatrix.keptAreaPixels();
}

} // namespace kelvara
