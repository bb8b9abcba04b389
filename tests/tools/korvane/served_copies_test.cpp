// What a server does with the copies that others send it, whoever they are.

#include "tools/korvane/served_copies.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/http/message.h"
#include "sqlite/file_content.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"
#include "tools/korvane/copy_orders.h"

namespace korvane::tools {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class CopiesOfAServer : public testing::Test {
 protected:
  CopiesOfAServer() {
    EXPECT_EQ(test::run_program(folder_, "import " KORVANE_EXAMPLES "/guideline.abs --project " +
                                             folder_.file("one.db"))
                  .exit_code,
              0);
    fs::create_directory(folder_.file("root"));
    fs::current_path(folder_.file("root"));
    copies_.emplace();
  }
  ~CopiesOfAServer() override { fs::current_path(former_); }

  std::string announcement() const {
    const std::string file = folder_.file("one.db");
    return announcement_text(
        {sqlite::list_blocks(file),
         sqlite::content_digest(sqlite::Database(file, sqlite::Database::Access::read)),
         "look",
         {},
         0600});
  }
  std::string run(const host::CopyOrder& order) { return copies_->run(order); }
  Transfer begin(const std::string& file) {
    const std::string body = announcement();
    return transfer_of(run({.client = "office", .file = file, .order = "begin", .body = body}));
  }
  void send(const std::string& file) {
    const Transfer transfer = begin(file);
    const std::string bytes = test::text_of(folder_.file("one.db"));
    run({.client = "office",
         .file = file,
         .order = "blocks",
         .transfer = transfer.id,
         .first = "0",
         .body = bytes});
    run({.client = "office", .file = file, .order = "finish", .transfer = transfer.id});
  }
  /// 200, or the status of the refusal with its text.
  std::string outcome(const host::CopyOrder& order) {
    try {
      run(order);
      return "200";
    } catch (const host::HttpFault& fault) {
      return std::to_string(fault.status()) + " " + fault.what();
    }
  }

  const fs::path former_ = fs::current_path();
  const test::TemporaryFolder folder_;
  std::optional<ServedCopies> copies_;
};

TEST_F(CopiesOfAServer, ComeToTheirNamesAndAreListed) {
  send("a.db");
  send("halls/deep/b.db");
  EXPECT_EQ(test::plain_rows("halls/deep/b.db", "pragma integrity_check"), (test::Rows{{"ok"}}));
  const auto notes = notes_of(run({.client = "office", .order = "list"}));
  ASSERT_EQ(notes.size(), 2U);
  EXPECT_EQ(notes.at("halls/deep/b.db").source, "look");
  EXPECT_EQ(notes.at("a.db").header, sqlite::header_of("a.db"));
  fs::remove("a.db");
  EXPECT_EQ(notes_of(run({.client = "office", .order = "list"})).size(), 1U);
}

TEST_F(CopiesOfAServer, AreNamedWithinItsFolder) {
  fs::create_directory(folder_.file("outside"));
  fs::create_directory_symlink(folder_.file("outside"), "link");
  fs::create_symlink("a.db", "link.db");
  const std::string body = announcement();
  for (const char* const name :
       {"../a.db", "/a.db", "link/a.db", "link/new/a.db", "link.db", "./a.db", "a//b.db",
        "file:a.db", ":memory:", "a.db-journal", ".a.db.part", ".a.db.copy",
        ".korvane-locks-0000000000000000", "a\nb.db", "\xFF.db", "folder/"}) {
    EXPECT_THAT(outcome({.client = "office", .file = name, .order = "begin", .body = body}),
                HasSubstr("400 "))
        << name;
  }
  EXPECT_TRUE(fs::is_empty(folder_.file("outside")));
  EXPECT_FALSE(fs::exists(folder_.file("a.db")));
}

TEST_F(CopiesOfAServer, AreNotReplacedWhereTheyAreProjectsOfItsOwn) {
  fs::copy(folder_.file("one.db"), "a.db");
  test::PlainConnection("a.db", test::PlainConnection::Mode::kWrite)
      .run("update rebar set comment = 'own'");
  const std::string body = announcement();
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = body}),
              HasSubstr("409 "));
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "remove"}), HasSubstr("409 "));
  EXPECT_EQ(test::plain_rows("a.db", "select distinct comment from rebar"), (test::Rows{{"own"}}));
}

TEST_F(CopiesOfAServer, AreRemovedWhenToldSo) {
  send("a.db");
  EXPECT_EQ(outcome({.client = "office", .file = "a.db", .order = "remove"}), "200");
  EXPECT_TRUE(fs::is_empty("."));
  EXPECT_EQ(outcome({.client = "office", .file = "a.db", .order = "remove"}), "404 no copy a.db");
}

TEST_F(CopiesOfAServer, RefuseOrdersThatTheyDoNotKnow) {
  EXPECT_EQ(outcome({.client = "office", .order = "drop"}),
            "400 the parameter order is \"drop\"; expected list or report");
  EXPECT_EQ(outcome({.client = "office", .file = "a.db", .order = ""}),
            "400 the parameter order is \"\"; expected begin, blocks, finish or remove");
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, RefuseWhatIsNoAnnouncement) {
  for (const char* const body : {"", "{}", "[1]", "{\"bytes\":-1}", "\xFF"}) {
    EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = body}),
                HasSubstr("400 the body is not what korvane replicate sends"));
  }
  const std::string long_body(kMostAnnouncementBytes + 1, ' ');
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = long_body}),
              HasSubstr("413 "));
  EXPECT_EQ(outcome({.client = "office", .order = "report", .body = "{}"}).substr(0, 4), "400 ");
  const std::string long_report(10'000, ' ');
  EXPECT_EQ(outcome({.client = "office", .order = "report", .body = long_report}).substr(0, 4),
            "413 ");
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, RefuseWhatIsNestedOrOfAnotherTime) {
  const std::string nested(1'000'000, '[');
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = nested}),
              HasSubstr("nested too deep"));
  std::string late = announcement();
  const std::string time = "\"taken\":0";
  late.replace(late.find(time), time.size(), "\"taken\":9500000000000");
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = late}),
              HasSubstr("400 "));
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, MakeNoFolderForWhatIsRefused) {
  for (const char* const order : {"remove", "finish", "blocks", "nonsense"}) {
    outcome({.client = "office", .file = "new/a.db", .order = order});
  }
  const std::string body = announcement();
  for (const char* const name : {"new/.a.db.part", "new/.a.db.copy", "new/../a.db"}) {
    outcome({.client = "office", .file = name, .order = "begin", .body = body});
  }
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, CanBeFinishedOnceOthersHaveGivenUpTheirLocks) {
  send("a.db");
  test::PlainConnection(folder_.file("one.db"), test::PlainConnection::Mode::kWrite)
      .run("update rebar set comment = 'new'");
  const Transfer transfer = begin("a.db");
  const std::string bytes = test::text_of(folder_.file("one.db"));
  run({.client = "office",
       .file = "a.db",
       .order = "blocks",
       .transfer = transfer.id,
       .first = "0",
       .body = bytes});
  const host::CopyOrder finish{
      .client = "office", .file = "a.db", .order = "finish", .transfer = transfer.id};
  {
    test::PlainConnection reader("a.db", test::PlainConnection::Mode::kWrite);
    reader.run("begin; select * from rebar");
    EXPECT_THAT(outcome(finish), HasSubstr("503 "));
  }
  EXPECT_EQ(outcome(finish), "200");
  EXPECT_EQ(test::plain_rows("a.db", "select distinct comment from rebar"), (test::Rows{{"new"}}));
}

TEST(NotesOfCopies, OfNamesOutsideOfAFolderAreRefused) {
  for (const char* const name : {"/etc/passwd", "../a.db", "a/../../b.db", ""}) {
    EXPECT_ANY_THROW(notes_of(std::string(R"({"copies":{")") + name +
                              R"(":{"header":"","source":"","taken":0}}})"))
        << name;
  }
}

TEST_F(CopiesOfAServer, TakeBlocksOfTheTransferThatIsUnderWayAlone) {
  const Transfer first = begin("a.db");
  const Transfer second = begin("a.db");
  const std::string bytes = test::text_of(folder_.file("one.db"));
  host::CopyOrder blocks{.client = "office",
                         .file = "a.db",
                         .order = "blocks",
                         .transfer = first.id,
                         .first = "0",
                         .body = bytes};
  EXPECT_THAT(outcome(blocks), HasSubstr("404 another transfer of a.db is under way"));
  blocks.transfer = second.id;
  blocks.first = "zero";
  EXPECT_THAT(outcome(blocks), HasSubstr("400 the parameter first is \"zero\""));
  blocks.first = "1";
  EXPECT_THAT(outcome(blocks), HasSubstr("400 "));
  blocks.first = "0";
  EXPECT_EQ(outcome(blocks), "200");
  blocks.file = "b.db";
  EXPECT_THAT(outcome(blocks), HasSubstr("404 no transfer of b.db is under way"));
}

TEST_F(CopiesOfAServer, AreFewAtATime) {
  for (std::size_t i = 0; i < ServedCopies::kMost; ++i) begin(std::to_string(i) + ".db");
  const std::string body = announcement();
  EXPECT_EQ(outcome({.client = "office", .file = "more.db", .order = "begin", .body = body}),
            "503 4 copies are on their way");
  send("0.db");
  EXPECT_EQ(outcome({.client = "office", .file = "more.db", .order = "begin", .body = body}),
            "200");
}

TEST_F(CopiesOfAServer, ThatCannotBeRemovedYetDoNotStandInTheWayOfOthers) {
  send("a.db");
  test::PlainConnection reader("a.db", test::PlainConnection::Mode::kWrite);
  reader.run("begin; select * from rebar");
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "remove"}), HasSubstr("503 "));
  for (std::size_t i = 0; i < ServedCopies::kMost; ++i) begin(std::to_string(i) + ".db");
}

TEST_F(CopiesOfAServer, WhoseSenderHasGoneGiveTheirRoomBack) {
  copies_.reset();
  copies_.emplace(".", CopyLimits{.idle = std::chrono::milliseconds(20)});
  for (std::size_t i = 0; i < ServedCopies::kMost; ++i) begin(std::to_string(i) + ".db");
  // Without an order of anybody.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!fs::is_empty(".") && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_TRUE(fs::is_empty("."));
  begin("more.db");
}

TEST_F(CopiesOfAServer, LeaveAShareOfTheDiskFree) {
  copies_.emplace(".", CopyLimits{.kept_free = 1});
  const std::string body = announcement();
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = body}),
              HasSubstr("503 the disk has no room for "));
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, HaveNamesThatLeaveRoomForTheirNotes) {
  const std::string body = announcement();
  const std::string longest = std::string(240, 'a') + ".db";
  send(longest);
  EXPECT_EQ(notes_of(run({.client = "office", .order = "list"})).size(), 1U);
  EXPECT_THAT(
      outcome({.client = "office", .file = "a" + longest, .order = "begin", .body = body}),
      HasSubstr("400 file name \"a" + longest + "\" is refused: expected at most 243 bytes"));
}

TEST_F(CopiesOfAServer, RefuseNumbersAndTextsThatNoSenderSends) {
  const std::string sound = announcement();
  const auto with = [&](const std::string& name, const std::string& value) {
    std::string text = sound;
    const std::string member = "\"" + name + "\":";
    const std::size_t begin = text.find(member) + member.size();
    return text.replace(begin, text.find_first_of(",}", begin) - begin, value);
  };
  for (const char* const name : {"bytes", "block_bytes", "permissions", "taken"}) {
    for (const char* const value : {"-1", "1e300", "1.5", "18446744073709551615", "\"1\""}) {
      const std::string body = with(name, value);
      EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = body}),
                  HasSubstr("400 the body is not what"))
          << name << " " << value;
    }
  }
  for (const char* const source : {R"("line\nline")", R"("\u0000")", R"("\u00e4")"}) {
    const std::string body = with("source", source);
    EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = body}),
                HasSubstr("400 the body is not what"));
  }
  std::string cut = sound;
  cut.erase(cut.find("\"blocks\":\"") + std::string_view("\"blocks\":\"").size(), 2);
  EXPECT_THAT(outcome({.client = "office", .file = "a.db", .order = "begin", .body = cut}),
              HasSubstr("400 the body is not what"));
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, ThatFailDoNotStandInTheWayOfOthers) {
  for (std::size_t i = 0; i < ServedCopies::kMost * 2; ++i) {
    const std::string file = std::to_string(i) + ".db";
    const Transfer transfer = begin(file);
    EXPECT_THAT(
        outcome({.client = "office", .file = file, .order = "finish", .transfer = transfer.id}),
        HasSubstr("400 "));
    EXPECT_THAT(outcome({.client = "office", .file = file, .order = "begin", .body = "{}"}),
                HasSubstr("400 "));
  }
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(CopiesOfAServer, KeepTheReportsOfSomeSenders) {
  const std::string body = report_text({});
  for (std::size_t i = 0; i < ServedCopies::kMostSenders * 3; ++i) {
    run({.client = "client " + std::to_string(i), .order = "report", .body = body});
  }
  const std::string metrics = copies_->metrics();
  EXPECT_THAT(metrics, HasSubstr("korvane_copy_lag_seconds{from=\"client 47\"}"));
  EXPECT_THAT(metrics, testing::Not(HasSubstr("\"client 31\"")));
}

}  // namespace
}  // namespace korvane::tools
