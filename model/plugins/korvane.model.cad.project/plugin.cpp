#include "model/plugins/korvane.model.cad.project/plugin.h"

#include <utility>

namespace korvane::model::cad {

ProjectManagerPlugin::ProjectManagerPlugin() = default;
ProjectManagerPlugin::~ProjectManagerPlugin() = default;

void ProjectManagerPlugin::start() {
  manager_ = std::make_unique<krv::rpc4::Live<ProjectManager_Service_Impl>>();
}

void ProjectManagerPlugin::stop() {
  const auto manager = std::move(manager_);
  // `manager` is destroyed here, when the member is already null.
}

}  // namespace korvane::model::cad

namespace {

std::shared_ptr<krv::app::IService> make_plugin() {
  return std::make_shared<korvane::model::cad::ProjectManagerPlugin>();
}

}  // namespace

// The library's one exported record, a pointer to the factory of unstarted plugins. It stands alone
// in its section, where a host finds it without loading the library.
#if defined(_WIN32)
#pragma section("modsvc", read)
#define KORVANE_PLUGIN_RECORD __declspec(allocate("modsvc"))
#else
#define KORVANE_PLUGIN_RECORD __attribute__((section("modsvc"), visibility("default")))
#endif

extern "C" KORVANE_PLUGIN_RECORD const krv::app::ServiceFactory cad_project_manager = &make_plugin;
