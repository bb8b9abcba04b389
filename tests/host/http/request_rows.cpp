#include "tests/host/http/request_rows.h"

#include <sstream>
#include <utility>

namespace korvane::test {

namespace {

using Rows = std::vector<RequestRow>;

const std::string kHost = "Host: localhost\r\n";
const std::string kChunked = "Transfer-Encoding: chunked\r\n";

/// The header of a request whose further lines end in CRLF each.
std::string get(const std::string& fields = {}) {
  return "GET / HTTP/1.1\r\n" + kHost + fields + "\r\n";
}
std::string post(const std::string& fields) {
  return "POST / HTTP/1.1\r\n" + kHost + fields + "\r\n";
}
std::string length(std::size_t bytes) {
  return "Content-Length: " + std::to_string(bytes) + "\r\n";
}
std::string sized(const std::string& body) { return post(length(body.size())) + body; }

/// The body in chunks of that many bytes.
std::string chunks(const std::string& body, std::size_t chunk_bytes) {
  std::ostringstream text;
  for (std::size_t begin = 0; begin < body.size(); begin += chunk_bytes) {
    const std::string chunk = body.substr(begin, chunk_bytes);
    text << std::hex << chunk.size() << "\r\n" << chunk << "\r\n";
  }
  return text.str() + "0\r\n\r\n";
}
std::string chunked(const std::string& text) { return post(kChunked) + text; }

std::string text_of(std::size_t bytes) { return std::string(bytes, 'x'); }

/// A row for each of several bytes that have one outcome, numbered from 1.
void add_each(Rows& rows, const std::string& name, const std::vector<std::string>& all,
              const std::string& outcome) {
  int number = 0;
  for (const std::string& bytes : all) {
    rows.push_back({name + std::to_string(++number), bytes, outcome});
  }
}

/// `before`, each of the texts, `after`.
std::vector<std::string> each(const std::string& before, const std::vector<std::string>& texts,
                              const std::string& after) {
  std::vector<std::string> all;
  for (const std::string& text : texts)
    all.push_back(std::string(before).append(text).append(after));
  return all;
}

Rows whole_requests() {
  return {
      {"AGetHasNoBody", get(), "GET /"},
      {"ACallWithoutEitherFramingHasAnEmptyBody", post(""), "POST /"},
      {"ABodyHasItsLength", sized("{}"), "POST / {}"},
      {"ALengthMayBeZero", post(length(0)), "POST /"},
      {"ALengthMayBeginWithZeros", post("Content-Length: 0002\r\n") + "{}", "POST / {}"},
      {"AGetMayHaveABody", get(length(2)) + "{}", "GET / {}"},
      {"ABodyMayHaveAnyBytes", sized(std::string("\0\r\n\xFF", 4)),
       "POST / " + std::string("\0\r\n\xFF", 4)},
      {"AnotherRequestMayFollow", get() + get(), "GET /", get()},
      {"AnotherRequestMayFollowABody", sized("{}") + get(), "POST / {}", get()},
      {"AnotherRequestMayFollowChunks", chunked(chunks("{}", 1)) + get(), "POST / {}", get()},
      {"AnyMethodThatIsATokenIsOne", "M-SEARCH / HTTP/1.1\r\n" + kHost + "\r\n", "M-SEARCH /"},
      {"TheVersionBeforeIsRead", "GET / HTTP/1.0\r\n" + kHost + "\r\n", "GET /"},
      {"TheVersionBeforeMayHaveALength", "POST / HTTP/1.0\r\n" + kHost + length(2) + "\r\n{}",
       "POST / {}"},
      {"LinesMayEndInALineFeedAlone", "GET / HTTP/1.1\nHost: localhost\n\n", "GET /"},
      {"TheLastLineMayEndInALineFeedAlone", "GET / HTTP/1.1\r\nHost: localhost\r\n\n", "GET /"},
      {"AllButTheLastLineMayEndInALineFeedAlone", "GET / HTTP/1.1\nHost: localhost\n\r\n", "GET /"},
      {"EmptyLinesBeforeARequestAreSkipped", "\r\n\r\n\n" + get(), "GET /"},
      {"ACarriageReturnBeforeARequestIsSkipped", "\r" + get(), "GET /"},
      {"AnUnusualTargetIsTaken", "GET /%00\x80\"<> HTTP/1.1\r\n" + kHost + "\r\n",
       "GET /%00\x80\"<>"},
      {"TheServerAsAWholeMayBeTheTarget", "OPTIONS * HTTP/1.1\r\n" + kHost + "\r\n", "OPTIONS *"},
      {"AWholeAddressLeavesItsPath", "GET http://b/c?d HTTP/1.1\r\n" + kHost + "\r\n", "GET /c?d"},
      {"AWholeAddressWithoutAPathLeavesTheRoot", "GET HTTPS://b HTTP/1.1\r\n" + kHost + "\r\n",
       "GET /"},
      {"AWholeAddressWithAQueryAloneLeavesTheRoot", "GET http://b?d HTTP/1.1\r\n" + kHost + "\r\n",
       "GET /?d"},
      {"ExpectingToContinueIsTaken", post("Expect: 100-Continue\r\n" + length(2)) + "{}",
       "POST / {}"},
      {"ExpectingToContinueWithoutABodyIsTaken", get("Expect: 100-continue\r\n"), "GET /"},
      {"AnIdentityIsNoEncoding", post("Content-Encoding: identity\r\n" + length(2)) + "{}",
       "POST / {}"},
      {"NothingIsNoRequest", "", "more"},
      {"EmptyLinesAreNoRequest", "\r\n\r\n\r\n", "more"},
      {"AHeaderWithoutABlankLineIsNotWhole", "GET / HTTP/1.1\r\n" + kHost, "more"},
      {"ABodyShorterThanItsLengthIsNotWhole", post(length(3)) + "{}", "POST /: more"},
      {"ChunksWithoutTheLastAreNotWhole", chunked("2\r\n{}\r\n"), "POST /: more"},
      {"ChunksWithoutTheLastEmptyLineAreNotWhole", chunked("2\r\n{}\r\n0\r\n"), "POST /: more"},
  };
}

Rows request_lines() {
  Rows rows;
  add_each(rows, "AMalformedRequestLineIsRefused",
           each("",
                {"GET /", "GET", "GET  HTTP/1.1", "GET / / HTTP/1.1", "GET  / HTTP/1.1",
                 "GET\t/\tHTTP/1.1", " GET / HTTP/1.1", "GET / HTTP/1.1 ", "G(T / HTTP/1.1",
                 "GET\r\n/ HTTP/1.1", "GET /\t HTTP/1.1", "G\xC4T / HTTP/1.1"},
                "\r\n" + kHost + "\r\n"),
           "400 malformed request line; expected a method, a target and a version");
  int number = 0;
  for (const std::string version :
       {"HTTP/2.0", "HTTP/1.2", "HTTP/0.9", "http/1.1", "HTTP", "1.1"}) {
    rows.push_back({"AnotherVersionIsRefused" + std::to_string(++number),
                    std::string("GET / ").append(version).append("\r\n").append(kHost) + "\r\n",
                    "505 HTTP/1.1 is spoken here, not " + version});
  }
  rows.push_back({"TheNextVersionsPrefaceIsRefused", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n",
                  "505 HTTP/1.1 is spoken here, not HTTP/2.0"});
  rows.push_back(
      {"WhatIsNotHttpIsRefused", "\x16\x03\x01\x02\n\n", "400 control character in the header"});
  add_each(rows, "ATargetThatIsNoPathIsRefused",
           each("GET ", {"v1", "ftp://b/", "http:/b", "://b/", "localhost:80", "*/", "?"},
                " HTTP/1.1\r\n" + kHost + "\r\n"),
           "400 malformed target; expected a path");
  return rows;
}

Rows fields() {
  Rows rows;
  rows.push_back({"AMissingHostIsRefused", "GET / HTTP/1.1\r\n\r\n",
                  "400 expected one Host field in the header"});
  rows.push_back({"AMissingHostOfTheVersionBeforeIsRefused", "GET / HTTP/1.0\r\n\r\n",
                  "400 expected one Host field in the header"});
  rows.push_back({"TwoHostsAreRefused", get("host: localhost\r\n"),
                  "400 expected one Host field in the header"});
  for (const std::string name :
       {"Authorization", "Content-Type", "Idempotency-Key", "If-Match", "Origin"}) {
    const std::string one = name + ": a\r\n";
    std::string letters = name;
    std::erase(letters, '-');
    rows.push_back({"One" + letters + "IsTaken", get(one), "GET /"});
    rows.push_back({"Two" + letters + "FieldsAreRefused", get(one + one),
                    "400 expected no more than one " + name + " in the header"});
  }
  rows.push_back({"TwoContentCodingsAreRefused",
                  get("Content-Encoding: identity\r\nContent-Encoding: gzip\r\n"),
                  "400 expected no more than one Content-Encoding in the header"});
  rows.push_back({"OtherFieldsMayBeRepeated", get("Accept: a\r\nAccept: b\r\n"), "GET /"});
  add_each(rows, "AMalformedFieldIsRefused",
           each("GET / HTTP/1.1\r\n" + kHost,
                {"Content-Length : 2", "no colon", "NoColon", ": no name", " continued",
                 "\tcontinued", "two words: 2", "Field\x80: 2", " "},
                "\r\n\r\n"),
           "400 malformed field in the header; expected a name, a colon and a value");
  rows.push_back({"AContinuedFirstFieldIsRefused", "GET / HTTP/1.1\r\n " + kHost + "\r\n",
                  "400 malformed field in the header; expected a name, a colon and a value"});
  const std::vector<std::string> controls = {std::string("a\0b", 3), "a\rb", "\x1B[2J", "\x7F",
                                             "\r"};
  add_each(rows, "AControlCharacterInAFieldIsRefused",
           each("GET / HTTP/1.1\r\n" + kHost + "Field: ", controls, "\r\n\r\n"),
           "400 control character in the header");
  add_each(rows, "AControlCharacterInATargetIsRefused",
           each("GET /", controls, " HTTP/1.1\r\n" + kHost + "\r\n"),
           "400 control character in the header");
  rows.push_back({"ATabInAFieldIsTaken", get("Field:\ta\tb\t\r\n"), "GET /"});
  rows.push_back({"AnEmptyFieldIsTaken", get("Field:\r\n"), "GET /"});
  rows.push_back({"TheFirstFaultInTheHeaderIsTold", "GET / HTTP/3.0\r\nno colon\r\n\x01\r\n\r\n",
                  "400 malformed field in the header; expected a name, a colon and a value"});
  return rows;
}

Rows framings() {
  Rows rows;
  const std::string both = "400 expected either one Content-Length or one Transfer-Encoding";
  rows.push_back(
      {"ALengthAfterATransferCodingIsRefused", post(kChunked + length(2)) + chunks("{}", 2), both});
  rows.push_back({"ALengthBeforeATransferCodingIsRefused",
                  post(length(2) + kChunked) + chunks("{}", 2), both});
  rows.push_back(
      {"TwoTransferCodingsAreRefused", post(kChunked + kChunked) + chunks("{}", 2), both});
  const std::string one = "400 expected one number as Content-Length";
  rows.push_back({"TwoLengthsAreRefused", post(length(2) + length(3)) + "{}", one});
  rows.push_back({"TwoLengthsAreRefusedEvenIfTheyAgree", post(length(2) + length(2)) + "{}", one});
  rows.push_back({"NoLengthAndAnotherAreRefused", post(length(0) + length(2)) + "{}", one});
  add_each(rows, "ALengthThatIsNotANumberIsRefused",
           each("POST / HTTP/1.1\r\n" + kHost + "Content-Length: ",
                {"-2", "+2", "two", "", "2,2", "2, 2", "2 2", "0x2", "2.0", "2e0", "2a",
                 "18446744073709551616", "99999999999999999999", "=?utf-8?Q?2?="},
                "\r\n\r\n{}"),
           one);
  add_each(rows, "AnUnknownTransferCodingIsRefused",
           each("POST / HTTP/1.1\r\n" + kHost + "Transfer-Encoding: ",
                {"gzip", "gzip, chunked", "chunked, gzip", "identity", "chunked;x=y", "",
                 "chunked, chunked", "=?utf-8?Q?chunked?="},
                "\r\n\r\n" + chunks("{}", 2)),
           "501 the only transfer coding known is chunked");
  rows.push_back({"ATransferCodingOfTheVersionBeforeIsRefused",
                  "POST / HTTP/1.0\r\n" + kHost + kChunked + "\r\n" + chunks("{}", 2),
                  "400 Transfer-Encoding is of HTTP/1.1; expected a Content-Length"});
  rows.push_back({"TheCodingIsReadInAnyCase",
                  post("transfer-ENCODING: Chunked\r\n") + chunks("{}", 2), "POST / {}"});
  add_each(rows, "ACompressedBodyIsRefused",
           each("POST / HTTP/1.1\r\n" + kHost + "Content-Encoding: ",
                {"gzip", "br", "deflate, gzip"}, "\r\n" + length(2) + "\r\n{}"),
           "POST /: 415 the Content-Encoding is not supported; expected none");
  rows.push_back({"AnotherExpectationThanToContinueIsRefused",
                  post("Expect: 200-ok\r\n" + length(2)) + "{}",
                  "POST /: 417 the only expectation known is 100-continue"});
  return rows;
}

Rows lengths_of_headers() {
  const auto line = [](std::size_t bytes) {  // without the line feed
    const std::string others = "GET / HTTP/1.1\r";
    return "GET /" + text_of(bytes - others.size()) + " HTTP/1.1\r\n";
  };
  const auto header = [](std::size_t bytes) {
    return get("Field: " + text_of(bytes - get("Field: \r\n").size()) + "\r\n");
  };
  const auto many = [](std::size_t count) {
    std::string lines;
    for (std::size_t i = 1; i < count; ++i) lines += "F: x\r\n";
    return get(lines);
  };
  const host::RequestLimits small = {.header_bytes = 500, .body_bytes = 1000};
  const std::string long_line = "414 the request line is longer than 16384 bytes";
  const std::string long_header = "431 the header is longer than 500 bytes";
  return {
      {"ARequestLineAtItsLimitIsTaken", line(16'384) + kHost + "\r\n", "GET (16370 bytes)"},
      {"ARequestLineBeyondItIsRefused", line(16'385) + kHost + "\r\n", long_line},
      {"ARequestLineBeyondItIsRefusedBeforeItEnds", line(16'900).substr(0, 16'385), long_line},
      {"AnEndlessRequestLineIsRefused", "GET /" + text_of(40'000), long_line},
      {"AnEndlessLineAfterTheFirstIsRefused", "GET / HTTP/1.1\r\nField: " + text_of(40'000),
       "431 the header is longer than 17000 bytes"},
      {"AHeaderBelowItsLimitIsTaken", header(499), "GET /", "", small},
      {"AHeaderAtItsLimitIsTaken", header(500), "GET /", "", small},
      {"AHeaderAtItsLimitMayBeFollowed", header(500) + get(), "GET /", get(), small},
      {"AHeaderBeyondItsLimitIsRefused", header(501), long_header, "", small},
      {"AHeaderBeyondItsLimitIsRefusedBeforeItEnds", header(900).substr(0, 501), long_header, "",
       small},
      {"AHeaderBeyondItsLimitIsRefusedInItsFirstLineToo", line(600), long_header, "", small},
      {"ARequestLineLongerThanAHeaderMayBeIsRefusedAsAHeader",
       line(16'400),
       "431 the header is longer than 16384 bytes",
       "",
       {.header_bytes = 16'384, .body_bytes = 1000}},
      {"ALongHeaderIsRefusedForThatFirst", "no request line\r\n" + text_of(600) + "\r\n\r\n",
       long_header, "", small},
      {"EmptyLinesBeforeAHeaderDoNotCount", "\r\n\r\n\r\n" + header(500), "GET /", "", small},
      {"AHundredFieldsAreTaken", many(100), "GET /"},
      {"MoreThanAHundredFieldsAreRefused", many(101), "431 the header has more than 100 fields"},
      {"LongAndManyFieldsAreTaken",
       many(90).substr(0, many(90).size() - 2) + "Field: " + text_of(15'000) + "\r\n\r\n", "GET /"},
  };
}

Rows lengths_of_bodies() {
  const std::string limit = "POST /: 413 the body is longer than 1000 bytes";
  return {
      {"ABodyBelowItsLimitIsTaken", sized(text_of(999)), "POST / (999 bytes)"},
      {"ABodyAtItsLimitIsTaken", sized(text_of(1000)), "POST / (1000 bytes)"},
      {"ABodyBeyondItsLimitIsRefused", sized(text_of(1001)), limit},
      {"ABodyBeyondItsLimitIsRefusedByItsLength", post(length(1001)), limit},
      {"AnEndlessBodyIsRefusedByItsLength", post("Content-Length: 18446744073709551615\r\n") + "{}",
       limit},
      {"AChunkedBodyBelowItsLimitIsTaken", chunked(chunks(text_of(999), 100)),
       "POST / (999 bytes)"},
      {"AChunkedBodyAtItsLimitIsTaken", chunked(chunks(text_of(1000), 100)), "POST / (1000 bytes)"},
      {"AChunkedBodyBeyondItsLimitIsRefused", chunked(chunks(text_of(1001), 100)), limit},
      {"AChunkAtTheLimitIsTaken", chunked(chunks(text_of(1000), 1000)), "POST / (1000 bytes)"},
      {"AChunkBeyondTheLimitIsRefusedByItsSize", chunked("3E9\r\n"), limit},
      {"AChunkThatMakesTheBodyTooLongIsRefusedByItsSize", chunked("2\r\n{}\r\n3E7\r\n"), limit},
      {"AChunkWhoseSizeWrapsTheSumIsRefused", chunked("2\r\n{}\r\nFFFFFFFFFFFFFFFF\r\n"), limit},
      {"AChunkWhoseSizeWrapsTheSumToItsLimitIsRefused",
       chunked("10\r\n" + text_of(16) + "\r\nFFFFFFFFFFFFFFF0\r\n"), limit},
      {"AnEndlessChunkIsRefused", chunked("FFFFFFFFFFFFFFFF\r\n{}"), limit},
  };
}

Rows chunked_bodies() {
  Rows rows = {
      {"ChunksMayHaveExtensionsAndTrailers",
       chunked("2;name=value\r\n{}\r\n000;last\r\nChecksum: 1\r\nAnother: 2\r\n\r\n"), "POST / {}"},
      {"ChunkSizesAreHexadecimalInEitherCase",
       chunked("a\r\n0123456789\r\nB\r\n0123456789a\r\n0\r\n\r\n"), "POST / 01234567890123456789a"},
      {"ChunkSizesMayBeginWithZeros", chunked("00000000000000000002\r\n{}\r\n0\r\n\r\n"),
       "POST / {}"},
      {"ChunkSizesMayHaveBlanksAround", chunked("\t2 ;a\r\n{}\r\n0 \r\n\r\n"), "POST / {}"},
      {"AChunkedBodyMayBeEmpty", chunked("0\r\n\r\n"), "POST /"},
      {"ATrailerIsNotLookedInto", chunked("0\r\nno colon\r\n\r\n"), "POST /"},
  };
  const std::string text = "0123456789abcdef0123";
  for (const std::size_t bytes : {1U, 2U, 7U, 19U, 20U, 21U}) {
    rows.push_back({"ChunksAreJoined" + std::to_string(bytes), chunked(chunks(text, bytes)),
                    "POST / " + text});
  }
  add_each(rows, "AMalformedChunkSizeIsRefused",
           each(post(kChunked),
                {"", "x", "-1", "+2", "0x2", "2 2", "2,2", "10000000000000000", ";2", "two", "2g"},
                "\r\n{}\r\n0\r\n\r\n"),
           "POST /: 400 malformed chunk size in the body");
  add_each(rows, "AChunkLongerThanItsSizeIsRefused",
           {chunked("2\r\n{} \r\n0\r\n\r\n"), chunked("2\r\n{}0\r\n\r\n")},
           "POST /: 400 a chunk is longer than its size");
  add_each(rows, "AControlCharacterInALineOfAChunkedBodyIsRefused",
           each(post(kChunked),
                {std::string("2;a\0b\r\n{}\r\n0\r\n\r\n", 16), "2\n0\r\n{}\r\n0\r\n\r\n",
                 "2\r0\r\n{}\r\n0\r\n\r\n", "2\r\r\n{}\r\n0\r\n\r\n",
                 "2\r\n{}\r\n0\r\nField: \x1B[2J\r\n\r\n", "2\r\n{}\n0\r\n\r\n"},
                ""),
           "POST /: 400 control character in a line of the chunked body");
  const std::string long_line = "POST /: 400 a line of the chunked body is too long";
  const host::RequestLimits small = {.header_bytes = 500, .body_bytes = 1000};
  const auto trailer = [](std::size_t bytes) {
    return "0\r\n" + text_of(250) + "\r\n" + text_of(bytes - 250) + "\r\n\r\n";
  };
  const Rows long_ones = {
      {"ALineOfAChunkedBodyAtItsLimitIsTaken",
       chunked("2;" + text_of(8188) + "\r\n{}\r\n0\r\n\r\n"), "POST / {}"},
      {"ALineOfAChunkedBodyBeyondItIsRefused",
       chunked("2;" + text_of(8189) + "\r\n{}\r\n0\r\n\r\n"), long_line},
      {"AnEndlessLineOfAChunkedBodyIsRefused", chunked("2;" + text_of(9000)), long_line},
      {"AnEndlessLineAfterAChunkIsRefused", chunked("2\r\n{}" + text_of(9000)), long_line},
      {"ATrailerAtItsLimitIsTaken", chunked(trailer(500)), "POST /", "", small},
      {"ATrailerBeyondItsLimitIsRefused", chunked(trailer(501)),
       "POST /: 431 the trailer is too long", "", small},
  };
  rows.insert(rows.end(), long_ones.begin(), long_ones.end());
  return rows;
}

}  // namespace

Rows request_rows() {
  Rows rows;
  for (auto* const some : {&whole_requests, &request_lines, &fields, &framings, &lengths_of_headers,
                           &lengths_of_bodies, &chunked_bodies}) {
    for (RequestRow& row : some()) rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace korvane::test
