// A small JSON writer for the command line's --json output: objects, arrays, strings, numbers,
// booleans, written in order with indentation.  Numbers keep full precision (shortest text that
// reads back to the same double); NaN and infinities become null.
#pragma once

#include <charconv>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace cx::cli {

class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}
  ~JsonWriter() { out_ << '\n'; }

  JsonWriter& beginObject(std::string_view key = {}) { return open(key, '{'); }
  JsonWriter& endObject() { return close('}'); }
  JsonWriter& beginArray(std::string_view key = {}) { return open(key, '['); }
  JsonWriter& endArray() { return close(']'); }

  JsonWriter& value(std::string_view key, double v) {
    prefix(key);
    if (!std::isfinite(v)) {
      out_ << "null";
    } else {
      char buf[32];
      auto r = std::to_chars(buf, buf + sizeof buf, v);
      out_ << std::string_view(buf, static_cast<std::size_t>(r.ptr - buf));
    }
    return *this;
  }
  JsonWriter& value(std::string_view key, int v) {
    prefix(key);
    out_ << v;
    return *this;
  }
  JsonWriter& value(std::string_view key, bool v) {
    prefix(key);
    out_ << (v ? "true" : "false");
    return *this;
  }
  JsonWriter& value(std::string_view key, std::string_view v) {
    prefix(key);
    writeString(v);
    return *this;
  }
  JsonWriter& value(std::string_view key, const char* v) { return value(key, std::string_view(v)); }
  // Array elements: value({}, x).

 private:
  JsonWriter& open(std::string_view key, char bracket) {
    prefix(key);
    out_ << bracket;
    first_.push_back(true);
    return *this;
  }
  JsonWriter& close(char bracket) {
    const bool empty = first_.back();
    first_.pop_back();
    if (!empty) newline();
    out_ << bracket;
    return *this;
  }
  void prefix(std::string_view key) {
    if (!first_.empty()) {
      if (!first_.back()) out_ << ',';
      first_.back() = false;
      newline();
    }
    if (!key.empty()) {
      writeString(key);
      out_ << ": ";
    }
  }
  void newline() {
    out_ << '\n';
    for (std::size_t i = 0; i < first_.size(); ++i) out_ << "  ";
  }
  void writeString(std::string_view s) {
    out_ << '"';
    for (char c : s) {
      switch (c) {
        case '"': out_ << "\\\""; break;
        case '\\': out_ << "\\\\"; break;
        case '\n': out_ << "\\n"; break;
        case '\r': out_ << "\\r"; break;
        case '\t': out_ << "\\t"; break;
        default:
          if (static_cast<unsigned char>(c) < 0x20) {
            const char* hex = "0123456789abcdef";
            out_ << "\\u00" << hex[(c >> 4) & 0xF] << hex[c & 0xF];
          } else {
            out_ << c;
          }
      }
    }
    out_ << '"';
  }
  std::ostream& out_;
  std::vector<bool> first_;
};

}  // namespace cx::cli
