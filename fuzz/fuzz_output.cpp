// libFuzzer harness: the output-file reader on any text: the index of its blocks (headings in
// rising order) and the reading of its first and last block.  A read that fails must say why and
// leave the column as it was; nothing may crash or hang.
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
  if (index.blocks.empty()) return 0;
  // The first and the last block: each read scans the text from its start, so reading every
  // block of a long input would spend the fuzzer's time on one input.
  static const cx::Column layout;  // read-only: the layout every read starts from
  for (const auto* block : {&index.blocks.front(), &index.blocks.back()}) {
    auto column = std::make_unique<cx::Column>(layout);
    const cx::IterationReadResult r =
        cx::parseIteration(text, "fuzz.txt", block->iteration, *column);
    if (!r.ok && !(*column == layout)) std::abort();  // a failed read leaves the column alone
    if (!r.ok && r.message.empty()) std::abort();
    if (r.ok && column->Iteration != block->iteration) std::abort();
  }
  return 0;
}
