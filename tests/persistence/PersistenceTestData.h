#pragma once

#include "ControlFile.h"
#include "ControlValues.h"
#include "ImageSource.h"

#include <QJsonDocument>
#include <QStringList>

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

// The stored fields as the project file writes them, then the others: a failed comparison
// shows the differing key.
inline QStringList describe(const ControlValues& v)
{
    QStringList s = QString::fromUtf8(QJsonDocument(kelvara::ControlFile::project().toJson(v))
                                          .toJson()).split('\n');
    const auto list = [](const auto& a) { return QString("%1,%2,%3").arg(a[0]).arg(a[1]).arg(a[2]); };
    s << QString("steps %1 %2, log %3, product %4 x %5, factor %6, 3D %7, areas %8 %9")
             .arg(v.hStep).arg(v.vStep).arg(list(v.logarithmic)).arg(list(v.productChecked))
             .arg(list(v.productAmplification)).arg(v.resultAutocorrectFactor)
             .arg(v.includeIntervalIn3D).arg(v.smallAreaThreshold).arg(v.pathologyThreshold);
    return s;
}

} // namespace testdata
