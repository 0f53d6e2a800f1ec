// File operations of the working folder.  Files the program writes are written aside and then
// renamed over the old one, so that an interrupted write cannot destroy what was saved before;
// an append that fails is taken back, so that a file only ever grows by whole records.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace cx {

// The line end of every file the program writes.
inline constexpr std::string_view kEol = "\r\n";

// Sizes no real file of its kind reaches: a setup of 300 nodes is under half a megabyte, and an
// output file holds at most about a thousand blocks of about a megabyte.  Anything larger (or a
// device that never ends) is refused before it is read.
inline constexpr std::uintmax_t kMaxSetupFileBytes = std::uintmax_t{16} << 20;
inline constexpr std::uintmax_t kMaxOutputFileBytes = std::uintmax_t{2} << 30;

// A whole file read, or the reason it was not: the system's words ("No such file or directory",
// "Permission denied"), "not a regular file", or the size cap.
struct FileText {
  std::optional<std::string> text;
  std::string problem;   // empty when `text` holds the file
  bool missing = false;  // the file does not exist
};
// Reads `path` if it is a regular file of at most `maxBytes`.
FileText readTextFile(const std::filesystem::path& path, std::uintmax_t maxBytes);
// Reads a whole file (capped as an output file); nothing when it cannot be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

// The outcome of a write: true, or false with the system's reason ("No space left on device").
struct WriteStatus {
  bool ok = true;
  std::string reason;
  explicit operator bool() const { return ok; }
};
// Writes `text` to `path` through a temporary file in the same folder and a rename.  On failure
// the old file is left as it was.
WriteStatus writeFileAtomically(const std::filesystem::path& path, std::string_view text);
// Appends `text` to `path` in one write, flushed before it returns.  A write that fails part-way
// (a full disk) is taken back: the file is cut to its old length, so it never ends inside `text`.
WriteStatus appendToFile(const std::filesystem::path& path, std::string_view text);

}  // namespace cx
