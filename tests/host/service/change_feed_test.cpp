#include "host/service/change_feed.h"

#include <string>

#include <gtest/gtest.h>

#include "host/memory/call_memory.h"
#include "host/memory/memory_pool.h"
#include "tests/support/temporary_folder.h"

namespace korvane::host {
namespace {

using std::chrono_literals::operator""ms;

Change change(const std::string& operation) { return {operation, "office", {}, {}, {}}; }

TEST(ChangeFeed, KeepsWhatCameInItsOrder) {
  ChangeFeed feed;
  ChangeFeed::Watcher watcher(feed, "a.db");
  feed.publish("a.db", change("one"));
  feed.publish("a.db", change("two"));
  feed.publish("b.db", change("three"));
  const ChangeFeed::Watcher::News news = watcher.wait(0ms);
  ASSERT_EQ(news.changes.size(), 2U);
  EXPECT_EQ(news.changes[0].operation, "one");
  EXPECT_EQ(news.changes[1].operation, "two");
  EXPECT_FALSE(news.has_missed);
}

TEST(ChangeFeed, SaysThatTooMuchCameAndTellsOfWhatComesThen) {
  ChangeFeed feed;
  ChangeFeed::Watcher watcher(feed, "a.db");
  for (std::size_t i = 0; i <= ChangeFeed::kMostKept; ++i) feed.publish("a.db", change("many"));
  const ChangeFeed::Watcher::News missed = watcher.wait(0ms);
  EXPECT_TRUE(missed.has_missed);
  EXPECT_TRUE(missed.changes.empty());
  feed.publish("a.db", change("next"));
  const ChangeFeed::Watcher::News next = watcher.wait(0ms);
  EXPECT_FALSE(next.has_missed);
  ASSERT_EQ(next.changes.size(), 1U);
}

TEST(ChangeFeed, LetsAnotherLookWhereOneCouldNot) {
  const test::TemporaryFolder folder;
  const std::string file = folder.file("a.db");
  ChangeFeed feed;
  ChangeFeed::Watcher other(feed, file);
  {
    ChangeFeed::Watcher watcher(feed, file);
    EXPECT_TRUE(watcher.looks_changed());
    EXPECT_FALSE(other.looks_changed());
    watcher.look_again();
  }
  EXPECT_TRUE(other.looks_changed());
  EXPECT_FALSE(other.looks_changed());
}

TEST(ChangeFeed, FailsNobodyWhoHasStoredAndHasNoMemoryLeft) {
  // A sanitizer has allocators of its own where nothing asks for ours.
  ASSERT_TRUE(is_new_counted());
  ChangeFeed feed;
  ChangeFeed::Watcher watcher(feed, "a.db");
  const Change long_one = change(std::string(1000, 'o'));
  MemoryPool pool("records", 1000);
  CallMemory memory(pool, "office", 10);
  {
    const CallMemory::Scope scope(memory);
    feed.publish("a.db", long_one);
  }
  EXPECT_TRUE(watcher.wait(0ms).has_missed);
}

TEST(ChangeFeed, KeepsAllThatThereIsRoomFor) {
  ChangeFeed feed;
  ChangeFeed::Watcher watcher(feed, "a.db");
  for (std::size_t i = 0; i < ChangeFeed::kMostKept; ++i) feed.publish("a.db", change("many"));
  EXPECT_EQ(watcher.wait(0ms).changes.size(), ChangeFeed::kMostKept);
}

TEST(ChangeFeed, KnowsWhatIsWatched) {
  ChangeFeed feed;
  EXPECT_FALSE(feed.is_watched("a.db"));
  {
    const ChangeFeed::Watcher one(feed, "a.db");
    { const ChangeFeed::Watcher two(feed, "a.db"); }
    EXPECT_TRUE(feed.is_watched("a.db"));
  }
  EXPECT_FALSE(feed.is_watched("a.db"));
}

TEST(ChangeFeed, TellsOfAnotherVersionOfTheSameService) {
  ChangeFeed feed;
  ChangeFeed::Watcher watcher(feed, "a.db");
  feed.saw_version("a.db", 1, 5);
  feed.saw_version("a.db", 1, 5);
  feed.saw_version("a.db", 2, 7);
  EXPECT_TRUE(watcher.wait(0ms).changes.empty());
  feed.saw_version("a.db", 2, 8);
  const ChangeFeed::Watcher::News news = watcher.wait(0ms);
  ASSERT_EQ(news.changes.size(), 1U);
  EXPECT_EQ(news.changes[0].operation, "");
}

TEST(ChangeFeed, EndsThoseWhoWatchAndAfterStoppingThoseWhoCome) {
  ChangeFeed feed;
  ChangeFeed::Watcher before(feed, "a.db");
  feed.end_all();
  EXPECT_TRUE(before.wait(0ms).has_ended);
  ChangeFeed::Watcher between(feed, "a.db");
  EXPECT_FALSE(between.wait(0ms).has_ended);
  feed.stop();
  ChangeFeed::Watcher after(feed, "a.db");
  EXPECT_TRUE(after.wait(0ms).has_ended);
}

}  // namespace
}  // namespace korvane::host
