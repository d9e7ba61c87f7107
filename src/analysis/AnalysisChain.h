#pragma once

#include "CaseImages.h"
#include "ControlValues.h"
#include "FrequencyFilter.h"
#include "Modality.h"

#include <QImage>

#include <array>
#include <functional>

class ResultMatrix;
class SymmetryEngine;

namespace kelvara {

// The spectrum threshold values (bases of the automatic intervals) and the solution's
// non-masked average.
struct IntervalBases {
    double t2FourierAverage = 0.0;
    double dwiFourierAverage = 0.0;
    double adcFourierAverage = 0.0;
    double nonMaskedAverage = 0.0;

    double& of(Modality m)
    {
        return m == Modality::T2 ? t2FourierAverage : m == Modality::DWI ? dwiFourierAverage : adcFourierAverage;
    }
};

// What "Recalculate mask" shows besides the mask planes: the images the masks were made from.
struct MaskInputs {
    QImage dwi, adc;
};

struct SolutionStatistics {
    int suspiciousPixels = 0;
    double averageSignal = 0.0;          // over all positive solution values, x 255
    double averageSignalNonMasked = 0.0; // the same for the non-masked solution
};

// The analysis chain of the product, written once: the window's slots and the batch tool call
// it with the values of the controls and show what it computed. Every operation recomputes its
// whole input chain from those values; only the AOI images are cached (by whoever provides
// them), and the Fourier views of an unchanged AOI image with unchanged parameters. Where the window's controls would change as a side effect (automatic interval bounds),
// the chain writes the new value into the ControlValues it was given, limited and rounded as
// the receiving control does; the caller puts it back into the control.
class AnalysisChain
{
public:
    // Brings the AOI images up to date (extracting only if an input changed) and returns them.
    using AOIProvider = std::function<AOIImages()>;
    // Told each time a band filter had to raise its second cut-off.
    using CutoffNotice = std::function<void()>;

    AnalysisChain(SymmetryEngine& engine, ResultMatrix& product, ResultMatrix& solution,
                  ResultMatrix& nonMasked, IntervalBases& averages, AOIProvider aoi,
                  CutoffNotice cutoffNotice);

    // Fourier: "Display FFT", "Display treshold" (stores the value), "Display result".
    QImage spectrum(Modality m, const ControlValues& c) const;
    double prepareThreshold(Modality m, const ControlValues& c);
    QImage filtered(Modality m, const ControlValues& c) const;
    // Computes all three Fourier views of the three modalities at once (one thread each where
    // there are cores), so that the calls above are answered without another transform.
    void prepareSpectra(const ControlValues& c);

    // The symmetry inputs: each AOI image, or its filtered image where the modality's symmetry
    // input says "FFT filtered image" (T2, DWI, ADC in this order).
    std::array<QImage, 3> symmetryInputs(const ControlValues& c) const;
    void rawSymmetries(const ControlValues& c);
    // Raw symmetries, then the smoothing of all three modalities.
    void smoothSymmetries(const ControlValues& c);
    // The smoothing alone, of the raw symmetries the engine holds.
    void smoothRawSymmetries(const ControlValues& c);

    // Masks of DWI and ADC with their automatic bounds (DWI lower, ADC upper), which are
    // written back into c.dwiMask.left / c.adcMask.right.
    MaskInputs prepareMasks(ControlValues& c);

    // The amplified product of the checked smooth symmetries.
    void product(const ControlValues& c);
    // The same of the smooth symmetries the engine holds, for a caller that has just run
    // smoothSymmetries with these values.
    void productOfSmoothed(const ControlValues& c);

    // The solution of the listed images and masks, its interval (the automatic minimum is
    // written back into c.resultMin) and statistics.
    SolutionStatistics solution(ControlValues& c);
    // The same of the smooth symmetries and masks the engine holds, for a caller that has just
    // run smoothSymmetries and then prepareMasks with these values.
    SolutionStatistics solutionOfPlanes(ControlValues& c);

    // On the current solution: 8-connected suspicious areas below the small-area threshold
    // dropped, the verdict from the pixels kept.
    bool evaluateSolution(const ControlValues& c);
    // Solution, then evaluateSolution.
    bool evaluate(ControlValues& c, SolutionStatistics* statistics = nullptr);
    // Pixels of the areas the last evaluation kept.
    int keptAreaPixels() const;

    // Canvas origin of the region fill for the current AOI: (256 - half-width, 256 - H/2).
    static int regionX0(const AOIImages& a);
    static int regionY0(const AOIImages& a);

private:
    SymmetryEngine& engine;
    ResultMatrix& productMatrix;
    ResultMatrix& solutionMatrix;
    ResultMatrix& nonMaskedMatrix;
    IntervalBases& averages;
    AOIProvider aoi;
    CutoffNotice cutoffNotice;
    mutable std::array<FourierViews, 3> fourier;
};

} // namespace kelvara
