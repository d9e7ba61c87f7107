#include "DICOMUtil.h"
#include "DicomError.h"
#include "DicomStructureGuard.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>
#include <dcmtk/dcmjpls/djencode.h>
#include <dcmtk/dcmjpls/djrparam.h>

#include <cstdlib>
#include <vector>

namespace {

// An image data set as the tests write it with DCMTK. Pixel bytes are little endian.
struct ImageSpec
{
    quint16 rows = 0, columns = 0;
    quint16 bitsAllocated = 16, bitsStored = 16, highBit = 15, pixelRepresentation = 0;
    quint16 samplesPerPixel = 1;
    int planarConfiguration = -1; // absent
    int frames = 0;               // absent
    QByteArray photometric = "MONOCHROME2";
    QByteArray windowCenter, windowWidth; // absent when null
    QByteArray pixels;
};

using Anchors = QList<QPoint>; // x: linear pixel index, y: expected grey

QByteArray samples16(const std::vector<int>& values)
{
    QByteArray out(int(values.size() * 2), Qt::Uninitialized);
    for (size_t i = 0; i < values.size(); ++i)
        qToLittleEndian<quint16>(quint16(values[i]), out.data() + 2 * i);
    return out;
}

QByteArray samples32(const std::vector<qint64>& values)
{
    QByteArray out(int(values.size() * 4), Qt::Uninitialized);
    for (size_t i = 0; i < values.size(); ++i)
        qToLittleEndian<quint32>(quint32(values[i]), out.data() + 4 * i);
    return out;
}

QByteArray samples8(const std::vector<int>& values)
{
    QByteArray out;
    for (int v : values)
        out.append(char(v));
    return out;
}

std::vector<int> ramp(int from, int count, int step = 1)
{
    std::vector<int> v(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        v[size_t(i)] = from + i * step;
    return v;
}

// A 64 x 64 image whose pixel i holds from + i (16 bits), so pixel index = value - from.
ImageSpec rampImage(int from, bool isSigned = false)
{
    ImageSpec s;
    s.rows = s.columns = 64;
    s.pixelRepresentation = isSigned ? 1 : 0;
    s.pixels = samples16(ramp(from, 64 * 64));
    return s;
}

void writeDicom(const QString& path, const ImageSpec& s,
                E_TransferSyntax syntax = EXS_LittleEndianExplicit,
                E_FileWriteMode mode = EWM_createNewMeta)
{
    DcmFileFormat file;
    DcmDataset* ds = file.getDataset();
    ds->putAndInsertString(DCM_SOPClassUID, UID_SecondaryCaptureImageStorage);
    ds->putAndInsertString(DCM_SOPInstanceUID, "1.2.826.0.1.3680043.2.1143.1");
    ds->putAndInsertUint16(DCM_Rows, s.rows);
    ds->putAndInsertUint16(DCM_Columns, s.columns);
    ds->putAndInsertUint16(DCM_BitsAllocated, s.bitsAllocated);
    ds->putAndInsertUint16(DCM_BitsStored, s.bitsStored);
    ds->putAndInsertUint16(DCM_HighBit, s.highBit);
    ds->putAndInsertUint16(DCM_PixelRepresentation, s.pixelRepresentation);
    ds->putAndInsertUint16(DCM_SamplesPerPixel, s.samplesPerPixel);
    ds->putAndInsertString(DCM_PhotometricInterpretation, s.photometric.constData());
    if (s.planarConfiguration >= 0)
        ds->putAndInsertUint16(DCM_PlanarConfiguration, quint16(s.planarConfiguration));
    if (s.frames > 0)
        ds->putAndInsertString(DCM_NumberOfFrames, QByteArray::number(s.frames).constData());
    if (!s.windowCenter.isNull())
        ds->putAndInsertString(DCM_WindowCenter, s.windowCenter.constData());
    if (!s.windowWidth.isNull())
        ds->putAndInsertString(DCM_WindowWidth, s.windowWidth.constData());
    const auto* bytes = reinterpret_cast<const Uint8*>(s.pixels.constData());
    if (s.bitsAllocated <= 8) {
        QVERIFY(ds->putAndInsertUint8Array(DCM_PixelData, bytes, Uint32(s.pixels.size())).good());
    } else {
        std::vector<Uint16> words(size_t(s.pixels.size() / 2));
        for (size_t i = 0; i < words.size(); ++i)
            words[i] = qFromLittleEndian<quint16>(bytes + 2 * i);
        QVERIFY(
            ds->putAndInsertUint16Array(DCM_PixelData, words.data(), Uint32(words.size())).good());
    }

    const DJ_RPLossless jpegLossless(1, 0);
    const DJLSRepresentationParameter jpegLsLossless(0, OFTrue);
    const DcmRepresentationParameter* parameter = nullptr;
    if (syntax == EXS_JPEGProcess14SV1)
        parameter = &jpegLossless;
    else if (syntax == EXS_JPEGLSLossless)
        parameter = &jpegLsLossless;
    if (DcmXfer(syntax).isEncapsulated())
        QVERIFY2(ds->chooseRepresentation(syntax, parameter).good(), "compression failed");
    const OFCondition saved =
        file.saveFile(OFFilename(QFile::encodeName(path).constData()), syntax, EET_ExplicitLength,
                      EGL_recalcGL, EPD_noChange, 0, 0, mode);
    QVERIFY2(saved.good(), saved.text());
}

// --- Hand-made byte streams, for files that DCMTK would refuse to write. ---

QByteArray element(quint16 group, quint16 elem, const char* vr, QByteArray value,
                   qint64 declaredLength = -1)
{
    const QByteArray v(vr);
    const bool longHeader = v == "OB" || v == "OW" || v == "SQ" || v == "UN" || v == "UT";
    if (value.size() % 2)
        value.append(v == "UI" || v == "OB" ? '\0' : ' ');
    const quint32 length = declaredLength < 0 ? quint32(value.size()) : quint32(declaredLength);
    QByteArray out(longHeader ? 12 : 8, '\0');
    qToLittleEndian<quint16>(group, out.data());
    qToLittleEndian<quint16>(elem, out.data() + 2);
    out[4] = vr[0];
    out[5] = vr[1];
    if (longHeader)
        qToLittleEndian<quint32>(length, out.data() + 8);
    else
        qToLittleEndian<quint16>(quint16(length), out.data() + 6);
    return out + value;
}

QByteArray us(quint16 group, quint16 elem, quint16 value)
{
    QByteArray v(2, '\0');
    qToLittleEndian<quint16>(value, v.data());
    return element(group, elem, "US", v);
}

QByteArray tag32(quint16 group, quint16 elem, quint32 length)
{
    QByteArray out(8, '\0');
    qToLittleEndian<quint16>(group, out.data());
    qToLittleEndian<quint16>(elem, out.data() + 2);
    qToLittleEndian<quint32>(length, out.data() + 4);
    return out;
}

QByteArray metaHeader(const char* syntax)
{
    const QByteArray body = element(0x0002, 0x0001, "OB", QByteArray("\0\1", 2)) +
                            element(0x0002, 0x0002, "UI", UID_SecondaryCaptureImageStorage) +
                            element(0x0002, 0x0003, "UI", "1.2.3.4") +
                            element(0x0002, 0x0010, "UI", syntax);
    QByteArray length(4, '\0');
    qToLittleEndian<quint32>(quint32(body.size()), length.data());
    return QByteArray(128, '\0') + "DICM" + element(0x0002, 0x0000, "UL", length) + body;
}

struct RawImage
{
    quint16 rows = 4, columns = 4, bitsAllocated = 16, bitsStored = 16, highBit = 15;
    quint16 pixelRepresentation = 0, samplesPerPixel = 1;
    QByteArray photometric = "MONOCHROME2";
    QByteArray pixels = QByteArray(32, '\x11');
    qint64 pixelLength = -1; // declared length of Pixel Data when >= 0
};

QByteArray imageElements(const RawImage& r)
{
    return us(0x0028, 0x0002, r.samplesPerPixel) + element(0x0028, 0x0004, "CS", r.photometric) +
           us(0x0028, 0x0010, r.rows) + us(0x0028, 0x0011, r.columns) +
           us(0x0028, 0x0100, r.bitsAllocated) + us(0x0028, 0x0101, r.bitsStored) +
           us(0x0028, 0x0102, r.highBit) + us(0x0028, 0x0103, r.pixelRepresentation) +
           element(0x7FE0, 0x0010, "OW", r.pixels, r.pixelLength);
}

constexpr const char* kExplicitLittle = UID_LittleEndianExplicitTransferSyntax;
constexpr const char* kImplicitLittle = UID_LittleEndianImplicitTransferSyntax;
constexpr const char* kDeflated = UID_DeflatedExplicitVRLittleEndianTransferSyntax;

QByteArray imageFile(const RawImage& r)
{
    return metaHeader(kExplicitLittle) + imageElements(r);
}

// `levels` sequences, each holding one item that holds the next, closed again when `close`.
QByteArray nestedSequences(int levels, bool explicitVR, bool close)
{
    const QByteArray sequence = explicitVR ? element(0x0008, 0x1140, "SQ", {}, 0xFFFFFFFF)
                                           : tag32(0x0008, 0x1140, 0xFFFFFFFF);
    const QByteArray open = sequence + tag32(0xFFFE, 0xE000, 0xFFFFFFFF);
    QByteArray out = open.repeated(levels);
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

QString pydicomSamples()
{
    return QStringLiteral("/usr/lib/python3/dist-packages/pydicom/data/test_files");
}

int maxDifference(const QImage& actual, const QImage& expected)
{
    int worst = 0;
    for (int y = 0; y < expected.height(); ++y) {
        const uchar* a = actual.constScanLine(y);
        const uchar* e = expected.constScanLine(y);
        for (int x = 0; x < expected.width(); ++x)
            worst = std::max(worst, std::abs(int(a[x]) - int(e[x])));
    }
    return worst;
}

// The reader turns RGB grey with the toolkit's own conversion; so does the expectation.
QImage greyOfRgb(QImage rgb)
{
    rgb.convertTo(QImage::Format_RGB32);
    rgb.convertTo(QImage::Format_Grayscale8);
    return rgb;
}

} // namespace

Q_DECLARE_METATYPE(ImageSpec)
Q_DECLARE_METATYPE(RawImage)
Q_DECLARE_METATYPE(E_TransferSyntax)
Q_DECLARE_METATYPE(E_FileWriteMode)

class TestDicomUtil : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void storedValuesThroughWindow_data();
    void storedValuesThroughWindow();
    void colourKeepsLowBytesAndIgnoresWindow_data();
    void colourKeepsLowBytesAndIgnoresWindow();
    void otherColourModelsReadOneSamplePerPixel();
    void zeroSizeImageIsNull();
    void everyEncodingGivesFrameZero_data();
    void everyEncodingGivesFrameZero();
    void legitimateNestingIsRead();

    void realFilesMatchIndependentDecoder_data();
    void realFilesMatchIndependentDecoder();
    void realFilesThatCannotBeReadSayWhy_data();
    void realFilesThatCannotBeReadSayWhy();

    void malformedFilesAreRefused_data();
    void malformedFilesAreRefused();
    void pathsWithoutAFileAreRefused();
    void corruptCompressedFramesFailCleanly_data();
    void corruptCompressedFramesFailCleanly();
    void jpeg2000FrameZero_data();
    void jpeg2000FrameZero();

private:
    QImage load(const QString& path);
    QString path(const QString& name) const { return dir.filePath(name); }
    void writeBytes(const QString& name, const QByteArray& bytes);

    QTemporaryDir dir;
    DICOMUtil reader;
};

QImage TestDicomUtil::load(const QString& file)
{
    try {
        return reader.loadImage(file);
    } catch (const std::exception& e) {
        qWarning("unexpected exception: %s", e.what());
        return QImage(QSize(1, 1), QImage::Format_Mono); // fails any comparison below
    }
}

void TestDicomUtil::writeBytes(const QString& name, const QByteArray& bytes)
{
    QFile f(path(name));
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(bytes), bytes.size());
}

void TestDicomUtil::initTestCase()
{
    QVERIFY(dir.isValid());
    DcmRLEEncoderRegistration::registerCodecs();
    DJEncoderRegistration::registerCodecs();
    DJLSEncoderRegistration::registerCodecs();
}

void TestDicomUtil::storedValuesThroughWindow_data()
{
    QTest::addColumn<ImageSpec>("dicom");
    QTest::addColumn<Anchors>("anchors");

    const ImageSpec plain = rampImage(0);
    QTest::newRow("0..4095, computed window") << plain << Anchors{{0, 0}, {4095, 255}, {2048, 127}};

    ImageSpec s = rampImage(-2048, true);
    s.windowCenter = "40";
    s.windowWidth = "400";
    // value v sits at pixel v + 2048
    QTest::newRow("centre 40 width 400")
        << s << Anchors{{2048 - 161, 0},  {2048 - 160, 0},   {2048 + 0, 102},
                        {2048 + 40, 127}, {2048 + 239, 255}, {2048 + 240, 255}};

    s.windowCenter = "100\\200";
    s.windowWidth = "1\\50";
    QTest::newRow("width 1: a threshold, first value only")
        << s << Anchors{{2048 + 99, 0}, {2048 + 100, 255}, {2048 - 2048, 0}, {4095, 255}};

    s.windowCenter = "centre";
    s.windowWidth = "wide";
    QTest::newRow("non-numeric window is 0, 0")
        << s << Anchors{{2048 - 1, 0}, {2048 + 0, 0}, {2048 + 1, 255}, {4095, 255}};

    s.windowCenter = "40";
    s.windowWidth = "wide";
    QTest::newRow("non-numeric width only") << s << Anchors{{2048 + 40, 0}, {2048 + 41, 255}};

    s.windowCenter = " 40 ";
    s.windowWidth = "";
    QTest::newRow("empty width keeps computed width")
        << s << Anchors{{0, 0}, {2048 + 40, 127}, {4095, 252}};

    ImageSpec sgn;
    sgn.rows = 1;
    sgn.columns = 3;
    sgn.pixelRepresentation = 1;
    sgn.pixels = samples16({-1000, 0, 1000});
    QTest::newRow("signed data") << sgn << Anchors{{0, 0}, {1, 127}, {2, 255}};

    // 12 of 16 bits with rubbish above them: the rubbish must not count.
    ImageSpec masked = plain;
    masked.bitsStored = 12;
    masked.highBit = 11;
    std::vector<int> values = ramp(0, 4096);
    for (int& v : values)
        v |= 0xA000;
    masked.pixels = samples16(values);
    QTest::newRow("12 bits stored, high bits masked")
        << masked << Anchors{{0, 0}, {4095, 255}, {2048, 127}};

    // Signed 12-bit: 0x800 is -2048 once the sign bit 11 is extended.
    masked.pixelRepresentation = 1;
    values = ramp(0, 4096);
    for (int& v : values)
        v = ((v - 2048) & 0x0FFF) | 0x5000;
    masked.pixels = samples16(values);
    QTest::newRow("12 bits stored, signed") << masked << Anchors{{0, 0}, {4095, 255}, {2048, 127}};

    // Stored in the top 12 bits of the word: High Bit 15.
    ImageSpec high = plain;
    high.bitsStored = 12;
    high.highBit = 15;
    values = ramp(0, 4096);
    for (int& v : values)
        v = v << 4 | 0x9;
    high.pixels = samples16(values);
    QTest::newRow("12 bits stored under high bit 15")
        << high << Anchors{{0, 0}, {4095, 255}, {2048, 127}};

    ImageSpec above;
    above.rows = 1;
    above.columns = 3;
    above.bitsAllocated = 32;
    above.bitsStored = 32;
    above.highBit = 31;
    above.pixels = samples32({200000, 250000, 300000});
    // min stays 100000: wc = 200000.5, ww = 200001, so the darkest pixel is mid-grey
    QTest::newRow("all values above 100000") << above << Anchors{{0, 127}, {1, 191}, {2, 255}};

    ImageSpec below = above;
    below.pixelRepresentation = 1;
    below.pixels = samples32({-3000000, -2500000, -2000000});
    // max stays -1000000: wc = -1999999.5, ww = 2000001
    QTest::newRow("all values below -1000000") << below << Anchors{{0, 0}, {1, 63}, {2, 127}};

    ImageSpec mono1 = plain;
    mono1.photometric = "MONOCHROME1";
    QTest::newRow("MONOCHROME1 is not inverted") << mono1 << Anchors{{0, 0}, {4095, 255}};

    ImageSpec frames = plain;
    frames.frames = 3;
    std::vector<int> all = ramp(0, 4096);
    for (int f = 1; f < 3; ++f) {
        const std::vector<int> other = ramp(60000, 4096, -f);
        all.insert(all.end(), other.begin(), other.end());
    }
    frames.pixels = samples16(all);
    QTest::newRow("three frames, frame 0 only") << frames << Anchors{{0, 0}, {4095, 255}};

    ImageSpec palette;
    palette.rows = 1;
    palette.columns = 4;
    palette.bitsAllocated = palette.bitsStored = 8;
    palette.highBit = 7;
    palette.photometric = "PALETTE COLOR";
    palette.pixels = samples8({10, 20, 30, 200});
    QTest::newRow("palette colour is read as indices") << palette << Anchors{{0, 0}, {3, 255}};

    ImageSpec noPhotometric = plain;
    noPhotometric.photometric = "";
    QTest::newRow("no Photometric Interpretation is grey")
        << noPhotometric << Anchors{{0, 0}, {4095, 255}};
}

void TestDicomUtil::storedValuesThroughWindow()
{
    QFETCH(ImageSpec, dicom);
    QFETCH(Anchors, anchors);
    const QString file = path(QStringLiteral("window.dcm"));
    writeDicom(file, dicom);
    const QImage image = load(file);
    QCOMPARE(image.format(), QImage::Format_Grayscale8);
    QCOMPARE(image.size(), QSize(dicom.columns, dicom.rows));
    for (const QPoint& a : anchors) {
        const int x = a.x() % dicom.columns, y = a.x() / dicom.columns;
        QVERIFY2(qGray(image.pixel(x, y)) == a.y(),
                 qPrintable(QStringLiteral("pixel %1: %2, expected %3")
                                .arg(a.x())
                                .arg(qGray(image.pixel(x, y)))
                                .arg(a.y())));
    }
}

void TestDicomUtil::colourKeepsLowBytesAndIgnoresWindow_data()
{
    QTest::addColumn<ImageSpec>("dicom");
    QTest::addColumn<QList<QRgb>>("pixels");

    const QList<QRgb> colours{qRgb(255, 0, 0),    qRgb(0, 255, 0),     qRgb(0, 0, 255),
                              qRgb(10, 100, 200), qRgb(255, 255, 255), qRgb(3, 7, 5)};
    ImageSpec s;
    s.rows = 2;
    s.columns = 3;
    s.bitsAllocated = s.bitsStored = 8;
    s.highBit = 7;
    s.samplesPerPixel = 3;
    s.photometric = "RGB";
    s.planarConfiguration = 0;
    s.windowCenter = "0";
    s.windowWidth = "1";
    std::vector<int> interleaved, planar(18);
    for (int i = 0; i < colours.size(); ++i) {
        const int rgb[3] = {qRed(colours[i]), qGreen(colours[i]), qBlue(colours[i])};
        for (int c = 0; c < 3; ++c) {
            interleaved.push_back(rgb[c]);
            planar[size_t(c * 6 + i)] = rgb[c];
        }
    }
    s.pixels = samples8(interleaved);
    QTest::newRow("8-bit, pixel by pixel") << s << colours;

    s.planarConfiguration = 1;
    s.pixels = samples8(planar);
    QTest::newRow("8-bit, plane by plane") << s << colours;

    ImageSpec wide = s;
    wide.planarConfiguration = 0;
    wide.bitsAllocated = wide.bitsStored = 16;
    wide.highBit = 15;
    std::vector<int> high = interleaved;
    for (int& v : high)
        v |= 0x3700; // only the low byte counts, no scaling
    wide.pixels = samples16(high);
    QTest::newRow("16-bit, low bytes only") << wide << colours;
}

void TestDicomUtil::colourKeepsLowBytesAndIgnoresWindow()
{
    QFETCH(ImageSpec, dicom);
    QFETCH(QList<QRgb>, pixels);
    const QString file = path(QStringLiteral("colour.dcm"));
    writeDicom(file, dicom);

    QImage expected(dicom.columns, dicom.rows, QImage::Format_RGB32);
    for (int i = 0; i < pixels.size(); ++i)
        expected.setPixel(i % dicom.columns, i / dicom.columns, pixels[i]);
    const QImage image = load(file);
    QCOMPARE(image.format(), QImage::Format_Grayscale8);
    QCOMPARE(image, greyOfRgb(expected));

    // The same file once compressed must give the same image (RLE keeps the planar layout).
    writeDicom(file, dicom, EXS_RLELossless);
    QCOMPARE(load(file), greyOfRgb(expected));
}

void TestDicomUtil::otherColourModelsReadOneSamplePerPixel()
{
    // Three YBR pixels; the grey branch reads samples 0, 1, 2 as if they were pixels.
    ImageSpec s;
    s.rows = 1;
    s.columns = 3;
    s.bitsAllocated = s.bitsStored = 8;
    s.highBit = 7;
    s.samplesPerPixel = 3;
    s.planarConfiguration = 0;
    s.photometric = "YBR_FULL";
    s.pixels = samples8({10, 200, 30, 20, 21, 22, 40, 41, 42});
    const QString file = path(QStringLiteral("ybr.dcm"));
    writeDicom(file, s);
    const QImage image = load(file);
    QCOMPARE(image.size(), QSize(3, 1));
    // min 10, max 200: wc = 105.5, ww = 191
    QCOMPARE(qGray(image.pixel(0, 0)), 0);
    QCOMPARE(qGray(image.pixel(1, 0)), 255);
    QCOMPARE(qGray(image.pixel(2, 0)), 26);
}

void TestDicomUtil::zeroSizeImageIsNull()
{
    for (const QSize size : {QSize(0, 0), QSize(0, 8), QSize(8, 0)}) {
        ImageSpec s;
        s.columns = quint16(size.width());
        s.rows = quint16(size.height());
        const QString file = path(QStringLiteral("empty-image.dcm"));
        writeDicom(file, s);
        QImage image(1, 1, QImage::Format_Grayscale8);
        try {
            image = reader.loadImage(file);
        } catch (const std::exception& e) {
            QFAIL(e.what());
        }
        QVERIFY(image.isNull());
    }
}

void TestDicomUtil::everyEncodingGivesFrameZero_data()
{
    QTest::addColumn<E_TransferSyntax>("syntax");
    QTest::addColumn<E_FileWriteMode>("mode");
    QTest::newRow("explicit little endian") << EXS_LittleEndianExplicit << EWM_createNewMeta;
    QTest::newRow("implicit little endian") << EXS_LittleEndianImplicit << EWM_createNewMeta;
    QTest::newRow("explicit big endian") << EXS_BigEndianExplicit << EWM_createNewMeta;
    QTest::newRow("deflated") << EXS_DeflatedLittleEndianExplicit << EWM_createNewMeta;
    QTest::newRow("RLE") << EXS_RLELossless << EWM_createNewMeta;
    QTest::newRow("JPEG lossless") << EXS_JPEGProcess14SV1 << EWM_createNewMeta;
    QTest::newRow("JPEG-LS lossless") << EXS_JPEGLSLossless << EWM_createNewMeta;
    QTest::newRow("no meta header, implicit") << EXS_LittleEndianImplicit << EWM_dataset;
    QTest::newRow("no meta header, explicit") << EXS_LittleEndianExplicit << EWM_dataset;
    QTest::newRow("no meta header, big endian") << EXS_BigEndianExplicit << EWM_dataset;
}

void TestDicomUtil::everyEncodingGivesFrameZero()
{
    QFETCH(E_TransferSyntax, syntax);
    QFETCH(E_FileWriteMode, mode);
    // Frame 0 is a ramp over 0..4095 (12 bits, unsigned); frames 1 and 2 hold other values, so
    // reading any of them instead would show.
    ImageSpec s = rampImage(0);
    s.bitsStored = 12;
    s.highBit = 11;
    s.frames = 3;
    std::vector<int> all = ramp(0, 4096);
    for (int f = 1; f < 3; ++f) {
        std::vector<int> other = ramp(4095, 4096, -1);
        other[size_t(f)] = 0; // differs from frame 0 only in value range
        for (int& v : other)
            v = (v * 7) & 0x0FFF;
        all.insert(all.end(), other.begin(), other.end());
    }
    s.pixels = samples16(all);

    const QString reference = path(QStringLiteral("frames-reference.dcm"));
    writeDicom(reference, s);
    const QImage expected = load(reference);
    QCOMPARE(qGray(expected.pixel(0, 0)), 0);
    QCOMPARE(qGray(expected.pixel(63, 63)), 255);
    QCOMPARE(qGray(expected.pixel(0, 32)), 127); // value 2048

    const QString file = path(QStringLiteral("frames.dcm"));
    writeDicom(file, s, syntax, mode);
    QCOMPARE(load(file), expected);
}

void TestDicomUtil::legitimateNestingIsRead()
{
    RawImage r;
    r.pixels = samples16(ramp(0, 16));
    for (const int levels : {1, 20, kelvara::kMaxDicomSequenceDepth}) {
        const QString name = QStringLiteral("nested-%1.dcm").arg(levels);
        writeBytes(name, metaHeader(kExplicitLittle) + nestedSequences(levels, true, true) +
                             imageElements(r));
        const QImage image = load(path(name));
        QCOMPARE(image.size(), QSize(4, 4));
        QCOMPARE(qGray(image.pixel(3, 3)), 255);
    }
}

void TestDicomUtil::realFilesMatchIndependentDecoder_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reference");
    QTest::addColumn<bool>("colour");
    QTest::addColumn<int>("tolerance");

    // Expected images come from pydicom and GDCM (tests/dicom/make_dicom_references.py).
    const struct
    {
        const char* reference;
        bool colour;
        int tolerance;
        QStringList files;
    } groups[] = {
        {"mr_small.png",
         false,
         0,
         {"MR_small.dcm", "MR_small_implicit.dcm", "MR_small_bigendian.dcm", "MR_small_expb.dcm",
          "MR_small_RLE.dcm", "MR_small_jpeg_ls_lossless.dcm", "MR_small_padded.dcm",
          "MR_small_jp2klossless.dcm"}},
        {"ct_small.png", false, 0, {"CT_small.dcm"}},
        {"jpeg_extended_12bit.png", false, 0, {"JPGExtended.dcm", "JPEG-lossy.dcm"}},
        {"image_dfl.png", false, 0, {"image_dfl.dcm"}},
        {"liver_1bit.png", false, 0, {"liver_1frame.dcm", "liver_expb_1frame.dcm"}},
        {"rtdose_frame0.png",
         false,
         0,
         {"rtdose.dcm", "rtdose_1frame.dcm", "rtdose_expb.dcm", "rtdose_rle.dcm"}},
        {"ybr_full_422.png", false, 0, {"SC_ybr_full_422_uncompressed.dcm"}},
        {"sc_rgb.png",
         true,
         0,
         {"SC_rgb_rle.dcm", "SC_rgb_rle_2frame.dcm", "SC_rgb_rle_16bit.dcm",
          "SC_rgb_rle_16bit_2frame.dcm", "SC_rgb_rle_32bit.dcm", "SC_rgb_rle_32bit_2frame.dcm",
          "SC_rgb_jpeg_gdcm.dcm"}},
        {"sc_rgb_jpeg_baseline.png", true, 0, {"SC_rgb_dcmtk_+eb+cr.dcm"}},
        {"explvr_bigend_rgb.png", true, 0, {"ExplVR_BigEnd.dcm"}},
        {"sc_rgb_small_odd.png", true, 0, {"SC_rgb_small_odd.dcm"}},
        {"jpeg2000_16bit.png", false, 0, {"JPEG2000.dcm"}},
        {"j2k_14bit_lossy.png", false, 0, {"693_J2KI.dcm"}},
        {"j2k_pixelrep_mismatch.png", false, 0, {"J2K_pixelrep_mismatch.dcm"}},
        {"j2k_ybr_rct.png", false, 0, {"GDCMJ2K_TextGBR.dcm"}},
    };
    for (const auto& g : groups)
        for (const QString& f : g.files)
            QTest::newRow(qPrintable(f))
                << f << QString::fromLatin1(g.reference) << g.colour << g.tolerance;
}

void TestDicomUtil::realFilesMatchIndependentDecoder()
{
    QFETCH(QString, file);
    QFETCH(QString, reference);
    QFETCH(bool, colour);
    QFETCH(int, tolerance);
    if (!QDir(pydicomSamples()).exists())
        QSKIP("pydicom's sample files are not installed (Debian package python3-pydicom)");

    const QString source = qEnvironmentVariable("KELVARA_SOURCE_DIR");
    QVERIFY2(!source.isEmpty(), "KELVARA_SOURCE_DIR is not set");
    QImage expected(source + QStringLiteral("/tests/dicom/data/") + reference);
    QVERIFY2(!expected.isNull(), qPrintable(reference));
    expected = colour ? greyOfRgb(expected) : expected.convertToFormat(QImage::Format_Grayscale8);

    const QImage image = load(pydicomSamples() + QLatin1Char('/') + file);
    QCOMPARE(image.format(), QImage::Format_Grayscale8);
    QCOMPARE(image.size(), expected.size());
    QVERIFY2(maxDifference(image, expected) <= tolerance,
             qPrintable(QStringLiteral("differs by up to %1").arg(maxDifference(image, expected))));
}

void TestDicomUtil::realFilesThatCannotBeReadSayWhy_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reason");
    QTest::newRow("truncated pixel data") << "MR_truncated.dcm"
                                          << "truncated";
    // The fragment holds bytes that look like a sequence delimiter inside the SIZ marker, so
    // the codestream claims an image of 3722445056 x 1024 pixels.
    QTest::newRow("JPEG 2000 with a corrupt size") << "JPEG2000-embedded-sequence-delimiter.dcm"
                                                   << "JPEG 2000";
    QTest::newRow("no meta header, no image") << "ExplVR_LitEndNoMeta.dcm"
                                              << "no image";
    QTest::newRow("big endian, no meta header, no image") << "ExplVR_BigEndNoMeta.dcm"
                                                          << "no image";
    QTest::newRow("corrupt start, no meta header") << "no_meta.dcm"
                                                   << "no_meta.dcm";
    QTest::newRow("structured report") << "test-SR.dcm"
                                       << "no image";
    QTest::newRow("truncated plan") << "rtplan_truncated.dcm"
                                    << "rtplan_truncated.dcm";
}

void TestDicomUtil::realFilesThatCannotBeReadSayWhy()
{
    QFETCH(QString, file);
    QFETCH(QString, reason);
    if (!QDir(pydicomSamples()).exists())
        QSKIP("pydicom's sample files are not installed (Debian package python3-pydicom)");
    const QString full = pydicomSamples() + QLatin1Char('/') + file;
    try {
        reader.loadImage(full);
        QFAIL("no exception");
    } catch (const std::exception& e) {
        const QString message = QString::fromUtf8(e.what());
        QVERIFY2(message.contains(full) && message.contains(reason), e.what());
    }
}

void TestDicomUtil::malformedFilesAreRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");

    auto raw = [](auto change) {
        RawImage r;
        change(r);
        return imageFile(r);
    };
    const QByteArray valid = imageFile(RawImage());

    QTest::newRow("empty") << QByteArray() << "empty";
    QTest::newRow("not DICOM") << QByteArray("Just some text, not a medical image.\n").repeated(20)
                               << "";
    QTest::newRow("meta header cut off") << valid.left(160) << "truncated";
    QTest::newRow("only the preamble") << valid.left(132) << "";
    QTest::newRow("pixel data shorter than declared")
        << raw([](RawImage& r) { r.pixels = QByteArray(10, 'x'); }) << "fewer";
    QTest::newRow("pixel data longer than declared")
        << raw([](RawImage& r) { r.pixels = QByteArray(1000, 'x'); }) << "more";
    QTest::newRow("pixel data length beyond the file")
        << raw([](RawImage& r) { r.pixelLength = 0x7FFFFFF0; }) << "truncated";
    QTest::newRow("rows 0 with data") << raw([](RawImage& r) { r.rows = 0; }) << "more";
    QTest::newRow("columns 0 with data") << raw([](RawImage& r) { r.columns = 0; }) << "more";
    QTest::newRow("rows 65535, tiny data") << raw([](RawImage& r) { r.rows = 65535; }) << "16384";
    QTest::newRow("columns 65535, tiny data")
        << raw([](RawImage& r) { r.columns = 65535; }) << "16384";
    QTest::newRow("16384 x 16384, tiny data")
        << raw([](RawImage& r) { r.rows = r.columns = 16384; }) << "fewer";
    for (const quint16 bits : {0, 12, 33, 64})
        QTest::newRow(qPrintable(QStringLiteral("bits allocated %1").arg(bits)))
            << raw([bits](RawImage& r) { r.bitsAllocated = bits; }) << "Bits Allocated";
    QTest::newRow("bits stored 0") << raw([](RawImage& r) { r.bitsStored = 0; }) << "Bits Stored";
    QTest::newRow("bits stored above allocated")
        << raw([](RawImage& r) { r.bitsStored = 17; }) << "Bits Stored";
    QTest::newRow("high bit = bits allocated")
        << raw([](RawImage& r) { r.highBit = 16; }) << "High Bit";
    QTest::newRow("high bit below bits stored")
        << raw([](RawImage& r) { r.highBit = 10; }) << "High Bit";
    QTest::newRow("pixel representation 2")
        << raw([](RawImage& r) { r.pixelRepresentation = 2; }) << "Pixel Representation";
    QTest::newRow("samples per pixel 0")
        << raw([](RawImage& r) { r.samplesPerPixel = 0; }) << "Samples per Pixel";
    QTest::newRow("samples per pixel 3, MONOCHROME2") << raw([](RawImage& r) {
        r.samplesPerPixel = 3;
        r.pixels = QByteArray(96, 'x');
    }) << "Samples per Pixel";
    QTest::newRow("RGB with one sample")
        << raw([](RawImage& r) { r.photometric = "RGB"; }) << "Samples per Pixel";
    QTest::newRow("no rows") << metaHeader(kExplicitLittle) + us(0x0028, 0x0011, 4) +
                                    element(0x7FE0, 0x0010, "OW", QByteArray(32, 'x'))
                             << "Rows";
    QTest::newRow("no pixel data")
        << metaHeader(kExplicitLittle) + us(0x0028, 0x0010, 4) << "no image";

    const QByteArray smallImage = imageElements(RawImage());
    QTest::newRow("huge value length")
        << metaHeader(kExplicitLittle) + element(0x0008, 0x0090, "UT", "abc", 0xFFFFFFF0) +
               smallImage
        << "truncated";
    QTest::newRow("huge item length")
        << metaHeader(kExplicitLittle) + element(0x0008, 0x1140, "SQ", {}, 0xFFFFFFFF) +
               tag32(0xFFFE, 0xE000, 0xFFFFFFF0) + smallImage
        << "truncated";
    QTest::newRow("huge length, deflated")
        << metaHeader(kDeflated) +
               rawDeflate(element(0x0008, 0x0090, "UT", "abcd", 0xFFFFFFF0) + smallImage)
        << "truncated";

    const int deep = 100000;
    QTest::newRow("deeply nested, explicit")
        << metaHeader(kExplicitLittle) + nestedSequences(deep, true, true) + smallImage << "nested";
    QTest::newRow("deeply nested, implicit")
        << metaHeader(kImplicitLittle) + nestedSequences(deep, false, false) << "nested";
    QTest::newRow("deeply nested, deflated")
        << metaHeader(kDeflated) + rawDeflate(nestedSequences(deep, true, false)) << "nested";
    QTest::newRow("deeply nested, no meta header")
        << nestedSequences(deep, false, false) << "nested";
    QTest::newRow("deeply nested, unknown transfer syntax")
        << metaHeader("1.2.3.4.5.6") + nestedSequences(deep, true, false) << "nested";
    QTest::newRow("one level too deep")
        << metaHeader(kExplicitLittle) +
               nestedSequences(kelvara::kMaxDicomSequenceDepth + 1, true, true) + smallImage
        << "nested";
}

void TestDicomUtil::malformedFilesAreRefused()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    writeBytes(QStringLiteral("malformed.dcm"), bytes);
    const QString file = path(QStringLiteral("malformed.dcm"));
    try {
        reader.loadImage(file);
        QFAIL("no exception");
    } catch (const kelvara::DicomError& e) {
        const QString message = QString::fromUtf8(e.what());
        QVERIFY2(message.contains(file) && message.contains(reason), e.what());
    }
}

void TestDicomUtil::pathsWithoutAFileAreRefused()
{
    const QList<QPair<QString, QString>> cases{
        {path(QStringLiteral("missing.dcm")), QStringLiteral("does not exist")},
        {dir.path(), QStringLiteral("directory")},
        {QString(), QStringLiteral("no file name")},
    };
    for (const auto& [file, reason] : cases) {
        try {
            reader.loadImage(file);
            QFAIL("no exception");
        } catch (const kelvara::DicomError& e) {
            const QString message = QString::fromUtf8(e.what());
            QVERIFY2(message.contains(file) && message.contains(reason), e.what());
        }
    }
}

void TestDicomUtil::corruptCompressedFramesFailCleanly_data()
{
    QTest::addColumn<E_TransferSyntax>("syntax");
    QTest::addColumn<QString>("damage");
    for (const auto& [syntax, name] :
         {std::pair{EXS_RLELossless, "RLE"}, std::pair{EXS_JPEGProcess14SV1, "JPEG lossless"},
          std::pair{EXS_JPEGLSLossless, "JPEG-LS"}}) {
        for (const char* damage : {"garbage", "zeros", "header", "cut"})
            QTest::newRow(qPrintable(QStringLiteral("%1, %2").arg(name, damage)))
                << syntax << QString::fromLatin1(damage);
    }
    // The RLE header's segment offsets are checked before DCMTK follows them.
    for (const char* damage : {"RLE offset past the end", "RLE offsets out of order",
                               "RLE 16 segments", "RLE no segment", "RLE offset inside header"})
        QTest::newRow(damage) << EXS_RLELossless << QString::fromLatin1(damage);
}

void TestDicomUtil::corruptCompressedFramesFailCleanly()
{
    QFETCH(E_TransferSyntax, syntax);
    QFETCH(QString, damage);
    const QString file = path(QStringLiteral("corrupt.dcm"));
    const ImageSpec dicom = rampImage(0);
    writeDicom(file, dicom, syntax);
    QFile f(file);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QByteArray bytes = f.readAll();
    f.close();

    // The last item is the frame's only fragment.
    const int item = int(bytes.lastIndexOf(QByteArray("\xFE\xFF\x00\xE0", 4)));
    QVERIFY(item > 0);
    const int start = item + 8;
    const int length = int(qFromLittleEndian<quint32>(bytes.constData() + item + 4));
    QVERIFY(length > 64 && start + length <= bytes.size());
    if (damage == "garbage") {
        for (int i = start + 16; i < start + length; ++i)
            bytes[i] = char((i * 151) ^ 0x5A);
    } else if (damage == "zeros") {
        bytes.replace(start, length, QByteArray(length, '\0'));
    } else if (damage == "header") {
        for (int i = start; i < start + 64; ++i)
            bytes[i] = char(0xFF - (i & 0x0F));
    } else if (damage.startsWith(QLatin1String("RLE"))) {
        // Two segments (16-bit samples): count, then the offsets of segments 1 and 2.
        char* header = bytes.data() + start;
        QCOMPARE(qFromLittleEndian<quint32>(header), quint32(2));
        if (damage == "RLE offset past the end")
            qToLittleEndian<quint32>(16187856, header + 8);
        else if (damage == "RLE offsets out of order")
            qToLittleEndian<quint32>(qFromLittleEndian<quint32>(header + 8) + 8, header + 4);
        else if (damage == "RLE 16 segments")
            qToLittleEndian<quint32>(16, header);
        else if (damage == "RLE no segment")
            qToLittleEndian<quint32>(0, header);
        else
            qToLittleEndian<quint32>(12, header + 4);
        writeBytes(QStringLiteral("corrupt.dcm"), bytes);
        try {
            reader.loadImage(file);
            QFAIL("no exception");
        } catch (const kelvara::DicomError& e) {
            QVERIFY2(QString::fromUtf8(e.what()).contains(QLatin1String("RLE header")), e.what());
        }
        return;
    } else {
        bytes.truncate(start + length / 2);
    }
    writeBytes(QStringLiteral("corrupt.dcm"), bytes);

    // A decoder may or may not notice; either way the outcome is an image of the declared size
    // or a readable error, never a crash.
    try {
        const QImage image = reader.loadImage(file);
        QVERIFY(damage != "cut");
        QCOMPARE(image.size(), QSize(dicom.columns, dicom.rows));
    } catch (const kelvara::DicomError& e) {
        QVERIFY2(QString::fromUtf8(e.what()).contains(file), e.what());
    }
}

// JPEG 2000 Pixel Data around codestream fragments; the Basic Offset Table is left empty when
// `offsets` is.
QByteArray jpeg2000File(const RawImage& r, int frames, const QList<quint32>& offsets,
                        const QList<QByteArray>& fragments)
{
    QByteArray table;
    for (const quint32 o : offsets) {
        QByteArray v(4, '\0');
        qToLittleEndian<quint32>(o, v.data());
        table += v;
    }
    QByteArray pixelData = element(0x7FE0, 0x0010, "OB", {}, 0xFFFFFFFF) +
                           tag32(0xFFFE, 0xE000, quint32(table.size())) + table;
    for (const QByteArray& f : fragments)
        pixelData += tag32(0xFFFE, 0xE000, quint32(f.size())) + f;
    pixelData += tag32(0xFFFE, 0xE0DD, 0);
    return metaHeader(UID_JPEG2000LosslessOnlyTransferSyntax) +
           us(0x0028, 0x0002, r.samplesPerPixel) + element(0x0028, 0x0004, "CS", r.photometric) +
           (frames > 0 ? element(0x0028, 0x0008, "IS", QByteArray::number(frames)) : QByteArray()) +
           us(0x0028, 0x0010, r.rows) + us(0x0028, 0x0011, r.columns) +
           us(0x0028, 0x0100, r.bitsAllocated) + us(0x0028, 0x0101, r.bitsStored) +
           us(0x0028, 0x0102, r.highBit) + us(0x0028, 0x0103, r.pixelRepresentation) + pixelData;
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
    qToBigEndian<quint16>(1, ihdr.data() + 8);
    ihdr[10] = char(0x80 | 15);                               // signed, 16 bits
    ihdr[11] = 7;                                             // wavelet compression
    const QByteArray colr("\x01\x00\x00\x00\x00\x00\x11", 7); // enumerated, greyscale
    return box("jP  ", QByteArray("\x0D\x0A\x87\x0A", 4)) +
           box("ftyp", QByteArray("jp2 \0\0\0\0jp2 ", 12)) +
           box("jp2h", box("ihdr", ihdr) + box("colr", colr)) + box("jp2c", codestream);
}

void TestDicomUtil::jpeg2000FrameZero_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason"); // empty: the image equals the one of the codestream

    // The 64 x 64 signed 16-bit codestream of pydicom's lossless JPEG 2000 MR file.
    QFile source(pydicomSamples() + QStringLiteral("/MR_small_jp2klossless.dcm"));
    if (!source.open(QIODevice::ReadOnly)) {
        QTest::newRow("no sample") << QByteArray() << QString();
        return;
    }
    const QByteArray file = source.readAll();
    const int soc = int(file.indexOf(QByteArray("\xFF\x4F\xFF\x51", 4)));
    const QByteArray cs =
        file.mid(soc, int(qFromLittleEndian<quint32>(file.constData() + soc - 4)));
    RawImage mr;
    mr.rows = mr.columns = 64;
    mr.pixelRepresentation = 1;
    auto with = [&mr](auto change) {
        RawImage r = mr;
        change(r);
        return r;
    };
    const int half = int(cs.size() / 4) * 2; // fragments have even lengths
    const QByteArray garbage = QByteArray("\xFF\x4F\xFF\x51", 4) + QByteArray(200, '\x5A');

    QTest::newRow("split into two fragments, one frame")
        << jpeg2000File(mr, 1, {}, {cs.left(half), cs.mid(half)}) << QString();
    QTest::newRow("two frames, offset table")
        << jpeg2000File(mr, 2, {0, quint32(16 + cs.size())}, {cs.left(half), cs.mid(half), garbage})
        << QString();
    QTest::newRow("two frames, no offset table, found by scanning")
        << jpeg2000File(mr, 2, {}, {cs.left(half), cs.mid(half), garbage}) << QString();
    QTest::newRow("two frames, unusable offset table, found by scanning")
        << jpeg2000File(mr, 2, {4, 2}, {cs, garbage}) << QString();
    QTest::newRow("JP2 file") << jpeg2000File(mr, 0, {}, {jp2Boxes(cs, 64, 64)}) << QString();

    QTest::newRow("truncated") << jpeg2000File(mr, 0, {}, {cs.left(half)}) << "JPEG 2000";
    QTest::newRow("cut after the header") << jpeg2000File(mr, 0, {}, {cs.left(60)}) << "JPEG 2000";
    QByteArray scrambled = cs;
    for (int i = 80; i < scrambled.size(); ++i)
        scrambled[i] = char((i * 151) ^ 0x5A);
    QTest::newRow("garbage after the header")
        << jpeg2000File(mr, 0, {}, {scrambled}) << "JPEG 2000";
    QTest::newRow("garbage") << jpeg2000File(mr, 0, {}, {garbage}) << "JPEG 2000";
    QTest::newRow("neither codestream nor JP2")
        << jpeg2000File(mr, 0, {}, {QByteArray(64, '\0')}) << "neither";
    QTest::newRow("no fragment") << jpeg2000File(mr, 0, {}, {}) << "no compressed fragment";
    QTest::newRow("columns differ")
        << jpeg2000File(with([](RawImage& r) { r.columns = 63; }), 0, {}, {cs}) << "64 x 64";
    QTest::newRow("rows differ") << jpeg2000File(with([](RawImage& r) { r.rows = 128; }), 0, {},
                                                 {cs})
                                 << "64 x 64";
    QTest::newRow("JP2 size differs")
        << jpeg2000File(mr, 0, {}, {jp2Boxes(cs, 32, 64)}) << "JPEG 2000";
    QTest::newRow("three samples declared") << jpeg2000File(with([](RawImage& r) {
                                                                r.samplesPerPixel = 3;
                                                                r.photometric = "RGB";
                                                            }),
                                                            0, {}, {cs})
                                            << "1 component";
    QTest::newRow("8 bits allocated for 16-bit samples")
        << jpeg2000File(with([](RawImage& r) {
                            r.bitsAllocated = r.bitsStored = 8;
                            r.highBit = 7;
                        }),
                        0, {}, {cs})
        << "16-bit samples";
}

void TestDicomUtil::jpeg2000FrameZero()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    if (bytes.isEmpty())
        QSKIP("pydicom's sample files are not installed (Debian package python3-pydicom)");
    writeBytes(QStringLiteral("j2k.dcm"), bytes);
    const QString file = path(QStringLiteral("j2k.dcm"));
    if (reason.isEmpty()) {
        // The plain file with the same codestream in one fragment (which itself matches an
        // independent decoder in realFilesMatchIndependentDecoder).
        QFile source(pydicomSamples() + QStringLiteral("/MR_small_jp2klossless.dcm"));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QByteArray original = source.readAll();
        const int soc = int(original.indexOf(QByteArray("\xFF\x4F\xFF\x51", 4)));
        const quint32 length = qFromLittleEndian<quint32>(original.constData() + soc - 4);
        RawImage mr;
        mr.rows = mr.columns = 64;
        mr.pixelRepresentation = 1;
        writeBytes(QStringLiteral("j2k-plain.dcm"),
                   jpeg2000File(mr, 0, {}, {original.mid(soc, int(length))}));
        const QImage expected = load(path(QStringLiteral("j2k-plain.dcm")));
        QCOMPARE(expected.size(), QSize(64, 64));
        QCOMPARE(load(file), expected);
        return;
    }
    try {
        reader.loadImage(file);
        QFAIL("no exception");
    } catch (const kelvara::DicomError& e) {
        const QString message = QString::fromUtf8(e.what());
        QVERIFY2(message.contains(file) && message.contains(reason), e.what());
    }
}

QTEST_GUILESS_MAIN(TestDicomUtil)
#include "test_dicomutil.moc"
