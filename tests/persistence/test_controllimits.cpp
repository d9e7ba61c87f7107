// The limits a front end without widgets applies are checked against the widgets themselves:
// each stored control gets a real QSpinBox, QDoubleSpinBox, QComboBox or QSlider with the
// same limits, and both must agree on every probe value.
#include "ProjectFile.h"
#include "SettingsFile.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QSlider>
#include <QSpinBox>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>

using kelvara::ControlKind;
using kelvara::StoredControl;

namespace {

// Every control either file stores, once.
QList<StoredControl> allControls()
{
    QList<StoredControl> all = kelvara::ProjectFile::fromJson({}).controls;
    for (const StoredControl& c : kelvara::SettingsFile::fromJson({}).controls)
        if (std::none_of(all.cbegin(), all.cend(),
                         [&c](const StoredControl& a) { return a.objectName == c.objectName; }))
            all << c;
    return all;
}

const double kInf = std::numeric_limits<double>::infinity();
const QList<double> kDoubles = {
    -kInf,   -1e300,  -1.0,    -0.004,   -0.0,    0.0,     0.00049, 0.0005,      0.00051,
    0.0015,  0.0025,  0.12345, 0.12355,  0.5,     0.99949, 0.9995,  0.99951,     1.0,
    1.005,   2.675,   12.345,  37.25,    99.99,   99.994,  99.995,  99.996,      100.0,
    254.994, 254.995, 255.0,   255.0049, 255.005, 1e300,   kInf,    std::nan("")};
const int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
// clang-format off
const QList<int> kInts = {kMin, -1001, -501, -500, -2, -1, 0, 1, 2, 3, 4, 5, 99, 100, 101, 255,
                          256, 999, 1000, 1001, kMax};
// clang-format on

} // namespace

class TestControlLimits : public QObject
{
    Q_OBJECT

private slots:
    void matchesWidgets_data();
    void matchesWidgets();
};

void TestControlLimits::matchesWidgets_data()
{
    QTest::addColumn<StoredControl>("control");
    for (const StoredControl& c : allControls())
        QTest::newRow(qPrintable(c.objectName)) << c;
}

void TestControlLimits::matchesWidgets()
{
    QFETCH(StoredControl, control);
    StoredControl probe = control;
    switch (control.kind) {
    case ControlKind::DoubleSpinBox: {
        QDoubleSpinBox box;
        box.setDecimals(control.decimals);
        box.setRange(control.minimum, control.maximum);
        for (double v : kDoubles) {
            probe.number = v;
            box.setValue(v);
            QVERIFY2(probe.limited().number == box.value(),
                     qPrintable(QString("%1 -> %2, widget %3")
                                    .arg(v)
                                    .arg(probe.limited().number, 0, 'g', 17)
                                    .arg(box.value(), 0, 'g', 17)));
        }
        break;
    }
    case ControlKind::SpinBox:
    case ControlKind::Slider: {
        QSpinBox box;
        QSlider slider;
        box.setRange(int(control.minimum), int(control.maximum));
        slider.setRange(int(control.minimum), int(control.maximum));
        for (int v : kInts) {
            probe.integer = v;
            box.setValue(v);
            slider.setValue(v);
            QCOMPARE(probe.limited().integer,
                     control.kind == ControlKind::SpinBox ? box.value() : slider.value());
        }
        break;
    }
    case ControlKind::ComboBox: {
        QComboBox combo;
        for (int i = 0; i <= int(control.maximum); ++i)
            combo.addItem(QString::number(i));
        for (int v : kInts) {
            probe.integer = v;
            combo.setCurrentIndex(0);
            combo.setCurrentIndex(v);
            QCOMPARE(probe.limited().integer, combo.currentIndex());
        }
        break;
    }
    case ControlKind::CheckBox:
        for (bool v : {false, true}) {
            probe.checked = v;
            QCOMPARE(probe.limited().checked, v);
        }
        break;
    }
}

QTEST_MAIN(TestControlLimits)
#include "test_controllimits.moc"
