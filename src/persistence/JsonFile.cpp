#include "JsonFile.h"

#include "FileAccess.h"

#include <QJsonDocument>

namespace kelvara {

std::optional<QJsonObject> JsonFile::read(const QString& path)
{
    const std::optional<QByteArray> data = readRegularFile(path, maximumSize, nullptr);
    if (!data)
        return std::nullopt;
    return QJsonDocument::fromJson(*data).object();
}

bool JsonFile::write(const QString& path, const QJsonObject& root)
{
    return writeFileAtomically(path, QJsonDocument(root).toJson(QJsonDocument::Indented), nullptr);
}

} // namespace kelvara
