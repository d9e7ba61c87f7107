#pragma once

#include <QString>
#include <QtGlobal>

namespace kelvara {

// What a control holds after its setter, for code that works without widgets (the analysis
// chain writing automatic bounds back, the batch tool loading a project).

// QDoubleSpinBox rounds every value, its range included, through its decimal text, then clamps;
// NaN fails the upper test and ends at the maximum, as in the widget.
inline double doubleSpinBoxValue(double v, int decimals, double minimum, double maximum)
{
    auto round = [decimals](double x) { return QString::number(x, 'f', decimals).toDouble(); };
    const double lo = round(minimum);
    const double hi = round(maximum);
    const double r = round(v);
    return r < lo ? lo : !(r <= hi) ? hi : r;
}

// QSpinBox and QSlider clamp into their range.
inline int spinBoxValue(int v, int minimum, int maximum)
{
    return qBound(minimum, v, maximum);
}

} // namespace kelvara
