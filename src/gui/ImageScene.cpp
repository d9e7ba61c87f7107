#include "ImageScene.h"

#include "Dialogs.h"
#include "MidLinePixmapItem.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QPen>

ImageScene::ImageScene()
{
    pixmap = new MidLinePixmapItem();
    pixmap->setZValue(0.0);
    scene->addItem(pixmap);

    box = new QGraphicsEllipseItem(0, 0, 100, 50);
    box->setZValue(2.0);
    box->setPen(QPen(QBrush(Qt::green, Qt::SolidPattern), 1.0, Qt::SolidLine, Qt::SquareCap,
                     Qt::BevelJoin));
    scene->addItem(box);
}

ImageScene::~ImageScene() = default;

void ImageScene::setImage(const QImage& image)
{
    hasImage = true;
    setStale(false);
    shown = image;
    pixmap->setPixmap(QPixmap::fromImage(shown));
}

void ImageScene::setBoxVisible(bool visible)
{
    boxVisible = visible;
    box->setVisible(visible);
}

void ImageScene::setMidlineVisible(bool visible)
{
    midlineVisible = visible;
    pixmap->setShowMidline(visible);
}

void ImageScene::setBoxPos(QPointF p)
{
    boxXPos = p.x();
    boxYPos = p.y();
    box->setPos(p);
}

void ImageScene::setBoxHalfWidth(double v)
{
    halfWidth = v;
    box->setRect(0, 0, 2 * v, height);
}

void ImageScene::setBoxHeight(double v)
{
    height = v;
    box->setRect(0, 0, 2 * halfWidth, v);
}

void ImageScene::saveShownImage()
{
    if (!pixmap)
        return;
    const QImage shown = pixmap->renderToImage();
    const QString name = kelvara::Dialogs::getSaveFileName(nullptr, QStringLiteral("Save image"),
                                                           QStringLiteral("."),
                                                           QStringLiteral("PNG files (*.png)"));
    if (!name.isEmpty())
        shown.save(name);
}
