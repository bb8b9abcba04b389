// A state of a project that comes block by block. What is in the copy is read with plain SQLite.

#include "sqlite/received_copy.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/file_content.h"
#include "sqlite/project_state.h"
#include "sqlite/schema_check.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;
using test::plain_rows;
using test::PlainConnection;
using test::Rows;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ReceivedCopies : public SoundProject {
 protected:
  ReceivedCopies() { fs::create_directory(folder() + "/copies"); }

  std::string folder() const { return fs::path(file()).parent_path().string(); }
  std::string copy() const { return folder() + "/copies/project.db"; }
  std::string copied() const { return *plain_rows(copy(), "select comment from rebar")[0][0]; }

  void run(const std::string& sql) {
    PlainConnection(file(), PlainConnection::Mode::kWrite).run(sql);
  }
  /// Makes the project some blocks long.
  void grow() { run("update project set raw = zeroblob(300000)"); }

  /// What another machine would announce, and the bytes of it.
  struct Sent {
    AnnouncedState announced;
    std::string bytes;
  };
  Sent sent() const {
    ProjectState state = take_state(file(), folder() + "/state.db", {});
    return {{list_blocks(state.file->path()), state.content, state.source, state.taken, 0640},
            test::text_of(state.file->path())};
  }
  static std::string block(const Sent& sent, std::size_t number) {
    const BlockList& blocks = sent.announced.blocks;
    return sent.bytes.substr(blocks.offset_of(number), blocks.length_of(number));
  }
  static void put_missing(ReceivedCopy& received, const Sent& sent) {
    for (const std::size_t number : received.missing()) received.put(number, block(sent, number));
  }
  StandingCopy receive() const {
    const Sent now = sent();
    ReceivedCopy received(copy(), now.announced);
    put_missing(received, now);
    return received.finish();
  }
  std::vector<std::string> beside_copy() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder() + "/copies")) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  /// What a file with that content comes to, sent as if it were a state of a project.
  std::string failure_of(const std::string& bytes) const {
    const std::string name = folder() + "/hostile.db";
    std::ofstream(name, std::ios::binary) << bytes;
    Sent hostile{{list_blocks(name), "", "", {}, 0600}, bytes};
    hostile.announced.content = content_digest(Database(name, Database::Access::settled));
    ReceivedCopy received(copy(), hostile.announced);
    put_missing(received, hostile);
    return failure([&] { received.finish(); });
  }
  static std::string failure(const std::function<void()>& work) {
    try {
      work();
    } catch (const std::exception& thrown) {
      return thrown.what();
    }
    return "";
  }
};

TEST_F(ReceivedCopies, AreMadeWhole) {
  run("update rebar set comment = 'one'");
  EXPECT_TRUE(receive().is_written);
  EXPECT_EQ(copied(), "one");
  EXPECT_EQ(plain_rows(copy(), "pragma integrity_check"), (Rows{{"ok"}}));
  EXPECT_EQ(fs::status(copy()).permissions(), fs::perms(0640));
  EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
}

TEST_F(ReceivedCopies, NeedOnlyWhatTheyLack) {
  grow();
  receive();
  run("update rebar set comment = 'two'");
  const Sent now = sent();
  ReceivedCopy received(copy(), now.announced);
  EXPECT_GT(now.announced.blocks.digests.size(), 4U);
  EXPECT_LT(received.missing().size(), 4U);
  put_missing(received, now);
  EXPECT_TRUE(received.finish().is_written);
  EXPECT_EQ(copied(), "two");
  EXPECT_EQ(plain_rows(copy(), "pragma integrity_check"), (Rows{{"ok"}}));
}

TEST_F(ReceivedCopies, BecomeShorterAndLongerAsTheProjectDoes) {
  grow();
  receive();
  run("update project set raw = x''; vacuum");
  receive();
  EXPECT_LT(fs::file_size(copy()), 300'000U);
  grow();
  receive();
  EXPECT_GT(fs::file_size(copy()), 300'000U);
  EXPECT_EQ(plain_rows(copy(), "pragma integrity_check"), (Rows{{"ok"}}));
}

TEST_F(ReceivedCopies, AreSeenToChangeByThoseWhoHaveThemOpen) {
  run("update rebar set comment = 'one'");
  receive();
  PlainConnection reader(copy(), PlainConnection::Mode::kWrite);
  EXPECT_EQ(reader.rows("select comment from rebar"), (Rows{{"one"}}));
  run("update rebar set comment = 'two'");
  receive();
  EXPECT_EQ(reader.rows("select comment from rebar"), (Rows{{"two"}}));
}

TEST_F(ReceivedCopies, AreNotWrittenWhereNothingHasChanged) {
  receive();
  const std::string before = test::text_of(copy());
  EXPECT_FALSE(receive().is_written);
  EXPECT_EQ(test::text_of(copy()), before);
}

TEST_F(ReceivedCopies, ThatAreGivenUpLeaveTheOneBefore) {
  run("update rebar set comment = 'one'");
  grow();
  receive();
  run("update rebar set comment = 'two'");
  const Sent now = sent();
  {
    ReceivedCopy received(copy(), now.announced);
    received.put(0, block(now, 0));
  }
  EXPECT_EQ(copied(), "one");
  EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
}

TEST_F(ReceivedCopies, AreNotFinishedBeforeAllHasCome) {
  grow();
  const Sent now = sent();
  ReceivedCopy received(copy(), now.announced);
  received.put(0, block(now, 0) + block(now, 1));
  const std::size_t left = now.announced.blocks.digests.size() - 2;
  EXPECT_EQ(failure([&] { received.finish(); }), std::to_string(left) + " blocks have not come");
  EXPECT_EQ(received.missing().size(), left);
  EXPECT_FALSE(fs::exists(copy()));
}

TEST_F(ReceivedCopies, RefuseBlocksThatWereNotAnnouncedSo) {
  grow();
  const Sent now = sent();
  ReceivedCopy received(copy(), now.announced);
  std::string other = block(now, 1);
  other[17] ^= 1;
  const std::size_t count = now.announced.blocks.digests.size();
  const std::string half = block(now, 0).substr(0, 1000);
  EXPECT_EQ(failure([&] { received.put(1, other); }), "block 1 is not as it was announced");
  EXPECT_EQ(failure([&] { received.put(0, block(now, 1)); }), "block 0 is not as it was announced");
  EXPECT_EQ(failure([&] { received.put(0, half); }), "expected whole blocks");
  EXPECT_EQ(failure([&] { received.put(0, block(now, 0) + half); }), "expected whole blocks");
  EXPECT_EQ(failure([&] { received.put(count, block(now, 0)); }), "expected whole blocks");
  EXPECT_THAT(received.missing(), testing::Not(testing::Contains(0U)));
  EXPECT_THAT(received.missing(), testing::Contains(1U));
}

TEST_F(ReceivedCopies, RefuseAListThatIsNotThatOfAFile) {
  const AnnouncedState whole = sent().announced;
  std::vector<AnnouncedState> wrong(6, whole);
  wrong[0].blocks.bytes = 0;
  wrong[1].blocks.bytes += whole.blocks.block_bytes;
  wrong[2].blocks.block_bytes = 100'000;
  wrong[3].blocks.block_bytes = std::size_t{1} << 30U;
  wrong[4].blocks.digests.clear();
  wrong[5].blocks.digests.resize(BlockList::kMostBlocks + 1);
  for (const AnnouncedState& announced : wrong) {
    EXPECT_THROW(ReceivedCopy(copy(), announced), std::invalid_argument);
  }
  EXPECT_THAT(beside_copy(), IsEmpty());
}

TEST_F(ReceivedCopies, RefuseAFileThatThereIsNoRoomFor) {
  grow();
  const AnnouncedState announced = sent().announced;
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  rlimit limit = former;
  limit.rlim_cur = 100'000;
  setrlimit(RLIMIT_FSIZE, &limit);
  const std::string refusal = failure([&] { ReceivedCopy(copy(), announced); });
  setrlimit(RLIMIT_FSIZE, &former);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(refusal, "cannot write \"" + copy() + "\": File too large");
  EXPECT_THAT(beside_copy(), IsEmpty());
}

TEST_F(ReceivedCopies, ThatSomebodyElseHasWrittenToAreLeft) {
  receive();
  PlainConnection(copy(), PlainConnection::Mode::kWrite).run("update rebar set comment = 'theirs'");
  run("update rebar set comment = 'ours'");
  EXPECT_THROW(receive(), WrittenElsewhere);
  EXPECT_EQ(copied(), "theirs");
}

TEST_F(ReceivedCopies, ThatAreWrittenToMeanwhileAreLeft) {
  receive();
  run("update rebar set comment = 'ours'");
  const Sent now = sent();
  ReceivedCopy received(copy(), now.announced);
  put_missing(received, now);
  PlainConnection(copy(), PlainConnection::Mode::kWrite).run("update rebar set comment = 'theirs'");
  EXPECT_THROW(received.finish(), WrittenElsewhere);
  EXPECT_EQ(copied(), "theirs");
}

TEST_F(ReceivedCopies, AreNotPutOverAProjectThatIsNoCopy) {
  fs::copy(file(), copy());
  run("update rebar set comment = 'ours'");
  EXPECT_THROW(receive(), WrittenElsewhere);
  EXPECT_THAT(beside_copy(), ElementsAre("project.db"));
}

TEST_F(ReceivedCopies, FollowAFileThatSaysTheSame) {
  fs::copy(file(), copy());
  EXPECT_FALSE(receive().is_written);
  run("update rebar set comment = 'ours'");
  EXPECT_TRUE(receive().is_written);
  EXPECT_EQ(copied(), "ours");
}

TEST_F(ReceivedCopies, WaitForThoseWhoReadTheCopy) {
  receive();
  run("update rebar set comment = 'ours'");
  const Sent now = sent();
  ReceivedCopy received(copy(), now.announced);
  put_missing(received, now);
  CopyOptions quick;
  quick.wait = std::chrono::milliseconds(20);
  {
    PlainConnection reader(copy(), PlainConnection::Mode::kWrite);
    reader.run("begin; select * from rebar");
    EXPECT_THAT(failure([&] { received.finish(quick); }), HasSubstr("database is locked"));
  }
  EXPECT_TRUE(received.finish(quick).is_written);
  EXPECT_EQ(copied(), "ours");
}

TEST_F(ReceivedCopies, RefuseWhatIsNoProject) {
  const std::string other = folder() + "/other.db";
  std::ofstream(other).close();
  PlainConnection(other, PlainConnection::Mode::kWrite).run("create table t (a)");
  EXPECT_THAT(failure_of(test::text_of(other)), HasSubstr("is not a korvane project"));
  EXPECT_THAT(failure_of(std::string(100'000, 'x')), HasSubstr("file is not a database"));
  EXPECT_THAT(beside_copy(), IsEmpty());
}

TEST_F(ReceivedCopies, RefuseWhatIsDamaged) {
  const std::string damaged = folder() + "/damaged.db";
  fs::copy(file(), damaged);
  damage_a_page(damaged);
  EXPECT_THAT(failure_of(test::text_of(damaged)),
              HasSubstr("what has come for \"" + copy() + "\" has damage: "));
  EXPECT_THAT(beside_copy(), IsEmpty());
}

TEST_F(ReceivedCopies, AreCheckedWithoutMakingLongerValuesThanTheyHold) {
  declare_long_values();
  const StandingCopy done = receive();
  ASSERT_EQ(done.findings.size(), 1U);
  EXPECT_THAT(done.findings[0].text, HasSubstr("string or blob too big"));
}

TEST_F(ReceivedCopies, RefuseAFileThatGoesOnInALog) {
  std::string bytes = test::text_of(file());
  bytes[18] = bytes[19] = 2;
  EXPECT_EQ(failure_of(bytes), "expected a file without a write-ahead log");
}

TEST_F(ReceivedCopies, RefuseBytesBeyondThePages) {
  EXPECT_THAT(failure_of(test::text_of(file()) + "x"),
              HasSubstr("the file has other bytes than those of its pages"));
}

TEST_F(ReceivedCopies, RefuseAnotherContentThanWasAnnounced) {
  Sent now = sent();
  now.announced.content = std::string(64, '0');
  ReceivedCopy received(copy(), now.announced);
  put_missing(received, now);
  EXPECT_EQ(failure([&] { received.finish(); }), "the content is not as it was announced");
}

TEST(Blocks, AreAsShortAsTheirNumberAllows) {
  const test::TemporaryFolder folder;
  const std::string file = folder.file("sparse");
  std::ofstream(file).close();
  fs::resize_file(file, 65'536 * 3 + 1);
  const BlockList list = list_blocks(file);
  EXPECT_EQ(list.block_bytes, 65'536U);
  EXPECT_EQ(list.digests.size(), 4U);
  EXPECT_EQ(list.length_of(3), 1U);
  EXPECT_EQ(list.digests[3], digest_of(std::string(1, '\0')));
  EXPECT_EQ(read_blocks(file, list, 2, 2), std::string(65'537, '\0'));
  fs::resize_file(file, (std::uintmax_t{4} << 30U) + 1);
  EXPECT_EQ(list_blocks(file).block_bytes, 131'072U);
  fs::resize_file(file, (std::uintmax_t{256} << 30U) + 1);
  EXPECT_THROW(list_blocks(file), std::runtime_error);
  EXPECT_THROW(list_blocks(folder.file("none")), std::runtime_error);
}

}  // namespace
}  // namespace korvane::sqlite
