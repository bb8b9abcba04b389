#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/scenarios/hostile_files/ordeal.h"
#include "tests/scenarios/torture/torture_test.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/watched_child.h"

namespace korvane::test {

/// Much longer than any one test takes.
inline constexpr std::chrono::seconds kPatience{100};

/// The bytes of a filled project.
inline const std::string& filled_bytes() {
  static const std::string bytes = [] {
    const TemporaryFolder folder;
    const std::string file = folder.file("project.db");
    fill(*std::make_unique<model::cad::Project_Service_Impl>(0, file));
    return bytes_of(file);
  }();
  return bytes;
}

/// A filled project in a file that others use as well.
class OtherPrograms : public testing::Test {
 protected:
  using Project = model::cad::Project_Service_Impl;

  OtherPrograms() { put_bytes(file(), filled_bytes()); }

  std::string file() const { return folder_.file("project.db"); }
  std::unique_ptr<model::cad::Project_Service_Impl> open() const {
    return std::make_unique<model::cad::Project_Service_Impl>(0, file());
  }

  TemporaryFolder folder_;
};

}  // namespace korvane::test
