#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/table.h"

/// The parts of requests and replies that a host handles without knowing their contracts
/// (krv::rpc4::Request, krv::rpc4::Reply). A record that has no overload has no such part.
namespace korvane::rpc {

/// The file that a request names.
inline std::string& named_file(model::OpenProjectRequest& request) { return request.filename; }

/// The SQL that a request carries; empty where the client left it out.
inline std::string_view carried_sql(const model::table::GET_TABLE& request) {
  const auto query = request.params.find("query");
  if (query == request.params.end() || query->second.value_string.empty()) return {};
  return *query->second.value_string;
}

/// The rows of a reply that is a table.
inline std::vector<std::vector<Variant>>& table_rows(model::table::TABLE& reply) {
  return reply.rows;
}

/// The id of the service that a reply names.
inline const std::string& opened_service_id(const model::OpenProjectResponse& reply) {
  return reply.service_id;
}

}  // namespace korvane::rpc
