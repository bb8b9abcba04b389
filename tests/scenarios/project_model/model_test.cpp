// Random sequences of operations against a plain in-memory model of a project. The seed is printed
// and can be given again: KORVANE_MODEL_SEED=12345.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "sqlite/check.h"
#include "tests/scenarios/project_model/project_against_model.h"

namespace korvane::test {
namespace {

constexpr int kSteps = 10'000;
constexpr int kStepsOfACheck = 250;

std::uint32_t some_seed() {
  const char* const given = std::getenv("KORVANE_MODEL_SEED");
  return given != nullptr ? static_cast<std::uint32_t>(std::stoul(given)) : std::random_device{}();
}

/// Whatever operations have made of a file, a check finds nothing wrong with it.
void expect_sound(const std::string& file) {
  const sqlite::CheckReport report = sqlite::check_file(file);
  if (report.is_sound()) return;
  for (const sqlite::Finding& finding : report.findings.listed()) {
    if (finding.severity() != sqlite::Severity::note) ADD_FAILURE() << finding.text;
  }
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
    if (i % kStepsOfACheck == 0) expect_sound(project.file());
  }
  project.compare();
  expect_sound(project.file());
}

}  // namespace
}  // namespace korvane::test
