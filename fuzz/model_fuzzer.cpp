// Bytes choose operations on a project and their arguments. Each is done to the store and to its
// model, and a reply that is not the model's ends the process.

#include <cstddef>
#include <cstdint>
#include <span>

#include <boost/log/core.hpp>
#include <gtest/gtest.h>

#include "tests/scenarios/project_model/project_against_model.h"

namespace {

/// Numbers out of bytes, two of them for a number that may be beyond a byte's. Zeros behind the
/// last.
class Choices {
 public:
  explicit Choices(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool is_spent() const { return bytes_.empty(); }

  std::int32_t take(std::int32_t below) {
    constexpr std::int32_t kByte = 256;
    std::int32_t number = take_byte();
    if (below > kByte) number = number * kByte + take_byte();
    return number % below;
  }

 private:
  std::int32_t take_byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t byte = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return byte;
  }

  std::span<const std::uint8_t> bytes_;
};

void set_up() {
  boost::log::core::get()->set_logging_enabled(false);
  testing::GTEST_FLAG(throw_on_failure) = true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool is_set_up = (set_up(), true);
  static_cast<void>(is_set_up);
  Choices choices({data, size});
  korvane::test::ProjectAgainstModel project(
      [&](std::int32_t below) { return choices.take(below); });
  while (!choices.is_spent()) project.step();
  project.compare();
  return 0;
}
