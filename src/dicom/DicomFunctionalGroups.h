#pragma once

#include <cstdint>
#include <optional>
#include <vector>

class DcmItem;
class DcmTagKey;

namespace kelvara {

// Enhanced multi-frame images keep per-frame attributes in functional group macros: in the
// frame's item of the Per-frame Functional Groups Sequence, else in the Shared Functional Groups
// Sequence. Returns the first item of the macro sequence `macro` (e.g. Plane Position Sequence)
// that applies to frame `frame`, or nullptr when neither group holds it.
DcmItem* functionalGroup(DcmItem& dataset, const DcmTagKey& macro, uint32_t frame);

// Every item of `macro` that applies to frame `frame`, the frame's own first, then the shared
// one: an attribute missing from the frame's macro is taken from the shared macro.
std::vector<DcmItem*> functionalGroups(DcmItem& dataset, const DcmTagKey& macro, uint32_t frame);

// The number of items of the Per-frame Functional Groups Sequence; nothing without one.
std::optional<unsigned long> perFrameGroupCount(DcmItem& dataset);

} // namespace kelvara
