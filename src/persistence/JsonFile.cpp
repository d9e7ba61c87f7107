#include "JsonFile.h"

#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

namespace kelvara {

std::optional<QJsonObject> JsonFile::read(const QString& path)
{
    // Text mode as the window always read these files: line ends are normalised.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return std::nullopt;
    if (!file.isSequential() && file.size() > maximumSize)
        return std::nullopt;

    // Read in pieces so that a device without a size (a pipe, a character device) is held to
    // the same limit.
    constexpr qint64 kChunk = 64 * 1024;
    QByteArray data;
    if (!file.isSequential())
        data.reserve(qsizetype(file.size() + kChunk));
    for (;;) {
        const qsizetype used = data.size();
        data.resize(used + kChunk);
        const qint64 n = file.read(data.data() + used, kChunk);
        if (n < 0)
            return std::nullopt;
        data.resize(used + qsizetype(n));
        if (data.size() > maximumSize)
            return std::nullopt;
        if (n == 0)
            break;
    }
    return QJsonDocument::fromJson(data).object();
}

bool JsonFile::write(const QString& path, const QJsonObject& root)
{
    const QByteArray bytes = QJsonDocument(root).toJson(QJsonDocument::Indented);
    QSaveFile file(path);
    // Unbuffered, so that a failing write shows here: with a buffer the data only goes out when
    // commit() closes the file, and Qt 6.4's commit() then renames even after a failed flush.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    // Without a commit the temporary file is discarded and the previous file stays.
    if (file.write(bytes) != bytes.size() || file.error() != QFileDevice::NoError)
        return false;
    return file.commit();
}

} // namespace kelvara
