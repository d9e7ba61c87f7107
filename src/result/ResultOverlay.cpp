#include "ResultOverlay.h"

#include <QPainter>

namespace kelvara {

QImage composeOverlay(const QImage& base, const QImage& overlay, double opacity)
{
    QImage composed(base.size(), QImage::Format_ARGB32);
    if (composed.isNull())
        return composed;
    composed.fill(Qt::transparent);
    QPainter painter(&composed);
    painter.drawImage(0, 0, base);
    painter.setOpacity(opacity);
    painter.drawImage(0, 0, overlay);
    painter.end();
    return composed;
}

} // namespace kelvara
