#pragma once

#include "FileAccess.h"

#include <QString>

#include <stdexcept>

class OFCondition;

namespace kelvara {

// What the DICOM reader throws for anything it cannot turn into an image. The text is shown to
// the user as it is, so it always names the file and says what is wrong with it. A NUL in a path
// is written as "\0": what() would end there.
class DicomError : public std::runtime_error
{
public:
    explicit DicomError(const QString& message)
        : std::runtime_error(displayPath(message).toStdString())
    {
    }
    DicomError(const QString& path, const QString& reason)
        : DicomError(QStringLiteral("Cannot read DICOM file \"%1\": %2").arg(path, reason))
    {
    }
};

// A failure DCMTK reports while parsing a file or reading its pixel data, in plain words
// ("the file ends in the middle of a data element") rather than DCMTK's own texts.
QString inPlainWords(const OFCondition& status);

} // namespace kelvara
