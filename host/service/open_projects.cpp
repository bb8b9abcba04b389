#include "host/service/open_projects.h"

#include <utility>

#include <Poco/Data/SQLite/SQLiteException.h>

#include "host/http/message.h"

namespace korvane::host {

std::size_t OpenProjects::size() const {
  const std::lock_guard lock(mutex_);
  return projects_.size();
}

bool OpenProjects::is_open(const std::string& file) const { return service_of(file).has_value(); }

std::optional<std::string> OpenProjects::service_of(const std::string& file) const {
  const std::lock_guard lock(mutex_);
  const auto found = projects_.find(file);
  if (found == projects_.end()) return std::nullopt;
  return found->second.service_id;
}

bool OpenProjects::is_of(const std::string& file, const FileNumber& number) const {
  const std::lock_guard lock(mutex_);
  const auto found = projects_.find(file);
  return found != projects_.end() && (!found->second.number || *found->second.number == number);
}

std::optional<std::string> OpenProjects::file_of(const std::string& service_id) const {
  const std::lock_guard lock(mutex_);
  for (const auto& [file, project] : projects_) {
    if (project.service_id == service_id) return file;
  }
  return std::nullopt;
}

std::unique_ptr<krv::rpc4::Reply> OpenProjects::open(const krv::rpc4::LiveService& manager,
                                                     const krv::rpc4::Operation& operation,
                                                     const std::string& file,
                                                     const krv::rpc4::PeerInfo& peer) {
  if (!is_open(file) && size() >= most_) {
    throw HttpFault(
        503, "the server has " + std::to_string(most_) + " projects open, and opens no more");
  }
  const bool is_new = !file.empty() && !root_.exists(file);
  std::unique_ptr<krv::rpc4::Reply> reply;
  try {
    reply = operation.request_for_file(file)->deliver(manager.service, peer);
  } catch (const Poco::Data::SQLite::DBLockedException&) {
    throw;
  } catch (...) {
    if (is_new) root_.remove_if_empty(file);
    throw;
  }
  Project project{reply->service_id(), root_.number_of(file)};
  bool was_open = false;
  {
    const std::lock_guard lock(mutex_);
    was_open = !projects_.emplace(file, std::move(project)).second;
  }
  if (opened_ && !was_open) opened_(file);
  return reply;
}

void OpenProjects::forget_all() {
  const std::lock_guard lock(mutex_);
  projects_.clear();
}

}  // namespace korvane::host
