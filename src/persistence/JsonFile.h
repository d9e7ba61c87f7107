#pragma once

#include "FileAccess.h"

#include <QByteArray>
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

    // The root object of bytes read from path; nothing, with *error naming the file and the
    // reason, for invalid JSON or a root that is not an object.
    static std::optional<QJsonObject> parse(const QByteArray& bytes, const QString& path,
                                            QString* error);

    // Writes the document in the indented form (4 blanks per level, keys sorted) to a
    // temporary file that replaces `path` only once it is complete, so a failed or interrupted
    // save leaves the previous file as it was. False, with *error naming the file and the
    // reason, when the file was not replaced.
    static bool write(const QString& path, const QJsonObject& root, QString* error);
};

} // namespace kelvara
