#include "base/clock.h"

#include <ctime>

namespace cx {

std::string clockLine() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[16];
  std::strftime(text, sizeof text, "  %H:%M:%S", &local);
  return text;
}

bool isClockLine(std::string_view line) {
  if (line.size() != 10 || line.substr(0, 2) != "  " || line[4] != ':' || line[7] != ':')
    return false;
  for (int k : {2, 3, 5, 6, 8, 9})
    if (line[k] < '0' || line[k] > '9') return false;
  return true;
}

}  // namespace cx
