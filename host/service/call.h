#pragma once

#include <functional>
#include <optional>
#include <string>

#include "bond/blob.h"
#include "host/access/gate.h"
#include "host/http/message.h"
#include "host/memory/call_memory.h"
#include "host/service/call_room.h"
#include "host/service/failure.h"
#include "host/service/representation.h"
#include "host/service/target.h"
#include "host/watch/json_log.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

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

  FailedCall failed_call() const;
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
