#pragma once

#include <cstdint>

class DcmItem;
class DcmTagKey;

namespace kelvara {

// Enhanced multi-frame images keep per-frame attributes in functional group macros: in the
// frame's item of the Per-frame Functional Groups Sequence, else in the Shared Functional Groups
// Sequence. Returns the first item of the macro sequence `macro` (e.g. Plane Position Sequence)
// that applies to frame `frame`, or nullptr when neither group holds it.
DcmItem* functionalGroup(DcmItem& dataset, const DcmTagKey& macro, uint32_t frame);

} // namespace kelvara
