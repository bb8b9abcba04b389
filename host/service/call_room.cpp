#include "host/service/call_room.h"

#include <algorithm>
#include <stdexcept>

#include "platform/rpc4/services.h"

namespace korvane::host {

using krv::rpc4::LiveService;
using krv::rpc4::ServiceDefinition;

namespace {

std::set<std::string> live_ids() {
  std::set<std::string> ids;
  for (const LiveService& service : krv::rpc4::live_services()) ids.insert(service.id);
  return ids;
}

LiveService find_manager() {
  for (const LiveService& service : krv::rpc4::live_services()) {
    if (service.definition->find_opening() != nullptr) return service;
  }
  return {};
}

/// The fence ends a query that gives too many rows for what is cut off afterwards; it must let
/// those through that are to be answered with, and one more to tell that there are more.
CallLimits with_room_for_rows(CallLimits limits) {
  const auto answered = static_cast<std::int64_t>(limits.query_rows);
  limits.query.rows = std::max(limits.query.rows, answered + 1);
  return limits;
}

}  // namespace

const ServiceDefinition& project_definition() {
  const LiveService manager = find_manager();
  if (manager.definition != nullptr && manager.definition->opened != nullptr) {
    return manager.definition->opened();
  }
  // Without a plugin addresses are served as well: each says that there is none.
  for (const ServiceDefinition* const definition : krv::rpc4::service_definitions()) {
    if (definition->opened != nullptr) return definition->opened();
  }
  throw std::logic_error("no service opens projects");
}

CallRoom::CallRoom(const ProjectRoot& project_root, const CallLimits& call_limits,
                   std::size_t most_projects, Mounted its_mounted)
    : root(project_root),
      limits(with_room_for_rows(call_limits)),
      permanent_services(live_ids()),
      manager(find_manager().id),
      open_operation(manager.empty() ? nullptr : find_manager().definition->find_opening()),
      project_definition(host::project_definition()),
      mounted(std::move(its_mounted)),
      records("records of requests", call_limits.all_record_bytes),
      replies("replies", call_limits.all_reply_bytes),
      projects(project_root, most_projects, limits.opened),
      delivery(call_limits.delivery) {}

}  // namespace korvane::host
