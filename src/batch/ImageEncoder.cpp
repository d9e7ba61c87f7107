#include "ImageEncoder.h"

#include "FileAccess.h"

namespace kelvara {

ImageEncoder::ImageEncoder(const QDir& dir, const char* format, int quality)
    : dir(dir), format(format), quality(quality)
{
}

void ImageEncoder::add(const QString& file, const QImage& image)
{
    items.push_back({dir.filePath(file), image, std::nullopt, QString()});
    Item& item = items.back();
    encoding.start([this, &item]() {
        item.bytes = encodeImage(item.path, item.image, format, quality, &item.error);
        item.image = QImage(); // the pixels are no longer needed
    });
}

bool ImageEncoder::writeAll(QString* error)
{
    encoding.wait();
    for (const Item& item : items) {
        if (!item.bytes) {
            *error = item.error;
            return false;
        }
        if (!writeFileAtomically(item.path, *item.bytes, error))
            return false;
    }
    return true;
}

} // namespace kelvara
