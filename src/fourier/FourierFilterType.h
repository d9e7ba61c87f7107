#pragma once

// Kind of ideal frequency-domain filter; the values are the filter combo box indexes and are
// stored as ints in the settings and project files.
enum FourierFilterType { LowPass = 0, HighPass = 1, BandPass = 2, BandReject = 3 };
