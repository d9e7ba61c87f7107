#include "ImageScene.h"

#include "ImageSaving.h"
#include "MidLinePixmapItem.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QPen>

#include <cmath>

namespace kelvara {

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

bool ImageScene::pixelAt(QPointF p, int& x, int& y) const
{
    if (!hasImage)
        return false;
    const QPointF local = pixmap->mapFromScene(p);
    x = int(std::floor(local.x()));
    y = int(std::floor(local.y()));
    return shown.valid(x, y);
}

QString ImageScene::readout(QPointF p) const
{
    int x = 0;
    int y = 0;
    if (!pixelAt(p, x, y))
        return positionText(p);
    return QStringLiteral("x %1, y %2: grey %3").arg(x).arg(y).arg(qGray(shown.pixel(x, y)));
}

void ImageScene::saveShownImage()
{
    if (!pixmap)
        return;
    saveImageAs(nullptr, QStringLiteral("Save image"), pixmap->renderToImage());
}

} // namespace kelvara
