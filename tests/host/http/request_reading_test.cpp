// How requests are read, byte by byte: what is no HTTP, what is too large, and where a body ends.

#include <sstream>
#include <string>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

constexpr std::size_t kBodyLimit = 1000;

host::ModelServerLimits small_bodies() {
  host::ModelServerLimits limits;
  limits.http.body_bytes = kBodyLimit;
  return limits;
}

/// A body of that length that lets the probe count.
std::string body_of(std::size_t length) {
  std::string body = R"({"value_int32":0})";
  body.resize(length, ' ');
  return body;
}

/// The body in chunks of that many bytes.
std::string chunked(const std::string& body, std::size_t chunk_bytes) {
  std::ostringstream chunks;
  for (std::size_t begin = 0; begin < body.size(); begin += chunk_bytes) {
    const std::string chunk = body.substr(begin, chunk_bytes);
    chunks << std::hex << chunk.size() << "\r\n" << chunk << "\r\n";
  }
  chunks << "0\r\n\r\n";
  return chunks.str();
}

class RequestReading : public ServerTest {
 protected:
  RequestReading() : ServerTest(small_bodies()) {}

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

  static std::string sleep_header(const std::string& framing) {
    return call_header(kProbe, "sleep", framing);
  }
  int count() { return client().call(kProbe, "count").json().at("value_int32"); }
};

using BodyLimit = RequestReading;

TEST_F(BodyLimit, ABodyBelowItIsTaken) {
  const std::string body = body_of(kBodyLimit - 1);
  EXPECT_EQ(answer_to(sleep_header(content_length(body.size())) + body).status, 200);
}

TEST_F(BodyLimit, ABodyAtItIsTaken) {
  const std::string body = body_of(kBodyLimit);
  EXPECT_EQ(answer_to(sleep_header(content_length(body.size())) + body).status, 200);
}

TEST_F(BodyLimit, ABodyBeyondItIsRefused) {
  const std::string body = body_of(kBodyLimit + 1);
  expect_refusal(sleep_header(content_length(body.size())) + body, 413,
                 "the body is longer than 1000 bytes");
  EXPECT_EQ(count(), 1);
}

TEST_F(BodyLimit, AChunkedBodyBelowItIsTaken) {
  EXPECT_EQ(answer_to(sleep_header(kChunkedField) + chunked(body_of(kBodyLimit - 1), 100)).status,
            200);
}

TEST_F(BodyLimit, AChunkedBodyAtItIsTaken) {
  EXPECT_EQ(answer_to(sleep_header(kChunkedField) + chunked(body_of(kBodyLimit), 100)).status, 200);
}

TEST_F(BodyLimit, AChunkedBodyBeyondItIsRefused) {
  expect_refusal(sleep_header(kChunkedField) + chunked(body_of(kBodyLimit + 1), 100), 413,
                 "the body is longer than 1000 bytes");
  EXPECT_EQ(count(), 1);
}

TEST_F(BodyLimit, AChunkBeyondItIsRefusedByItsSize) {
  expect_refusal(sleep_header(kChunkedField) + "3E9\r\n", 413,
                 "the body is longer than 1000 bytes");
}

TEST_F(BodyLimit, AnEndlessBodyIsRefusedByItsLength) {
  expect_refusal(sleep_header("Content-Length: 1000000000000000\r\n"), 413,
                 "the body is longer than 1000 bytes");
}

TEST_F(BodyLimit, WhoIsStillSendingGetsToReadTheRefusal) {
  auto connection = connect();
  connection.send(sleep_header(content_length(4'000'000)));
  // More than the sockets' buffers hold: the sender stands still unless it is read.
  connection.send(std::string(4'000'000, ' '));
  EXPECT_EQ(connection.read_answer().status, 413);
}

using ChunkedBodies = RequestReading;

TEST_F(ChunkedBodies, AreJoined) {
  const std::string body = R"({"value_int32":0})";
  for (std::size_t chunk_bytes = 1; chunk_bytes <= body.size(); ++chunk_bytes) {
    EXPECT_EQ(answer_to(sleep_header(kChunkedField) + chunked(body, chunk_bytes)).status, 200);
  }
}

TEST_F(ChunkedBodies, MayHaveExtensionsAndTrailers) {
  const std::string text = "2;name=value\r\n{}\r\n000;last\r\nChecksum: 1\r\nAnother: 2\r\n\r\n";
  EXPECT_EQ(answer_to(call_header(kProbe, "count", kChunkedField) + text).status, 200);
}

TEST_F(ChunkedBodies, SizesAreHexadecimalInEitherCase) {
  EXPECT_EQ(answer_to(call_header(kProbe, "count", kChunkedField) + "a\r\n{}        \r\nB\r\n" +
                      std::string(11, ' ') + "\r\n0\r\n\r\n")
                .status,
            200);
}

TEST_F(ChunkedBodies, TheCodingIsReadInAnyCase) {
  EXPECT_EQ(
      answer_to(call_header(kProbe, "count", "transfer-ENCODING: Chunked\r\n") + chunked("{}", 2))
          .status,
      200);
}

TEST_F(ChunkedBodies, AMalformedSizeIsRefused) {
  for (const char* const size :
       {"", "x", "-1", "+2", "0x2", "2 2", "2,2", "10000000000000000", ";2", "two"}) {
    expect_refusal(call_header(kProbe, "count", kChunkedField) + size + "\r\n{}\r\n0\r\n\r\n", 400,
                   "malformed chunk size in the body");
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(ChunkedBodies, AChunkLongerThanItsSizeIsRefused) {
  expect_refusal(call_header(kProbe, "count", kChunkedField) + "2\r\n{} \r\n0\r\n\r\n", 400,
                 "a chunk is longer than its size");
}

TEST_F(ChunkedBodies, AControlCharacterInALineIsRefused) {
  for (const std::string& body :
       {std::string("2;a\0b\r\n{}\r\n0\r\n\r\n", 16), std::string("2\n0\r\n{}\r\n0\r\n\r\n"),
        std::string("2\r0\r\n{}\r\n0\r\n\r\n"),
        std::string("2\r\n{}\r\n0\r\nField: \x1B[2J\r\n\r\n")}) {
    expect_refusal(call_header(kProbe, "count", kChunkedField) + body, 400,
                   "control character in a line of the chunked body");
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(ChunkedBodies, AnEndlessLineIsRefused) {
  expect_refusal(call_header(kProbe, "count", kChunkedField) + "2;" + std::string(9000, 'x'), 400,
                 "a line of the chunked body is too long");
}

TEST_F(ChunkedBodies, AnEndlessTrailerIsRefused) {
  std::string trailer;
  while (trailer.size() < 70'000) trailer += "Field: " + std::string(1000, 'x') + "\r\n";
  expect_refusal(call_header(kProbe, "count", kChunkedField) + "2\r\n{}\r\n0\r\n" + trailer, 431,
                 "the trailer is too long");
}

class BrokenOffBodies : public RequestReading {
 protected:
  /// Says `text` and no more.
  HttpAnswer answer_to_the_end_after(const std::string& text) {
    auto connection = connect();
    connection.send(text);
    connection.end();
    return connection.read_answer();
  }
  const std::string& project() const { return project_; }
  std::size_t sheets() { return client().call(project_, "list_sheets").json().at("items").size(); }

 private:
  std::string project_ = server().open("project.db");
};

TEST_F(BrokenOffBodies, StoreNothingWhereverALengthIsNotReached) {
  const std::string body = R"({"name":"a"})";
  for (std::size_t length = 0; length < body.size(); ++length) {
    const HttpAnswer answer = answer_to_the_end_after(
        call_header(project(), "create_sheet", content_length(body.size())) +
        body.substr(0, length));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.detail(), "the body broke off");
  }
  EXPECT_EQ(sheets(), 0U);
}

TEST_F(BrokenOffBodies, StoreNothingWhereverChunksBreakOff) {
  // The first chunk is a request for itself.
  const std::string body = "0B\r\n{\"name\":\"\"}\r\n1\r\n \r\n0\r\n\r\n";
  for (std::size_t length = 0; length < body.size(); ++length) {
    const HttpAnswer answer = answer_to_the_end_after(
        call_header(project(), "create_sheet", kChunkedField) + body.substr(0, length));
    EXPECT_EQ(answer.status, 400) << length;
    EXPECT_EQ(answer.detail(), "the body broke off");
  }
  EXPECT_EQ(sheets(), 0U);
  EXPECT_EQ(
      answer_to_the_end_after(call_header(project(), "create_sheet", kChunkedField) + body).status,
      200);
  EXPECT_EQ(sheets(), 1U);
}

TEST_F(BrokenOffBodies, LeaveTheServerAsItWas) {
  for (int i = 0; i < 20; ++i) {
    auto connection = connect();
    connection.send(call_header(project(), "create_sheet", content_length(100)) + "{");
    connection.reset();
  }
  EXPECT_EQ(sheets(), 0U);
  wait_until([&] { return metric_now("korvane_connections") == 2; });
}

using HeaderLimits = RequestReading;

TEST_F(HeaderLimits, ARequestLineThatIsTooLongIsRefused) {
  expect_refusal("GET /" + std::string(17'000, 'x'), 414,
                 "the request line is longer than 16384 bytes");
}

TEST_F(HeaderLimits, ALongRequestLineIsTaken) {
  EXPECT_EQ(answer_to(header("GET /v1?" + std::string(16'000, 'x'))).status, 200);
}

TEST_F(HeaderLimits, AHeaderThatIsTooLargeIsRefused) {
  std::string fields;
  while (fields.size() < 66'000) fields += "Field: " + std::string(1000, 'x') + "\r\n";
  expect_refusal("GET /v1 HTTP/1.1\r\n" + fields, 431, "the header is longer than 65536 bytes");
}

TEST_F(HeaderLimits, ALargeHeaderIsTaken) {
  std::string fields;
  while (fields.size() < 64'000) fields += "Field: " + std::string(1000, 'x') + "\r\n";
  EXPECT_EQ(answer_to(header("GET /v1", fields)).status, 200);
}

TEST_F(HeaderLimits, LongAndManyFieldsAreTaken) {
  std::string fields = "Field: " + std::string(30'000, 'x') + "\r\n";
  for (int i = 0; i < 90; ++i) fields += "F: x\r\n";
  EXPECT_EQ(answer_to(header("GET /v1", fields)).status, 200);
}

TEST_F(HeaderLimits, TooManyFieldsAreRefused) {
  std::string fields;
  for (int i = 0; i < 100; ++i) fields += "F: x\r\n";
  expect_refusal(header("GET /v1", fields), 431, "the header has more than 100 fields");
}

class SmallHeaderLimit : public ServerTest {
 protected:
  static constexpr std::size_t kLimit = 500;

  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.http.header_bytes = kLimit;
    return limits;
  }
  SmallHeaderLimit() : ServerTest(limits()) {}

  static std::string header_of(std::size_t bytes) {
    const std::size_t others = header("GET /v1", "Field: \r\n").size();
    return header("GET /v1", "Field: " + std::string(bytes - others, 'x') + "\r\n");
  }
};

TEST_F(SmallHeaderLimit, IsExact) {
  auto connection = connect();
  connection.send(header_of(kLimit - 1));
  EXPECT_EQ(connection.read_answer().status, 200);
  connection.send(header_of(kLimit));
  EXPECT_EQ(connection.read_answer().status, 200);
  connection.send(header_of(kLimit + 1));
  EXPECT_EQ(connection.read_answer().status, 431);
}

using Framing = RequestReading;

TEST_F(Framing, ALengthBesideATransferCodingIsRefused) {
  for (const std::string& fields :
       {kChunkedField + content_length(2), content_length(2) + kChunkedField}) {
    expect_refusal(call_header(kProbe, "count", fields) + chunked("{}", 2), 400,
                   "expected either one Content-Length or one Transfer-Encoding");
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, TwoTransferCodingsAreRefused) {
  expect_refusal(
      call_header(kProbe, "count", std::string(kChunkedField) + kChunkedField) + chunked("{}", 2),
      400, "expected either one Content-Length or one Transfer-Encoding");
}

TEST_F(Framing, TwoLengthsAreRefusedEvenIfTheyAgree) {
  for (const std::size_t second : {2U, 3U}) {
    expect_refusal(call_header(kProbe, "count", content_length(2) + content_length(second)) + "{}",
                   400, "expected one number as Content-Length");
  }
}

TEST_F(Framing, WhatFollowsTwoLengthsIsNoRequestOfItsOwn) {
  const std::string hidden = "GET /healthz/live HTTP/1.1\r\nHost: localhost\r\n\r\n";
  for (const char* const path : {"/healthz/live", "/nothing", "/v1"}) {
    for (const std::string& lengths : {content_length(0) + content_length(hidden.size()),
                                       content_length(hidden.size()) + content_length(0)}) {
      RawConnection connection = connect();
      connection.send(std::string("GET ") + path + " HTTP/1.1\r\nHost: localhost\r\n" + lengths +
                      "\r\n" + hidden);
      const std::string answers = connection.read_all();
      EXPECT_THAT(answers, ::testing::StartsWith("HTTP/1.1 400 "));
      EXPECT_EQ(answers.find("live\n"), std::string::npos);
    }
  }
}

TEST_F(Framing, ALengthThatIsNoNumberIsRefused) {
  for (const char* const length : {"-2", "+2", "two", "", "2,2", "2 2", "0x2", "2.0", "2e0",
                                   "18446744073709551616", "=?utf-8?Q?2?="}) {
    expect_refusal(
        call_header(kProbe, "count", std::string("Content-Length: ") + length + "\r\n") + "{}", 400,
        "expected one number as Content-Length");
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, AnUnknownTransferCodingIsRefused) {
  for (const char* const coding : {"gzip", "gzip, chunked", "chunked, gzip", "identity",
                                   "chunked;x=y", "=?utf-8?Q?chunked?="}) {
    expect_refusal(
        call_header(kProbe, "count", std::string("Transfer-Encoding: ") + coding + "\r\n") +
            chunked("{}", 2),
        501, "the only transfer coding known is chunked");
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, ATransferCodingOfHttp10IsRefused) {
  expect_refusal("POST " + path_of(kProbe, "count") +
                     " HTTP/1.0\r\nHost: localhost\r\nContent-Type: application/json\r\n" +
                     kChunkedField + "\r\n" + chunked("{}", 2),
                 400, "Transfer-Encoding is of HTTP/1.1; expected a Content-Length");
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, ACompressedBodyIsRefusedAndToldWhatIsNot) {
  for (const char* const coding : {"gzip", "br", "deflate, gzip"}) {
    const HttpAnswer answer = last_answer_to(
        call_header(kProbe, "count",
                    std::string("Content-Encoding: ") + coding + "\r\n" + content_length(2)) +
        "{}");
    EXPECT_EQ(answer.status, 415);
    EXPECT_EQ(answer.detail(), "the Content-Encoding is not supported; expected none");
    EXPECT_EQ(answer.fields.at("accept-encoding"), "identity");
  }
  EXPECT_EQ(
      answer_to(call_header(kProbe, "count", "Content-Encoding: identity\r\n" + content_length(2)) +
                "{}")
          .status,
      200);
}

TEST_F(Framing, AnotherExpectationThanToContinueIsRefused) {
  expect_refusal(call_header(kProbe, "count", "Expect: 200-ok\r\n" + content_length(2)) + "{}", 417,
                 "the only expectation known is 100-continue");
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, ARefusalWithoutABodyToReadLeavesTheConnectionOpen) {
  EXPECT_EQ(answer_to(header("GET /nowhere")).status, 404);
  EXPECT_EQ(answer_to(header("DELETE /v1")).status, 405);
  EXPECT_EQ(answer_to(header("POST " + path_of(kProbe, "count"))).status, 415);
  EXPECT_EQ(answer_to(call_text(kProbe, "count", "no JSON")).status, 400);
  EXPECT_EQ(answer_to(header("POST /nowhere", content_length(0))).status, 404);
}

TEST_F(Framing, ARefusedCallsBodyIsNotTakenForARequest) {
  const std::string inner = call_text(kProbe, "count", "{}");
  const HttpAnswer answer = last_answer_to(
      header("POST /nowhere", "Content-Type: application/json\r\n" + content_length(inner.size())) +
      inner);
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, ABodyOfAGetIsReadAndPassedOver) {
  const std::string inner = call_text(kProbe, "count", "{}");
  EXPECT_EQ(answer_to(header("GET /v1", content_length(inner.size())) + inner).status, 200);
  EXPECT_EQ(count(), 1);
}

TEST_F(Framing, ACallWithoutEitherHasAnEmptyBody) {
  EXPECT_EQ(answer_to(call_header(kProbe, "count", "")).status, 400);
}

using Headers = RequestReading;

TEST_F(Headers, OtherVersionsAreRefused) {
  for (const char* const version :
       {"HTTP/2.0", "HTTP/1.2", "HTTP/0.9", "http/1.1", "HTTP", "1.1"}) {
    expect_refusal(std::string("GET /v1 ") + version + "\r\nHost: localhost\r\n\r\n", 505,
                   std::string("HTTP/1.1 is spoken here, not ") + version);
  }
}

TEST_F(Headers, TheNextVersionsPrefaceIsRefused) {
  EXPECT_EQ(last_answer_to("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n").status, 505);
}

TEST_F(Headers, AMalformedRequestLineIsRefused) {
  for (const char* const line : {"GET /v1", "GET", "GET  HTTP/1.1", "GET /v1 /v1 HTTP/1.1",
                                 "GET  /v1 HTTP/1.1", "GET\t/v1\tHTTP/1.1", " GET /v1 HTTP/1.1",
                                 "GET /v1 HTTP/1.1 ", "G(T /v1 HTTP/1.1", "GET\r\n/v1 HTTP/1.1"}) {
    const HttpAnswer answer = last_answer_to(std::string(line) + "\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(answer.status, 400) << line;
    EXPECT_EQ(answer.detail(), "malformed request line; expected a method, a target and a version");
  }
}

TEST_F(Headers, WhatIsNoHttpIsRefused) {
  EXPECT_EQ(last_answer_to("\x16\x03\x01\x02\n\n").status, 400);
}

TEST_F(Headers, AMissingHostIsRefused) {
  for (const char* const version : {"HTTP/1.1", "HTTP/1.0"}) {
    expect_refusal(std::string("GET /v1 ") + version + "\r\n\r\n", 400,
                   "expected one Host field in the header");
  }
}

TEST_F(Headers, TwoHostsAreRefused) {
  expect_refusal(header("GET /v1", "host: localhost\r\n"), 400,
                 "expected one Host field in the header");
}

TEST_F(Headers, WhatNamesTheSenderOrTheFormTwiceIsRefused) {
  for (const char* const field : {"Authorization", "Content-Type", "Origin"}) {
    const std::string name = field;
    expect_refusal(header("GET /v1", name + ": a\r\n" + name + ": a\r\n"), 400,
                   "expected no more than one " + name + " in the header");
  }
}

TEST_F(Headers, AMalformedFieldIsRefused) {
  for (const char* const field : {"Content-Length : 2", "no colon", ": no name", " continued",
                                  "\tcontinued", "two words: 2", "Field\x80: 2"}) {
    expect_refusal(header("GET /v1", std::string(field) + "\r\n"), 400,
                   "malformed field in the header; expected a name, a colon and a value");
  }
}

TEST_F(Headers, ControlCharactersAreRefused) {
  for (const std::string& text :
       {std::string("a\0b", 3), std::string("a\rb"), std::string("\x1B[2J"), std::string("\x7F")}) {
    expect_refusal(header("GET /v1", "Field: " + text + "\r\n"), 400,
                   "control character in the header");
    expect_refusal(header("GET /" + text), 400, "control character in the header");
  }
}

TEST_F(Headers, LinesMayEndInALineFeedAlone) {
  EXPECT_EQ(answer_to("GET /v1 HTTP/1.1\nHost: localhost\n\n").status, 200);
  EXPECT_EQ(answer_to("GET /v1 HTTP/1.1\nHost: localhost\n\r\n").status, 200);
  EXPECT_EQ(answer_to("GET /v1 HTTP/1.1\r\nHost: localhost\r\n\n").status, 200);
}

TEST_F(Headers, EmptyLinesBeforeARequestArePassedOver) {
  EXPECT_EQ(answer_to("\r\n\r\n" + header("GET /v1")).status, 200);
}

TEST_F(Headers, MayComeByteByByte) {
  auto connection = connect();
  for (const char byte : call_text(kProbe, "count", "{}")) {
    connection.send(std::string_view(&byte, 1));
  }
  EXPECT_EQ(connection.read_answer().status, 200);
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
  connection.send(chunked("{}", 1));
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

}  // namespace
}  // namespace korvane::test
