#pragma once

#include <string>
#include <string_view>

#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/service_macros.h"
#include "platform/rpc4/operation.h"

namespace korvane::model::cad {

struct ProjectManager_Metadata {
  /// The id under which the one manager of a process is found.
  static constexpr std::string_view GlobalInstanceID = "korvane.model.cad.ProjectManager";
};

/// The operations of the manager, in order, with the effect that they may have
/// (krv::rpc4::Effect). The pairs, the dispatch by name and what is generated from them derive from
/// this list.
#define KORVANE_PROJECT_MANAGER_OPERATIONS(X)             \
  X(open, OpenProjectRequest, OpenProjectResponse, opens) \
  X(list_, ListProjectRequest, ProjectList, reads)

/// The skeleton of the service that opens projects. Failures leave an operation as exceptions.
/// Calls come one at a time. There is no virtual destructor: hold the concrete class.
class ProjectManager_Service {
 public:
  using Skeleton = ProjectManager_Service;

  ProjectManager_Service(const ProjectManager_Service&) = delete;
  ProjectManager_Service& operator=(const ProjectManager_Service&) = delete;

  static const krv::rpc4::ServiceDefinition& definition();

  const std::string& id() const { return id_; }

  KORVANE_PROJECT_MANAGER_OPERATIONS(KORVANE_DECLARE_OPERATION_PAIR)

 protected:
  explicit ProjectManager_Service(std::string id);
  ~ProjectManager_Service();

 private:
  std::string id_;
};

}  // namespace korvane::model::cad
