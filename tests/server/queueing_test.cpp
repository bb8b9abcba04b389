// Too much at a time: calls wait for their service, some are told to come again.

#include <future>

#include "tests/server/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using ::testing::Contains;
using ::testing::Key;
using ::testing::Not;

/// A call of a probe that sleeps, on a connection of its own.
class SleepingCall {
 public:
  SleepingCall(std::uint16_t port, const std::string& service, int milliseconds)
      : connection_(port) {
    connection_.send(
        call_text(service, "sleep", R"({"value_int32":)" + std::to_string(milliseconds) + "}"));
  }
  HttpAnswer answer() { return connection_.read_answer(); }

 private:
  RawConnection connection_;
};

void expect_try_again(const HttpAnswer& answer, int status, const std::string& detail) {
  EXPECT_EQ(answer.status, status);
  EXPECT_EQ(answer.detail(), detail);
  EXPECT_EQ(answer.fields.at("retry-after"), "1");
}

class Queueing : public ServerTest {
 protected:
  using ServerTest::ServerTest;
  SleepingCall sleep(int milliseconds) { return {server().port(), kProbe, milliseconds}; }
};

TEST_F(Queueing, ABusyServiceDoesNotHoldUpOthers) {
  auto sleeping = sleep(400);
  wait_for_calls(1);
  for (std::size_t i = 1; i < 16; ++i) {
    EXPECT_EQ(client().call(probe_id(i), "count").status, 200);
  }
  EXPECT_EQ(client().call(kManager, "list_").status, 200);
  EXPECT_EQ(metric_now("korvane_queued_calls"), 1);
  EXPECT_EQ(sleeping.answer().status, 200);
}

TEST_F(Queueing, ACallWaitsForItsTurn) {
  auto sleeping = sleep(100);
  wait_for_calls(1);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 2);
  EXPECT_EQ(sleeping.answer().json().at("value_int32"), 1);
}

class ShortQueue : public Queueing {
 protected:
  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.delivery.waiting_calls = 1;
    return limits;
  }
  ShortQueue() : Queueing(limits()) {}
};

TEST_F(ShortQueue, ACallTooManyIsToldToComeAgain) {
  auto running = sleep(300);
  wait_for_calls(1);
  auto waiting = sleep(0);
  wait_for_calls(2);
  expect_try_again(client().call(kProbe, "count"), 503, "too many calls wait for probe:0");
  EXPECT_EQ(client().call(probe_id(1), "count").status, 200);
  EXPECT_EQ(running.answer().status, 200);
  EXPECT_EQ(waiting.answer().status, 200);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 3);
}

class ShortWait : public Queueing {
 protected:
  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.delivery.waiting_time = 30ms;
    return limits;
  }
  ShortWait() : Queueing(limits()) {}
};

TEST_F(ShortWait, ACallThatWaitsTooLongIsToldToComeAgainAndNotRun) {
  auto running = sleep(300);
  wait_for_calls(1);
  expect_try_again(client().call(kProbe, "count"), 503, "the call waited too long for probe:0");
  EXPECT_EQ(running.answer().status, 200);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 2);
}

/// A request that has been let in and waits for its body.
class HalfRequest {
 public:
  HalfRequest(std::uint16_t port, const std::string& fields = {}) : connection_(port) {
    connection_.send(
        call_header(kProbe, "count", "Expect: 100-continue\r\n" + fields + content_length(2)));
    first_ = connection_.read_answer();
  }
  const HttpAnswer& first_answer() const { return first_; }
  HttpAnswer finish() {
    connection_.send("{}");
    return connection_.read_answer();
  }

 private:
  RawConnection connection_;
  HttpAnswer first_;
};

host::ModelServerLimits two_requests_per_client() {
  host::ModelServerLimits limits;
  limits.requests_per_client = 2;
  return limits;
}

class RequestsOfOneClient : public ServerTest {
 protected:
  RequestsOfOneClient() : ServerTest(two_requests_per_client()) {}
};

TEST_F(RequestsOfOneClient, AreNotTooMany) {
  HalfRequest first(server().port());
  HalfRequest second(server().port());
  ASSERT_EQ(second.first_answer().status, 100);
  const HalfRequest third(server().port());
  expect_try_again(third.first_answer(), 429, "too many requests of \"127.0.0.1\" at a time");
  EXPECT_EQ(client().get("/healthz/live").status, 200);
  EXPECT_EQ(first.finish().status, 200);
  EXPECT_EQ(second.finish().status, 200);
}

TEST_F(RequestsOfOneClient, CountWhileTheyLast) {
  HalfRequest first(server().port());
  for (int i = 0; i < 5; ++i) {
    wait_until([&] { return HalfRequest(server().port()).first_answer().status == 100; });
  }
  EXPECT_EQ(first.finish().status, 200);
}

TEST_F(RequestsOfOneClient, CountNoMoreWhenTheyAreRefused) {
  HalfRequest first(server().port());
  auto refused = connect();
  refused.send(header("GET /nowhere"));
  EXPECT_EQ(refused.read_answer().status, 404);
  // The server still waits for the other end to close.
  const auto start = Clock::now();
  wait_until([&] { return HalfRequest(server().port()).first_answer().status == 100; });
  EXPECT_LT(Clock::now() - start, 500ms);
  EXPECT_EQ(first.finish().status, 200);
}

TEST(RequestsOfOneToken, AreNotThoseOfAnother) {
  const TemporaryFolder folder;
  host::TokenFile file(folder.file("tokens.json"));
  const auto field = [&](const std::string& name) {
    return "Authorization: Bearer " + file.add(name, {host::Scope::read}) + "\r\n";
  };
  const std::string office = field("office");
  const std::string site = field("site");
  const TestServer server(two_requests_per_client(),
                          host::Tokens::load(folder.file("tokens.json")));
  HalfRequest first(server.port(), office);
  HalfRequest second(server.port(), office);
  const HalfRequest third(server.port(), office);
  expect_try_again(third.first_answer(), 429, "too many requests of \"office\" at a time");
  HalfRequest other(server.port(), site);
  EXPECT_EQ(other.first_answer().status, 100);
  EXPECT_EQ(other.finish().status, 200);
  EXPECT_EQ(first.finish().status, 200);
  EXPECT_EQ(second.finish().status, 200);
}

}  // namespace
}  // namespace korvane::test
