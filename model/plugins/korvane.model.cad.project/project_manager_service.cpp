#include "model/plugins/korvane.model.cad.project/project_manager_service.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "platform/log/log.h"
#include "platform/rpc4/directory.h"
#include "platform/rpc4/failure.h"

namespace korvane::model::cad {

namespace {

void log_line(const wchar_t* text) {
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace) << text;
}

}  // namespace

const ProjectEntry& entry_at(const std::vector<ProjectEntry>& projects, std::uint64_t position) {
  if (position >= projects.size()) throw std::out_of_range("invalid vector<T> subscript");
  return projects[position];
}

ProjectManager_Service_Impl::ProjectManager_Service_Impl()
    : ProjectManager_Service(std::string(ProjectManager_Metadata::GlobalInstanceID)) {
  log_line(L"Starting ProjectManager_Service_Impl");
}

ProjectManager_Service_Impl::~ProjectManager_Service_Impl() {
  log_line(L"Stopping ProjectManager_Service_Impl");
  for (ProjectEntry& entry : projects_) entry.service.reset();
  projects_.clear();
  log_line(L"Stopped ProjectManager_Service_Impl");
}

void ProjectManager_Service_Impl::open(OpenProjectRequest request, OpenProjectResponse& reply) {
  if (request.filename.empty()) throw krv::rpc4::BadRequest("Missing property: filename");
  const boost::filesystem::path path = boost::filesystem::path(request.filename).lexically_normal();
  const auto known = project_index_.find(path);
  if (known != project_index_.end()) {
    reply.service_id = entry_at(projects_, known->second).service->id();
    return;
  }
  const auto index = static_cast<std::int32_t>(projects_.size());
  ProjectEntry entry{std::make_shared<krv::rpc4::Live<Project_Service_Impl>>(index, path.string()),
                     path};  // coverage: what is destroyed if the entry cannot be made
  std::string service_id = entry.service->id();
  // Both or neither: nothing can fail after the index has the path.
  projects_.reserve(projects_.size() + 1);
  project_index_.emplace(path, static_cast<std::uint64_t>(index));
  projects_.push_back(std::move(entry));
  reply.service_id = std::move(service_id);
}

void ProjectManager_Service_Impl::list_(ListProjectRequest, ProjectList& reply) {
  for (const ProjectEntry& entry : projects_) {
    ProjectInfo info;
    info.filename = entry.path.string();
    info.service_id = entry.service->id();
    reply.projects.push_back(std::move(info));
  }
}

}  // namespace korvane::model::cad
