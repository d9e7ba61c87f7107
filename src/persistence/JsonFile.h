#pragma once

#include "FileAccess.h"

#include <QJsonObject>
#include <QString>

#include <optional>

namespace kelvara {

// Reading and writing of one JSON document file, with the failure rules of the settings and
// project files.
class JsonFile
{
public:
    // Larger files were not written by this program and could exhaust memory if read whole;
    // they count as unreadable.
    static constexpr qint64 maximumSize = kMaximumControlFileSize;

    // The root object, or nothing when the file cannot be opened or read (missing, unreadable,
    // a directory, larger than maximumSize): the caller then changes nothing. Invalid JSON
    // and a root that is not an object give an empty object, so that every key reads as
    // missing.
    static std::optional<QJsonObject> read(const QString& path);

    // Writes the document in the indented form (4 blanks per level, keys sorted) to a
    // temporary file that replaces `path` only once it is complete, so a failed or interrupted
    // save leaves the previous file as it was. Returns whether the file was replaced.
    static bool write(const QString& path, const QJsonObject& root);
};

} // namespace kelvara
