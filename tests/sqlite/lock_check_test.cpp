// Two sides of one process, whose locks SQLite itself keeps apart.

#include "sqlite/lock_check.h"

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/lock_probe.h"
#include "tests/support/temporary_folder.h"

namespace korvane::sqlite {
namespace {

using testing::HasSubstr;

class Side : public LockPeer {
 public:
  explicit Side(std::shared_ptr<LockProbe> probe) : probe_(std::move(probe)) {}

  std::string name() const override { return "a side"; }
  void send(const std::string& order) override { order_ = order; }
  std::string receive() override { return probe_->run(order_); }

 private:
  const std::shared_ptr<LockProbe> probe_;
  std::string order_;
};

/// One that says nothing from an order on.
class Silent : public Side {
 public:
  Silent(std::shared_ptr<LockProbe> probe, std::string from)
      : Side(std::move(probe)), from_(std::move(from)) {}

  void send(const std::string& order) override {
    is_silent_ = is_silent_ || order == from_;
    Side::send(order);
  }
  std::string receive() override {
    if (is_silent_) throw std::runtime_error("nothing is heard of it");
    return Side::receive();
  }

 private:
  const std::string from_;
  bool is_silent_ = false;
};

class LockChecks : public testing::Test {
 protected:
  std::shared_ptr<LockProbe> probe() const { return std::make_shared<LockProbe>(file_); }

  /// By name, what became of each rule.
  std::map<std::string, LockResult> check(LockPeer& other) {
    Side own(probe());
    std::map<std::string, LockResult> results;
    const auto start_victim = [&] {
      // Destroying the victim leaves what it holds.
      left_.push_back(probe());
      return std::make_unique<Side>(left_.back());
    };
    for (LockResult& result : check_locks({own, other, start_victim})) {
      results.emplace(result.rule->name, result);
    }
    return results;
  }

  const test::TemporaryFolder folder_;
  const std::string file_ = folder_.file("probe");
  std::vector<std::shared_ptr<LockProbe>> left_;
};

TEST_F(LockChecks, FindLocksThatOutliveTheirProcess) {
  Side other(probe());
  const auto results = check(other);
  EXPECT_TRUE(results.at("writer_keeps_writers_out").holds);
  EXPECT_TRUE(results.at("commit_is_read_by_open_connection").holds);
  EXPECT_FALSE(results.at("broken_write_is_taken_back").holds);
  EXPECT_FALSE(results.at("locks_of_killed_are_free").holds);
}

TEST_F(LockChecks, OfASideThatIsHeardNoMore_Fail) {
  Silent other(probe(), "begin");
  const auto results = check(other);
  EXPECT_TRUE(results.at("file_is_seen").holds);
  EXPECT_EQ(results.size(), lock_rules().size());
  for (const auto& [name, result] : results) {
    if (name == "file_is_seen") continue;
    EXPECT_FALSE(result.holds) << name;
    EXPECT_THAT(result.text, HasSubstr("nothing is heard of it"));
  }
}

TEST_F(LockChecks, EndWithAFileThatTheOtherDoesNotSee) {
  Side other(std::make_shared<LockProbe>(folder_.file("another")));
  const auto results = check(other);
  EXPECT_EQ(results.size(), 1U);
  EXPECT_FALSE(results.at("file_is_seen").holds);
}

TEST_F(LockChecks, DoNothingAtAnUnknownWord) {
  EXPECT_THROW(probe()->run("drop table probe"), std::invalid_argument);
  EXPECT_THROW(probe()->run(""), std::invalid_argument);
}

}  // namespace
}  // namespace korvane::sqlite
