#include "StoredControl.h"

#include <QtGlobal>

namespace kelvara {

namespace {

// QDoubleSpinBox rounds every value, its range included, through its decimal text.
double roundToDecimals(double v, int decimals)
{
    return QString::number(v, 'f', decimals).toDouble();
}

} // namespace

StoredControl StoredControl::limited() const
{
    StoredControl c = *this;
    switch (kind) {
    case ControlKind::DoubleSpinBox: {
        const double lo = roundToDecimals(minimum, decimals);
        const double hi = roundToDecimals(maximum, decimals);
        const double v = roundToDecimals(number, decimals);
        // Written so that NaN fails the upper test and ends at the maximum, as in the widget.
        c.number = v < lo ? lo : !(v <= hi) ? hi : v;
        break;
    }
    case ControlKind::SpinBox:
    case ControlKind::Slider:
        c.integer = qBound(int(minimum), integer, int(maximum));
        break;
    case ControlKind::ComboBox:
        c.integer = integer >= 0 && integer <= int(maximum) ? integer : -1;
        break;
    case ControlKind::CheckBox:
        break;
    }
    return c;
}

bool StoredControl::operator==(const StoredControl& o) const
{
    return objectName == o.objectName && kind == o.kind && number == o.number &&
           integer == o.integer && checked == o.checked && minimum == o.minimum &&
           maximum == o.maximum && decimals == o.decimals;
}

} // namespace kelvara
