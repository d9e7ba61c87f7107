#include "SettingsFile.h"

#include "JsonFile.h"
#include "StoredControlTable.h"

namespace kelvara {

QJsonObject SettingsFile::toJson(const ControlValues& values)
{
    return StoredControlTable::build(StoredControlTable::Layout::Settings, values);
}

StoredFile SettingsFile::fromJson(const QJsonObject& root)
{
    return StoredControlTable::read(StoredControlTable::Layout::Settings, root);
}

bool SettingsFile::save(const QString& path, const ControlValues& values)
{
    return JsonFile::write(path, toJson(values));
}

std::optional<StoredFile> SettingsFile::load(const QString& path)
{
    const std::optional<QJsonObject> root = JsonFile::read(path);
    if (!root)
        return std::nullopt;
    return fromJson(*root);
}

} // namespace kelvara
