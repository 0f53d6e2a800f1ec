// The output file "CXoutput.txt": the run's history, one block per saved iteration, appended as
// the run goes (iteration 0 first, no header).  Any block can be read back to continue from it,
// replayed, or made the new initial state.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"

namespace cx {

inline constexpr std::string_view kOutputFileName = "CXoutput.txt";

// The text of one block (WriteIteration).
std::string iterationBlock(const Column& column);

// WriteIteration: appends the block to the output file of `folder`, or starts the file anew with
// it.  A failure reports " error writing CXoutput.txt" through `diag` and returns false.
bool WriteIteration(const std::filesystem::path& folder, const Column& column, bool startNewFile,
                    Diagnostics& diag);

// The outcome of reading a block.
struct IterationReadResult {
  bool found = false;   // a block with that number exists
  bool ok = false;      // it was read whole and loaded
  int lastSeen = -1;    // the last iteration number met while searching
  std::string message;  // what went wrong, naming the file and line
  std::string note;     // read, but with something the user should know (e.g. no trace elements)
};

inline constexpr const char* kNoTraceTablesNote =
    "This iteration was saved without trace elements; their contents are shown as zero.";

// Reads block `wanted` of an output text into `column`.  On any failure the column is untouched.
IterationReadResult parseIteration(const std::string& text, const std::string& fileName, int wanted,
                                   Column& column);
// ReadIteration: the same on the output file of `folder`; reports failures through `diag`
// and sets ErrorFlag.
IterationReadResult ReadIteration(const std::filesystem::path& folder, int wanted, Column& column,
                                  Diagnostics& diag);

// The largest iteration number a block can carry: the run's counter is 16 bits wide.
inline constexpr int kMaxIteration = 32767;

// Where the blocks of an output text begin.  The headings must be whole numbers 0 to
// kMaxIteration, each above the one before; otherwise `problem` names the line and `blocks`
// holds the blocks before it.
struct OutputIndex {
  struct Block {
    int iteration;
    int line;            // 1-based line of its "Iteration: " heading
    std::size_t offset;  // where that line begins
  };
  std::vector<Block> blocks;
  std::string problem;
};
OutputIndex indexOutput(const std::string& text, const std::string& fileName);

// The iteration numbers of the blocks of an output text, in file order (up to a bad heading).
std::vector<int> listIterations(const std::string& text);
// The last block that reads back whole (after a crash the last block may be cut off).
int lastCompleteIteration(const std::string& text, const std::string& fileName,
                          const Column& layout);

// Loads iteration `n` and cuts the output file after its block (cmdLoadLastIteration): exactly the
// blocks up to and including n are kept.  The port is asked the question of the program; a No,
// or a file whose headings are out of order, leaves everything as it was.
struct LoadResult {
  bool ok = false;
  bool declined = false;  // the question was answered No
  std::string message;
};
LoadResult loadIteration(const std::filesystem::path& folder, int n, Column& column,
                         Diagnostics& diag, Port& port);

// Steps through every saved iteration, loading each into `column` and calling `frame` (the
// replay).  Stops at the end of the file, when `frame` returns false, or on HaltFlag.
int replayIterations(const std::filesystem::path& folder, Column& column, Diagnostics& diag,
                     const std::function<bool(int iteration)>& frame);

}  // namespace cx
