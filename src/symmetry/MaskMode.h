#pragma once

// How a selected mask cell is valued. The int base keeps every other value representable:
// such a mode leaves selected cells unchanged.
enum class MaskMode : int { Binary = 0, Difference = 1, Similarity = 2 };
