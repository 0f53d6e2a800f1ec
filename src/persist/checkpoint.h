// The checkpoint "CXcheckpoint.txt": the whole state of the column at the output file's last
// block, every number at full precision.  The output file's formats round (temperatures to seven
// decimals, oxides to five), and a run resumed from those rounded values drifts away from the
// run that was never stopped; resumed from the checkpoint it gives the same numbers.
//
// The checkpoint belongs to one block: it carries that block's iteration and a fingerprint of
// its text, and is used only when the output file's block still matches (a load, an edit or a
// crash between the two writes leaves a checkpoint that does not, and the output file is used).
// It is written aside and renamed, like every file of the folder.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "column/column.h"
#include "persist/files.h"

namespace cx {

inline constexpr std::string_view kCheckpointFileName = "CXcheckpoint.txt";

// The text of the checkpoint of `column`, whose block in the output file is `blockText`.
std::string checkpointText(const Column& column, std::string_view blockText);
// Writes the checkpoint of `column` beside the output file of `folder`.
WriteStatus writeCheckpoint(const std::filesystem::path& folder, const Column& column,
                            std::string_view blockText);

struct CheckpointUse {
  bool used = false;
  std::string note;  // why it was not used, when a checkpoint was there
};
// Loads the checkpoint of `folder` into `column` when it belongs to block `iteration` of the
// output text `outputText`; otherwise leaves `column` (read from the output file) and says why.
CheckpointUse restoreCheckpoint(const std::filesystem::path& folder, const std::string& outputText,
                                int iteration, Column& column);
// The same on a checkpoint text (for tests and tools).
CheckpointUse restoreCheckpointText(const std::string& checkpoint, const std::string& outputText,
                                    int iteration, Column& column);

// The text of block `iteration` of an output text, or empty when it has none.
std::string_view blockTextOf(const std::string& outputText, int iteration);

}  // namespace cx
