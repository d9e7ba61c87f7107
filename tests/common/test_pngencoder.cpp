// Our PNG files decode with Qt's reader (libpng) to the very pixels written, in every format the
// batch writes and with every row filter, and their chunks are well formed.
#include "PngEncoder.h"

#include <QRandomGenerator>
#include <QtEndian>
#include <QtTest>

#include <zlib.h>

namespace {

// kind: "gradient" (opaque), "noise" (alpha 0, 255 and between) or "zero".
QImage sample(const QString& kind, int width, int height, QImage::Format format)
{
    QImage image(width, height, QImage::Format_ARGB32);
    QRandomGenerator random(width * 1000 + height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const quint32 noise = random.generate();
            const quint32 alpha = x % 3 == 0 ? 255 : x % 3 == 1 ? 0 : noise >> 24;
            image.setPixel(x, y, kind == "zero"       ? 0
                                 : kind == "gradient" ? qRgb(7 * x % 256, 3 * y % 256, (x + y) % 256)
                                                      : (noise & 0xffffff) | alpha << 24);
        }
    return image.convertToFormat(format);
}

} // namespace

class TestPngEncoder : public QObject
{
    Q_OBJECT

private slots:
    void decodesToTheSamePixels_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<int>("filter");
        QTest::addColumn<QImage::Format>("decodedAs"); // Qt's reader: grey, RGB32 or ARGB32
        using F = QImage::Format;
        const struct { const char* kind; int w, h; F format, decodedAs; } images[] = {
            {"gradient", 37, 19, F::Format_Grayscale8, F::Format_Grayscale8},
            {"zero", 16, 8, F::Format_Grayscale8, F::Format_Grayscale8},
            {"noise", 1, 1, F::Format_Grayscale8, F::Format_Grayscale8},
            {"noise", 33, 17, F::Format_RGB32, F::Format_RGB32},
            {"gradient", 300, 80, F::Format_RGB32, F::Format_RGB32}, // two batches of rows
            {"noise", 31, 23, F::Format_ARGB32, F::Format_ARGB32},
            {"zero", 1, 1, F::Format_ARGB32, F::Format_ARGB32},
            {"noise", 29, 21, F::Format_ARGB32_Premultiplied, F::Format_ARGB32},
            {"noise", 27, 9, F::Format_RGB888, F::Format_RGB32},
        };
        for (const auto& i : images)
            for (int f : {0, 1, 2, 4}) // None, Sub, Up, Paeth
                QTest::addRow("%s %dx%d format %d filter %d", i.kind, i.w, i.h, int(i.format), f)
                    << sample(i.kind, i.w, i.h, i.format) << f << i.decodedAs;
    }
    void decodesToTheSamePixels()
    {
        QFETCH(QImage, image);
        QFETCH(int, filter);
        QFETCH(QImage::Format, decodedAs);
        kelvara::PngSettings settings;
        settings.filter = kelvara::PngFilter(filter);
        QString error;
        const std::optional<QByteArray> png = kelvara::encodePng("x.png", image, &error, settings);
        QVERIFY2(png, qPrintable(error));

        // Signature, then chunks whose CRCs hold: IHDR first, IEND last.
        QVERIFY(png->startsWith("\x89PNG\r\n\x1a\n"));
        QList<QByteArray> types;
        for (qsizetype at = 8; at < png->size();) {
            QVERIFY(at + 12 <= png->size());
            const auto* chunk = reinterpret_cast<const uchar*>(png->constData() + at);
            const quint32 length = qFromBigEndian<quint32>(chunk);
            QVERIFY(at + 12 + qsizetype(length) <= png->size());
            QCOMPARE(qFromBigEndian<quint32>(chunk + 8 + length), quint32(crc32(0, chunk + 4, length + 4)));
            types << png->mid(at + 4, 4);
            at += 12 + length;
        }
        QCOMPARE(types.first(), QByteArray("IHDR"));
        QCOMPARE(types.last(), QByteArray("IEND"));

        const QImage decoded = QImage::fromData(*png, "PNG");
        QCOMPARE(decoded.format(), decodedAs);
        QCOMPARE(decoded.convertToFormat(image.format()), image);
    }

    void refusalsNameTheFile()
    {
        const kelvara::PngSettings badLevel{kelvara::PngFilter::Up, 42, 0}; // zlib refuses the level
        for (const auto& [image, settings] : {std::pair(QImage(), kelvara::PngSettings()),
                                              std::pair(sample("zero", 4, 4, QImage::Format_RGB32), badLevel)}) {
            QString error;
            QVERIFY(!kelvara::encodePng("/out/named.png", image, &error, settings));
            QVERIFY2(error.contains("'/out/named.png'"), qPrintable(error));
        }
    }
};

QTEST_GUILESS_MAIN(TestPngEncoder)
#include "test_pngencoder.moc"
