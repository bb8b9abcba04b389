#include "host/service/change_stream.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include "host/service/call_turns.h"
#include "host/service/change_feed.h"
#include "host/watch/json_log.h"

namespace korvane::host {

using krv::rpc4::LiveService;
using krv::rpc4::Subject;
using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;

namespace {

/// How often the file is looked at, for what other programs do.
constexpr milliseconds kLookForNews{1000};
/// A comment that often keeps proxies from closing a connection on which nothing happens.
constexpr std::chrono::seconds kBeat{15};
/// What a call has changed is told by entry up to that many, else as a whole.
constexpr std::size_t kMostEntries = 16;

/// How often other connections have committed, as this one sees it; nothing while they do.
std::optional<std::int64_t> data_version(sqlite3* connection) {
  std::optional<std::int64_t> version;
  const auto take = [](void* found, int, char** values, char**) {
    *static_cast<std::optional<std::int64_t>*>(found) = std::stoll(values[0]);
    return 0;
  };
  sqlite3_exec(connection, "PRAGMA data_version", take, &version, nullptr);
  return version;
}

/// Whether that could be asked.
bool look_for_others(ChangeFeed& feed, const std::string& file, const LiveService& service,
                     SqlFence& fence) {
  if (service.transactional == nullptr) return true;
  std::optional<std::int64_t> version;
  fence.suspended([&] { version = data_version(service.transactional->connection()); });
  if (version) feed.saw_version(file, service.serial, *version);
  return version.has_value();
}

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

std::string event(const char* name, const Json& data) {
  return std::string("event: ") + name +
         "\ndata: " + data.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n\n";
}

std::string event_of(const Change& change) {
  return event("change", {{"operation", text_or_null(change.operation)},
                          {"by", text_or_null(change.client)},
                          {"when", log_time(change.when)},
                          {"kind", text_or_null(change.kind)},
                          {"id", change.id ? Json(*change.id) : Json()}});
}

void publish_all(ChangeFeed& feed, const std::string& file, Change change,
                 const std::vector<Subject>& changed) {
  if (changed.empty() || changed.size() > kMostEntries) return feed.publish(file, change);
  for (const Subject& entry : changed) {
    change.kind = entry.kind;
    change.id = entry.id;
    feed.publish(file, change);
  }
}

/// One stream, on its connection's thread.
class ChangeStream {
 public:
  ChangeStream(const Call& call, const std::string& file, std::string service_id)
      : call_(call),
        room_(call.room()),
        file_(file),
        service_id_(std::move(service_id)),
        run_(room_.runs.id()),
        watcher_(room_.changes, file) {
    watcher_.looks_changed();
    may_have_missed_ = !look();
  }

  void write(const HttpReply::Write& write) {
    write(event("state", {{"run", run_}, {"project", file_}}));
    auto next_beat = Clock::now() + kBeat;
    while (!call_.request().has_client_gone() && room_.runs.id() == run_) {
      const ChangeFeed::Watcher::News news = watcher_.wait(kLookForNews);
      std::string text;
      if (news.has_missed) text += event("missed", Json::object());
      for (const Change& change : news.changes) text += event_of(change);
      if (text.empty() && Clock::now() >= next_beat) text = ":\n\n";
      if (!text.empty()) {
        write(text);
        next_beat = Clock::now() + kBeat;
      }
      if (news.has_ended) return;
      const bool must_look = watcher_.looks_changed() || may_have_missed_;
      if (must_look && look() && std::exchange(may_have_missed_, false)) {
        write(event("missed", Json::object()));
      }
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  /// Asks the database whether another program has written. False where that cannot be asked now:
  /// whoever of the watchers looks next asks again, as this one may be gone then.
  bool look() {
    const bool has_asked = try_to_look();
    if (!has_asked) watcher_.look_again();
    return has_asked;
  }

  bool try_to_look() {
    try {
      bool has_asked = false;
      const Runs::Stay stay(room_.runs, kLookForNews);
      if (room_.runs.id() != run_) return false;
      CollectedLines lines;
      CallTurns turns(call_, lines);
      turns.set_file(file_);
      SqlFenceLimits limits = room_.limits.call;
      limits.lock_wait = milliseconds(0);
      turns.run(service_id_, limits, nullptr, [&](const LiveService& service, SqlFence& fence) {
        has_asked = look_for_others(room_.changes, file_, service, fence);
        return std::unique_ptr<krv::rpc4::Reply>();
      });
      return has_asked;
    } catch (const std::exception&) {
      return false;
    }
  }

  const Call& call_;
  CallRoom& room_;
  const std::string file_;
  const std::string service_id_;
  const std::string run_;
  ChangeFeed::Watcher watcher_;
  /// The file could not be asked at the beginning: what others wrote until it could is not known.
  bool may_have_missed_ = false;
};

}  // namespace

std::string written_so_far(const LiveService& service, SqlFence& fence) {
  if (service.transactional == nullptr) return {};
  sqlite3* const connection = service.transactional->connection();
  std::string text = std::to_string(sqlite3_total_changes64(connection));
  const auto take = [](void* all, int, char** values, char**) {
    *static_cast<std::string*>(all) += std::string(".") + values[0];
    return 0;
  };
  fence.suspended([&] { sqlite3_exec(connection, "PRAGMA schema_version", take, &text, nullptr); });
  return text;
}

void tell_of_changes(const Call& call, const std::string& file, const LiveService& service,
                     SqlFence& fence, const std::vector<Subject>& changed) {
  ChangeFeed& feed = call.room().changes;
  if (file.empty() || !feed.is_watched(file)) return;
  try {
    look_for_others(feed, file, service, fence);
    const auto now = std::chrono::system_clock::now();
    publish_all(feed, file, {std::string(call.operation().name), call.client().name, {}, {}, now},
                changed);
  } catch (const std::exception&) {
    feed.miss(file);  // what there was no memory to tell is stored all the same
  }
}

HttpReply change_stream(const Call& call, const std::string& file, const std::string& service_id) {
  const auto stream = std::make_shared<ChangeStream>(call, file, service_id);
  HttpReply reply{.content_type = "text/event-stream", .body = {}};
  reply.fields.emplace_back("X-Accel-Buffering", "no");  // nginx would keep events back
  reply.is_endless = true;
  reply.stream_body = [stream](const HttpReply::Write& write) { stream->write(write); };
  return reply;
}

}  // namespace korvane::host
