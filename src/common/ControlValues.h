#pragma once

#include <QString>
#include <QStringList>

#include <array>

namespace kelvara {

// The values of every analysis control of the window, as plain data. The window reads its
// controls into this; the analysis chain, the settings/project files and the batch tool work
// on it without any widget. Arrays are indexed by Modality (T2, DWI, ADC); defaults are the
// form's start values.

struct ThresholdWindow {
    double xMin = 0.0, xMax = 0.0, yMin = 0.0, yMax = 0.0;
};

struct FrequencyFilter {
    int type = 0; // FourierFilterType: LowPass, HighPass, BandPass, BandReject
    double cut1 = 0.0, cut2 = 0.0;
};

struct SymmetryControls {
    int input = 0; // 0 "Original image", 1 "FFT filtered image"
    bool inverted = false;
    int shape = 0;    // 0 "Rectangle", 1 "Circle"
    int approach = 0; // 0 "Average symmetries", 1 "Average image"
    int rectX = 0, rectY = 0;
    int circleRadius = 1;
};

struct MaskControls {
    int input = 0; // 0 "Original image", 1 "FFT filtered image"
    int left = 0, right = 0;
    bool autocorrect = false;
    int autocorrectBase = 0; // 0 "FFT", 1 "Average"
    double autocorrectFactor = 1.0;
};

// One entry of the solution list: what the list item shows and its data "KEY;AMPLIFICATION".
struct ProgramItem {
    QString text;
    QString data;
    bool operator==(const ProgramItem& o) const { return text == o.text && data == o.data; }

    // KEY and AMPLIFICATION as the calculation takes them: text that is no number reads as 0.
    QString key() const { return data.split(QLatin1Char(';')).value(0); }
    double amplification() const { return data.split(QLatin1Char(';')).value(1).toDouble(); }
};

// The images a solution entry can name: the smooth symmetries of T2, DWI and ADC (amplified),
// then the DWI and ADC masks and symmetric masks. -1 for any other key.
inline int solutionKeyIndex(const QString& key)
{
    static const QStringList keys = {QStringLiteral("SS_T2"),  QStringLiteral("SS_DWI"),
                                     QStringLiteral("SS_ADC"), QStringLiteral("M_DWI"),
                                     QStringLiteral("M_ADC"),  QStringLiteral("MS_DWI"),
                                     QStringLiteral("MS_ADC")};
    return int(keys.indexOf(key));
}

struct ControlValues {
    // Overlay and AOI ("Prepare images").
    std::array<double, 3> scale{1.0, 1.0, 1.0};
    int hCells = 50, vCells = 50, hStep = 1, vStep = 1;
    int hPos = 0, vPos = 0; // horizontalSlider, verticalSlider

    // Fourier.
    std::array<bool, 3> logarithmic{true, true, true};
    std::array<ThresholdWindow, 3> threshold{};
    std::array<FrequencyFilter, 3> filter{};

    // Masks (DWI and ADC only). The ADC upper bound deliberately starts at 0.
    MaskControls dwiMask{0, 0, 255, false, 0, 1.0};
    MaskControls adcMask{0, 0, 0, false, 0, 1.0};

    // Symmetry and smoothing.
    std::array<SymmetryControls, 3> symmetry{};

    // Product preview.
    std::array<bool, 3> productChecked{false, false, false};
    std::array<double, 3> productAmplification{1.0, 1.0, 1.0};

    // Solution.
    QList<ProgramItem> program;
    double resultMin = 0.0, resultMax = 255.0;
    bool resultAutocorrect = false;
    int resultAutocorrectBase = 0; // T2 / DWI / ADC Fourier, Non-masked average
    double resultAutocorrectFactor = 1.0;
    bool includeIntervalIn3D = false;

    // Evaluation.
    int smallAreaThreshold = 0;
    int pathologyThreshold = 0;
};

} // namespace kelvara
