#include "KelvaraVersion.h"

namespace kelvara {
const char* versionString()
{
    return "1.0.0";
}
} // namespace kelvara
