#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/http/message.h"
#include "host/service/page.h"
#include "host/service/target.h"
#include "platform/rpc4/directory.h"
#include "platform/rpc4/operation.h"

/// Routes of a project beside the operations of its service: whoever makes a server mounts what it
/// can do with a project. They are let in, confined, queued, bounded and logged as calls are.
namespace korvane::host {

/// A parameter of the address of a mounted route.
struct MountedParameter {
  std::string name;
  std::string text;
  /// All that it may be; empty where any text will do.
  std::vector<std::string> values = {};
  bool is_required = false;
  /// A whole number: so the OpenAPI document says. What is none, or too large, the route refuses.
  bool is_number = false;
};

/// The values of one that is on or off.
std::vector<std::string> on_or_off();

/// "true" of "True", as clients that are generated for Python and C# write it; what is neither true
/// nor false stays as it is.
std::string plain_truth(const std::string& text);

/// What JSON of a route is like: a JSON Schema (draft 2020-12), and its name among the components of
/// the OpenAPI document, by which others refer to it ("#/components/schemas/<name>").
struct MountedSchema {
  std::string name;
  std::string json;
};

struct MountedCall {
  /// The skeleton of the project, of the definition that it says. Null when a request is checked.
  void* service = nullptr;
  const krv::rpc4::ServiceDefinition* definition = nullptr;
  /// Those that are given, decoded. Values of a closed set are of it.
  const std::map<std::string, std::string>& parameters;
  std::string_view body;
  /// The field If-Match of the request: what the client has seen last, as a tag in quotes.
  std::optional<std::string> if_match = {};
  /// Work that can last asks this between its steps. Throws if the call has had the time that a call
  /// may take, or nobody waits for the reply any more. Does nothing when a request is checked.
  std::function<void()> require_time = [] {};

  /// The parameter, or nothing where it is not given.
  std::optional<std::string> parameter(const std::string& name) const;
  /// Whether a parameter that is on or off is on.
  bool has(const std::string& name) const;
};

struct MountedReply {
  std::string content_type;
  std::string body;
  /// Under which name a browser keeps the body; empty for one that it shows.
  std::string file_name = {};
  /// Fields of the header besides.
  std::vector<std::pair<std::string, std::string>> fields = {};
  /// The entries that a route has changed, for those who watch the project.
  std::vector<krv::rpc4::Subject> changed = {};
};

struct MountedRoute {
  /// The last segment of its path, a literal, and its effect: what `reads` is served by GET to who
  /// has the scope read, what `writes` by POST to who has the scope write.
  krv::rpc4::Operation operation;
  /// What it does, for the OpenAPI document: in a few words, and in full.
  std::string summary;
  std::string text;
  std::vector<MountedParameter> parameters;
  /// The media types of the body that it takes and of those that it gives.
  std::vector<std::string> request_types;
  std::vector<std::string> reply_types;
  /// Of the JSON that it takes and of that it gives, first the whole, then what it refers to. Empty
  /// for what is not JSON, or any.
  std::vector<MountedSchema> request_schemas = {};
  std::vector<MountedSchema> reply_schemas = {};
  /// It tells of changes for as long as the client listens, and has no `run`.
  bool watches = false;
  /// Whether what it does depends on MountedCall::if_match.
  bool goes_by_if_match = false;
  /// Refuses a request that cannot be served, before its project is opened or made. May be null.
  std::function<void(const MountedCall& call)> check;
  /// Whether it makes the project that it is to write to, for who asks for that by "create".
  bool can_create = true;
  /// Answers a call that would make its project, without making it; nothing where it has to be made.
  /// May be null.
  std::function<std::optional<MountedReply>(const MountedCall& call)> without_project = {};
  /// Runs in the project's turn. Throws what operations throw. One that writes may be called in the
  /// middle of another program's transaction: it waits, and gives way to nobody.
  std::function<MountedReply(const MountedCall& call)> run;
};

/// What another machine wants done with the copies that it keeps here.
struct CopyOrder {
  std::string client;
  /// As it came; empty for what concerns all copies.
  std::string file = {};
  std::string order = {};
  /// Parameters of the address; empty where they are not given.
  std::string transfer = {};
  std::string first = {};
  std::string_view body = {};
};

/// What a server has besides the services' operations.
struct Mounted {
  // NOLINTNEXTLINE(google-explicit-constructor): routes alone are the usual case
  Mounted(std::vector<MountedRoute> its_routes = {}) : routes(std::move(its_routes)) {}
  Mounted(std::initializer_list<MountedRoute> its_routes) : routes(its_routes) {}

  std::vector<MountedRoute> routes;
  /// Names the state of a project: as long as it is the same, in one run of the server, so is what
  /// reads of the project give. Called in the project's turn. Null where nobody can tell; what it
  /// throws means the same. Letters, digits and points.
  std::function<std::string(const krv::rpc4::LiveService& project)> state_of;
  /// The strong tag of an entry, in quotes: another one whenever the entry, or what it stands for, is
  /// another. Nothing where there is no such entry, or nobody can tell. Called in the project's turn.
  /// May be null.
  std::function<std::optional<std::string>(const krv::rpc4::LiveService& project,
                                           const krv::rpc4::Subject& subject)>
      tag_of;
  /// For the OpenAPI document: see openapi::add_examples. Empty for none.
  std::string examples = {};
  Page page;
  /// The contracts as generators of clients read them: texts by the names of their files.
  std::map<std::string, std::string> schemas;
  /// Does what `order` says with a file in the root on which processes try their locks, and returns
  /// what came of it. Throws HttpFault. Null where nobody can.
  std::function<std::string(const std::string& file, const std::string& order)> try_locks = {};
  /// Does what the order says, and returns what came of it, as JSON. Throws HttpFault. Any thread
  /// calls it. Null where no copies are taken.
  std::function<std::string(const CopyOrder& order)> take_copy = {};
  /// What is measured of the copies, for Prometheus. May be null.
  std::function<std::string()> copy_metrics = {};
};

/// An operation for a mounted route: no more than its name and effect.
krv::rpc4::Operation mounted_operation(std::string_view name, krv::rpc4::Effect effect);

/// GET …/changes: what changes in the project, as server-sent events.
MountedRoute changes_route();

/// The methods by which it is served.
std::vector<std::string> methods_of(const MountedRoute& route);

/// Whether it takes the parameter "create".
bool creates(const MountedRoute& route);

/// The parameters of an address. Throws HttpFault 400 for one that the route does not know or that
/// has a value that it may not have, and for a required one that is missing.
std::map<std::string, std::string> parameters_of(const MountedRoute& route, const Target& target);

}  // namespace korvane::host
