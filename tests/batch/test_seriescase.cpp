// A project that names series folders, a slice, a b-value, an enhanced multi-frame file and
// automatic scales gives exactly what a project naming the chosen images as single files with
// numeric scales gives; ambiguous or impossible choices fail with messages.
#include "BatchTestSupport.h"
#include "DicomTestWriter.h"

#include <QDir>
#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

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

} // namespace

class TestSeriesCase : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;
    QString dir;

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
