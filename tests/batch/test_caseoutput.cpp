// kelvara-batch's output folder, run as a process: it replaces only case folders it wrote
// itself, leaves nothing half-written or hidden when it is stopped or killed, and keeps control
// characters in names off the terminal.
#include "BatchCase.h"
#include "BatchTestSupport.h"
#include "FileAccess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QMap>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

using namespace batchtest;

namespace {

const QString kSamples = QStringLiteral(KELVARA_SAMPLES_DIR);

bool copyTree(const QString& from, const QString& to)
{
    if (!QDir().mkpath(to))
        return false;
    for (const QFileInfo& entry : QDir(from).entryInfoList(QDir::AllEntries | QDir::Hidden |
                                                           QDir::NoDotAndDotDot)) {
        const QString target = to + '/' + entry.fileName();
        if (entry.isDir() ? !copyTree(entry.filePath(), target)
                          : !QFile::copy(entry.filePath(), target))
            return false;
    }
    return true;
}

// Every file below dir (links as links) with the SHA-256 of its bytes.
QMap<QString, QByteArray> fileHashes(const QString& dir)
{
    QMap<QString, QByteArray> hashes;
    for (QDirIterator it(dir, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
         it.hasNext();) {
        const QFileInfo entry(it.next());
        if (entry.isDir() && !entry.isSymLink())
            continue;
        QFile file(entry.filePath());
        hashes.insert(QDir(dir).relativeFilePath(entry.filePath()),
                      entry.isSymLink() ? entry.symLinkTarget().toUtf8()
                      : file.open(QIODevice::ReadOnly)
                          ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
                          : QByteArray("unreadable"));
    }
    return hashes;
}

// Hidden entries a run may have left: staging folders are ".kelvara-*".
QStringList stagingLeft(const QString& out)
{
    return QDir(out).entryList({".kelvara-*"}, QDir::AllEntries | QDir::Hidden | QDir::System);
}

bool isCompleteCaseFolder(const QString& path)
{
    return kelvara::isCaseFolder(path) && QFile::exists(path + "/result.json");
}

// Permission bits do not stop root: as root, kelvara-batch runs without any capability, so
// that they hold for it as for any user. Empty when that cannot be done (the caller skips).
QStringList withoutPrivileges()
{
    if (::geteuid() != 0)
        return {QStringLiteral("env")};
    const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
    if (setpriv.isEmpty())
        return {};
    return {setpriv, "--inh-caps=-all", "--bounding-set=-all"};
}

// A samples copy with `count` copies of the lesion project, for runs that last long enough
// to be stopped in the middle.
QStringList lesionCopies(const QString& dir, int count)
{
    QStringList projects;
    if (!copyTree(kSamples, dir))
        return projects;
    for (int i = 0; i < count; ++i) {
        const QString project = QStringLiteral("%1/c%2.kelvara").arg(dir).arg(i, 2, 10, QLatin1Char('0'));
        if (QFile::copy(dir + "/lesion.kelvara", project))
            projects << project;
    }
    return projects;
}

// Starts a 40-case run from a samples copy in tmp into tmp/out and waits until it is writing a
// case (a staging folder exists); `projects` gets the run's projects.
bool startAndCatchWriting(QProcess& p, const QTemporaryDir& tmp, QStringList* projects)
{
    *projects = lesionCopies(tmp.filePath("in"), 40);
    if (projects->size() != 40)
        return false;
    const QString out = tmp.filePath("out");
    p.start(QStringLiteral(KELVARA_BATCH_EXE),
            QStringList{"--jobs", "2", "--planes", "--out", out} + *projects);
    if (!p.waitForStarted())
        return false;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 60000 && p.state() == QProcess::Running) {
        if (!QDir(out).entryList({".kelvara-staging-*"}, QDir::Dirs | QDir::Hidden).isEmpty())
            return true;
        QThread::msleep(2);
    }
    return false;
}

} // namespace

class TestCaseOutput : public QObject
{
    Q_OBJECT

private slots:
    // `--out .` beside the projects: whatever has the case's name and was not written by
    // kelvara-batch stays byte-identical and the case takes the next free name, said on stderr
    // and in summary.csv; only an earlier case folder of its own is replaced.
    void keepsWhatItDidNotWrite_data()
    {
        QTest::addColumn<QString>("project");
        QTest::addColumn<QString>("occupant");
        QTest::addColumn<QString>("expected");
        QTest::newRow("lesion.kelvara beside lesion/") << "lesion" << "sample" << "lesion-2";
        QTest::newRow("exam.kelvara beside exam/") << "exam" << "sample" << "exam-2";
        QTest::newRow("a folder of the user's") << "c0" << "folder" << "c0-2";
        QTest::newRow("a file of the user's") << "c0" << "file" << "c0-2";
        QTest::newRow("a link to a case folder") << "c0" << "link" << "c0-2";
        QTest::newRow("the next name taken too") << "c0" << "two folders" << "c0-3";
        QTest::newRow("an earlier case folder") << "c0" << "earlier" << "c0";
    }

    void keepsWhatItDidNotWrite()
    {
        QFETCH(QString, project);
        QFETCH(QString, occupant);
        QFETCH(QString, expected);
        QTemporaryDir tmp;
        const QString dir = tmp.filePath("samples");
        QVERIFY(copyTree(kSamples, dir));
        if (project == "c0")
            QVERIFY(QFile::copy(dir + "/lesion.kelvara", dir + "/c0.kelvara"));
        const QString taken = dir + '/' + project;
        if (occupant == "folder" || occupant == "two folders") {
            QVERIFY(QDir().mkpath(taken) && writeText(taken + "/notes.txt", "mine"));
            if (occupant == "two folders")
                QVERIFY(QDir().mkpath(taken + "-2") && writeText(taken + "-2/notes.txt", "mine too"));
        } else if (occupant == "file") {
            QVERIFY(writeText(taken, "mine"));
        } else if (occupant == "link") {
            // A case folder elsewhere, reached through a link of the user's: not this place's.
            const QString elsewhere = tmp.filePath("elsewhere");
            QVERIFY(QDir().mkpath(elsewhere) && kelvara::markCaseFolder(elsewhere, nullptr));
            QVERIFY(writeText(elsewhere + "/result.json", "{}"));
            QVERIFY(QFile::link(elsewhere, taken));
        } else if (occupant == "earlier") {
            QVERIFY(QDir().mkpath(taken) && kelvara::markCaseFolder(taken, nullptr));
            QVERIFY(writeText(taken + "/stale.png", "earlier"));
        }
        const QMap<QString, QByteArray> before = fileHashes(tmp.path());

        const Run r = runBatch({"--out", ".", project + ".kelvara"}, {}, dir);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QMap<QString, QByteArray> after = fileHashes(tmp.path());
        for (auto it = before.begin(); it != before.end(); ++it)
            if (occupant != "earlier" || !it.key().startsWith("samples/c0/"))
                QVERIFY2(after.value(it.key()) == it.value(), qPrintable(it.key()));
        const QString note = QString("'%1' was not written by kelvara-batch and is left untouched; "
                                     "the case of '%2.kelvara' is written to '%3/%4'")
                                 .arg(taken, project, dir, expected);
        if (occupant == "earlier") {
            QVERIFY2(!r.err.contains("left untouched"), qPrintable(r.err));
            QVERIFY(!QFile::exists(taken + "/stale.png"));
        } else {
            QVERIFY2(r.err.contains(note), qPrintable(r.err));
        }
        QVERIFY(isCompleteCaseFolder(dir + '/' + expected));
        QCOMPARE(readJson(dir + '/' + expected + "/result.json").value("case").toString(), expected);
        QVERIFY(QString::fromUtf8(readText(dir + "/summary.csv"))
                    .section('\n', 1, 1).startsWith(expected + "," + project + ".kelvara,"));
        QCOMPARE(stagingLeft(dir), QStringList());
    }

    // An earlier case folder that this user cannot replace stays as it was: one that is
    // read-only is passed over for a free name; one whose files cannot be removed (found only
    // when trying) is put back and the case fails saying where everything is.
    void earlierFolderThatCannotBeReplaced_data()
    {
        QTest::addColumn<bool>("sticky");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("messageParts");
        QTest::newRow("read-only folder (mode 555)")
            << false << 0
            << QStringList{"/c0' is an earlier case folder that cannot be replaced (read-only) "
                           "and is left as it is; the case of '", "c0.kelvara' is written to '",
                           "/c0-2'"};
        QTest::newRow("files of another user in a sticky folder")
            << true << 1
            << QStringList{"case 'c0' (", "cannot put '", "/c0' in place: the earlier folder "
                           "cannot be removed (some of its files are protected) and is left in "
                           "place; this run's result of the case was not kept"};
    }

    void earlierFolderThatCannotBeReplaced()
    {
        QFETCH(bool, sticky);
        QFETCH(int, exitCode);
        QFETCH(QStringList, messageParts);
        const QStringList wrapper = withoutPrivileges();
        if (wrapper.isEmpty())
            QSKIP("running as root without setpriv: permission bits cannot hold here");
        if (sticky && ::geteuid() != 0)
            QSKIP("files of another user can only be made as root");
        QTemporaryDir tmp;
        const QString dir = tmp.filePath("samples"), earlier = dir + "/c0";
        QVERIFY(copyTree(kSamples, dir));
        QVERIFY(QFile::copy(dir + "/lesion.kelvara", dir + "/c0.kelvara"));
        QVERIFY(QDir().mkpath(earlier) && kelvara::markCaseFolder(earlier, nullptr));
        QVERIFY(writeText(earlier + "/result.json", R"({"case": "c0", "earlier": true})"));
        const QByteArray name = QFile::encodeName(earlier);
        if (sticky) {
            // Removable folder, files that only their owner (or a privileged process) may
            // remove: nothing tells until the removal is tried.
            for (const QString& f : {QString(), QString(kelvara::kCaseFolderMarker), QString("result.json")})
                QVERIFY(::chown(QFile::encodeName(earlier + '/' + f).constData(), 4242, 4242) == 0);
            QVERIFY(::chmod(name.constData(), 01777) == 0);
        } else {
            QVERIFY(::chmod(name.constData(), 0555) == 0);
        }
        const QMap<QString, QByteArray> before = fileHashes(earlier);

        const Run r = runBatch({"--out", ".", "c0.kelvara"}, wrapper, dir);
        ::chmod(name.constData(), 0755);
        QCOMPARE(r.exitCode, exitCode);
        for (const QString& part : messageParts)
            QVERIFY2(r.err.contains(part), qPrintable(r.err));
        QCOMPARE(fileHashes(earlier), before);
        QVERIFY(kelvara::isCaseFolder(earlier));
        QCOMPARE(stagingLeft(dir), QStringList());
        const QString row = QString::fromUtf8(readText(dir + "/summary.csv")).section('\n', 1, 1);
        QVERIFY2(row.startsWith(sticky ? "c0,c0.kelvara,,failed," : "c0-2,c0.kelvara,,ok,"),
                 qPrintable(row));
        QCOMPARE(isCompleteCaseFolder(dir + "/c0-2"), !sticky);
    }

    // Stopped in the middle of writing cases: no staging folder is left, every case folder
    // there is complete, and the exit status says which signal.
    void stoppedBySignal_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("SIGTERM") << int(SIGTERM) << 143 << "stopped by SIGTERM";
        QTest::newRow("SIGINT") << int(SIGINT) << 130 << "stopped by SIGINT";
    }

    void stoppedBySignal()
    {
        QFETCH(int, signal);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        QTemporaryDir tmp;
        const QString out = tmp.filePath("out");
        QStringList projects;
        QProcess p;
        QVERIFY(startAndCatchWriting(p, tmp, &projects));
        QCOMPARE(::kill(pid_t(p.processId()), signal), 0);
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), exitCode);
        QVERIFY(QString::fromUtf8(p.readAllStandardError()).contains(message));
        QCOMPARE(stagingLeft(out), QStringList());
        const QStringList written = QDir(out).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QVERIFY(written.size() < projects.size());
        for (const QString& folder : written)
            QVERIFY2(isCompleteCaseFolder(out + '/' + folder), qPrintable(folder));
    }

    // A run removes the staging folders of processes that are gone (a killed run, a pid that
    // a later process now has) and keeps those that may still be written: a live process's,
    // another host's.
    void staleStagingFoldersRemoved()
    {
        QTemporaryDir tmp;
        const QString out = tmp.filePath("out");
        QStringList projects;
        QProcess p;
        QVERIFY(startAndCatchWriting(p, tmp, &projects));
        p.kill();
        QVERIFY(p.waitForFinished(60000));
        const QStringList killed = stagingLeft(out);
        QVERIFY(!killed.isEmpty());

        QString error;
        const QString live = QFileInfo(kelvara::createStagingFolder(out, &error)).fileName();
        QVERIFY2(!live.isEmpty(), qPrintable(error));
        // ".kelvara-staging-HOST-BOOT-PIDNS-PID-START-RANDOM"
        QStringList reused = live.split('-'), otherHost = killed.first().split('-');
        reused[6] = QString::number(reused[6].toULongLong() + 1);
        otherHost[2] = "00000000";
        QVERIFY(QDir(out).mkdir(reused.join('-')) && QDir(out).mkdir(otherHost.join('-')));

        const Run r = runBatch({"--out", out, projects.first()});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        for (const QString& gone : killed + QStringList{reused.join('-')})
            QVERIFY2(r.err.contains("removed '" + out + '/' + gone +
                                    "', left by an earlier run that was stopped"),
                     qPrintable(r.err));
        QStringList kept{live, otherHost.join('-')};
        kept.sort();
        QCOMPARE(stagingLeft(out), kept);
    }

    // Control characters in a project's name reach stderr escaped; summary.csv and the case
    // folder keep the real name.
    void controlCharactersEscaped_data()
    {
        QTest::addColumn<QString>("character");
        QTest::addColumn<QString>("shown");
        QTest::newRow("ESC") << QString(QChar(0x1b)) << "\\x1b";
        QTest::newRow("line feed") << QString(QChar(0x0a)) << "\\x0a";
        QTest::newRow("DEL") << QString(QChar(0x7f)) << "\\x7f";
        QTest::newRow("C1 CSI") << QString(QChar(0x9b)) << "\\x9b";
    }

    void controlCharactersEscaped()
    {
        QFETCH(QString, character);
        QFETCH(QString, shown);
        QTemporaryDir tmp;
        const QString name = "bad" + character + "[2Jname";
        const QString project = tmp.filePath(name + ".kelvara");
        QVERIFY(writeText(project, "{"));
        const Run r = runBatch({"--out", tmp.filePath("out"), project});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("case 'bad" + shown + "[2Jname' ("), qPrintable(r.err));
        QVERIFY2(!r.err.contains("bad" + character), qPrintable(r.err));
        QVERIFY(QString::fromUtf8(readText(tmp.filePath("out/summary.csv"))).contains(name));
        QVERIFY(kelvara::isCaseFolder(tmp.filePath("out/" + name)));
    }
};

QTEST_GUILESS_MAIN(TestCaseOutput)
#include "test_caseoutput.moc"
