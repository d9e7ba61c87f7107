#pragma once

#include "ImageScene.h"

// Image scene that keeps the aspect ratio and smooths when scaling; its save button writes the
// shown image as PNG.
class MaskView : public kelvara::ImageScene
{
    Q_OBJECT
public:
    MaskView();
    ~MaskView() override;

public slots:
    void save2DImage() override;
};
