#include "persist/text_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

#include "base/vb.h"
#include "base/text_format.h"

namespace cx {
namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

// Checks the whole token is one number: [+-] digits [. digits] [E|e|D|d [+-] digits], with at
// least one mantissa digit.
bool wellFormedNumber(std::string_view t) {
  std::size_t i = 0;
  if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
  std::size_t digits = 0;
  while (i < t.size() && isDigit(t[i])) ++i, ++digits;
  if (i < t.size() && t[i] == '.') {
    ++i;
    while (i < t.size() && isDigit(t[i])) ++i, ++digits;
  }
  if (digits == 0) return false;
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E' || t[i] == 'd' || t[i] == 'D')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    std::size_t expDigits = 0;
    while (i < t.size() && isDigit(t[i])) ++i, ++expDigits;
    if (expDigits == 0) return false;
  }
  return i == t.size();
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char c = a[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != b[i]) return false;
  }
  return true;
}

std::string trimBlanks(std::string_view s) {
  std::size_t b = 0, e = s.size();
  while (b < e && isBlank(s[b])) ++b;
  while (e > b && isBlank(s[e - 1])) --e;
  return std::string(s.substr(b, e - b));
}

}  // namespace

InputError::InputError(std::string fileName, int lineNumber, std::string fieldName,
                       std::string problemText)
    : std::runtime_error(fileName + ", line " + std::to_string(lineNumber) + ", field '" +
                         fieldName + "': " + problemText),
      file(std::move(fileName)),
      line(lineNumber),
      field(std::move(fieldName)),
      problem(std::move(problemText)) {}

TextReader::TextReader(std::string text, std::string fileName)
    : text_(std::move(text)), fileName_(std::move(fileName)) {
  end_ = text_.size();
  while (end_ > 0 &&
         (text_[end_ - 1] == '\r' || text_[end_ - 1] == '\n' || text_[end_ - 1] == '\x1a'))
    --end_;
  if (text_.compare(0, 3, "\xEF\xBB\xBF") == 0) pos_ = 3;
}

void TextReader::fail(int lineNumber, std::string_view field, std::string problem) const {
  throw InputError(fileName_, lineNumber, std::string(field), std::move(problem));
}

void TextReader::skipBlanks() {
  while (pos_ < end_ && isBlank(text_[pos_])) ++pos_;
}

void TextReader::consumeLineEnd() {
  if (pos_ >= end_) return;  // the end of the text ends the last line
  if (text_[pos_] == '\r') {
    ++pos_;
    if (pos_ < text_.size() && text_[pos_] == '\n') ++pos_;
  } else if (text_[pos_] == '\n') {
    ++pos_;
  } else {
    return;
  }
  ++line_;
}

void TextReader::finishField() {
  skipBlanks();
  if (pos_ < end_ && text_[pos_] == ',')
    ++pos_;
  else
    consumeLineEnd();
}

void TextReader::checkRecordField(std::string_view field) {
  if (recordLine_ == 0) return;
  skipBlanks();
  if (line_ != recordLine_ || (pos_ >= end_ && recordRead_ > 0))
    fail(recordLine_, field,
         std::string(pos_ >= end_ ? "unexpected end of file: " : "") + "the line ends after " +
             std::to_string(recordRead_) + " of its " + std::to_string(recordFields_) +
             " fields (" + recordWhat_ + ")");
  ++recordRead_;
}

void TextReader::beginRecord(int fields, std::string what) {
  skipBlanks();
  if (pos_ >= end_) fail(line_, what, "unexpected end of file");
  recordLine_ = line_;
  recordFields_ = fields;
  recordRead_ = 0;
  recordWhat_ = std::move(what);
}

void TextReader::endRecord() {
  const int line = recordLine_;
  recordLine_ = 0;
  // The last field consumed the line end, or the text ended with it.
  if (line_ == line && pos_ < end_)
    fail(line, recordWhat_,
         "the line holds more than its " + std::to_string(recordFields_) + " fields, found '" +
             excerpt(peekLine()) + "'");
}

namespace {
std::string withoutBlanks(std::string_view s) {
  std::string out;
  for (char c : s)
    if (!isBlank(c)) out += c;
  return out;
}
}  // namespace

void TextReader::expectLine(std::string_view expected, std::string_view field) {
  const int lineNumber = line_;
  if (pos_ >= end_) fail(line_, field, "unexpected end of file");
  const std::string found = readLine(field);
  if (withoutBlanks(found) == withoutBlanks(expected)) return;
  fail(lineNumber, field,
       expected.empty() ? "expected a blank line, found '" + excerpt(found) + "'"
                        : "expected the line '" + excerpt(expected, 60) + "', found '" +
                              (found.empty() ? std::string("a blank line") : excerpt(found)) +
                              "'");
}

void TextReader::beginField(std::string_view field) {
  checkRecordField(field);
  skipBlanks();
  if (pos_ >= end_) fail(line_, field, "unexpected end of file");
}

std::string_view TextReader::quotedBody() {
  const std::size_t start = ++pos_;  // past the opening quote
  while (pos_ < end_ && text_[pos_] != '"' && text_[pos_] != '\r' && text_[pos_] != '\n') ++pos_;
  const std::string_view body(text_.data() + start, pos_ - start);
  if (pos_ < end_ && text_[pos_] == '"') ++pos_;
  // Anything between the closing quote and the separator is not part of the field.
  while (pos_ < end_ && text_[pos_] != ',' && !atLineEnd()) ++pos_;
  if (pos_ < end_ && text_[pos_] == ',')
    ++pos_;
  else
    consumeLineEnd();
  return body;
}

std::string_view TextReader::numericToken(std::string_view field) {
  beginField(field);
  if (text_[pos_] == '"') return quotedBody();
  const std::size_t start = pos_;
  while (pos_ < end_) {
    const char c = text_[pos_];
    if (c == ',' || c == ' ' || c == '\t' || c == '\r' || c == '\n') break;
    ++pos_;
  }
  const std::string_view token(text_.data() + start, pos_ - start);
  finishField();
  return token;
}

double TextReader::parseNumber(std::string_view token, int lineNumber,
                               std::string_view field) const {
  while (!token.empty() && isBlank(token.front())) token.remove_prefix(1);
  while (!token.empty() && isBlank(token.back())) token.remove_suffix(1);
  if (token.empty()) return 0.0;  // an empty field reads as zero
  if (!wellFormedNumber(token))
    fail(lineNumber, field, "expected a number, found '" + excerpt(token) + "'");
  // The library parser takes neither a leading '+' nor a 'D' exponent.
  std::string_view digits = token;
  if (digits.front() == '+') digits.remove_prefix(1);
  std::array<char, 64> buf{};  // zeroed: the fallback below reads it as a C string
  if (digits.size() >= buf.size()) {
    // A long number is rare: let strtod read it.
    std::string copy(digits);
    for (char& c : copy)
      if (c == 'd' || c == 'D') c = 'E';
    const double v = std::strtod(copy.c_str(), nullptr);
    if (std::isinf(v)) fail(lineNumber, field, "number out of range: '" + excerpt(token) + "'");
    return v;
  }
  for (std::size_t i = 0; i < digits.size(); ++i)
    buf[i] = (digits[i] == 'd' || digits[i] == 'D') ? 'E' : digits[i];
  double v = 0.0;
  const auto r = std::from_chars(buf.data(), buf.data() + digits.size(), v);
  if (r.ec == std::errc::result_out_of_range) {
    // Too large is an error; too small underflows to zero or a denormal, as strtod gives it.
    v = std::strtod(buf.data(), nullptr);
    if (std::isinf(v)) fail(lineNumber, field, "number out of range: '" + excerpt(token) + "'");
  }
  return v;
}

double TextReader::readNumber(std::string_view field) {
  const int lineNumber = line_;
  const std::string_view token = numericToken(field);
  return parseNumber(token, lineNumber, field);
}

int TextReader::readInt(std::string_view field) {
  const int lineNumber = line_;
  const std::string_view token = numericToken(field);
  const double v = parseNumber(token, lineNumber, field);
  const double r = std::nearbyint(v);
  if (!(r >= -2147483648.0 && r <= 2147483647.0))
    fail(lineNumber, field, "whole number out of range: '" + excerpt(token) + "'");
  return toInt(v);
}

bool TextReader::readBool(std::string_view field) {
  const int lineNumber = line_;
  const std::string token = trimBlanks(numericToken(field));
  if (equalsIgnoringCase(token, "true") || equalsIgnoringCase(token, "#true#")) return true;
  if (equalsIgnoringCase(token, "false") || equalsIgnoringCase(token, "#false#")) return false;
  fail(lineNumber, field,
       "expected True or False, found " +
           (token.empty() ? std::string("an empty field")
                          // (appended, not prefixed: GCC 12 -O3 warns falsely on "'" + string)
                          : std::string("'").append(excerpt(token)).append("'")));
}

std::string TextReader::readString(std::string_view field) {
  beginField(field);
  if (text_[pos_] == '"') return std::string(quotedBody());
  const std::size_t start = pos_;
  while (pos_ < end_ && text_[pos_] != ',' && text_[pos_] != '\r' && text_[pos_] != '\n') ++pos_;
  std::size_t stop = pos_;
  while (stop > start && isBlank(text_[stop - 1])) --stop;
  std::string value(text_, start, stop - start);
  if (pos_ < end_ && text_[pos_] == ',')
    ++pos_;
  else
    consumeLineEnd();
  return value;
}

std::string_view TextReader::peekLine() const {
  std::size_t stop = pos_;
  while (stop < end_ && text_[stop] != '\r' && text_[stop] != '\n') ++stop;
  return std::string_view(text_).substr(std::min(pos_, end_), stop - std::min(pos_, end_));
}

std::string TextReader::readLine(std::string_view field) {
  if (pos_ >= end_) fail(line_, field, "unexpected end of file");
  const std::size_t start = pos_;
  while (pos_ < end_ && text_[pos_] != '\r' && text_[pos_] != '\n') ++pos_;
  std::string value(text_, start, pos_ - start);
  consumeLineEnd();
  return value;
}

void TextReader::skipLine() {
  while (pos_ < end_ && text_[pos_] != '\r' && text_[pos_] != '\n') ++pos_;
  consumeLineEnd();
}

}  // namespace cx
