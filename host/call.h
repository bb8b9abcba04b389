#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "bond/blob.h"
#include "host/call_memory.h"
#include "host/delivery.h"
#include "host/gate.h"
#include "host/http/message.h"
#include "host/json_log.h"
#include "host/memory_pool.h"
#include "host/open_projects.h"
#include "host/project_root.h"
#include "host/representation.h"
#include "host/runs.h"
#include "host/sql_fence.h"
#include "host/target.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

struct CallLimits {
  DeliveryLimits delivery;
  /// What holds for SQL of clients without the scope `sql`.
  SqlFenceLimits query;
  /// What any other call may take, whatever the project file makes of it. Longer than a session
  /// waits for another program's lock.
  SqlFenceLimits call{
      .time = std::chrono::seconds(120),
      .rows = 1'000'000,
      .bytes = std::int64_t{256} * 1024 * 1024,
      .length = 128 * 1024 * 1024,
      .access = SqlAccess::everything,
  };
  /// SQL of clients with the scope `sql` may do everything, not only change its project.
  bool is_sql_unfenced = false;
  /// The rows that a query without the scope is answered with; the rest is cut off.
  std::size_t query_rows = 10'000;
  /// What one request may become in memory, on its way in, while it is worked on and on its way
  /// out. 100,000 typical bars become 200 MiB, and 55 more while they are encoded.
  std::uint64_t record_bytes = std::uint64_t{320} << 20U;
  /// All requests that are worked on.
  std::uint64_t all_record_bytes = std::uint64_t{432} << 20U;
  /// All replies that are on their way out.
  std::uint64_t all_reply_bytes = std::uint64_t{288} << 20U;
};

/// What all calls of a server share. Made when the plugins' services are live.
struct CallRoom {
  CallRoom(const ProjectRoot& project_root, const CallLimits& call_limits,
           std::size_t most_projects);

  const ProjectRoot& root;
  const CallLimits limits;
  /// The services that are live in every run, under the same ids.
  const std::set<std::string> permanent_services;
  /// The one of them that opens projects, by its id, and the operation that does.
  const std::string manager;
  const krv::rpc4::Operation* const open_operation;
  MemoryPool records;
  MemoryPool replies;
  OpenProjects projects;
  Runs runs;
  /// Destroyed first: calls that run use what stands above.
  Delivery delivery;
};

/// What a call is made to: a live service by its id, or the project of a file.
struct Callee {
  std::string service_id = {};
  /// As the client wrote it; the project is opened if need be.
  std::optional<std::string> file = std::nullopt;
};

/// One call of an operation over HTTP. Made, used and destroyed on the thread of its connection.
class Call {
 public:
  /// `request`, `target` and `client` must outlive it. Throws HttpFault 404 where there is no such
  /// service or operation.
  Call(CallRoom& room, const HttpRequest& request, const Target& target, const Client& client,
       Callee callee, const std::string& operation);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// "Project.add_rebar", from a fixed set.
  const std::string& metric() const { return metric_; }

  /// Decides before the body is read. Throws HttpFault for a method, a scope or a form that is not
  /// served, and for a request that was meant for another run.
  void admit();

  /// Makes the call. Throws HttpFault.
  HttpReply answer(const std::string& body);

  /// What the plugins logged meanwhile.
  const CollectedLines& lines() const { return lines_; }

 private:
  bool is_get() const;
  void require_method() const;
  void require_scope_of(krv::rpc4::Effect effect) const;
  void require_run() const;
  void choose_representations();
  bool may_create() const;

  using Work = std::function<bond::blob(const krv::rpc4::LiveService& service)>;

  HttpReply make_call(const std::string& body);
  bond::blob request_bytes(const std::string& body);
  template <class Action>
  auto counted(bool is_of_request, Action action) -> decltype(action());
  void require_single_statement(const bond::blob& request);
  /// The id of the service that the call is for; opens the project if need be.
  std::string resolve();
  /// Serves an operation that opens a file by itself.
  bond::blob open_named_file(const bond::blob& request);
  bond::blob open_project(const std::string& file);
  /// Runs `work` in the service's turn, within `limits`.
  bond::blob run(const std::string& service_id, const SqlFenceLimits& limits, const Work& work);
  bond::blob run_in_turn(const std::string& service_id, const SqlFenceLimits& limits,
                         const Work& work);
  bool is_fenced_query() const;
  SqlFenceLimits sql_limits() const;
  [[noreturn]] void refuse_memory(bool is_of_request) const;
  HttpReply answered(bond::blob bytes);
  void cut_rows(bond::blob& bytes, HttpReply& reply) const;

  CallRoom& room_;
  const HttpRequest& request_;
  const Target& target_;
  const Client& client_;
  const Callee callee_;
  const krv::rpc4::Operation* operation_ = nullptr;
  std::string metric_;
  Representation request_form_ = Representation::json;
  Representation reply_form_ = Representation::json;
  /// The file of the project, once it is known.
  std::string file_;
  std::optional<CallMemory> memory_;
  CollectedLines lines_;
};

}  // namespace korvane::host
