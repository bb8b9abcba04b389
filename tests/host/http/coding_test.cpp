// Replies that are compressed: when, and what comes out.

#include "host/http/coding.h"

#include <cstdint>
#include <sstream>
#include <string>

#include <Poco/InflatingStream.h>
#include <Poco/Net/HTTPChunkedStream.h>
#include <Poco/StreamCopier.h>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using host::GzipChunks;
using host::is_compressible;
using host::takes_gzip;

std::string inflated(const std::string& bytes) {
  std::istringstream stream(bytes);
  Poco::InflatingInputStream inflating(stream, Poco::InflatingStreamBuf::STREAM_GZIP);
  std::string text;
  Poco::StreamCopier::copyToString(inflating, text);
  return text;
}

/// What stands in the chunks of a body, which must end as such.
std::string unchunked(std::string wire) {
  std::string bytes;
  for (;;) {
    const std::size_t line = wire.find("\r\n");
    const std::size_t size = std::stoul(wire.substr(0, line), nullptr, 16);
    wire.erase(0, line + 2);
    if (size == 0) {
      EXPECT_EQ(wire, "\r\n");
      return bytes;
    }
    bytes += wire.substr(0, size);
    EXPECT_EQ(wire.substr(size, 2), "\r\n");
    wire.erase(0, size + 2);
  }
}

TEST(Coding, IsTakenWhereTheClientNamesGzip) {
  EXPECT_TRUE(takes_gzip("gzip"));
  EXPECT_TRUE(takes_gzip("br, GZIP;q=0.5"));
  EXPECT_TRUE(takes_gzip("*"));
  EXPECT_TRUE(takes_gzip("x-gzip"));
}

TEST(Coding, IsNotTakenWhereTheClientDoesNot) {
  EXPECT_FALSE(takes_gzip(""));
  EXPECT_FALSE(takes_gzip("br, deflate, identity"));
  EXPECT_FALSE(takes_gzip("gzip;q=0"));
  EXPECT_FALSE(takes_gzip("gzip;q=0, *"));
  EXPECT_FALSE(takes_gzip("*;q=0"));
}

TEST(Coding, IsForTexts) {
  for (const char* const type : {"application/json", "text/csv; charset=utf-8", "image/svg+xml",
                                 "application/x-ndjson", "TEXT/HTML"}) {
    EXPECT_TRUE(is_compressible(type)) << type;
  }
  for (const char* const type :
       {"application/pdf", "application/x-bond-compact-binary", "application/octet-stream", ""}) {
    EXPECT_FALSE(is_compressible(type)) << type;
  }
}

TEST(GzipChunks, GiveBackWhatWasWritten) {
  for (const std::size_t size : {0, 1, 1000, 32 << 10, 3'000'000}) {
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i) text += std::to_string(i * i * 7919);
    text.resize(size);
    std::string wire;
    GzipChunks chunks("head\r\n\r\n", [&](std::string_view bytes) { wire += bytes; });
    for (std::size_t i = 0; i < size; i += 7777)
      chunks.write(std::string_view(text).substr(i, 7777));
    chunks.finish();
    ASSERT_EQ(wire.substr(0, 8), "head\r\n\r\n");
    EXPECT_TRUE(inflated(unchunked(wire.substr(8))) == text) << size;
  }
}

TEST(GzipChunks, SendASmallTextAtOnce) {
  int count = 0;
  GzipChunks chunks("head", [&](std::string_view) { ++count; });
  chunks.write(std::string(10'000, 'x'));
  chunks.finish();
  EXPECT_EQ(count, 1);
}

TEST(GzipChunks, HaveNoEndWithoutFinish) {
  std::string wire;
  {
    GzipChunks chunks("", [&](std::string_view bytes) { wire += bytes; });
    for (std::int64_t i = 0; i < 300'000; ++i) chunks.write(std::to_string(i * 7919));
  }
  EXPECT_FALSE(wire.ends_with("0\r\n\r\n"));
}

class CompressedReplies : public ServerTest {
 protected:
  HttpAnswer get(const std::string& target, const HttpFields& fields = {}) {
    return client().get(target, fields);
  }
};

const HttpFields kTakesGzip = {{"Accept-Encoding", "gzip, deflate, br"}};

TEST_F(CompressedReplies, AreTheSameText) {
  const HttpAnswer plain = get("/openapi.json");
  const HttpAnswer compressed = get("/openapi.json", kTakesGzip);
  EXPECT_EQ(plain.fields.count("content-encoding"), 0U);
  EXPECT_EQ(compressed.fields.at("content-encoding"), "gzip");
  EXPECT_EQ(compressed.fields.count("content-length"), 0U);
  EXPECT_LT(compressed.body.size(), plain.body.size() / 5);
  EXPECT_TRUE(inflated(compressed.body) == plain.body);
}

TEST_F(CompressedReplies, SayThatTheyDependOnWhatTheClientTakes) {
  EXPECT_EQ(get("/openapi.json").fields.at("vary"), "Accept-Encoding");
}

TEST_F(CompressedReplies, LeaveTheConnectionOpen) {
  HttpClient& one = client();
  EXPECT_EQ(one.get("/openapi.json", kTakesGzip).status, 200);
  EXPECT_EQ(one.get("/v1").status, 200);
}

TEST_F(CompressedReplies, AreNotMadeOfSmallBodies) {
  EXPECT_EQ(get("/healthz/live", kTakesGzip).fields.count("content-encoding"), 0U);
}

TEST_F(CompressedReplies, AreNotSentByHead) {
  const HttpAnswer answer = client().send("HEAD", "/openapi.json", {}, kTakesGzip);
  EXPECT_EQ(answer.fields.count("content-encoding"), 0U);
  EXPECT_NE(answer.fields.at("content-length"), "0");
}

TEST_F(CompressedReplies, AreNotSentToHttp10WhichKnowsNoChunks) {
  RawConnection connection = connect();
  connection.send("GET /openapi.json HTTP/1.0\r\nHost: localhost\r\nAccept-Encoding: gzip\r\n\r\n");
  const std::string all = connection.read_all();
  EXPECT_EQ(all.find("Content-Encoding"), std::string::npos);
  EXPECT_TRUE(all.ends_with("}\n"));
}

}  // namespace
}  // namespace korvane::test
