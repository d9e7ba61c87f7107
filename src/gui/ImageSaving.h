#pragma once

#include <QString>

class QImage;
class QWidget;

namespace kelvara {

// "Save image" and "Save graph": asks for a file name and writes the image there atomically. A
// name without an image extension gets ".png" and a PNG. A failed write leaves the previous file
// as it was and is shown in a message (titled caption) naming the file and the reason.
void saveImageAs(QWidget* parent, const QString& caption, const QImage& image);

} // namespace kelvara
