#pragma once

#include <QString>

#include <stdexcept>

namespace kelvara {

// What the DICOM reader throws for anything it cannot turn into an image. The text is shown to
// the user as it is, so it always names the file and says what is wrong with it.
class DicomError : public std::runtime_error
{
public:
    explicit DicomError(const QString& message) : std::runtime_error(message.toStdString()) {}
    DicomError(const QString& path, const QString& reason)
        : std::runtime_error(
              QStringLiteral("Cannot read DICOM file \"%1\": %2").arg(path, reason).toStdString())
    {
    }
};

} // namespace kelvara
