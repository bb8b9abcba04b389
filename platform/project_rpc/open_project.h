#pragma once

#include <string>
#include <vector>

#include "contracts/common/generic_reply.h"

namespace korvane::model {

/// The request of `open`.
struct OpenProjectRequest {
  /// Path of the project's database file.
  std::string filename;

  bool operator==(const OpenProjectRequest&) const = default;
};

/// The reply of `open`.
struct OpenProjectResponse : GenericReply {
  /// The id under which the project's service is found.
  std::string service_id;

  bool operator==(const OpenProjectResponse&) const = default;
};

/// The request of `list_`.
struct ListProjectRequest {
  bool operator==(const ListProjectRequest&) const = default;
};

/// One open project.
struct ProjectInfo {
  std::string service_id;
  /// The normalised path.
  std::string filename;
  /// Always empty.
  std::string extra;

  bool operator==(const ProjectInfo&) const = default;
};

/// The reply of `list_`: the open projects in order of opening.
struct ProjectList : GenericReply {
  std::vector<ProjectInfo> projects;

  bool operator==(const ProjectList&) const = default;
};

}  // namespace korvane::model
