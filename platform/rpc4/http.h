#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/rpc4/operation.h"

/// How operations are reached over HTTP: what a server and its clients must agree on.
namespace krv::rpc4 {

/// The media types of the two forms in which a record crosses the network.
inline constexpr std::string_view kJsonMediaType = "application/json";
inline constexpr std::string_view kCompactBinaryMediaType = "application/x-bond-compact-binary";
/// That of an error, a problem document (RFC 9457).
inline constexpr std::string_view kProblemMediaType = "application/problem+json";

/// The paths of operations, with the places that `project_path` and `operation_path` fill.
inline constexpr std::string_view kProjectOperationPath = "/v1/projects/{file}/{operation}";
inline constexpr std::string_view kServiceOperationPath = "/v1/{service_id}/{operation}";

/// Whether the operation is served by GET as well: it never changes anything.
bool is_served_by_get(const Operation& operation);

/// The methods that an operation is served by: "GET", "HEAD", "POST", or the last alone.
std::vector<std::string> methods_of(const Operation& operation);

/// A text as one segment of a path, percent-encoded: "a%2Fb.db".
std::string path_segment(std::string_view text);

/// The path of an operation of the project in `file`, whose name is percent-encoded into one
/// segment: "/v1/projects/a%2Fb.db/list_sheets".
std::string project_path(std::string_view file, std::string_view operation);

/// The path of an operation of the service whose id is the segment `service_segment`:
/// "/v1/korvane.model.cad.Project:1/list_sheets". The segment is taken as it is.
std::string operation_path(std::string_view service_segment, std::string_view operation);

}  // namespace krv::rpc4
