// The snapshot table: a tab-separated picture of the column at one iteration, named by the
// iteration with the extension ".tab", readable by any spreadsheet.
#pragma once

#include <filesystem>
#include <string>

#include "column/column.h"

namespace cx {

std::string snapshotText(const Column& column);
// Writes "<iteration>.tab" in `folder`; false when it cannot be written.
bool WriteSnapshot(const std::filesystem::path& folder, const Column& column);

}  // namespace cx
