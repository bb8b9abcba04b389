#include "bench/machine.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace korvane::bench {

double machine_load() {
  double load = 0.0;
  return getloadavg(&load, 1) == 1 ? load : -1.0;
}

std::string today() {
  const auto days = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  const std::chrono::year_month_day date(days);
  char text[16];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

std::string compiler() {
#if defined(__clang__)
  return std::string("clang ") + __clang_version__;
#else
  return std::string("g++ ") + __VERSION__;
#endif
}

std::string formatted(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof(text), format, value);
  return text;
}

std::string readable(double value, const std::string& unit) {
  if (unit != "s") return formatted("%.0f ", value) + unit;
  for (const auto& [name, size] : {std::pair{"s", 1.0}, {"ms", 1e-3}, {"us", 1e-6}}) {
    if (value >= size) return formatted("%.3g ", value / size) + name;
  }
  return formatted("%.3g ns", value / 1e-9);
}

double rounded(double value) { return std::strtod(formatted("%.4g", value).c_str(), nullptr); }

}  // namespace korvane::bench
