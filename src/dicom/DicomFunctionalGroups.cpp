#include "DicomFunctionalGroups.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcsequen.h>

namespace kelvara {

namespace {

DcmItem* macroItem(DcmItem& dataset, const DcmTagKey& groups, long index, const DcmTagKey& macro)
{
    DcmItem* group = nullptr;
    DcmItem* item = nullptr;
    if (dataset.findAndGetSequenceItem(groups, group, index).good() && group &&
        group->findAndGetSequenceItem(macro, item, 0).good() && item)
        return item;
    return nullptr;
}

} // namespace

DcmItem* functionalGroup(DcmItem& dataset, const DcmTagKey& macro, uint32_t frame)
{
    const std::vector<DcmItem*> items = functionalGroups(dataset, macro, frame);
    return items.empty() ? nullptr : items.front();
}

std::vector<DcmItem*> functionalGroups(DcmItem& dataset, const DcmTagKey& macro, uint32_t frame)
{
    std::vector<DcmItem*> items;
    if (DcmItem* own = macroItem(dataset, DCM_PerFrameFunctionalGroupsSequence, long(frame), macro))
        items.push_back(own);
    if (DcmItem* shared = macroItem(dataset, DCM_SharedFunctionalGroupsSequence, 0, macro))
        items.push_back(shared);
    return items;
}

std::optional<unsigned long> perFrameGroupCount(DcmItem& dataset)
{
    DcmSequenceOfItems* sequence = nullptr;
    if (dataset.findAndGetSequence(DCM_PerFrameFunctionalGroupsSequence, sequence).bad() ||
        !sequence)
        return std::nullopt;
    return sequence->card();
}

} // namespace kelvara
