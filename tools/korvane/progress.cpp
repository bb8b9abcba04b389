#include "tools/korvane/progress.h"

#include <unistd.h>

namespace korvane::tools {

namespace {

constexpr std::chrono::milliseconds kInterval{100};

/// Back to the line's begin, and empty from there on.
constexpr std::string_view kClearLine = "\r\x1B[K";

}  // namespace

bool is_error_output_a_terminal() { return ::isatty(STDERR_FILENO) == 1; }

void Progress::show(std::string_view step, std::size_t done, std::size_t total) {
  if (!is_shown_) return;
  const Clock::time_point now = now_();
  if (last_ && now - *last_ < kInterval) return;
  last_ = now;
  const std::size_t percent = total == 0 ? 0 : done * 100 / total;
  output_ << kClearLine << step << ' ' << percent << " %" << std::flush;
  is_on_screen_ = true;
}

void Progress::clear() {
  if (is_on_screen_) output_ << kClearLine << std::flush;
  is_on_screen_ = false;
}

}  // namespace korvane::tools
