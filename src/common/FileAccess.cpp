#include "FileAccess.h"

#include <QBuffer>
#include <QDir>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QDirIterator>
#include <QImageWriter>
#include <QRegularExpression>
#include <QRandomGenerator>
#include <QSaveFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelvara {

namespace {

QString quoted(const QString& path)
{
    return QLatin1Char('\'') + displayPath(path) + QLatin1Char('\'');
}

QString kindOf(mode_t mode)
{
    if (S_ISDIR(mode))
        return QStringLiteral("a folder");
    if (S_ISFIFO(mode))
        return QStringLiteral("a FIFO");
    if (S_ISCHR(mode))
        return QStringLiteral("a character device");
    if (S_ISBLK(mode))
        return QStringLiteral("a block device");
    if (S_ISSOCK(mode))
        return QStringLiteral("a socket");
    return QStringLiteral("not an ordinary file");
}

void set(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

QString systemReason(int e)
{
    return QString::fromLocal8Bit(std::strerror(e));
}

// What is at path without following a symbolic link: 0 when nothing is there.
mode_t linkMode(const QByteArray& path)
{
    struct stat st;
    return ::lstat(path.constData(), &st) == 0 ? st.st_mode : 0;
}

// A write that stops short (a full disk) reports no error; writing the rest again brings out
// the reason.
bool writeWhole(QFileDevice& file, const QByteArray& bytes)
{
    qint64 written = 0;
    while (written < bytes.size()) {
        const qint64 n = file.write(bytes.constData() + written, bytes.size() - written);
        if (n <= 0)
            break;
        written += n;
    }
    return written == bytes.size() && file.error() == QFileDevice::NoError;
}

} // namespace

QString displayPath(const QString& path)
{
    QString shown = path;
    return shown.replace(QChar(0), QLatin1String("\\0"));
}

QString imageSideProblem(qint64 width, qint64 height)
{
    if (width <= kMaximumImageSide && height <= kMaximumImageSide)
        return QString();
    return QStringLiteral("the image is %1 x %2 pixels, larger than the %3 x %3 accepted")
        .arg(width)
        .arg(height)
        .arg(kMaximumImageSide);
}

QString regularFileProblem(const QString& path, qint64 maxSize)
{
    if (path.isEmpty())
        return QStringLiteral("no file name given");
    // The system would read the name only up to the NUL, i.e. another file.
    if (path.contains(QChar(0)))
        return QStringLiteral("the file name contains a NUL character");
    struct stat st;
    if (::stat(QFile::encodeName(path).constData(), &st) != 0) {
        const int e = errno;
        return e == ENOENT ? QStringLiteral("file not found") : systemReason(e);
    }
    if (!S_ISREG(st.st_mode))
        return QStringLiteral("is %1, not a regular file").arg(kindOf(st.st_mode));
    if (st.st_size > maxSize)
        return QStringLiteral("the file is too large (%1 MiB; at most %2 MiB are read)")
            .arg(double(st.st_size) / (1024.0 * 1024.0), 0, 'f', 1)
            .arg(maxSize / (1024 * 1024));
    return QString();
}

bool checkRegularFile(const QString& path, qint64 maxSize, QString* error)
{
    const QString problem = regularFileProblem(path, maxSize);
    if (problem.isEmpty())
        return true;
    set(error, path.isEmpty() ? problem : QStringLiteral("%1: %2").arg(quoted(path), problem));
    return false;
}

std::optional<QByteArray> readRegularFile(const QString& path, qint64 maxSize, QString* error)
{
    if (!checkRegularFile(path, maxSize, error))
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        set(error, QStringLiteral("%1: cannot open: %2").arg(quoted(path), file.errorString()));
        return std::nullopt;
    }
    // The size checked above may have changed since; the cap holds for what is really read.
    // The buffer is as large as the file, not the cap (QFile::read reserves what it is asked).
    QByteArray data = file.read(std::min(file.size(), maxSize) + 1);
    if (file.error() != QFileDevice::NoError) {
        set(error, QStringLiteral("%1: cannot read: %2").arg(quoted(path), file.errorString()));
        return std::nullopt;
    }
    if (data.size() > maxSize) {
        set(error, QStringLiteral("%1: the file is too large (more than %2 MiB)")
                       .arg(quoted(path))
                       .arg(maxSize / (1024 * 1024)));
        return std::nullopt;
    }
    return data;
}

std::optional<QString> sha256OfFile(const QString& path, qint64 maxSize, QString* error)
{
    if (!checkRegularFile(path, maxSize, error))
        return std::nullopt;
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file) ||
        file.error() != QFileDevice::NoError) {
        set(error, QStringLiteral("%1: cannot read: %2").arg(quoted(path), file.errorString()));
        return std::nullopt;
    }
    return QString::fromLatin1(hash.result().toHex());
}

bool writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error)
{
    if (path.contains(QChar(0))) {
        set(error, QStringLiteral("cannot write %1: the file name contains a NUL character")
                       .arg(quoted(path)));
        return false;
    }
    QSaveFile file(path);
    // Unbuffered, so that a failing write shows here: with a buffer the data only goes out when
    // commit() closes the file, and Qt 6.4's commit() then renames even after a failed flush.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        set(error, QStringLiteral("cannot write %1: %2").arg(quoted(path), file.errorString()));
        return false;
    }
    // Without a commit the temporary file is discarded and the previous file stays.
    if (!writeWhole(file, bytes)) {
        set(error, QStringLiteral("cannot write %1: %2").arg(quoted(path), file.errorString()));
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        set(error, QStringLiteral("cannot write %1: %2").arg(quoted(path), file.errorString()));
        return false;
    }
    return true;
}

std::optional<QByteArray> encodeImage(const QString& path, const QImage& image, const char* format,
                                      int quality, QString* error)
{
    if (image.isNull()) {
        set(error, QStringLiteral("cannot write %1: there is no image to save").arg(quoted(path)));
        return std::nullopt;
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    if (!writer.write(image)) {
        set(error, QStringLiteral("cannot write %1: %2").arg(quoted(path), writer.errorString()));
        return std::nullopt;
    }
    return bytes;
}

bool writeStagedFile(const QString& path, const QByteArray& bytes, QString* error)
{
    QFile file(path);
    // Unbuffered, so that a failing write shows at the write, not at an unchecked close.
    bool ok = file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered) &&
              writeWhole(file, bytes);
    const QString reason = file.errorString();
    file.close();
    ok = ok && file.error() == QFileDevice::NoError;
    if (!ok) {
        set(error, QStringLiteral("cannot write %1: %2").arg(quoted(path), reason));
        file.remove();
    }
    return ok;
}

bool writeImageAtomically(const QString& path, const QImage& image, const char* format,
                          int quality, QString* error)
{
    const std::optional<QByteArray> bytes = encodeImage(path, image, format, quality, error);
    return bytes && writeFileAtomically(path, *bytes, error);
}

namespace {

// Who made a staging folder, as its name records it.
struct ProcessMark
{
    QString host;          // a hash of the host name: folders of other hosts (a shared disk) are
                           // never judged
    QString boot;          // the kernel's boot id: a folder of an earlier boot has no process
    quint64 pidNamespace;  // pids mean something only within their namespace
    qint64 pid;
    quint64 start;         // the pid's start time in clock ticks since boot: tells a reused pid
};

constexpr char kStagingPrefix[] = ".kelvara-staging-";

// The start time of a running process (field 22 of /proc/PID/stat); nothing when it is gone.
std::optional<quint64> processStart(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray line = stat.read(4096);
    // The command name (field 2) may hold spaces and parentheses; the fields after its closing
    // parenthesis start with field 3.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    bool ok = false;
    const quint64 start = fields.value(19).toULongLong(&ok);
    return ok ? std::optional<quint64>(start) : std::nullopt;
}

QString thisHost()
{
    char name[256] = {};
    ::gethostname(name, sizeof name - 1);
    return QString::fromLatin1(
        QCryptographicHash::hash(QByteArray(name), QCryptographicHash::Sha256).toHex().left(8));
}

QString thisBoot()
{
    QFile id(QStringLiteral("/proc/sys/kernel/random/boot_id"));
    const QByteArray text = id.open(QIODevice::ReadOnly) ? id.read(64).trimmed() : QByteArray();
    QString hex = QString::fromLatin1(text).remove(QLatin1Char('-')).toLower();
    static const QRegularExpression isHex(QStringLiteral("^[0-9a-f]{1,32}$"));
    return isHex.match(hex).hasMatch() ? hex : QStringLiteral("0");
}

quint64 pidNamespaceOf(const char* process)
{
    struct stat st;
    return ::stat(process, &st) == 0 ? quint64(st.st_ino) : 0;
}

const ProcessMark& thisProcess()
{
    static const ProcessMark mark{thisHost(), thisBoot(), pidNamespaceOf("/proc/self/ns/pid"),
                                  qint64(::getpid()), processStart(::getpid()).value_or(0)};
    return mark;
}

std::optional<ProcessMark> markOf(const QString& folderName)
{
    static const QRegularExpression pattern(
        QStringLiteral("^\\.kelvara-staging-([0-9a-f]{8})-([0-9a-f]{1,32})-(\\d{1,20})-"
                       "(\\d{1,19})-(\\d{1,20})-[0-9a-f]{8}$"));
    const QRegularExpressionMatch m = pattern.match(folderName);
    if (!m.hasMatch())
        return std::nullopt;
    return ProcessMark{m.captured(1), m.captured(2), m.captured(3).toULongLong(),
                       m.captured(4).toLongLong(), m.captured(5).toULongLong()};
}

bool processGone(const ProcessMark& mark)
{
    const ProcessMark& self = thisProcess();
    if (mark.host != self.host)
        return false;
    if (mark.boot != self.boot)
        return true;
    if (mark.pidNamespace != self.pidNamespace)
        return false;
    const std::optional<quint64> start = processStart(mark.pid);
    return !start || *start != mark.start;
}

} // namespace

QString createStagingFolder(const QString& parent, QString* error)
{
    const ProcessMark& self = thisProcess();
    // mkdir rather than mkdtemp: the folder gets the permissions the user's umask gives a
    // folder, which it keeps once it is put in place.
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString path = QDir(parent).filePath(
            QStringLiteral("%1%2-%3-%4-%5-%6-%7")
                .arg(QLatin1String(kStagingPrefix), self.host, self.boot)
                .arg(self.pidNamespace)
                .arg(self.pid)
                .arg(self.start)
                .arg(QRandomGenerator::system()->generate(), 8, 16, QLatin1Char('0')));
        if (::mkdir(QFile::encodeName(path).constData(), 0777) == 0)
            return path;
        if (errno != EEXIST) {
            set(error, QStringLiteral("cannot create a folder in %1: %2")
                           .arg(quoted(parent), systemReason(errno)));
            return QString();
        }
    }
    set(error, QStringLiteral("cannot create a folder in %1: every name tried is taken")
                   .arg(quoted(parent)));
    return QString();
}

QStringList removeStaleStagingFolders(const QString& parent, QStringList* problems)
{
    QStringList removed;
    const QStringList names =
        QDir(parent).entryList({QLatin1String(kStagingPrefix) + QLatin1Char('*')},
                               QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    for (const QString& name : names) {
        const std::optional<ProcessMark> mark = markOf(name);
        if (!mark || !processGone(*mark))
            continue;
        const QString path = QDir(parent).filePath(name);
        QString error;
        if (removeFolder(path, &error))
            removed << path;
        else if (problems)
            *problems << error;
    }
    return removed;
}

bool folderContentsRemovable(const QString& path)
{
    const auto writable = [](const QString& folder) {
        const QByteArray name = QFile::encodeName(folder);
        return S_ISDIR(linkMode(name)) &&
               ::faccessat(AT_FDCWD, name.constData(), W_OK | X_OK, AT_EACCESS) == 0;
    };
    if (!writable(path))
        return false;
    for (QDirIterator it(path, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks,
                         QDirIterator::Subdirectories);
         it.hasNext();)
        if (!writable(it.next()))
            return false;
    return true;
}

bool replaceFolder(const QString& staging, const QString& target,
                   const std::function<bool(const QString&)>& mayReplace, QString* error,
                   bool* targetKept)
{
    const QByteArray from = QFile::encodeName(staging), to = QFile::encodeName(target);
    const auto fail = [&](const QString& reason) {
        set(error, QStringLiteral("cannot put %1 in place: %2").arg(quoted(target), reason));
        removeFolder(staging, nullptr);
        return false;
    };
    const auto kept = [&](const QString& reason) {
        if (targetKept)
            *targetKept = true;
        return fail(reason);
    };
    // The earlier folder, swapped out to `aside`, is removed; when that fails it goes back in
    // place and the new folder is dropped.
    const auto removeEarlier = [&](const QString& aside) {
        if (removeFolder(aside, nullptr))
            return true;
        const QByteArray asideName = QFile::encodeName(aside);
        if (::renameat2(AT_FDCWD, asideName.constData(), AT_FDCWD, to.constData(),
                        RENAME_EXCHANGE) == 0) {
            removeFolder(aside, nullptr);
        } else if (::rename(to.constData(), from.constData()) != 0 ||
                   ::rename(asideName.constData(), to.constData()) != 0) {
            // Not even moving it back worked: say where it is, and keep it there.
            if (targetKept)
                *targetKept = true;
            set(error, QStringLiteral("cannot put %1 in place: the earlier folder cannot be "
                                      "removed and is now %2")
                           .arg(quoted(target), quoted(aside)));
            return false;
        }
        return kept(QStringLiteral("the earlier folder cannot be removed (some of its files are "
                                   "protected) and is left in place"));
    };
    for (int attempt = 0; attempt < 10; ++attempt) {
        const mode_t mode = linkMode(to);
        if (mode == 0) {
            // Never onto something that appeared since (rename would take an empty folder's
            // place).
            if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(),
                            RENAME_NOREPLACE) == 0)
                return true;
            if (errno == EEXIST || errno == ENOTEMPTY)
                continue;
            if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
                return fail(systemReason(errno));
            if (::rename(from.constData(), to.constData()) == 0)
                return true;
            if (errno == EEXIST || errno == ENOTEMPTY)
                continue;
            return fail(systemReason(errno));
        }
        // A file, a link or a folder that is not an earlier result of ours: never replaced.
        if (!S_ISDIR(mode) || !mayReplace(target))
            return kept(QStringLiteral("something else of that name is there and is left "
                                       "untouched"));
        // One step, so that there is no moment without a complete folder at target; staging
        // then holds the earlier folder.
        if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_EXCHANGE) == 0)
            return removeEarlier(staging);
        if (errno == ENOENT)
            continue;
        if (errno == EACCES || errno == EPERM || errno == EROFS || errno == EBUSY)
            return kept(QStringLiteral("the earlier folder cannot be moved (%1); it is left as "
                                       "it was")
                            .arg(systemReason(errno)));
        if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
            return fail(systemReason(errno));
        // A file system that cannot swap: the earlier folder is moved aside first (a rename onto
        // an empty folder), so that the target is briefly absent, never mixed.
        const QString aside = createStagingFolder(QFileInfo(target).path(), error);
        if (aside.isEmpty())
            return fail(error ? *error : QString());
        const QByteArray asideName = QFile::encodeName(aside);
        if (::rename(to.constData(), asideName.constData()) != 0) {
            const int e = errno;
            ::rmdir(asideName.constData());
            if (e == ENOENT)
                continue;
            return fail(systemReason(e));
        }
        if (::rename(from.constData(), to.constData()) != 0) {
            const int e = errno;
            if (::rename(asideName.constData(), to.constData()) != 0)
                removeFolder(aside, nullptr);
            return fail(systemReason(e));
        }
        return removeEarlier(aside);
    }
    return fail(QStringLiteral("other processes keep replacing it"));
}

bool removeFolder(const QString& path, QString* error)
{
    const mode_t mode = linkMode(QFile::encodeName(path));
    if (mode == 0)
        return true;
    // A link would lead the removal into a folder that is not ours.
    if (!S_ISDIR(mode)) {
        set(error, QStringLiteral("cannot remove %1: it is not a folder").arg(quoted(path)));
        return false;
    }
    if (!QDir(path).removeRecursively()) {
        set(error, QStringLiteral("cannot remove %1 or some of the files in it").arg(quoted(path)));
        return false;
    }
    return true;
}

} // namespace kelvara
