#include "host/service/server_state.h"

#include <utility>

#include <sqlite3.h>

#include "host/service/openapi.h"
#include "host/watch/log_writer.h"

namespace korvane::host {

void Visits::enter(const std::string& client) {
  const std::lock_guard lock(mutex_);
  std::size_t& count = counts_[client];
  if (count >= most_) {
    throw HttpFault(429, "too many requests of \"" + client + "\" at a time",
                    {{"Retry-After", "1"}});
  }
  ++count;
}

void Visits::leave(const std::string& client) {
  const std::lock_guard lock(mutex_);
  const auto found = counts_.find(client);
  if (--found->second == 0) counts_.erase(found);
}

Visit::Visit(Visits& visits, Client client) : visits_(visits), client_(std::move(client)) {
  visits_.enter(client_.name);
}

Visit::~Visit() { visits_.leave(client_.name); }

ServerState::ServerState(Gate its_gate, const ProjectRoot& root, const ServerLimits& limits,
                         Mounted mounted, std::function<std::size_t()> count_connections)
    : gate(std::move(its_gate)),
      visits(limits.requests_per_client),
      page(std::move(mounted.page)),
      schemas(std::move(mounted.schemas)),
      try_locks(std::move(mounted.try_locks)),
      take_copy(std::move(mounted.take_copy)),
      copy_metrics(std::move(mounted.copy_metrics)),
      openapi(
          openapi_document(described_services(), mounted.routes, Edition::whole, mounted.examples)),
      openapi_of_json(
          openapi_document(described_services(), mounted.routes, Edition::json, mounted.examples)),
      openapi_3_0(openapi_document(described_services(), mounted.routes, Edition::json_3_0,
                                   mounted.examples)),
      bodies("bodies of requests", limits.all_body_bytes),
      room(root, limits, limits.open_projects, std::move(mounted)),
      count_connections_(std::move(count_connections)) {}

std::string ServerState::metrics_text() {
  Metrics::Levels levels;
  levels.queued_calls = room.delivery.depth();
  levels.oldest_call = room.delivery.age_of_oldest();
  levels.connections = count_connections_();
  levels.open_projects = room.projects.size();
  levels.held_bytes = {{"bodies", bodies.held()},
                       {"records", room.records.held()},
                       {"replies", room.replies.held()},
                       {"sqlite", static_cast<std::uint64_t>(sqlite3_memory_used())}};
  levels.lost_log_lines = LogWriter::lost();
  return metrics.text(levels) + (copy_metrics ? copy_metrics() : "");
}

}  // namespace korvane::host
