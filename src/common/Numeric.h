#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace kelvara {

// Double -> int conversion that truncates toward zero, as the analysis does everywhere
// (AOI sizes, scaled sizes, grey values). NaN and out-of-range values give INT_MIN, which is
// what the x86 conversion instruction yields and what the spin boxes then clamp.
inline int truncToInt(double v)
{
    if (!(v > -2147483649.0 && v < 2147483648.0))
        return std::numeric_limits<int>::min();
    return static_cast<int>(v);
}

// Grey value of a plane cell as shown in an image: truncated, then only the low 8 bits kept
// (values wrap, they are never clamped).
inline int wrapGrey(double v)
{
    return truncToInt(v) & 0xFF;
}

} // namespace kelvara
