#include "StoredControl.h"

#include "ControlLimits.h"

namespace kelvara {

StoredControl StoredControl::limited() const
{
    StoredControl c = *this;
    switch (kind) {
    case ControlKind::DoubleSpinBox:
        c.number = doubleSpinBoxValue(number, decimals, minimum, maximum);
        break;
    case ControlKind::SpinBox:
    case ControlKind::Slider:
        c.integer = spinBoxValue(integer, int(minimum), int(maximum));
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
