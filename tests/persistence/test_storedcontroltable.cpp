#include "PersistenceTestData.h"
#include "ControlFile.h"
#include "StoredControlTable.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <optional>

using kelvara::ControlKind;
using kelvara::ControlValues;
using kelvara::ControlFile;
using kelvara::FileLayout;
using kelvara::StoredControl;
using kelvara::StoredFile;

namespace {

using Layout = FileLayout;

// Every value a project file holds, by key path, as the file format names them. A settings file
// holds the same analysis keys, its scales at the root ("T2Scale") and no images or AOI.
const QStringList kProjectKeys = QString(
    "ADC/Path ADC/Scale ADC/Type ADCBMask/Autocorrect ADCBMask/AutocorrectBase "
    "ADCBMask/AutocorrectFactor ADCBMask/Input ADCBMask/Max ADCBMask/Min ADCSym/Filter/Approach "
    "ADCSym/Filter/CircleRad ADCSym/Filter/HSize ADCSym/Filter/Shape ADCSym/Filter/VSize "
    "ADCSym/Input ADCSym/Inverse AOI/HCells AOI/HPos AOI/VCells AOI/VPos DWI/Path DWI/Scale "
    "DWI/Type DWIBMask/Autocorrect DWIBMask/AutocorrectBase DWIBMask/AutocorrectFactor "
    "DWIBMask/Input DWIBMask/Max DWIBMask/Min DWISym/Filter/Approach DWISym/Filter/CircleRad "
    "DWISym/Filter/HSize DWISym/Filter/Shape DWISym/Filter/VSize DWISym/Input DWISym/Inverse "
    "FFT_ADC_Filter/Cut1 FFT_ADC_Filter/Cut2 FFT_ADC_Filter/Type FFT_ADC_Tresh/XMax "
    "FFT_ADC_Tresh/XMin FFT_ADC_Tresh/YMax FFT_ADC_Tresh/YMin FFT_DWI_Filter/Cut1 "
    "FFT_DWI_Filter/Cut2 FFT_DWI_Filter/Type FFT_DWI_Tresh/XMax FFT_DWI_Tresh/XMin "
    "FFT_DWI_Tresh/YMax FFT_DWI_Tresh/YMin FFT_T2_Filter/Cut1 FFT_T2_Filter/Cut2 "
    "FFT_T2_Filter/Type FFT_T2_Tresh/XMax FFT_T2_Tresh/XMin FFT_T2_Tresh/YMax FFT_T2_Tresh/YMin "
    "Program ResultAutocorrectBase ResultAutocorrectInterval ResultMax ResultMin T2/Path "
    "T2/Scale T2/Type T2Sym/Filter/Approach T2Sym/Filter/CircleRad T2Sym/Filter/HSize "
    "T2Sym/Filter/Shape T2Sym/Filter/VSize T2Sym/Input T2Sym/Inverse").split(' ');

QStringList settingsKeys()
{
    QStringList keys;
    for (const QString& k : kProjectKeys) {
        const QString head = k.section('/', 0, 0);
        if (QStringList{"T2", "DWI", "ADC"}.contains(head)) {
            if (k.endsWith("/Scale"))
                keys << head + "Scale";
        } else if (head != "AOI") {
            keys << k;
        }
    }
    keys.sort();
    return keys;
}

QStringList keyPaths(const QJsonObject& o, const QString& prefix = QString())
{
    QStringList paths;
    for (auto it = o.begin(); it != o.end(); ++it)
        paths << (it->isObject() ? keyPaths(it->toObject(), prefix + it.key() + '/')
                                 : QStringList{prefix + it.key()});
    paths.sort();
    return paths;
}

StoredFile parse(Layout layout, const QJsonObject& root)
{
    return ControlFile(layout).fromJson(root);
}

double valueOf(const StoredControl& c)
{
    switch (c.kind) {
    case ControlKind::DoubleSpinBox:
        return c.number;
    case ControlKind::CheckBox:
        return c.checked ? 1.0 : 0.0;
    default:
        return c.integer;
    }
}

// Every leaf of the tree replaced by a value of another JSON type.
QJsonValue replaceLeaves(const QJsonValue& v, const QJsonValue& wrong)
{
    if (v.isObject()) {
        QJsonObject o = v.toObject();
        for (auto it = o.begin(); it != o.end(); ++it)
            *it = replaceLeaves(*it, wrong);
        return o;
    }
    if (v.isArray()) {
        QJsonArray a;
        for (const QJsonValue& e : v.toArray())
            a.append(replaceLeaves(e, wrong));
        return a;
    }
    return v.type() == wrong.type() ? QJsonValue(7) : wrong;
}

QJsonObject storedProject()
{
    return ControlFile::project().toJson(testdata::stored(), testdata::images());
}

} // namespace

Q_DECLARE_METATYPE(FileLayout)
Q_DECLARE_METATYPE(kelvara::ProgramItem)

class TestStoredControlTable : public QObject
{
    Q_OBJECT

private slots:
    void layout_data()
    {
        QTest::addColumn<Layout>("layout");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("settings") << Layout::Settings << settingsKeys();
        QTest::newRow("project") << Layout::Project << kProjectKeys;
    }

    // The written bytes, the round trip and the {} file, per file kind.
    void layout()
    {
        QFETCH(Layout, layout);
        QFETCH(QStringList, expected);
        const bool settings = layout == Layout::Settings;
        QTemporaryDir dir;
        const QString path = dir.filePath("written");
        QVERIFY(ControlFile(layout).save(path, testdata::stored(), testdata::images()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(keyPaths(QJsonDocument::fromJson(file.readAll()).object()), expected);

        const ControlValues unstored = testdata::unstoredChanged();
        ControlValues expectedValues = testdata::unstoredChanged(testdata::stored());
        const kelvara::ControlFileLoad read = ControlFile(layout).load(path);
        QVERIFY2(read.ok() && read.findings.isEmpty(), qPrintable(read.error));
        const StoredFile* loaded = &read.file;
        if (settings)
            testdata::takeAOI(expectedValues, unstored); // not in settings
        else
            QCOMPARE(loaded->images, testdata::images());
        QCOMPARE(testdata::describe(loaded->applyTo(unstored)), testdata::describe(expectedValues));

        const StoredFile empty = parse(layout, QJsonObject());
        // {}: every stored control at its conversion default, then limited by the control.
        const ControlValues before = testdata::unstoredChanged(testdata::stored());
        ControlValues zero = before;
        zero.scale = {0.0, 0.0, 0.0};
        for (int m = 0; m < 3; ++m) {
            zero.threshold[m] = {0.0, 0.0, 0.0, 0.0};
            zero.filter[m] = {0, 0.0, 0.0};
            zero.symmetry[m] = {0, false, 0, 0, 0, 0, 1}; // circle radius clamped to 1
        }
        zero.dwiMask = zero.adcMask = {0, 0, 0, false, 0, 0.0};
        zero.program.clear();
        zero.resultMin = zero.resultMax = 0.0;
        zero.resultAutocorrect = false;
        zero.resultAutocorrectBase = 0;
        if (!settings) {
            zero.hCells = zero.vCells = 1; // clamped from 0
            zero.hPos = zero.vPos = 0;
        }
        QCOMPARE(testdata::describe(empty.applyTo(before)), testdata::describe(zero));
        QCOMPARE(empty.images, (std::array<kelvara::ImageSource, 3>{}));
    }

    void conversion_data()
    {
        QTest::addColumn<Layout>("layout");
        QTest::addColumn<QString>("path"); // keys joined by '/'
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("objectName");
        QTest::addColumn<double>("read");    // converted as the file format says
        QTest::addColumn<double>("limited"); // as the control then holds it

        const Layout s = Layout::Settings, p = Layout::Project;
        const double big = 1e300, intMin = std::numeric_limits<int>::min();
        auto row = [](const char* name, Layout l, const char* path, const QJsonValue& value,
                      const char* objectName, double read, double limited) {
            QTest::newRow(name) << l << QString(path) << value << QString(objectName) << read
                                << limited;
        };
        // Result interval: written as doubles, read with the integer conversion.
        const char* rMin = "ResultMaskIntervalMin";
        row("ResultMin 37.25", s, "ResultMin", 37.25, rMin, 0, 0);
        row("ResultMax 300", s, "ResultMax", 300, "ResultMaskIntervalMax", 300, 255);
        // Mask bounds: read as doubles, truncated toward zero; out of int range gives INT_MIN.
        row("mask 100.9", s, "DWIBMask/Min", 100.9, "DWI_IntervalLeft", 100, 100);
        row("mask 2^31", s, "DWIBMask/Min", 2147483648.0, "DWI_IntervalLeft", intMin, 0);
        // Double spin boxes: rounded to their decimals, then clamped.
        row("scale 1.236", s, "T2Scale", 1.236, "OverlayScaleT2", 1.236, 1.24);
        row("scale 1e300", s, "T2Scale", big, "OverlayScaleT2", big, 99.99);
        row("project scale not at root", p, "T2Scale", 2.0, "OverlayScaleT2", 0, 0);
        row("cutoff 4 decimals", s, "FFT_ADC_Filter/Cut2", 0.12346, "ADCFFTCutoffSpinBox2", 0.12346,
            0.1235);
        // Integer spin boxes and sliders clamp.
        row("HCells 0", p, "AOI/HCells", 0, "HCells", 0, 1);
        // Combo boxes show no selection for an index outside their items.
        row("filter type 4", s, "FFT_T2_Filter/Type", 4, "T2FFTFilterComboBox", 4, -1);
        // Check boxes take booleans only.
        row("inverse 1", s, "T2Sym/Inverse", 1, "T2SymInverted", 0, 0);
    }

    void conversion()
    {
        QFETCH(Layout, layout);
        QFETCH(QString, path);
        QFETCH(QJsonValue, value);
        QFETCH(QString, objectName);
        QFETCH(double, read);
        QFETCH(double, limited);
        QJsonValue tree = value;
        const QStringList keys = path.split('/');
        for (auto it = keys.crbegin(); it != keys.crend(); ++it)
            tree = QJsonObject{{*it, tree}};
        const StoredFile file = parse(layout, tree.toObject());
        const StoredControl* c = file.find(objectName);
        QVERIFY(c);
        QCOMPARE(valueOf(*c), read);
        QCOMPARE(valueOf(c->limited()), limited);
    }

    void wrongTypes_data()
    {
        QTest::addColumn<QJsonValue>("wrong");
        QTest::newRow("string NaN") << QJsonValue("NaN");
        QTest::newRow("object") << QJsonValue(QJsonObject{{"XMin", 0.5}});
    }

    // Every leaf of another JSON type reads as the conversion's default.
    void wrongTypes()
    {
        QFETCH(QJsonValue, wrong);
        const StoredFile file = ControlFile::project().fromJson(replaceLeaves(storedProject(), wrong).toObject());
        const StoredFile defaults = ControlFile::project().fromJson({});
        QCOMPARE(file.controls, defaults.controls);
        QCOMPARE(file.images, defaults.images);
        // Program elements that are objects still give (empty) items.
        QCOMPARE(file.program, QList<kelvara::ProgramItem>(testdata::stored().program.size()));
    }

    void program_data()
    {
        using Items = QList<kelvara::ProgramItem>;
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<Items>("expected");
        QTest::newRow("missing") << QByteArray("{}") << Items{};
        QTest::newRow("not an array") << QByteArray("{\"Program\": {\"Text\": \"a\", \"Data\": \"b\"}}")
                                      << Items{};
        QTest::newRow("mixed elements")
            << QByteArray("{\"Program\": [{\"Text\": \"a\", \"Data\": \"b\"}, 5, {\"Text\": \"c\"}, []]}")
            << Items{{"a", "b"}, {"", ""}, {"c", ""}, {"", ""}};
        QTest::newRow("escapes and unicode")
            << QByteArray("{\"Program\": [{\"Text\": \"\\\"Größe\\\" \\\\ \\u00e9\\n\", \"Data\": \"K;1\"}]}")
            << Items{{QString::fromUtf8("\"Größe\" \\ \u00e9\n"), "K;1"}};
    }

    void program()
    {
        QFETCH(QByteArray, json);
        QFETCH(QList<kelvara::ProgramItem>, expected);
        QCOMPARE(ControlFile::settings().fromJson(QJsonDocument::fromJson(json).object()).program,
                 expected);

        // What was read is written back and read again unchanged.
        QTemporaryDir dir;
        ControlValues values;
        values.program = expected;
        QVERIFY(ControlFile::settings().save(dir.filePath("config.cfg"), values));
        QCOMPARE(ControlFile::settings().load(dir.filePath("config.cfg")).file.program, expected);
    }

    void findings_data()
    {
        QTest::addColumn<Layout>("layout");
        QTest::addColumn<QString>("path");   // the key replaced, added or (no json) removed
        QTest::addColumn<QByteArray>("json"); // its new value, as written in the file
        QTest::addColumn<QStringList>("expected");
        const Layout s = Layout::Settings, p = Layout::Project;
        auto row = [](const char* name, Layout l, const char* path, const QByteArray& json,
                      const QStringList& expected) {
            QTest::newRow(name) << l << QString(path) << json << expected;
        };
        row("clean settings", s, "ResultMax", "200", {});
        row("optional image keys", p, "T2",
            R"({"Path": "t", "Type": "DICOM", "Scale": "auto", "Series": "1.2", "Slice": 1, "BValue": 0})", {});
        row("scale as text", p, "DWI/Scale", "\"2.0\"", {"WrongType DWI/Scale"});
        row("flag as number", s, "T2Sym/Inverse", "1", {"WrongType T2Sym/Inverse"});
        row("AOI no object", p, "AOI", "5", {"WrongType AOI"});
        row("cells clamped", p, "AOI/HCells", "5000", {"Clamped AOI/HCells"});
        row("scale clamped", s, "T2Scale", "200", {"Clamped T2Scale"});
        row("decimals", s, "FFT_T2_Tresh/XMin", "0.12345", {"Rounded FFT_T2_Tresh/XMin"});
        row("result bound whole only", s, "ResultMin", "37.25", {"Rounded ResultMin"});
        row("mask bound truncated", s, "DWIBMask/Min", "100.9", {"Rounded DWIBMask/Min"});
        // Series keys that name no image: the load of that image fails, the rest reads on.
        row("slice not whole", p, "T2/Slice", "2.7", {"NoSuchImage T2/Slice"});
        row("slice negative", p, "DWI/Slice", "-1", {"NoSuchImage DWI/Slice"});
        row("slice beyond int", p, "ADC/Slice", "2147483648", {"NoSuchImage ADC/Slice"});
        row("slice as text", p, "T2/Slice", "\"2\"", {"NoSuchImage T2/Slice"});
        row("b-value negative", p, "DWI/BValue", "-5", {"NoSuchImage DWI/BValue"});
        row("b-value null", p, "DWI/BValue", "null", {"NoSuchImage DWI/BValue"});
        row("missing", p, "AOI", "", {"Missing AOI/HCells", "Missing AOI/VCells", "Missing AOI/HPos", "Missing AOI/VPos"});
        row("no such item", s, "FFT_T2_Filter/Type", "4", {"NoSuchItem FFT_T2_Filter/Type"});
        row("duplicate", s, "ResultMax", "10, \"ResultMax\": 20", {"Duplicate ResultMax"});
        row("unknown", p, "AOI/Colour", "1", {"Unknown AOI/Colour"});
        row("AOI in settings", s, "AOI", "{}", {"Unknown AOI"});
        row("image type", p, "ADC/Type", "\"PNG\"", {"ImageType ADC/Type"});
        row("solution entries", s, "Program",
            R"([{"Text": "a", "Data": "XX;1"}, {"Text": "b", "Data": "SS_T2;abc"},
                {"Text": "c", "Data": "M_DWI"}, 5, {"Data": "M_ADC;1"},
                {"Text": "d", "\u0054ext": "e", "Data": "SS_ADC;2", "Colour": 1}])",
            {"UnusableEntry Program/[0]/Data", "UnusableEntry Program/[1]/Data",
             "UnusableEntry Program/[2]/Data", "UnusableEntry Program/[3]",
             "Missing Program/[4]/Text", "Unknown Program/[5]/Colour", "Duplicate Program/[5]/Text"});
    }

    // A clean file with one key changed, through the loader: the findings name that key and
    // nothing else, and the values are those read without findings.
    void findings()
    {
        QFETCH(Layout, layout);
        QFETCH(QString, path);
        QFETCH(QByteArray, json);
        QFETCH(QStringList, expected);
        QJsonObject root = ControlFile(layout).toJson(testdata::stored(), testdata::images());
        const QStringList keys = path.split('/');
        QList<QJsonObject> objects{root};
        for (int i = 0; i < keys.size() - 1; ++i)
            objects << objects.last().value(keys[i]).toObject();
        objects.last().insert(keys.last(), "@@");
        if (json.isEmpty())
            objects.last().remove(keys.last());
        for (int i = keys.size() - 2; i >= 0; --i)
            objects[i].insert(keys[i], objects[i + 1]);
        const QByteArray bytes = QJsonDocument(objects.first()).toJson().replace("\"@@\"", json);

        const kelvara::ControlFileLoad load = ControlFile(layout).parse(bytes, "dir/case.kelvara");
        QVERIFY2(load.ok(), qPrintable(load.error));
        static const char* kinds[] = {"Missing", "WrongType", "Clamped", "Rounded", "Duplicate",
                                      "Unknown", "NoSuchItem", "UnusableEntry", "ImageType",
                                      "NoSuchImage"};
        QStringList found;
        for (const kelvara::LoadFinding& f : load.findings) {
            found << QString("%1 %2").arg(kinds[int(f.kind)], f.keyPath);
            QVERIFY(f.message().startsWith("'dir/case.kelvara': " + f.keyPath + ": "));
        }
        found.sort();
        expected.sort();
        QCOMPARE(found, expected);
        const StoredFile plain = parse(layout, QJsonDocument::fromJson(bytes).object());
        QCOMPARE(load.file.controls, plain.controls);
        QCOMPARE(load.file.program, plain.program);

        // The image keys are saved back as they were read, also those that name no image.
        const QJsonObject read = QJsonDocument::fromJson(bytes).object();
        const QJsonObject saved =
            kelvara::StoredControlTable::build(layout, ControlValues(), load.file.images);
        for (const char* m : {"T2", "DWI", "ADC"})
            for (const char* key : {"Path", "Type", "Series", "Slice", "BValue"})
                if (layout == Layout::Project && read.value(m).isObject())
                    QCOMPARE(saved.value(m).toObject().value(key),
                             read.value(m).toObject().value(key));
    }
};

QTEST_GUILESS_MAIN(TestStoredControlTable)
#include "test_storedcontroltable.moc"
