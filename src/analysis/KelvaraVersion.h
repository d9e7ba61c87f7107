#pragma once

namespace kelvara {
const char* versionString();
}
