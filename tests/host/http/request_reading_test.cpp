// How requests are read from a connection: what becomes of it when they are refused, break off or
// wait to be asked. What is a request and what is not is the parser's to say (request_rows.cpp).

#include <string>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

constexpr std::size_t kHeaderLimit = 500;
constexpr std::size_t kBodyLimit = 1000;

host::ModelServerLimits small_requests() {
  host::ModelServerLimits limits;
  limits.http.header_bytes = kHeaderLimit;
  limits.http.body_bytes = kBodyLimit;
  return limits;
}

class RequestReading : public ServerTest {
 protected:
  RequestReading() : ServerTest(small_requests()) {}

  /// The answer to what is said on a connection of its own, which the server has then closed.
  HttpAnswer last_answer_to(const std::string& text) {
    auto connection = connect();
    connection.send(text);
    HttpAnswer answer = connection.read_answer();
    EXPECT_EQ(answer.fields["connection"], "Close");
    EXPECT_EQ(connection.read_all(), "");
    return answer;
  }
  void expect_refusal(const std::string& text, int status, const std::string& detail) {
    const HttpAnswer answer = last_answer_to(text);
    EXPECT_EQ(answer.status, status) << text.substr(0, 200);
    EXPECT_EQ(answer.detail(), detail) << text.substr(0, 200);
  }
  /// The answer to what is said on a connection that stays open.
  HttpAnswer answer_to(const std::string& text) {
    auto connection = connect();
    connection.send(text);
    HttpAnswer answer = connection.read_answer();
    connection.send(header("GET /healthz/live"));
    EXPECT_EQ(connection.read_answer().body, "live\n");
    return answer;
  }

  int count() { return client().call(kProbe, "count").json().at("value_int32"); }
};

using RefusedRequests = RequestReading;

TEST_F(RefusedRequests, WithAMalformedHeaderCloseTheConnection) {
  expect_refusal("GET /v1 HTTP/1.1\r\nno colon\r\n\r\n", 400,
                 "malformed field in the header; expected a name, a colon and a value");
}

TEST_F(RefusedRequests, WithALargeHeaderAreThoseBeyondTheServersLimit) {
  const auto header_of = [](std::size_t bytes) {
    const std::size_t others = header("GET /v1", "Field: \r\n").size();
    return header("GET /v1", "Field: " + std::string(bytes - others, 'x') + "\r\n");
  };
  EXPECT_EQ(answer_to(header_of(kHeaderLimit)).status, 200);
  expect_refusal(header_of(kHeaderLimit + 1), 431, "the header is longer than 500 bytes");
}

TEST_F(RefusedRequests, WithALargeBodyAreThoseBeyondTheServersLimit) {
  std::string body = "{}";
  body.resize(kBodyLimit, ' ');
  EXPECT_EQ(answer_to(call_text(kProbe, "count", body)).json().at("value_int32"), 1);
  expect_refusal(call_text(kProbe, "count", body + " "), 413, "the body is longer than 1000 bytes");
  expect_refusal(call_header(kProbe, "count", kChunkedField) + "2\r\n{}\r\n3E7\r\n", 413,
                 "the body is longer than 1000 bytes");
  EXPECT_EQ(count(), 2);
}

TEST_F(RefusedRequests, WithMalformedChunksMakeNoCall) {
  expect_refusal(call_header(kProbe, "count", kChunkedField) + "2\r\n{}\r\n+0\r\n\r\n", 400,
                 "malformed chunk size in the body");
  EXPECT_EQ(count(), 1);
}

TEST_F(RefusedRequests, WithACompressedBodyAreToldWhatIsNot) {
  const HttpAnswer answer = last_answer_to(
      call_header(kProbe, "count", "Content-Encoding: gzip\r\n" + content_length(2)) + "{}");
  EXPECT_EQ(answer.status, 415);
  EXPECT_EQ(answer.detail(), "the Content-Encoding is not supported; expected none");
  EXPECT_EQ(answer.fields.at("accept-encoding"), "identity");
  EXPECT_EQ(count(), 1);
}

TEST_F(RefusedRequests, AreToldWhatIsWrongWithTheCallBeforeItsBody) {
  EXPECT_EQ(last_answer_to(call_header("nowhere", "count", content_length(kBodyLimit + 1))).status,
            404);
}

TEST_F(RefusedRequests, AreAnsweredEvenIfTheyAreStillSent) {
  auto connection = connect();
  connection.send(call_header(kProbe, "count", content_length(4'000'000)));
  // More than the sockets' buffers hold: the sender stands still unless it is read.
  connection.send(std::string(4'000'000, ' '));
  EXPECT_EQ(connection.read_answer().status, 413);
}

TEST_F(RefusedRequests, WithTwoLengthsHideNoOther) {
  const std::string hidden = header("GET /healthz/live");
  for (const char* const path : {"/healthz/live", "/nothing", "/v1"}) {
    for (const std::string& lengths : {content_length(0) + content_length(hidden.size()),
                                       content_length(hidden.size()) + content_length(0)}) {
      RawConnection connection = connect();
      connection.send(header(std::string("GET ") + path, lengths) + hidden);
      const std::string answers = connection.read_all();
      EXPECT_THAT(answers, ::testing::StartsWith("HTTP/1.1 400 "));
      EXPECT_EQ(answers.find("live\n"), std::string::npos);
    }
  }
}

TEST_F(RefusedRequests, WithoutABodyToReadLeaveTheConnectionOpen) {
  EXPECT_EQ(answer_to(header("GET /nowhere")).status, 404);
  EXPECT_EQ(answer_to(header("DELETE /v1")).status, 405);
  EXPECT_EQ(answer_to(header("POST " + path_of(kProbe, "count"))).status, 415);
  EXPECT_EQ(answer_to(call_text(kProbe, "count", "no JSON")).status, 400);
  EXPECT_EQ(answer_to(call_header(kProbe, "count", "")).status, 400);
  EXPECT_EQ(answer_to(header("POST /nowhere", content_length(0))).status, 404);
}

TEST_F(RefusedRequests, WithABodyDoNotHaveItTakenForARequest) {
  const std::string inner = call_text(kProbe, "count", "{}");
  const HttpAnswer answer = last_answer_to(
      header("POST /nowhere", "Content-Type: application/json\r\n" + content_length(inner.size())) +
      inner);
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(count(), 1);
}

using ReadRequests = RequestReading;

TEST_F(ReadRequests, MayComeByteByByte) {
  for (const std::string& text :
       {call_text(kProbe, "count", "{}"),
        call_header(kProbe, "count", kChunkedField) + "1\r\n{\r\n1\r\n}\r\n0\r\n\r\n"}) {
    auto connection = connect();
    for (const char byte : text) connection.send(std::string_view(&byte, 1));
    EXPECT_EQ(connection.read_answer().status, 200);
  }
}

TEST_F(ReadRequests, OfAGetMayHaveABodyThatIsSkipped) {
  const std::string inner = call_text(kProbe, "count", "{}");
  EXPECT_EQ(answer_to(header("GET /v1", content_length(inner.size())) + inner).status, 200);
  EXPECT_EQ(count(), 1);
}

TEST_F(ReadRequests, InChunksHaveTheirWholeBody) {
  const std::string project = server().open("project.db");
  const HttpAnswer answer = answer_to(call_header(project, "create_sheet", kChunkedField) +
                                      "8\r\n{\"name\":\r\n9\r\n\"a sheet\"\r\n1\r\n}\r\n0\r\n\r\n");
  EXPECT_EQ(answer.status, 200);
  const auto sheets = client().call(project, "list_sheets").json().at("items");
  ASSERT_EQ(sheets.size(), 1U);
  EXPECT_EQ(sheets[0].at("name"), "a sheet");
}

TEST_F(ReadRequests, LeaveTheNextOnesThatHaveCome) {
  auto connection = connect();
  connection.send(call_text(kProbe, "count", "{}") + call_header(kProbe, "count", kChunkedField) +
                  "2\r\n{}\r\n0\r\n\r\n" + "\r\n" + header("GET /healthz/live"));
  EXPECT_EQ(connection.read_answer().json().at("value_int32"), 1);
  EXPECT_EQ(connection.read_answer().json().at("value_int32"), 2);
  EXPECT_EQ(connection.read_answer().body, "live\n");
}

class BrokenOffRequests : public RequestReading {
 protected:
  /// All that is answered to `text` and no more.
  std::string answers_to_the_end_after(const std::string& text) {
    auto connection = connect();
    connection.send(text);
    connection.end();
    return connection.read_all();
  }
  void expect_refused(const std::string& text) {
    const std::string answers = answers_to_the_end_after(text);
    EXPECT_THAT(answers, ::testing::StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(answers, ::testing::HasSubstr("\"detail\":\"the body broke off\""));
  }
  const std::string& project() const { return project_; }
  std::size_t sheets() { return client().call(project_, "list_sheets").json().at("items").size(); }

 private:
  std::string project_ = server().open("project.db");
};

TEST_F(BrokenOffRequests, AreNotAnsweredInTheirHeader) {
  EXPECT_EQ(answers_to_the_end_after("GET /v1 HTTP/1.1\r\nHost: localhost\r\n"), "");
}

TEST_F(BrokenOffRequests, StoreNothingWhereALengthIsNotReached) {
  const std::string body = R"({"name":"a"})";
  const std::string head = call_header(project(), "create_sheet", content_length(body.size() + 1));
  expect_refused(head);
  expect_refused(head + body);
  EXPECT_EQ(sheets(), 0U);
}

TEST_F(BrokenOffRequests, StoreNothingWhereverChunksBreakOff) {
  // The first chunk is a request for itself.
  const std::string head = call_header(project(), "create_sheet", kChunkedField);
  const std::string body = "0B\r\n{\"name\":\"\"}\r\n1\r\n \r\n0\r\n\r\n";
  for (std::size_t length = 0; length < body.size(); ++length) {
    expect_refused(head + body.substr(0, length));
  }
  EXPECT_EQ(sheets(), 0U);
  EXPECT_THAT(answers_to_the_end_after(head + body), ::testing::StartsWith("HTTP/1.1 200 "));
  EXPECT_EQ(sheets(), 1U);
}

TEST_F(BrokenOffRequests, LeaveTheServerAsItWas) {
  for (int i = 0; i < 20; ++i) {
    auto connection = connect();
    connection.send(call_header(project(), "create_sheet", content_length(100)) + "{");
    connection.reset();
  }
  EXPECT_EQ(sheets(), 0U);
  wait_until([&] { return metric_now("korvane_connections") == 2; });
}

class ExpectContinue : public RequestReading {
 protected:
  static constexpr const char* kExpect = "Expect: 100-continue\r\n";
};

TEST_F(ExpectContinue, IsAnsweredBeforeTheBody) {
  auto connection = connect();
  connection.send(call_header(kProbe, "count", kExpect + content_length(2)));
  EXPECT_EQ(connection.read_answer().status, 100);
  connection.send("{}");
  EXPECT_EQ(connection.read_answer().status, 200);
}

TEST_F(ExpectContinue, IsAnsweredBeforeAChunkedBody) {
  auto connection = connect();
  connection.send(call_header(kProbe, "count", std::string(kExpect) + kChunkedField));
  EXPECT_EQ(connection.read_answer().status, 100);
  connection.send("1\r\n{\r\n1\r\n}\r\n0\r\n\r\n");
  EXPECT_EQ(connection.read_answer().status, 200);
}

TEST_F(ExpectContinue, OfARefusedCallIsAnsweredWithTheRefusal) {
  EXPECT_EQ(last_answer_to(call_header("nowhere", "count", kExpect + content_length(2))).status,
            404);
  EXPECT_EQ(last_answer_to(header("POST " + path_of(kProbe, "count"),
                                  kExpect + content_length(2) + "Content-Type: text/plain\r\n"))
                .status,
            415);
}

TEST_F(ExpectContinue, OfABodyThatIsTooLargeIsAnsweredWithTheRefusal) {
  EXPECT_EQ(
      last_answer_to(call_header(kProbe, "count", kExpect + content_length(kBodyLimit + 1))).status,
      413);
}

TEST_F(ExpectContinue, WithoutABodyIsAnsweredAtOnce) {
  EXPECT_EQ(answer_to(header("GET /v1", kExpect)).status, 200);
}

TEST_F(ExpectContinue, OfAnythingElseIsRefused) {
  expect_refusal(call_header(kProbe, "count", "Expect: 200-ok\r\n" + content_length(2)), 417,
                 "the only expectation known is 100-continue");
  EXPECT_EQ(count(), 1);
}

}  // namespace
}  // namespace korvane::test
