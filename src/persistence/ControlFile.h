#pragma once

#include "ControlValues.h"
#include "ImageSource.h"
#include "LoadFinding.h"
#include "StoredFile.h"

#include <QJsonObject>
#include <QString>

#include <array>
#include <optional>

namespace kelvara {

// What a load gives: the file's values with what the load changed in them, or why the file
// cannot be used at all (then nothing else).
struct ControlFileLoad
{
    StoredFile file;
    QList<LoadFinding> findings;
    QString error;

    bool ok() const { return error.isEmpty(); }
};

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

    // False, with *error naming the file and the reason, if the file could not be written;
    // any previous file is then left as it was.
    bool save(const QString& path, const ControlValues& values,
              const std::array<ImageSource, 3>& images = {}, QString* error = nullptr) const;
    // An error when the file cannot be read, is no JSON object or holds a solution list longer
    // than the calculation takes: the caller then changes nothing.
    ControlFileLoad load(const QString& path) const;
    // The same for the bytes read from path.
    ControlFileLoad parse(const QByteArray& bytes, const QString& path) const;

private:
    FileLayout fileLayout;
};

} // namespace kelvara
