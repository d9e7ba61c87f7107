#include "MaskView.h"

MaskView::MaskView() : ImageScene(Qt::KeepAspectRatio, Qt::SmoothTransformation) {}

MaskView::~MaskView() = default;

void MaskView::save2DImage()
{
    saveShownImage();
}
