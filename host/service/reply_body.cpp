#include "host/service/reply_body.h"

#include <cstdint>
#include <string_view>
#include <utility>

namespace korvane::host {

namespace {

/// Bodies up to here are small: they leave in one piece, and do not count among those that are
/// held.
constexpr std::uint64_t kSmallBody = 64U << 10U;

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
  // Written to nobody first: that tells its length, and whether JSON can say it at all.
  std::uint64_t length = 1;
  record->write_json([&](std::string_view piece) {
    length += piece.size();
    if (length <= kSmallBody) reply.body += piece;
  });
  if (length <= kSmallBody) {
    reply.body += '\n';
    return;
  }
  reply.body = {};
  reply.streamed_bytes = length;
  reply.stream_body = [record = std::move(record)](const HttpReply::Write& write) {
    record->write_json(write);
    write("\n");
  };
}

}  // namespace korvane::host
