#include "persist/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

namespace cx {
namespace {

namespace fs = std::filesystem;

std::string systemReason(int err) {
  return err != 0 ? std::generic_category().message(err) : std::string("write failed");
}

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f != nullptr) std::fclose(f);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Writes all of `text` to `f` and pushes it to the system; 0 or the system's error number.
int writeAll(std::FILE* f, std::string_view text) {
  errno = 0;
  if (!text.empty() && std::fwrite(text.data(), 1, text.size(), f) != text.size())
    return errno != 0 ? errno : EIO;
  if (std::fflush(f) != 0) return errno != 0 ? errno : EIO;
  return 0;
}

}  // namespace

FileText readTextFile(const fs::path& path, std::uintmax_t maxBytes) {
  FileText r;
  std::error_code ec;
  const fs::file_status st = fs::status(path, ec);
  if (ec || !fs::exists(st)) {
    r.missing = !fs::exists(st);
    r.problem = ec ? ec.message() : "No such file or directory";
    return r;
  }
  // A device or a pipe may never end (/dev/zero) or block for ever (a FIFO with no writer).
  if (!fs::is_regular_file(st)) {
    r.problem = fs::is_directory(st) ? "a folder, not a file" : "not a regular file";
    return r;
  }
  const std::uintmax_t size = fs::file_size(path, ec);
  if (!ec && size > maxBytes) {
    r.problem = "too large (" + std::to_string(size >> 20) + " MB; no such file exceeds " +
                std::to_string(maxBytes >> 20) + " MB)";
    return r;
  }
  errno = 0;
  File f(std::fopen(path.c_str(), "rb"));
  if (!f) {
    r.problem = systemReason(errno);
    return r;
  }
  std::string text;
  text.reserve(static_cast<std::size_t>(ec ? 0 : size));
  char buf[1 << 16];
  std::size_t got = 0;
  while ((got = std::fread(buf, 1, sizeof buf, f.get())) > 0) {
    text.append(buf, got);
    // The file may have grown since its size was taken.
    if (text.size() > maxBytes) {
      r.problem = "too large (no such file exceeds " + std::to_string(maxBytes >> 20) + " MB)";
      return r;
    }
  }
  if (std::ferror(f.get())) {
    r.problem = systemReason(errno);
    return r;
  }
  r.text = std::move(text);
  return r;
}

std::optional<std::string> readWholeFile(const fs::path& path) {
  return readTextFile(path, kMaxOutputFileBytes).text;
}

WriteStatus writeFileAtomically(const fs::path& path, std::string_view text) {
  fs::path temp = path;
  temp += ".part";
  int err = 0;
  {
    errno = 0;
    File out(std::fopen(temp.c_str(), "wb"));
    if (!out) return {false, systemReason(errno)};
    err = writeAll(out.get(), text);
    if (err == 0) {
      errno = 0;
      if (std::fclose(out.release()) != 0) err = errno != 0 ? errno : EIO;
    }
  }
  std::error_code ec;
  if (err != 0) {
    fs::remove(temp, ec);
    return {false, systemReason(err)};
  }
  fs::rename(temp, path, ec);
  if (ec) {
    const std::string reason = ec.message();
    fs::remove(temp, ec);
    return {false, reason};
  }
  return {};
}

WriteStatus appendToFile(const fs::path& path, std::string_view text) {
  std::error_code ec;
  const std::uintmax_t before = fs::exists(path, ec) ? fs::file_size(path, ec) : 0;
  if (ec) return {false, ec.message()};
  errno = 0;
  File out(std::fopen(path.c_str(), "ab"));
  if (!out) return {false, systemReason(errno)};
  int err = writeAll(out.get(), text);
  if (err == 0) {
    errno = 0;
    if (std::fclose(out.release()) != 0) err = errno != 0 ? errno : EIO;
  }
  if (err == 0) return {};
  out.reset();
  // Take back what reached the file, so that it ends on the last whole record.
  fs::resize_file(path, before, ec);
  return {false, systemReason(err)};
}

}  // namespace cx
