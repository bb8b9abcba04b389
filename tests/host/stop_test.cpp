// Stopping: what was begun is finished, and what was acknowledged is in the file.

#include <atomic>
#include <future>
#include <set>
#include <string>
#include <vector>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

class StopTest : public ServerTest {
 protected:
  using ServerTest::ServerTest;

  bool stop(std::chrono::milliseconds deadline = 10s) { return server().server().stop(deadline); }
  std::future<bool> begin_stop(std::chrono::milliseconds deadline = 10s) {
    auto stopped = std::async(std::launch::async, [this, deadline] { return stop(deadline); });
    wait_until([&] { return !is_accepting(); });
    return stopped;
  }
  bool is_accepting() {
    try {
      connect();
      return true;
    } catch (const Poco::Exception&) {
      return false;
    }
  }
};

TEST_F(StopTest, RefusesNewConnections) {
  EXPECT_TRUE(is_accepting());
  EXPECT_TRUE(stop());
  EXPECT_FALSE(is_accepting());
}

TEST_F(StopTest, ClosesIdleConnections) {
  auto fresh = connect();
  auto used = connect();
  used.send(header("GET /healthz/live"));
  EXPECT_EQ(used.read_answer().status, 200);
  const auto start = Clock::now();
  EXPECT_TRUE(stop());
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_EQ(used.read_all(), "");
}

TEST_F(StopTest, LetsARunningCallFinish) {
  BusyProject busy(server());
  wait_for_calls(1);
  auto stopped = begin_stop();
  busy.let_go();
  const HttpAnswer answer = busy.answer();
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.at("connection"), "Close");
  EXPECT_EQ(busy.connection().read_all(), "");
  EXPECT_TRUE(stopped.get());
}

TEST_F(StopTest, LetsWaitingCallsFinish) {
  BusyProject busy(server());
  wait_for_calls(1);
  auto waiting = connect();
  waiting.send(call_text(busy.id(), "list_sheets", "{}"));
  wait_for_calls(2);
  auto stopped = begin_stop();
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
  EXPECT_EQ(waiting.read_answer().json().at("items").size(), 1U);
  EXPECT_TRUE(stopped.get());
}

TEST_F(StopTest, LetsARequestThatHasBegunFinish) {
  HalfRequest request(server().port());
  auto stopped = begin_stop();
  EXPECT_EQ(request.finish().status, 200);
  EXPECT_TRUE(stopped.get());
}

TEST_F(StopTest, IsToldByReadinessWhereThatIsStillReached) {
  HalfRequest request(server().port(), "GET /healthz/ready", "");
  ASSERT_EQ(request.first_answer().status, 100);
  auto stopped = begin_stop();
  const HttpAnswer answer = request.finish();
  EXPECT_EQ(answer.status, 503);
  EXPECT_EQ(answer.detail(), "the server is stopping");
  EXPECT_TRUE(stopped.get());
}

TEST_F(StopTest, FailsWhenACallStillRunsAtTheDeadline) {
  BusyProject busy(server());
  wait_for_calls(1);
  EXPECT_FALSE(stop(200ms));
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
}

TEST_F(StopTest, IsNotHeldUpByAClientThatSaysNoMore) {
  const HalfRequest request(server().port());
  EXPECT_TRUE(stop(100ms));
}

class StopInTime : public StopTest {
 protected:
  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.http.transfer_time = 200ms;
    return limits;
  }
  StopInTime() : StopTest(limits()) {}
};

TEST_F(StopInTime, StillKeepsToTheTimeForARequest) {
  HalfRequest request(server().port());
  const auto start = Clock::now();
  EXPECT_TRUE(stop());
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_EQ(request.connection().read_answer().status, 408);
}

/// Clients that write to two projects until the server has gone.
class StopUnderLoad : public StopTest {
 protected:
  static constexpr std::size_t kClients = 8;
  static constexpr int kBars = 10;

  StopUnderLoad() {
    for (const char* const file : {"a.db", "b.db"}) {
      const std::string project = server().open(file);
      client().call(project, "create_material");
      client().call(project, "create_sheet");
      client().call(project, "create_revision", {{"sheet_id", 1}});
      projects_.push_back(project);
    }
  }

  /// Adds batches of bars, and returns the marks of those that were acknowledged.
  std::set<std::string> write_as(std::size_t number) {
    std::set<std::string> acknowledged;
    HttpClient own = server().client();
    for (int turn = 0;; ++turn) {
      const std::string mark = std::to_string(number) + "/" + std::to_string(turn);
      nlohmann::json batch = {{"items", nlohmann::json::array()}};
      for (int i = 0; i < kBars; ++i) {
        batch["items"].push_back({{"rev_id", 1}, {"material_id", 1}, {"mark", mark}});
      }
      try {
        const HttpAnswer answer = own.call(projects_[number % 2], "add_rebar", batch);
        if (answer.status != 200) return acknowledged;
        acknowledged.insert(mark);
        ++batches_;
      } catch (const Poco::Exception&) {
        return acknowledged;  // the server has gone
      }
    }
  }

  int batches() const { return batches_; }

 private:
  std::vector<std::string> projects_;
  std::atomic<int> batches_ = 0;
};

TEST_F(StopUnderLoad, LosesNoWriteThatWasAcknowledgedAndStoresNoHalfBatch) {
  std::vector<std::future<std::set<std::string>>> clients;
  for (std::size_t i = 0; i < kClients; ++i) {
    clients.push_back(std::async(std::launch::async, [this, i] { return write_as(i); }));
  }
  wait_until([&] { return batches() >= 40; });
  EXPECT_TRUE(stop());
  server().end();
  std::set<std::string> stored;
  for (const char* const file : {"a.db", "b.db"}) {
    const Rows rows =
        plain_rows(server().file(file), "select mark, count(*) from rebar group by mark");
    for (const Row& row : rows) {
      EXPECT_EQ(row[1], std::to_string(kBars)) << *row[0];
      stored.insert(*row[0]);
    }
  }
  std::size_t acknowledged = 0;
  for (auto& client : clients) {
    for (const std::string& mark : client.get()) {
      EXPECT_EQ(stored.count(mark), 1U) << mark;
      ++acknowledged;
    }
  }
  EXPECT_GE(acknowledged, 40U);
  EXPECT_LE(stored.size(), acknowledged + kClients);
}

}  // namespace
}  // namespace korvane::test
