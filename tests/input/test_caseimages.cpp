// The case model: scaled sizes and box origins where the truncations matter, when the AOI
// images are cut again, and the BMP files and paths the loader refuses (the other loaders'
// rules are tested through the window and kelvara-batch; fuzz_bmp replays valid BMPs against
// QImage's own decoding).
#include "CaseImages.h"
#include "FileAccess.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <sys/stat.h>

using kelvara::Modality;

namespace {

QByteArray le(qint64 value, int bytes)
{
    QByteArray out(bytes, '\0');
    for (int i = 0; i < bytes; ++i)
        out[i] = char(value >> (8 * i));
    return out;
}

// A BMP with a 40-byte header; the pixel data follows the colour table unless `offset` says
// otherwise.
QByteArray bmp(qint32 width, qint32 height, int bits, const QByteArray& pixels,
               int compression = 0, int colours = 0, qint64 offset = -1)
{
    const QByteArray table = QByteArray(4 * colours, '\x40');
    const QByteArray header = le(40, 4) + le(width, 4) + le(height, 4) + le(1, 2) + le(bits, 2) +
                              le(compression, 4) + le(pixels.size(), 4) + le(0, 8) +
                              le(colours, 4) + le(0, 4);
    const qint64 start = offset >= 0 ? offset : 54 + table.size();
    return "BM" + le(start + pixels.size(), 4) + le(0, 4) + le(start, 4) + header + table + pixels;
}

// Run-length rows of 8-bit pixels: `rows` rows of `width` pixels of value 7, then the end marker.
QByteArray rle8(int width, int rows)
{
    QByteArray row;
    for (int left = width; left > 0; left -= 255)
        row += char(std::min(left, 255)) + QByteArray(1, 7);
    return (row + QByteArray(2, '\0')).repeated(rows) + QByteArray("\0\1", 2);
}

} // namespace

class TestCaseImages : public QObject
{
    Q_OBJECT

private slots:
    void scaledSize_data()
    {
        QTest::addColumn<QSize>("base");
        QTest::addColumn<double>("factor");
        QTest::addColumn<int>("modality");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("truncated, not rounded") << QSize(3, 3) << 1.5 << 0 << QSize(4, 4);
        QTest::newRow("T2 ignores the aspect ratio")
            << QSize(100, 50) << 0.333 << 0 << QSize(33, 16);
        QTest::newRow("DWI keeps it") << QSize(100, 50) << 0.333 << 1 << QSize(32, 16);
        QTest::newRow("too small to show") << QSize(10, 10) << 0.05 << 2 << QSize();
    }

    void scaledSize()
    {
        QFETCH(QSize, base);
        QFETCH(double, factor);
        QFETCH(int, modality);
        QFETCH(QSize, expected);
        QImage img(base, QImage::Format_Grayscale8);
        img.fill(uchar(9));
        const Modality m = Modality(modality);
        const QImage scaled = kelvara::scaleSourceImage(img, factor, kelvara::aoiSourceScaling(m));
        QCOMPARE(scaled.isNull() ? QSize() : scaled.size(), expected);
    }

    void boxOrigin_data()
    {
        QTest::addColumn<int>("pixmapWidth");
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("hPos");
        QTest::addColumn<QPointF>("expected");
        // x = hPos - W/2 + pw*s/2 with W = 2 * 10, H = 8, image 0..pw, height 30.
        QTest::newRow("centred") << 100 << 1.0 << 0 << QPointF(40, 11);
        QTest::newRow("odd width, exact half") << 101 << 1.0 << 3 << QPointF(43.5, 11);
        QTest::newRow("scaled about the centre") << 100 << 2.0 << -5 << QPointF(85, 26);
        QTest::newRow("no image") << 0 << 2.0 << 4 << QPointF(-6, -4);
    }

    void boxOrigin()
    {
        QFETCH(int, pixmapWidth);
        QFETCH(double, scale);
        QFETCH(int, hPos);
        QFETCH(QPointF, expected);
        kelvara::CaseImages images;
        images.setAOICells(10, 8, 1, 1);
        images.setAOIPosition(hPos, 0);
        images.setScale(Modality::ADC, scale);
        images.setImage(Modality::ADC, QImage(pixmapWidth, pixmapWidth ? 30 : 0,
                                              QImage::Format_Grayscale8));
        QCOMPARE(images.boxOrigin(Modality::ADC), expected);
    }

    // The AOI images are cut again after any change of what they depend on, and only then.
    void extractionFollowsChanges()
    {
        kelvara::CaseImages images;
        QImage t2(200, 200, QImage::Format_Grayscale8);
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 200; ++x)
                t2.scanLine(y)[x] = uchar(x + y);
        images.setImage(Modality::T2, t2);
        const QImage first = images.aoiImages().t2;
        QCOMPARE(images.aoiImages().t2.constBits(), first.constBits()); // cached, not recut
        images.setAOIPosition(0, 3);
        const QImage moved = images.aoiImages().t2;
        // Up the screen by 3: the canvas centre now shows the source row 3 above.
        QCOMPARE(int(moved.pixel(256, 256) & 0xFF), int(first.pixel(256, 253) & 0xFF));
        images.setScale(Modality::T2, 2.0);
        QVERIFY(images.aoiImages().t2 != moved);
    }

    // Each refused file leaves a null image and a message naming the file; each accepted one
    // has the size its header declares. Up to the side limit, whatever Qt's allocation limit.
    void bmpFilesAreCheckedBeforeDecoding_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("words"); // empty: loads
        const QByteArray full = QByteArray(24 * 5, '\x55'); // 7 x 5 pixels of 24 bits
        QTest::newRow("truncated pixel data")
            << "cut.bmp" << bmp(7, 5, 24, full.left(60)) << "shorter than its header declares";
        QTest::newRow("offset past the end")
            << "far.bmp" << bmp(7, 5, 24, full, 0, 0, 100000) << "past the end of the file";
        QTest::newRow("colour table under the pixels")
            << "table.bmp" << bmp(7, 5, 8, full, 0, 256, 60) << "inside its headers and colour table";
        // The colour count at its limits: 2^bits colours, and pixels right after the table.
        const QByteArray pixels8(40, '\1'), pixels4(20, '\x11'); // 7 x 5 pixels of colour 1
        QTest::newRow("256 colours for 8 bits") << "c256.bmp" << bmp(7, 5, 8, pixels8, 0, 256) << QString();
        QTest::newRow("257 colours for 8 bits")
            << "c257.bmp" << bmp(7, 5, 8, pixels8, 0, 257) << "declares 257 colours for 8-bit pixels";
        QTest::newRow("17 colours for 4 bits")
            << "c17.bmp" << bmp(7, 5, 4, pixels4, 0, 17) << "declares 17 colours for 4-bit pixels";
        QTest::newRow("4 colours, pixels after them") << "c4.bmp" << bmp(7, 5, 8, pixels8, 0, 4) << QString();
        QTest::newRow("4 colours, pixels after 3")
            << "c4short.bmp" << bmp(7, 5, 8, pixels8, 0, 4, 54 + 3 * 4)
            << "starts at byte 66, inside its headers and colour table (which end at byte 70)";
        QTest::newRow("no width") << "w0.bmp" << bmp(0, 5, 24, full) << "declares 0 x 5 pixels";
        QTest::newRow("negative width") << "w-.bmp" << bmp(-7, 5, 24, full) << "declares -7 x 5";
        QTest::newRow("wider than the limit")
            << "wide.bmp" << bmp(16385, 1, 8, QByteArray(16388, '\0'), 0, 2) << "larger than the 16384";
        QTest::newRow("JPEG inside") << "jpeg.bmp" << bmp(7, 5, 24, full, 4) << "compression (JPEG)";
        QTest::newRow("2 bits per pixel") << "2bit.bmp" << bmp(7, 5, 2, full) << "2 bits per pixel";
        QTest::newRow("run lengths cut short")
            << "rle.bmp" << bmp(7, 5, 8, rle8(7, 2).chopped(2), 1, 2) << "after 2 of 5 rows";
        QTest::newRow("run lengths leave pixels unset")
            << "short.bmp" << bmp(7, 5, 8, rle8(4, 5), 1, 2) << "pixels of row 0 unset";
        QTest::newRow("text") << "text.bmp" << QByteArray("no image") << "not a readable image";
        QTest::newRow("missing") << "gone.bmp" << QByteArray() << "file not found";
        QTest::newRow("FIFO") << "fifo.bmp" << QByteArray() << "is a FIFO";
        QTest::newRow("folder") << "folder.bmp" << QByteArray() << "is a folder";
        QTest::newRow("NUL in the name") << QString("nul") + QChar(0) + ".bmp" << QByteArray() << "NUL character";
        QTest::newRow("16384 wide")
            << "wide.bmp" << bmp(16384, 2, 8, QByteArray(2 * 16384, '\1'), 0, 2) << QString();
        // 16384 x 8200 bytes: more than Qt's default allocation limit of 128 MiB.
        QTest::newRow("beyond 128 MiB decoded")
            << "large.bmp" << bmp(16384, 8200, 8, rle8(16384, 8200), 1, 256) << QString();
    }
    void bmpFilesAreCheckedBeforeDecoding()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, words);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        if (name.startsWith("fifo"))
            QVERIFY(::mkfifo(QFile::encodeName(path), 0600) == 0);
        else if (name.startsWith("folder"))
            QVERIFY(QDir().mkdir(path));
        else if (!bytes.isEmpty()) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        }
        kelvara::CaseImages images;
        images.setImage(Modality::DWI, QImage(4, 4, QImage::Format_Grayscale8));
        QString error;
        const bool loaded = images.loadBmp(Modality::DWI, path, &error);
        const QImage& image = images.image(Modality::DWI);
        QCOMPARE(loaded, words.isEmpty());
        QCOMPARE(image.isNull(), !loaded);
        if (loaded)
            QCOMPARE(image.size(), QSize(qFromLittleEndian<qint32>(bytes.constData() + 18),
                                         qFromLittleEndian<qint32>(bytes.constData() + 22)));
        else
            QVERIFY2(error.contains(kelvara::displayPath(path)) && error.contains(words),
                     qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestCaseImages)
#include "test_caseimages.moc"
