#pragma once

#include "ControlValues.h"
#include "ImageSource.h"
#include "StoredFile.h"

#include <QJsonObject>
#include <QString>

#include <array>
#include <optional>

namespace kelvara {

// One case: the three image sources with their overlay scales, the AOI cells and position,
// every analysis control and the solution list. No pixels: a load re-reads the images from
// their paths.
class ProjectFile
{
public:
    static QJsonObject toJson(const ControlValues& values,
                              const std::array<ImageSource, 3>& images);
    static StoredFile fromJson(const QJsonObject& root);

    // False if the file could not be written; any previous file is then left as it was.
    static bool save(const QString& path, const ControlValues& values,
                     const std::array<ImageSource, 3>& images);
    // Nothing when the file cannot be opened: the caller changes nothing. Invalid JSON reads
    // as a file with every key missing (empty image paths and kinds included).
    static std::optional<StoredFile> load(const QString& path);
};

} // namespace kelvara
