#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/probe_service.h"
#include "tests/host/support/test_server.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

using Clock = std::chrono::steady_clock;

inline const std::string kProbe = probe_id(0);
inline const std::string kProblem = "application/problem+json";

inline std::string path_of(const std::string& service, const std::string& operation) {
  return "/v1/" + service + "/" + operation;
}

/// The header of a request, whose further lines end in CRLF each.
inline std::string header(const std::string& first_line, const std::string& lines = {}) {
  return first_line + " HTTP/1.1\r\nHost: localhost\r\n" + lines + "\r\n";
}

/// The header of a call with a JSON body, which `framing` tells the end of.
inline std::string call_header(const std::string& service, const std::string& operation,
                               const std::string& framing) {
  return header("POST " + path_of(service, operation),
                "Content-Type: application/json\r\n" + framing);
}

inline std::string content_length(std::size_t length) {
  return "Content-Length: " + std::to_string(length) + "\r\n";
}

inline constexpr const char* kChunkedField = "Transfer-Encoding: chunked\r\n";

/// A whole call with a JSON body.
inline std::string call_text(const std::string& service, const std::string& operation,
                             const std::string& body) {
  return call_header(service, operation, content_length(body.size())) + body;
}

/// The value of a series in the text of /metrics; -1 for one that is not there.
inline double metric(const std::string& text, const std::string& series) {
  const std::size_t found = ("\n" + text).find("\n" + series + " ");
  return found == std::string::npos ? -1 : std::stod(text.substr(found + series.size() + 1));
}

/// Waits until `condition` holds; fails the test after ten seconds.
template <class Condition>
void wait_until(Condition condition) {
  const auto end = Clock::now() + 10s;
  while (!condition()) {
    ASSERT_LT(Clock::now(), end) << "waited in vain";
    std::this_thread::sleep_for(1ms);
  }
}

/// Opens a project and calls it; the call waits for a lock of its file until it is let go.
class BusyProject {
 public:
  explicit BusyProject(const TestServer& server, const std::string& file = "busy.db")
      : id_(server.open(file)),
        lock_(server.file(file), PlainConnection::Mode::kWrite),
        connection_(server.port()) {
    lock_.run("begin exclusive");
    connection_.send(call_text(id_, "create_sheet", "{}"));
  }

  const std::string& id() const { return id_; }
  RawConnection& connection() { return connection_; }
  void let_go() { lock_.run("commit"); }
  HttpAnswer answer() { return connection_.read_answer(); }

 private:
  std::string id_;
  PlainConnection lock_;
  RawConnection connection_;
};

/// A request that has been let in and waits for its body of two bytes.
class HalfRequest {
 public:
  explicit HalfRequest(std::uint16_t port, const std::string& fields = {})
      : HalfRequest(port, "POST " + path_of(kProbe, "count"),
                    "Content-Type: application/json\r\n" + fields) {}
  HalfRequest(std::uint16_t port, const std::string& first_line, const std::string& fields)
      : connection_(port) {
    connection_.send(header(first_line, fields + "Expect: 100-continue\r\n" + content_length(2)));
    first_ = connection_.read_answer();
  }

  /// 100 when it was let in.
  const HttpAnswer& first_answer() const { return first_; }
  HttpAnswer finish() {
    connection_.send("{}");
    return connection_.read_answer();
  }
  RawConnection& connection() { return connection_; }

 private:
  RawConnection connection_;
  HttpAnswer first_;
};

/// A server and a client of it.
class ServerTest : public ::testing::Test {
 protected:
  explicit ServerTest(const host::ModelServerLimits& limits = {},
                      std::vector<std::string> host_names = {})
      : server_(limits, std::nullopt, std::move(host_names)) {}

  TestServer& server() { return server_; }
  HttpClient& client() { return client_; }
  RawConnection connect() const { return RawConnection(server_.port()); }

  double metric_now(const std::string& series) {
    return metric(watcher_.get("/metrics").body, series);
  }
  /// Waits until so many calls wait or run.
  void wait_for_calls(int count) {
    wait_until([&] { return metric_now("korvane_queued_calls") == count; });
  }

 private:
  TestServer server_;
  HttpClient client_ = server_.client();
  HttpClient watcher_ = server_.client();
};

}  // namespace korvane::test
