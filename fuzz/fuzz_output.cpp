// libFuzzer harness: the output-file reader on any text: the index of its blocks, the reading of
// each block, and the search for the last whole one.  A block that reads must not change the
// column when it does not; nothing may crash or hang.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "column/column.h"
#include "persist/output_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const cx::OutputIndex index = cx::indexOutput(text, "fuzz.txt");
  for (std::size_t k = 1; k < index.blocks.size(); ++k)
    if (index.blocks[k].iteration <= index.blocks[k - 1].iteration) std::abort();
  const auto layout = std::make_unique<cx::Column>();
  int tried = 0;
  for (const auto& block : index.blocks) {
    if (++tried > 4) break;  // a few blocks are enough: each read scans from the start
    auto column = std::make_unique<cx::Column>();
    const cx::IterationReadResult r =
        cx::parseIteration(text, "fuzz.txt", block.iteration, *column);
    if (!r.ok && !(*column == *layout)) std::abort();  // a failed read leaves the column alone
    if (!r.ok && r.message.empty()) std::abort();
    if (r.ok && column->Iteration != block.iteration) std::abort();
  }
  (void)cx::lastCompleteIteration(text, "fuzz.txt", *layout);
  return 0;
}
