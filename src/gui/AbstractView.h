#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class QGraphicsScene;
class QLabel;
class QGraphicsView;
class QPushButton;

// Base of every scene the window shows: owns one graphics scene, binds it to a graphics view
// of the form, zooms it, and routes an optional "Save image" button to save2DImage.
class AbstractView : public QObject
{
    Q_OBJECT
public:
    AbstractView();
    ~AbstractView() override;

    AbstractView(const AbstractView&) = delete;
    AbstractView& operator=(const AbstractView&) = delete;

    void attachView(QGraphicsView* graphicsView, QPushButton* saveButton);
    void setZoom(double value);

    // Marks what the view shows as computed from inputs that have since been replaced: faded,
    // with `caption` over it, until the view shows something new.
    virtual void setStale(bool stale, const QString& caption = QString());
    bool isStale() const { return stale; }

    QGraphicsScene* graphicsScene() const { return scene; }
    QGraphicsView* graphicsView() const { return view; }

public slots:
    virtual void save2DImage();

protected:
    QGraphicsView* view = nullptr;
    QGraphicsScene* scene = nullptr;

private:
    bool stale = false;
    QPointer<QLabel> staleCaption;
};
