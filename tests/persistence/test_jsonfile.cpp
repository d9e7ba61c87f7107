#include "JsonFile.h"
#include "PersistenceTestData.h"
#include "ControlFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using kelvara::JsonFile;
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
        QTest::addColumn<bool>("opened");
        QTest::addColumn<int>("resultMax"); // -1: the document reads as an empty object

        QTest::newRow("missing") << Input::Missing << QByteArray() << false << -1;
        QTest::newRow("invalid") << Input::Bytes << QByteArray("{\"ResultMax\": 12,") << true << -1;
        QTest::newRow("array root") << Input::Bytes << QByteArray("[{\"ResultMax\": 12}]") << true
                                    << -1;
        QTest::newRow("50 MB valid") << Input::LargeValid << QByteArray() << true << 12;
    }

    void read()
    {
        QFETCH(Input, input);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, opened);
        QFETCH(int, resultMax);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath("config.cfg");
        if (input == Input::LargeValid) // read in pieces: the whole must still come through
            bytes = "{\"ResultMax\": 12, \"Pad\": \"" + QByteArray(qsizetype(50) << 20, 'x') + "\"}";
        if (input != Input::Missing)
            QVERIFY(writeBytes(path, bytes));

        const std::optional<QJsonObject> root = JsonFile::read(path);
        QCOMPARE(root.has_value(), opened);
        // The file loaders pass "cannot open" on, so that the window changes nothing.
        QCOMPARE(ControlFile::settings().load(path).has_value(), opened);
        QCOMPARE(ControlFile::project().load(path).has_value(), opened);
        if (opened && resultMax < 0)
            QVERIFY(root->isEmpty());
        else if (opened)
            QCOMPARE(root->value("ResultMax").toInt(-1), resultMax);
    }

    void saveReplaces()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("case.kelvara");
        QVERIFY(writeBytes(path, QByteArray(100000, 'x')));
        QVERIFY(ControlFile::project().save(path, testdata::stored(), testdata::images()));
        const std::optional<QJsonObject> root = JsonFile::read(path);
        QVERIFY(root);
        QCOMPARE(*root, ControlFile::project().toJson(testdata::stored(), testdata::images()));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"case.kelvara"});
    }
};

QTEST_GUILESS_MAIN(TestJsonFile)
#include "test_jsonfile.moc"
