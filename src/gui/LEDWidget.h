#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

// Round verdict lamp: red with the "significant" text when active, green otherwise. A caption
// beneath it says when the verdict does not belong to the images shown ("not evaluated" until
// the first evaluation).
class LEDWidget : public QWidget
{
    Q_OBJECT

public:
    explicit LEDWidget(QWidget* parent = nullptr);
    ~LEDWidget() override;

    bool isActive() const { return active; }
    QString caption() const { return captionText; }
    void setCaption(const QString& text);

public slots:
    void setActive(bool newActive);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool active = false;
    QColor activeColor{255, 0, 0, 255};
    QColor textColor{0, 0, 0, 255};
    QColor inactiveColor{0, 255, 0, 255};
    QString activeText = QStringLiteral("SIGNIFICANT\nPATHOLOGY\nDETECTED");
    QString inactiveText = QStringLiteral("NO\nPATHOLOGY\nDETECTED");
    QString captionText = QStringLiteral("not evaluated");
};
