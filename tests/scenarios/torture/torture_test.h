#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/scenarios/torture/project_calls.h"
#include "tests/scenarios/torture/stored_state.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

/// The files of a folder by name, with their bytes.
using Files = std::map<std::string, std::string>;

inline Files read_files(const std::filesystem::path& folder) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream stream(entry.path(), std::ios::binary);
    files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(stream), {}};
  }
  return files;
}

/// Makes the folder hold exactly `files`.
inline void write_files(const std::filesystem::path& folder, const Files& files) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (files.count(entry.path().filename().string()) == 0) std::filesystem::remove(entry.path());
  }
  for (const auto& [name, bytes] : files) {
    // Overwrites: some file systems flush a file to the disk when it is truncated and rewritten.
    const auto path = folder / name;
    if (!std::filesystem::exists(path)) std::ofstream{path};
    std::ofstream stream(path, std::ios::binary | std::ios::in);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    std::filesystem::resize_file(path, bytes.size());
  }
}

/// The number of random rounds: KORVANE_TORTURE_ROUNDS, or `usual`.
inline int torture_rounds(int usual) {
  const char* const given = std::getenv("KORVANE_TORTURE_ROUNDS");
  return given != nullptr ? std::stoi(given) : usual;
}

/// Whether to try everything, however long it takes.
inline bool is_long_torture() { return std::getenv("KORVANE_TORTURE_ROUNDS") != nullptr; }

/// The seed of the first round, KORVANE_TORTURE_SEED or a random one. The next rounds have the
/// seeds after it, so that any round can be replayed alone.
inline std::uint32_t torture_seed() {
  const char* const given = std::getenv("KORVANE_TORTURE_SEED");
  return given != nullptr ? static_cast<std::uint32_t>(std::stoul(given)) : std::random_device{}();
}

/// Runs `round(seed)` until one fails.
template <class Round>
void run_rounds(int usual, Round round) {
  const std::uint32_t first = torture_seed();
  const int rounds = torture_rounds(usual);
  std::cout << "KORVANE_TORTURE_SEED=" << first << " KORVANE_TORTURE_ROUNDS=" << rounds << '\n';
  for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
    const std::uint32_t seed = first + static_cast<std::uint32_t>(i);
    SCOPED_TRACE("replay with KORVANE_TORTURE_SEED=" + std::to_string(seed) +
                 " KORVANE_TORTURE_ROUNDS=1");
    round(seed);
  }
}

/// A test name of a call, for parameters.
inline std::string call_name(const testing::TestParamInfo<Call>& info) { return info.param.name(); }

/// Projects in one folder, on `Disk` instead of SQLite's own file system.
template <class Disk>
class TortureTest : public testing::Test {
 protected:
  using Project = model::cad::Project_Service_Impl;

  // Test support switches syncing off on every connection; here syncing is what is tested.
  TortureTest() { sqlite3_reset_auto_extension(); }

  std::string file() const { return folder_.file(kName); }
  std::unique_ptr<Project> open() const { return std::make_unique<Project>(0, file()); }

  Files files() const { return read_files(folder_.path()); }
  void put(const Files& files) const { write_files(folder_.path(), files); }

  /// Opens it with the plugin first, which rolls back an interrupted write.
  void expect_stored(const StoredState& expected) const {
    ASSERT_NO_THROW({
      open();
      const StoredState found = stored_state(file());
      EXPECT_TRUE(found == expected) << difference(found, expected);
    });
  }

  /// Whether a failed call has left a transaction open.
  static bool is_left_in_transaction(Project& project) {
    try {
      sql("begin").run(project);
    } catch (const Poco::Data::SQLite::InvalidSQLStatementException&) {
      return true;
    }
    sql("rollback").run(project);
    return false;
  }

  static constexpr const char* kName = "project.db";

  Disk disk_;
  TemporaryFolder folder_;
};

}  // namespace korvane::test
