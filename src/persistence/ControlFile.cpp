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
                       const std::array<ImageSource, 3>& images) const
{
    return JsonFile::write(path, toJson(values, images));
}

std::optional<StoredFile> ControlFile::load(const QString& path) const
{
    const std::optional<QJsonObject> root = JsonFile::read(path);
    if (!root)
        return std::nullopt;
    return fromJson(*root);
}

} // namespace kelvara
