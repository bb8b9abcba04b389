#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "host/access/project_root.h"
#include "host/access/sql_fence.h"
#include "host/memory/memory_pool.h"
#include "host/service/around_query.h"
#include "host/service/change_feed.h"
#include "host/service/delivery.h"
#include "host/service/mounted.h"
#include "host/service/open_projects.h"
#include "host/service/runs.h"
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
  AroundQuery around_query = {};
  OpenProjects::Opened opened = {};
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

/// What the services are that opening a file gives: those that the live manager opens, and without
/// one those of the skeletons that come with this program.
const krv::rpc4::ServiceDefinition& project_definition();

/// What all calls of a server share. Made when the plugins' services are live.
struct CallRoom {
  CallRoom(const ProjectRoot& project_root, const CallLimits& call_limits,
           std::size_t most_projects, Mounted its_mounted);

  const ProjectRoot& root;
  const CallLimits limits;
  /// The services that are live in every run, under the same ids.
  const std::set<std::string> permanent_services;
  /// The one of them that opens projects, by its id; empty without such a plugin.
  const std::string manager;
  /// Its operation that does; null without such a plugin.
  const krv::rpc4::Operation* const open_operation;
  /// What the projects' own services are.
  const krv::rpc4::ServiceDefinition& project_definition;
  /// What is served of a project beside these operations.
  const Mounted mounted;
  MemoryPool records;
  MemoryPool replies;
  OpenProjects projects;
  Runs runs;
  ChangeFeed changes;
  /// Destroyed first: calls that run use what stands above.
  Delivery delivery;
};

}  // namespace korvane::host
