#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "contracts/encoding/json.h"
#include "host/access/gate.h"
#include "host/access/sql_fence.h"
#include "host/access/statements.h"
#include "host/memory/call_memory.h"
#include "host/memory/heap.h"
#include "host/service/around_query.h"
#include "host/service/call.h"
#include "host/service/failure.h"
#include "host/service/reply_body.h"
#include "host/service/reply_tag.h"
#include "host/service/sql_limits.h"
#include "host/text/shortened.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::PeerInfo;
using krv::rpc4::Reply;
using krv::rpc4::Request;

namespace {

/// Whether it was the request that there was no memory for.
bool is_of_request(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const krv::rpc4::NoMemoryForRequest&) {
    return true;
  } catch (...) {
    return false;
  }
}

/// Throws what it means that `memory` has refused an allocation.
[[noreturn]] void refuse_memory(const CallMemory& memory, bool is_of_request) {
  if (memory.refusal() != CallMemory::Refusal::too_much) {
    const bool is_pools = memory.refusal() == CallMemory::Refusal::no_room;
    throw HttpFault(503,
                    is_pools ? "too many records of requests are held at a time" : "out of memory",
                    {{"Retry-After", "1"}});
  }
  const std::string limit = std::to_string(memory.limit());
  if (is_of_request) {
    throw HttpFault(413, "the request becomes more than " + limit + " bytes in memory");
  }
  throw HttpFault(422, "a call may have " + limit + " bytes of memory: it was stopped");
}

/// The work on one call, with its memory counted. Request and reply are records from the moment
/// they are decoded until they are written: nothing is encoded in between.
class CallWork {
 public:
  CallWork(const Call& call, const std::string& body, CollectedLines& lines)
      : call_(call),
        room_(call.room()),
        body_(body),
        lines_(lines),
        memory_(room_.records, call.client().name, room_.limits.record_bytes),
        tag_(call) {}
  CallWork(const CallWork&) = delete;
  CallWork& operator=(const CallWork&) = delete;
  ~CallWork() {
    request_.reset();
    note_freed_memory(memory_.peak());
  }

  HttpReply run() {
    try {
      return reply();
    } catch (...) {
      throw fault_of(std::current_exception(), failed_call());
    }
  }

 private:
  using Clock = std::chrono::steady_clock;
  using Work = std::function<std::unique_ptr<Reply>(const LiveService& service)>;

  FailedCall failed_call() const {
    return {call_.operation().effect, file_, file_.empty() || begins_as_database(file_)};
  }

  /// Runs `action` with its memory counted, and refuses what takes too much. A failure becomes an
  /// HttpFault while its text, which can be as long as the request, still counts.
  template <class Action>
  auto counted(bool is_of_request, Action action) -> decltype(action()) {
    try {
      const CallMemory::Scope scope(memory_);
      try {
        return action();
      } catch (const std::bad_alloc&) {
        throw;
      } catch (...) {
        throw fault_of(std::current_exception(), failed_call());
      }
    } catch (const std::bad_alloc&) {
      refuse_memory(memory_, is_of_request);
    }
  }

  HttpReply reply();
  void take_request();
  HttpReply mounted_reply();
  HttpReply delivered(MountedReply result);
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
  /// Runs `work` in the service's turn, within `limits`.
  std::unique_ptr<Reply> run_in_turn(const std::string& service_id, const SqlFenceLimits& limits,
                                     const Work& work);
  /// The same once, on the thread that has the turn.
  std::unique_ptr<Reply> run_within(const std::string& service_id, const SqlFenceLimits& limits,
                                    const Work& work);
  HttpReply answered(std::unique_ptr<Reply> result);
  /// From now on a reply counts among the replies, as long as it is on its way.
  void hold(HttpReply& reply, std::uint64_t bytes) const;
  void fill_body(HttpReply& reply, std::unique_ptr<Reply> result) const;

  const Call& call_;
  CallRoom& room_;
  const std::string& body_;
  CollectedLines& lines_;
  CallMemory memory_;
  /// Of a GET, its request as the address has it.
  std::string parameter_;
  std::unique_ptr<Request> request_;
  /// The file of the project, once it is known.
  std::string file_;
  ReplyTag tag_;
};

HttpReply CallWork::reply() {
  if (call_.mounted() != nullptr) return mounted_reply();
  take_request();
  if (call_.operation().effect == Effect::queries) require_single_statement();
  // One run from here on: what is looked up stays what it is.
  const Runs::Stay stay(room_.runs, room_.limits.delivery.waiting_time);
  call_.require_run();
  if (call_.operation().effect == Effect::opens) return answered(open_named_file());
  const std::string service_id = resolve();
  const PeerInfo peer{call_.request().peer};
  auto result = run_in_turn(service_id, sql_limits(call_), [&](const LiveService& service) {
    if (tag_.find(service)) return std::unique_ptr<Reply>();
    return request_->deliver(service.service, peer);
  });
  if (tag_.is_known()) return tag_.not_modified();
  return answered(std::move(result));
}

HttpReply CallWork::mounted_reply() {
  const MountedRoute& route = *call_.mounted();
  MountedCall made{.parameters = call_.parameters(), .body = body_};
  const Poco::Net::HTTPRequest& head = call_.request().head;
  if (head.has("If-Match")) made.if_match = head.get("If-Match");
  if (route.check) counted(true, [&] { route.check(made); });
  const Runs::Stay stay(room_.runs, room_.limits.delivery.waiting_time);
  call_.require_run();
  made.require_time = [this, begin = Clock::now()] { require_time(begin); };
  std::optional<MountedReply> result;
  if (route.without_project && would_create()) {
    result = counted(false, [&] { return route.without_project(made); });
  }
  if (!result) {
    const std::string service_id = resolve();
    run_in_turn(service_id, sql_limits(call_), [&](const LiveService& service) {
      if (tag_.find(service)) return std::unique_ptr<Reply>();
      made.service = service.service;
      made.definition = service.definition;
      made.require_time = [this, begin = Clock::now()] { require_time(begin); };
      result = route.run(made);
      return std::unique_ptr<Reply>();
    });
  }
  if (tag_.is_known()) return tag_.not_modified();
  return delivered(*std::move(result));
}

HttpReply CallWork::delivered(MountedReply result) {
  HttpReply reply;
  reply.content_type = std::move(result.content_type);
  tag_.add_to(reply);
  for (auto& field : result.fields) reply.fields.push_back(std::move(field));
  if (!result.file_name.empty()) {
    reply.fields.emplace_back("Content-Disposition",
                              "attachment; filename=\"" + result.file_name + "\"");
  }
  reply.streamed_bytes = result.body.size();
  const auto body = std::make_shared<const std::string>(std::move(result.body));
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
  counted(true, [&] {
    const krv::rpc4::EncodedRequest source = call_.encoded_request(body_, parameter_);
    request_ = call_.operation().make_request(source);
    if (source.form == Representation::json) request_->decode();
  });
}

void CallWork::require_single_statement() {
  const bool has_several = counted(true, [&] { return has_several_statements(request_->sql()); });
  if (has_several) throw HttpFault(400, "expected one statement of SQL, found several");
}

bool CallWork::would_create() {
  const Callee& callee = call_.callee();
  if (!callee.file || callee.file->empty() || !call_.may_create()) return false;
  file_ = room_.root.confine(*callee.file);
  return !room_.root.exists(file_) && !room_.projects.service_of(file_);
}

std::string CallWork::resolve() {
  const Callee& callee = call_.callee();
  if (!callee.file) {
    file_ = room_.projects.file_of(callee.service_id).value_or("");
    return callee.service_id;
  }
  if (callee.file->empty()) throw HttpFault(400, "expected the name of a project's file");
  file_ = room_.root.confine(*callee.file);
  const std::optional<std::string> open = room_.projects.service_of(file_);
  if (!room_.root.exists(file_)) {
    if (open) {
      throw HttpFault(404, "no project " + file_ +
                               ": its file was removed while it was open; the server keeps the "
                               "name until it is reloaded");
    }
    if (!call_.may_create()) throw HttpFault(404, "no project " + file_);
  }
  if (open) return *open;
  return open_project()->service_id();
}

std::unique_ptr<Reply> CallWork::open_named_file() {
  counted(true, [&] { file_ = room_.root.confine(request_->file()); });
  const bool would_make_it = !file_.empty() && !room_.root.exists(file_);
  if (would_make_it && !room_.projects.is_open(file_)) {
    require_scope(call_.client(), {Scope::write});
  }
  return open_project();
}

std::unique_ptr<Reply> CallWork::open_project() {
  if (room_.open_operation == nullptr) throw HttpFault(404, "no plugin here opens projects");
  const PeerInfo peer{call_.request().peer};
  return run_in_turn(room_.manager, room_.limits.call, [&](const LiveService& manager) {
    return room_.projects.open(manager, *room_.open_operation, file_, peer);
  });
}

std::unique_ptr<Reply> CallWork::run_in_turn(const std::string& service_id,
                                             const SqlFenceLimits& limits, const Work& work) {
  using std::chrono::milliseconds;
  std::optional<Clock::time_point> first_turn;
  std::unique_ptr<Reply> result;
  const Delivery::Caller caller{call_.client().name, call_.request().has_client_gone};
  room_.delivery.deliver(service_id, caller, [&](const Delivery::Turn& turn) {
    if (!first_turn) first_turn = Clock::now();
    SqlFenceLimits of_turn = limits;
    // A call that gave way has waited already.
    const auto left = limits.lock_wait - (Clock::now() - *first_turn);
    of_turn.lock_wait = std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(left));
    // A mounted route is several transactions: it cannot begin anew after the first.
    if (call_.mounted() == nullptr) of_turn.others_wait = [&turn] { return turn.others_wait(); };
    result = run_within(service_id, of_turn, work);
  });
  return result;
}

std::unique_ptr<Reply> CallWork::run_within(const std::string& service_id,
                                            const SqlFenceLimits& limits, const Work& work) {
  const std::optional<LiveService> service = krv::rpc4::find_live_service(service_id);
  if (!service) throw HttpFault(404, "no service " + service_id);
  lines_ = {};
  const LineCollector collector(lines_);
  SqlFenceLimits of_query = limits;
  SqlFenceLimits of_surroundings = room_.limits.call;
  std::optional<QuerySurroundings> surroundings;
  if (call_.operation().effect == Effect::queries && service_id != room_.manager) {
    // Together they wait no longer than the query alone may.
    of_surroundings.time = limits.time;
    of_surroundings.lock_wait = limits.lock_wait;
    of_surroundings.others_wait = limits.others_wait;
    const Clock::time_point begin = Clock::now();
    surroundings.emplace(room_.limits.around_query, of_surroundings, memory_, *service,
                         request_->sql());
    const auto left = limits.lock_wait - (Clock::now() - begin);
    of_query.lock_wait = std::max(std::chrono::milliseconds(0),
                                  std::chrono::duration_cast<std::chrono::milliseconds>(left));
    of_surroundings.lock_wait = std::chrono::milliseconds(0);
  }
  SqlFence fence(of_query);
  std::unique_ptr<Reply> result;
  std::exception_ptr failure;
  {
    const CallMemory::Scope scope(memory_);
    try {
      result = work(*service);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  if (!failure) {
    fence.roll_back();
    return result;
  }
  const std::optional<FenceStop> stop = fence.stopped();
  fence.roll_back();
  if (fence.gave_way()) throw GiveWay();
  if (memory_.refusal() != CallMemory::Refusal::none) {
    refuse_memory(memory_, is_of_request(failure));
  }
  if (stop == FenceStop::refused) throw HttpFault(403, fence.reason());
  if (stop) throw HttpFault(422, fence.reason());
  return counted(false, [&]() -> std::unique_ptr<Reply> { std::rethrow_exception(failure); });
}

HttpReply CallWork::answered(std::unique_ptr<Reply> result) {
  HttpReply reply;
  reply.content_type = media_type(call_.reply_form());
  tag_.add_to(reply);
  counted(false, [&] {
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
  holding->resize(std::max(bytes, memory_.live()));
  reply.stream_body = [holding, write_body = std::move(reply.stream_body)](
                          const HttpReply::Write& write) { write_body(write); };
}

void CallWork::fill_body(HttpReply& reply, std::unique_ptr<Reply> result) const {
  if (call_.reply_form() == Representation::compact_binary) {
    bond::blob bytes = result->encoded();
    result.reset();
    return set_body(reply, std::move(bytes));
  }
  try {
    set_json_body(reply, std::move(result));
  } catch (const encoding::JsonError& failure) {
    throw HttpFault(406, shortened(failure.what()) + "; ask for " +
                             std::string(media_type(Representation::compact_binary)));
  }
}

}  // namespace

HttpReply make_call(const Call& call, const std::string& body, CollectedLines& lines) {
  return CallWork(call, body, lines).run();
}

}  // namespace korvane::host
