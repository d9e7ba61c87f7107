// Series scanning, ordering and frame reading on a folder the test writes with DCMTK: a T2
// series, a localizer, a DWI series with three b-values per position, an enhanced multi-frame
// ADC file, a text file and a FIFO. (JPEG 2000 frames are test_dicomutil's.)
#include "DICOMUtil.h"
#include "DicomError.h"
#include "DicomSeries.h"
#include "DicomTestWriter.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpls/djencode.h>

#include <cmath>
#include <sys/stat.h>
#include <functional>

using namespace kelvara;
using namespace dicomtest;
using Action = std::function<void()>;
Q_DECLARE_METATYPE(Action)

namespace {

QString message(const Action& action)
{
    try {
        action();
    } catch (const DicomError& e) {
        return QString::fromUtf8(e.what());
    }
    return QStringLiteral("no exception");
}

// The folder's series as --list-series prints them, by Series Number.
const QStringList kSeriesLines = {
    "1.2.3.2\tMR\tlocalizer\t3\t0,1,0,0,0,-1\t0.5,0.5\t-",
    "1.2.3.1\tMR\tT2 axial\t12\t1,0,0,0,1,0\t0.5,0.5\t-",
    "1.2.3.3\tMR\tDWI\t36\t1,0,0,0,1,0\t0.5,0.5\t0,500,1000",
    "1.2.3.4\tMR\tADC\t6\t1,0,0,0,0.8,-0.6\t0.8,0.9\t1000",
};
const int kAdcOrder[] = {3, 0, 5, 1, 4, 2}; // slice held by each frame of the ADC file

double t2Z(int i)
{
    return -20 + 3 * i;
}

} // namespace

class TestDicomSeries : public QObject
{
    Q_OBJECT

private:
    QString folder() const { return dir.filePath(QStringLiteral("exam")); }
    QString other(const QString& name) const { return dir.filePath("other/" + name); }

    QTemporaryDir dir;
    DicomScan scan;
    QMap<QString, QStringList> order; // uid: "file#frame" by position

private slots:
    void initTestCase()
    {
        DcmRLEEncoderRegistration::registerCodecs();
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
        for (const char* sub : {"exam", "other/empty", "other/mixed", "other/broken"})
            QVERIFY(QDir(dir.path()).mkpath(QLatin1String(sub)));
        const QDir exam(folder());

        // T2: Instance Number runs against the position, file names follow neither.
        Header t2{"1.2.3.1", "T2 axial"};
        for (int i = 0; i < 12; ++i) {
            t2.instance = 12 - i;
            const QString name = QStringLiteral("f%1").arg((i * 7 + 3) % 12);
            QVERIFY(writeDicom(exam.filePath(name), t2, {{i, {7.0 * (i % 3), -3, t2Z(i)}}}));
            order["1.2.3.1"] << name + "#0";
        }
        // Localizer, sagittal: its normal is -x, so x = 10 comes first.
        Header loc{"1.2.3.2", "localizer"};
        loc.seriesNumber = 0;
        loc.orientation = {0, 1, 0, 0, 0, -1};
        for (int i = 0; i < 3; ++i) {
            loc.instance = i + 1;
            QVERIFY(writeDicom(exam.filePath(QStringLiteral("loc%1").arg(i)), loc,
                               {{i, {-10.0 + 10 * i, 0, 0}}}));
            order["1.2.3.2"].prepend(QStringLiteral("loc%1#0").arg(i));
        }
        // DWI: numbered b-value by b-value, as scanners do; each position holds b 0, 500, 1000.
        Header dwi{"1.2.3.3", "DWI"};
        dwi.seriesNumber = 2;
        const double bs[] = {0, 500, 1000};
        for (int k = 0; k < 3; ++k)
            for (int i = 0; i < 12; ++i) {
                dwi.instance = 1 + k * 12 + i;
                const QString name = QStringLiteral("d%1").arg(dwi.instance * 5 % 37);
                QVERIFY(writeDicom(exam.filePath(name), dwi, {{i, {0, 0, t2Z(i) + 1}, bs[k]}}));
            }
        for (int i = 0; i < 12; ++i)
            for (int k = 0; k < 3; ++k)
                order["1.2.3.3"] << QStringLiteral("d%1#0").arg((1 + k * 12 + i) * 5 % 37);
        // ADC, enhanced, oblique (normal (0, 0.6, 0.8)), frames out of position order; frames 0
        // and 2 carry their own window.
        Header adc{"1.2.3.4", "ADC"};
        adc.seriesNumber = 3;
        adc.enhanced = true;
        adc.orientation = {1, 0, 0, 0, 0.8, -0.6};
        std::vector<Frame> frames;
        for (int f = 0; f < 6; ++f) {
            const int s = kAdcOrder[f];
            // Normal position 5 * s; the in-plane offset (2, 0.8 * 4, -0.6 * 4) must not count.
            frames.push_back({s, {2, 0.6 * 5 * s + 3.2, 0.8 * 5 * s - 2.4}, 1000});
            if (f % 2 == 0) {
                frames.back().center = QByteArray::number(100 + 20 * s);
                frames.back().width = "150";
            }
            QVERIFY(writeDicom(other(QStringLiteral("ref%1").arg(s)), Header{}, {frames.back()}));
        }
        QVERIFY(writeDicom(exam.filePath(QStringLiteral("adc")), adc, frames));
        for (int s = 0; s < 6; ++s)
            order["1.2.3.4"] << QStringLiteral("adc#%1").arg(std::find(kAdcOrder, kAdcOrder + 6, s) -
                                                             kAdcOrder);
        // Opening a FIFO would block the scan for ever.
        QVERIFY(::mkfifo(QFile::encodeName(exam.filePath(QStringLiteral("pipe"))), 0600) == 0);
        QFile notes(exam.filePath(QStringLiteral("notes.txt")));
        QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write("Patient 7: T2 and DWI\n") > 0);
        notes.close();

        // The ADC file in other encodings; small 8- and 1-bit frames that start inside a word.
        for (const E_TransferSyntax syntax :
             {EXS_LittleEndianImplicit, EXS_BigEndianExplicit, EXS_DeflatedLittleEndianExplicit,
              EXS_RLELossless, EXS_JPEGProcess14SV1, EXS_JPEGLSLossless})
            QVERIFY(writeDicom(other(QStringLiteral("adc-%1").arg(int(syntax))), adc, frames, syntax));
        for (const int bits : {8, 1}) {
            Header small;
            small.side = 5;
            small.bits = bits;
            QVERIFY(writeDicom(other(QStringLiteral("bits%1").arg(bits)), small, {{0}, {1}, {2}},
                               bits == 8 ? EXS_BigEndianExplicit : EXS_LittleEndianExplicit));
            for (int id = 0; id < 3; ++id)
                QVERIFY(
                    writeDicom(other(QStringLiteral("bits%1-ref%2").arg(bits).arg(id)), small, {{id}}));
        }
        // One series whose last image is tilted; a folder whose only DICOM file is cut short.
        Header mixed{"1.2.3.9", "mixed"};
        QVERIFY(writeDicom(other("mixed/a"), mixed, {{0, {0, 0, 0}}}));
        mixed.orientation = {1, 0, 0, 0, 0.8, -0.6};
        QVERIFY(writeDicom(other("mixed/b"), mixed, {{1, {0, 0, 9}}}));
        QVERIFY(writeDicom(other("broken/cut"), mixed, {{1}}));
        QFile cut(other("broken/cut"));
        QVERIFY(cut.resize(cut.size() - 100));

        scan = scanDicomSeries(folder());
    }

    void seriesAreGroupedAndSummarised_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<double>("thickness");
        QTest::addColumn<double>("spacing");
        QTest::newRow("localizer") << 0 << 3.0 << 10.0;
        QTest::newRow("T2") << 1 << 3.0 << 3.0;
        QTest::newRow("DWI, three b-values per position") << 2 << 3.0 << 3.0;
        QTest::newRow("enhanced ADC") << 3 << 4.0 << 5.0;
    }

    void seriesAreGroupedAndSummarised()
    {
        QFETCH(int, index);
        QFETCH(double, thickness);
        QFETCH(double, spacing);
        QCOMPARE(scan.series.size(), size_t(4));
        QCOMPARE(scan.problems, QStringList{"Cannot read DICOM file \"" + folder() +
                                            "/pipe\": is a FIFO, not a regular file"});
        const DicomSeries& s = scan.series[size_t(index)];
        QCOMPARE(seriesListRow(s).join('\t'), kSeriesLines[index]);
        QCOMPARE(s.sliceThickness, thickness);
        QVERIFY2(std::abs(s.sliceSpacing - spacing) < 1e-9,
                 qPrintable(QString::number(s.sliceSpacing)));
    }

    void imagesFollowTheSliceNormal_data()
    {
        QTest::addColumn<QString>("uid");
        QTest::addColumn<double>("first");
        QTest::addColumn<double>("step"); // between positions
        QTest::addColumn<int>("perPosition");
        QTest::newRow("T2, instance numbers reversed") << "1.2.3.1" << -20.0 << 3.0 << 1;
        QTest::newRow("localizer, normal -x") << "1.2.3.2" << -10.0 << 10.0 << 1;
        QTest::newRow("DWI, then by instance number") << "1.2.3.3" << -19.0 << 3.0 << 3;
        QTest::newRow("enhanced ADC, per-frame positions") << "1.2.3.4" << 0.0 << 5.0 << 1;
    }

    void imagesFollowTheSliceNormal()
    {
        QFETCH(QString, uid);
        QFETCH(double, first);
        QFETCH(double, step);
        QFETCH(int, perPosition);
        const DicomSeries& s = scan.find(uid);
        QStringList actual;
        for (size_t i = 0; i < s.images.size(); ++i) {
            const DicomSeriesImage& image = s.images[i];
            actual << QFileInfo(image.file).fileName() + '#' + QString::number(image.frame);
            const double expected = first + step * double(int(i) / perPosition);
            QVERIFY2(std::abs(image.normalPosition - expected) < 1e-9,
                     qPrintable(QStringLiteral("image %1 at %2").arg(i).arg(image.normalPosition)));
        }
        QCOMPARE(actual, order[uid]);
    }

    void frameEqualsSingleFrameFile_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("frame");
        QTest::addColumn<QString>("reference");
        for (int f = 0; f < 6; ++f)
            QTest::addRow("ADC frame %d%s", f, f % 2 ? "" : ", own window")
                << folder() + "/adc" << f << other(QStringLiteral("ref%1").arg(kAdcOrder[f]));
        for (const E_TransferSyntax syntax :
             {EXS_LittleEndianImplicit, EXS_BigEndianExplicit, EXS_DeflatedLittleEndianExplicit,
              EXS_RLELossless, EXS_JPEGProcess14SV1, EXS_JPEGLSLossless})
            for (const int f : {1, 5})
                QTest::addRow("ADC frame %d, %s", f, DcmXfer(syntax).getXferName())
                    << other(QStringLiteral("adc-%1").arg(int(syntax))) << f
                    << other(QStringLiteral("ref%1").arg(kAdcOrder[f]));
        for (const int bits : {8, 1})
            for (const int f : {1, 2})
                QTest::addRow("%d-bit 5 x 5 frame %d", bits, f)
                    << other(QStringLiteral("bits%1").arg(bits)) << f
                    << other(QStringLiteral("bits%1-ref%2").arg(bits).arg(f));
    }

    void frameEqualsSingleFrameFile()
    {
        QFETCH(QString, file);
        QFETCH(int, frame);
        QFETCH(QString, reference);
        DICOMUtil reader;
        try {
            const QImage expected = reader.loadImage(reference);
            QVERIFY(!expected.isNull());
            QCOMPARE(reader.loadImage(file, frame), expected);
        } catch (const DicomError& e) {
            QFAIL(e.what());
        }
    }

    void nearestSlice_data()
    {
        QTest::addColumn<double>("position"); // on the T2 normal; NaN: use DWI image `dwiImage`
        QTest::addColumn<int>("dwiImage");
        QTest::addColumn<int>("index");
        QTest::addColumn<double>("distance");
        const double none = kNoValue;
        QTest::newRow("between") << -18.9 << 0 << 0 << 1.1;
        QTest::newRow("midway: the lower index") << -15.5 << 0 << 1 << 1.5;
        QTest::newRow("below the first") << -30.0 << 0 << 0 << 10.0;
        QTest::newRow("beyond the last") << 100.0 << 0 << 11 << 87.0;
        QTest::newRow("DWI image 7 (b 500 at -13)") << none << 7 << 2 << 1.0;
    }

    void nearestSlice()
    {
        QFETCH(double, position);
        QFETCH(int, dwiImage);
        QFETCH(int, index);
        QFETCH(double, distance);
        const DicomSeries& t2 = scan.find("1.2.3.1");
        const NearestSlice n = std::isnan(position) ? t2.nearestSliceTo(scan.find("1.2.3.3"), dwiImage)
                                                    : t2.nearestSlice(position);
        QCOMPARE(n.index, index);
        QVERIFY2(std::abs(n.distance - distance) < 1e-9, qPrintable(QString::number(n.distance)));
    }

    void errorsNameThePath_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QStringList>("expected");
        const QString empty = other("empty"), missing = other("missing");
        QTest::newRow("empty folder") << Action([=] { scanDicomSeries(empty); })
                                      << QStringList{empty, "no DICOM image"};
        QTest::newRow("missing path") << Action([=] { scanDicomSeries(missing); })
                                      << QStringList{missing, "does not exist"};
        QTest::newRow("broken DICOM file")
            << Action([=] { scanDicomSeries(other("broken")); })
            << QStringList{other("broken"), other("broken/cut"), "truncated"};
        QTest::newRow("text file") << Action([=] { scanDicomSeries(folder() + "/notes.txt"); })
                                   << QStringList{folder() + "/notes.txt"};
        QTest::newRow("unknown series")
            << Action([=] { scan.find("9.9.9"); }) << QStringList{folder(), "\"9.9.9\""};
        const QString mixed = other("mixed");
        QTest::newRow("mixed orientations")
            << Action([=] { scanDicomSeries(mixed).series.at(0).loadImage(0); })
            << QStringList{mixed, "mixed orientations", other("mixed/b")};
        QTest::newRow("image index out of range") << Action([=] { scan.find("1.2.3.4").loadImage(6); })
                                                  << QStringList{folder(), "has 6 images"};
        QTest::newRow("frame out of range")
            << Action([=] { DICOMUtil().loadImage(folder() + "/adc", 6); })
            << QStringList{folder() + "/adc", "no frame 6"};
    }

    void errorsNameThePath()
    {
        QFETCH(Action, action);
        QFETCH(QStringList, expected);
        const QString text = message(action);
        for (const QString& part : expected)
            QVERIFY2(text.contains(part), qPrintable(text));
    }

    void listSeries_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err"); // a part of standard error; empty: nothing at all
        const QString header = seriesListHeader().join('\t') + '\n';
        QTest::newRow("folder") << QStringList{"--list-series", folder()} << 0
                                << header + kSeriesLines.join('\n') + '\n'
                                << "skipped: Cannot read DICOM file \"" + folder() + "/pipe\": is a FIFO";
        QTest::newRow("one file") << QStringList{"--list-series=" + folder() + "/f3"} << 0
                                  << header + "1.2.3.1\tMR\tT2 axial\t1\t1,0,0,0,1,0\t0.5,0.5\t-\n"
                                  << QString();
        // Two samples per pixel, 4:2:2: the frame-count check once mistook it for three.
        const QString ybr = QStringLiteral(
            "/usr/lib/python3/dist-packages/pydicom/data/test_files/SC_ybr_full_422_uncompressed.dcm");
        if (QFile::exists(ybr))
            QTest::newRow("pydicom's YBR_FULL_422 file")
                << QStringList{"--list-series", ybr} << 0
                << header + "1.2.826.0.1.3680043.8.498.16157229083793556332623330502397121062\tOT\t-"
                            "\t1\t-\t1,1\t-\n"
                << QString();
        QTest::newRow("empty folder") << QStringList{"--list-series", other("empty")} << 1 << QString()
                                      << other("empty");
        QTest::newRow("with a project") << QStringList{"--list-series", folder(), "a.kelvara"} << 2
                                        << QString() << "takes no project";
    }

    void listSeries()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QProcess batch;
        batch.start(QStringLiteral(KELVARA_BATCH_EXE), arguments);
        QVERIFY(batch.waitForFinished(60000) && batch.exitStatus() == QProcess::NormalExit);
        const QString stderrText = QString::fromLocal8Bit(batch.readAllStandardError());
        QCOMPARE(batch.exitCode(), exitCode);
        QCOMPARE(QString::fromLocal8Bit(batch.readAllStandardOutput()), out);
        QVERIFY2(err.isEmpty() ? stderrText.isEmpty() : stderrText.contains(err),
                 qPrintable(stderrText));
    }
};

QTEST_GUILESS_MAIN(TestDicomSeries)
#include "test_dicomseries.moc"
