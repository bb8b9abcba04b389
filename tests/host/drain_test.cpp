// Before it stops, a server sends its clients elsewhere without losing a request.

#include <atomic>
#include <deque>
#include <future>
#include <string>
#include <vector>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

class DrainTest : public ServerTest {
 protected:
  void drain() { server().server().begin_drain(); }
  bool stop() { return server().server().stop(10s); }

  static std::string count_text() { return call_text(kProbe, "count", "{}"); }
  static std::string close_field(const HttpAnswer& answer) {
    const auto found = answer.fields.find("connection");
    return found == answer.fields.end() ? "" : found->second;
  }
};

TEST_F(DrainTest, IsToldByReadinessAtOnceAndNotByLife) {
  EXPECT_EQ(client().get("/healthz/ready").status, 200);
  drain();
  const HttpAnswer ready = client().get("/healthz/ready");
  EXPECT_EQ(ready.status, 503);
  EXPECT_EQ(ready.json().at("type"), "urn:korvane:problem:draining");
  EXPECT_EQ(ready.detail(), "the server will stop soon: send requests elsewhere");
  EXPECT_EQ(client().get("/healthz/live").status, 200);
}

TEST_F(DrainTest, AnswersNewConnectionsAndClosesThem) {
  drain();
  for (int i = 1; i <= 3; ++i) {
    auto connection = connect();
    connection.send(count_text());
    const HttpAnswer answer = connection.read_answer();
    EXPECT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(close_field(answer), "Close");
    EXPECT_EQ(connection.read_all(), "");
  }
}

TEST_F(DrainTest, LeavesAnIdleConnectionOpenUntilItsNextReply) {
  auto connection = connect();
  connection.send(count_text());
  EXPECT_EQ(close_field(connection.read_answer()), "Keep-Alive");
  drain();
  EXPECT_FALSE(connection.has_answer_within(300ms));
  connection.send(count_text());
  const HttpAnswer answer = connection.read_answer();
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(close_field(answer), "Close");
  EXPECT_EQ(connection.read_all(), "");
}

TEST_F(DrainTest, AnswersRequestsThatCameTogether) {
  drain();
  auto connection = connect();
  connection.send(count_text() + count_text() + count_text());
  EXPECT_EQ(close_field(connection.read_answer()), "Keep-Alive");
  EXPECT_EQ(close_field(connection.read_answer()), "Keep-Alive");
  EXPECT_EQ(close_field(connection.read_answer()), "Close");
  EXPECT_EQ(connection.read_all(), "");
}

TEST_F(DrainTest, EndsWithAStop) {
  auto idle = connect();
  idle.send(header("GET /healthz/live"));
  idle.read_answer();
  drain();
  EXPECT_TRUE(stop());
  EXPECT_EQ(idle.read_all(), "");
  EXPECT_THROW(connect(), Poco::Exception);
}

/// What clients had of their requests.
struct Outcomes {
  int answered = 0;
  int broken_off = 0;
};

TEST_F(DrainTest, LosesNoRequestOfAClientThatKeepsItsConnection) {
  std::atomic<bool> is_over = false;
  std::atomic<int> answered = 0;
  const auto work = [&] {
    Outcomes outcomes;
    HttpClient own = server().client();  // makes the connection anew where a reply closed it
    while (!is_over) {
      try {
        outcomes.answered += own.call(kProbe, "count").status == 200 ? 1 : 0;
        ++answered;
      } catch (const Poco::Exception&) {
        ++outcomes.broken_off;
      }
    }
    return outcomes;
  };
  std::deque<std::future<Outcomes>> clients;
  for (int i = 0; i < 8; ++i) clients.push_back(std::async(std::launch::async, work));
  wait_until([&] { return answered > 100; });
  drain();
  const int before = answered;
  wait_until([&] { return answered > before + 100; });
  is_over = true;  // as those who have asked for its readiness
  for (auto& client : clients) {
    const Outcomes outcomes = client.get();
    EXPECT_GT(outcomes.answered, 0);
    EXPECT_EQ(outcomes.broken_off, 0);
  }
  EXPECT_TRUE(stop());
}

TEST_F(DrainTest, AnswersWhoeverConnectedBeforeThePortIsClosed) {
  constexpr int kClients = 200;
  std::vector<RawConnection> connections;
  connections.reserve(kClients);
  for (int i = 0; i < kClients; ++i) {
    connections.push_back(connect());
    connections.back().send(header("GET /healthz/live"));
  }
  EXPECT_TRUE(stop());
  for (RawConnection& connection : connections) {
    EXPECT_EQ(connection.read_answer().status, 200);
  }
}

TEST_F(DrainTest, WaitsAMomentForTheRequestOfANewConnection) {
  auto late = connect();
  wait_until([&] { return server().server().connections() > 0; });
  auto stopped = std::async(std::launch::async, [&] { return stop(); });
  wait_until([&] {
    try {
      connect();
      return false;
    } catch (const Poco::Exception&) {
      return true;
    }
  });
  late.send(header("GET /healthz/live"));
  EXPECT_EQ(late.read_answer().status, 200);
  EXPECT_TRUE(stopped.get());
}

}  // namespace
}  // namespace korvane::test
