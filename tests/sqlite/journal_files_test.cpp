#include "sqlite/journal_files.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/backup.h"
#include "sqlite/check.h"
#include "sqlite/compact.h"
#include "sqlite/repair.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;

/// A project beside which lies the journal of a write that was broken off, and a file of somebody.
class JournalOfSeveral : public SoundProject {
 protected:
  JournalOfSeveral() {
    {
      test::PlainConnection writer(file(), test::PlainConnection::Mode::kWrite);
      writer.run(
          "pragma cache_size = 1; begin; update rebar set mark = 'x'; "
          "insert into sheet (raw) select randomblob(100000)");
      fs::copy(file(), broken());
      fs::copy(file() + "-journal", journal());
    }
    std::ofstream(precious()) << "precious";
  }

  std::string broken() const { return file() + "2"; }
  std::string journal() const { return broken() + "-journal"; }
  std::string precious() const { return file() + ".txt"; }

  /// What SQLite writes at the end of a journal that belongs to a write to several databases.
  void name_the_precious_one() const {
    const std::string name = precious();
    std::uint32_t sum = 0;
    for (const char c : name) sum += static_cast<std::uint32_t>(c);
    std::ofstream output(journal(), std::ios::binary | std::ios::app);
    output << number(1U << 18U) << name << number(static_cast<std::uint32_t>(name.size()))
           << number(sum) << "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
  }

  template <class Work>
  void expect_refusal(Work work) const {
    EXPECT_THAT(work, Throws<std::runtime_error>(
                          Property(&std::runtime_error::what,
                                   HasSubstr("-journal\" is not a project's: it names another"))));
    EXPECT_EQ(test::text_of(precious()), "precious");
    EXPECT_TRUE(fs::exists(journal()));
  }

 private:
  static std::string number(std::uint32_t value) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) bytes += static_cast<char>(value >> shift);
    return bytes;
  }
};

TEST_F(JournalOfSeveral, WouldHaveSqliteRemoveTheFileThatItNames) {
  name_the_precious_one();
  test::PlainConnection(broken(), test::PlainConnection::Mode::kWrite).rows("select 1 from sheet");
  EXPECT_FALSE(fs::exists(precious()));
}

TEST_F(JournalOfSeveral, IsTakenInByNobody) {
  name_the_precious_one();
  expect_refusal([&] { back_up(broken(), file() + "3"); });
  expect_refusal([&] { repair_file(broken()); });
  expect_refusal([&] { compact_file(broken()); });
  CopyOptions replacing;
  replacing.is_replacing = true;
  expect_refusal([&] { restore(file(), broken(), replacing); });
  EXPECT_FALSE(check_file(broken()).is_sound());
  expect_refusal([&] { require_own_journal(broken()); });
}

TEST_F(JournalOfSeveral, IsFoundWhereALinkLeads) {
  name_the_precious_one();
  fs::create_symlink(broken(), file() + "-link");
  expect_refusal([&] { require_own_journal(file() + "-link"); });
}

TEST_F(JournalOfSeveral, IsNotThatOfOneWriteToOneFile) {
  require_own_journal(broken());
  repair_file(broken());
  EXPECT_FALSE(fs::exists(journal()));
}

TEST_F(SoundProject, IsSeenWithItsLogThroughALinkToo) {
  run_plainly("pragma journal_mode = wal");
  EXPECT_TRUE(is_log_at_rest(file()));
  test::PlainConnection other(file(), test::PlainConnection::Mode::kWrite);
  other.run("update rebar set total_bars = 3");
  const std::string link = file() + "-link";
  fs::create_symlink(file(), link);
  EXPECT_TRUE(has_beside(link, "-wal"));
  EXPECT_FALSE(is_log_at_rest(link));
  EXPECT_THAT(
      check_lines(link),
      testing::ElementsAre("note write_ahead_log: changes wait in a write-ahead log beside it",
                           "finding column: rebar 1: total_bars is 3, raw says 24"));
}

TEST_F(SoundProject, InWriteAheadModeIsReadUnderANameWithTwoSlashes) {
  run_plainly("pragma journal_mode = wal");
  EXPECT_THAT(check_lines("/" + file()), testing::IsEmpty());
}

}  // namespace
}  // namespace korvane::sqlite
