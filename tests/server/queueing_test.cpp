// Too much at a time: calls wait for their service, some are told to come again.

#include <string>
#include <vector>

#include "tests/server/server_suite.h"
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

TEST_F(ShortQueue, ACallTooManyIsToldToComeAgain) {
  BusyProject busy(server());
  wait_for_calls(1);
  // That call may still be waiting for a thread, and then the next one is too many.
  std::vector<RawConnection> others;
  wait_until([&] {
    others.push_back(call_behind(busy));
    return metric_now("korvane_queued_calls") == 2;
  });
  expect_try_again(client().call(busy.id(), "create_sheet"), 503,
                   "too many calls wait for " + busy.id());
  EXPECT_EQ(client().call(kProbe, "count").status, 200);
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
  int served = 0;
  for (RawConnection& other : others) served += other.read_answer().status == 200 ? 1 : 0;
  EXPECT_EQ(served, 1);
  EXPECT_EQ(sheets_in(client().call(busy.id(), "list_sheets")), 1U);
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
  BusyProject busy(server());
  wait_for_calls(1);
  expect_try_again(client().call(busy.id(), "create_sheet"), 503,
                   "the call waited too long for " + busy.id());
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
  EXPECT_EQ(sheets_in(client().call(busy.id(), "list_sheets")), 1U);
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
