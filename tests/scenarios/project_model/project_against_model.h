#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace korvane::test {

/// A project in a file of its own and its model: each operation is done to both, and the replies
/// are compared with GoogleTest's assertions. The caller chooses the operations and their values.
class ProjectAgainstModel {
 public:
  /// Returns a number from 0 to one less than its argument.
  using Choose = std::function<std::int32_t(std::int32_t below)>;

  explicit ProjectAgainstModel(Choose choose);
  ~ProjectAgainstModel();

  /// Does one operation.
  void step();
  /// Looks at the whole of the project through every read.
  void compare();

  /// The file of the project.
  const std::string& file() const;

 private:
  class Impl;

  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::test
