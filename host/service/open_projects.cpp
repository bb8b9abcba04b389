#include "host/service/open_projects.h"

#include <utility>

#include <Poco/Data/SQLite/SQLiteException.h>

#include "contracts/encoding/record_codec.h"
#include "host/http/message.h"
#include "platform/project_rpc/open_project.h"

namespace korvane::host {

std::size_t OpenProjects::size() const {
  const std::lock_guard lock(mutex_);
  return services_.size();
}

bool OpenProjects::is_open(const std::string& file) const { return service_of(file).has_value(); }

std::optional<std::string> OpenProjects::service_of(const std::string& file) const {
  const std::lock_guard lock(mutex_);
  const auto found = services_.find(file);
  if (found == services_.end()) return std::nullopt;
  return found->second;
}

std::optional<std::string> OpenProjects::file_of(const std::string& service_id) const {
  const std::lock_guard lock(mutex_);
  for (const auto& [file, id] : services_) {
    if (id == service_id) return file;
  }
  return std::nullopt;
}

bond::blob OpenProjects::open(const krv::rpc4::LiveService& manager,
                              const krv::rpc4::Operation& operation, const std::string& file,
                              const krv::rpc4::PeerInfo& peer) {
  if (!is_open(file) && size() >= most_) {
    throw HttpFault(
        503, "the server has " + std::to_string(most_) + " projects open, and opens no more");
  }
  const bool is_new = !file.empty() && !root_.exists(file);
  model::OpenProjectRequest request;
  request.filename = file;
  bond::blob reply;
  try {
    reply = operation.call(manager.service, encoding::encode(request), peer);
  } catch (const Poco::Data::SQLite::DBLockedException&) {
    throw;
  } catch (...) {
    if (is_new) root_.remove_if_empty(file);
    throw;
  }
  std::string id = encoding::decode<model::OpenProjectResponse>(reply).service_id;
  const std::lock_guard lock(mutex_);
  services_.emplace(file, std::move(id));
  return reply;
}

void OpenProjects::forget_all() {
  const std::lock_guard lock(mutex_);
  services_.clear();
}

}  // namespace korvane::host
