#include "JsonFile.h"

#include <QJsonDocument>

namespace kelvara {

std::optional<QJsonObject> JsonFile::parse(const QByteArray& bytes, const QString& path,
                                           QString* error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("'%1': not valid JSON: %2 at byte %3")
                     .arg(displayPath(path), parseError.errorString())
                     .arg(parseError.offset);
        return std::nullopt;
    }
    if (!document.isObject()) {
        *error = QStringLiteral("'%1': holds no JSON object").arg(displayPath(path));
        return std::nullopt;
    }
    return document.object();
}

bool JsonFile::write(const QString& path, const QJsonObject& root, QString* error)
{
    return writeFileAtomically(path, QJsonDocument(root).toJson(QJsonDocument::Indented), error);
}

} // namespace kelvara
