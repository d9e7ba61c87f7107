#pragma once

#include <QImage>

namespace kelvara {

// The red marks of the solution and evaluation views never hide the anatomy beneath.
constexpr double kResultOverlayOpacity = 0.5;

// What "Save image" of a result view writes and kelvara-batch's overlay PNGs hold: a
// transparent ARGB32 canvas of the base's size, the base drawn on it, the marks over it at
// `opacity`. A null base gives a null image.
QImage composeOverlay(const QImage& base, const QImage& overlay,
                      double opacity = kResultOverlayOpacity);

} // namespace kelvara
