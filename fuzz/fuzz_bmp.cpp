// BMP check and decoding: the bytes are a file's contents, which must become an 8-bit grey image
// of the size the headers declare or be refused with a reason; anything else (a crash, a
// sanitizer report, a hang, an image that passed the check but came out otherwise) is a fault.
#include "BmpCheck.h"

#include <QtEndian>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data),
                                                     qsizetype(size));
    QString error;
    const QImage image = kelvara::decodeGreyImage(bytes, &error);
    if (image.isNull() == error.isEmpty())
        std::abort(); // an image and an error, or neither
    if (image.isNull() || !bytes.startsWith("BM"))
        return 0;
    if (image.format() != QImage::Format_Grayscale8)
        std::abort();
    // A checked BMP decodes to the size its header declares.
    const bool core = qFromLittleEndian<quint32>(data + 14) == 12;
    const qint64 width = core ? qFromLittleEndian<quint16>(data + 18)
                              : qFromLittleEndian<qint32>(data + 18);
    const qint64 height = core ? qFromLittleEndian<quint16>(data + 20)
                               : std::abs(qint64(qFromLittleEndian<qint32>(data + 22)));
    if (image.width() != width || image.height() != height)
        std::abort();
    // Every BMP that passes decodes exactly as QImage alone decodes it.
    QImage plain = QImage::fromData(bytes, "BMP");
    plain.convertTo(QImage::Format_Grayscale8);
    if (!plain.isNull() && plain != image)
        std::abort();
    return 0;
}
