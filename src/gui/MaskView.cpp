#include "MaskView.h"

MaskView::MaskView() = default;

MaskView::~MaskView() = default;

void MaskView::save2DImage()
{
    saveShownImage();
}
