#include "StoredFile.h"

#include "StoredControlTable.h"

namespace kelvara {

ControlValues StoredFile::applyTo(ControlValues before) const
{
    for (const StoredControl& c : controls)
        StoredControlTable::assign(before, c.limited());
    before.program = program;
    return before;
}

const StoredControl* StoredFile::find(const QString& objectName) const
{
    for (const StoredControl& c : controls)
        if (c.objectName == objectName)
            return &c;
    return nullptr;
}

} // namespace kelvara
