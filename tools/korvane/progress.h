#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

namespace korvane::tools {

/// Whether the standard error output is a terminal.
bool is_error_output_a_terminal();

/// One line of a terminal that says how far long work is, at most ten times a second. Gone when the
/// object is.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  /// Prints to `output`, which must outlive the object; nothing unless `is_shown`.
  Progress(std::ostream& output, bool is_shown, std::function<Clock::time_point()> now = Clock::now)
      : output_(output), is_shown_(is_shown), now_(std::move(now)) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  /// "storing 45 %". `step` must be printable.
  void show(std::string_view step, std::size_t done, std::size_t total);

  /// Removes the line, for something else to be printed.
  void clear();

 private:
  std::ostream& output_;
  bool is_shown_;
  std::function<Clock::time_point()> now_;
  std::optional<Clock::time_point> last_;
  bool is_on_screen_ = false;
};

}  // namespace korvane::tools
