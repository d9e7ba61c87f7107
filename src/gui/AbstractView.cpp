#include "AbstractView.h"

#include <algorithm>
#include <cmath>

#include <QGraphicsScene>
#include <QGraphicsOpacityEffect>
#include <QGraphicsView>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QWheelEvent>

AbstractView::AbstractView() : QObject(nullptr), scene(new QGraphicsScene()) {}

AbstractView::~AbstractView()
{
    delete scene;
}

void AbstractView::attachView(QGraphicsView* graphicsView, QPushButton* saveButton)
{
    view = graphicsView;
    view->setScene(scene);
    // Replaces the view's hints: text antialiasing stays off.
    view->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    if (saveButton)
        connect(saveButton, &QPushButton::clicked, this, &AbstractView::save2DImage);
    // The readout follows the mouse without a button held.
    view->viewport()->setMouseTracking(true);
    view->viewport()->installEventFilter(this);
}

QString AbstractView::positionText(QPointF p)
{
    return QStringLiteral("x %1, y %2").arg(std::floor(p.x())).arg(std::floor(p.y()));
}

QString AbstractView::readout(QPointF p) const
{
    return positionText(p);
}

bool AbstractView::viewportMouseEvent(QEvent::Type, QPointF, Qt::MouseButton)
{
    return false;
}

bool AbstractView::eventFilter(QObject* watched, QEvent* event)
{
    if (!view || watched != view->viewport())
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::MouseMove:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease: {
        auto* mouse = static_cast<QMouseEvent*>(event);
        const QPointF p = view->mapToScene(mouse->position().toPoint());
        const bool used = viewportMouseEvent(event->type(), p, mouse->button());
        if (event->type() == QEvent::MouseMove)
            emit readoutChanged(readout(p));
        return used;
    }
    case QEvent::MouseButtonDblClick:
        if (static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton)
            return false;
        emit fitRequested();
        return true;
    case QEvent::Leave:
        emit readoutChanged(QString());
        return false;
    case QEvent::Wheel: {
        // Without Ctrl the wheel scrolls, as it always has.
        auto* wheel = static_cast<QWheelEvent*>(event);
        if (!(wheel->modifiers() & Qt::ControlModifier))
            return false;
        emit zoomStepRequested(wheel->angleDelta().y());
        return true;
    }
    default:
        return false;
    }
}

void AbstractView::setZoom(double value)
{
    if (!view) // the hidden AOI sources are never attached
        return;
    // A new transform each time: zoom levels replace each other, they never accumulate.
    view->setTransform(QTransform::fromScale(value / 100.0, value / 100.0));
}

void AbstractView::setStale(bool newStale, const QString& caption)
{
    stale = newStale;
    if (!view)
        return;
    if (!stale) {
        view->viewport()->setGraphicsEffect(nullptr);
        if (staleCaption)
            staleCaption->hide();
        return;
    }
    auto* fade = new QGraphicsOpacityEffect(view->viewport());
    fade->setOpacity(0.3);
    view->viewport()->setGraphicsEffect(fade); // the viewport owns it and drops the previous one
    if (!staleCaption) {
        staleCaption = new QLabel(view);
        staleCaption->setObjectName(view->objectName() + QStringLiteral("StaleCaption"));
        staleCaption->setStyleSheet(
            QStringLiteral("background: rgba(255, 255, 210, 230); color: black; padding: 2px;"));
        staleCaption->setWordWrap(true);
    }
    staleCaption->setText(caption);
    staleCaption->setMaximumWidth(std::max(view->width() - 8, 60));
    staleCaption->adjustSize();
    staleCaption->move(4, 4);
    staleCaption->show();
    staleCaption->raise();
}

void AbstractView::save2DImage() {}
