#include "DICOMUtil.h"
#include "DicomError.h"
#include "DicomStructureGuard.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcuid.h>

#include <sys/stat.h>
#include <vector>

namespace {

using Anchors = QList<QPoint>; // x: linear pixel index, y: expected grey

// Little-endian samples of `bytes` bytes each.
QByteArray samples(const std::vector<qint64>& values, int bytes = 2)
{
    QByteArray out;
    for (const qint64 v : values)
        for (int b = 0; b < bytes; ++b)
            out.append(char(v >> (8 * b)));
    return out;
}

std::vector<qint64> ramp(qint64 from, int count, int step = 1)
{
    std::vector<qint64> v(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        v[size_t(i)] = from + qint64(i) * step;
    return v;
}

// Data elements written by hand (explicit VR little endian), so that files DCMTK would refuse
// to write can be made too.
QByteArray element(quint16 group, quint16 elem, const char* vr, QByteArray value,
                   qint64 declaredLength = -1)
{
    const QByteArray v(vr);
    const bool longHeader = v == "OB" || v == "OW" || v == "SQ" || v == "UN" || v == "UT";
    if (value.size() % 2)
        value.append(v == "UI" || v == "OB" ? '\0' : ' ');
    const qint64 length = declaredLength < 0 ? value.size() : declaredLength;
    return samples({group, elem}) + QByteArray(vr, 2) +
           (longHeader ? QByteArray(2, '\0') + samples({length}, 4) : samples({length})) + value;
}

QByteArray us(quint16 group, quint16 elem, quint16 value)
{
    return element(group, elem, "US", samples({value}));
}

QByteArray tag32(quint16 group, quint16 elem, quint32 length)
{
    return samples({group, elem}) + samples({length}, 4);
}

QByteArray metaHeader(const char* syntax)
{
    const QByteArray body = element(0x0002, 0x0001, "OB", QByteArray("\0\1", 2)) +
                            element(0x0002, 0x0002, "UI", UID_SecondaryCaptureImageStorage) +
                            element(0x0002, 0x0003, "UI", "1.2.3.4") +
                            element(0x0002, 0x0010, "UI", syntax);
    return QByteArray(128, '\0') + "DICM" +
           element(0x0002, 0x0000, "UL", samples({body.size()}, 4)) + body;
}

struct RawImage
{
    quint16 rows = 4, columns = 4, bitsAllocated = 16, bitsStored = 16, highBit = 15;
    quint16 pixelRepresentation = 0, samplesPerPixel = 1;
    int frames = 0; // absent when 0
    QByteArray photometric = "MONOCHROME2";
    QByteArray windowCenter, windowWidth; // absent when null
    QByteArray pixels = QByteArray(32, '\x11');
    qint64 pixelLength = -1; // declared length of Pixel Data when >= 0
};

QByteArray layout(const RawImage& r)
{
    return us(0x0028, 0x0002, r.samplesPerPixel) + element(0x0028, 0x0004, "CS", r.photometric) +
           (r.frames > 0 ? element(0x0028, 0x0008, "IS", QByteArray::number(r.frames))
                         : QByteArray()) +
           us(0x0028, 0x0010, r.rows) + us(0x0028, 0x0011, r.columns) +
           us(0x0028, 0x0100, r.bitsAllocated) + us(0x0028, 0x0101, r.bitsStored) +
           us(0x0028, 0x0102, r.highBit) + us(0x0028, 0x0103, r.pixelRepresentation) +
           (r.windowCenter.isNull() ? QByteArray()
                                    : element(0x0028, 0x1050, "DS", r.windowCenter)) +
           (r.windowWidth.isNull() ? QByteArray() : element(0x0028, 0x1051, "DS", r.windowWidth));
}

QByteArray imageElements(const RawImage& r)
{
    return layout(r) +
           element(0x7FE0, 0x0010, r.bitsAllocated <= 8 ? "OB" : "OW", r.pixels, r.pixelLength);
}

QByteArray imageFile(const RawImage& r)
{
    return metaHeader(UID_LittleEndianExplicitTransferSyntax) + imageElements(r);
}

// width x height pixels of `bits` bits holding the values given.
RawImage image(int width, int height, int bits, bool isSigned, const std::vector<qint64>& values)
{
    RawImage r;
    r.columns = quint16(width);
    r.rows = quint16(height);
    r.bitsAllocated = r.bitsStored = quint16(bits);
    r.highBit = quint16(bits - 1);
    r.pixelRepresentation = isSigned ? 1 : 0;
    r.pixels = samples(values, bits / 8);
    return r;
}

// `levels` sequences, each holding one item that holds the next, closed again when `close`.
QByteArray nestedSequences(int levels, bool explicitVR, bool close)
{
    const QByteArray sequence = explicitVR ? element(0x0008, 0x1140, "SQ", {}, 0xFFFFFFFF)
                                           : tag32(0x0008, 0x1140, 0xFFFFFFFF);
    QByteArray out = (sequence + tag32(0xFFFE, 0xE000, 0xFFFFFFFF)).repeated(levels);
    if (close)
        out += (tag32(0xFFFE, 0xE00D, 0) + tag32(0xFFFE, 0xE0DD, 0)).repeated(levels);
    return out;
}

// Raw deflate, as a Deflated Explicit VR Little Endian data set is stored.
QByteArray rawDeflate(const QByteArray& data)
{
    const QByteArray zlib = qCompress(data, 9); // 4-byte size, zlib header, ..., adler-32
    return zlib.mid(6, zlib.size() - 10);
}

// JPEG 2000 Pixel Data around codestream fragments, after a Basic Offset Table of `offsets`.
QByteArray jpeg2000File(const RawImage& r, const QList<QByteArray>& fragments,
                        const std::vector<qint64>& offsets = {})
{
    QByteArray pixelData = element(0x7FE0, 0x0010, "OB", {}, 0xFFFFFFFF) +
                           tag32(0xFFFE, 0xE000, quint32(4 * offsets.size())) + samples(offsets, 4);
    for (const QByteArray& f : fragments)
        pixelData += tag32(0xFFFE, 0xE000, quint32(f.size())) + f;
    return metaHeader(UID_JPEG2000LosslessOnlyTransferSyntax) + layout(r) + pixelData +
           tag32(0xFFFE, 0xE0DD, 0);
}

// A minimal JP2 file around a codestream: signature, file type, header and codestream boxes.
QByteArray jp2Boxes(const QByteArray& codestream, quint32 width, quint32 height)
{
    auto box = [](const char* type, const QByteArray& body) {
        QByteArray out(4, '\0');
        qToBigEndian<quint32>(quint32(8 + body.size()), out.data());
        return out + QByteArray(type, 4) + body;
    };
    QByteArray ihdr(14, '\0');
    qToBigEndian<quint32>(height, ihdr.data());
    qToBigEndian<quint32>(width, ihdr.data() + 4);
    ihdr[9] = 1;                // one component
    ihdr[10] = char(0x80 | 15); // signed, 16 bits
    ihdr[11] = 7;               // wavelet compression
    return box("jP  ", QByteArray("\x0D\x0A\x87\x0A", 4)) +
           box("ftyp", QByteArray("jp2 \0\0\0\0jp2 ", 12)) +
           box("jp2h", box("ihdr", ihdr) + box("colr", QByteArray("\1\0\0\0\0\0\x11", 7))) +
           box("jp2c", codestream);
}

QString sample(const QString& name)
{
    return QStringLiteral("/usr/lib/python3/dist-packages/pydicom/data/test_files/") + name;
}

QByteArray sampleBytes(const char* name)
{
    QFile f(sample(QString::fromLatin1(name)));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The 64 x 64 signed 16-bit codestream of pydicom's lossless JPEG 2000 MR file, or nothing when
// pydicom's samples are not installed.
QByteArray mrCodestream()
{
    const QByteArray file = sampleBytes("MR_small_jp2klossless.dcm");
    const int soc = int(file.indexOf(QByteArray("\xFF\x4F\xFF\x51", 4)));
    return soc < 4 ? QByteArray()
                   : file.mid(soc, int(qFromLittleEndian<quint32>(file.constData() + soc - 4)));
}

// The expected image of a pydicom sample; RGB references (named so) are turned grey the
// toolkit's way, as the reader turns RGB files grey.
QImage reference(const QString& name, bool colour = false)
{
    QImage image(qEnvironmentVariable("KELVARA_SOURCE_DIR") + "/tests/dicom/data/" + name);
    if (colour)
        image.convertTo(QImage::Format_RGB32);
    image.convertTo(QImage::Format_Grayscale8);
    return image;
}

} // namespace

Q_DECLARE_METATYPE(RawImage)

class TestDicomUtil : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    DICOMUtil reader;

    QString path(const QString& name) const { return dir.filePath(name); }

    QImage load(const QString& file)
    {
        try {
            return reader.loadImage(file);
        } catch (const std::exception& e) {
            qWarning("unexpected exception: %s", e.what());
            return QImage(QSize(1, 1), QImage::Format_Mono); // fails any comparison below
        }
    }

    QString write(const QByteArray& bytes, const QString& name = QStringLiteral("test.dcm"))
    {
        QFile f(path(name));
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(f.fileName()));
        return f.fileName();
    }

    // The error names the file and the reason.
    void refused(const QString& file, const QString& reason)
    {
        try {
            reader.loadImage(file);
            QFAIL("no exception");
        } catch (const kelvara::DicomError& e) {
            const QString message = QString::fromUtf8(e.what());
            QVERIFY2(message.contains(kelvara::displayPath(file)) && message.contains(reason) &&
                         !message.contains("Illegal call") && !message.contains("I/O suspension"),
                     e.what());
        }
    }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    void storedValuesThroughWindow_data()
    {
        QTest::addColumn<RawImage>("dicom");
        QTest::addColumn<Anchors>("anchors");

        const RawImage plain = image(64, 64, 16, false, ramp(0, 4096));
        QTest::newRow("0..4095, computed window")
            << plain << Anchors{{0, 0}, {4095, 255}, {2048, 127}};
        RawImage s = image(64, 64, 16, true, ramp(-2048, 4096)); // value v at pixel v + 2048
        s.windowCenter = "40";
        s.windowWidth = "400";
        QTest::newRow("centre 40 width 400")
            << s << Anchors{{2048 - 161, 0},  {2048 - 160, 0},   {2048 + 0, 102},
                            {2048 + 40, 127}, {2048 + 239, 255}, {2048 + 240, 255}};
        s.windowCenter = "100\\200";
        s.windowWidth = "1\\50";
        QTest::newRow("width 1: a threshold, first value only")
            << s << Anchors{{2048 + 99, 0}, {2048 + 100, 255}, {0, 0}, {4095, 255}};
        s.windowCenter = "40";
        s.windowWidth = "wide";
        QTest::newRow("non-numeric width is 0") << s << Anchors{{2048 + 40, 0}, {2048 + 41, 255}};
        s.windowCenter = " 40 ";
        s.windowWidth = "";
        QTest::newRow("empty width keeps computed width")
            << s << Anchors{{0, 0}, {2048 + 40, 127}, {4095, 252}};

        // 12 of 16 bits with rubbish above or below them: the rubbish must not count.
        auto twelveBits = [](int highBit, bool isSigned, qint64 (*stored)(qint64)) {
            std::vector<qint64> v = ramp(0, 4096);
            std::transform(v.begin(), v.end(), v.begin(), stored);
            RawImage r = image(64, 64, 16, isSigned, v);
            r.bitsStored = 12;
            r.highBit = quint16(highBit);
            return r;
        };
        const Anchors stretched{{0, 0}, {4095, 255}, {2048, 127}};
        QTest::newRow("12 bits stored, high bits masked")
            << twelveBits(11, false, [](qint64 v) { return v | 0xA000; }) << stretched;
        // 0x800 is -2048 once the sign bit 11 is extended.
        QTest::newRow("12 bits stored, signed")
            << twelveBits(11, true, [](qint64 v) { return ((v - 2048) & 0x0FFF) | 0x5000; })
            << stretched;
        QTest::newRow("12 bits stored under high bit 15")
            << twelveBits(15, false, [](qint64 v) { return v << 4 | 0x9; }) << stretched;

        // The computed window starts from min 100000 and max -1000000, whatever the data.
        QTest::newRow("all values above 100000") << image(3, 1, 32, false, {200000, 250000, 300000})
                                                 << Anchors{{0, 127}, {1, 191}, {2, 255}};
        QTest::newRow("all values below -1000000")
            << image(3, 1, 32, true, {-3000000, -2500000, -2000000})
            << Anchors{{0, 0}, {1, 63}, {2, 127}};

        RawImage other = plain;
        other.photometric = "MONOCHROME1";
        QTest::newRow("MONOCHROME1 is not inverted") << other << Anchors{{0, 0}, {4095, 255}};
        other = image(4, 1, 8, false, {10, 20, 30, 200});
        other.photometric = "PALETTE COLOR";
        QTest::newRow("palette colour is read as indices") << other << Anchors{{0, 0}, {3, 255}};
        QTest::newRow("no pixels: a null image") << image(0, 8, 16, false, {}) << Anchors{};
    }
    void storedValuesThroughWindow()
    {
        QFETCH(RawImage, dicom);
        QFETCH(Anchors, anchors);
        const QImage image = load(write(imageFile(dicom)));
        QCOMPARE(image.isNull(), dicom.columns == 0);
        QCOMPARE(image.format(),
                 dicom.columns ? QImage::Format_Grayscale8 : QImage::Format_Invalid);
        for (const QPoint& a : anchors) {
            const int grey = qGray(image.pixel(a.x() % dicom.columns, a.x() / dicom.columns));
            QVERIFY2(grey == a.y(), qPrintable(QString("pixel %1: %2").arg(a.x()).arg(grey)));
        }
    }

    void realFilesMatchIndependentDecoder_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("png");
        if (!QDir(sample(QString())).exists())
            QSKIP("pydicom's sample files are not installed (python3-pydicom)");
        // Expected images come from pydicom and GDCM (tests/dicom/make_dicom_references.py):
        // each reference, then the files that must all give it.
        const char* const groups[] = {
            "mr_small.png MR_small.dcm MR_small_implicit.dcm MR_small_bigendian.dcm "
            "MR_small_expb.dcm MR_small_RLE.dcm MR_small_jpeg_ls_lossless.dcm MR_small_padded.dcm "
            "MR_small_jp2klossless.dcm",
            "ct_small.png CT_small.dcm",
            "jpeg_extended_12bit.png JPGExtended.dcm JPEG-lossy.dcm",
            "image_dfl.png image_dfl.dcm",
            "liver_1bit.png liver_1frame.dcm liver_expb_1frame.dcm",
            "rtdose_frame0.png rtdose.dcm rtdose_1frame.dcm rtdose_expb.dcm rtdose_rle.dcm",
            "ybr_full_422.png SC_ybr_full_422_uncompressed.dcm",
            "sc_rgb.png SC_rgb_rle.dcm SC_rgb_rle_2frame.dcm SC_rgb_rle_16bit.dcm "
            "SC_rgb_rle_16bit_2frame.dcm SC_rgb_rle_32bit.dcm SC_rgb_rle_32bit_2frame.dcm "
            "SC_rgb_jpeg_gdcm.dcm",
            "sc_rgb_jpeg_baseline.png SC_rgb_dcmtk_+eb+cr.dcm",
            "explvr_bigend_rgb.png ExplVR_BigEnd.dcm",
            "sc_rgb_small_odd.png SC_rgb_small_odd.dcm",
            "jpeg2000_16bit.png JPEG2000.dcm",
            "j2k_14bit_lossy.png 693_J2KI.dcm",
            "j2k_pixelrep_mismatch.png J2K_pixelrep_mismatch.dcm",
            "j2k_ybr_rct.png GDCMJ2K_TextGBR.dcm",
        };
        for (const char* group : groups) {
            const QStringList names = QString::fromLatin1(group).split(QLatin1Char(' '));
            for (const QString& file : names.mid(1))
                QTest::newRow(qPrintable(file)) << file << names[0];
        }
    }
    void realFilesMatchIndependentDecoder()
    {
        QFETCH(QString, file);
        QFETCH(QString, png);
        const QImage expected = reference(png, png.contains(QLatin1String("rgb")));
        QCOMPARE(expected.format(), QImage::Format_Grayscale8);
        QCOMPARE(load(sample(file)), expected);
    }

    // JPEG 2000 frame 0 gathered from its fragments; sequences nested as deep as allowed; no meta
    // header.
    void handMadeFilesMatchReference_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QImage>("expected");
        const RawImage ramp16 = image(4, 4, 16, false, ramp(0, 16));
        QTest::newRow("nested as deep as allowed")
            << metaHeader(UID_LittleEndianExplicitTransferSyntax) +
                   nestedSequences(kelvara::kMaxDicomSequenceDepth, true, true) +
                   imageElements(ramp16)
            << load(write(imageFile(ramp16), QStringLiteral("flat.dcm")));
        QTest::newRow("no meta header") << imageElements(ramp16) << load(path("flat.dcm"));

        const QByteArray cs = mrCodestream();
        if (cs.isEmpty())
            return;
        const int half = int(cs.size() / 4) * 2; // fragments have even lengths
        const QByteArray garbage = QByteArray("\xFF\x4F\xFF\x51", 4) + QByteArray(200, '\x5A');
        // The codestream in one fragment, which itself matches an independent decoder (see
        // realFilesMatchIndependentDecoder).
        RawImage frames = image(64, 64, 16, true, {});
        const QImage mr = load(write(jpeg2000File(frames, {cs}), QStringLiteral("j2k.dcm")));
        QTest::newRow("two fragments") << jpeg2000File(frames, {cs.left(half), cs.mid(half)}) << mr;
        QTest::newRow("JP2 file") << jpeg2000File(frames, {jp2Boxes(cs, 64, 64)}) << mr;
        frames.frames = 2;
        QTest::newRow("two frames, offset table")
            << jpeg2000File(frames, {cs.left(half), cs.mid(half), garbage}, {0, 16 + cs.size()})
            << mr;
        QTest::newRow("two frames, no offset table, found by scanning")
            << jpeg2000File(frames, {cs.left(half), cs.mid(half), garbage}) << mr;
        QTest::newRow("two frames, unusable offset table, found by scanning")
            << jpeg2000File(frames, {cs, garbage}, {4, 2}) << mr;
    }
    void handMadeFilesMatchReference()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QImage, expected);
        QCOMPARE(expected.format(), QImage::Format_Grayscale8);
        QCOMPARE(load(write(bytes)), expected);
    }

    void unreadableFilesSayWhy_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");

        QTest::newRow("empty") << QByteArray() << "empty";
        QTest::newRow("text")
            << QByteArray("Just some text, not an image.\n").repeated(20) << "not a DICOM file";
        QTest::newRow("a BMP") << QByteArray("BM").append(200, '\0') << "not a DICOM file";
        QTest::newRow("meta header cut off") << imageFile({}).left(160) << "truncated";
        const struct
        {
            const char* name;
            void (*change)(RawImage&);
            const char* reason;
        } layouts[] = {
            {"pixel data shorter", [](RawImage& r) { r.pixels = QByteArray(10, 'x'); }, "fewer"},
            {"pixel data longer", [](RawImage& r) { r.pixels = QByteArray(1000, 'x'); }, "more"},
            {"pixel data beyond the file", [](RawImage& r) { r.pixelLength = 0x7FFFFFF0; },
             "truncated"},
            {"rows 65535", [](RawImage& r) { r.rows = 65535; }, "16384"},
            {"bits allocated 12", [](RawImage& r) { r.bitsAllocated = 12; }, "Bits Allocated"},
            {"bits stored 0", [](RawImage& r) { r.bitsStored = 0; }, "Bits Stored"},
            {"high bit 16 of 16", [](RawImage& r) { r.highBit = 16; }, "High Bit"},
            {"pixel representation 2", [](RawImage& r) { r.pixelRepresentation = 2; },
             "Pixel Representation"},
            {"samples per pixel 0", [](RawImage& r) { r.samplesPerPixel = 0; },
             "Samples per Pixel"},
            {"RGB with one sample", [](RawImage& r) { r.photometric = "RGB"; },
             "Samples per Pixel"},
        };
        for (const auto& l : layouts) {
            RawImage r;
            l.change(r);
            QTest::newRow(l.name) << imageFile(r) << l.reason;
        }
        const QByteArray meta = metaHeader(UID_LittleEndianExplicitTransferSyntax);
        QTest::newRow("no rows") << meta + us(0x0028, 0x0011, 4) +
                                        element(0x7FE0, 0x0010, "OW", QByteArray(32, 'x'))
                                 << "Rows";
        QTest::newRow("rows as text") << meta + element(0x0028, 0x0010, "DS", "4") + imageElements({})
                                      << "Rows (0028,0010) does not hold a 16-bit number";
        QTest::newRow("no pixel data") << meta + us(0x0028, 0x0010, 4) << "no image";
        QTest::newRow("no meta header, cut") << imageElements({}).chopped(3) << "corrupt";

        // Lengths and nesting that would lead the parser beyond the file or the stack.
        const QByteArray small = imageElements({});
        QTest::newRow("huge value length")
            << meta + element(0x0008, 0x0090, "UT", "abc", 0xFFFFFFF0) + small << "truncated";
        const QByteArray deflated = metaHeader(UID_DeflatedExplicitVRLittleEndianTransferSyntax);
        QTest::newRow("huge length, deflated")
            << deflated + rawDeflate(element(0x0008, 0x0090, "UT", "abcd", 0xFFFFFFF0) + small)
            << "truncated";
        QTest::newRow("huge item length") << meta + element(0x0008, 0x1140, "SQ", {}, 0xFFFFFFFF) +
                                                 tag32(0xFFFE, 0xE000, 0xFFFFFFF0) + small
                                          << "truncated";
        const int deep = 100000;
        QTest::newRow("deeply nested, explicit")
            << meta + nestedSequences(deep, true, true) + small << "nested";
        QTest::newRow("deeply nested, no meta header")
            << nestedSequences(deep, false, false) << "nested";
        QTest::newRow("one level too deep")
            << meta + nestedSequences(kelvara::kMaxDicomSequenceDepth + 1, true, true) + small
            << "nested";

        const QByteArray cs = mrCodestream();
        if (cs.isEmpty())
            return;
        // The JPEG 2000 fragment holds bytes that look like a sequence delimiter inside its SIZ
        // marker, so the codestream claims an image of 3722445056 x 1024 pixels.
        for (const auto& [name, reason] :
             {std::pair{"MR_truncated.dcm", "truncated"},
              {"ExplVR_BigEndNoMeta.dcm", "no image"},
              {"rtplan_truncated.dcm", ""},
              {"JPEG2000-embedded-sequence-delimiter.dcm", "JPEG 2000"}})
            QTest::newRow(name) << sampleBytes(name) << reason;
        const QByteArray rle = sampleBytes("MR_small_RLE.dcm");
        QTest::newRow("compressed frame cut") << rle.left(rle.size() - 100) << "truncated";
        // The RLE header of the frame's only fragment (the last item): segment count, then the
        // offsets of segments 1 and 2 (16-bit samples).
        const int at = int(rle.lastIndexOf(QByteArray("\xFE\xFF\x00\xE0", 4))) + 8;
        const qint64 a = qFromLittleEndian<quint32>(rle.constData() + at + 4),
                     b = qFromLittleEndian<quint32>(rle.constData() + at + 8);
        const QList<QPair<const char*, std::vector<qint64>>> headers{
            {"past the end", {2, a, 16187856}},
            {"no segment", {0, a, b}}};
        for (const auto& [damage, header] : headers)
            QTest::addRow("RLE offset %s", damage)
                << rle.left(at) + samples(header, 4) + rle.mid(at + 12) << "RLE header";
        RawImage mr = image(64, 64, 16, true, {});
        QTest::newRow("JPEG 2000 garbage")
            << jpeg2000File(mr, {QByteArray("\xFF\x4F\xFF\x51", 4) + QByteArray(200, 'Z')})
            << "JPEG 2000";
        QTest::newRow("no fragment") << jpeg2000File(mr, {}) << "no compressed fragment";
        QTest::newRow("JPEG 2000 of another size")
            << jpeg2000File(image(63, 64, 16, true, {}), {cs}) << "64 x 64";
        mr.samplesPerPixel = 3;
        mr.photometric = "RGB";
        QTest::newRow("JPEG 2000, three samples declared")
            << jpeg2000File(mr, {cs}) << "1 component";
    }
    void unreadableFilesSayWhy()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        refused(write(bytes), reason);
    }

    // Refused before anything opens them: a FIFO would block, /dev/zero never end.
    void pathsWithoutAFileAreRefused()
    {
        const QString fifo = path(QStringLiteral("fifo.dcm"));
        QVERIFY(::mkfifo(QFile::encodeName(fifo), 0600) == 0);
        const QString nul = path(QStringLiteral("flat.dcm")).insert(dir.path().size() + 1, QChar(0));
        for (const auto& [file, reason] : {std::pair{path("missing.dcm"), "file not found"},
                                           {dir.path(), "is a folder"},
                                           {QString(), "no file name"},
                                           {fifo, "is a FIFO"},
                                           {QStringLiteral("/dev/zero"), "character device"},
                                           {nul, "NUL character"}})
            refused(file, QLatin1String(reason));
    }
};

QTEST_GUILESS_MAIN(TestDicomUtil)
#include "test_dicomutil.moc"
