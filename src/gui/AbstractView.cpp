#include "AbstractView.h"

#include <algorithm>

#include <QGraphicsScene>
#include <QGraphicsOpacityEffect>
#include <QGraphicsView>
#include <QLabel>
#include <QPushButton>

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
