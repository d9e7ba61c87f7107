#include "StoredControlTable.h"

#include "Modality.h"
#include "Numeric.h"

#include <QHash>
#include <QSet>
#include <QJsonArray>
#include <QJsonValue>
#include <QStringList>

#include <cmath>
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

// The value at a key path. A missing member on the way gives an undefined value, read as a
// default; so does a member that is not an object, which is then named in brokenAt.
struct Lookup
{
    QJsonValue value{QJsonValue::Undefined};
    QString brokenAt;
    QJsonValue broken;
};

Lookup lookup(const QJsonObject& root, const QStringList& path)
{
    Lookup found;
    QJsonObject object = root;
    for (int depth = 0; depth < path.size() - 1; ++depth) {
        const QJsonValue v = object.value(path.at(depth));
        if (!v.isObject()) {
            if (!v.isUndefined()) {
                found.brokenAt = path.mid(0, depth + 1).join(QLatin1Char('/'));
                found.broken = v;
            }
            return found;
        }
        object = v.toObject();
    }
    found.value = object.value(path.last());
    return found;
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

double valueOf(const StoredControl& c)
{
    return c.kind == ControlKind::DoubleSpinBox ? c.number
           : c.kind == ControlKind::CheckBox    ? double(c.checked)
                                                : double(c.integer);
}

QString number(double v)
{
    return QString::number(v, 'g', QLocale::FloatingPointShortest);
}

QString shown(const QJsonValue& v)
{
    return StoredControlTable::shown(v);
}

bool isSliceIndex(const QJsonValue& v)
{
    const double d = v.toDouble(-1.0);
    return v.isDouble() && d >= 0.0 && d <= double(std::numeric_limits<int>::max()) &&
           std::floor(d) == d;
}

bool isBValue(const QJsonValue& v)
{
    const double d = v.toDouble(-1.0);
    return v.isDouble() && std::isfinite(d) && d >= 0.0;
}

} // namespace

QString StoredControlTable::shown(const QJsonValue& v)
{
    switch (v.type()) {
    case QJsonValue::String: {
        const QString text = v.toString();
        return QStringLiteral("the text \"%1\"")
            .arg(text.size() > 40 ? text.left(40) + QStringLiteral("...") : text);
    }
    case QJsonValue::Double:
        return number(v.toDouble());
    case QJsonValue::Bool:
        return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Array:
        return QStringLiteral("a list");
    case QJsonValue::Object:
        return QStringLiteral("an object");
    default:
        return QStringLiteral("null");
    }
}

namespace {

// What a limited control holds, in words.
QString held(const StoredControl& c)
{
    switch (c.kind) {
    case ControlKind::DoubleSpinBox:
        return QString::number(c.number, 'f', c.decimals);
    case ControlKind::CheckBox:
        return c.checked ? QStringLiteral("true") : QStringLiteral("false");
    case ControlKind::ComboBox:
        return c.integer < 0 ? QStringLiteral("no item") : QString::number(c.integer);
    default:
        return QString::number(c.integer);
    }
}

class Report
{
public:
    Report(const QString& file, QList<LoadFinding>* out) : file(file), out(out) {}
    explicit operator bool() const { return out != nullptr; }
    void add(FindingKind kind, const QString& path, const QString& what)
    {
        if (out)
            out->append({kind, file, path, what});
    }
    // A member that should hold an object but does not: said once for all keys below it.
    void notAnObject(const QString& path, const QJsonValue& v)
    {
        if (!brokenReported.contains(path)) {
            brokenReported.insert(path);
            add(FindingKind::WrongType, path,
                shown(v) + QStringLiteral(" is not an object; the keys in it read as missing"));
        }
    }

private:
    const QString& file;
    QList<LoadFinding>* out;
    QSet<QString> brokenReported;
};

void checkControl(Report& report, const Key& key, const Lookup& found, const StoredControl& c,
                  bool autoAllowed)
{
    const QString path = key.path.join(QLatin1Char('/'));
    if (!found.brokenAt.isEmpty()) {
        report.notAnObject(found.brokenAt, found.broken);
        return;
    }
    const QJsonValue& v = found.value;
    const StoredControl limited = c.limited();
    if (v.isUndefined()) {
        report.add(FindingKind::Missing, path, QStringLiteral("missing; %1 used").arg(held(limited)));
        return;
    }
    if (autoAllowed && v.toString() == kAuto)
        return;
    const bool flag = c.kind == ControlKind::CheckBox;
    if (flag ? !v.isBool() : !v.isDouble()) {
        report.add(FindingKind::WrongType, path,
                   QStringLiteral("%1 is not %2; %3 used")
                       .arg(shown(v), flag ? QStringLiteral("true or false")
                                           : QStringLiteral("a number"),
                            held(limited)));
        return;
    }
    if (flag)
        return;
    const double raw = v.toDouble();
    const double read = valueOf(c);
    if (c.kind == ControlKind::ComboBox && limited.integer < 0) {
        report.add(FindingKind::NoSuchItem, path,
                   QStringLiteral("%1 is not one of the items 0 to %2; no item is selected")
                       .arg(number(raw))
                       .arg(int(c.maximum)));
    } else if (!(raw >= c.minimum && raw <= c.maximum)) {
        report.add(FindingKind::Clamped, path,
                   QStringLiteral("%1 is outside %2 to %3; %4 used")
                       .arg(number(raw), number(c.minimum), number(c.maximum), held(limited)));
    } else if (read != raw) {
        // The key's own conversion (whole numbers only, or truncated).
        QString what = QStringLiteral("%1 read as %2").arg(number(raw), number(read));
        if (valueOf(limited) != read)
            what += QStringLiteral("; %1 used").arg(held(limited));
        report.add(FindingKind::Rounded, path, what);
    } else if (valueOf(limited) != read) {
        report.add(FindingKind::Rounded, path,
                   QStringLiteral("%1 rounded to %2 (%3 decimals)")
                       .arg(number(raw), held(limited))
                       .arg(c.decimals));
    }
}

// An image key that holds a text or a number, or may be left out.
void checkImageKey(Report& report, const QJsonObject& object, const QString& parent,
                   const QString& key, QJsonValue::Type type, bool required)
{
    const QJsonValue v = object.value(key);
    const QString path = parent + QLatin1Char('/') + key;
    if (v.isUndefined()) {
        if (required)
            report.add(FindingKind::Missing, path, QStringLiteral("missing; no text used"));
    } else if (v.type() != type) {
        report.add(FindingKind::WrongType, path,
                   QStringLiteral("%1 is not %2; it is ignored")
                       .arg(shown(v), type == QJsonValue::String ? QStringLiteral("a text")
                                                                 : QStringLiteral("a number")));
    }
}

void checkProgramEntry(Report& report, const QString& path, const QJsonObject& item)
{
    for (const QString& key : {kText, kData}) {
        const QJsonValue v = item.value(key);
        if (v.isUndefined())
            report.add(FindingKind::Missing, path + QLatin1Char('/') + key,
                       QStringLiteral("missing; no text used"));
        else if (!v.isString())
            report.add(FindingKind::WrongType, path + QLatin1Char('/') + key,
                       shown(v) + QStringLiteral(" is not a text; no text used"));
    }
    for (auto it = item.begin(); it != item.end(); ++it)
        if (it.key() != kText && it.key() != kData)
            report.add(FindingKind::Unknown, path + QLatin1Char('/') + it.key(),
                       QStringLiteral("not a key of a solution entry; ignored"));
    const QString data = item.value(kData).toString();
    if (!item.value(kData).isString())
        return;
    const ProgramItem entry{QString(), data};
    const QStringList parts = data.split(QLatin1Char(';'));
    bool isNumber = false;
    const double amplification = parts.value(1).toDouble(&isNumber);
    const QString dataPath = path + QLatin1Char('/') + kData;
    if (parts.size() != 2)
        report.add(FindingKind::UnusableEntry, dataPath,
                   QStringLiteral("%1 is not an image key and an amplification (KEY;AMPLIFICATION)")
                       .arg(shown(data)));
    else if (solutionKeyIndex(entry.key()) < 0)
        report.add(FindingKind::UnusableEntry, dataPath,
                   QStringLiteral("no image is called \"%1\"; the calculation skips this entry")
                       .arg(entry.key().left(40)));
    else if (!isNumber || !std::isfinite(amplification))
        report.add(FindingKind::UnusableEntry, dataPath,
                   QStringLiteral("the amplification \"%1\" is not a finite number; the "
                                  "calculation uses %2")
                       .arg(parts.value(1).left(40), number(entry.amplification())));
}

// Every key path either layout knows: the leaves, and the objects on the way to them.
struct KnownKeys
{
    QSet<QString> leaves, objects;
};

const KnownKeys& knownKeys(FileLayout layout)
{
    auto build = [](FileLayout l) {
        KnownKeys known;
        QList<QStringList> paths;
        for (const Key& key : keysOf(l))
            paths << key.path;
        if (l == FileLayout::Project)
            for (Modality m : kModalities)
                for (const QString& leaf : {kPath, kType, kSeries, kSlice, kBValue})
                    paths << QStringList{name(m), leaf};
        paths << QStringList{kProgram};
        for (const QStringList& path : std::as_const(paths)) {
            known.leaves.insert(path.join(QLatin1Char('/')));
            for (int depth = 1; depth < path.size(); ++depth)
                known.objects.insert(path.mid(0, depth).join(QLatin1Char('/')));
        }
        return known;
    };
    static const KnownKeys settings = build(FileLayout::Settings);
    static const KnownKeys project = build(FileLayout::Project);
    return layout == FileLayout::Settings ? settings : project;
}

void reportUnknown(Report& report, FileLayout layout, const QJsonObject& object,
                   const QString& prefix)
{
    const KnownKeys& known = knownKeys(layout);
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString path = prefix.isEmpty() ? it.key() : prefix + QLatin1Char('/') + it.key();
        if (known.leaves.contains(path))
            continue;
        if (!known.objects.contains(path))
            report.add(FindingKind::Unknown, path,
                       layout == FileLayout::Settings
                           ? QStringLiteral("not a key of a settings file; ignored")
                           : QStringLiteral("not a key of a project file; ignored"));
        else if (it->isObject())
            reportUnknown(report, layout, it->toObject(), path);
    }
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
            // What named no image is written back as it was, so a save does not lose it.
            if (!source.refusedSlice.isUndefined())
                insertAt(root, {name(m), kSlice}, 0, source.refusedSlice);
            if (!source.refusedBValue.isUndefined())
                insertAt(root, {name(m), kBValue}, 0, source.refusedBValue);
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

StoredFile StoredControlTable::read(FileLayout layout, const QJsonObject& root,
                                    const QString& fileName, QList<LoadFinding>* findings)
{
    Report report(fileName, findings);
    StoredFile file;
    if (layout == FileLayout::Project) {
        for (Modality m : kModalities) {
            const QJsonValue member = root.value(name(m));
            const QJsonObject object = member.toObject();
            ImageSource& source = file.images[std::size_t(m)];
            source.path = object.value(kPath).toString();
            source.kind = object.value(kType).toString();
            source.series = object.value(kSeries).toString();
            // A slice is an index and a b-value a measure: anything else names no image, and
            // the choice fails on it rather than taking the default.
            const QJsonValue slice = object.value(kSlice);
            if (isSliceIndex(slice))
                source.slice = int(slice.toDouble());
            else if (!slice.isUndefined())
                source.refusedSlice = slice;
            const QJsonValue bValue = object.value(kBValue);
            if (isBValue(bValue))
                source.bValue = bValue.toDouble();
            else if (!bValue.isUndefined())
                source.refusedBValue = bValue;
            // "auto" reads as scale 0 in the control until the loaded images give the scale.
            source.autoScale = object.value(kScale).toString() == kAuto;
            if (!report)
                continue;
            if (!member.isObject() && !member.isUndefined()) {
                report.notAnObject(name(m), member);
                continue;
            }
            checkImageKey(report, object, name(m), kPath, QJsonValue::String, true);
            checkImageKey(report, object, name(m), kType, QJsonValue::String, true);
            checkImageKey(report, object, name(m), kSeries, QJsonValue::String, false);
            if (!source.refusedSlice.isUndefined())
                report.add(FindingKind::NoSuchImage, name(m) + QLatin1Char('/') + kSlice,
                           shown(slice) + QStringLiteral(" is not a slice (a whole number from "
                                                         "0); the image is not loaded"));
            if (!source.refusedBValue.isUndefined())
                report.add(FindingKind::NoSuchImage, name(m) + QLatin1Char('/') + kBValue,
                           shown(bValue) + QStringLiteral(" is not a b-value (a finite number "
                                                          "from 0); the image is not loaded"));
            // Saved before an image was loaded: nothing to read, which is no fault.
            if (!(source.path.isEmpty() && source.kind.isEmpty()) &&
                !ImageSource::readableKind(source.kind))
                report.add(FindingKind::ImageType, name(m) + QLatin1Char('/') + kType,
                           QStringLiteral("\"%1\" is not an image type this program reads "
                                          "(DICOM or BMP)")
                               .arg(source.kind.left(40)));
        }
    }
    const QList<Key>& keys = keysOf(layout);
    file.controls.reserve(keys.size());
    for (const Key& key : keys) {
        const Lookup found = lookup(root, key.path);
        file.controls.append(readControl(key, found.value));
        if (report)
            checkControl(report, key, found, file.controls.last(),
                         layout == FileLayout::Project && key.path.last() == kScale);
    }

    const QJsonValue programValue = root.value(kProgram);
    if (programValue.isUndefined())
        report.add(FindingKind::Missing, kProgram,
                   QStringLiteral("missing; the solution list is left empty"));
    else if (!programValue.isArray())
        report.add(FindingKind::WrongType, kProgram,
                   shown(programValue) + QStringLiteral(" is not a list; the solution list is "
                                                        "left empty"));
    const QJsonArray program = programValue.toArray();
    file.program.reserve(program.size());
    for (const QJsonValue& element : program) {
        const QJsonObject item = element.toObject();
        file.program.append({item.value(kText).toString(), item.value(kData).toString()});
        if (!report)
            continue;
        const QString path = QStringLiteral("%1/[%2]").arg(kProgram).arg(file.program.size() - 1);
        if (element.isObject())
            checkProgramEntry(report, path, item);
        else
            report.add(FindingKind::UnusableEntry, path,
                       shown(element) + QStringLiteral(" is not an entry with \"Text\" and "
                                                       "\"Data\"; an empty entry is added"));
    }
    if (report)
        reportUnknown(report, layout, root, QString());
    return file;
}

QString StoredControlTable::keyPath(FileLayout layout, const QString& objectName)
{
    for (const Key& key : keysOf(layout))
        if (key.control.objectName == objectName)
            return key.path.join(QLatin1Char('/'));
    return QString();
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
