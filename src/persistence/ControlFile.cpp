#include "ControlFile.h"

#include "JsonFile.h"
#include "StoredControlTable.h"

namespace kelvara {

QJsonObject ControlFile::toJson(const ControlValues& values,
                                const std::array<ImageSource, 3>& images) const
{
    return StoredControlTable::build(fileLayout, values, images);
}

StoredFile ControlFile::fromJson(const QJsonObject& root) const
{
    return StoredControlTable::read(fileLayout, root);
}

bool ControlFile::save(const QString& path, const ControlValues& values,
                       const std::array<ImageSource, 3>& images, QString* error) const
{
    QString reason;
    const bool written = JsonFile::write(path, toJson(values, images), &reason);
    if (error)
        *error = reason;
    return written;
}

ControlFileLoad ControlFile::load(const QString& path) const
{
    ControlFileLoad result;
    const std::optional<QByteArray> bytes =
        readRegularFile(path, JsonFile::maximumSize, &result.error);
    return bytes ? parse(*bytes, path) : result;
}

ControlFileLoad ControlFile::parse(const QByteArray& bytes, const QString& path) const
{
    ControlFileLoad result;
    const std::optional<QJsonObject> root = JsonFile::parse(bytes, path, &result.error);
    if (!root)
        return result;
    // The JSON reader keeps the last of repeated keys without a word.
    for (const QString& key : duplicateKeyPaths(bytes))
        result.findings.append({FindingKind::Duplicate, path, key,
                                QStringLiteral("appears more than once; the last one is used")});
    result.file = StoredControlTable::read(fileLayout, *root, path, &result.findings);
    const qsizetype entries = result.file.program.size();
    if (entries > StoredControlTable::maximumProgramEntries) {
        result = ControlFileLoad();
        result.error = QStringLiteral("'%1': the solution list holds %2 entries, more than the "
                                      "%3 the calculation takes; nothing was loaded")
                           .arg(displayPath(path))
                           .arg(entries)
                           .arg(StoredControlTable::maximumProgramEntries);
    }
    return result;
}

} // namespace kelvara
