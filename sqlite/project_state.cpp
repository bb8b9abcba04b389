#include "sqlite/project_state.h"

#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <utility>

#include <boost/algorithm/hex.hpp>

#include "sqlite/database.h"
#include "sqlite/file_content.h"
#include "sqlite/page_copy.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

using std::chrono::system_clock;

/// A log that was written later than this may be written again without looking otherwise: file
/// systems tell the time in steps.
constexpr std::chrono::seconds kStepOfTime(2);

std::string time_text(const timespec& time) {
  return std::to_string(time.tv_sec) + '.' + std::to_string(time.tv_nsec);
}

/// What the system knows of a file. Empty for one that is not there.
std::string status_text(const std::string& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) return {};
  return std::to_string(status.st_ino) + ' ' + std::to_string(status.st_size) + ' ' +
         time_text(status.st_mtim) + ' ' + time_text(status.st_ctim);
}

std::string log_of(const std::string& project) { return project + "-wal"; }

/// Whether something is in the log that was written just now.
bool is_log_fresh(const std::string& project) {
  struct stat status {};
  if (::stat(log_of(project).c_str(), &status) != 0 || status.st_size == 0) return false;
  const auto written = system_clock::from_time_t(status.st_mtim.tv_sec);
  return written + kStepOfTime > system_clock::now();
}

std::string look_text(const std::string& project, const std::string& header,
                      const std::string& log) {
  const std::string status = status_text(project);
  if (status.empty()) return {};
  std::string text = status + " | ";
  boost::algorithm::hex_lower(header, std::back_inserter(text));
  return text + " | " + log;
}

::mode_t permissions_of(const std::string& file) {
  struct stat status {};
  return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0600;
}

}  // namespace

std::string look_of(const std::string& project) {
  std::string log = status_text(log_of(project));
  return look_text(project, header_of(project), log);
}

ProjectState take_state(const std::string& project, const std::string& name,
                        const CopyOptions& options) {
  ProjectState state;
  state.taken = system_clock::now();
  const bool is_fresh = is_log_fresh(project);
  const std::string log = status_text(log_of(project));
  std::unique_ptr<Database> source = begin_reading(project, options);
  require_project(*source);
  if (!is_fresh) state.source = look_text(project, header_of(*source), log);
  state.permissions = permissions_of(project);
  state.file = std::make_unique<FolderEntry>(name, state.permissions);
  const CheckReport report = copy_to_entry(*source, *state.file, options);
  source.reset();
  state.bytes = report.pages * report.page_bytes;
  state.findings = without_notes(report);
  state.content = content_digest(Database(state.file->path(), Database::Access::read));
  return state;
}

}  // namespace korvane::sqlite
