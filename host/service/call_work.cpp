#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "contracts/encoding/json.h"
#include "host/access/gate.h"
#include "host/access/sql_fence.h"
#include "host/access/statements.h"
#include "host/memory/heap.h"
#include "host/service/call.h"
#include "host/service/call_turns.h"
#include "host/service/change_stream.h"
#include "host/service/entity_tag.h"
#include "host/service/failure.h"
#include "host/service/reply_body.h"
#include "host/service/reply_tag.h"
#include "host/service/sql_limits.h"
#include "host/service/write_unit.h"
#include "host/text/shortened.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::PeerInfo;
using krv::rpc4::Reply;
using krv::rpc4::Request;
using krv::rpc4::Subject;

namespace {

/// Writes JSON, which cannot say all that a record can.
template <class Write>
void or_not_acceptable(const Write& write) {
  try {
    write();
  } catch (const encoding::JsonError& failure) {
    throw HttpFault(406, shortened(failure.what()) + "; ask for " +
                             std::string(media_type(Representation::compact_binary)));
  }
}

HttpReply reply_of(MountedReply result) {
  HttpReply reply{.content_type = std::move(result.content_type), .body = std::move(result.body)};
  reply.fields = std::move(result.fields);
  if (!result.file_name.empty()) {
    reply.fields.emplace_back("Content-Disposition",
                              "attachment; filename=\"" + result.file_name + "\"");
  }
  return reply;
}

[[noreturn]] void refuse_if_match() {
  throw HttpFault(400, "If-Match: the request is about no one entry");
}

/// The work on one call, with its memory counted. Request and reply are records from the moment
/// they are decoded until they are written: nothing is encoded in between.
class CallWork {
 public:
  CallWork(const Call& call, const std::string& body, CollectedLines& lines)
      : call_(call),
        room_(call.room()),
        body_(body),
        options_(write_options(call, body)),
        turns_(call, lines),
        tag_(call) {}
  CallWork(const CallWork&) = delete;
  CallWork& operator=(const CallWork&) = delete;
  ~CallWork() {
    request_.reset();
    note_freed_memory(turns_.memory().peak());
  }

  HttpReply run() {
    try {
      return reply();
    } catch (...) {
      throw fault_of(std::current_exception(), turns_.failed_call());
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  HttpReply reply();
  void take_request();
  std::unique_ptr<Reply> deliver(const LiveService& service);
  /// Tells those who watch the project what the call has written, if it has.
  void tell(const LiveService& service, SqlFence& fence);
  /// Delivers the request and writes the whole reply: part of a unit.
  HttpReply written(const LiveService& service);
  HttpReply mounted_reply();
  /// Runs the mounted route and gives its whole reply.
  HttpReply run_mounted(const LiveService& service, MountedCall& made);
  HttpReply delivered(HttpReply reply);
  /// Throws HttpFault 412 unless what the request is about is what the client has seen.
  void require_seen(const LiveService& service);
  /// Whether the call is of a project that is not there, and may make it.
  bool would_create();
  /// What the fence requires of SQL, of all other work of a mounted route that began then.
  void require_time(Clock::time_point begin) const;
  void require_single_statement();
  /// The id of the service that the call is for; opens the project if need be.
  std::string resolve();
  /// Serves an operation that opens a file by itself.
  std::unique_ptr<Reply> open_named_file();
  std::unique_ptr<Reply> open_project();
  HttpReply answered(std::unique_ptr<Reply> result);
  /// From now on a reply counts among the replies, as long as it is on its way.
  void hold(HttpReply& reply, std::uint64_t bytes) const;
  void fill_body(HttpReply& reply, std::unique_ptr<Reply> result) const;

  const Call& call_;
  CallRoom& room_;
  const std::string& body_;
  const WriteOptions options_;
  CallTurns turns_;
  /// Of a GET, its request as the address has it.
  std::string parameter_;
  std::unique_ptr<Request> request_;
  ReplyTag tag_;
  bool has_written_ = false;
  /// What the call has written, as far as it is known and somebody wants to know.
  std::vector<Subject> changed_;
};

HttpReply CallWork::reply() {
  if (call_.mounted() != nullptr) return mounted_reply();
  take_request();
  const bool queries = call_.operation().effect == Effect::queries;
  if (queries) require_single_statement();
  // One run from here on: what is looked up stays what it is.
  const Runs::Stay stay(room_.runs, room_.limits.delivery.waiting_time);
  call_.require_run();
  if (call_.operation().effect == Effect::opens) return answered(open_named_file());
  const std::string service_id = resolve();
  std::optional<HttpReply> whole;
  const CallTurns::Work work = [&](const LiveService& service, SqlFence& fence) {
    if (tag_.find(service, request_.get())) return std::unique_ptr<Reply>();
    if (!options_.may_store && !options_.is_dry_run) return deliver(service);
    const bool is_watched = room_.changes.is_watched(turns_.file());
    const std::string before = queries && is_watched ? written_so_far(service, fence) : "";
    std::unique_ptr<Reply> result;
    if (options_.has_any()) {
      whole = run_in_unit(options_, service, fence, [&] { return written(service); });
    } else {
      result = deliver(service);
    }
    if (is_watched && (!queries || written_so_far(service, fence) != before)) {
      tell(service, fence);
    }
    return result;
  };
  auto result = turns_.run(service_id, sql_limits(call_), queries ? request_.get() : nullptr, work);
  if (tag_.is_known()) return tag_.not_modified();
  if (whole) return delivered(*std::move(whole));
  return answered(std::move(result));
}

std::unique_ptr<Reply> CallWork::deliver(const LiveService& service) {
  const bool is_told = options_.may_store && room_.changes.is_watched(turns_.file());
  std::optional<Subject> subject;
  if (is_told) subject = request_->subject();
  const PeerInfo peer{call_.request().peer};
  std::unique_ptr<Reply> result = request_->deliver(service.service, peer);
  has_written_ = true;
  if (is_told) {
    const std::optional<Subject> made = result->subject();
    if (made && made->id) subject = made;
    if (subject) changed_ = {*std::move(subject)};
  }
  return result;
}

void CallWork::tell(const LiveService& service, SqlFence& fence) {
  if (has_written_ && options_.may_store) {
    tell_of_changes(call_, turns_.file(), service, fence, changed_);
  }
}

HttpReply CallWork::written(const LiveService& service) {
  require_seen(service);
  const std::unique_ptr<Reply> result = deliver(service);
  HttpReply reply;
  reply.content_type = media_type(call_.reply_form());
  if (call_.reply_form() == Representation::compact_binary) {
    const bond::blob bytes = result->encoded();
    reply.body.assign(bytes.content(), bytes.size());
  } else {
    or_not_acceptable(
        [&] { result->write_json([&](std::string_view piece) { reply.body += piece; }); });
    reply.body += '\n';
  }
  return reply;
}

void CallWork::require_seen(const LiveService& service) {
  if (!options_.if_match) return;
  const std::optional<krv::rpc4::Subject> subject = request_->subject();
  if (!subject || !room_.mounted.tag_of) {
    refuse_if_match();
  }
  const std::optional<std::string> tag = room_.mounted.tag_of(service, *subject);
  const std::string what(subject->kind);
  if (!tag) throw HttpFault(412, "the " + what + " is not there any more");
  if (matches_any_form(*options_.if_match, *tag)) return;
  throw HttpFault(412, "the " + what + " has changed since: its tag is " + *tag + " now");
}

HttpReply CallWork::mounted_reply() {
  const MountedRoute& route = *call_.mounted();
  MountedCall made{.parameters = call_.parameters(), .body = body_};
  const Poco::Net::HTTPRequest& head = call_.request().head;
  if (head.has("If-Match")) made.if_match = head.get("If-Match");
  if (options_.if_match && !route.goes_by_if_match) refuse_if_match();
  if (route.check) turns_.counted(true, [&] { route.check(made); });
  const Runs::Stay stay(room_.runs, room_.limits.delivery.waiting_time);
  call_.require_run();
  made.require_time = [this, begin = Clock::now()] { require_time(begin); };
  if (route.watches) {
    const std::string service_id = resolve();
    return change_stream(call_, turns_.file(), service_id);
  }
  if (route.without_project && would_create()) {
    auto result = turns_.counted(false, [&] { return route.without_project(made); });
    if (result) return delivered(reply_of(*std::move(result)));
  }
  std::optional<HttpReply> whole;
  const CallTurns::Work work = [&](const LiveService& service, SqlFence& fence) {
    if (tag_.find(service, nullptr)) return std::unique_ptr<Reply>();
    const auto run = [&] { return run_mounted(service, made); };
    whole = options_.has_any() ? run_in_unit(options_, service, fence, run) : run();
    tell(service, fence);
    return std::unique_ptr<Reply>();
  };
  turns_.run(resolve(), sql_limits(call_), nullptr, work);
  if (tag_.is_known()) return tag_.not_modified();
  return delivered(*std::move(whole));
}

HttpReply CallWork::run_mounted(const LiveService& service, MountedCall& made) {
  made.service = service.service;
  made.definition = service.definition;
  made.require_time = [this, begin = Clock::now()] { require_time(begin); };
  MountedReply result = call_.mounted()->run(made);
  has_written_ = true;
  changed_ = result.changed;
  return reply_of(std::move(result));
}

HttpReply CallWork::delivered(HttpReply reply) {
  tag_.add_to(reply);
  reply.streamed_bytes = reply.body.size();
  const auto body = std::make_shared<const std::string>(std::move(reply.body));
  reply.body.clear();
  reply.stream_body = [body](const HttpReply::Write& write) { write(*body); };
  hold(reply, reply.streamed_bytes);
  return reply;
}

void CallWork::require_time(Clock::time_point begin) const {
  const std::chrono::milliseconds limit = room_.limits.call.time;
  if (Clock::now() - begin > limit) {
    throw HttpFault(422,
                    "a call may take " + std::to_string(limit.count()) + " ms: it was stopped");
  }
  if (call_.request().has_client_gone()) {
    throw NotDelivered(NotDelivered::Reason::caller_gone, "the caller has gone");
  }
}

/// JSON is decoded at once, on the connection's own thread; Compact Binary, which costs less and
/// grows more, when its turn has come.
void CallWork::take_request() {
  turns_.counted(true, [&] {
    const krv::rpc4::EncodedRequest source = call_.encoded_request(body_, parameter_);
    request_ = call_.operation().make_request(source);
    if (source.form == Representation::json) request_->decode();
  });
}

void CallWork::require_single_statement() {
  const bool has_several =
      turns_.counted(true, [&] { return has_several_statements(request_->sql()); });
  if (has_several) throw HttpFault(400, "expected one statement of SQL, found several");
}

bool CallWork::would_create() {
  const Callee& callee = call_.callee();
  if (!callee.file || callee.file->empty() || !call_.may_create()) return false;
  const std::string file = room_.root.confine(*callee.file);
  turns_.set_file(file);
  return !room_.root.exists(file) && !room_.projects.service_of(file);
}

std::string CallWork::resolve() {
  const Callee& callee = call_.callee();
  if (!callee.file) {
    turns_.set_file(room_.projects.file_of(callee.service_id).value_or(""));
    return callee.service_id;
  }
  if (callee.file->empty()) throw HttpFault(400, "expected the name of a project's file");
  const std::string file = room_.root.confine(*callee.file);
  turns_.set_file(file);
  const std::optional<std::string> open = room_.projects.service_of(file);
  const std::optional<FileNumber> number = room_.root.number_of(file);
  if (open && !(number && room_.projects.is_of(file, *number))) {
    throw HttpFault(problem("no-project"),
                    "no project " + file + ": its file was " +
                        (number ? "exchanged for another" : "removed") +
                        " while it was open; the server keeps the name until it is reloaded");
  }
  if (open) return *open;
  if (!number && !call_.may_create()) {
    throw HttpFault(problem("no-project"), "no project " + file);
  }
  return open_project()->service_id();
}

std::unique_ptr<Reply> CallWork::open_named_file() {
  turns_.counted(true, [&] { turns_.set_file(room_.root.confine(request_->file())); });
  const std::string& file = turns_.file();
  const bool would_make_it = !file.empty() && !room_.root.exists(file);
  if (would_make_it && !room_.projects.is_open(file)) {
    require_scope(call_.client(), {Scope::write});
  }
  return open_project();
}

std::unique_ptr<Reply> CallWork::open_project() {
  if (room_.open_operation == nullptr) throw HttpFault(404, "no plugin here opens projects");
  const PeerInfo peer{call_.request().peer};
  return turns_.run(
      room_.manager, room_.limits.call, nullptr, [&](const LiveService& manager, SqlFence&) {
        return room_.projects.open(manager, *room_.open_operation, turns_.file(), peer);
      });
}

HttpReply CallWork::answered(std::unique_ptr<Reply> result) {
  HttpReply reply;
  reply.content_type = media_type(call_.reply_form());
  tag_.add_to(reply);
  turns_.counted(false, [&] {
    const std::size_t rows = room_.limits.query_rows;
    if (is_fenced_query(call_) && result->cut_rows(rows)) {
      reply.fields.emplace_back("Korvane-Truncated", "rows=" + std::to_string(rows));
    }
    fill_body(reply, std::move(result));
  });
  if (!reply.stream_body) return reply;
  // As its bytes, or as the record that JSON is written from.
  hold(reply, call_.reply_form() == Representation::json ? 0 : reply.streamed_bytes);
  return reply;
}

void CallWork::hold(HttpReply& reply, std::uint64_t bytes) const {
  auto holding = std::make_shared<MemoryPool::Holding>(room_.replies, call_.client().name);
  holding->resize(std::max(bytes, turns_.memory().live()));
  reply.stream_body = [holding, write_body = std::move(reply.stream_body)](
                          const HttpReply::Write& write) { write_body(write); };
}

void CallWork::fill_body(HttpReply& reply, std::unique_ptr<Reply> result) const {
  if (call_.reply_form() == Representation::compact_binary) {
    bond::blob bytes = result->encoded();
    result.reset();
    return set_body(reply, std::move(bytes));
  }
  or_not_acceptable([&] { set_json_body(reply, std::move(result)); });
}

}  // namespace

HttpReply make_call(const Call& call, const std::string& body, CollectedLines& lines) {
  return CallWork(call, body, lines).run();
}

}  // namespace korvane::host
