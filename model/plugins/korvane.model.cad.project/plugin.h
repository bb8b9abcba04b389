#pragma once

#include <memory>

#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/app/service.h"
#include "platform/rpc4/directory.h"

namespace korvane::model::cad {

/// The object that a host drives. It owns the manager service while it is started and does nothing
/// else.
class ProjectManagerPlugin : public krv::app::IService {
 public:
  ProjectManagerPlugin();
  ~ProjectManagerPlugin() override;

  /// Makes a manager. If there was one already, it is destroyed once the new one is in its place.
  void start() override;
  /// Destroys the manager and with it all open projects. Does nothing if not started.
  void stop() override;

 private:
  std::unique_ptr<krv::rpc4::Live<ProjectManager_Service_Impl>> manager_;
};

}  // namespace korvane::model::cad
