#include "LEDWidget.h"

#include <QFont>
#include <QPainter>
#include <QRect>
#include <QRectF>

#include <algorithm>

LEDWidget::LEDWidget(QWidget* parent) : QWidget(parent) {}

LEDWidget::~LEDWidget() = default;

void LEDWidget::setActive(bool newActive)
{
    // Always repaint: the lamp is re-set after every evaluation, even with the same verdict.
    active = newActive;
    captionText.clear();
    update();
}

void LEDWidget::setCaption(const QString& text)
{
    captionText = text;
    update();
}

void LEDWidget::paintEvent(QPaintEvent* /*event*/)
{
    QFont font(QStringLiteral("Arial"), 10, QFont::Bold, false);
    font.setPixelSize(25);

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, true);

    // The caption takes a strip at the bottom; the lamp keeps the rest.
    int lampHeight = height();
    if (!captionText.isEmpty()) {
        const int strip = fontMetrics().height() * 2;
        lampHeight = std::max(0, height() - strip);
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(QRect(0, lampHeight, width(), height() - lampHeight),
                         Qt::AlignCenter | Qt::TextWordWrap, captionText);
    }

    // The halves are integer halves; the lamp is laid out on a 205-unit square.
    painter.translate(width() / 2, lampHeight / 2);
    const double scale = std::min(width(), lampHeight) / 205.0;
    painter.scale(scale, scale);

    painter.setFont(font);
    painter.setPen(textColor);
    painter.setBrush(QBrush(active ? activeColor : inactiveColor, Qt::SolidPattern));

    // The rectangle is deliberately 190 wide from -90: the lamp sits 5 units off centre.
    painter.drawEllipse(QRect(-90, -90, 190, 190));
    painter.drawText(QRectF(-90.0, -90.0, 190.0, 190.0), Qt::AlignCenter,
                     active ? activeText : inactiveText);
}
