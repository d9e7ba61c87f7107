#pragma once

#include "ControlValues.h"
#include "ImageSource.h"
#include "StoredFile.h"

#include <QJsonObject>
#include <QString>

#include <array>
#include <optional>

namespace kelvara {

// A settings file (config.cfg: the overlay scales, every analysis control and the solution
// list) or a project file (.kelvara: the same plus the three image sources and the AOI cells
// and position). One class for both: they differ only in the layout of their keys. No pixels:
// a project load re-reads the images from their paths.
class ControlFile
{
public:
    explicit ControlFile(FileLayout layout) : fileLayout(layout) {}
    static ControlFile settings() { return ControlFile(FileLayout::Settings); }
    static ControlFile project() { return ControlFile(FileLayout::Project); }

    // The settings file is opened by this relative name, i.e. in the working directory.
    static QString defaultSettingsPath() { return QStringLiteral("config.cfg"); }

    FileLayout layout() const { return fileLayout; }

    // Image sources are written by the project layout only.
    QJsonObject toJson(const ControlValues& values,
                       const std::array<ImageSource, 3>& images = {}) const;
    StoredFile fromJson(const QJsonObject& root) const;

    // False if the file could not be written; any previous file is then left as it was.
    bool save(const QString& path, const ControlValues& values,
              const std::array<ImageSource, 3>& images = {}) const;
    // Nothing when the file cannot be opened: the caller changes nothing. Invalid JSON reads
    // as a file with every key missing (empty image paths and kinds included).
    std::optional<StoredFile> load(const QString& path) const;

private:
    FileLayout fileLayout;
};

} // namespace kelvara
