#include "JsonFile.h"
#include "PersistenceTestData.h"
#include "ProjectFile.h"
#include "SettingsFile.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

using kelvara::JsonFile;
using kelvara::SettingsFile;

namespace {

enum class Input {
    Missing,
    Directory,
    Unreadable,
    Empty,
    Invalid,
    Truncated,
    ArrayRoot,
    ScalarRoot,
    CarriageReturns,
    LargeValid,
    LargeGarbage,
    OverLimit
};

enum class Failure { MissingDirectory, TargetIsDirectory, ReadOnlyDirectory, WriteError };

constexpr qsizetype kFiftyMegabytes = qsizetype(50) * 1024 * 1024;

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

// Root cannot be kept out of a directory by its permissions.
bool permissionsApply()
{
    return geteuid() != 0;
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
Q_DECLARE_METATYPE(Failure)

class TestJsonFile : public QObject
{
    Q_OBJECT

private slots:
    void read_data();
    void read();
    void failedSave_data();
    void failedSave();
    void saveReplaces();
};

void TestJsonFile::read_data()
{
    QTest::addColumn<Input>("input");
    QTest::addColumn<bool>("opened");
    QTest::addColumn<int>("resultMax"); // -1: the document reads as an empty object

    QTest::newRow("missing") << Input::Missing << false << -1;
    QTest::newRow("directory") << Input::Directory << false << -1;
    QTest::newRow("unreadable") << Input::Unreadable << false << -1;
    QTest::newRow("over the size limit") << Input::OverLimit << false << -1;
    QTest::newRow("empty") << Input::Empty << true << -1;
    QTest::newRow("invalid") << Input::Invalid << true << -1;
    QTest::newRow("truncated") << Input::Truncated << true << -1;
    QTest::newRow("array root") << Input::ArrayRoot << true << -1;
    QTest::newRow("number root") << Input::ScalarRoot << true << -1;
    QTest::newRow("carriage returns") << Input::CarriageReturns << true << 12;
    QTest::newRow("50 MB valid") << Input::LargeValid << true << 12;
    QTest::newRow("50 MB garbage") << Input::LargeGarbage << true << -1;
}

void TestJsonFile::read()
{
    QFETCH(Input, input);
    QFETCH(bool, opened);
    QFETCH(int, resultMax);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath("config.cfg");
    switch (input) {
    case Input::Missing:
        break;
    case Input::Directory:
        QVERIFY(QDir(dir.path()).mkdir("config.cfg"));
        break;
    case Input::Unreadable:
        if (!permissionsApply())
            QSKIP("running as root: permissions do not keep the file from being read");
        QVERIFY(writeBytes(path, "{}"));
        QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));
        break;
    case Input::OverLimit: {
        // Sparse: no disk space used.
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        QVERIFY(f.resize(JsonFile::maximumSize + 1));
        break;
    }
    case Input::Empty:
        QVERIFY(writeBytes(path, ""));
        break;
    case Input::Invalid:
        QVERIFY(writeBytes(path, R"({"ResultMax": 12,)"));
        break;
    case Input::Truncated: {
        QVERIFY(SettingsFile::save(path, testdata::stored()));
        const QByteArray whole = readBytes(path);
        QVERIFY(writeBytes(path, whole.left(whole.size() / 2)));
        break;
    }
    case Input::ArrayRoot:
        QVERIFY(writeBytes(path, R"([{"ResultMax": 12}])"));
        break;
    case Input::ScalarRoot:
        QVERIFY(writeBytes(path, "12"));
        break;
    case Input::CarriageReturns:
        // Text mode drops the CR inside the string, which JSON would reject.
        QVERIFY(writeBytes(path, "{\r\n    \"Pad\": \"a\rb\",\r\n    \"ResultMax\": 12\r\n}\r\n"));
        break;
    case Input::LargeValid: {
        QByteArray bytes = R"({"ResultMax": 12, "Pad": ")";
        bytes.append(kFiftyMegabytes, 'x');
        bytes.append("\"}");
        QVERIFY(writeBytes(path, bytes));
        break;
    }
    case Input::LargeGarbage: {
        QByteArray bytes(kFiftyMegabytes, Qt::Uninitialized);
        QRandomGenerator random(7);
        random.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
        bytes[0] = '{';
        QVERIFY(writeBytes(path, bytes));
        break;
    }
    }

    const std::optional<QJsonObject> root = JsonFile::read(path);
    QCOMPARE(root.has_value(), opened);
    // The file loaders pass "cannot open" on, so that the window changes nothing.
    QCOMPARE(SettingsFile::load(path).has_value(), opened);
    QCOMPARE(kelvara::ProjectFile::load(path).has_value(), opened);
    if (!opened)
        return;
    if (resultMax < 0)
        QVERIFY(root->isEmpty());
    else
        QCOMPARE(root->value("ResultMax").toInt(-1), resultMax);
}

void TestJsonFile::failedSave_data()
{
    QTest::addColumn<Failure>("failure");
    QTest::newRow("missing directory") << Failure::MissingDirectory;
    QTest::newRow("target is a directory") << Failure::TargetIsDirectory;
    QTest::newRow("read-only directory") << Failure::ReadOnlyDirectory;
    QTest::newRow("write error") << Failure::WriteError;
}

void TestJsonFile::failedSave()
{
    QFETCH(Failure, failure);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString folder = dir.filePath("folder");
    QVERIFY(QDir(dir.path()).mkdir("folder"));
    QString path = folder + "/config.cfg";
    const QByteArray previous = "{\n    \"ResultMax\": 12\n}\n";

    bool saved = true;
    switch (failure) {
    case Failure::MissingDirectory:
        path = dir.filePath("missing/config.cfg");
        saved = SettingsFile::save(path, testdata::stored());
        QVERIFY(!QFile::exists(path));
        break;
    case Failure::TargetIsDirectory:
        QVERIFY(QDir(folder).mkdir("config.cfg"));
        saved = SettingsFile::save(path, testdata::stored());
        QVERIFY(QFileInfo(path).isDir());
        break;
    case Failure::ReadOnlyDirectory:
        if (!permissionsApply())
            QSKIP("running as root: permissions do not keep the directory from being written");
        QVERIFY(writeBytes(path, previous));
        QVERIFY(QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        saved = SettingsFile::save(path, testdata::stored());
        QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ExeOwner);
        break;
    case Failure::WriteError: {
        QVERIFY(writeBytes(path, previous));
        const FileSizeLimit limit(64); // the document is some kilobytes
        QVERIFY(limit.active());
        saved = SettingsFile::save(path, testdata::stored());
        break;
    }
    }
    QVERIFY(!saved);
    if (failure == Failure::ReadOnlyDirectory || failure == Failure::WriteError) {
        QCOMPARE(readBytes(path), previous);
        // No half-written temporary file is left beside it.
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"config.cfg"});
    }
}

void TestJsonFile::saveReplaces()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("case.kelvara");
    QVERIFY(writeBytes(path, QByteArray(100000, 'x')));
    QVERIFY(kelvara::ProjectFile::save(path, testdata::stored(), testdata::images()));
    const std::optional<QJsonObject> root = JsonFile::read(path);
    QVERIFY(root);
    QCOMPARE(*root, kelvara::ProjectFile::toJson(testdata::stored(), testdata::images()));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"case.kelvara"});
}

QTEST_GUILESS_MAIN(TestJsonFile)
#include "test_jsonfile.moc"
