// Random sequences of operations against a plain in-memory model of a project. The seed is printed
// and can be given again: KORVANE_MODEL_SEED=12345.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/scenarios/project_model/project_against_model.h"

namespace korvane::test {
namespace {

constexpr int kSteps = 10'000;

std::uint32_t some_seed() {
  const char* const given = std::getenv("KORVANE_MODEL_SEED");
  return given != nullptr ? static_cast<std::uint32_t>(std::stoul(given)) : std::random_device{}();
}

TEST(AgainstTheModel, RandomOperationsLeaveWhatTheModelHas) {
  const std::uint32_t seed = some_seed();
  std::cout << "KORVANE_MODEL_SEED=" << seed << '\n';
  std::mt19937 random(seed);
  ProjectAgainstModel project([&](std::int32_t below) {
    return std::uniform_int_distribution<std::int32_t>(0, below - 1)(random);
  });
  for (int i = 0; i < kSteps && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i));
    project.step();
  }
  project.compare();
}

}  // namespace
}  // namespace korvane::test
