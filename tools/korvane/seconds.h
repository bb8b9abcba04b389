#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace korvane::tools {

/// For options that are a number of seconds: three years, which can still be added to a time.
/// "nan" compares with nothing, and a longer time would be another one once it is counted with.
inline CLI::Validator usual_seconds() {
  return {[](const std::string& text) -> std::string {
            constexpr double kMost = 1e8;
            double seconds = 0;
            const bool is_number = CLI::detail::lexical_cast(text, seconds);
            if (is_number && seconds >= 0 && seconds <= kMost) return "";
            return text + ": expected a number of seconds, 100000000 at most";
          },
          ""};
}

}  // namespace korvane::tools
