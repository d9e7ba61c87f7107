#include "DicomFunctionalGroups.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcitem.h>

namespace kelvara {

DcmItem* functionalGroup(DcmItem& dataset, const DcmTagKey& macro, uint32_t frame)
{
    DcmItem* group = nullptr;
    DcmItem* item = nullptr;
    if (dataset.findAndGetSequenceItem(DCM_PerFrameFunctionalGroupsSequence, group, long(frame))
            .good() &&
        group && group->findAndGetSequenceItem(macro, item, 0).good() && item)
        return item;
    if (dataset.findAndGetSequenceItem(DCM_SharedFunctionalGroupsSequence, group, 0).good() &&
        group && group->findAndGetSequenceItem(macro, item, 0).good() && item)
        return item;
    return nullptr;
}

} // namespace kelvara
