#pragma once

#include "ImageScene.h"

// Image scene that scales ignoring the aspect ratio, without smoothing. Its save button does
// nothing (spectra and AOI previews are not saved).
class T2_View : public kelvara::ImageScene
{
    Q_OBJECT
public:
    T2_View();
    ~T2_View() override;
};
