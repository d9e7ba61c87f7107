// DICOM reader: the bytes become a file, which the reader (and the series scan) must turn into an
// image or refuse with a DicomError; anything else (a crash, a sanitizer report, another
// exception) is a fault.
#include "DICOMUtil.h"
#include "DicomError.h"
#include "DicomSeries.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // One file per process, removed when the process ends.
    static const struct Scratch
    {
        QString path = QDir::temp().filePath(
            QStringLiteral("kelvara-fuzz-dicom-%1.dcm").arg(QCoreApplication::applicationPid()));
        ~Scratch() { QFile::remove(path); }
    } scratch;
    const QString& path = scratch.path;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        std::abort(); // the harness itself is broken, not the reader
    file.write(reinterpret_cast<const char*>(data), qint64(size));
    file.close();

    DICOMUtil reader;
    // Frame 0 as a single file is read, frame 1 as a series image of a multi-frame file, and
    // the headers as a series scan reads them.
    for (int frame : {0, 1}) {
        try {
            const QImage image = reader.loadImage(path, frame);
            if (!image.isNull() && image.format() != QImage::Format_Grayscale8)
                std::abort();
        } catch (const kelvara::DicomError&) {
        }
    }
    try {
        kelvara::scanDicomSeries(path);
    } catch (const kelvara::DicomError&) {
    }
    return 0;
}
