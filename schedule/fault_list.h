#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace korvane::schedule {

/// What is wrong with a text, in its order. Keeps the thousand faults that were found first and counts
/// the rest: a hostile text may have one a byte.
class FaultList {
 public:
  /// `position` orders the faults.
  void add(std::size_t position, std::string text) {
    ++count_;
    if (faults_.size() < kMost) faults_.emplace_back(position, std::move(text));
  }

  std::size_t count() const { return count_; }

  std::vector<std::string> texts() const {
    return texts([](std::size_t) { return std::string(); });
  }

  /// The same, each after what `name` gives for its position. It is called in their order.
  template <class Name>
  std::vector<std::string> texts(Name name) const {
    std::vector<std::pair<std::size_t, std::string>> faults = faults_;
    std::stable_sort(faults.begin(), faults.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> texts;
    for (auto& [position, text] : faults) texts.push_back(name(position) + text);
    if (count_ > faults.size()) {
      texts.push_back("and " + std::to_string(count_ - faults.size()) + " more");
    }
    return texts;
  }

 private:
  static constexpr std::size_t kMost = 1000;

  std::size_t count_ = 0;
  std::vector<std::pair<std::size_t, std::string>> faults_;
};

}  // namespace korvane::schedule
