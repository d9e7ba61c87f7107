// Images handed to the encoder arrive on disk as they were, and a file that cannot be written
// is named, also when the ones before and after it succeed.
#include "ImageEncoder.h"

#include <QTemporaryDir>
#include <QtTest>

class TestImageEncoder : public QObject
{
    Q_OBJECT

private slots:
    void writesEveryImageOrNamesTheFailure_data()
    {
        QTest::addColumn<int>("blocked"); // index of the image whose path is a folder, -1 none
        QTest::newRow("all written") << -1;
        QTest::newRow("the middle one fails") << 1;
    }
    void writesEveryImageOrNamesTheFailure()
    {
        QFETCH(int, blocked);
        QTemporaryDir dir;
        const QStringList files{"a.png", "b.png", "c.png"};
        if (blocked >= 0)
            QVERIFY(QDir(dir.path()).mkdir(files[blocked]));
        kelvara::ImageEncoder encoder{QDir(dir.path())};
        QList<QImage> images;
        for (int i = 0; i < files.size(); ++i) {
            QImage image(40 + i, 30, i == 2 ? QImage::Format_ARGB32 : QImage::Format_Grayscale8);
            image.fill(QColor(10 * i, 200, 7, 128));
            images << image;
            encoder.add(files[i], image);
        }
        QString error;
        QCOMPARE(encoder.writeAll(&error), blocked < 0);
        if (blocked >= 0)
            QVERIFY2(error.contains(dir.filePath(files[blocked])), qPrintable(error));
        for (int i = 0; i < files.size(); ++i)
            if (i != blocked)
                QCOMPARE(QImage(dir.filePath(files[i])), images[i]);
    }
};

QTEST_GUILESS_MAIN(TestImageEncoder)
#include "test_imageencoder.moc"
