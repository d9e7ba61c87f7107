#include "T2_View.h"

T2_View::T2_View() : ImageScene(Qt::IgnoreAspectRatio, Qt::FastTransformation) {}

T2_View::~T2_View() = default;
