// File operations of the working folder.  Files the program writes are written aside and then
// renamed over the old one, so that an interrupted write cannot destroy what was saved before.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace cx {

// The line end of every file the program writes.
inline constexpr std::string_view kEol = "\r\n";

// Reads a whole file; nothing when it cannot be opened.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);
// Writes `text` to `path` through a temporary file in the same folder and a rename.  Returns
// false (and leaves the old file) when anything fails.
bool writeFileAtomically(const std::filesystem::path& path, std::string_view text);
// Appends `text` to `path` in one write, flushing before it returns.
bool appendToFile(const std::filesystem::path& path, std::string_view text);

}  // namespace cx
