// Files that are not projects, or lack what a project has.

#include <exception>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/hostile_files/hostile_file.h"
#include "tests/support/content_kinds.h"

namespace korvane::test {
namespace {

using model::cad::Project_Service_Impl;

TEST_F(HostileFile, ThatIsNoneFailsInEveryOperationThatLooksAtIt) {
  run_ordeals([&](const Undergo& undergo) {
    const auto undergo_with = [&](const std::string& name, const std::string& bytes) {
      put_bytes(file(), bytes);
      undergo(name, 1);
    };
    undergo_with("one byte", "S");
    undergo_with("text", "Dear all,\n\nplease find enclosed the schedule.\n");
    undergo_with("long text", std::string(100'000, 'a'));
    undergo_with("zeros", std::string(8192, '\0'));
    undergo_with("a header alone", valid_bytes().substr(0, kFileHeaderSize));
    undergo_with("the magic alone", valid_bytes().substr(0, 16));
    undergo_with("a header and zeros",
                 valid_bytes().substr(0, kFileHeaderSize) + std::string(8092, '\0'));
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    undergo("a folder", 1);
    std::filesystem::remove(file());
    std::filesystem::create_symlink(file(), file());
    undergo("a link to itself", 1);
    std::filesystem::remove(file());
    std::filesystem::create_symlink("/dev/null", file());
    undergo("a device", 1);
    std::filesystem::remove(file());
    mkfifo(file().c_str(), S_IRUSR | S_IWUSR);
    undergo("a pipe", 1);
    std::filesystem::remove(file());
  });
}

/// The calls that fail on `file` one by one.
std::vector<std::string> failing_calls(const std::string& file) {
  Project_Service_Impl project(0, file);
  std::vector<std::string> failing;
  for (const Call& call : all_calls()) {
    if (call.operation == "clear") continue;
    try {
      call.run(project);
    } catch (const std::exception&) {
      failing.push_back(call.name());
    }
  }
  return failing;
}

TEST_F(HostileFile, ThatIsEmptyHasNoTablesUntilItIsCleared) {
  put_bytes(file(), "");
  const std::vector<std::string> failing = failing_calls(file());
  // The others need no table.
  EXPECT_EQ(failing.size() + 2 + 2, all_calls().size());
  Project_Service_Impl project(0, file());
  all_calls().front().run(project);
  fill(project);
  EXPECT_EQ(plain_rows(file(), "PRAGMA integrity_check"), Rows({{"ok"}}));
}

TEST_F(HostileFile, OfAnotherProgramKeepsItsTablesUntouched) {
  put_bytes(file(), "");
  PlainConnection connection(file(), PlainConnection::Mode::kWrite);
  connection.run(
      "create table songs (id integer primary key, title text, length real);"
      "insert into songs (title, length) values ('one', 2.5), ('two', 3)");
  const StoredState before = stored_state(file());
  failing_calls(file());
  EXPECT_EQ(stored_state(file()), before);
  Project_Service_Impl project(0, file());
  all_calls().front().run(project);
  EXPECT_EQ(stored_state(file()).tables.at("songs"), before.tables.at("songs"));
}

/// Calls every batch writer with nothing to write.
void add_nothing(const std::string& file) {
  Project_Service_Impl project(0, file);
  for_each_content_kind([&]<class Kind>() { add_content<Kind>(project, {}); });
}

TEST_F(HostileFile, ThatIsEmptyTakesBatchesOfNothing) {
  put_bytes(file(), "");
  add_nothing(file());
  EXPECT_EQ(bytes_of(file()), "");
}

TEST_F(HostileFile, ThatIsNotADatabaseTakesBatchesOfNothing) {
  const std::string letter(8192, 'a');
  put_bytes(file(), letter);
  add_nothing(file());
  EXPECT_EQ(bytes_of(file()), letter);
}

TEST_F(HostileFile, WithoutColumnsOfAProjectTakesBatchesOfNothing) {
  make_changed(with_declarations_changed(",raw BLOB", ""));
  const std::string before = bytes_of(file());
  add_nothing(file());
  EXPECT_EQ(bytes_of(file()), before);
}

TEST_F(HostileFile, WhoseSequenceIsAtItsEndStoresNoMoreUntilItIsSetBack) {
  make_changed("update sqlite_sequence set seq = 9223372036854775807 where name = 'sheet'");
  const StoredState before = stored_state(file());
  Project_Service_Impl project(0, file());
  EXPECT_ANY_THROW(probe().run(project));
  EXPECT_EQ(stored_state(file()), before);
  PlainConnection(file(), PlainConnection::Mode::kWrite)
      .run("update sqlite_sequence set seq = 7 where name = 'sheet'");
  probe().run(project);
  EXPECT_EQ(plain_rows(file(), "select max(id) from sheet"), Rows({{"8"}}));
}

}  // namespace
}  // namespace korvane::test
