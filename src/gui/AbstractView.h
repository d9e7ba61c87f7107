#pragma once

#include <QEvent>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QString>

class QGraphicsScene;
class QLabel;
class QGraphicsView;
class QPushButton;

// Base of every scene the window shows: owns one graphics scene, binds it to a graphics view
// of the form, zooms it, and routes an optional "Save image" button to save2DImage.
// The bound view also reports what the mouse does there (readout, Ctrl + wheel, double-click);
// the window decides what that means for its sliders.
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

    // What lies under scene point `p`, as one line for the status bar; the position alone
    // where nothing is shown.
    virtual QString readout(QPointF p) const;

public slots:
    virtual void save2DImage();

signals:
    // The readout under the mouse; empty once the mouse has left the view.
    void readoutChanged(const QString& text);
    // Ctrl + wheel over the view, in wheel angle units (120 per notch, up is positive).
    void zoomStepRequested(int angle);
    void fitRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    // Mouse events the view's own interaction takes first (the overlay's AOI drag); true when
    // used up. `p` is in scene coordinates.
    virtual bool viewportMouseEvent(QEvent::Type type, QPointF p, Qt::MouseButton button);
    static QString positionText(QPointF p);

    QGraphicsView* view = nullptr;
    QGraphicsScene* scene = nullptr;

private:
    bool stale = false;
    QPointer<QLabel> staleCaption;
};
