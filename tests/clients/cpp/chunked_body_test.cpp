#include "clients/cpp/chunked_body.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include <Poco/Exception.h>
#include <gtest/gtest.h>

namespace korvane::client {
namespace {

/// A connection that ends after a text, and gives `piece_bytes` of it at a time.
class TextSource : public ByteSource {
 public:
  TextSource(std::string text, std::size_t piece_bytes)
      : text_(std::move(text)), piece_bytes_(piece_bytes) {}

  int take_byte() override {
    char byte = 0;
    return take_bytes(&byte, 1) == 0 ? -1 : static_cast<unsigned char>(byte);
  }
  std::size_t take_bytes(char* into, std::size_t most) override {
    const std::size_t taken = text_.copy(into, std::min(most, piece_bytes_));
    text_.erase(0, taken);
    return taken;
  }

  const std::string& left() const { return text_; }

 private:
  std::string text_;
  std::size_t piece_bytes_;
};

/// The body, or how reading it fails.
std::string read_from(ByteSource& source) {
  std::string body;
  try {
    read_chunked(source, [&](std::string_view piece) { body += piece; });
  } catch (const Poco::Exception& failure) {
    return failure.message();
  }
  return body;
}

std::string read(const std::string& chunks) {
  TextSource source(chunks, 1U << 20U);
  return read_from(source);
}

TEST(ChunkedBody, IsReadWithExtensionsAndTrailers) {
  EXPECT_EQ(read("3\r\nabc\r\n00A;name=value\r\n0123456789\r\n0\r\nEnd: yes\r\n\r\n"),
            "abc0123456789");
  EXPECT_EQ(read("0\r\n\r\n"), "");
}

TEST(ChunkedBody, IsReadInPiecesOfAnySize) {
  const std::string text(100'000, 'x');
  for (const std::size_t piece_bytes : {1U, 7U, 200'000U}) {
    TextSource source("186a0\r\n" + text + "\r\n0\r\n\r\n", piece_bytes);
    EXPECT_EQ(read_from(source), text) << piece_bytes;
  }
}

TEST(ChunkedBody, LeavesWhatIsAfterIt) {
  TextSource source("3\r\nabc\r\n0\r\nEnd: yes\r\n\r\nHTTP/1.1 200 OK", 4);
  EXPECT_EQ(read_from(source), "abc");
  EXPECT_EQ(source.left(), "HTTP/1.1 200 OK");
}

TEST(ChunkedBody, IsNotTakenForWholeWhereverItBreaksOff) {
  const std::string whole = "3\r\nabc\r\n2\r\nde\r\n0\r\nEnd: yes\r\n\r\n";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(read(whole.substr(0, length)), "the reply broke off") << length;
  }
  EXPECT_EQ(read(whole), "abcde");
}

TEST(ChunkedBody, IsRefusedWhereALengthIsNotANumber) {
  for (const std::string length : {"", "-1", "+3", "3x", "0x3", " 3", "11112222333344445"}) {
    EXPECT_EQ(read(length + "\r\nabc\r\n0\r\n\r\n"),
              "the length of a chunk is not a hexadecimal number")
        << length;
  }
}

TEST(ChunkedBody, IsRefusedWhereAChunkIsLongerThanItSays) {
  EXPECT_EQ(read("2\r\nabc\r\n0\r\n\r\n"), "a chunk of the reply is longer than it says");
}

TEST(ChunkedBody, IsRefusedWhereALineHasNoEnd) {
  EXPECT_EQ(read("3;" + std::string(20'000, 'x')),
            "the lines between the chunks of a reply are too long");
}

TEST(ChunkedBody, IsRefusedWhereTheTrailersHaveNoEnd) {
  std::string chunks = "0\r\n";
  for (int i = 0; i < 20; ++i) chunks += std::string(1'000, 'x') + "\r\n";
  EXPECT_EQ(read(chunks), "the lines between the chunks of a reply are too long");
}

}  // namespace
}  // namespace korvane::client
