#pragma once

#include <map>
#include <optional>
#include <string>

#include "host/access/tokens.h"
#include "host/http/message.h"
#include "host/service/call_room.h"
#include "host/service/mounted.h"
#include "host/service/representation.h"
#include "host/service/target.h"
#include "host/watch/json_log.h"
#include "platform/rpc4/operation.h"

namespace korvane::host {

/// What a call is made to: a live service by its id, or the project of a file.
struct Callee {
  std::string service_id = {};
  /// As the client wrote it; the project is opened if need be.
  std::optional<std::string> file = std::nullopt;
};

/// An operation that a client named.
struct CalledOperation {
  Callee callee;
  const krv::rpc4::Operation& operation;
  /// "Project.add_rebar", from a fixed set.
  std::string metric;
  /// The route that is mounted under the operation's name; null for an operation of a service.
  const MountedRoute* mounted = nullptr;
};

/// Throws HttpFault 404 where there is no such service or operation.
CalledOperation find_operation(const CallRoom& room, Callee callee, const std::string& operation);

/// One call of an operation over HTTP that is let in: all that is decided before its body is read.
/// Made, used and destroyed on the thread of its connection.
class Call {
 public:
  /// All but `called` must outlive it. Throws HttpFault for a method, a scope or a form that is not
  /// served, and for a request that was meant for another run.
  Call(CallRoom& room, const HttpRequest& request, const Target& target, const Client& client,
       CalledOperation called);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  CallRoom& room() const { return room_; }
  const HttpRequest& request() const { return request_; }
  const Client& client() const { return client_; }
  const Callee& callee() const { return called_.callee; }
  const krv::rpc4::Operation& operation() const { return called_.operation; }
  /// Null for an operation of a service.
  const MountedRoute* mounted() const { return called_.mounted; }
  /// Those of the mounted route.
  const std::map<std::string, std::string>& parameters() const { return parameters_; }
  bool is_get() const { return is_get_; }
  /// The form that the reply is wanted in.
  Representation reply_form() const { return reply_form_; }

  /// The request in its form: `body`, or by GET the parameter of the address, which is kept in
  /// `parameter`. Both must outlive it. Throws HttpFault 400.
  krv::rpc4::EncodedRequest encoded_request(const std::string& body, std::string& parameter) const;
  /// Whether the call may make the project if it is not there. Throws HttpFault 400.
  bool may_create() const;
  /// Whether an operation that writes is to store nothing. Throws HttpFault 400.
  bool is_dry_run() const;
  /// Throws HttpFault 412 unless the call is meant for the present run.
  void require_run() const;

 private:
  void choose_forms();
  /// Whether the parameter, which is on or off, is on. Throws HttpFault 400.
  bool is_on(const std::string& name) const;

  CallRoom& room_;
  const HttpRequest& request_;
  const Target& target_;
  const Client& client_;
  const CalledOperation called_;
  std::map<std::string, std::string> parameters_;
  const bool is_get_;
  Representation request_form_ = Representation::json;
  Representation reply_form_ = Representation::json;
};

/// Makes the call. What the plugins log meanwhile goes into `lines`. Throws HttpFault.
HttpReply make_call(const Call& call, const std::string& body, CollectedLines& lines);

}  // namespace korvane::host
