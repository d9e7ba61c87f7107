#include "FileAccess.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace kelvara;

namespace {

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace

class TestFileAccess : public QObject
{
    Q_OBJECT

private slots:
    // Each refusal ends at once (a FIFO without a writer would block an open() for ever) and
    // names the file and the reason.
    void refusedReads_data()
    {
        QTest::addColumn<QString>("made");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing") << "missing" << "file not found";
        QTest::newRow("folder") << "folder" << "is a folder, not a regular file";
        QTest::newRow("fifo") << "fifo" << "is a FIFO, not a regular file";
        QTest::newRow("/dev/zero") << "/dev/zero" << "is a character device, not a regular file";
        QTest::newRow("over the cap") << "large" << "the file is too large";
        QTest::newRow("NUL in the name") << "nul" << "the file name contains a NUL character";
    }

    void refusedReads()
    {
        QFETCH(QString, made);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        QString path = dir.filePath(made);
        if (made == "folder")
            QVERIFY(QDir(dir.path()).mkdir(made));
        else if (made == "fifo")
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else if (made == "/dev/zero")
            path = made;
        else if (made == "large")
            QVERIFY(writeBytes(path, QByteArray(1025, 'x')));
        else if (made == "nul") {
            QVERIFY(writeBytes(path, "{}")); // the name up to the NUL exists
            path += QChar(0) + QStringLiteral("tail");
        }
        QString error;
        QVERIFY(!readRegularFile(path, 1024, &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        // The whole name is shown, a NUL included, so the message is never cut short.
        QVERIFY2(error.contains(displayPath(path)), qPrintable(error));
        QVERIFY(!error.contains(QChar(0)));
    }

    void readsWholeFileUpToTheCap()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("f");
        const QByteArray bytes(1024, 'k');
        QVERIFY(writeBytes(path, bytes));
        QString error;
        QCOMPARE(readRegularFile(path, 1024, &error).value_or(QByteArray()), bytes);
        // Python's hashlib of 1024 x "k".
        QCOMPARE(sha256OfFile(path, 1024, &error).value_or(QString()),
                 "fb236ae29378d0cf16cdc6b4b5b9f82d6642514a61b60542efd33641eab2662d");
    }

    // A cap is the largest size read: every entry takes a file of exactly the cap and refuses
    // one byte more, with the reason.
    void capIsTheLargestSizeRead_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<int>("over");
        for (const char* entry : {"check", "read", "sha256"}) {
            QTest::addRow("%s, at the cap", entry) << entry << 0;
            QTest::addRow("%s, one byte over", entry) << entry << 1;
        }
    }
    void capIsTheLargestSizeRead()
    {
        QFETCH(QString, entry);
        QFETCH(int, over);
        constexpr qint64 cap = 4096;
        QTemporaryDir dir;
        const QString path = dir.filePath("f");
        QVERIFY(writeBytes(path, QByteArray(cap + over, 'c')));
        QString error;
        bool read = false;
        if (entry == "check")
            read = checkRegularFile(path, cap, &error);
        else if (entry == "read")
            read = readRegularFile(path, cap, &error).value_or(QByteArray()).size() == cap;
        else
            read = sha256OfFile(path, cap, &error).has_value();
        QCOMPARE(read, over == 0);
        QCOMPARE(regularFileProblem(path, cap).isEmpty(), over == 0);
        if (over)
            QVERIFY2(error.contains("the file is too large") && error.contains(path), qPrintable(error));
    }

    void writeReplaces()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("image.png");
        QVERIFY(writeBytes(path, QByteArray(100000, 'x')));
        QImage image(3, 2, QImage::Format_Grayscale8);
        image.fill(7);
        QString error;
        QVERIFY2(writeImageAtomically(path, image, "PNG", 80, &error), qPrintable(error));
        QCOMPARE(QImage(path).convertToFormat(QImage::Format_Grayscale8), image);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"image.png"});
    }
};

QTEST_GUILESS_MAIN(TestFileAccess)
#include "test_fileaccess.moc"
