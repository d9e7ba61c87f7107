#include "ImageScene.h"

#include "Dialogs.h"
#include "MidLinePixmapItem.h"
#include "Numeric.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QPen>

ImageScene::ImageScene(Qt::AspectRatioMode aspectMode, Qt::TransformationMode transformMode)
    : aspectMode(aspectMode), transformMode(transformMode)
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
    baseImage = image;
    scaledImage = image;
    pixmap->setPixmap(QPixmap::fromImage(scaledImage));
}

void ImageScene::scaleImage(double factor)
{
    if (!hasImage)
        return;
    // Target size truncated, not rounded: 3 x 3 by 1.5 gives 4 x 4.
    const int w = kelvara::truncToInt(baseImage.width() * factor);
    const int h = kelvara::truncToInt(baseImage.height() * factor);
    if (w <= 0 || h <= 0 || baseImage.isNull())
        scaledImage = QImage();
    else
        scaledImage = baseImage.scaled(w, h, aspectMode, transformMode);
    pixmap->setPixmap(QPixmap::fromImage(scaledImage));
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
