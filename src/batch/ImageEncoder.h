#pragma once

#include "Parallel.h"

#include <QByteArray>
#include <QDir>
#include <QImage>
#include <QString>

#include <deque>
#include <optional>

namespace kelvara {

// Encodes a case's images on the thread pool from the moment each one is handed over, so that
// encoding the first images overlaps the analysis that produces the next ones. Only writing the
// files waits for the encoding.
class ImageEncoder
{
public:
    // Files go into dir; format and quality as QImageWriter takes them.
    ImageEncoder(const QDir& dir, const char* format, int quality);

    void add(const QString& file, const QImage& image);
    // Waits for the encoding, then writes every file atomically in the order added. False, with
    // *error naming the file and the reason, at the first one that cannot be encoded or written.
    bool writeAll(QString* error);

private:
    struct Item
    {
        QString path;
        QImage image;
        std::optional<QByteArray> bytes;
        QString error;
    };

    QDir dir;
    const char* format;
    int quality;
    std::deque<Item> items; // a deque keeps each item in place while encoders write into it
    TaskGroup encoding;     // after items: destroyed first, so no encoder outlives its item
};

} // namespace kelvara
