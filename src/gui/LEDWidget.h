#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

// Round verdict lamp: red with the "significant" text when active, green otherwise.
class LEDWidget : public QWidget
{
    Q_OBJECT

public:
    explicit LEDWidget(QWidget* parent = nullptr);
    ~LEDWidget() override;

    bool isActive() const { return active; }

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
};
