// What file(1) says of project files by packaging/korvane.magic.

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/application_id.h"
#include "sqlite/compact.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kWithId = "korvane project (SQLite 3 database)\n";
constexpr const char* kWithoutId = "korvane project (SQLite 3 database), without id\n";

std::string description_of_file(const std::string& file) {
  const std::string command = "file -b -m " KORVANE_MAGIC " " + file + " 2>&1";
  struct Closed {
    void operator()(std::FILE* stream) const { ::pclose(stream); }
  };
  const std::unique_ptr<std::FILE, Closed> output(::popen(command.c_str(), "r"));
  std::string text;
  std::array<char, 256> line{};
  while (std::fgets(line.data(), line.size(), output.get()) != nullptr) text += line.data();
  return text;
}

class Magic : public SoundProject {};

TEST_F(Magic, KnowsAProjectWithAndWithoutItsId) {
  EXPECT_EQ(description_of_file(file()), kWithoutId);
  run_plainly("vacuum");
  EXPECT_EQ(description_of_file(file()), kWithoutId);
  compact_file(file());
  EXPECT_EQ(description_of_file(file()), kWithId);
}

TEST_F(Magic, KnowsALargeProjectAndOneThatWasReset) {
  run_plainly("create table filler (a); insert into filler select randomblob(1000000)");
  EXPECT_EQ(description_of_file(file()), kWithoutId);
  run_plainly("vacuum");
  EXPECT_EQ(description_of_file(file()), kWithoutId);
  reopen();
  GenericReply reply;
  project().clear({}, reply);
  close();
  EXPECT_EQ(description_of_file(file()), kWithoutId);
}

TEST_F(Magic, KnowsTheFilesOfEarlierVersions) {
  for (const auto& entry :
       std::filesystem::directory_iterator(KORVANE_TEST_DATA "/project_files")) {
    if (entry.path().extension() != ".db") continue;
    EXPECT_EQ(description_of_file(entry.path().string()), kWithoutId);
  }
}

TEST_F(Magic, DoesNotTakeAnotherDatabaseForAProject) {
  const std::string other = file() + "2";
  Database(other, Database::Access::make).run("create table project (id integer primary key)");
  EXPECT_THAT(description_of_file(other), Not(HasSubstr("korvane")));
  run_plainly("pragma application_id = 7");
  EXPECT_THAT(description_of_file(file()), Not(HasSubstr("korvane")));
}

TEST_F(Magic, NamesTheNumberThatCompactSets) {
  char number[16];
  std::snprintf(number, sizeof(number), "0x%08X", kApplicationId);
  EXPECT_THAT(test::text_of(KORVANE_MAGIC), HasSubstr(std::string("belong\t") + number));
}

}  // namespace
}  // namespace korvane::sqlite
