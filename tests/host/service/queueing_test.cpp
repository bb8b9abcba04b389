// Too much at a time: calls wait for their service, some are told to come again.

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/support/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

void expect_try_again(const HttpAnswer& answer, int status, const std::string& detail) {
  EXPECT_EQ(answer.status, status);
  EXPECT_EQ(answer.detail(), detail);
  EXPECT_EQ(answer.fields.at("retry-after"), "1");
}

class Queueing : public ServerTest {
 protected:
  using ServerTest::ServerTest;

  /// A call of the busy project that comes second.
  RawConnection call_behind(const BusyProject& busy) const {
    auto connection = connect();
    connection.send(call_text(busy.id(), "list_sheets", "{}"));
    return connection;
  }
  static std::size_t sheets_in(const HttpAnswer& answer) {
    EXPECT_EQ(answer.status, 200) << answer.body;
    return answer.json().at("items").size();
  }
};

TEST_F(Queueing, ABusyServiceDoesNotHoldUpOthers) {
  BusyProject busy(server());
  wait_for_calls(1);
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(client().call(probe_id(i), "count").status, 200);
  }
  EXPECT_EQ(client().call(kManager, "list_").status, 200);
  EXPECT_EQ(metric_now("korvane_queued_calls"), 1);
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
}

TEST_F(Queueing, ACallWaitsForItsTurn) {
  BusyProject busy(server());
  wait_for_calls(1);
  auto second = call_behind(busy);
  wait_for_calls(2);
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
  EXPECT_EQ(sheets_in(second.read_answer()), 1U);
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

/// A call that holds the probe for a while.
class SleepingCall {
 public:
  SleepingCall(std::uint16_t port, std::chrono::milliseconds time) : connection_(port) {
    connection_.send(
        call_text(kProbe, "sleep", R"({"value_int32":)" + std::to_string(time.count()) + "}"));
  }
  HttpAnswer answer() { return connection_.read_answer(); }

 private:
  RawConnection connection_;
};

TEST_F(ShortQueue, ACallTooManyIsToldToComeAgain) {
  SleepingCall runs(server().port(), 2500ms);
  wait_for_calls(1);
  // It has a thread before long: until then the next one is too many itself, and is made again.
  std::unique_ptr<SleepingCall> waits;
  wait_until([&] {
    waits = std::make_unique<SleepingCall>(server().port(), 1ms);
    for (int i = 0; i < 30 && metric_now("korvane_queued_calls") != 2; ++i) {
      std::this_thread::sleep_for(10ms);
    }
    return metric_now("korvane_queued_calls") == 2;
  });
  expect_try_again(client().call(kProbe, "count"), 503, "too many calls wait for " + kProbe);
  EXPECT_EQ(client().call(probe_id(1), "count").status, 200);
  EXPECT_EQ(runs.answer().status, 200);
  EXPECT_EQ(waits->answer().status, 200);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 3);
}

class ShortWait : public Queueing {
 protected:
  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.delivery.waiting_time = 200ms;
    return limits;
  }
  ShortWait() : Queueing(limits()) {}
};

TEST_F(ShortWait, ACallThatWaitsTooLongIsToldToComeAgainAndNotRun) {
  SleepingCall runs(server().port(), 1000ms);
  wait_for_calls(1);
  std::this_thread::sleep_for(50ms);
  expect_try_again(client().call(kProbe, "count"), 503, "the call waited too long for " + kProbe);
  EXPECT_EQ(runs.answer().status, 200);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 2);
}

TEST_F(Queueing, AWriteThatWaitsForALockLetsReadsGoOn) {
  const std::string id = server().open("busy.db");
  PlainConnection other(server().file("busy.db"), PlainConnection::Mode::kWrite);
  other.run("begin immediate");
  auto writer = connect();
  writer.send(call_text(id, "create_sheet", "{}"));
  wait_for_calls(1);
  for (int i = 0; i < 5; ++i) {
    const auto begin = Clock::now();
    EXPECT_EQ(client().call(id, "list_sheets").status, 200);
    EXPECT_LT(Clock::now() - begin, 1s);
  }
  EXPECT_FALSE(writer.has_answer_within(0ms));
  other.run("commit");
  EXPECT_EQ(writer.read_answer().status, 200);
  EXPECT_EQ(client().call(id, "list_sheets").json().at("items").size(), 1U);
}

TEST_F(Queueing, AWaitingCallWhoseConnectionHasGoneIsNotRun) {
  SleepingCall runs(server().port(), 1500ms);
  wait_for_calls(1);
  std::this_thread::sleep_for(50ms);
  {
    auto gone = connect();
    gone.send(call_text(kProbe, "count", "{}"));
    wait_for_calls(2);
    gone.close();
  }
  wait_for_calls(1);
  EXPECT_EQ(runs.answer().status, 200);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 2);
}

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
  EXPECT_LT(Clock::now() - start, 900ms);
  EXPECT_EQ(first.finish().status, 200);
}

/// A server with two readers.
class TwoClients : public ::testing::Test {
 protected:
  explicit TwoClients(const host::ModelServerLimits& limits = {}) {
    const host::Scopes scopes = {host::Scope::read, host::Scope::write};
    office_ = "Authorization: Bearer " + file_.add("office", scopes) + "\r\n";
    site_ = file_.add("site", scopes);
    server_ = std::make_unique<TestServer>(limits, host::Tokens::load(path()));
  }

  std::string path() const { return folder_.file("tokens.json"); }
  TestServer& server() { return *server_; }
  HttpClient site() const { return server_->client_of(site_); }
  /// A call of the office's, which is not waited for.
  RawConnection office_call(const std::string& service, const std::string& operation,
                            const std::string& body) const {
    RawConnection connection(server_->port());
    connection.send(call_header(service, operation, office_ + content_length(body.size())) + body);
    return connection;
  }
  /// One of the office's whose body is `length` blanks, of which only `sent` are sent.
  RawConnection office_call(const std::string& service, const std::string& operation,
                            std::size_t length, std::size_t sent) const {
    RawConnection connection(server_->port());
    connection.send(call_header(service, operation, office_ + content_length(length)) +
                    std::string(sent, ' '));
    return connection;
  }
  /// Waits until so many calls run or wait.
  void wait_for_calls(double count) const {
    wait_until(
        [&] { return metric(site().get("/metrics").body, "korvane_queued_calls") == count; });
  }
  double held_bodies() const {
    return metric(site().get("/metrics").body, "korvane_held_bytes{for=\"bodies\"}");
  }

 private:
  TemporaryFolder folder_;
  host::TokenFile file_{path()};
  std::string office_;
  std::string site_;
  std::unique_ptr<TestServer> server_;
};

TEST_F(TwoClients, TakeTurnsInAProjectHoweverManyCallsOneHas) {
  std::vector<RawConnection> calls;
  for (int i = 0; i < 20; ++i) {
    calls.push_back(office_call(kProbe, "sleep", R"({"value_int32":100})"));
  }
  wait_for_calls(20);
  HttpClient client = site();
  for (int i = 0; i < 3; ++i) {
    const auto begin = Clock::now();
    EXPECT_EQ(client.call(kProbe, "count").status, 200);
    EXPECT_LT(Clock::now() - begin, 1s);
  }
  for (RawConnection& call : calls) EXPECT_EQ(call.read_answer().status, 200);
}

TEST_F(TwoClients, DoNotHoldUpEachOtherOnDifferentProjects) {
  std::vector<RawConnection> calls;
  for (std::size_t i = 1; i < 16; ++i) {
    calls.push_back(office_call(probe_id(i), "sleep", R"({"value_int32":2500})"));
  }
  wait_for_calls(15);
  HttpClient client = site();
  const auto begin = Clock::now();
  for (int i = 0; i < 10; ++i) EXPECT_EQ(client.call(kProbe, "count").status, 200);
  EXPECT_LT(Clock::now() - begin, 2s);
  for (RawConnection& call : calls) EXPECT_EQ(call.read_answer().status, 200);
}

TEST_F(TwoClients, LeaveEachOtherPlacesInTheQueue) {
  std::vector<RawConnection> calls;
  for (int i = 0; i < 70; ++i) {
    calls.push_back(office_call(kProbe, "sleep", R"({"value_int32":50})"));
  }
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(site().call(kProbe, "count").status, 200);
  int refused = 0;
  for (RawConnection& call : calls) refused += call.read_answer().status == 503 ? 1 : 0;
  EXPECT_GT(refused, 0);
}

class TwoClientsAndFewBodies : public TwoClients {
 protected:
  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.all_body_bytes = 400'000;
    return limits;
  }
  TwoClientsAndFewBodies() : TwoClients(limits()) {}
};

TEST_F(TwoClientsAndFewBodies, LeaveEachOtherRoomForBodies) {
  constexpr std::size_t kLength = 60'000;
  std::vector<RawConnection> senders;
  for (int i = 0; i < 5; ++i) senders.push_back(office_call(kProbe, "count", kLength, kLength - 1));
  wait_until([&] { return held_bodies() == 5 * kLength; });
  RawConnection sixth = office_call(kProbe, "count", kLength, kLength - 1);
  expect_try_again(sixth.read_answer(), 503, "too many bodies of requests are held at a time");
  EXPECT_EQ(site()
                .send("POST", path_of(kProbe, "count"), std::string(kLength - 2, ' ') + "{}",
                      {{"Content-Type", kJson}})
                .status,
            200);
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
