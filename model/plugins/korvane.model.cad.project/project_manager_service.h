#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include <boost/filesystem/path.hpp>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "platform/project_rpc/project_manager_service.h"

namespace korvane::model::cad {

/// One open project.
struct ProjectEntry {
  /// The only long-lived reference to the service.
  std::shared_ptr<Project_Service_Impl> service;
  /// The normalised path under which it was opened.
  boost::filesystem::path path;
};

/// The entry at `position`. Throws std::out_of_range "invalid vector<T> subscript" beyond the end.
const ProjectEntry& entry_at(const std::vector<ProjectEntry>& projects, std::uint64_t position);

/// Orders normalised paths by their text, which is equal exactly when their elements are. Comparing
/// the elements allocates, inside a function of the library that must not throw: running out of
/// memory there would end the process.
struct TextOrder {
  bool operator()(const boost::filesystem::path& left,
                  const boost::filesystem::path& right) const noexcept {
    return left.native() < right.native();
  }
};

/// Turns file names into open projects: each file is opened at most once, and stays open until the
/// manager is destroyed. Calls come one at a time; no lock is taken.
class ProjectManager_Service_Impl : public ProjectManager_Service {
 public:
  /// Starts with nothing open. Logs "Starting ProjectManager_Service_Impl" at severity 0.
  ProjectManager_Service_Impl();
  /// Closes the projects in order of opening, between the lines "Stopping …" and "Stopped …".
  ~ProjectManager_Service_Impl();

  /// `open`: throws std::runtime_error "Missing property: filename" for an empty name, and what the
  /// project's constructor throws; nothing is recorded then. Names with the same text after
  /// normalising are one project; nothing else is compared.
  /// `list_`: the open projects in order of opening.
  KORVANE_PROJECT_MANAGER_OPERATIONS(KORVANE_OVERRIDE_OPERATION)

 private:
  std::vector<ProjectEntry> projects_;
  std::map<boost::filesystem::path, std::uint64_t, TextOrder> project_index_;
};

}  // namespace korvane::model::cad
