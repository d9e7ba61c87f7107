#include "ImageSaving.h"

#include "Dialogs.h"
#include "FileAccess.h"

#include <QFileInfo>
#include <QImage>
#include <QImageWriter>

namespace kelvara {

void saveImageAs(QWidget* parent, const QString& caption, const QImage& image)
{
    QString name = Dialogs::getSaveFileName(parent, caption, QStringLiteral("."),
                                            QStringLiteral("PNG files (*.png)"));
    if (name.isEmpty())
        return;
    QByteArray format = QFileInfo(name).suffix().toLower().toLatin1();
    if (!QImageWriter::supportedImageFormats().contains(format)) {
        name += QStringLiteral(".png");
        format = "png";
    }
    QString error;
    if (!writeImageAtomically(name, image, format.constData(), -1, &error))
        Dialogs::information(parent, caption, QStringLiteral("The image was not saved: %1").arg(error));
}

} // namespace kelvara
