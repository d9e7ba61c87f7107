// kelvara-batch run as a process: exit status and messages for bad input, and the sample
// verdicts with their statistics checked against the written planes.
#include "BatchCase.h"
#include "BatchOptions.h"
#include "BatchTestSupport.h"
#include "FileFaults.h"

#include <QDir>
#include <QDirIterator>
#include <QImage>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using namespace batchtest;

namespace {

const QString kSamples = QStringLiteral(KELVARA_SAMPLES_DIR);

QJsonObject sampleProject(const QString& name)
{
    return readJson(kSamples + QLatin1Char('/') + name + QStringLiteral(".kelvara"));
}

// The sample project with its image paths made absolute, for copies written elsewhere.
QJsonObject movedSampleProject(const QString& name)
{
    QJsonObject root = sampleProject(name);
    for (const char* m : {"T2", "DWI", "ADC"}) {
        QJsonObject image = root.value(QLatin1String(m)).toObject();
        image.insert("Path", kSamples + QLatin1Char('/') + image.value("Path").toString());
        root.insert(QLatin1String(m), image);
    }
    return root;
}

QStringList summaryLines(const QString& out)
{
    QFile summary(out + "/summary.csv");
    return summary.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(summary.readAll()).split('\n', Qt::SkipEmptyParts)
               : QStringList();
}

// The moved lesion sample with one key ("Key" or "Object/Key") set to value, written into dir.
QString patchedProject(const QString& dir, const QString& name, const QString& path,
                       const QJsonValue& value)
{
    QJsonObject root = movedSampleProject(QStringLiteral("lesion"));
    const QStringList keys = path.split('/');
    QJsonObject object = root.value(keys.first()).toObject();
    object.insert(keys.last(), value);
    root.insert(keys.first(), keys.size() == 2 ? QJsonValue(object) : value);
    const QString file = dir + "/" + name + ".kelvara";
    return writeText(file, QJsonDocument(root).toJson()) ? file : QString();
}

} // namespace

class TestBatch : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;

private slots:
    // Each option lands in its own control value, limited as that control limits it.
    void options_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("expected"); // small, pathology, factor, checked, amplification
        QTest::newRow("areas apart") << QStringList{"--small-area", "5", "--pathology=7"}
                                     << "5 7 1 000 1,1,1";
        QTest::newRow("one modality") << QStringList{"--product", "dwi"} << "0 0 1 010 1,1,1";
        QTest::newRow("rounded and clamped")
            << QStringList{"--autocorrect-factor", "300", "--product-amplification", "1.006,500,-2"}
            << "0 0 255 000 1.01,99.99,0";
    }

    void options()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, expected);
        kelvara::BatchOptions o;
        QString error;
        QCOMPARE(kelvara::parseBatchArguments(args << "x.kelvara", &o, &error),
                 kelvara::BatchCommand::Run);
        const QString checked = QString("%1%2%3").arg(int(o.productChecked[0]))
                                    .arg(int(o.productChecked[1])).arg(int(o.productChecked[2]));
        QCOMPARE(QString("%1 %2 %3 %4 %5,%6,%7")
                     .arg(o.smallAreaThreshold).arg(o.pathologyThreshold)
                     .arg(o.resultAutocorrectFactor).arg(checked)
                     .arg(o.productAmplification[0]).arg(o.productAmplification[1])
                     .arg(o.productAmplification[2]),
                 expected);
    }

    void errors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("messageParts");

        const QString dir = tmp.path();
        QVERIFY(writeText(dir + "/broken.kelvara", "{ \"T2\": { \"Path\": "));
        patchedProject(dir, "missingimage", "DWI/Path", kSamples + "/lesion/no-such-dwi.dcm");
        QVERIFY(writeText(dir + "/notabmp.bmp", "this is no image"));
        patchedProject(dir, "badbmp", "T2", QJsonObject{{"Path", "notabmp.bmp"}, {"Type", "BMP"}, {"Scale", 1}});
        patchedProject(dir, "kind", "ADC/Type", "PNG");
        patchedProject(dir, "scaletext", "DWI/Scale", "2.0");
        patchedProject(dir, "entry", "Program", QJsonArray{QJsonObject{{"Text", "x"}, {"Data", "XX;1"}}});
        QJsonArray entries;
        for (int i = 0; i < 200000; ++i)
            entries.append(QJsonObject{{"Text", "DWI mask"}, {"Data", "M_DWI;1"}});
        patchedProject(dir, "long", "Program", entries);
        const QString out = "--out=" + dir + "/out";

        QTest::newRow("missing project") << QStringList{out, dir + "/nothere.kelvara"} << 1
                                         << QStringList{"nothere", "file not found"};
        QTest::newRow("text for a number")
            << QStringList{out, dir + "/scaletext.kelvara"} << 1
            << QStringList{"failed: '" + dir + "/scaletext.kelvara': DWI/Scale: the text \"2.0\" is not a number"};
        QTest::newRow("unknown solution entry")
            << QStringList{out, dir + "/entry.kelvara"} << 1
            << QStringList{"failed: '" + dir + "/entry.kelvara': Program/[0]/Data: no image is called \"XX\""};
        QTest::newRow("200000 entries") << QStringList{out, dir + "/long.kelvara"} << 1
                                        << QStringList{"long.kelvara': the solution list holds 200000"};
        QTest::newRow("invalid JSON") << QStringList{out, dir + "/broken.kelvara"} << 1
                                      << QStringList{"broken", "not valid JSON"};
        QTest::newRow("missing DICOM image")
            << QStringList{out, dir + "/missingimage.kelvara"} << 1
            << QStringList{"missingimage", "DWI", "no-such-dwi.dcm"};
        QTest::newRow("unreadable BMP")
            << QStringList{out, dir + "/badbmp.kelvara"} << 1
            << QStringList{"badbmp", "T2", "notabmp.bmp", "not a readable image"};
        QTest::newRow("unknown image type")
            << QStringList{out, dir + "/kind.kelvara"} << 1 << QStringList{"kind", "ADC/Type", "\"PNG\""};
        QTest::newRow("unknown option") << QStringList{"--frobnicate", "x.kelvara"} << 2
                                        << QStringList{"unknown option --frobnicate"};
        QTest::newRow("bad integer") << QStringList{"--small-area", "many", "x.kelvara"} << 2
                                     << QStringList{"invalid value 'many'", "--small-area"};
        QTest::newRow("bad modality")
            << QStringList{"--product", "T2,CT", "x.kelvara"} << 2 << QStringList{"T2, DWI, ADC"};
        QTest::newRow("no project") << QStringList{"--planes"} << 2 << QStringList{"no project"};
    }

    void errors()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QStringList, messageParts);
        const Run r = runBatch(args);
        QCOMPARE(r.exitCode, exitCode);
        for (const QString& part : messageParts)
            QVERIFY2(r.err.contains(part), qPrintable(r.err));
    }

    // Values the window would change are warnings, listed in result.json; --lenient takes a
    // value of the wrong type as the window does.
    void warnings_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("option");
        QTest::newRow("clamped") << "AOI/HCells" << QJsonValue(5000) << "--small-area=0";
        QTest::newRow("text, lenient") << "DWI/Scale" << QJsonValue("2.0") << "--lenient";
    }

    void warnings()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QFETCH(QString, option);
        const QString project = patchedProject(tmp.path(), "warned", key, value);
        const Run r = runBatch({"--out", tmp.filePath("warned-out"), option, project});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.err.contains(project + "': " + key + ": "), qPrintable(r.err));
        const QJsonArray warnings = readJson(tmp.filePath("warned-out/warned/result.json"))["warnings"].toArray();
        QCOMPARE(warnings.size(), 1);
        QVERIFY(warnings[0].toString().startsWith("'" + project + "': " + key + ": "));
    }

    // Folder names stay inside --out and apart; a rerun replaces each earlier folder whole, a
    // failed case leaves only its error, and summary.csv lists every project.
    void caseFolders()
    {
        QTemporaryDir dir;
        const QString out = dir.filePath("out");
        const char* rows[][2] = {{"...kelvara", "case"},       {".kelvara", "case-2"},
                                 {"a/study.kelvara", "study"}, {"b/study.kelvara", "study-2"},
                                 {"summary.csv.kelvara", "summary.csv-2"}, {"gone.kelvara", "gone"}};
        QVERIFY(QDir().mkpath(dir.filePath("a")) && QDir().mkpath(dir.filePath("b")));
        QVERIFY(QDir().mkpath(out + "/study") && QDir().mkpath(out + "/study-2"));
        QStringList projects, expected{"report.html", "summary.csv"};
        for (const auto& row : rows)
            projects << dir.filePath(row[0]), expected << row[1];
        for (int i = 0; i < 5; ++i) // only a/study is a usable project; gone is missing
            QVERIFY(writeText(projects[i], i == 2 ? QJsonDocument(movedSampleProject("healthy")).toJson() : "{"));
        // An earlier run: a stale file in one folder, a complete-looking result in another.
        QVERIFY(kelvara::markCaseFolder(out + "/study", nullptr) &&
                kelvara::markCaseFolder(out + "/study-2", nullptr));
        QVERIFY(writeText(out + "/study/stale.png", "earlier"));
        QVERIFY(writeText(out + "/study-2/result.json", R"({"case": "study-2", "pathology": false})"));
        const QStringList outside = QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden);

        QCOMPARE(runBatch(QStringList{"--out", out, "--pathology", "50"} + projects).exitCode, 1);
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden), outside);
        expected.sort();
        QCOMPARE(QDir(out).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), expected);
        QVERIFY(!QFile::exists(out + "/study/stale.png"));
        const QStringList lines = summaryLines(out);
        QCOMPARE(lines.size(), 1 + int(std::size(rows)));
        for (int i = 0; i < lines.size() - 1; ++i) {
            const QJsonObject result = readJson(out + '/' + rows[i][1] + "/result.json");
            QCOMPARE(result.value("case").toString(), rows[i][1]);
            QVERIFY2(lines[i + 1].startsWith(rows[i][1] + (',' + projects[i]) +
                                             (i == 2 ? ",,ok,NO PATHOLOGY DETECTED," : ",,failed,")),
                     qPrintable(lines[i + 1]));
            if (i != 2)
                QVERIFY(result.keys() == QStringList({"case", "error", "project"}) &&
                        lines[i + 1].contains(result.value("error").toString()));
        }
    }

    void fullFileSystem_data()
    {
        QTest::addColumn<bool>("tmpfs");
        QTest::addColumn<QString>("reason");
        // Where a private tmpfs can be mounted: a real full disk; the images alone do not fit.
        QTest::newRow("576 KiB file system") << true << "No space left on device";
        // Anywhere: no file may exceed 256 KiB, so the images fit and the planes do not.
        QTest::newRow("file size limit") << false << "File too large";
    }

    // The case fails naming the file; the earlier run's folder is replaced by one holding only
    // the error; no empty, partial or temporary file stays.
    void fullFileSystem()
    {
        QFETCH(bool, tmpfs);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        const QString out = dir.filePath("out"), earlier = tmpfs ? dir.filePath("earlier") : out;
        const QString seen = tmpfs ? dir.filePath("seen") : out; // what the run left
        QVERIFY(QDir().mkpath(earlier + "/healthy") && QDir().mkpath(out) && QDir().mkpath(seen));
        QVERIFY(kelvara::markCaseFolder(earlier + "/healthy", nullptr));
        QVERIFY(writeText(earlier + "/healthy/result.json", R"({"case": "healthy", "pathology": false})"));
        QVERIFY(writeText(earlier + "/healthy/t2_aoi.png", "earlier image"));
        const QString project = kSamples + "/healthy.kelvara";
        const QStringList args{"--out", out, "--planes", project};
        Run r;
        if (tmpfs) {
            // A user and mount namespace of its own: no privileges needed, nothing else sees it.
            const QString script = QStringLiteral(
                "m=$1 e=$2 s=$3; shift 3; mount -t tmpfs -o size=576k kelvara \"$m\" && "
                "cp -a \"$e/.\" \"$m/\" || exit 99; \"$@\"; rc=$?; cp -a \"$m/.\" \"$s/\"; exit $rc");
            r = runBatch(args, {"unshare", "-rm", "sh", "-c", script, "sh", out, earlier, seen});
            if (r.exitCode == 99 || r.exitCode == -1)
                QSKIP("no tmpfs can be mounted here; the file size limit row stands in");
        } else {
            testfaults::FileSizeLimit limit(256 * 1024);
            QVERIFY(limit.active());
            r = runBatch(args);
        }
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("cannot write '" + out + "/healthy/") && r.err.contains(reason),
                 qPrintable(r.err));
        QStringList left;
        for (QDirIterator it(seen, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                             QDirIterator::Subdirectories);
             it.hasNext();) {
            const QFileInfo entry(it.next());
            QVERIFY2(entry.isDir() || entry.size() > 0, qPrintable(entry.filePath()));
            left << QDir(seen).relativeFilePath(entry.filePath());
        }
        left.sort();
        QCOMPARE(left, (QStringList{"healthy", "healthy/.kelvara-case", "healthy/result.json",
                                    "report.html", "summary.csv"}));
        const QJsonObject result = readJson(seen + "/healthy/result.json");
        QVERIFY(result.keys() == QStringList({"case", "error", "project"}) &&
                result.value("error").toString().contains(reason));
        QVERIFY(summaryLines(seen).value(1).startsWith("healthy," + project + ",,failed,"));
    }

    void samples_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("pathology");
        QTest::newRow("lesion") << "lesion" << true;
        QTest::newRow("healthy") << "healthy" << false;
    }

    // The verdict, the automatic mask bounds and the suspicious pixels against what the tool
    // wrote.
    void samples()
    {
        QFETCH(QString, name);
        QFETCH(bool, pathology);
        const QString out = tmp.filePath("samples");
        const Run r = runBatch({"--out", out, "--planes", "--small-area", "20", "--pathology", "50",
                                kSamples + "/" + name + ".kelvara"});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QString dir = out + "/" + name + "/";
        const QJsonObject result = readJson(dir + "result.json");
        QCOMPARE(result.value("pathology").toBool(), pathology);
        QCOMPARE(result.value("verdict").toString(), pathology
                                                         ? QString("SIGNIFICANT PATHOLOGY DETECTED")
                                                         : QString("NO PATHOLOGY DETECTED"));

        const QJsonObject intervals = result.value("intervals").toObject();
        // The suspicious pixels counted again on the solution plane written (values above 1
        // count as 1), where the generator drew the lesion.
        Npy solution;
        QVERIFY(readNpy(dir + "solution.npy", &solution));
        QVERIFY(solution.rows == 512 && solution.cols == 512);
        const double lo = intervals.value("ResultMin").toDouble() / 255.0;
        const double hi = intervals.value("ResultMax").toDouble() / 255.0;
        int suspicious = 0, minX = 512, maxX = -1, minY = 512, maxY = -1;
        for (int y = 0; y < 512; ++y)
            for (int x = 0; x < 512; ++x)
                if (const double v = std::min(solution.at(y, x), 1.0); v >= lo && v <= hi) {
                    ++suspicious;
                    minX = std::min(minX, x), maxX = std::max(maxX, x);
                    minY = std::min(minY, y), maxY = std::max(maxY, y);
                }
        QCOMPARE(result.value("suspiciousPixels").toInt(), suspicious);
        if (pathology) {
            // One area, on the side and at the place the generator drew the lesion: right of
            // the midline and below the gland's centre, about 15 px across.
            QVERIFY(suspicious >= 50);
            QCOMPARE(result.value("keptAreaPixels").toInt(), suspicious);
            QVERIFY(result.value("averageSignal").toDouble() > 0.0);
            QVERIFY2(
                minX > 256 && maxX < 256 + 30 && minY > 256 && maxY < 256 + 30,
                qPrintable(QString("%1..%2 x %3..%4").arg(minX).arg(maxX).arg(minY).arg(maxY)));
        } else {
            QCOMPARE(suspicious, 0);
            QCOMPARE(result.value("keptAreaPixels").toInt(), 0);
            // No positive solution value: the average is undefined, written as null (a 0 would
            // read as a measured signal).
            QVERIFY2(result.value("averageSignal").isNull(),
                     qPrintable(result.value("averageSignal").toVariant().toString()));
        }
        const QStringList pngs = QDir(dir).entryList({"*.png"});
        QCOMPARE(pngs.size(), 22);
    }

    // Options reach the analysis: spectrum mode, product and area threshold.
    void optionEffects()
    {
        const QString base = tmp.filePath("opt-base"), other = tmp.filePath("opt-other");
        QCOMPARE(runBatch({"--out", base, kSamples + "/lesion.kelvara"}).exitCode, 0);
        QCOMPARE(runBatch({"--out", other, "--direct-spectrum", "--product", "DWI,ADC",
                           "--small-area", "2000", kSamples + "/lesion.kelvara"})
                     .exitCode,
                 0);
        QVERIFY(QImage(base + "/lesion/dwi_spectrum.png") !=
                QImage(other + "/lesion/dwi_spectrum.png"));
        // No modality in the product: 1 everywhere, white.
        const QImage white(base + "/lesion/product.png");
        QCOMPARE(QColor(white.pixel(10, 10)).value(), 255);
        QVERIFY(QImage(other + "/lesion/product.png") != white);
        // Far above the lesion: nothing is kept, while the pathology threshold 0 is met.
        const QJsonObject r = readJson(other + "/lesion/result.json");
        QCOMPARE(r.value("keptAreaPixels").toInt(), 0);
        QVERIFY(r.value("suspiciousPixels").toInt() > 0);
        QCOMPARE(r.value("pathology").toBool(), true);
    }
};

QTEST_GUILESS_MAIN(TestBatch)
#include "test_batch.moc"
