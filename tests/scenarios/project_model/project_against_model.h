#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace korvane::test {

/// A project in a file of its own beside its model: operations are done to both, and what comes
/// back is compared with GoogleTest's assertions. What is done, and with which values, is chosen
/// from outside.
class ProjectAgainstModel {
 public:
  /// Asked for a number from 0 to one less than it is given.
  using Choose = std::function<std::int32_t(std::int32_t below)>;

  explicit ProjectAgainstModel(Choose choose);
  ~ProjectAgainstModel();

  /// Does one thing.
  void step();
  /// Looks at the whole of the project through every read.
  void compare();

 private:
  class Impl;

  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::test
