#include "base/vb.h"

#include <cctype>
#include <cstdlib>

namespace cx {

std::string trim(std::string_view text) {
  std::size_t b = 0, e = text.size();
  while (b < e && (text[b] == ' ' || text[b] == '\t' || text[b] == '\r' || text[b] == '\n')) ++b;
  while (e > b && (text[e - 1] == ' ' || text[e - 1] == '\t' || text[e - 1] == '\r' ||
                   text[e - 1] == '\n'))
    --e;
  return std::string(text.substr(b, e - b));
}

std::optional<ParsedNumber> parseLeadingNumber(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
  const std::size_t start = i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  std::size_t digits = 0;
  while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, ++digits;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, ++digits;
  }
  if (digits == 0) return std::nullopt;
  // An exponent counts only when digits follow it ("1.00E-07", "5e14", "1D3").
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
    std::size_t j = i + 1;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
    std::size_t expDigits = 0;
    while (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j]))) ++j, ++expDigits;
    if (expDigits > 0) i = j;
  }
  std::string number(text.substr(start, i - start));
  for (char& c : number)
    if (c == 'd' || c == 'D') c = 'E';
  return ParsedNumber{std::strtod(number.c_str(), nullptr), i};
}

double val(std::string_view text) {
  const auto p = parseLeadingNumber(text);
  return p ? p->value : 0.0;
}

std::optional<double> toNumber(std::string_view text) {
  const std::string t = trim(text);
  if (t.empty()) return std::nullopt;
  const auto p = parseLeadingNumber(t);
  if (!p || p->length != t.size()) return std::nullopt;
  if (!std::isfinite(p->value)) return std::nullopt;
  return p->value;
}

bool isNumeric(std::string_view text) { return toNumber(text).has_value(); }

}  // namespace cx
