#pragma once

#include <exception>
#include <functional>
#include <utility>
#include <vector>

namespace korvane::schedule {

/// Takes back what was made, the last first, unless `forget` says that all is complete.
class Undo {
 public:
  Undo() = default;
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  ~Undo() {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
      try {
        (*step)();
      } catch (const std::exception&) {
        // The failure that led here is the one to report; what stays is an unused entry.
        continue;
      }
    }
  }

  void add(std::function<void()> step) { steps_.push_back(std::move(step)); }
  void forget() { steps_.clear(); }

 private:
  std::vector<std::function<void()>> steps_;
};

}  // namespace korvane::schedule
