#pragma once

#include "ControlValues.h"
#include "ImageSource.h"

#include <QStringList>
#include <QVariant>

#include <array>

namespace testdata {

using kelvara::ControlValues;

// Every stored value away from its form default and exactly representable by its control
// (in range, no more decimals than the control shows).
inline ControlValues stored()
{
    ControlValues v;
    v.scale = {1.25, 2.5, 0.75};
    v.hCells = 120;
    v.vCells = 80;
    v.hPos = -37;
    v.vPos = 212;
    v.threshold[0] = {0.125, 0.875, 0.25, 0.5};
    v.threshold[1] = {0.1, 0.9, 0.2, 0.8};
    v.threshold[2] = {0.001, 0.999, 0.3, 0.7};
    v.filter[0] = {1, 0.1234, 0.5678};
    v.filter[1] = {2, 0.25, 0.75};
    v.filter[2] = {3, 0.0001, 1.0};
    v.dwiMask = {1, 17, 200, true, 1, 2.5};
    v.adcMask = {1, 30, 120, true, 1, 3.75};
    v.symmetry[0] = {1, true, 1, 1, 7, 9, 12};
    v.symmetry[1] = {1, true, 1, 0, 8, 10, 13};
    v.symmetry[2] = {0, true, 0, 1, 100, 0, 100};
    v.program = {{"DWI mask", "M_DWI;1"},
                 {"T2 smooth symmetry; Amplification=2.5", "SS_T2;2.5"},
                 {"ADC simmetrical mask", "MS_ADC;1"}};
    v.resultMin = 37.0;
    v.resultMax = 200.0;
    v.resultAutocorrect = true;
    v.resultAutocorrectBase = 3;
    return v;
}

inline std::array<kelvara::ImageSource, 3> images()
{
    // ADC never loaded: null strings, written as empty ones.
    return {{{"/data/case 7/t2.dcm", "DICOM"}, {"dwi.bmp", "BMP"}, {}}};
}

// Values that neither file stores, away from their defaults: a load must keep them.
inline ControlValues unstoredChanged(ControlValues v = {})
{
    v.hStep = 2;
    v.vStep = 3;
    v.logarithmic = {false, true, false};
    v.productChecked = {true, false, true};
    v.productAmplification = {1.5, 2.0, 0.5};
    v.resultAutocorrectFactor = 4.5;
    v.includeIntervalIn3D = true;
    v.smallAreaThreshold = 40;
    v.pathologyThreshold = 900;
    return v;
}

// The AOI cells and position are stored by projects only.
inline void takeAOI(ControlValues& to, const ControlValues& from)
{
    to.hCells = from.hCells;
    to.vCells = from.vCells;
    to.hPos = from.hPos;
    to.vPos = from.vPos;
}

// One line per field, so that a failed comparison names the field.
inline QStringList describe(const ControlValues& v)
{
    QStringList s;
    auto add = [&s](const QString& name, const auto& value) {
        s << name + '=' + QVariant::fromValue(value).toString();
    };
    for (int m = 0; m < 3; ++m) {
        const QString p = QString::number(m) + '.';
        add(p + "scale", v.scale[m]);
        add(p + "logarithmic", v.logarithmic[m]);
        add(p + "xMin", v.threshold[m].xMin);
        add(p + "xMax", v.threshold[m].xMax);
        add(p + "yMin", v.threshold[m].yMin);
        add(p + "yMax", v.threshold[m].yMax);
        add(p + "type", v.filter[m].type);
        add(p + "cut1", v.filter[m].cut1);
        add(p + "cut2", v.filter[m].cut2);
        add(p + "symInput", v.symmetry[m].input);
        add(p + "inverted", v.symmetry[m].inverted);
        add(p + "shape", v.symmetry[m].shape);
        add(p + "approach", v.symmetry[m].approach);
        add(p + "rectX", v.symmetry[m].rectX);
        add(p + "rectY", v.symmetry[m].rectY);
        add(p + "circleRadius", v.symmetry[m].circleRadius);
        add(p + "productChecked", v.productChecked[m]);
        add(p + "productAmplification", v.productAmplification[m]);
    }
    add("hCells", v.hCells);
    add("vCells", v.vCells);
    add("hStep", v.hStep);
    add("vStep", v.vStep);
    add("hPos", v.hPos);
    add("vPos", v.vPos);
    const std::pair<const char*, const kelvara::MaskControls*> masks[] = {{"dwi", &v.dwiMask},
                                                                          {"adc", &v.adcMask}};
    for (const auto& [name, mask] : masks) {
        const QString p = QString::fromLatin1(name) + "Mask.";
        add(p + "input", mask->input);
        add(p + "left", mask->left);
        add(p + "right", mask->right);
        add(p + "autocorrect", mask->autocorrect);
        add(p + "autocorrectBase", mask->autocorrectBase);
        add(p + "autocorrectFactor", mask->autocorrectFactor);
    }
    for (const kelvara::ProgramItem& item : v.program)
        s << "program=" + item.text + " | " + item.data;
    add("resultMin", v.resultMin);
    add("resultMax", v.resultMax);
    add("resultAutocorrect", v.resultAutocorrect);
    add("resultAutocorrectBase", v.resultAutocorrectBase);
    add("resultAutocorrectFactor", v.resultAutocorrectFactor);
    add("includeIntervalIn3D", v.includeIntervalIn3D);
    add("smallAreaThreshold", v.smallAreaThreshold);
    add("pathologyThreshold", v.pathologyThreshold);
    return s;
}

} // namespace testdata
