#include "AbstractView.h"

#include <QGraphicsScene>
#include <QGraphicsView>
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

void AbstractView::save2DImage() {}
