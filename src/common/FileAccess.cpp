#include "FileAccess.h"

#include <QBuffer>
#include <QFile>
#include <QImageWriter>
#include <QSaveFile>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

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

} // namespace

QString displayPath(const QString& path)
{
    QString shown = path;
    return shown.replace(QChar(0), QLatin1String("\\0"));
}

bool checkRegularFile(const QString& path, qint64 maxSize, QString* error)
{
    if (path.isEmpty()) {
        set(error, QStringLiteral("no file name given"));
        return false;
    }
    // The system would read the name only up to the NUL, i.e. another file.
    if (path.contains(QChar(0))) {
        set(error, QStringLiteral("%1: the file name contains a NUL character").arg(quoted(path)));
        return false;
    }
    struct stat st;
    if (::stat(QFile::encodeName(path).constData(), &st) != 0) {
        const int e = errno;
        set(error, e == ENOENT ? QStringLiteral("%1: file not found").arg(quoted(path))
                               : QStringLiteral("%1: %2").arg(quoted(path),
                                                              QString::fromLocal8Bit(std::strerror(e))));
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        set(error, QStringLiteral("%1: is %2, not a regular file").arg(quoted(path), kindOf(st.st_mode)));
        return false;
    }
    if (st.st_size > maxSize) {
        set(error, QStringLiteral("%1: the file is too large (%2 MiB; at most %3 MiB are read)")
                       .arg(quoted(path))
                       .arg(double(st.st_size) / (1024.0 * 1024.0), 0, 'f', 1)
                       .arg(maxSize / (1024 * 1024)));
        return false;
    }
    return true;
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
    QByteArray data = file.read(maxSize + 1);
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
    if (file.write(bytes) != bytes.size() || file.error() != QFileDevice::NoError) {
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

bool writeImageAtomically(const QString& path, const QImage& image, const char* format,
                          int quality, QString* error)
{
    const std::optional<QByteArray> bytes = encodeImage(path, image, format, quality, error);
    return bytes && writeFileAtomically(path, *bytes, error);
}

} // namespace kelvara
