#include "T2_View.h"

T2_View::T2_View() = default;

T2_View::~T2_View() = default;
