// libFuzzer harness: the setup reader on any text.  It must return a result (read, or an error
// naming the place), never crash, hang or touch memory it does not own; and what it accepts must
// read back the same when written.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "column/column.h"
#include "column/settings.h"
#include "persist/setup_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  auto column = std::make_unique<cx::Column>();
  cx::Settings settings;
  const cx::SetupReadResult r = cx::parseSetup(text, "fuzz.cxd", *column, settings);
  if (!r.ok) {
    if (r.message.empty()) std::abort();  // a refusal always says why
    return 0;
  }
  // Whatever the reader accepts, the writer writes so that it reads back to the same text.
  const std::string written = cx::setupText(*column, settings);
  auto again = std::make_unique<cx::Column>();
  cx::Settings settingsAgain;
  if (!cx::parseSetup(written, "written.cxd", *again, settingsAgain).ok) std::abort();
  if (cx::setupText(*again, settingsAgain) != written) std::abort();
  return 0;
}
