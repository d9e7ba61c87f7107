#include "StoredControlTable.h"

#include "Modality.h"
#include "Numeric.h"

#include <QHash>
#include <QSet>
#include <QJsonArray>
#include <QJsonValue>
#include <QStringList>

#include <cstddef>
#include <functional>
#include <limits>
#include <utility>
#include <variant>

namespace kelvara {

namespace {

using Field = std::variant<int*, double*, bool*>;
using FieldOf = std::function<Field(ControlValues&)>;

// The two conversions on load that do not simply follow the JSON type of the save.
enum class Reading {
    Plain,           // double, int or bool, as the control's value type
    DoubleTruncated, // mask bounds: double, then truncated toward zero for an integer spin box
    IntThenDouble    // ResultMin/Max: QJsonValue::toInt (37.25 -> 0), then a double spin box
};

struct Key
{
    QStringList path;
    StoredControl control; // objectName, kind and limits; the value is filled in on read
    Reading reading;
    FieldOf field;
};

StoredControl widget(const QString& name, ControlKind kind, double lo, double hi, int decimals)
{
    StoredControl c;
    c.objectName = name;
    c.kind = kind;
    c.minimum = lo;
    c.maximum = hi;
    c.decimals = decimals;
    return c;
}

Key doubleSpin(QStringList path, const QString& name, double lo, double hi, int decimals, FieldOf f,
               Reading r = Reading::Plain)
{
    return {std::move(path), widget(name, ControlKind::DoubleSpinBox, lo, hi, decimals), r,
            std::move(f)};
}

Key spin(QStringList path, const QString& name, int lo, int hi, FieldOf f,
         Reading r = Reading::Plain)
{
    return {std::move(path), widget(name, ControlKind::SpinBox, lo, hi, 0), r, std::move(f)};
}

Key slider(QStringList path, const QString& name, int lo, int hi, FieldOf f)
{
    return {std::move(path), widget(name, ControlKind::Slider, lo, hi, 0), Reading::Plain,
            std::move(f)};
}

Key combo(QStringList path, const QString& name, int items, FieldOf f)
{
    return {std::move(path), widget(name, ControlKind::ComboBox, 0, items - 1, 0), Reading::Plain,
            std::move(f)};
}

Key check(QStringList path, const QString& name, FieldOf f)
{
    return {std::move(path), widget(name, ControlKind::CheckBox, 0, 1, 0), Reading::Plain,
            std::move(f)};
}

// Limits of the form: the toolkit's default double spin box is 0..99.99 with 2 decimals.
constexpr double kDefaultDoubleMax = 99.99;
constexpr int kDefaultDecimals = 2;
constexpr int kFilterTypes = 4; // low-pass, high-pass, band-pass, band-reject
constexpr int kResultBases = 4; // T2, DWI, ADC Fourier, non-masked average
constexpr int kTwoChoices = 2;  // input image, mask base, kernel shape, approach

QString name(Modality m)
{
    return QString::fromLatin1(modalityName(m));
}

void appendMaskKeys(QList<Key>& keys, Modality m, MaskControls ControlValues::*mask)
{
    const QString n = name(m);
    const QString obj = n + QStringLiteral("BMask");
    auto field = [mask](auto member) {
        return [mask, member](ControlValues& v) { return Field(&((v.*mask).*member)); };
    };
    keys << spin({obj, "Min"}, n + "_IntervalLeft", 0, 255, field(&MaskControls::left),
                 Reading::DoubleTruncated)
         << spin({obj, "Max"}, n + "_IntervalRight", 0, 255, field(&MaskControls::right),
                 Reading::DoubleTruncated)
         << combo({obj, "Input"}, n + "BinMaskInputImgCombo", kTwoChoices,
                  field(&MaskControls::input))
         << check({obj, "Autocorrect"}, "BinMask" + n + "AutoCorrectInterval",
                  field(&MaskControls::autocorrect));
    Key base = combo({obj, "AutocorrectBase"}, "BinMask" + n + "AutoCorrectBaseCombo", kTwoChoices,
                     field(&MaskControls::autocorrectBase));
    Key factor = doubleSpin({obj, "AutocorrectFactor"}, "BinMask" + n + "AutoCorrectFactor", 0, 255,
                            kDefaultDecimals, field(&MaskControls::autocorrectFactor));
    // ADC loads its factor before its base, the reverse of DWI; the slots see that order.
    if (m == Modality::ADC)
        keys << factor << base;
    else
        keys << base << factor;
}

QList<Key> analysisKeys()
{
    QList<Key> keys;
    for (Modality m : kModalities) {
        const int i = int(m);
        const QString obj = "FFT_" + name(m) + "_Tresh";
        const QString spinBox = name(m) + "FFTTresh";
        keys << doubleSpin({obj, "XMin"}, spinBox + "XMin", 0, 1, 3, [i](ControlValues& v) {
            return Field(&v.threshold[i].xMin);
        }) << doubleSpin({obj, "XMax"}, spinBox + "XMax", 0, 1, 3, [i](ControlValues& v) {
            return Field(&v.threshold[i].xMax);
        }) << doubleSpin({obj, "YMin"}, spinBox + "YMin", 0, 1, 3, [i](ControlValues& v) {
            return Field(&v.threshold[i].yMin);
        }) << doubleSpin({obj, "YMax"}, spinBox + "YMax", 0, 1, 3, [i](ControlValues& v) {
            return Field(&v.threshold[i].yMax);
        });
    }
    auto filterObj = [](Modality m) { return "FFT_" + name(m) + "_Filter"; };
    for (Modality m : kModalities) {
        const int i = int(m);
        keys << combo({filterObj(m), "Type"}, name(m) + "FFTFilterComboBox", kFilterTypes,
                      [i](ControlValues& v) { return Field(&v.filter[i].type); });
    }
    for (Modality m : kModalities) {
        const int i = int(m);
        keys << doubleSpin({filterObj(m), "Cut1"}, name(m) + "FFTCutoffSpinBox", 0, 1, 4,
                           [i](ControlValues& v) { return Field(&v.filter[i].cut1); });
    }
    for (Modality m : kModalities) {
        const int i = int(m);
        keys << doubleSpin({filterObj(m), "Cut2"}, name(m) + "FFTCutoffSpinBox2", 0, 1, 4,
                           [i](ControlValues& v) { return Field(&v.filter[i].cut2); });
    }

    appendMaskKeys(keys, Modality::DWI, &ControlValues::dwiMask);
    appendMaskKeys(keys, Modality::ADC, &ControlValues::adcMask);

    for (Modality m : kModalities) {
        const int i = int(m);
        const QString n = name(m);
        const QString obj = n + "Sym";
        auto field = [i](auto member) {
            return [i, member](ControlValues& v) { return Field(&(v.symmetry[i].*member)); };
        };
        keys << combo({obj, "Filter", "Shape"}, n + "FilterShapeComboBox", kTwoChoices,
                      field(&SymmetryControls::shape))
             << combo({obj, "Filter", "Approach"}, n + "ApproachComboBox", kTwoChoices,
                      field(&SymmetryControls::approach))
             << spin({obj, "Filter", "HSize"}, n + "RectDimX", 0, 100,
                     field(&SymmetryControls::rectX))
             << spin({obj, "Filter", "VSize"}, n + "RectDimY", 0, 100,
                     field(&SymmetryControls::rectY))
             << spin({obj, "Filter", "CircleRad"}, n + "CircleRad", 1, 100,
                     field(&SymmetryControls::circleRadius))
             << check({obj, "Inverse"}, n + "SymInverted", field(&SymmetryControls::inverted))
             << combo({obj, "Input"}, n + "SymInputImgCombo", kTwoChoices,
                      field(&SymmetryControls::input));
    }

    keys << doubleSpin(
                {"ResultMin"}, "ResultMaskIntervalMin", 0, 255, kDefaultDecimals,
                [](ControlValues& v) { return Field(&v.resultMin); }, Reading::IntThenDouble)
         << doubleSpin(
                {"ResultMax"}, "ResultMaskIntervalMax", 0, 255, kDefaultDecimals,
                [](ControlValues& v) { return Field(&v.resultMax); }, Reading::IntThenDouble)
         << check({"ResultAutocorrectInterval"}, "ResultAutoCorrectInterval",
                  [](ControlValues& v) { return Field(&v.resultAutocorrect); })
         << combo({"ResultAutocorrectBase"}, "ResultAutoCorrectBaseCombo", kResultBases,
                  [](ControlValues& v) { return Field(&v.resultAutocorrectBase); });
    return keys;
}

Key scaleKey(QStringList path, Modality m)
{
    const int i = int(m);
    return doubleSpin(std::move(path), "OverlayScale" + name(m), 0, kDefaultDoubleMax,
                      kDefaultDecimals, [i](ControlValues& v) { return Field(&v.scale[i]); });
}

QList<Key> settingsKeys()
{
    QList<Key> keys;
    for (Modality m : kModalities)
        keys << scaleKey({name(m) + "Scale"}, m);
    return keys + analysisKeys();
}

QList<Key> projectKeys()
{
    QList<Key> keys;
    for (Modality m : kModalities)
        keys << scaleKey({name(m), "Scale"}, m);
    keys << spin({"AOI", "HCells"}, "HCells", 1, 1000, [](ControlValues& v) {
        return Field(&v.hCells);
    }) << spin({"AOI", "VCells"}, "VCells", 1, 1000, [](ControlValues& v) {
        return Field(&v.vCells);
    }) << slider({"AOI", "HPos"}, "horizontalSlider", -500, 500, [](ControlValues& v) {
        return Field(&v.hPos);
    }) << slider({"AOI", "VPos"}, "verticalSlider", -500, 500, [](ControlValues& v) {
        return Field(&v.vPos);
    });
    return keys + analysisKeys();
}

const QList<Key>& keysOf(FileLayout layout)
{
    static const QList<Key> settings = settingsKeys();
    static const QList<Key> project = projectKeys();
    return layout == FileLayout::Settings ? settings : project;
}

// Controls that front ends set but neither file stores; their limits live here all the same.
QList<StoredControl> unstoredControls()
{
    QList<StoredControl> controls;
    controls << widget("SmallAreaTresh", ControlKind::SpinBox, 0, 2000, 0)
             << widget("PathologyTresh", ControlKind::SpinBox, 0, 2000, 0)
             << widget("ResultAutoCorrectFactor", ControlKind::DoubleSpinBox, 0, 255,
                       kDefaultDecimals);
    for (Modality m : kModalities)
        controls << widget("Product" + name(m) + "SmoothSymAmp", ControlKind::DoubleSpinBox, 0,
                           kDefaultDoubleMax, kDefaultDecimals);
    return controls;
}

const QString kProgram = QStringLiteral("Program");
const QString kText = QStringLiteral("Text");
const QString kData = QStringLiteral("Data");
const QString kPath = QStringLiteral("Path");
const QString kType = QStringLiteral("Type");
const QString kSeries = QStringLiteral("Series");
const QString kSlice = QStringLiteral("Slice");
const QString kBValue = QStringLiteral("BValue");
const QString kScale = QStringLiteral("Scale");
const QString kAuto = QStringLiteral("auto");

// QJsonObject is a value type, so a nested member is copied out, changed and put back.
void insertAt(QJsonObject& object, const QStringList& path, int depth, const QJsonValue& value)
{
    const QString& key = path.at(depth);
    if (depth == path.size() - 1) {
        object.insert(key, value);
        return;
    }
    QJsonObject child = object.value(key).toObject();
    insertAt(child, path, depth + 1, value);
    object.insert(key, child);
}

// A missing member or a non-object on the way gives an undefined value, read as a default.
QJsonValue valueAt(const QJsonObject& root, const QStringList& path)
{
    QJsonObject object = root;
    for (int depth = 0; depth < path.size() - 1; ++depth)
        object = object.value(path.at(depth)).toObject();
    return object.value(path.last());
}

StoredControl readControl(const Key& key, const QJsonValue& v)
{
    StoredControl c = key.control;
    switch (key.reading) {
    case Reading::DoubleTruncated:
        c.integer = truncToInt(v.toDouble());
        break;
    case Reading::IntThenDouble:
        c.number = v.toInt();
        break;
    case Reading::Plain:
        switch (c.kind) {
        case ControlKind::DoubleSpinBox:
            c.number = v.toDouble();
            break;
        case ControlKind::CheckBox:
            c.checked = v.toBool();
            break;
        case ControlKind::SpinBox:
        case ControlKind::ComboBox:
        case ControlKind::Slider:
            c.integer = v.toInt();
            break;
        }
        break;
    }
    return c;
}

} // namespace

QJsonObject StoredControlTable::build(FileLayout layout, const ControlValues& values,
                           const std::array<ImageSource, 3>& images)
{
    QJsonObject root;
    if (layout == FileLayout::Project) {
        for (Modality m : kModalities) {
            const ImageSource& source = images[std::size_t(m)];
            insertAt(root, {name(m), kPath}, 0, source.path);
            insertAt(root, {name(m), kType}, 0, source.kind);
            // The series keys only when in use, so single-file projects stay as they were.
            if (!source.series.isEmpty())
                insertAt(root, {name(m), kSeries}, 0, source.series);
            if (source.slice >= 0)
                insertAt(root, {name(m), kSlice}, 0, source.slice);
            if (source.bValue >= 0.0)
                insertAt(root, {name(m), kBValue}, 0, source.bValue);
        }
    }
    // The fields are reached through non-const accessors; a copy keeps the caller's values
    // untouched.
    ControlValues v = values;
    for (const Key& key : keysOf(layout)) {
        const QJsonValue json = std::visit([](auto* p) { return QJsonValue(*p); }, key.field(v));
        insertAt(root, key.path, 0, json);
    }
    if (layout == FileLayout::Project)
        for (Modality m : kModalities)
            if (images[std::size_t(m)].autoScale)
                insertAt(root, {name(m), kScale}, 0, kAuto);
    QJsonArray program;
    for (const ProgramItem& item : values.program)
        program.append(QJsonObject{{kText, item.text}, {kData, item.data}});
    root.insert(kProgram, program);
    return root;
}

StoredFile StoredControlTable::read(FileLayout layout, const QJsonObject& root)
{
    StoredFile file;
    if (layout == FileLayout::Project) {
        for (Modality m : kModalities) {
            const QJsonObject object = root.value(name(m)).toObject();
            ImageSource& source = file.images[std::size_t(m)];
            source.path = object.value(kPath).toString();
            source.kind = object.value(kType).toString();
            source.series = object.value(kSeries).toString();
            const QJsonValue slice = object.value(kSlice);
            if (slice.isDouble())
                source.slice = truncToInt(slice.toDouble());
            source.bValue = object.value(kBValue).toDouble(-1.0);
            // "auto" reads as scale 0 in the control until the loaded images give the scale.
            source.autoScale = object.value(kScale).toString() == kAuto;
        }
    }
    const QList<Key>& keys = keysOf(layout);
    file.controls.reserve(keys.size());
    for (const Key& key : keys)
        file.controls.append(readControl(key, valueAt(root, key.path)));

    const QJsonArray program = root.value(kProgram).toArray();
    file.program.reserve(program.size());
    for (const QJsonValue& element : program) {
        const QJsonObject item = element.toObject();
        file.program.append({item.value(kText).toString(), item.value(kData).toString()});
    }
    return file;
}

const QList<StoredControl>& StoredControlTable::controls()
{
    static const QList<StoredControl> all = [] {
        QList<StoredControl> list;
        QSet<QString> seen;
        for (FileLayout layout : {FileLayout::Project, FileLayout::Settings})
            for (const Key& key : keysOf(layout))
                if (!seen.contains(key.control.objectName)) {
                    seen.insert(key.control.objectName);
                    list << key.control;
                }
        return list + unstoredControls();
    }();
    return all;
}

const StoredControl& StoredControlTable::control(const QString& objectName)
{
    for (const StoredControl& c : controls())
        if (c.objectName == objectName)
            return c;
    // A name missing here is a programming error, caught by the first test that runs it.
    qFatal("StoredControlTable: no control named %s", qPrintable(objectName));
}

int StoredControlTable::limitedInteger(const QString& objectName, qint64 value)
{
    StoredControl c = control(objectName);
    // Far beyond the int range the spin box still ends at its bound.
    c.integer = int(qBound(qint64(std::numeric_limits<int>::min()), value,
                           qint64(std::numeric_limits<int>::max())));
    return c.limited().integer;
}

double StoredControlTable::limitedNumber(const QString& objectName, double value)
{
    StoredControl c = control(objectName);
    c.number = value;
    return c.limited().number;
}

bool StoredControlTable::assign(ControlValues& values, const StoredControl& control)
{
    // Both layouts store the scales, under different paths but into the same fields.
    static const QHash<QString, FieldOf> fields = [] {
        QHash<QString, FieldOf> all;
        for (FileLayout layout : {FileLayout::Settings, FileLayout::Project})
            for (const Key& key : keysOf(layout))
                all.insert(key.control.objectName, key.field);
        return all;
    }();
    const auto it = fields.constFind(control.objectName);
    if (it == fields.constEnd())
        return false;
    struct Store
    {
        const StoredControl& c;
        void operator()(int* p) const { *p = c.integer; }
        void operator()(double* p) const { *p = c.number; }
        void operator()(bool* p) const { *p = c.checked; }
    };
    std::visit(Store{control}, (*it)(values));
    return true;
}

} // namespace kelvara
