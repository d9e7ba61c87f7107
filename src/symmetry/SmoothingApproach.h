#pragma once

// Index of the approach combo boxes. The int base keeps every other value representable: such
// an approach yields 0.0 for every result cell.
enum class SmoothingApproach : int { AverageSymmetries = 0, AverageImage = 1 };
