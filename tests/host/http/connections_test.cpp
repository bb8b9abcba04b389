// Connections: kept, closed, too many, too slow, and left by their clients.

#include <atomic>
#include <deque>
#include <future>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>

#include "host/http/server.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using std::chrono::milliseconds;

host::ModelServerLimits with(const host::HttpLimits& http) {
  host::ModelServerLimits limits;
  limits.http = http;
  return limits;
}

class KeptConnections : public ServerTest {
 protected:
  static std::string count_text() { return call_text(kProbe, "count", "{}"); }
  static int count_of(const HttpAnswer& answer) {
    EXPECT_EQ(answer.status, 200) << answer.body;
    return answer.json().at("value_int32");
  }
};

TEST_F(KeptConnections, ServeOneRequestAfterAnother) {
  auto connection = connect();
  for (int i = 1; i <= 100; ++i) {
    connection.send(count_text());
    EXPECT_EQ(count_of(connection.read_answer()), i);
  }
}

TEST_F(KeptConnections, AnswerPipelinedRequestsInOrder) {
  auto connection = connect();
  std::string requests;
  for (int i = 0; i < 50; ++i) requests += count_text();
  connection.send(requests);
  for (int i = 1; i <= 50; ++i) EXPECT_EQ(count_of(connection.read_answer()), i);
}

TEST_F(KeptConnections, AnswerPipelinedRequestsBeforeTheyClose) {
  auto connection = connect();
  connection.send(count_text() + header("GET /v1", "Connection: close\r\n") + count_text());
  EXPECT_EQ(count_of(connection.read_answer()), 1);
  EXPECT_EQ(connection.read_answer().status, 200);
  EXPECT_EQ(connection.read_all(), "");
  EXPECT_EQ(count_of(client().call(kProbe, "count")), 2);
}

TEST_F(KeptConnections, OutliveAFailedCall) {
  auto connection = connect();
  connection.send(call_text(kProbe, "fail", R"({"value_string":"no"})") + count_text());
  EXPECT_EQ(connection.read_answer().status, 400);
  EXPECT_EQ(connection.read_answer().status, 200);
}

TEST_F(KeptConnections, AreClosedForWhoAsksForIt) {
  auto connection = connect();
  connection.send(header("GET /healthz/live", "Connection: close\r\n"));
  const HttpAnswer answer = connection.read_answer();
  EXPECT_EQ(answer.fields.at("connection"), "Close");
  EXPECT_EQ(connection.read_all(), "");
}

TEST_F(KeptConnections, AreClosedForWhoAsksForItAmongOtherOptions) {
  for (const char* const fields :
       {"Connection: TE, close\r\n", "Connection: keep-alive\r\nConnection: Close\r\n"}) {
    auto connection = connect();
    connection.send(header("GET /healthz/live", fields));
    EXPECT_EQ(connection.read_answer().fields.at("connection"), "Close") << fields;
    EXPECT_EQ(connection.read_all(), "") << fields;
  }
  auto old = connect();
  old.send("GET /healthz/live HTTP/1.0\r\nHost: localhost\r\nConnection: TE\r\n\r\n");
  EXPECT_EQ(old.read_answer().status, 200);
  EXPECT_EQ(old.read_all(), "");
}

TEST_F(KeptConnections, TakeNoLargeBodyWhereNoneIsRead) {
  for (const char* const target : {"POST /healthz/live", "GET /healthz/live"}) {
    auto connection = connect();
    connection.send(header(target, "Content-Length: 67108864\r\n") + std::string(200'000, 'x'));
    const int status = connection.read_answer().status;
    EXPECT_TRUE(status == 413 || status == 405) << target << ' ' << status;
  }
  auto connection = connect();
  connection.send(header("GET /healthz/live", "Content-Length: 5\r\n") + "small");
  EXPECT_EQ(connection.read_answer().status, 200);
}

TEST_F(KeptConnections, AreClosedForTheVersionThatDoesNotKnowThem) {
  auto connection = connect();
  connection.send("GET /healthz/live HTTP/1.0\r\nHost: localhost\r\n\r\n");
  EXPECT_EQ(connection.read_answer().status, 200);
  EXPECT_EQ(connection.read_all(), "");
}

TEST_F(KeptConnections, AreLeftWithoutATrace) {
  for (int i = 0; i < 10; ++i) {
    auto connection = connect();
    connection.send(header("GET /healthz/live"));
    connection.read_answer();
  }
  wait_until([&] { return metric_now("korvane_connections") == 1; });
}

class IdleConnections : public ServerTest {
 protected:
  static constexpr milliseconds kIdleTime = 150ms;

  IdleConnections() : ServerTest(with({.idle_time = kIdleTime})) {}

  static void expect_closed_in_time(RawConnection& connection, Clock::time_point start) {
    EXPECT_EQ(connection.read_all(), "");
    const auto time = Clock::now() - start;
    EXPECT_GE(time, kIdleTime - 1ms);
    EXPECT_LT(time, kIdleTime + 2s);
  }
};

TEST_F(IdleConnections, AreClosedAfterTheirTime) {
  const auto start = Clock::now();
  auto connection = connect();
  expect_closed_in_time(connection, start);
}

TEST_F(IdleConnections, AreClosedAfterARequestAsWell) {
  auto connection = connect();
  connection.send(header("GET /healthz/live"));
  const auto start = Clock::now();
  EXPECT_EQ(connection.read_answer().status, 200);
  expect_closed_in_time(connection, start);
}

TEST_F(IdleConnections, AreNotThoseWhoseCallRuns) {
  auto connection = connect();
  connection.send(call_text(kProbe, "sleep", R"({"value_int32":300})"));
  EXPECT_EQ(connection.read_answer().status, 200);
}

class SlowClients : public ServerTest {
 protected:
  static constexpr milliseconds kTransferTime = 250ms;

  SlowClients() : ServerTest(with({.transfer_time = kTransferTime})) {}

  /// Sends a byte every few milliseconds until there is an answer.
  static HttpAnswer answer_to_slow(RawConnection& connection, const std::string& text) {
    const auto start = Clock::now();
    std::size_t sent = 0;
    for (; sent < text.size(); ++sent) {
      connection.send(std::string_view(&text[sent], 1));
      if (connection.has_answer_within(3ms)) break;
    }
    EXPECT_LT(sent, text.size()) << "was let go on to the end";
    const auto time = Clock::now() - start;
    EXPECT_GE(time, kTransferTime - 1ms);
    EXPECT_LT(time, kTransferTime + 2s);
    return connection.read_answer();
  }
  static void expect_timeout(const HttpAnswer& answer) {
    EXPECT_EQ(answer.status, 408);
    EXPECT_EQ(answer.detail(), "the request did not arrive within 250 ms");
    EXPECT_EQ(answer.fields.at("connection"), "Close");
  }
};

TEST_F(SlowClients, AreRefusedInTheirHeader) {
  auto connection = connect();
  expect_timeout(answer_to_slow(connection, header("GET /" + std::string(10'000, 'x'))));
}

TEST_F(SlowClients, AreRefusedInTheirBody) {
  auto connection = connect();
  connection.send(call_header(kProbe, "count", content_length(10'000)));
  expect_timeout(answer_to_slow(connection, std::string(10'000, ' ')));
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 1);
}

TEST_F(SlowClients, AreRefusedInAChunkedBody) {
  auto connection = connect();
  connection.send(call_header(kProbe, "count", kChunkedField));
  std::string chunks;
  for (int i = 0; i < 2000; ++i) chunks += "1\r\n \r\n";
  expect_timeout(answer_to_slow(connection, chunks));
}

TEST_F(SlowClients, WhoSayNothingMoreAreRefusedToo) {
  auto connection = connect();
  connection.send("GET /v1 HT");
  expect_timeout(connection.read_answer());
}

TEST_F(SlowClients, AreNotThoseWhoseCallRuns) {
  auto connection = connect();
  connection.send(call_text(kProbe, "sleep", R"({"value_int32":400})"));
  EXPECT_EQ(connection.read_answer().status, 200);
}

TEST_F(SlowClients, AreNotThoseWhoseCallsTakeLongerThanARequestMay) {
  BusyProject busy(server());
  wait_for_calls(1);
  auto waiting = connect();
  waiting.send(call_text(busy.id(), "list_sheets", "{}"));
  wait_for_calls(2);
  // The time of this one began later than that of the two requests before it.
  auto later = connect();
  later.send("GET /v1 HT");
  expect_timeout(later.read_answer());
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
  EXPECT_EQ(waiting.read_answer().status, 200);  // who has been cut off is not called for
  for (RawConnection* const connection : {&busy.connection(), &waiting}) {
    connection->send(header("GET /healthz/live"));
    EXPECT_EQ(connection->read_answer().body, "live\n");
  }
}

TEST_F(SlowClients, AreNotThoseWhoSendOneRequestAfterAnother) {
  auto connection = connect();
  const auto end = Clock::now() + 2 * kTransferTime;
  while (Clock::now() < end) {
    connection.send(header("GET /healthz/live"));
    ASSERT_EQ(connection.read_answer().status, 200);
  }
}

TEST_F(SlowClients, WhoDoNotReadTheirReplyAreCut) {
  const std::string project = server().open("project.db");
  auto connection = connect();
  // As text twice as long: more than the buffers of both ends hold.
  const std::string body = sql_request("select hex(zeroblob(10000000))").dump();
  connection.send(call_text(project, "query_table", body));
  wait_until([&] { return metric_now("korvane_connections") == 2; });
  const auto start = Clock::now();
  wait_until([&] { return metric_now("korvane_connections") == 1; });
  EXPECT_LT(Clock::now() - start, kTransferTime + 4s);
  std::string received;
  try {
    received = connection.read_all();
  } catch (const Poco::Exception&) {
    // Cut with bytes unsent: how the end shows is the system's to say.
  }
  EXPECT_LT(received.size(), 20'000'000U);
}

class OneTime : public ServerTest {
 protected:
  static constexpr milliseconds kTransferTime = 600ms;

  OneTime() : ServerTest(with({.transfer_time = kTransferTime})) {}
};

TEST_F(OneTime, IsThereForHeaderAndBodyTogether) {
  auto connection = connect();
  const auto start = Clock::now();
  const std::string head = call_header(kProbe, "count", content_length(10'000));
  connection.send(head.substr(0, 5));
  EXPECT_FALSE(connection.has_answer_within(kTransferTime * 2 / 3));
  connection.send(head.substr(5) + "{");
  EXPECT_EQ(connection.read_answer().status, 408);
  EXPECT_LT(Clock::now() - start, kTransferTime * 5 / 3);
}

class LeavingClients : public ServerTest {
 protected:
  int count() { return client().call(kProbe, "count").json().at("value_int32"); }
};

TEST_F(LeavingClients, InTheMiddleOfABodyHurtNobody) {
  auto connection = connect();
  connection.send(call_header(kProbe, "sleep", content_length(17)) + R"({"value_int3)");
  connection.reset();
  EXPECT_EQ(count(), 1);
  wait_until([&] { return metric_now("korvane_connections") == 2; });
}

TEST_F(LeavingClients, InTheMiddleOfAHeaderHurtNobody) {
  auto connection = connect();
  connection.send("POST /v1/pro");
  connection.close();
  EXPECT_EQ(count(), 1);
}

TEST_F(LeavingClients, WhileTheirCallRunsHaveItFinished) {
  for (const bool is_reset : {false, true}) {
    BusyProject busy(server(), is_reset ? "reset.db" : "closed.db");
    wait_for_calls(1);
    is_reset ? busy.connection().reset() : busy.connection().close();
    busy.let_go();
    wait_for_calls(0);
    EXPECT_EQ(client().call(busy.id(), "list_sheets").json().at("items").size(), 1U);
  }
  wait_until([&] { return metric_now("korvane_connections") == 2; });
}

TEST_F(LeavingClients, BeforeAllOfTheirReplyHurtNobody) {
  const std::string project = server().open("project.db");
  const std::string body = sql_request("select hex(zeroblob(3000000))").dump();
  auto connection = connect();
  connection.send(call_text(project, "query_table", body));
  ASSERT_TRUE(connection.has_answer_within(10s));
  connection.reset();
  EXPECT_EQ(count(), 1);
  wait_until([&] { return metric_now("korvane_connections") == 2; });
}

class ConnectionCap : public ServerTest {
 protected:
  ConnectionCap() : ServerTest(with({.connections = 2})) {}

  double server_connections() {
    // Asked on a connection of its own, there would be one more.
    return static_cast<double>(server().server().connections());
  }
  static HttpAnswer live(RawConnection& connection) {
    connection.send(header("GET /healthz/live"));
    return connection.read_answer();
  }
};

TEST_F(ConnectionCap, ClosesTheOldestOneAtRestForANewOne) {
  const auto rest = [] { std::this_thread::sleep_for(100ms); };  // the reply comes before it
  auto first = connect();
  EXPECT_EQ(live(first).status, 200);
  rest();
  auto second = connect();
  EXPECT_EQ(live(second).status, 200);
  rest();
  auto third = connect();
  EXPECT_EQ(live(third).status, 200);
  EXPECT_EQ(first.read_all(), "");
  EXPECT_EQ(live(second).status, 200);
}

TEST_F(ConnectionCap, ClosesOneWhoseRequestIsNotLetInYet) {
  auto first = connect();
  first.send("GET /v1 HT");
  auto second = connect();
  second.send("GET /v1 HT");
  wait_until([&] { return server_connections() == 2; });
  auto third = connect();
  EXPECT_EQ(live(third).status, 200);
}

TEST_F(ConnectionCap, TellsOfItsHealthWhenAllAreBusyAndRefusesElse) {
  std::vector<RawConnection> busy;
  for (std::size_t i = 0; i < 2; ++i) {
    busy.push_back(connect());
    busy.back().send(call_text(probe_id(i), "sleep", R"({"value_int32":1500})"));
  }
  std::this_thread::sleep_for(200ms);
  auto asks = connect();
  EXPECT_EQ(live(asks).status, 200);
  EXPECT_EQ(asks.read_all(), "");
  auto calls = connect();
  calls.send(header("GET /v1"));
  const HttpAnswer answer = calls.read_answer();
  EXPECT_EQ(answer.status, 503);
  EXPECT_EQ(answer.detail(), "too many connections");
  EXPECT_EQ(answer.fields.at("retry-after"), "1");
  EXPECT_EQ(calls.read_all(), "");
  for (RawConnection& connection : busy) EXPECT_EQ(connection.read_answer().status, 200);
}

TEST(ConnectionsOfOneToken, LeaveSomeToOthers) {
  const TemporaryFolder folder;
  host::TokenFile file(folder.file("tokens.json"));
  const std::string office = file.add("office", {host::Scope::read});
  const std::string site = file.add("site", {host::Scope::read});
  const TestServer server(with({.connections = 4}), host::Tokens::load(folder.file("tokens.json")));
  std::deque<HttpClient> clients;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(clients.emplace_back(server.port(), bearer(office)).get("/v1").status, 200);
  }
  const HttpAnswer answer = server.client_of(office).get("/v1");
  EXPECT_EQ(answer.status, 429);
  EXPECT_EQ(answer.detail(), "too many connections of \"office\" at a time");
  EXPECT_EQ(server.client_of(site).get("/v1").status, 200);
}

TEST_F(ConnectionCap, HasRoomAgainWhenOneHasGone) {
  auto first = connect();
  auto second = connect();
  EXPECT_EQ(live(first).status, 200);
  EXPECT_EQ(live(second).status, 200);
  second.close();
  wait_until([&] {
    auto third = connect();
    try {
      return live(third).status == 200;
    } catch (const std::exception&) {
      return false;  // closed while it was written to
    }
  });
}

/// Its first request is not admitted before it is told so. Counts those that are answered.
class HeldHandler : public host::HttpHandler {
 public:
  std::unique_ptr<host::HttpExchange> begin(const host::HttpRequest&) override {
    return std::make_unique<Exchange>(*this);
  }
  void refuse(const std::string&, host::HttpReply&) override {}

  std::promise<void> is_asking;
  std::promise<void> may_admit;
  std::atomic<int> answers = 0;
  std::promise<bool> is_sent;

 private:
  class Exchange : public host::HttpExchange {
   public:
    explicit Exchange(HeldHandler& handler) : handler_(handler) {}

    void admit() override {
      handler_.is_asking.set_value();
      handler_.may_admit.get_future().wait();
    }
    const std::string& client() const override { return client_; }
    void hold_body(std::uint64_t) override {}
    host::HttpReply answer(const std::string&) override {
      ++handler_.answers;
      return {.status = 200, .content_type = "text/plain", .body = "done"};
    }
    void complete(host::HttpReply&) override {}
    void served(const host::HttpReply&, std::chrono::nanoseconds, bool is_sent) override {
      handler_.is_sent.set_value(is_sent);
    }

   private:
    HeldHandler& handler_;
    const std::string client_ = "office";
  };
};

TEST(ShutConnection, DoesNotBeginARequestWhoseReplyNobodyWouldSee) {
  HeldHandler handler;
  const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
  host::HttpServer server(socket, handler, {.connections = 1});
  RawConnection first(socket.address().port());
  first.send(header("POST /v1", "Content-Length: 0\r\n"));
  handler.is_asking.get_future().wait();
  // The first one is closed to make room for it.
  const RawConnection second(socket.address().port());
  EXPECT_EQ(first.read_all(), "");
  handler.may_admit.set_value();
  EXPECT_FALSE(handler.is_sent.get_future().get());
  EXPECT_EQ(handler.answers, 0);
}

TEST(IdleConnection, EndsAtOnceWhereItMayStayForNoTime) {
  HeldHandler handler;
  const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
  const host::HttpServer server(socket, handler, {.idle_time = 0ms});
  RawConnection silent(socket.address().port());
  EXPECT_EQ(silent.read_all(), "");
}

/// Both ends of every connection are this process's.
void allow_open_files(rlim_t count) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_cur >= count) return;
  if (limit.rlim_max < count) GTEST_SKIP() << "not enough files may be open";
  limit.rlim_cur = count;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

TEST_F(LeavingClients, OrAThousandThatSayNothingDoNotKeepOthersFromBeingServed) {
  allow_open_files(2500);
  if (IsSkipped() || HasFatalFailure()) return;
  std::deque<RawConnection> idle;
  for (int i = 0; i < 1000; ++i) idle.emplace_back(server().port());
  wait_until([&] { return metric_now("korvane_connections") == 1001; });
  const auto start = Clock::now();
  for (int i = 1; i <= 100; ++i) EXPECT_EQ(count(), i);
  EXPECT_LT(Clock::now() - start, 10s);
  idle.clear();
  wait_until([&] { return metric_now("korvane_connections") == 2; });
}

}  // namespace
}  // namespace korvane::test
