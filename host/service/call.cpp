#include "host/service/call.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "host/access/statements.h"
#include "host/memory/heap.h"
#include "host/service/failure.h"
#include "host/service/openapi.h"
#include "host/service/reply_body.h"
#include "host/text/shortened.h"
#include "platform/project_rpc/make_skeleton.h"
#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/project_service.h"
#include "platform/project_rpc/table.describe.h"

namespace korvane::host {

using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::Operation;
using krv::rpc4::PeerInfo;
using std::chrono::milliseconds;

namespace {

constexpr const char* kRunField = "Korvane-Run";

std::string media_type_names() {
  return std::string(media_type(Representation::json)) + " or " +
         std::string(media_type(Representation::compact_binary));
}

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

}  // namespace

Call::Call(CallRoom& room, const HttpRequest& request, const Target& target, const Client& client,
           Callee callee, const std::string& operation)
    : room_(room), request_(request), target_(target), client_(client), callee_(std::move(callee)) {
  const krv::rpc4::ServiceDefinition* definition = &model::cad::Project_Service::definition();
  std::string who = "a project";
  if (!callee_.file) {
    const std::optional<LiveService> service = krv::rpc4::find_live_service(callee_.service_id);
    if (!service) throw HttpFault(404, "no service " + callee_.service_id);
    definition = service->definition;
    who = "the service " + callee_.service_id;
  }
  operation_ = definition->find(operation);
  if (operation_ == nullptr) throw HttpFault(404, who + " has no operation " + operation);
  metric_ = std::string(definition->name) + "." + operation;
}

bool Call::is_get() const {
  return request_.head.getMethod() == "GET" || request_.head.getMethod() == "HEAD";
}

void Call::admit() {
  require_method();
  require_scope_of(operation_->effect);
  choose_representations();
  target_.refuse_parameters_but(callee_.file ? std::vector<std::string>{"request", "create"}
                                             : std::vector<std::string>{"request"});
  require_run();
}

void Call::require_method() const {
  const std::string& method = request_.head.getMethod();
  const std::vector<std::string> allowed = methods_of(*operation_);
  if (std::find(allowed.begin(), allowed.end(), method) != allowed.end()) return;
  std::string names;
  for (const std::string& name : allowed) names += (names.empty() ? "" : ", ") + name;
  throw HttpFault(405, method + " is not served here; expected " + names, {{"Allow", names}});
}

void Call::require_scope_of(Effect effect) const {
  switch (effect) {
    case Effect::reads:
      return require_scope(client_, {Scope::read});
    case Effect::writes:
      return require_scope(client_, {Scope::write});
    case Effect::opens:
      return require_scope(client_, {Scope::read, Scope::write});
    case Effect::queries:
      return require_scope(client_, {Scope::read, Scope::sql});
  }
}

void Call::require_run() const {
  const std::string run = room_.runs.id();
  const std::string wanted = request_.head.get(kRunField, "");
  if (!wanted.empty() && wanted != run) {
    throw HttpFault(
        412, "the request is meant for run " + wanted + " of the server; this is run " + run);
  }
  const bool is_of_this_run =
      callee_.file || room_.runs.is_first() || room_.permanent_services.count(callee_.service_id);
  if (wanted.empty() && !is_of_this_run) {
    throw HttpFault(412, "the id " + callee_.service_id +
                             " may be of an earlier run of the server; expected the field "
                             "Korvane-Run, or the project's address");
  }
}

void Call::choose_representations() {
  const std::string content_type = request_.head.get("Content-Type", "");
  const auto sent = is_get() ? Representation::json : representation_of(content_type);
  if (!sent) {
    throw HttpFault(415,
                    "the Content-Type is \"" + content_type + "\"; expected " + media_type_names());
  }
  const auto wanted = preferred_representation(request_.head.get("Accept", ""), *sent);
  if (!wanted) throw HttpFault(406, "replies come as " + media_type_names());
  request_form_ = *sent;
  reply_form_ = *wanted;
}

bool Call::may_create() const {
  const std::string create = target_.parameter("create").value_or("false");
  if (create != "true" && create != "false") {
    throw HttpFault(400, "the parameter create is \"" + create + "\"; expected true or false");
  }
  return create == "true" && operation_->effect == Effect::writes;
}

FailedCall Call::failed_call() const {
  return {operation_->effect, file_, file_.empty() || begins_as_database(file_)};
}

/// Runs `action` with its memory counted, and refuses what takes too much. A failure becomes an
/// HttpFault while its text, which can be as long as the request, still counts.
template <class Action>
auto Call::counted(bool is_of_request, Action action) -> decltype(action()) {
  try {
    const CallMemory::Scope scope(*memory_);
    try {
      return action();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (...) {
      throw fault_of(std::current_exception(), failed_call());
    }
  } catch (const std::bad_alloc&) {
    refuse_memory(is_of_request);
  }
}

HttpReply Call::answer(const std::string& body) {
  memory_.emplace(room_.records, client_.name, room_.limits.record_bytes);
  try {
    HttpReply reply = make_call(body);
    note_freed_memory(memory_->peak());
    memory_.reset();
    return reply;
  } catch (...) {
    note_freed_memory(memory_->peak());
    memory_.reset();
    throw fault_of(std::current_exception(), failed_call());
  }
}

HttpReply Call::make_call(const std::string& body) {
  const bond::blob request = request_bytes(body);
  if (operation_->effect == Effect::queries) require_single_statement(request);
  // One run from here on: what is looked up stays what it is.
  const Runs::Stay stay(room_.runs, room_.limits.delivery.waiting_time);
  require_run();
  if (operation_->effect == Effect::opens) return answered(open_named_file(request));
  const std::string service_id = resolve();
  const PeerInfo peer{request_.peer};
  return answered(run(service_id, sql_limits(), [&](const LiveService& service) {
    return operation_->call(service.service, request, peer);
  }));
}

bond::blob Call::request_bytes(const std::string& body) {
  if (!is_get() && request_form_ == Representation::compact_binary) {
    // A view: the body outlives the call, which is waited for.
    return {body.data(), static_cast<std::uint32_t>(body.size())};
  }
  return counted(true, [&] {
    if (!is_get()) return operation_->request.from_json(body);
    return operation_->request.from_json(target_.parameter("request").value_or("{}"));
  });
}

void Call::require_single_statement(const bond::blob& request) {
  if (operation_->request.name != bond::type_name<model::table::GET_TABLE>()) return;
  const bool has_several = counted(true, [&] {
    const auto query = rpc::decode_request<model::table::GET_TABLE>(request);
    const auto text = query.params.find("query");
    return text != query.params.end() && text->second.value_string.hasvalue() &&
           has_several_statements(*text->second.value_string);
  });
  if (has_several) throw HttpFault(400, "expected one statement of SQL, found several");
}

std::string Call::resolve() {
  if (!callee_.file) {
    file_ = room_.projects.file_of(callee_.service_id).value_or("");
    return callee_.service_id;
  }
  if (callee_.file->empty()) throw HttpFault(400, "expected the name of a project's file");
  file_ = room_.root.confine(*callee_.file);
  const std::optional<std::string> open = room_.projects.service_of(file_);
  if (!room_.root.exists(file_)) {
    if (open) {
      throw HttpFault(404, "no project " + file_ +
                               ": its file was removed while it was open; the server keeps the "
                               "name until it is reloaded");
    }
    if (!may_create()) throw HttpFault(404, "no project " + file_);
  }
  if (open) return *open;
  return encoding::decode<model::OpenProjectResponse>(open_project(file_)).service_id;
}

bond::blob Call::open_named_file(const bond::blob& request) {
  counted(true, [&] {
    file_ = room_.root.confine(rpc::decode_request<model::OpenProjectRequest>(request).filename);
  });
  const bool would_make_it = !file_.empty() && !room_.root.exists(file_);
  if (would_make_it && !room_.projects.is_open(file_)) require_scope(client_, {Scope::write});
  return open_project(file_);
}

bond::blob Call::open_project(const std::string& file) {
  if (room_.open_operation == nullptr) throw HttpFault(404, "no plugin here opens projects");
  const PeerInfo peer{request_.peer};
  return run(room_.manager, room_.limits.call, [&](const LiveService& manager) {
    return room_.projects.open(manager, *room_.open_operation, file, peer);
  });
}

bond::blob Call::run(const std::string& service_id, const SqlFenceLimits& limits,
                     const Work& work) {
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> first_turn;
  const Delivery::Caller caller{client_.name, request_.has_client_gone};
  return room_.delivery.deliver(service_id, caller, [&](const Delivery::Turn& turn) {
    if (!first_turn) first_turn = Clock::now();
    SqlFenceLimits of_turn = limits;
    // A call that gave way has waited already.
    const auto left = limits.lock_wait - (Clock::now() - *first_turn);
    of_turn.lock_wait = std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(left));
    of_turn.others_wait = [&turn] { return turn.others_wait(); };
    return run_in_turn(service_id, of_turn, work);
  });
}

bond::blob Call::run_in_turn(const std::string& service_id, const SqlFenceLimits& limits,
                             const Work& work) {
  const std::optional<LiveService> service = krv::rpc4::find_live_service(service_id);
  if (!service) throw HttpFault(404, "no service " + service_id);
  lines_ = {};
  const LineCollector collector(lines_);
  SqlFence fence(limits);
  bond::blob result;
  std::exception_ptr failure;
  {
    const CallMemory::Scope scope(*memory_);
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
  if (memory_->refusal() != CallMemory::Refusal::none) refuse_memory(is_of_request(failure));
  if (stop) throw HttpFault(*stop == FenceStop::refused ? 403 : 422, fence.reason());
  return counted(false, [&]() -> bond::blob { std::rethrow_exception(failure); });
}

/// A link can be made and followed by anyone, so that a GET never writes, whoever sends it.
bool Call::is_fenced_query() const {
  return operation_->effect == Effect::queries &&
         (is_get() || client_.scopes.count(Scope::sql) == 0);
}

SqlFenceLimits Call::sql_limits() const {
  SqlFenceLimits limits = is_fenced_query() ? room_.limits.query : room_.limits.call;
  if (operation_->effect == Effect::queries) limits.statements = 1;
  if (is_fenced_query()) return limits;
  if (operation_->effect == Effect::queries && !room_.limits.is_sql_unfenced) {
    limits.access = SqlAccess::changes;
  }
  // These read no more than their request asks for.
  if (operation_->effect == Effect::writes) {
    limits.rows = limits.bytes = std::numeric_limits<std::int64_t>::max();
  }
  return limits;
}

void Call::refuse_memory(bool is_of_request) const {
  if (memory_->refusal() != CallMemory::Refusal::too_much) {
    const bool is_pools = memory_->refusal() == CallMemory::Refusal::no_room;
    throw HttpFault(503,
                    is_pools ? "too many records of requests are held at a time" : "out of memory",
                    {{"Retry-After", "1"}});
  }
  const std::string limit = std::to_string(memory_->limit());
  if (is_of_request) {
    throw HttpFault(413, "the request becomes more than " + limit + " bytes in memory");
  }
  throw HttpFault(422, "a call may have " + limit + " bytes of memory: it was stopped");
}

HttpReply Call::answered(bond::blob bytes) {
  HttpReply reply;
  reply.content_type = media_type(reply_form_);
  const std::uint64_t size = bytes.size();
  counted(false, [&] {
    if (is_fenced_query()) cut_rows(bytes, reply);
    if (reply_form_ == Representation::compact_binary) return set_body(reply, std::move(bytes));
    std::shared_ptr<const krv::rpc4::JsonText> text = operation_->reply.json_text(bytes);
    bytes = {};
    try {
      set_json_body(reply, std::move(text));
    } catch (const encoding::JsonError& failure) {
      throw HttpFault(406, shortened(failure.what()) + "; ask for " +
                               std::string(media_type(Representation::compact_binary)));
    }
  });
  if (!reply.stream_body) return reply;
  // From here on it counts among the replies, as long as it is on its way.
  auto holding = std::make_shared<MemoryPool::Holding>(room_.replies, client_.name);
  holding->resize(std::max(size, memory_->live()));
  reply.stream_body = [holding, write_body = std::move(reply.stream_body)](
                          const HttpReply::Write& write) { write_body(write); };
  return reply;
}

void Call::cut_rows(bond::blob& bytes, HttpReply& reply) const {
  if (operation_->reply.name != bond::type_name<model::table::TABLE>()) return;
  auto table = encoding::decode<model::table::TABLE>(bytes);
  if (table.rows.size() <= room_.limits.query_rows) return;
  reply.fields.emplace_back("Korvane-Truncated", "rows=" + std::to_string(room_.limits.query_rows));
  table.rows.resize(room_.limits.query_rows);
  bytes = encoding::encode(table);
}

}  // namespace korvane::host
