#pragma once

#include "ControlValues.h"
#include "StoredFile.h"

#include <QJsonObject>
#include <QString>

#include <optional>

namespace kelvara {

// The default analysis settings: the overlay scales, every analysis control and the solution
// list (no images, no AOI size or position).
class SettingsFile
{
public:
    // Opened by this relative name, i.e. in the working directory.
    static QString defaultPath() { return QStringLiteral("config.cfg"); }

    static QJsonObject toJson(const ControlValues& values);
    static StoredFile fromJson(const QJsonObject& root);

    // False if the file could not be written; any previous file is then left as it was.
    static bool save(const QString& path, const ControlValues& values);
    // Nothing when the file cannot be opened: the caller changes nothing. Invalid JSON reads
    // as a file with every key missing.
    static std::optional<StoredFile> load(const QString& path);
};

} // namespace kelvara
