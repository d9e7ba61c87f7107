// A project that names series folders, a slice, a b-value, an enhanced multi-frame file and
// automatic scales gives exactly what a project naming the chosen images as single files with
// numeric scales gives; ambiguous or impossible choices fail with messages.
#include "BatchTestSupport.h"
#include "DicomTestWriter.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

#include <cmath>
#include <functional>

using namespace batchtest;
using namespace dicomtest;

namespace {

const QByteArray kT2 = "1.2.9.1", kLocalizer = "1.2.9.2", kDwi = "1.2.9.3", kAdc = "1.2.9.4";

// Slice positions along z; T2's InstanceNumber runs against them.
double z(int i)
{
    return 6.0 * i;
}

QJsonObject image(const QString& path, const QJsonObject& keys = {})
{
    QJsonObject o = keys;
    o.insert("Path", path);
    o.insert("Type", "DICOM");
    if (!o.contains("Scale"))
        o.insert("Scale", 1.0);
    return o;
}

QByteArray project(const QJsonObject& t2, const QJsonObject& dwi, const QJsonObject& adc)
{
    QJsonObject root = readJson(QStringLiteral(KELVARA_SAMPLES_DIR "/lesion.kelvara"));
    root.insert("T2", t2);
    root.insert("DWI", dwi);
    root.insert("ADC", adc);
    root.insert("AOI", QJsonObject{{"HCells", 20}, {"VCells", 30}, {"HPos", 2}, {"VPos", -3}});
    return QJsonDocument(root).toJson();
}

using Edit = std::function<void(int, DcmDataset&)>; // image index, its data set

// The file a case read for modality `role`, from its result.json.
QString inputFile(const QJsonObject& result, const QString& role)
{
    for (const QJsonValue& v : result["provenance"].toObject()["inputs"].toArray())
        if (v.toObject()["role"].toString() == role)
            return QFileInfo(v.toObject()["file"].toString()).fileName();
    return QString();
}

} // namespace

class TestSeriesCase : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;
    QString dir;

    // T2 as in exam/t2 (slice i at z(i) in file f<count-1-i>, Instance Number count - i unless
    // `instances` says), each file changed by `edit`. Returns the folder, relative to dir.
    QString t2Folder(const QString& name, const Edit& edit, int count = 5,
                     const std::vector<int>& instances = {}) const
    {
        const QString folder = "faults/" + name;
        QDir().mkpath(dir + "/" + folder);
        for (int i = 0; i < count; ++i) {
            Header h{kT2, "t2 axial", "MR", 1, instances.empty() ? count - i : instances[size_t(i)], 64, 16};
            const QString file = dir + "/" + folder + QString("/f%1").arg(count - 1 - i);
            if (!writeDicom(file, h, {{i, {0, 0, z(i)}, -1, "600", "900"}}) ||
                (edit && !editDicom(file, [&](DcmDataset& d) { edit(i, d); })))
                return QString();
        }
        return folder;
    }
    // DWI as in exam/dwi (file "<i>-<b>", b 0, 500, 1000 at z(i + 1) + 1), changed by `edit`
    // (index 3 i + b / 500).
    QString dwiFolder(const QString& name, const Edit& edit) const
    {
        const QString folder = "faults/" + name;
        QDir().mkpath(dir + "/" + folder);
        Header h{kDwi, "dwi", "MR", 2, -1, 32, 16};
        h.pixelSpacing = "1\\1";
        for (int i = 0; i < 3; ++i)
            for (double b : {0.0, 500.0, 1000.0}) {
                const QString file = dir + "/" + folder + QString("/%1-%2").arg(i).arg(b);
                if (!writeDicom(file, h, {{10 + i * 3 + int(b / 500), {0, 0, z(i + 1) + 1}, b, "600", "900"}}) ||
                    !editDicom(file, [&](DcmDataset& d) { edit(i * 3 + int(b / 500), d); }))
                    return QString();
            }
        return folder;
    }
    // ADC as exam/adc.dcm, alone in a folder, changed by `edit`.
    QString adcFolder(const QString& name, const Edit& edit) const
    {
        const QString folder = "faults/" + name;
        QDir().mkpath(dir + "/" + folder);
        Header adc{kAdc, "adc", "MR", 3, -1, 32, 16};
        adc.enhanced = true;
        adc.pixelSpacing = "0.8\\1";
        const QString file = dir + "/" + folder + "/adc.dcm";
        if (!writeDicom(file, adc, {{20, {0, 0, z(3)}, -1, "300", "500"},
                                    {21, {0, 0, z(1)}, -1, "310", "520"},
                                    {22, {0, 0, z(2)}, -1, "320", "540"}}) ||
            !editDicom(file, [&](DcmDataset& d) { edit(-1, d); }))
            return QString();
        return folder;
    }

private slots:
    void initTestCase()
    {
        dir = tmp.path();
        QVERIFY(QDir(dir).mkpath("exam/t2") && QDir(dir).mkpath("exam/dwi") &&
                QDir(dir).mkpath("single") && QDir(dir).mkpath("empty"));
        const QByteArray window = "600", width = "900";
        // T2: five axial slices, spacing 0.5 mm, file names and InstanceNumber against z.
        for (int i = 0; i < 5; ++i) {
            Header h{kT2, "t2 axial", "MR", 1, 5 - i, 64, 16};
            const Frame f{i, {0, 0, z(i)}, -1, window, width};
            QVERIFY(writeDicom(dir + QString("/exam/t2/f%1").arg(4 - i), h, {f}));
            if (i == 1)
                QVERIFY(writeDicom(dir + "/single/t2.dcm", h, {f}));
        }
        Header localizer{kLocalizer, "localizer", "MR", 9, 1, 64, 16, {0, 1, 0, 0, 0, -1}};
        QVERIFY(writeDicom(dir + "/exam/t2/loc", localizer, {{7, {0, 0, 0}}}));
        // DWI: b 0, 500, 1000 at three positions 1 mm off T2's, spacing 1 mm.
        Header dwi{kDwi, "dwi", "MR", 2, -1, 32, 16};
        dwi.pixelSpacing = "1\\1";
        for (int i = 0; i < 3; ++i)
            for (double b : {0.0, 500.0, 1000.0}) {
                const Frame f{10 + i * 3 + int(b / 500), {0, 0, z(i + 1) + 1}, b, window, width};
                QVERIFY(writeDicom(dir + QString("/exam/dwi/%1-%2").arg(i).arg(b), dwi, {f}));
                if (i == 0 && b > 0.0) // nearest to T2's slice 1
                    QVERIFY(writeDicom(dir + QString("/single/dwi%1.dcm").arg(b), dwi, {f}));
            }
        QVERIFY(::mkfifo(QFile::encodeName(dir + "/exam/dwi/pipe"), 0600) == 0);
        // ADC: one enhanced file, frames out of order, spacing 1 mm between columns.
        Header adc{kAdc, "adc", "MR", 3, -1, 32, 16};
        adc.enhanced = true;
        adc.pixelSpacing = "0.8\\1";
        const std::vector<Frame> frames = {{20, {0, 0, z(3)}, -1, "300", "500"},
                                           {21, {0, 0, z(1)}, -1, "310", "520"},
                                           {22, {0, 0, z(2)}, -1, "320", "540"}};
        QVERIFY(writeDicom(dir + "/exam/adc.dcm", adc, frames));
        Header adcSingle{kAdc, "adc", "MR", 3, -1, 32, 16};
        adcSingle.pixelSpacing = "0.8\\1";
        QVERIFY(writeDicom(dir + "/single/adc.dcm", adcSingle, {frames[0]})); // z(3): slice 2
        Header wide{kDwi, "dwi", "MR", 2, -1, 32, 16};
        wide.pixelSpacing = "60\\60";
        QVERIFY(writeDicom(dir + "/single/dwi-wide.dcm", wide, {{12, {0, 0, z(1)}, 1000}}));
    }

    void seriesEqualSingleFiles()
    {
        // DWI: the highest b-value unless one is named.
        const QJsonObject t2 = image("exam/t2", {{"Series", QString(kT2)}, {"Slice", 1}});
        const QJsonObject adc = image("exam/adc.dcm", {{"Slice", 2}, {"Scale", "auto"}});
        QVERIFY(writeText(dir + "/series.kelvara",
                      project(t2, image("exam/dwi", {{"Scale", "auto"}}), adc)));
        QVERIFY(writeText(dir + "/b500.kelvara",
                      project(t2, image("exam/dwi", {{"BValue", 500}, {"Scale", "auto"}}), adc)));
        // The enhanced ADC file's frames are stored out of order: by default the slice nearest
        // to T2's slice 1 is its slice 0 (frame 1), not frame 0.
        QVERIFY(writeText(dir + "/adcdefault.kelvara",
                          project(t2, image("exam/dwi"), image("exam/adc.dcm"))));
        QVERIFY(writeText(dir + "/adcslice0.kelvara",
                          project(t2, image("exam/dwi"), image("exam/adc.dcm", {{"Slice", 0}}))));
        for (const char* b : {"1000", "500"})
            QVERIFY(writeText(dir + QString("/single%1.kelvara").arg(b),
                          project(image("single/t2.dcm"),
                                  image(QString("single/dwi%1.dcm").arg(b), {{"Scale", 2.0}}),
                                  image("single/adc.dcm", {{"Scale", 2.0}}))));
        const Run r = runBatch({"--out", dir + "/out", "--small-area", "5", "--pathology", "10",
                                dir + "/series.kelvara", dir + "/single1000.kelvara",
                                dir + "/b500.kelvara", dir + "/single500.kelvara",
                                dir + "/adcdefault.kelvara", dir + "/adcslice0.kelvara"});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        // The only notes: the FIFO in the DWI folder, skipped (not waited for) by both scans.
        QVERIFY2(r.err.count("note: ") == 4 && r.err.count("/exam/dwi/pipe\": is a FIFO") == 4,
                 qPrintable(r.err));
        QCOMPARE(QImage(dir + "/out/b500/dwi_aoi.png"), QImage(dir + "/out/single500/dwi_aoi.png"));
        QCOMPARE(QImage(dir + "/out/adcdefault/adc_aoi.png"),
                 QImage(dir + "/out/adcslice0/adc_aoi.png"));
        QVERIFY(QImage(dir + "/out/adcdefault/adc_aoi.png") != QImage(dir + "/out/series/adc_aoi.png"));
        const QDir a(dir + "/out/series"), b(dir + "/out/single1000");
        const QStringList pngs = a.entryList({"*.png"});
        QCOMPARE(pngs.size(), 22);
        for (const QString& png : pngs)
            QVERIFY2(QImage(a.filePath(png)) == QImage(b.filePath(png)), qPrintable(png));
        QJsonObject ra = readJson(a.filePath("result.json")), rb = readJson(b.filePath("result.json"));
        // Provenance names other files by design; the series notes are checked above.
        for (const char* key : {"case", "project", "timingsMs", "warnings", "provenance"})
            ra.remove(key), rb.remove(key);
        QCOMPARE(ra, rb);
        // The AOI really cut different images: the T2 slice shows its own pattern.
        QVERIFY(QImage(a.filePath("t2_aoi.png")) != QImage(a.filePath("dwi_aoi.png")));
    }

    // Each class of series fault is tried at the reader; these rows show that its text reaches
    // stderr and result.json, and that a warned case reads the slice a correct reader picks.
    void seriesFaults_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QStringList>("errors");   // parts of the case's error; empty: it runs
        QTest::addColumn<QStringList>("warnings"); // parts of stderr and result.json's warnings
        QTest::addColumn<QString>("t2File");       // the file each modality was read from
        QTest::addColumn<QString>("dwiFile");
        const QStringList none;
        auto at = [](int which, const char* value, const DcmTagKey& key = DCM_ImagePositionPatient) {
            return Edit([=](int i, DcmDataset& d) {
                if (i == which)
                    d.putAndInsertString(key, value);
            });
        };
        const QJsonObject dwi1000 = image("single/dwi1000.dcm"), adcFile = image("single/adc.dcm");
        auto t2Case = [&](const QString& folder) {
            return project(image(folder), dwi1000, adcFile);
        };
        const QString cannot = "T2 image: Cannot use DICOM series \"1.2.9.1\" of \"%1/faults/";
        QTest::newRow("T2: one position NaN")
            << t2Case(t2Folder("nan", at(2, "NaN\\0\\12")))
            << QStringList{cannot + "nan\"", "nan/f2\": Image Position (Patient) is \"NaN\\0\\12\""}
            << none << QString() << QString();
        QTest::newRow("T2: orientation all zeros")
            << t2Case(t2Folder("zeros", at(1, "0\\0\\0\\0\\0\\0", DCM_ImageOrientationPatient)))
            << QStringList{cannot + "zeros\"", "zeros/f3\": Image Orientation (Patient) 0,0,0,0,0,0"}
            << none << QString() << QString();
        QTest::newRow("T2: two images at one position")
            << t2Case(t2Folder("twice", at(3, "0\\0\\12")))
            << QStringList{cannot + "twice\"", "twice/f1\" and \"", "twice/f2\" lie at one position"}
            << none << QString() << QString();
        // Unreadable files: their series is not known, so any series of the folder may miss one.
        const QString cut = t2Folder("cut", {});
        QFile cutFile(dir + "/" + cut + "/f2");
        QVERIFY(cutFile.resize(cutFile.size() - 100));
        QTest::newRow("T2: a file cut short in the middle")
            << t2Case(cut) << QStringList{cannot + "cut\"", "cut/f2\": the file is truncated",
                                          "its series is not known"}
            << none << QString() << QString();
        // Enhanced ADC files.
        auto adcCase = [&](const QString& folder) {
            return project(image("single/t2.dcm"), dwi1000, image(folder));
        };
        const QString adcCannot = "ADC image: Cannot use DICOM series \"1.2.9.4\" of \"%1/faults/";
        QTest::newRow("ADC: per-frame items fewer than frames")
            << adcCase(adcFolder("fewer", Edit([](int, DcmDataset& d) {
                   DcmSequenceOfItems* groups = nullptr;
                   d.findAndGetSequence(DCM_PerFrameFunctionalGroupsSequence, groups);
                   delete groups->remove(2);
               })))
            << QStringList{"fewer/adc.dcm\": its Per-frame Functional Groups Sequence holds 2 "
                           "item(s) for 3 frame(s)"}
            << none << QString() << QString();
        QTest::newRow("ADC: a frame without a position")
            << adcCase(adcFolder("noposition", Edit([](int, DcmDataset& d) {
                   DcmItem* group = nullptr;
                   d.findAndGetSequenceItem(DCM_PerFrameFunctionalGroupsSequence, group, 0);
                   group->findAndDeleteElement(DCM_PlanePositionSequence);
               })))
            << QStringList{adcCannot + "noposition\"",
                           "noposition/adc.dcm\" frame 0: Image Position (Patient) is missing"}
            << none << QString() << QString();
        // DWI b-values that cannot be are reported and not used: never 0, never the highest.
        const QJsonObject t2 = image("exam/t2", {{"Series", QString(kT2)}});
        auto b = [](int which, double value) {
            return Edit([=](int i, DcmDataset& d) {
                if (i == which)
                    d.putAndInsertFloat64(DCM_DiffusionBValue, value);
            });
        };
        const QString ignored = "DWI image: \"%1/faults/%2/1-%3\": Diffusion b-value is %4, not a "
                                "number from 0 to 100000 s/mm^2";
        QTest::newRow("DWI: b inf at b 0's place")
            << project(t2, image(dwiFolder("binf", b(3, HUGE_VAL))), adcFile) << none
            << QStringList{ignored.arg("%1", "binf", "0", "inf")} << "f2" << "1-1000";
        QTest::newRow("DWI: b -5 at b 500's place")
            << project(t2, image(dwiFolder("bneg", b(4, -5))), adcFile) << none
            << QStringList{ignored.arg("%1", "bneg", "500", "-5")} << "f2" << "1-1000";
        QTest::newRow("DWI: b NaN at b 500's place, b 0 asked")
            << project(t2, image(dwiFolder("bnan", b(4, std::nan(""))), {{"BValue", 0}}), adcFile)
            << none << QStringList{ignored.arg("%1", "bnan", "500", "nan")} << "f2" << "1-0";

        // T2 without any position: Instance Number order, said; the middle one by that order.
        QTest::newRow("T2 without positions: Instance Number order")
            << t2Case(t2Folder("unplaced", Edit([](int, DcmDataset& d) {
                   d.findAndDeleteElement(DCM_ImagePositionPatient);
               }), 5, {3, 1, 5, 2, 4}))
            << none << QStringList{"T2 image: no image of DICOM series \"1.2.9.1\"", "Instance Number order"}
            << "f4" << "dwi1000.dcm";
        // An even count: the lower of the two middle slices (z 6 of 0, 6, 12, 18).
        QTest::newRow("T2 of 4 images: the lower middle slice")
            << t2Case(t2Folder("even", {}, 4)) << none << none << "f2" << "dwi1000.dcm";
    }

    void seriesFaults()
    {
        QFETCH(QByteArray, json);
        QFETCH(QStringList, errors);
        QFETCH(QStringList, warnings);
        QFETCH(QString, t2File);
        QFETCH(QString, dwiFile);
        QVERIFY(writeText(dir + "/fault.kelvara", json));
        const QString out = dir + "/fault-out";
        const Run r = runBatch({"--out", out, dir + "/fault.kelvara"});
        const QJsonObject result = readJson(out + "/fault/result.json");
        auto in = [this](const QString& part) { return part.contains("%1") ? part.arg(dir) : part; };
        QCOMPARE(r.exitCode, errors.isEmpty() ? 0 : 1);
        for (const QString& part : errors) {
            QVERIFY2(r.err.contains(in(part)), qPrintable(r.err));
            QVERIFY2(result["error"].toString().contains(in(part)),
                     qPrintable(result["error"].toString()));
        }
        const QString written = QJsonDocument(result["warnings"].toArray()).toJson();
        for (const QString& part : warnings) {
            QVERIFY2(r.err.contains(in(part)), qPrintable(r.err));
            QVERIFY2(result["warnings"].toArray().size() > 0 &&
                         QString(written).replace("\\\"", "\"").contains(in(part)),
                     qPrintable(written));
        }
        if (errors.isEmpty()) {
            QCOMPARE(inputFile(result, "T2"), t2File);
            QCOMPARE(inputFile(result, "DWI"), dwiFile);
        }
    }

    // DWI's slice nearest to T2's is warned about when it lies more than one slice thickness
    // (3 mm here) away.
    void farSliceWarning_data()
    {
        QTest::addColumn<double>("dwiZ"); // T2's slice lies at 12
        QTest::addColumn<bool>("warned");
        QTest::newRow("one thickness away") << 9.0 << false;
        QTest::newRow("0.5 mm beyond") << 15.5 << true;
    }

    void farSliceWarning()
    {
        QFETCH(double, dwiZ);
        QFETCH(bool, warned);
        const QString folder = dir + QString("/faults/far-%1").arg(dwiZ);
        QVERIFY(QDir().mkpath(folder));
        Header h;
        h.uid = kDwi;
        h.description = "dwi";
        h.seriesNumber = 2;
        h.bits = 16;
        const Frame nearFrame{1, {0, 0, dwiZ}, 1000, "600", "900"};
        const Frame farFrame{2, {0, 0, 40}, 1000, "600", "900"};
        QVERIFY(writeDicom(folder + "/near", h, {nearFrame}) && writeDicom(folder + "/far", h, {farFrame}));
        QVERIFY(writeText(dir + "/far.kelvara",
                          project(image("exam/t2", {{"Series", QString(kT2)}}), image(folder),
                                  image("single/adc.dcm"))));
        const Run r = runBatch({"--out", dir + "/far-out", dir + "/far.kelvara"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(inputFile(readJson(dir + "/far-out/far/result.json"), "DWI"), QString("near"));
        QVERIFY2(r.err.contains("mm from T2's slice") == warned, qPrintable(r.err));
    }

    void badChoicesFail_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("message");
        QTest::newRow("two series, none named")
            << project(image("exam/t2"), image("exam/dwi"), image("exam/adc.dcm"))
            << "T2 image '%1/exam/t2': holds 2 series; name one with \"Series\": 1.2.9.1 (t2 "
               "axial, 5 images); 1.2.9.2 (localizer, 1 images)";
        QTest::newRow("b-value not present")
            << project(image("single/t2.dcm"), image("exam/dwi", {{"BValue", 800}}),
                       image("exam/adc.dcm"))
            << "DWI image '%1/exam/dwi': series 1.2.9.3 has no b = 800; it has b = 0, 500, 1000";
        QTest::newRow("slice out of range")
            << project(image("exam/t2", {{"Series", QString(kT2)}, {"Slice", 5}}),
                       image("exam/dwi"), image("exam/adc.dcm"))
            << "T2 image '%1/exam/t2': slice 5 is out of range: series 1.2.9.1 has slices 0 to 4";
        // Keys that name no image fail with what the series holds, never another slice.
        const QJsonObject t2Series{{"Series", QString(kT2)}};
        auto t2Slice = [&](const QJsonValue& slice) {
            QJsonObject keys = t2Series;
            keys.insert("Slice", slice);
            return project(image("exam/t2", keys), image("exam/dwi"), image("exam/adc.dcm"));
        };
        const QString range = "T2 image '%1/exam/t2': %2: series 1.2.9.1 has slices 0 to 4";
        QTest::newRow("slice -1") << t2Slice(-1) << range.arg("%1", "slice -1 is out of range");
        QTest::newRow("slice -2") << t2Slice(-2) << range.arg("%1", "slice -2 is out of range");
        QTest::newRow("slice 1e18") << t2Slice(1e18) << range.arg("%1", "slice 1e+18 is out of range");
        QTest::newRow("slice 2.5") << t2Slice(2.5) << range.arg("%1", "slice 2.5 is not a whole number");
        QTest::newRow("slice as text")
            << t2Slice("2") << range.arg("%1", "\"Slice\" is the text \"2\", not a number");
        QTest::newRow("b-value negative")
            << project(image("single/t2.dcm"), image("exam/dwi", {{"BValue", -5}}),
                       image("exam/adc.dcm"))
            << "DWI image '%1/exam/dwi': \"BValue\" is -5, not a b-value (a finite number from "
               "0); series 1.2.9.3 has b = 0, 500, 1000";
        QTest::newRow("automatic scale beyond the box")
            << project(image("single/t2.dcm"), image("single/dwi-wide.dcm", {{"Scale", "auto"}}),
                       image("exam/adc.dcm"))
            << "DWI image '%1/single/dwi-wide.dcm': \"Scale\": \"auto\" gives 120 (column "
               "spacing 60 mm over T2's 0.5 mm), which the scale box cannot hold (0.01 to 99.99)";
        QTest::newRow("folder without images")
            << project(image("empty"), image("exam/dwi"), image("exam/adc.dcm"))
            << "T2 image: Cannot read DICOM folder \"%1/empty\": it holds no DICOM image";
    }

    void badChoicesFail()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, message);
        QVERIFY(writeText(dir + "/bad.kelvara", json));
        // The window's rules (--lenient) fail these the same way.
        for (const QStringList& lenient : {QStringList(), QStringList{"--lenient"}}) {
            const Run r = runBatch(lenient + QStringList{"--out", dir + "/bad-out", dir + "/bad.kelvara"});
            QCOMPARE(r.exitCode, 1);
            QVERIFY2(r.err.contains(message.arg(dir)), qPrintable(r.err));
        }
    }
};

QTEST_GUILESS_MAIN(TestSeriesCase)
#include "test_seriescase.moc"
