#pragma once

#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// The free-form record of the project as a whole.
struct ProjectData {
  Properties properties;

  bool operator==(const ProjectData&) const = default;
};

/// The request of `update_project`: the record to store.
struct UpdateProject {
  ProjectData item;

  bool operator==(const UpdateProject&) const = default;
};

/// The request of `get_project`.
struct GetProject {
  bool operator==(const GetProject&) const = default;
};

/// The request of `clear`. With `reset_schema` false nothing at all is cleared.
struct ClearProjectRequest {
  bool reset_schema = true;

  bool operator==(const ClearProjectRequest&) const = default;
};

/// A message without fields.
struct ProjectCleared {
  bool operator==(const ProjectCleared&) const = default;
};

}  // namespace korvane::model::cad
