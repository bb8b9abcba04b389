#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/promise.h"
#include "tests/support/allocated_bytes.h"
#include "tests/support/every_contract.h"

/// What the targets share that read a record of any contract.
namespace korvane::fuzz {

/// Calls `visitor.operator()<T>()` for one of all contracts, chosen by `choice`.
template <class Visitor>
void with_contract(std::uint8_t choice, Visitor visitor) {
  static const auto calls = [] {
    std::vector<void (*)(Visitor&)> all;
    test::for_each_contract([&]<class T>() {
      all.push_back([](Visitor& chosen) { chosen.template operator()<T>(); });
    });
    return all;
  }();
  calls[choice % calls.size()](visitor);
}

/// The size in memory of the largest contract.
inline std::size_t largest_record() {
  static const std::size_t size = [] {
    std::size_t largest = 0;
    test::for_each_contract([&]<class T>() { largest = std::max(largest, sizeof(T)); });
    return largest;
  }();
  return size;
}

/// Holds what is allocated while it lives to a bound in proportion to the bytes that are read. A
/// byte may stand for the largest record, and lists double as they grow.
class InProportion {
 public:
  explicit InProportion(std::size_t bytes)
      : limit_(bytes * (4 * largest_record() + 512) + (64U << 10U)),
        before_(test::allocated_bytes()) {}
  InProportion(const InProportion&) = delete;
  InProportion& operator=(const InProportion&) = delete;
  ~InProportion() {
    promise(test::allocated_bytes() - before_ <= limit_, "memory in proportion to the input");
  }

 private:
  std::size_t limit_;
  std::size_t before_;
};

}  // namespace korvane::fuzz
