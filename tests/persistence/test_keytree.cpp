#include "PersistenceTestData.h"
#include "ProjectFile.h"
#include "SettingsFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <optional>

using kelvara::ControlKind;
using kelvara::ControlValues;
using kelvara::ProjectFile;
using kelvara::SettingsFile;
using kelvara::StoredControl;
using kelvara::StoredFile;

namespace {

enum class Layout { Settings, Project };

// Written by hand from the file format: keys sorted, 4 blanks per level, whole doubles without
// a decimal point, integers from combo indexes and spin boxes.
const char kSettingsText[] = R"({
    "ADCBMask": {
        "Autocorrect": true,
        "AutocorrectBase": 1,
        "AutocorrectFactor": 3.75,
        "Input": 1,
        "Max": 120,
        "Min": 30
    },
    "ADCScale": 0.75,
    "ADCSym": {
        "Filter": {
            "Approach": 1,
            "CircleRad": 100,
            "HSize": 100,
            "Shape": 0,
            "VSize": 0
        },
        "Input": 0,
        "Inverse": true
    },
    "DWIBMask": {
        "Autocorrect": true,
        "AutocorrectBase": 1,
        "AutocorrectFactor": 2.5,
        "Input": 1,
        "Max": 200,
        "Min": 17
    },
    "DWIScale": 2.5,
    "DWISym": {
        "Filter": {
            "Approach": 0,
            "CircleRad": 13,
            "HSize": 8,
            "Shape": 1,
            "VSize": 10
        },
        "Input": 1,
        "Inverse": true
    },
    "FFT_ADC_Filter": {
        "Cut1": 1e-04,
        "Cut2": 1,
        "Type": 3
    },
    "FFT_ADC_Tresh": {
        "XMax": 0.999,
        "XMin": 0.001,
        "YMax": 0.7,
        "YMin": 0.3
    },
    "FFT_DWI_Filter": {
        "Cut1": 0.25,
        "Cut2": 0.75,
        "Type": 2
    },
    "FFT_DWI_Tresh": {
        "XMax": 0.9,
        "XMin": 0.1,
        "YMax": 0.8,
        "YMin": 0.2
    },
    "FFT_T2_Filter": {
        "Cut1": 0.1234,
        "Cut2": 0.5678,
        "Type": 1
    },
    "FFT_T2_Tresh": {
        "XMax": 0.875,
        "XMin": 0.125,
        "YMax": 0.5,
        "YMin": 0.25
    },
    "Program": [
        {
            "Data": "M_DWI;1",
            "Text": "DWI mask"
        },
        {
            "Data": "SS_T2;2.5",
            "Text": "T2 smooth symmetry; Amplification=2.5"
        },
        {
            "Data": "MS_ADC;1",
            "Text": "ADC simmetrical mask"
        }
    ],
    "ResultAutocorrectBase": 3,
    "ResultAutocorrectInterval": true,
    "ResultMax": 200,
    "ResultMin": 37,
    "T2Scale": 1.25,
    "T2Sym": {
        "Filter": {
            "Approach": 1,
            "CircleRad": 12,
            "HSize": 7,
            "Shape": 1,
            "VSize": 9
        },
        "Input": 1,
        "Inverse": true
    }
}
)";

const char kProjectText[] = R"({
    "ADC": {
        "Path": "",
        "Scale": 0.75,
        "Type": ""
    },
    "ADCBMask": {
        "Autocorrect": true,
        "AutocorrectBase": 1,
        "AutocorrectFactor": 3.75,
        "Input": 1,
        "Max": 120,
        "Min": 30
    },
    "ADCSym": {
        "Filter": {
            "Approach": 1,
            "CircleRad": 100,
            "HSize": 100,
            "Shape": 0,
            "VSize": 0
        },
        "Input": 0,
        "Inverse": true
    },
    "AOI": {
        "HCells": 120,
        "HPos": -37,
        "VCells": 80,
        "VPos": 212
    },
    "DWI": {
        "Path": "dwi.bmp",
        "Scale": 2.5,
        "Type": "BMP"
    },
    "DWIBMask": {
        "Autocorrect": true,
        "AutocorrectBase": 1,
        "AutocorrectFactor": 2.5,
        "Input": 1,
        "Max": 200,
        "Min": 17
    },
    "DWISym": {
        "Filter": {
            "Approach": 0,
            "CircleRad": 13,
            "HSize": 8,
            "Shape": 1,
            "VSize": 10
        },
        "Input": 1,
        "Inverse": true
    },
    "FFT_ADC_Filter": {
        "Cut1": 1e-04,
        "Cut2": 1,
        "Type": 3
    },
    "FFT_ADC_Tresh": {
        "XMax": 0.999,
        "XMin": 0.001,
        "YMax": 0.7,
        "YMin": 0.3
    },
    "FFT_DWI_Filter": {
        "Cut1": 0.25,
        "Cut2": 0.75,
        "Type": 2
    },
    "FFT_DWI_Tresh": {
        "XMax": 0.9,
        "XMin": 0.1,
        "YMax": 0.8,
        "YMin": 0.2
    },
    "FFT_T2_Filter": {
        "Cut1": 0.1234,
        "Cut2": 0.5678,
        "Type": 1
    },
    "FFT_T2_Tresh": {
        "XMax": 0.875,
        "XMin": 0.125,
        "YMax": 0.5,
        "YMin": 0.25
    },
    "Program": [
        {
            "Data": "M_DWI;1",
            "Text": "DWI mask"
        },
        {
            "Data": "SS_T2;2.5",
            "Text": "T2 smooth symmetry; Amplification=2.5"
        },
        {
            "Data": "MS_ADC;1",
            "Text": "ADC simmetrical mask"
        }
    ],
    "ResultAutocorrectBase": 3,
    "ResultAutocorrectInterval": true,
    "ResultMax": 200,
    "ResultMin": 37,
    "T2": {
        "Path": "/data/case 7/t2.dcm",
        "Scale": 1.25,
        "Type": "DICOM"
    },
    "T2Sym": {
        "Filter": {
            "Approach": 1,
            "CircleRad": 12,
            "HSize": 7,
            "Shape": 1,
            "VSize": 9
        },
        "Input": 1,
        "Inverse": true
    }
}
)";

StoredFile parse(Layout layout, const QJsonObject& root)
{
    return layout == Layout::Settings ? SettingsFile::fromJson(root) : ProjectFile::fromJson(root);
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
    if (wrong.isDouble())
        return v.isDouble() ? wrong : v;
    return v.type() == wrong.type() ? QJsonValue(7) : wrong;
}

const QStringList kAnalysisOrder = {"T2FFTTreshXMin",
                                    "T2FFTTreshXMax",
                                    "T2FFTTreshYMin",
                                    "T2FFTTreshYMax",
                                    "DWIFFTTreshXMin",
                                    "DWIFFTTreshXMax",
                                    "DWIFFTTreshYMin",
                                    "DWIFFTTreshYMax",
                                    "ADCFFTTreshXMin",
                                    "ADCFFTTreshXMax",
                                    "ADCFFTTreshYMin",
                                    "ADCFFTTreshYMax",
                                    "T2FFTFilterComboBox",
                                    "DWIFFTFilterComboBox",
                                    "ADCFFTFilterComboBox",
                                    "T2FFTCutoffSpinBox",
                                    "DWIFFTCutoffSpinBox",
                                    "ADCFFTCutoffSpinBox",
                                    "T2FFTCutoffSpinBox2",
                                    "DWIFFTCutoffSpinBox2",
                                    "ADCFFTCutoffSpinBox2",
                                    "DWI_IntervalLeft",
                                    "DWI_IntervalRight",
                                    "DWIBinMaskInputImgCombo",
                                    "BinMaskDWIAutoCorrectInterval",
                                    "BinMaskDWIAutoCorrectBaseCombo",
                                    "BinMaskDWIAutoCorrectFactor",
                                    "ADC_IntervalLeft",
                                    "ADC_IntervalRight",
                                    "ADCBinMaskInputImgCombo",
                                    "BinMaskADCAutoCorrectInterval",
                                    "BinMaskADCAutoCorrectFactor",
                                    "BinMaskADCAutoCorrectBaseCombo",
                                    "T2FilterShapeComboBox",
                                    "T2ApproachComboBox",
                                    "T2RectDimX",
                                    "T2RectDimY",
                                    "T2CircleRad",
                                    "T2SymInverted",
                                    "T2SymInputImgCombo",
                                    "DWIFilterShapeComboBox",
                                    "DWIApproachComboBox",
                                    "DWIRectDimX",
                                    "DWIRectDimY",
                                    "DWICircleRad",
                                    "DWISymInverted",
                                    "DWISymInputImgCombo",
                                    "ADCFilterShapeComboBox",
                                    "ADCApproachComboBox",
                                    "ADCRectDimX",
                                    "ADCRectDimY",
                                    "ADCCircleRad",
                                    "ADCSymInverted",
                                    "ADCSymInputImgCombo",
                                    "ResultMaskIntervalMin",
                                    "ResultMaskIntervalMax",
                                    "ResultAutoCorrectInterval",
                                    "ResultAutoCorrectBaseCombo"};

} // namespace

Q_DECLARE_METATYPE(Layout)
Q_DECLARE_METATYPE(kelvara::ProgramItem)

class TestKeyTree : public QObject
{
    Q_OBJECT

private slots:
    void writtenLayout_data();
    void writtenLayout();
    void roundTrip_data();
    void roundTrip();
    void loadOrder();
    void emptyObject_data();
    void emptyObject();
    void conversion_data();
    void conversion();
    void wrongTypes_data();
    void wrongTypes();
    void hugeNumbers_data();
    void hugeNumbers();
    void program_data();
    void program();
};

void TestKeyTree::writtenLayout_data()
{
    QTest::addColumn<Layout>("layout");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("settings") << Layout::Settings << QByteArray(kSettingsText);
    QTest::newRow("project") << Layout::Project << QByteArray(kProjectText);
}

void TestKeyTree::writtenLayout()
{
    QFETCH(Layout, layout);
    QFETCH(QByteArray, expected);
    QTemporaryDir dir;
    const QString path = dir.filePath("written");
    const bool saved = layout == Layout::Settings
                           ? SettingsFile::save(path, testdata::stored())
                           : ProjectFile::save(path, testdata::stored(), testdata::images());
    QVERIFY(saved);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray written = file.readAll();
    // Line by line first, so that a mismatch names the line.
    QCOMPARE(written.split('\n'), expected.split('\n'));
    QCOMPARE(written, expected);
}

void TestKeyTree::roundTrip_data()
{
    QTest::addColumn<Layout>("layout");
    QTest::newRow("settings") << Layout::Settings;
    QTest::newRow("project") << Layout::Project;
}

void TestKeyTree::roundTrip()
{
    QFETCH(Layout, layout);
    QTemporaryDir dir;
    const QString path = dir.filePath("file");
    const ControlValues before = testdata::unstoredChanged();
    ControlValues expected = testdata::unstoredChanged(testdata::stored());

    std::optional<StoredFile> loaded;
    if (layout == Layout::Settings) {
        QVERIFY(SettingsFile::save(path, testdata::stored()));
        loaded = SettingsFile::load(path);
        testdata::takeAOI(expected, before); // not in settings
    } else {
        QVERIFY(ProjectFile::save(path, testdata::stored(), testdata::images()));
        loaded = ProjectFile::load(path);
        QVERIFY(loaded);
        QCOMPARE(loaded->images, testdata::images());
    }
    QVERIFY(loaded);
    QCOMPARE(testdata::describe(loaded->applyTo(before)), testdata::describe(expected));
}

void TestKeyTree::loadOrder()
{
    auto names = [](const StoredFile& f) {
        QStringList n;
        for (const StoredControl& c : f.controls)
            n << c.objectName;
        return n;
    };
    const QStringList scales = {"OverlayScaleT2", "OverlayScaleDWI", "OverlayScaleADC"};
    const QStringList aoi = {"HCells", "VCells", "horizontalSlider", "verticalSlider"};
    QCOMPARE(names(SettingsFile::fromJson({})), scales + kAnalysisOrder);
    QCOMPARE(names(ProjectFile::fromJson({})), scales + aoi + kAnalysisOrder);
}

void TestKeyTree::emptyObject_data()
{
    QTest::addColumn<Layout>("layout");
    QTest::newRow("settings") << Layout::Settings;
    QTest::newRow("project") << Layout::Project;
}

void TestKeyTree::emptyObject()
{
    QFETCH(Layout, layout);
    const ControlValues before = testdata::unstoredChanged(testdata::stored());
    const StoredFile file = parse(layout, QJsonObject());

    // Every stored control at its conversion default, then limited by the control.
    ControlValues expected = before;
    expected.scale = {0.0, 0.0, 0.0};
    for (int m = 0; m < 3; ++m) {
        expected.threshold[m] = {0.0, 0.0, 0.0, 0.0};
        expected.filter[m] = {0, 0.0, 0.0};
        expected.symmetry[m] = {0, false, 0, 0, 0, 0, 1}; // circle radius clamped to 1
    }
    expected.dwiMask = expected.adcMask = {0, 0, 0, false, 0, 0.0};
    expected.program.clear();
    expected.resultMin = expected.resultMax = 0.0;
    expected.resultAutocorrect = false;
    expected.resultAutocorrectBase = 0;
    if (layout == Layout::Project) {
        expected.hCells = expected.vCells = 1; // clamped from 0
        expected.hPos = expected.vPos = 0;
    }
    QCOMPARE(testdata::describe(file.applyTo(before)), testdata::describe(expected));
    QCOMPARE(file.images, (std::array<kelvara::ImageSource, 3>{}));
}

void TestKeyTree::conversion_data()
{
    QTest::addColumn<Layout>("layout");
    QTest::addColumn<QStringList>("path");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<double>("read");    // converted as the file format says
    QTest::addColumn<double>("limited"); // as the control then holds it

    const Layout s = Layout::Settings;
    const Layout p = Layout::Project;
    const QStringList rMin = {"ResultMin"}, rMax = {"ResultMax"};
    const QStringList mMin = {"DWIBMask", "Min"}, mMax = {"ADCBMask", "Max"};
    const char* rName = "ResultMaskIntervalMin";
    const char* xName = "ResultMaskIntervalMax";
    const double big = 1e300;
    const double intMin = std::numeric_limits<int>::min();

    // Result interval: written as doubles, read with the integer conversion.
    QTest::newRow("ResultMin 37.25") << s << rMin << QJsonValue(37.25) << rName << 0.0 << 0.0;
    QTest::newRow("ResultMin 37.0") << s << rMin << QJsonValue(37.0) << rName << 37.0 << 37.0;
    QTest::newRow("ResultMin 12.5") << p << rMin << QJsonValue(12.5) << rName << 0.0 << 0.0;
    QTest::newRow("ResultMin -4") << s << rMin << QJsonValue(-4) << rName << -4.0 << 0.0;
    QTest::newRow("ResultMin \"37\"") << s << rMin << QJsonValue("37") << rName << 0.0 << 0.0;
    QTest::newRow("ResultMax 300") << s << rMax << QJsonValue(300) << xName << 300.0 << 255.0;
    QTest::newRow("ResultMax 1e300") << s << rMax << QJsonValue(big) << xName << 0.0 << 0.0;
    QTest::newRow("ResultMax 3e9") << s << rMax << QJsonValue(3e9) << xName << 0.0 << 0.0;

    // Mask bounds: read as doubles, truncated toward zero; out of int range gives INT_MIN.
    QTest::newRow("mask 100.9") << s << mMin << QJsonValue(100.9) << "DWI_IntervalLeft" << 100.0
                                << 100.0;
    QTest::newRow("mask -0.5") << s << mMax << QJsonValue(-0.5) << "ADC_IntervalRight" << 0.0
                               << 0.0;
    QTest::newRow("mask 300.7") << s << mMax << QJsonValue(300.7) << "ADC_IntervalRight" << 300.0
                                << 255.0;
    QTest::newRow("mask 1e300") << s << mMin << QJsonValue(big) << "DWI_IntervalLeft" << intMin
                                << 0.0;
    QTest::newRow("mask -1e300") << p << mMax << QJsonValue(-big) << "ADC_IntervalRight" << intMin
                                 << 0.0;
    QTest::newRow("mask 2^31") << s << mMin << QJsonValue(2147483648.0) << "DWI_IntervalLeft"
                               << intMin << 0.0;
    QTest::newRow("mask true") << s << mMin << QJsonValue(true) << "DWI_IntervalLeft" << 0.0 << 0.0;

    // Double spin boxes: rounded to their decimals, then clamped.
    const QStringList t2Scale = {"T2Scale"}, adcScale = {"ADC", "Scale"};
    QTest::newRow("scale 1.236") << s << t2Scale << QJsonValue(1.236) << "OverlayScaleT2" << 1.236
                                 << 1.24;
    QTest::newRow("scale 1e300") << s << t2Scale << QJsonValue(big) << "OverlayScaleT2" << big
                                 << 99.99;
    QTest::newRow("scale -1e300") << p << adcScale << QJsonValue(-big) << "OverlayScaleADC" << -big
                                  << 0.0;
    QTest::newRow("project scale not at root")
        << p << t2Scale << QJsonValue(2.0) << "OverlayScaleT2" << 0.0 << 0.0;
    QTest::newRow("settings scale not in object")
        << s << adcScale << QJsonValue(2.0) << "OverlayScaleADC" << 0.0 << 0.0;
    QTest::newRow("threshold 3 decimals")
        << s << QStringList{"FFT_DWI_Tresh", "YMax"} << QJsonValue(0.12345) << "DWIFFTTreshYMax"
        << 0.12345 << 0.123;
    QTest::newRow("threshold above 1") << s << QStringList{"FFT_T2_Tresh", "XMin"}
                                       << QJsonValue(1.5) << "T2FFTTreshXMin" << 1.5 << 1.0;
    QTest::newRow("cutoff 4 decimals")
        << s << QStringList{"FFT_ADC_Filter", "Cut2"} << QJsonValue(0.12346)
        << "ADCFFTCutoffSpinBox2" << 0.12346 << 0.1235;
    QTest::newRow("factor 300") << s << QStringList{"ADCBMask", "AutocorrectFactor"}
                                << QJsonValue(300.0) << "BinMaskADCAutoCorrectFactor" << 300.0
                                << 255.0;

    // Integer spin boxes and sliders clamp; 1.5 is not an integer and reads as 0.
    QTest::newRow("HCells 0") << p << QStringList{"AOI", "HCells"} << QJsonValue(0) << "HCells"
                              << 0.0 << 1.0;
    QTest::newRow("VCells 5000") << p << QStringList{"AOI", "VCells"} << QJsonValue(5000)
                                 << "VCells" << 5000.0 << 1000.0;
    QTest::newRow("HPos 777") << p << QStringList{"AOI", "HPos"} << QJsonValue(777)
                              << "horizontalSlider" << 777.0 << 500.0;
    QTest::newRow("VPos -777") << p << QStringList{"AOI", "VPos"} << QJsonValue(-777)
                               << "verticalSlider" << -777.0 << -500.0;
    QTest::newRow("HPos 1e300") << p << QStringList{"AOI", "HPos"} << QJsonValue(big)
                                << "horizontalSlider" << 0.0 << 0.0;
    QTest::newRow("circle 0") << s << QStringList{"DWISym", "Filter", "CircleRad"} << QJsonValue(0)
                              << "DWICircleRad" << 0.0 << 1.0;
    QTest::newRow("rect 101") << s << QStringList{"T2Sym", "Filter", "HSize"} << QJsonValue(101)
                              << "T2RectDimX" << 101.0 << 100.0;
    QTest::newRow("rect -1") << s << QStringList{"ADCSym", "Filter", "VSize"} << QJsonValue(-1)
                             << "ADCRectDimY" << -1.0 << 0.0;
    QTest::newRow("rect 1.5") << s << QStringList{"T2Sym", "Filter", "VSize"} << QJsonValue(1.5)
                              << "T2RectDimY" << 0.0 << 0.0;

    // Combo boxes show no selection for an index outside their items.
    QTest::newRow("filter type 3") << s << QStringList{"FFT_T2_Filter", "Type"} << QJsonValue(3)
                                   << "T2FFTFilterComboBox" << 3.0 << 3.0;
    QTest::newRow("filter type 4") << s << QStringList{"FFT_T2_Filter", "Type"} << QJsonValue(4)
                                   << "T2FFTFilterComboBox" << 4.0 << -1.0;
    QTest::newRow("result base 3") << s << QStringList{"ResultAutocorrectBase"} << QJsonValue(3)
                                   << "ResultAutoCorrectBaseCombo" << 3.0 << 3.0;
    QTest::newRow("result base 4") << s << QStringList{"ResultAutocorrectBase"} << QJsonValue(4)
                                   << "ResultAutoCorrectBaseCombo" << 4.0 << -1.0;
    QTest::newRow("shape 2") << s << QStringList{"ADCSym", "Filter", "Shape"} << QJsonValue(2)
                             << "ADCFilterShapeComboBox" << 2.0 << -1.0;
    QTest::newRow("approach -1") << s << QStringList{"T2Sym", "Filter", "Approach"}
                                 << QJsonValue(-1) << "T2ApproachComboBox" << -1.0 << -1.0;
    QTest::newRow("mask base 2") << s << QStringList{"DWIBMask", "AutocorrectBase"} << QJsonValue(2)
                                 << "BinMaskDWIAutoCorrectBaseCombo" << 2.0 << -1.0;
    QTest::newRow("sym input -5") << s << QStringList{"DWISym", "Input"} << QJsonValue(-5)
                                  << "DWISymInputImgCombo" << -5.0 << -1.0;

    // Check boxes take booleans only.
    QTest::newRow("inverse true") << s << QStringList{"T2Sym", "Inverse"} << QJsonValue(true)
                                  << "T2SymInverted" << 1.0 << 1.0;
    QTest::newRow("inverse 1") << s << QStringList{"T2Sym", "Inverse"} << QJsonValue(1)
                               << "T2SymInverted" << 0.0 << 0.0;
    QTest::newRow("autocorrect \"true\"")
        << s << QStringList{"ResultAutocorrectInterval"} << QJsonValue("true")
        << "ResultAutoCorrectInterval" << 0.0 << 0.0;
}

void TestKeyTree::conversion()
{
    QFETCH(Layout, layout);
    QFETCH(QStringList, path);
    QFETCH(QJsonValue, value);
    QFETCH(QString, objectName);
    QFETCH(double, read);
    QFETCH(double, limited);

    QJsonValue tree = value;
    for (auto it = path.crbegin(); it != path.crend(); ++it)
        tree = QJsonObject{{*it, tree}};
    const StoredFile file = parse(layout, tree.toObject());
    const StoredControl* c = file.find(objectName);
    QVERIFY(c);
    QCOMPARE(valueOf(*c), read);
    QCOMPARE(valueOf(c->limited()), limited);
}

void TestKeyTree::wrongTypes_data()
{
    QTest::addColumn<QJsonValue>("wrong");
    QTest::addColumn<bool>("containers"); // replace the objects and arrays instead of the leaves
    QTest::newRow("leaves string NaN") << QJsonValue("NaN") << false;
    QTest::newRow("leaves string -Infinity") << QJsonValue("-Infinity") << false;
    QTest::newRow("leaves null") << QJsonValue(QJsonValue::Null) << false;
    QTest::newRow("leaves array") << QJsonValue(QJsonArray{1, 2}) << false;
    QTest::newRow("leaves object") << QJsonValue(QJsonObject{{"XMin", 0.5}}) << false;
    QTest::newRow("containers string") << QJsonValue("NaN") << true;
    QTest::newRow("containers null") << QJsonValue(QJsonValue::Null) << true;
    QTest::newRow("containers number") << QJsonValue(7) << true;
    QTest::newRow("containers bool") << QJsonValue(true) << true;
}

void TestKeyTree::wrongTypes()
{
    QFETCH(QJsonValue, wrong);
    QFETCH(bool, containers);
    QJsonObject root = ProjectFile::toJson(testdata::stored(), testdata::images());
    if (containers) {
        for (auto it = root.begin(); it != root.end(); ++it)
            if (it->isObject() || it->isArray())
                *it = wrong;
        QCOMPARE(root.value("T2Sym"), wrong);
    } else {
        root = replaceLeaves(root, wrong).toObject();
    }
    StoredFile file = ProjectFile::fromJson(root);
    const StoredFile defaults = ProjectFile::fromJson({});
    if (containers) {
        // The result keys live at the root and keep their values.
        QCOMPARE(file.find("ResultMaskIntervalMax")->number, 200.0);
        file.controls.erase(file.controls.end() - 4, file.controls.end());
        QCOMPARE(file.controls, defaults.controls.mid(0, defaults.controls.size() - 4));
    } else {
        QCOMPARE(file.controls, defaults.controls);
    }
    QCOMPARE(file.images, defaults.images);
    // Program elements that are objects still give (empty) items.
    const int items = containers ? 0 : int(testdata::stored().program.size());
    QCOMPARE(file.program, QList<kelvara::ProgramItem>(items));
}

void TestKeyTree::hugeNumbers_data()
{
    QTest::addColumn<double>("number");
    QTest::newRow("1e300") << 1e300;
    QTest::newRow("-1e300") << -1e300;
    QTest::newRow("2^31") << 2147483648.0;
    QTest::newRow("-2^31 - 1") << -2147483649.0;
    QTest::newRow("max double") << std::numeric_limits<double>::max();
    QTest::newRow("denormal") << std::numeric_limits<double>::denorm_min();
}

void TestKeyTree::hugeNumbers()
{
    QFETCH(double, number);
    QJsonObject root = replaceLeaves(ProjectFile::toJson(testdata::stored(), testdata::images()),
                                     QJsonValue(number))
                           .toObject();
    // Through the text form, as a file would bring them.
    root = QJsonDocument::fromJson(QJsonDocument(root).toJson()).object();
    QVERIFY(!root.isEmpty());
    const StoredFile file = ProjectFile::fromJson(root);
    for (const StoredControl& c : file.controls) {
        const StoredControl l = c.limited();
        if (c.kind == ControlKind::ComboBox)
            QVERIFY2(l.integer >= -1 && l.integer <= l.maximum, qPrintable(c.objectName));
        else if (c.kind != ControlKind::CheckBox)
            QVERIFY2(valueOf(l) >= l.minimum && valueOf(l) <= l.maximum, qPrintable(c.objectName));
    }
}

void TestKeyTree::program_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QList<kelvara::ProgramItem>>("expected");
    using Items = QList<kelvara::ProgramItem>;
    QTest::newRow("missing") << QByteArray("{}") << Items{};
    QTest::newRow("not an array") << QByteArray(R"({"Program": {"Text": "a", "Data": "b"}})")
                                  << Items{};
    QTest::newRow("mixed elements")
        << QByteArray(R"({"Program": [{"Text": "a", "Data": "b"}, 5, {"Text": "c"}, []]})")
        << Items{{"a", "b"}, {"", ""}, {"c", ""}, {"", ""}};
    QTest::newRow("escapes and unicode")
        << QByteArray(R"({"Program": [{"Text": "\"Größe\" \\ \u00e9\n", "Data": "K;1"}]})")
        << Items{{QString::fromUtf8("\"Größe\" \\ \u00e9\n"), "K;1"}};
}

void TestKeyTree::program()
{
    QFETCH(QByteArray, json);
    QFETCH(QList<kelvara::ProgramItem>, expected);
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    QCOMPARE(SettingsFile::fromJson(root).program, expected);

    // What was read is written back and read again unchanged.
    QTemporaryDir dir;
    ControlValues values;
    values.program = expected;
    QVERIFY(SettingsFile::save(dir.filePath("config.cfg"), values));
    const std::optional<StoredFile> again = SettingsFile::load(dir.filePath("config.cfg"));
    QVERIFY(again);
    QCOMPARE(again->program, expected);
}

QTEST_GUILESS_MAIN(TestKeyTree)
#include "test_keytree.moc"
