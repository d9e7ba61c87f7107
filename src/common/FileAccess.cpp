#include "FileAccess.h"

#include <QBuffer>
#include <QDir>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
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

QString createStagingFolder(const QString& parent, QString* error)
{
    // mkdir rather than mkdtemp: the folder gets the permissions the user's umask gives a
    // folder, which it keeps once it is put in place.
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString path = QDir(parent).filePath(
            QStringLiteral(".kelvara-%1").arg(QRandomGenerator::system()->generate(), 8, 16,
                                              QLatin1Char('0')));
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

bool replaceFolder(const QString& staging, const QString& target, QString* error)
{
    const QByteArray from = QFile::encodeName(staging), to = QFile::encodeName(target);
    const auto fail = [&](const QString& reason) {
        set(error, QStringLiteral("cannot put %1 in place: %2").arg(quoted(target), reason));
        removeFolder(staging, nullptr);
        return false;
    };
    for (int attempt = 0; attempt < 10; ++attempt) {
        // A file or a link of that name is the user's, not an earlier result: never replaced.
        const mode_t mode = linkMode(to);
        if (mode != 0 && !S_ISDIR(mode))
            return fail(QStringLiteral("something other than a folder has that name"));
        if (mode == 0) {
            if (::rename(from.constData(), to.constData()) == 0)
                return true;
            // Another process put its folder there since: swap again.
            if (errno == ENOTEMPTY || errno == EEXIST)
                continue;
            return fail(systemReason(errno));
        }
        // One step, so that there is no moment without a complete folder at target; staging
        // then holds the earlier folder.
        if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_EXCHANGE) == 0)
            return removeFolder(staging, error);
        if (errno == ENOENT)
            continue;
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
        return removeFolder(aside, error);
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
