#include "PersistenceTestData.h"
#include "ControlFile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>


using kelvara::ControlFile;

namespace {

// How the file under test is made, beyond writing the row's bytes.
enum class Input { Bytes, Missing, LargeValid };

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace

Q_DECLARE_METATYPE(Input)

class TestJsonFile : public QObject
{
    Q_OBJECT

private slots:
    void read_data()
    {
        QTest::addColumn<Input>("input");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error"); // part of the message; empty: the file loads

        auto program = [](int entries) {
            QByteArray list = "{\"Program\": [";
            for (int i = 0; i < entries; ++i)
                list += QByteArray(i ? "," : "") + "{\"Text\": \"m\", \"Data\": \"M_DWI;1\"}";
            return list + "], \"ResultMax\": 12}";
        };
        QTest::newRow("missing") << Input::Missing << QByteArray() << "config.cfg': file not found";
        QTest::newRow("invalid") << Input::Bytes << QByteArray("{\"ResultMax\": 12,")
                                 << "config.cfg': not valid JSON";
        QTest::newRow("array root") << Input::Bytes << QByteArray("[{\"ResultMax\": 12}]")
                                    << "config.cfg': holds no JSON object";
        QTest::newRow("50 MB valid") << Input::LargeValid << QByteArray() << "";
        QTest::newRow("1000 entries") << Input::Bytes << program(1000) << "";
        QTest::newRow("1001 entries") << Input::Bytes << program(1001)
                                      << "holds 1001 entries, more than the 1000";
    }

    // A file that cannot be used says why, for both layouts; one that loads gives its values.
    void read()
    {
        QFETCH(Input, input);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath("config.cfg");
        if (input == Input::LargeValid) // read in pieces: the whole must still come through
            bytes = "{\"ResultMax\": 12, \"Pad\": \"" + QByteArray(qsizetype(50) << 20, 'x') + "\"}";
        if (input != Input::Missing)
            QVERIFY(writeBytes(path, bytes));

        for (const ControlFile& file : {ControlFile::settings(), ControlFile::project()}) {
            const kelvara::ControlFileLoad load = file.load(path);
            QVERIFY2(error.isEmpty() ? load.ok() : load.error.contains(error), qPrintable(load.error));
            if (load.ok())
                QCOMPARE(load.file.find("ResultMaskIntervalMax")->number, 12.0);
        }
    }

    void saveReplaces()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("case.kelvara");
        QVERIFY(writeBytes(path, QByteArray(100000, 'x')));
        QVERIFY(ControlFile::project().save(path, testdata::stored(), testdata::images()));
        QFile written(path);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(QJsonDocument::fromJson(written.readAll()).object(),
                 ControlFile::project().toJson(testdata::stored(), testdata::images()));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"case.kelvara"});
    }
};

QTEST_GUILESS_MAIN(TestJsonFile)
#include "test_jsonfile.moc"
