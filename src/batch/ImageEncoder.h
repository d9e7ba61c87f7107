#pragma once

#include "Parallel.h"

#include <QByteArray>
#include <QDir>
#include <QImage>
#include <QString>

#include <deque>

namespace kelvara {

// Encodes and writes a case's images on the thread pool from the moment each one is handed
// over, so that encoding the first images overlaps the analysis that produces the next ones
// where the pool has threads to spare. The files go into a staging folder (writeStagedFile).
class ImageEncoder
{
public:
    // PNG files (encodePng) go into dir, which must exist before the first add().
    explicit ImageEncoder(const QDir& dir);

    void add(const QString& file, const QImage& image);
    // Waits until every file is written (each atomically). False, with *error naming the file
    // and the reason, for the first one in the order added that could not be encoded or written.
    bool writeAll(QString* error);

private:
    struct Item
    {
        QString path;
        QImage image;
        bool written = false;
        QString error;
    };

    QDir dir;
    std::deque<Item> items; // a deque keeps each item in place while encoders write into it
    TaskGroup encoding;     // after items: destroyed first, so no encoder outlives its item
};

} // namespace kelvara
