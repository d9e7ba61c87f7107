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

// One entry per field, so that a failed comparison names the field.
inline QStringList describe(const ControlValues& v)
{
    QStringList s;
    QString p; // module index, where the field is one of three
#define TESTDATA_FIELD(f) (p + #f "=" + QVariant::fromValue(v.f).toString())
    for (int m = 0; m < 3; ++m) {
        p = QString::number(m) + ':';
        s << TESTDATA_FIELD(scale[m]) << TESTDATA_FIELD(logarithmic[m])
          << TESTDATA_FIELD(threshold[m].xMin) << TESTDATA_FIELD(threshold[m].xMax)
          << TESTDATA_FIELD(threshold[m].yMin) << TESTDATA_FIELD(threshold[m].yMax)
          << TESTDATA_FIELD(filter[m].type) << TESTDATA_FIELD(filter[m].cut1)
          << TESTDATA_FIELD(filter[m].cut2) << TESTDATA_FIELD(symmetry[m].input)
          << TESTDATA_FIELD(symmetry[m].inverted) << TESTDATA_FIELD(symmetry[m].shape)
          << TESTDATA_FIELD(symmetry[m].approach) << TESTDATA_FIELD(symmetry[m].rectX)
          << TESTDATA_FIELD(symmetry[m].rectY) << TESTDATA_FIELD(symmetry[m].circleRadius)
          << TESTDATA_FIELD(productChecked[m]) << TESTDATA_FIELD(productAmplification[m]);
    }
    p.clear();
    s << TESTDATA_FIELD(hCells) << TESTDATA_FIELD(vCells) << TESTDATA_FIELD(hStep)
      << TESTDATA_FIELD(vStep) << TESTDATA_FIELD(hPos) << TESTDATA_FIELD(vPos);
    for (const auto* mask : {&v.dwiMask, &v.adcMask}) {
        p = mask == &v.dwiMask ? "dwiMask." : "adcMask.";
        const kelvara::MaskControls& v = *mask;
        s << TESTDATA_FIELD(input) << TESTDATA_FIELD(left) << TESTDATA_FIELD(right)
          << TESTDATA_FIELD(autocorrect) << TESTDATA_FIELD(autocorrectBase)
          << TESTDATA_FIELD(autocorrectFactor);
    }
    p.clear();
    for (const kelvara::ProgramItem& item : v.program)
        s << "program=" + item.text + " | " + item.data;
    s << TESTDATA_FIELD(resultMin) << TESTDATA_FIELD(resultMax) << TESTDATA_FIELD(resultAutocorrect)
      << TESTDATA_FIELD(resultAutocorrectBase) << TESTDATA_FIELD(resultAutocorrectFactor)
      << TESTDATA_FIELD(includeIntervalIn3D) << TESTDATA_FIELD(smallAreaThreshold)
      << TESTDATA_FIELD(pathologyThreshold);
#undef TESTDATA_FIELD
    return s;
}

} // namespace testdata
