#include "host/http/coding.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>
#include <vector>
#include <zlib.h>

#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>

namespace korvane::host {

namespace {

/// A schedule in JSON becomes an eighteenth; the best level would save a tenth of that and take four
/// times as long.
constexpr int kLevel = 4;
/// Of zlib's: the largest window, and 16 for the header of gzip.
constexpr int kWindowBits = 15 + 16;
constexpr int kMemoryLevel = 8;
/// Bytes that are sent at a time.
constexpr std::size_t kChunk = 32U << 10U;

std::string hexadecimal(std::size_t number) {
  std::string text;
  do {
    text.insert(text.begin(), "0123456789abcdef"[number % 16]);
    number /= 16;
  } while (number != 0);
  return text;
}

}  // namespace

bool takes_gzip(const std::string& accept_encoding) {
  std::vector<std::string> elements;
  Poco::Net::MessageHeader::splitElements(accept_encoding, elements);
  double of_all = 0;
  for (const std::string& element : elements) {
    std::string name;
    Poco::Net::NameValueCollection parameters;
    Poco::Net::MessageHeader::splitParameters(element, name, parameters);
    double weight = 1;
    Poco::NumberParser::tryParseFloat(parameters.get("q", "1"), weight);
    name = Poco::toLower(Poco::trim(name));
    if (name == "gzip" || name == "x-gzip") return weight > 0;
    if (name == "*") of_all = weight;
  }
  return of_all > 0;
}

bool is_compressible(const std::string& media_type) {
  static constexpr std::array kTypes = {"application/json", "application/problem+json",
                                        "application/x-ndjson", "image/svg+xml"};
  if (std::find(kTypes.begin(), kTypes.end(), media_type) != kTypes.end()) return true;
  const std::string name = Poco::toLower(media_type.substr(0, media_type.find(';')));
  if (name == "text/event-stream") return false;  // or events would wait for others
  return name.starts_with("text/") || std::find(kTypes.begin(), kTypes.end(), name) != kTypes.end();
}

struct GzipChunks::Impl {
  Impl(std::string head, Send its_send) : out(std::move(head)), send(std::move(its_send)) {
    if (deflateInit2(&stream, kLevel, Z_DEFLATED, kWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
      throw std::bad_alloc();
    }
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() { deflateEnd(&stream); }

  /// Compresses `piece`, and sends what has become whole chunks of it; all where `flush` ends it.
  void add(std::string_view piece, int flush) {
    // zlib takes what it only reads as not constant.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
    stream.avail_in = static_cast<uInt>(piece.size());
    do {
      stream.next_out = chunk.data() + filled;
      stream.avail_out = static_cast<uInt>(chunk.size() - filled);
      deflate(&stream, flush);
      filled = chunk.size() - stream.avail_out;
      if (filled == chunk.size()) {
        frame_chunk();
        send(std::exchange(out, {}));
      }
    } while (stream.avail_in != 0 || (flush == Z_FINISH && stream.avail_out == 0));
  }

  void frame_chunk() {
    if (filled == 0) return;
    out += hexadecimal(filled) + "\r\n";
    out.append(reinterpret_cast<const char*>(chunk.data()), filled);
    out += "\r\n";
    filled = 0;
  }

  z_stream stream{};
  std::array<Bytef, kChunk> chunk{};
  std::size_t filled = 0;
  /// What goes before the next chunk.
  std::string out;
  const Send send;
};

GzipChunks::GzipChunks(std::string head, Send send)
    : impl_(std::make_unique<Impl>(std::move(head), std::move(send))) {}

GzipChunks::~GzipChunks() = default;

void GzipChunks::write(std::string_view piece) {
  constexpr std::size_t kMost = std::size_t{1} << 30U;  // zlib counts in 32 bits
  while (!piece.empty()) {
    impl_->add(piece.substr(0, kMost), Z_NO_FLUSH);
    piece.remove_prefix(std::min(piece.size(), kMost));
  }
}

void GzipChunks::finish() {
  impl_->add({}, Z_FINISH);
  impl_->frame_chunk();
  impl_->out += "0\r\n\r\n";
  impl_->send(std::exchange(impl_->out, {}));
}

}  // namespace korvane::host
