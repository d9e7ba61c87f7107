#pragma once

#include <QString>

namespace kelvara {

// The widget class that receives a stored value, which decides the setter the window calls:
// QDoubleSpinBox::setValue, QSpinBox::setValue, QComboBox::setCurrentIndex,
// QAbstractButton::setChecked or QAbstractSlider::setValue.
enum class ControlKind { DoubleSpinBox, SpinBox, ComboBox, CheckBox, Slider };

// One control value read from a settings or project file: converted as the file format says
// but not yet limited by the control. The window passes it to the setter of the control named
// objectName; a front end without widgets uses limited() to get what that control would hold.
struct StoredControl
{
    QString objectName;
    ControlKind kind = ControlKind::SpinBox;
    double number = 0.0;  // DoubleSpinBox
    int integer = 0;      // SpinBox, Slider, ComboBox (current index)
    bool checked = false; // CheckBox

    // Limits of the receiving control as the form sets them: the value range (for a combo box
    // 0 .. item count - 1) and, for a double spin box, its decimals.
    double minimum = 0.0;
    double maximum = 0.0;
    int decimals = 0;

    // The value the control holds after its setter: a double spin box rounds to its decimals
    // (as its setValue does, through the fixed-point text) and then clamps, NaN ending at the
    // maximum; spin boxes and sliders clamp; a combo box shows no selection (-1) for an index
    // outside its items.
    StoredControl limited() const;

    bool operator==(const StoredControl& o) const;
};

} // namespace kelvara
