#include "host/service/write_unit.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "host/service/change_stream.h"
#include "host/service/representation.h"
#include "host/service/sql_limits.h"
#include "host/text/digest.h"

namespace korvane::host {

using krv::rpc4::Effect;
using krv::rpc4::Transactional;

namespace {

constexpr std::size_t kLongestKey = 255;

std::string read_key(const std::string& key) {
  const bool is_visible =
      std::all_of(key.begin(), key.end(), [](char c) { return c > ' ' && c < 127; });
  if (key.empty() || key.size() > kLongestKey || !is_visible) {
    throw HttpFault(400, "Idempotency-Key: expected 1 to " + std::to_string(kLongestKey) +
                             " visible ASCII characters, found \"" + key + "\"");
  }
  return key;
}

/// What the request says, all of it that can change what is done or answered.
std::string digest_of(const Call& call, const std::string& body) {
  Digest digest;
  digest.add(call.operation().name);
  for (const auto& [name, value] : call.parameters()) {
    digest.add(name);
    digest.add(value);
  }
  digest.add(call.request().head.get("Content-Type", ""));
  digest.add(call.request().head.get("If-Match", ""));
  digest.add(media_type(call.reply_form()));
  digest.add(body);
  return digest.take();
}

/// As what the call's answer may come.
std::vector<std::string> media_types_of(const Call& call) {
  if (call.mounted() != nullptr) return call.mounted()->reply_types;
  return {std::string(media_type(call.reply_form()))};
}

/// A unit of a service that is taken back unless it is committed.
class Unit {
 public:
  Unit(Transactional& service, SqlFence& fence) : service_(service), fence_(fence) {
    fence_.suspended([&] { service_.begin_unit(); });
  }
  Unit(const Unit&) = delete;
  Unit& operator=(const Unit&) = delete;
  ~Unit() {
    if (has_ended_) return;
    fence_.keep_stop();
    fence_.suspended([&] { service_.roll_back_unit(); });
  }

  void commit() {
    has_ended_ = true;
    fence_.suspended([&] { service_.commit_unit(); });
  }

 private:
  Transactional& service_;
  SqlFence& fence_;
  bool has_ended_ = false;
};

}  // namespace

WriteOptions write_options(const Call& call, const std::string& body) {
  const Effect effect = call.operation().effect;
  const bool writes =
      effect == Effect::writes || (effect == Effect::queries && !is_fenced_query(call));
  if (!writes) return {};
  WriteOptions options;
  options.is_query = effect == Effect::queries;
  options.is_dry_run = call.is_dry_run();
  const Poco::Net::HTTPRequest& head = call.request().head;
  // A dry run of a mounted route is the route's own, which stores nothing.
  const bool stores =
      !call.parameters().contains("dry_run") || call.parameters().at("dry_run") != "true";
  options.may_store = stores && !options.is_dry_run;
  if (head.has("If-Match") && stores) options.if_match = head.get("If-Match");
  if (head.has("Idempotency-Key")) {
    std::string key = read_key(head.get("Idempotency-Key"));
    if (options.may_store) {
      options.key = KeyedRequest{call.client().name, std::move(key), digest_of(call, body),
                                 media_types_of(call)};
    }
  }
  return options;
}

HttpReply run_in_unit(const WriteOptions& options, const krv::rpc4::LiveService& service,
                      SqlFence& fence, const std::function<HttpReply()>& write) {
  if (service.transactional == nullptr) {
    throw HttpFault(400, "the service takes no Idempotency-Key, no If-Match and no dry run");
  }
  Unit unit(*service.transactional, fence);
  KeptAnswers answers(service.transactional->connection());
  std::optional<HttpReply> known;
  if (options.key) fence.suspended([&] { known = answers.find(*options.key); });
  if (known) return *std::move(known);
  const std::string before = options.is_query ? written_so_far(service, fence) : "";
  HttpReply reply = write();
  if (options.is_dry_run) return reply;
  // Even of a query that has written no row: it may have changed a number in the file's header.
  const bool has_written = !options.is_query || written_so_far(service, fence) != before;
  if (options.key && has_written) {
    fence.suspended([&] { answers.keep(*options.key, reply); });
  }
  unit.commit();
  return reply;
}

}  // namespace korvane::host
