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
using Edit = std::function<void(int, DcmDataset&)>; // image index, its data set

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

    // Series 9.9.1 of `count` axial images in `checks/<sub>`: file sI at z = 3 i, Instance Number
    // count - i, b-value b[i] when given; each then changed by `edit`. Returns the folder.
    QString writeSeries(const QString& sub, const Edit& edit = {}, int count = 4,
                        const std::vector<double>& b = {}) const
    {
        const QString folder = dir.filePath("checks/" + sub);
        if (!QDir().mkpath(folder))
            return QString();
        for (int i = 0; i < count; ++i) {
            Header h{"9.9.1", "checked"};
            h.instance = count - i;
            const QString file = folder + QStringLiteral("/s%1").arg(i);
            const double bi = size_t(i) < b.size() ? b[size_t(i)] : -1;
            if (!writeDicom(file, h, {{i, {0, 0, 3.0 * i}, bi}}) ||
                (edit && !editDicom(file, [&](DcmDataset& d) { edit(i, d); })))
                return QString();
        }
        return folder;
    }
    // An enhanced file "multi" of series 9.9.2 with `frames` frames at z = 4 f (stored in reverse
    // order), changed by `edit` (index -1).
    QString writeEnhanced(const QString& sub, const Edit& edit, int frames = 3) const
    {
        const QString folder = dir.filePath("checks/" + sub);
        Header h{"9.9.2", "enhanced"};
        h.enhanced = true;
        std::vector<Frame> list;
        for (int f = 0; f < frames; ++f)
            list.push_back({f, {0, 0, 4.0 * (frames - 1 - f)}});
        if (!QDir().mkpath(folder) || !writeDicom(folder + "/multi", h, list) ||
            !editDicom(folder + "/multi", [&](DcmDataset& d) { edit(-1, d); }))
            return QString();
        return folder;
    }

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
        QCOMPARE(seriesListRow(s).join('\t'), kSeriesLines[index] + '\t' + folder());
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

    void seriesAreChecked_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QStringList>("fault");   // parts of the refusal; empty: usable
        QTest::addColumn<QStringList>("warning"); // parts of the warnings; empty: none
        QTest::addColumn<QStringList>("order");   // file#frame by position, when usable
        const QStringList none, byZ{"s0#0", "s1#0", "s2#0", "s3#0"};
        auto at = [](int which, const char* value, const DcmTagKey& key = DCM_ImagePositionPatient) {
            return Edit([=](int i, DcmDataset& d) {
                if (i == which)
                    d.putAndInsertString(key, value);
            });
        };
        auto without = [](int which, const DcmTagKey& key) {
            return Edit([=](int i, DcmDataset& d) {
                if (which < 0 || i == which)
                    d.findAndDeleteElement(key);
            });
        };
        const QString p = dir.filePath("checks/");
        QTest::newRow("clean") << writeSeries("clean") << none << none << byZ;
        QTest::newRow("position NaN") << writeSeries("nan", at(2, "NaN\\0\\0")) << QStringList{
            p + "nan/s2\": Image Position (Patient) is \"NaN\\0\\0\", not 3 finite"} << none << none;
        QTest::newRow("position inf") << writeSeries("inf", at(1, "0\\inf\\3"))
                                      << QStringList{p + "inf/s1\": Image Position"} << none << none;
        QTest::newRow("position of 2 values") << writeSeries("two", at(3, "0\\0"))
            << QStringList{p + "two/s3\": Image Position (Patient) holds 2 value(s)"} << none << none;
        QTest::newRow("position of 4 values") << writeSeries("four", at(0, "0\\0\\0\\1"))
            << QStringList{p + "four/s0\": Image Position (Patient) holds 4 value(s)"} << none << none;
        QTest::newRow("position missing in one image")
            << writeSeries("missing", without(1, DCM_ImagePositionPatient))
            << QStringList{"1 of its 4 images have no Image Position (Patient) while others have: \"" +
                           p + "missing/s1\""}
            << none << none;
        QTest::newRow("no position anywhere: Instance Number order")
            << writeSeries("unplaced", without(-1, DCM_ImagePositionPatient)) << none
            << QStringList{"has an Image Position (Patient): its 4 images are in Instance Number order"}
            << QStringList{"s3#0", "s2#0", "s1#0", "s0#0"};
        QTest::newRow("orientation all zeros")
            << writeSeries("zeros", at(1, "0\\0\\0\\0\\0\\0", DCM_ImageOrientationPatient))
            << QStringList{p + "zeros/s1\": Image Orientation (Patient) 0,0,0,0,0,0: its row and "
                                "column vectors are not unit vectors"}
            << none << none;
        QTest::newRow("orientation NaN")
            << writeSeries("onan", at(0, "1\\0\\0\\0\\nan\\0", DCM_ImageOrientationPatient))
            << QStringList{p + "onan/s0\": Image Orientation (Patient) is"} << none << none;
        QTest::newRow("orientation parallel vectors")
            << writeSeries("parallel", at(2, "1\\0\\0\\1\\0\\0", DCM_ImageOrientationPatient))
            << QStringList{p + "parallel/s2\": Image Orientation (Patient) 1,0,0,1,0,0: its row and "
                                "column vectors are not perpendicular (0.0 degrees apart)"}
            << none << none;
        // Tolerances at their boundaries: lengths 1 +- 0.01, cosine 0.01.
        QTest::newRow("row 1.0099 long: unit") << writeSeries("long-ok", Edit([](int, DcmDataset& d) {
            d.putAndInsertString(DCM_ImageOrientationPatient, "1.0099\\0\\0\\0\\1\\0");
        })) << none << none << byZ;
        QTest::newRow("row 1.0101 long: refused")
            << writeSeries("long", at(1, "1.0101\\0\\0\\0\\1\\0", DCM_ImageOrientationPatient))
            << QStringList{p + "long/s1\"", "not unit vectors (lengths 1.01 and 1)"} << none << none;
        QTest::newRow("cosine 0.0099: perpendicular")
            << writeSeries("cos-ok", Edit([](int, DcmDataset& d) {
                   d.putAndInsertString(DCM_ImageOrientationPatient, "1\\0\\0\\0.0099\\0.99995099\\0");
               })) << none << none << byZ;
        QTest::newRow("cosine 0.0101: refused")
            << writeSeries("cos", at(3, "1\\0\\0\\0.0101\\0.99994899\\0", DCM_ImageOrientationPatient))
            << QStringList{p + "cos/s3\"", "not perpendicular (89.4 degrees apart)"} << none << none;
        QTest::newRow("orientation missing in one image")
            << writeSeries("noori", without(2, DCM_ImageOrientationPatient))
            << QStringList{"1 of its 4 images have no Image Orientation (Patient): \"" + p +
                           "noori/s2\""}
            << none << none;
        QTest::newRow("two images at one position")
            << writeSeries("twice", at(3, "0\\0\\3"))
            << QStringList{"\"" + p + "twice/s3\" and \"" + p + "twice/s1\" lie at one position (3.000 mm"}
            << none << none;
        QTest::newRow("0.001 mm apart: one position")
            << writeSeries("close", at(3, "0\\0\\3.001"))
            << QStringList{p + "close/s1\" and \"" + p + "close/s3\" lie at one position"} << none
            << none;
        QTest::newRow("0.002 mm apart: two positions")
            << writeSeries("apart", at(3, "0\\0\\3.002")) << none << none
            << QStringList{"s0#0", "s1#0", "s3#0", "s2#0"};
        QTest::newRow("one position, two b-values")
            << writeSeries("twob", at(3, "0\\0\\3"), 4, {0, 500, 0, 1000}) << none << none
            << QStringList{"s0#0", "s3#0", "s1#0", "s2#0"}; // one position: Instance Number
        QTest::newRow("one position, both b 500")
            << writeSeries("sameb", at(3, "0\\0\\3"), 4, {0, 500, 0, 500})
            << QStringList{"sameb/s1\" lie at one position (3.000 mm along the slice normal, both b = 500)"}
            << none << none;
        // b-values that cannot be are reported and not used (never read as 0); the bounds hold.
        auto bValue = [](int which, double b) {
            return Edit([=](int i, DcmDataset& d) {
                if (i == which)
                    d.putAndInsertFloat64(DCM_DiffusionBValue, b);
            });
        };
        const std::vector<double> zeros(4, 0.0);
        for (const auto& [name, b] : std::vector<std::pair<const char*, double>>{
                 {"NaN", kNoValue}, {"inf", HUGE_VAL}, {"-5", -5}, {"1e300", 1e300},
                 {"100000.01", 100000.01}, {"-0.01", -0.01}})
            QTest::addRow("b-value %s", name)
                << writeSeries(QStringLiteral("b%1").arg(name), bValue(2, b), 4, zeros) << none
                << QStringList{p + QStringLiteral("b%1/s2\": Diffusion b-value is ").arg(name),
                               ", not a number from 0 to 100000 s/mm^2: the image is read as "
                               "having no b-value"}
                << byZ;
        QTest::newRow("b-value 100000") << writeSeries("bmax", bValue(2, 100000), 4, zeros) << none
                                        << none << byZ;

        // Enhanced multi-frame files.
        auto items = [](int change) {
            return Edit([=](int, DcmDataset& d) {
                DcmSequenceOfItems* groups = nullptr;
                d.findAndGetSequence(DCM_PerFrameFunctionalGroupsSequence, groups);
                if (change < 0)
                    delete groups->remove(groups->card() - 1);
                else
                    groups->append(new DcmItem(*groups->getItem(0)));
            });
        };
        QTest::newRow("enhanced, clean") << writeEnhanced("e-clean", [](int, DcmDataset&) {})
                                         << none << none
                                         << QStringList{"multi#2", "multi#1", "multi#0"};
        QTest::newRow("per-frame items fewer than frames")
            << writeEnhanced("e-fewer", items(-1))
            << QStringList{p + "e-fewer/multi\": its Per-frame Functional Groups Sequence holds 2 "
                                "item(s) for 3 frame(s)"}
            << none << none;
        QTest::newRow("per-frame items more than frames")
            << writeEnhanced("e-more", items(1))
            << QStringList{p + "e-more/multi\": its Per-frame Functional Groups Sequence holds 4 "
                                "item(s) for 3 frame(s)"}
            << none << none;
        QTest::newRow("a frame without a position")
            << writeEnhanced("e-noposition", [](int, DcmDataset& d) {
                   DcmItem* group = nullptr;
                   d.findAndGetSequenceItem(DCM_PerFrameFunctionalGroupsSequence, group, 1);
                   group->findAndDeleteElement(DCM_PlanePositionSequence);
               })
            << QStringList{p + "e-noposition/multi\" frame 1: Image Position (Patient) is missing"}
            << none << none;
        QTest::newRow("one frame's pixel spacing differs")
            << writeEnhanced("e-spacing", [](int, DcmDataset& d) {
                   perFrameMacro(d, 2, DCM_PixelMeasuresSequence)
                       ->putAndInsertString(DCM_PixelSpacing, "0.7\\0.9");
               })
            << QStringList{"different pixel spacings (\"" + p + "e-spacing/multi\" frame 2 has 0.7,0.9, \"" +
                           p + "e-spacing/multi\" frame 1 has 0.8,0.9)"}
            << none << none;
        QTest::newRow("every frame's pixel spacing and orientation override the shared ones")
            << writeEnhanced("e-override", [](int, DcmDataset& d) {
                   for (long f = 0; f < 3; ++f) {
                       perFrameMacro(d, f, DCM_PixelMeasuresSequence)
                           ->putAndInsertString(DCM_PixelSpacing, "0.6\\0.7");
                       perFrameMacro(d, f, DCM_PlaneOrientationSequence)
                           ->putAndInsertString(DCM_ImageOrientationPatient, "1\\0\\0\\0\\-1\\0");
                   }
               })
            << none << none << QStringList{"multi#0", "multi#1", "multi#2"}; // the normal is -z

        // Files that cannot be read: in the middle of the series, series unknown.
        const QString cut = writeSeries("cut");
        QFile cutFile(cut + "/s2");
        QVERIFY(cutFile.resize(cutFile.size() - 100));
        QTest::newRow("a file cut short") << cut
            << QStringList{p + "cut/s2\": ", "truncated", "its series is not known"} << none << none;
        const QString dangling = writeSeries("dangling");
        QVERIFY(QFile::link(dangling + "/gone", dangling + "/s9"));
        QTest::newRow("a broken link") << dangling
            << QStringList{p + "dangling/s9\": file not found (its series is not known"} << none << none;
    }

    void seriesAreChecked()
    {
        QFETCH(QString, folder);
        QFETCH(QStringList, fault);
        QFETCH(QStringList, warning);
        QFETCH(QStringList, order);
        QVERIFY(!folder.isEmpty());
        const QString text = message([&] {
            const DicomScan checked = scanDicomSeries(folder);
            QCOMPARE(checked.series.size(), size_t(1));
            const DicomSeries& s = checked.series.front();
            const QString warnings = s.warnings.join('\n');
            for (const QString& part : warning)
                QVERIFY2(warnings.contains(part), qPrintable(warnings));
            if (warning.isEmpty())
                QVERIFY2(warnings.isEmpty(), qPrintable(warnings));
            QStringList actual;
            for (const DicomSeriesImage& image : s.images)
                actual << QFileInfo(image.file).fileName() + '#' + QString::number(image.frame);
            s.loadImage(0); // must refuse a faulty series as well
            s.requireUsable();
            QCOMPARE(actual, order);
            QVERIFY(!std::isnan(s.pixelSpacing[0]));
            if (folder.endsWith("e-override"))
                QCOMPARE(s.pixelSpacing, (std::array<double, 2>{0.6, 0.7}));
        });
        if (fault.isEmpty())
            QCOMPARE(text, QStringLiteral("no exception"));
        for (const QString& part : fault)
            QVERIFY2(text.contains(part), qPrintable(text));
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
                                << header + (kSeriesLines.join('\t' + folder() + '\n') + '\t' + folder() + '\n')
                                << "skipped: Cannot read DICOM file \"" + folder() + "/pipe\": is a FIFO";
        QTest::newRow("one file") << QStringList{"--list-series=" + folder() + "/f3"} << 0
                                  << header + "1.2.3.1\tMR\tT2 axial\t1\t1,0,0,0,1,0\t0.5,0.5\t-\t" + folder() + "/f3\n"
                                  << QString();
        // Two samples per pixel, 4:2:2: the frame-count check once mistook it for three.
        const QString ybr = QStringLiteral(
            "/usr/lib/python3/dist-packages/pydicom/data/test_files/SC_ybr_full_422_uncompressed.dcm");
        if (QFile::exists(ybr))
            QTest::newRow("pydicom's YBR_FULL_422 file")
                << QStringList{"--list-series", ybr} << 0
                << header + "1.2.826.0.1.3680043.8.498.16157229083793556332623330502397121062\tOT\t-"
                            "\t1\t-\t1,1\t-\t" + ybr + "\n"
                << QString();
        QTest::newRow("empty folder") << QStringList{"--list-series", other("empty")} << 1 << QString()
                                      << other("empty");
        // A description is the scanner's text: an escape sequence in it stays text (a tab is a space).
        const QString shouting = other("shouting");
        QVERIFY(QDir().mkpath(shouting));
        QVERIFY(writeDicom(shouting + "/1", Header{"7.9", "\x1b]0;owned\x07red\tcell"}, {{0, {0, 0, 0}}}));
        QTest::newRow("control characters in a description")
            << QStringList{"--list-series", shouting} << 0
            << header + "7.9\tMR\t\\x1b]0;owned\\x07red cell\t1\t1,0,0,0,1,0\t0.5,0.5\t-\t" +
                   shouting + "\n"
            << QString();
        // A study whose series lie in subfolders, with a link back up and a file cut short.
        const QString study = dir.filePath("study");
        QVERIFY(QDir().mkpath(study + "/a") && QDir().mkpath(study + "/b/c"));
        Header a{"7.1", "series a"}, c{"7.2", "series c"};
        QVERIFY(writeDicom(study + "/a/1", a, {{0, {0, 0, 0}}}) &&
                writeDicom(study + "/a/2", a, {{1, {0, 0, 3}}}) &&
                writeDicom(study + "/a/3", a, {{2, {0, 0, 6}}}) &&
                writeDicom(study + "/b/c/1", c, {{0, {0, 0, 0}}}));
        QFile cut(study + "/a/3");
        QVERIFY(cut.resize(cut.size() - 100));
        QVERIFY(QFile::link(study, study + "/b/loop"));
        const QString rowA = "7.1\tMR\tseries a\t2\t1,0,0,0,1,0\t0.5,0.5\t-\t" + study + "/a\n";
        const QString rowC = "7.2\tMR\tseries c\t1\t1,0,0,0,1,0\t0.5,0.5\t-\t" + study + "/b/c\n";
        QTest::newRow("study: every folder below, a loop listed once, a note for a cut file")
            << QStringList{"--list-series", study} << 0 << header + rowA + rowC
            << "note: skipped: Cannot read DICOM file \"" + study + "/a/3\": the file is truncated";
        QTest::newRow("study: a series with an unreadable file cannot be used")
            << QStringList{"--list-series", study} << 0 << header + rowA + rowC
            << "note: Cannot use DICOM series \"7.1\" of \"" + study + "/a\"";
        QTest::newRow("study: the link back is a note")
            << QStringList{"--list-series", study} << 0 << header + rowA + rowC
            << "note: \"" + study + "/b/loop\" leads back to";
        // Folders 8 below the path are listed, 9 below are not.
        QString deep = dir.filePath("deep");
        for (int level = 1; level <= 9; ++level) {
            deep += QStringLiteral("/%1").arg(level);
            QVERIFY(QDir().mkpath(deep));
            QVERIFY(writeDicom(deep + "/i", Header{QByteArray::number(level), {}}, {{0, {0, 0, 0}}}));
        }
        QString rows = header;
        for (int level = 1; level <= 8; ++level) {
            QString path = dir.filePath("deep");
            for (int l = 1; l <= level; ++l)
                path += QStringLiteral("/%1").arg(l);
            rows += QStringLiteral("%1\tMR\t-\t1\t1,0,0,0,1,0\t0.5,0.5\t-\t%2\n").arg(level).arg(path);
        }
        QTest::newRow("8 folders deep listed, 9 not")
            << QStringList{"--list-series", dir.filePath("deep")} << 0 << rows
            << "/7/8\" are not listed: it lies 8 folder(s) below";
        QTest::newRow("with a project") << QStringList{"--list-series", folder(), "a.kelvara"} << 2
                                        << QString() << "takes no project";
    }

    void treeEntryLimit_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("folders");
        QTest::addColumn<bool>("stopped");
        // exam holds 54 entries (52 DICOM files, the FIFO, the text file); other/mixed 2.
        QTest::newRow("at the limit") << 56 << 2 << false;
        QTest::newRow("one below") << 55 << 1 << true;
    }

    void treeEntryLimit()
    {
        QFETCH(int, limit);
        QFETCH(int, folders);
        QFETCH(bool, stopped);
        const QString root = dir.filePath("limit");
        QVERIFY(QDir().mkpath(root));
        QFile::link(folder(), root + "/1");
        QFile::link(other("mixed"), root + "/2");
        DicomTreeScan tree;
        QCOMPARE(message([&] { tree = scanDicomTree(root, kSeriesTreeDepth, limit); }),
                 QStringLiteral("no exception"));
        QCOMPARE(int(tree.folders.size()), folders);
        QCOMPARE(tree.notes.join('\n').contains("the listing stops at \"" + root + "/2\": it would "
                                                "pass " + QString::number(limit)),
                 stopped);
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
