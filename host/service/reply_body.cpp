#include "host/service/reply_body.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvane::host {

namespace {

/// Bodies up to here are small: they leave in one piece, and do not count among those that are
/// held.
constexpr std::uint64_t kSmallBody = 64U << 10U;
/// Texts up to here are kept as they were written. Larger ones may be many times their record.
constexpr std::uint64_t kKeptText = 8U << 20U;

/// A text as it is written, in blocks: one that grew would be moved again and again.
class TextBlocks {
 public:
  void add(std::string_view piece) {
    while (!piece.empty()) {
      if (blocks_.back().size() == kSmallBody) blocks_.emplace_back().reserve(kSmallBody);
      std::string& block = blocks_.back();
      const std::string_view part = piece.substr(0, kSmallBody - block.size());
      block += part;
      piece.remove_prefix(part.size());
    }
  }
  void write(const HttpReply::Write& write) const {
    for (const std::string& block : blocks_) write(block);
  }
  /// The text of no more than one block.
  std::string take_small() { return std::move(blocks_.front()); }
  void clear() { blocks_ = std::vector<std::string>(1); }

 private:
  /// The first grows as it is filled: most texts are small.
  std::vector<std::string> blocks_ = std::vector<std::string>(1);
};

}  // namespace

void set_body(HttpReply& reply, bond::blob bytes) {
  if (bytes.size() <= kSmallBody) {
    reply.body.assign(bytes.content(), bytes.size());
    return;
  }
  reply.streamed_bytes = bytes.size();
  reply.stream_body = [bytes = std::move(bytes)](const HttpReply::Write& write) {
    write({bytes.content(), bytes.size()});
  };
}

void set_json_body(HttpReply& reply, std::shared_ptr<const krv::rpc4::Reply> record) {
  auto text = std::make_shared<TextBlocks>();
  std::uint64_t length = 0;
  // Of a text that is not kept this tells the length, and whether JSON can say it at all.
  const auto add = [&](std::string_view piece) {
    length += piece.size();
    length <= kKeptText ? text->add(piece) : text->clear();
  };
  record->write_json(add);
  add("\n");
  if (length <= kSmallBody) {
    reply.body = text->take_small();
    return;
  }
  reply.streamed_bytes = length;
  if (length <= kKeptText) {
    reply.stream_body = [text](const HttpReply::Write& write) { text->write(write); };
    return;
  }
  reply.stream_body = [record = std::move(record)](const HttpReply::Write& write) {
    record->write_json(write);
    write("\n");
  };
}

}  // namespace korvane::host
