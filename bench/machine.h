#pragma once

#include <string>

/// What the programs of the benchmarks say alike.
namespace korvane::bench {

/// Programs that wanted a processor during the last minute, or -1.
double machine_load();
/// "2026-01-31".
std::string today();
/// "g++ 12.2.0".
std::string compiler();

/// By a format of printf for one double.
std::string formatted(const char* format, double value);
/// Three digits and the unit that suits them for seconds, "s"; whole numbers of any other unit.
std::string readable(double value, const std::string& unit);
/// To four digits.
double rounded(double value);

}  // namespace korvane::bench
