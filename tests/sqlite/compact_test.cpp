#include "sqlite/compact.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/application_id.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Property;
using testing::Throws;

class Compact : public SoundProject {
 protected:
  void fill_and_empty() const {
    run_plainly(
        "create table filler (a); insert into filler select randomblob(1000000); "
        "drop table filler");
  }
};

TEST_F(Compact, GivesBackRoomAndKeepsEveryRow) {
  std::vector<test::Rows> before;
  for (const std::string& table : test::kTables) before.push_back(all_of(table));
  fill_and_empty();
  const CompactResult result = compact_file(file());
  EXPECT_GT(result.bytes_before, 1'000'000);
  EXPECT_LT(result.bytes_after, 100'000);
  EXPECT_EQ(result.bytes_after, static_cast<std::int64_t>(std::filesystem::file_size(file())));
  for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(all_of(test::kTables[i]), before[i]);
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(Compact, GivesTheFileItsApplicationIdAndTheStoreDoesNotMind) {
  EXPECT_EQ(check_file(file()).application_id, 0U);
  EXPECT_TRUE(compact_file(file()).has_application_id);
  EXPECT_EQ(check_file(file()).application_id, kApplicationId);
  EXPECT_EQ(test::text_of(file()).substr(68, 4), "KRVN");
  reopen();
  EXPECT_EQ(bars_of(1).size(), 1U);
  make_sheet("new");
  EXPECT_EQ(check_file(file()).application_id, kApplicationId);
  GenericReply reply;
  project().clear({}, reply);
  EXPECT_EQ(check_file(file()).application_id, kApplicationId);
}

TEST_F(Compact, KeepsTheApplicationIdOfAnother) {
  run_plainly("pragma application_id = 7");
  EXPECT_FALSE(compact_file(file()).has_application_id);
  EXPECT_EQ(value("pragma application_id"), "7");
}

TEST_F(Compact, KeepsThePageSizeAndTheIdsThatComeNext) {
  run_plainly("pragma page_size = 8192; vacuum; delete from barspacer");
  compact_file(file());
  EXPECT_EQ(value("pragma page_size"), "8192");
  reopen();
  add({test::full_bar_spacer(1)});
  EXPECT_EQ(value("select id from barspacer"), "2");
}

TEST_F(Compact, RefusesWhatIsNotAProjectAndWhatIsDamaged) {
  EXPECT_THAT([&] { compact_file(file() + "x"); },
              Throws<std::runtime_error>(
                  Property(&std::runtime_error::what, "no project " + file() + "x")));
  const std::int64_t page =
      std::stoll(*value("select rootpage from sqlite_schema where name = 'rebar'"));
  std::string bytes = test::text_of(file());
  bytes.replace(static_cast<std::size_t>((page - 1) * 4096), 60, 60, '\x55');
  std::ofstream(file()) << bytes;
  EXPECT_THAT(
      [&] { compact_file(file()); },
      Throws<std::runtime_error>(Property(&std::runtime_error::what,
                                          HasSubstr("\"" + file() + "\" has damage: SQLite: "))));
  EXPECT_EQ(test::text_of(file()), bytes);
  run_plainly("drop table mountingpart");
  EXPECT_THAT(
      [&] { compact_file(file()); },
      Throws<std::runtime_error>(Property(
          &std::runtime_error::what,
          "\"" + file() + "\" is not a korvane project: the table mountingpart is missing")));
}

TEST_F(Compact, GivesUpWhileOthersReadOrWrite) {
  test::PlainConnection other(file(), test::PlainConnection::Mode::kRead);
  other.run("begin; select count(*) from rebar");
  EXPECT_THAT([&] { compact_file(file(), std::chrono::milliseconds(1)); },
              Throws<DatabaseError>(
                  Property(&DatabaseError::what, "\"" + file() + "\": database is locked")));
}

}  // namespace
}  // namespace korvane::sqlite
