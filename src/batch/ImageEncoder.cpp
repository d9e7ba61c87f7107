#include "ImageEncoder.h"

#include "FileAccess.h"
#include "PngEncoder.h"

namespace kelvara {

ImageEncoder::ImageEncoder(const QDir& dir) : dir(dir)
{
}

void ImageEncoder::add(const QString& file, const QImage& image)
{
    items.push_back({dir.filePath(file), image, false, QString()});
    Item& item = items.back();
    encoding.start([this, &item]() {
        const std::optional<QByteArray> bytes = encodePng(item.path, item.image, &item.error);
        item.image = QImage(); // the pixels are no longer needed
        item.written = bytes && writeStagedFile(item.path, *bytes, &item.error);
    });
}

bool ImageEncoder::writeAll(QString* error)
{
    encoding.wait();
    for (const Item& item : items) {
        if (!item.written) {
            *error = item.error;
            return false;
        }
    }
    return true;
}

} // namespace kelvara
