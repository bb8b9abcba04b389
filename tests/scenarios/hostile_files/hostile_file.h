#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/hostile_files/ordeal.h"
#include "tests/scenarios/torture/torture_test.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

/// The bytes of a filled project with default settings.
const std::string& valid_bytes();

/// The same after longer use: tables and indexes of more than one level, and free pages.
const std::string& grown_bytes();

std::size_t below(std::mt19937& random, std::size_t limit);

/// Flips a bit of the byte, or sets it to 0 or 255.
void damage(std::string& bytes, std::size_t position, std::mt19937& random);

/// The size of a file's header.
inline constexpr std::size_t kFileHeaderSize = 100;

/// A project file that may be damaged or made to harm.
class HostileFile : public testing::Test {
 protected:
  HostileFile();

  std::string file() const { return folder_.file("hostile.db"); }
  std::string journal() const { return file() + "-journal"; }

  /// Runs `ordeals` in a child process. For each file that it has put in place it calls `Undergo`,
  /// which makes all calls on the file.
  using Undergo = std::function<void(const std::string& name, std::uint32_t seed)>;
  void run_ordeals(const std::function<void(const Undergo&)>& ordeals,
                   const std::function<std::shared_ptr<void>()>& around_each_call = {});

  /// A filled project that `sql` was run on by another program.
  void make_changed(const std::string& sql) const;

  TemporaryFolder folder_;
};

/// SQL that another program ran on a filled project.
struct Change {
  std::string name;
  std::string sql;
};
void PrintTo(const Change& change, std::ostream* out);
std::string name_of(const testing::TestParamInfo<Change>& info);

/// `sql` for each table of a project in turn, with the table's name for `@`.
std::string for_all_tables(const std::string& sql);

/// Changes `sqlite_master` itself.
std::string in_the_catalogue(const std::string& sql);
std::string with_declarations_changed(const std::string& from, const std::string& to);

}  // namespace korvane::test
