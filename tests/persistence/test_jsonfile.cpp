#include "JsonFile.h"
#include "PersistenceTestData.h"
#include "ControlFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <optional>
#include <sys/resource.h>

using kelvara::JsonFile;
using kelvara::ControlFile;

namespace {

// How the file under test is made, beyond writing the row's bytes.
enum class Input { Bytes, Missing, Directory, OverLimit, LargeValid };

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Makes every write beyond `bytes` fail with EFBIG for as long as it lives.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        m_active = setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_oldHandler);
    }
    bool active() const { return m_active; }

private:
    rlimit m_saved{};
    void (*m_oldHandler)(int) = nullptr;
    bool m_active = false;
};

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
        QTest::newRow("directory") << Input::Directory << QByteArray() << false << -1;
        QTest::newRow("over the size limit") << Input::OverLimit << QByteArray() << false << -1;
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
        if (input == Input::Directory)
            QVERIFY(QDir(dir.path()).mkdir("config.cfg"));
        if (input == Input::LargeValid) // read in pieces: the whole must still come through
            bytes = "{\"ResultMax\": 12, \"Pad\": \"" + QByteArray(qsizetype(50) << 20, 'x') + "\"}";
        if (input != Input::Missing && input != Input::Directory)
            QVERIFY(writeBytes(path, bytes));
        if (input == Input::OverLimit)
            QVERIFY(QFile(path).resize(JsonFile::maximumSize + 1)); // sparse: no disk space used

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

    void failedSave_data()
    {
        QTest::addColumn<bool>("writeError"); // else the target cannot be opened
        QTest::newRow("target is a directory") << false;
        QTest::newRow("write error") << true;
    }

    // Nothing is replaced and no half-written temporary file is left beside the target.
    void failedSave()
    {
        QFETCH(bool, writeError);
        QTemporaryDir dir;
        const QString path = dir.filePath("config.cfg");
        const QByteArray previous = "{\n    \"ResultMax\": 12\n}\n";
        if (writeError)
            QVERIFY(writeBytes(path, previous));
        else
            QVERIFY(QDir(dir.path()).mkdir("config.cfg"));
        std::optional<FileSizeLimit> limit;
        if (writeError) {
            limit.emplace(64); // the document is some kilobytes
            QVERIFY(limit->active());
        }
        QVERIFY(!ControlFile::settings().save(path, testdata::stored()));
        limit.reset();
        QCOMPARE(QFileInfo(path).isDir(), !writeError);
        if (writeError)
            QCOMPARE(readBytes(path), previous);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 writeError ? QStringList{"config.cfg"} : QStringList{});
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
