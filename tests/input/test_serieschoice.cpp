// The image a project's series keys choose, through the case model as both front ends load it:
// "Slice" and "BValue" as the project file gives them, the default DWI/ADC slice of a
// multi-frame file, slices tilted against T2's, nearest slices that cannot be measured, and
// automatic scales the scale box cannot hold. DICOM files are written by the test.
#include "CaseImages.h"
#include "DICOMUtil.h"
#include "DicomTestWriter.h"
#include "StoredControlTable.h"

#include <QDir>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <limits>

using kelvara::CaseImages;
using kelvara::ImageSource;
using kelvara::Modality;
using namespace dicomtest;

namespace {

const QByteArray kT2 = "1.2.9.1", kDwi = "1.2.9.3", kAdc = "1.2.9.4";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// T2's slice positions along z.
double z(int i)
{
    return 6.0 * i;
}

// The ADC file's frames, stored out of order: frame f lies at z(kAdcSlice[f]).
constexpr int kAdcSlice[] = {3, 1, 2, 0};

// Orientation of slices tilted by `degrees` about the x axis against axial ones.
std::array<double, 6> tilted(double degrees)
{
    const double a = degrees * M_PI / 180.0;
    return {1, 0, 0, 0, std::cos(a), std::sin(a)};
}

// A source as a project file gives it: its keys read by the stored-controls table.
ImageSource fromProject(const QString& path, QJsonObject keys)
{
    keys.insert("Path", path);
    keys.insert("Type", "DICOM");
    return kelvara::StoredControlTable::read(kelvara::FileLayout::Project, {{"DWI", keys}})
        .images[int(Modality::DWI)];
}

} // namespace

class TestSeriesChoice : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;
    QString dir;

    // T2 from `t2` (its slice when not negative), then modality m from `source`.
    bool load(CaseImages& c, const QString& t2, int t2Slice, Modality m, const ImageSource& source,
              QString* error, QStringList* warnings)
    {
        ImageSource t2Source(dir + "/" + t2, "DICOM");
        t2Source.slice = t2Slice;
        QString t2Error;
        if (!c.loadSource(Modality::T2, t2Source, &t2Error, warnings)) {
            *error = "T2 did not load: " + t2Error;
            return false;
        }
        return c.loadSource(m, source, error, warnings);
    }

private slots:
    void initTestCase()
    {
        dir = tmp.path();
        for (const char* folder : {"t2", "t2sag", "dwi", "adc", "adc-reversed", "adc-4.9", "adc-5.1",
                                   "t2-far", "adc-far", "single", "scale"})
            QVERIFY(QDir(dir).mkpath(folder));
        // T2: five axial slices; InstanceNumber and file names run against z.
        for (int i = 0; i < 5; ++i) {
            const Header h{kT2, "t2", "MR", 1, 5 - i, 16, 16};
            QVERIFY(writeDicom(dir + QString("/t2/f%1").arg(4 - i), h, {{i, {0, 0, z(i)}}}));
        }
        Header sagittal{kT2, "t2 sagittal", "MR", 1, -1, 16, 16, {0, 1, 0, 0, 0, -1}};
        for (int i = 0; i < 3; ++i)
            QVERIFY(writeDicom(dir + QString("/t2sag/f%1").arg(i), sagittal, {{i, {6.0 * i, 0, 0}}}));
        // DWI: b 0, 500, 1000 at three of T2's positions.
        const Header dwi{kDwi, "dwi", "MR", 2, -1, 16, 16};
        for (int i = 0; i < 3; ++i)
            for (double b : {0.0, 500.0, 1000.0})
                QVERIFY(writeDicom(dir + QString("/dwi/%1-%2").arg(i).arg(b), dwi,
                                   {{10 + i, {0, 0, z(i + 1)}, b}}));
        // ADC: one enhanced file, frames out of order; a copy whose slice normal is reversed.
        std::vector<Frame> frames;
        for (int f = 0; f < 4; ++f)
            frames.push_back({20 + f, {0, 0, z(kAdcSlice[f])}});
        Header adc{kAdc, "adc", "MR", 3, -1, 16, 16};
        adc.enhanced = true;
        QVERIFY(writeDicom(dir + "/adc/adc.dcm", adc, frames));
        adc.orientation = {1, 0, 0, 0, -1, 0};
        QVERIFY(writeDicom(dir + "/adc-reversed/adc.dcm", adc, frames));
        for (double degrees : {4.9, 5.1}) {
            adc.orientation = tilted(degrees);
            QVERIFY(writeDicom(dir + QString("/adc-%1/adc.dcm").arg(degrees), adc, frames));
        }
        // Positions that give no finite distance, and a T2 file without a position.
        const Header t2{kT2, "t2", "MR", 1, 1, 16, 16};
        QVERIFY(writeDicom(dir + "/t2-far/t2.dcm", t2, {{1, {0, 0, 1e308}}}));
        QVERIFY(writeDicom(dir + "/adc-far/adc.dcm", Header{kAdc, "adc", "MR", 3, -1, 16, 16},
                           {{2, {0, 0, -1e308}}}));
        QVERIFY(writeDicom(dir + "/single/t2-nopos.dcm", t2, {{1, {kNaN, kNaN, kNaN}}}));
        QVERIFY(writeDicom(dir + "/single/adc.dcm", Header{kAdc, "adc", "MR", 3, -1, 16, 16},
                           {{3, {0, 0, z(2)}}}));
        // T2 with 1 mm columns.
        Header one{kT2, "t2", "MR", 1, 1, 16, 16};
        one.pixelSpacing = "1\\1";
        QVERIFY(writeDicom(dir + "/scale/t2.dcm", one, {{1, {0, 0, 0}}}));
    }

    // "Slice" and "BValue" name an image of the series or fail with what the series holds;
    // nothing falls back to a default slice or b-value.
    void projectKeys_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QJsonObject>("keys");
        QTest::addColumn<int>("index"); // into the chosen series; -1: fails
        QTest::addColumn<QString>("message");
        const QString t2 = "t2", dwi = "dwi";
        const QString range = "'%1/t2': %2: series 1.2.9.1 has slices 0 to 4";
        auto fails = [&](const char* name, const QString& path, const QJsonObject& keys,
                         const QString& message) {
            QTest::newRow(name) << path << keys << -1 << message;
        };
        QTest::newRow("first slice") << t2 << QJsonObject{{"Slice", 0}} << 0 << QString();
        QTest::newRow("last slice") << t2 << QJsonObject{{"Slice", 4}} << 4 << QString();
        QTest::newRow("whole number as 2.0") << t2 << QJsonObject{{"Slice", 2.0}} << 2 << QString();
        fails("one past the last", t2, {{"Slice", 5}}, range.arg("%1", "slice 5 is out of range"));
        fails("-1", t2, {{"Slice", -1}}, range.arg("%1", "slice -1 is out of range"));
        fails("-2", t2, {{"Slice", -2}}, range.arg("%1", "slice -2 is out of range"));
        fails("1e18", t2, {{"Slice", 1e18}}, range.arg("%1", "slice 1e+18 is out of range"));
        fails("2.5", t2, {{"Slice", 2.5}}, range.arg("%1", "slice 2.5 is not a whole number"));
        fails("a text", t2, {{"Slice", "two"}},
              range.arg("%1", "\"Slice\" is the text \"two\", not a number"));
        fails("null", t2, {{"Slice", QJsonValue()}}, range.arg("%1", "\"Slice\" is null, not a number"));
        // DWI's nearest slice to T2's slice 1 is its slice 0; the b-value picks among three.
        QTest::newRow("b 0") << dwi << QJsonObject{{"BValue", 0}} << 0 << QString();
        QTest::newRow("b 500") << dwi << QJsonObject{{"BValue", 500}} << 0 << QString();
        const QString bValues = "'%1/dwi': \"BValue\" is %2, not a b-value (a finite number from "
                                "0); series 1.2.9.3 has b = 0, 500, 1000";
        fails("b -5", dwi, {{"BValue", -5}}, bValues.arg("%1", "-5"));
        fails("b as text", dwi, {{"BValue", "high"}}, bValues.arg("%1", "the text \"high\""));
        fails("b not present", dwi, {{"BValue", 800}},
              "'%1/dwi': series 1.2.9.3 has no b = 800; it has b = 0, 500, 1000");
        fails("b for a series without b-values", t2, {{"BValue", -1}},
              "'%1/t2': \"BValue\" is -1, not a b-value (a finite number from 0); series 1.2.9.1 "
              "has no b-values");
    }

    void projectKeys()
    {
        QFETCH(QString, path);
        QFETCH(QJsonObject, keys);
        QFETCH(int, index);
        QFETCH(QString, message);
        CaseImages c;
        QString error;
        QStringList warnings;
        const bool loaded =
            load(c, "t2", 1, Modality::DWI, fromProject(dir + "/" + path, keys), &error, &warnings);
        QVERIFY2(loaded == (index >= 0), qPrintable(error));
        if (loaded) {
            QCOMPARE(c.chosenImage(Modality::DWI)->index, index);
            const double b = keys.value("BValue").toDouble(-1.0);
            if (b >= 0.0)
                QCOMPARE(*c.chosenImage(Modality::DWI)->image().bValue, b);
        } else {
            QCOMPARE(error, "DWI image " + message.arg(dir));
        }
    }

    // A DWI or ADC file whose frames lie at several positions defaults to the slice nearest to
    // T2's, as a series does, whatever order the frames are stored in; a single-frame file is
    // still read as it always was.
    void defaultSliceOfMultiFrameFile_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("t2Slice");
        QTest::addColumn<int>("frame"); // -1: read as a single file
        for (int t2Slice = 0; t2Slice < 5; ++t2Slice) {
            int frame = 0; // nearest, ties to the lower position (all are whole slices here)
            for (int f = 1; f < 4; ++f)
                if (std::abs(z(kAdcSlice[f]) - z(t2Slice)) < std::abs(z(kAdcSlice[frame]) - z(t2Slice)))
                    frame = f;
            QTest::addRow("file, T2 slice %d", t2Slice) << "adc/adc.dcm" << t2Slice << frame;
            QTest::addRow("folder, T2 slice %d", t2Slice) << "adc" << t2Slice << frame;
        }
        QTest::newRow("single frame") << "single/adc.dcm" << 1 << -1;
    }

    void defaultSliceOfMultiFrameFile()
    {
        QFETCH(QString, path);
        QFETCH(int, t2Slice);
        QFETCH(int, frame);
        CaseImages c;
        QString error;
        QStringList warnings;
        const QString file = dir + "/" + path;
        QVERIFY2(load(c, "t2", t2Slice, Modality::ADC, {file, "DICOM"}, &error, &warnings),
                 qPrintable(error));
        const kelvara::ChosenImage* chosen = c.chosenImage(Modality::ADC);
        QCOMPARE(chosen != nullptr, frame >= 0);
        const QString read = chosen ? chosen->image().file : file;
        QCOMPARE(chosen ? chosen->image().frame : -1, frame);
        QCOMPARE(c.image(Modality::ADC), DICOMUtil().loadImage(read, std::max(frame, 0)));
    }

    // A DWI or ADC whose slices are tilted more than 5 degrees against T2's is a warning naming
    // the angle; a reversed normal is the same plane.
    void tiltAgainstT2_data()
    {
        QTest::addColumn<QString>("t2");
        QTest::addColumn<QString>("adc");
        QTest::addColumn<QString>("warning"); // empty: none about a tilt
        QTest::newRow("same plane") << "t2" << "adc" << QString();
        QTest::newRow("reversed normal") << "t2" << "adc-reversed" << QString();
        QTest::newRow("4.9 degrees") << "t2" << "adc-4.9" << QString();
        QTest::newRow("5.1 degrees")
            << "t2" << "adc-5.1"
            << "ADC image '%1/adc-5.1': its slices are tilted 5.1 degrees against T2's (more "
               "than 5)";
        QTest::newRow("sagittal T2, axial ADC")
            << "t2sag" << "adc"
            << "ADC image '%1/adc': its slices are tilted 90.0 degrees against T2's (more than 5)";
    }

    void tiltAgainstT2()
    {
        QFETCH(QString, t2);
        QFETCH(QString, adc);
        QFETCH(QString, warning);
        CaseImages c;
        QString error;
        QStringList warnings;
        QVERIFY2(load(c, t2, -1, Modality::ADC, {dir + "/" + adc, "DICOM"}, &error, &warnings),
                 qPrintable(error));
        const QStringList tilts = warnings.filter("tilted");
        QCOMPARE(tilts, warning.isEmpty() ? QStringList() : QStringList{warning.arg(dir)});
    }

    // Without a finite distance to T2's slice no slice is nearest: the default is refused, a
    // named slice still loads.
    void nearestSliceMustBeMeasurable_data()
    {
        QTest::addColumn<QString>("t2");
        QTest::addColumn<QString>("adc");
        QTest::addColumn<int>("slice");
        QTest::addColumn<QString>("message"); // empty: loads
        QTest::newRow("T2 without a position")
            << "single/t2-nopos.dcm" << "adc" << -1
            << "ADC image '%1/adc': no slice of series 1.2.9.4 can be matched to T2's slice (T2 "
               "image: Cannot use DICOM series \"1.2.9.1\" of \"%1/single/t2-nopos.dcm\": "
               "\"%1/single/t2-nopos.dcm\": Image Position (Patient) is \"nan\\nan\\nan\", not 3 "
               "finite number(s)); name one with \"Slice\"";
        QTest::newRow("distance beyond double")
            << "t2-far" << "adc-far" << -1
            << "ADC image '%1/adc-far': no slice of series 1.2.9.4 can be matched to T2's slice "
               "0 ('%1/t2-far/t2.dcm'): the distance between them is not finite; name one with "
               "\"Slice\"";
        QTest::newRow("a named slice needs no match") << "single/t2-nopos.dcm" << "adc" << 2 << "";
    }

    void nearestSliceMustBeMeasurable()
    {
        QFETCH(QString, t2);
        QFETCH(QString, adc);
        QFETCH(int, slice);
        QFETCH(QString, message);
        CaseImages c;
        QString error, t2Error;
        QStringList warnings;
        QVERIFY2(c.loadSource(Modality::T2, {dir + "/" + t2, "DICOM"}, &t2Error), qPrintable(t2Error));
        ImageSource source(dir + "/" + adc, "DICOM");
        source.slice = slice;
        QCOMPARE(c.loadSource(Modality::ADC, source, &error, &warnings), message.isEmpty());
        QCOMPARE(error, message.isEmpty() ? message : message.arg(dir));
        QVERIFY2(!warnings.join(' ').contains("nan"), qPrintable(warnings.join('\n')));
    }

    // "Scale": "auto" is the column spacing over T2's as the scale box holds it (two decimals,
    // at most 99.99); a ratio the box cannot hold, or one that rounds to 0, fails naming both
    // spacings.
    void automaticScale_data()
    {
        QTest::addColumn<QByteArray>("spacing"); // DWI's, rows\columns; T2's is 1\1
        QTest::addColumn<double>("scale");       // 0: fails
        QTest::newRow("2") << QByteArray("3\\2") << 2.0;
        QTest::newRow("the maximum") << QByteArray("1\\99.99") << 99.99;
        QTest::newRow("above the maximum") << QByteArray("1\\100") << 0.0;
        QTest::newRow("rounds to 0.01") << QByteArray("1\\0.005") << 0.01;
        QTest::newRow("rounds to 0") << QByteArray("1\\0.0049") << 0.0;
    }

    void automaticScale()
    {
        QFETCH(QByteArray, spacing);
        QFETCH(double, scale);
        Header h{kDwi, "dwi", "MR", 2, 1, 16, 16};
        h.pixelSpacing = spacing;
        const QString file = dir + "/scale/dwi-" + QString::fromLatin1(spacing).replace('\\', '-');
        QVERIFY(writeDicom(file, h, {{1, {0, 0, 0}, 1000}}));
        CaseImages c;
        QString error;
        QVERIFY(c.loadSource(Modality::T2, {dir + "/scale/t2.dcm", "DICOM"}, &error));
        QVERIFY(c.loadSource(Modality::DWI, {file, "DICOM"}, &error));
        double result = -1.0;
        QCOMPARE(c.automaticScale(Modality::DWI, &result, &error), scale > 0.0);
        if (scale > 0.0) {
            QCOMPARE(result, scale);
        } else {
            QCOMPARE(error, QString("DWI image '%1': \"Scale\": \"auto\" gives %2 (column spacing "
                                    "%2 mm over T2's 1 mm), which the scale box cannot hold (0.01 "
                                    "to 99.99)")
                                .arg(file, QString::fromLatin1(spacing).section('\\', 1)));
        }
    }
};

QTEST_GUILESS_MAIN(TestSeriesChoice)
#include "test_serieschoice.moc"
