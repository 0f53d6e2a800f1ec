// The embedded default setup: a basaltic column (examples/basalt-column.cxd, compiled in).
#pragma once

#include <string_view>

namespace cx {
std::string_view defaultSetupText();
}
