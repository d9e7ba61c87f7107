#include "ProjectFile.h"

#include "JsonFile.h"
#include "StoredControlTable.h"

namespace kelvara {

QJsonObject ProjectFile::toJson(const ControlValues& values,
                                const std::array<ImageSource, 3>& images)
{
    return StoredControlTable::build(StoredControlTable::Layout::Project, values, images);
}

StoredFile ProjectFile::fromJson(const QJsonObject& root)
{
    return StoredControlTable::read(StoredControlTable::Layout::Project, root);
}

bool ProjectFile::save(const QString& path, const ControlValues& values,
                       const std::array<ImageSource, 3>& images)
{
    return JsonFile::write(path, toJson(values, images));
}

std::optional<StoredFile> ProjectFile::load(const QString& path)
{
    const std::optional<QJsonObject> root = JsonFile::read(path);
    if (!root)
        return std::nullopt;
    return fromJson(*root);
}

} // namespace kelvara
