#include "tools/korvane/replication.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <utility>

#include "sqlite/copy_note.h"
#include "sqlite/project_state.h"
#include "sqlite/schema_check.h"
#include "sqlite/standing_copy.h"
#include "tools/korvane/copy_folder.h"
#include "tools/korvane/project_folder.h"

namespace korvane::tools {

namespace fs = std::filesystem;
using std::chrono::seconds;

namespace {

constexpr seconds kFirstPause(1);
constexpr int kMostDoublings = 6;
/// Of the time, one such part may go into a project that changes without a pause.
constexpr int kShareOfTime = 10;

/// The copy at work is to be given up.
class Stopped : public std::exception {};

}  // namespace

Replication::Replication(ReplicationOptions options, std::unique_ptr<CopyPlace> place)
    : options_(std::move(options)), place_(std::move(place)) {
  require_folder(options_.from);
}

std::string Replication::source_of(const std::string& name) const {
  return (fs::path(options_.from) / name).string();
}

void Replication::run_round() {
  const auto begin = Steady::now();
  std::exception_ptr gone;
  const auto unless_gone = [&](auto work) {
    if (gone) return;
    try {
      work();
    } catch (const PlaceIsGone&) {
      gone = std::current_exception();
    }
  };
  unless_gone([&] { place_->begin_round(); });
  const FolderContent found = read_folder(options_.from);
  for (const std::string& unread : found.unread) {
    if (std::count(unread_.begin(), unread_.end(), unread) == 0) options_.tell(unread);
  }
  unread_ = found.unread;
  unless_gone([&] {
    if (has_read_copies_) return;
    for (const auto& [name, note] : place_->notes()) {
      projects_.try_emplace(name).first->second.whole_at = Clock::now();
    }
    has_read_copies_ = true;
  });
  for (const std::string& name : found.projects) {
    if (options_.is_stopped()) break;
    if (is_due(name)) unless_gone([&] { copy(name, projects_[name]); });
  }
  // An empty folder may be one whose disk is not there.
  const bool may_remove = options_.is_removing && found.unread.empty() && !found.projects.empty();
  unless_gone([&] { look_for_lost(found.projects, may_remove); });
  count();
  if (gone) std::rethrow_exception(gone);
  report_.round_time = Steady::now() - begin;
  report_.round_end = Clock::now();
  place_->report(report());
}

void Replication::look_for_lost(const std::set<std::string>& found, bool may_remove) {
  for (auto project = projects_.begin(); project != projects_.end();) {
    if (!found.contains(project->first)) {
      look_for_lost(project->first, project->second, may_remove);
    }
    const bool is_over =
        project->second.state == Project::State::without_project && !place_->has(project->first);
    project = is_over ? projects_.erase(project) : std::next(project);
  }
}

bool Replication::is_due(const std::string& name) {
  const auto [place, is_new] = projects_.try_emplace(name);
  Project& project = place->second;
  const auto now = Clock::now();
  if (is_new) project.whole_at = now;
  if (project.source.empty()) {
    const auto note = place_->note_of(name);
    if (note && note->next.empty()) {
      project.source = note->source;
      project.header = note->header;
      if (!project.is_known) project.whole_at = std::min(note->taken, now);
    }
  }
  project.is_known = project.is_known || !project.source.empty();
  const std::string look = sqlite::look_of(source_of(name));
  if (look.empty()) return false;  // it has gone since
  if (project.state == Project::State::not_a_project && look == project.refused) return false;
  if (look == project.source && place_->header_of(name) == project.header) {
    project.whole_at = now;
    project.state = Project::State::current;
    if (project.failures != 0) project.due = {};
    project.failures = 0;
    project.told.clear();
    return false;
  }
  // Whoever writes to a copy hears of it at once; to copy again can wait.
  const bool is_copy_other =
      project.state == Project::State::current && place_->header_of(name) != project.header;
  if (project.state == Project::State::current ||
      project.state == Project::State::without_project) {
    project.state = Project::State::behind;
  }
  return is_copy_other || Steady::now() >= project.due;
}

void Replication::copy(const std::string& name, Project& project) {
  const auto begin = Steady::now();
  sqlite::CopyOptions how;
  how.wait = options_.wait;
  how.progress = [&](std::size_t, std::size_t) {
    if (options_.is_stopped()) throw Stopped();
  };
  try {
    const sqlite::StandingCopy done = place_->update(source_of(name), name, how);
    project.source = done.source;
    project.header = done.header;
    project.whole_at = done.taken;
    project.state = Project::State::current;
    project.due = Steady::now() + kShareOfTime * (Steady::now() - begin);
    if (done.is_written) {
      ++report_.written;
      report_.written_bytes += static_cast<std::uint64_t>(done.bytes);
    }
    if (project.failures != 0) options_.tell(name + " is copied again");
    project.failures = 0;
    project.told.clear();
  } catch (const Stopped&) {
    project.state = Project::State::behind;
  } catch (const sqlite::NotAProject& failure) {
    project.state = Project::State::not_a_project;
    project.refused = sqlite::look_of(source_of(name));
    options_.tell(std::string("not copied: ") + failure.what());
  } catch (const sqlite::WrittenElsewhere& failure) {
    fail(name, project, Project::State::written_elsewhere, failure.what());
  } catch (const PlaceIsGone&) {
    // What was sent last may have come to its end there.
    project.source.clear();
    project.state = Project::State::behind;
    throw;
  } catch (const std::exception& failure) {
    if (!is_there(source_of(name))) return;  // it has gone since
    fail(name, project, Project::State::failing, failure.what());
  }
}

void Replication::fail(const std::string& name, Project& project, Project::State state,
                       const std::string& text) {
  ++report_.failed;
  project.source.clear();
  project.state = state;
  project.due = Steady::now() + kFirstPause * (1 << std::min(project.failures, kMostDoublings));
  ++project.failures;
  // A line each time would fill the log.
  if (project.told != text) options_.tell(name + " is not copied: " + text);
  project.told = text;
}

void Replication::look_for_lost(const std::string& name, Project& project, bool may_remove) {
  if (is_there(source_of(name))) {
    using State = Project::State;
    const bool is_told = project.state == State::failing && Steady::now() < project.due;
    if (project.state == State::not_a_project || is_told) return;
    return fail(name, project, Project::State::failing,
                "\"" + source_of(name) + "\" cannot be read, or does not begin as a database does");
  }
  if (project.state != Project::State::without_project) {
    project.state = Project::State::without_project;
    project.told.clear();
    project.failures = 0;
    project.due = {};
    if (!may_remove && place_->has(name)) {
      options_.tell(name + " is gone; its copy is kept");
    }
  }
  if (!may_remove || !place_->has(name) || Steady::now() < project.due) return;
  sqlite::CopyOptions how;
  how.wait = options_.wait;
  try {
    place_->remove(name, how);
    options_.tell(name + " is gone; its copy is removed");
  } catch (const PlaceIsGone&) {
    throw;
  } catch (const std::exception& failure) {
    fail(name, project, Project::State::without_project, failure.what());
  }
}

void Replication::count() {
  using State = Project::State;
  CopyCounts counts;
  for (const auto& [name, project] : projects_) {
    counts.current += project.state == State::current ? 1 : 0;
    counts.behind += project.state == State::behind ? 1 : 0;
    counts.failing += project.state == State::failing ? 1 : 0;
    counts.written_elsewhere += project.state == State::written_elsewhere ? 1 : 0;
    counts.without_project += project.state == State::without_project ? 1 : 0;
  }
  report_.counts = counts;
}

bool Replication::is_whole() const {
  const CopyCounts& counts = report_.counts;
  return counts.behind + counts.failing + counts.written_elsewhere == 0 && unread_.empty();
}

std::chrono::nanoseconds Replication::lag() const {
  using State = Project::State;
  const auto now = Clock::now();
  std::chrono::nanoseconds lag{0};
  for (const auto& [name, project] : projects_) {
    const bool is_behind = project.state == State::behind || project.state == State::failing ||
                           project.state == State::written_elsewhere;
    if (is_behind) lag = std::max(lag, std::chrono::nanoseconds(now - project.whole_at));
  }
  return lag;
}

CopyReport Replication::report() const {
  CopyReport report = report_;
  report.lag = lag();
  return report;
}

}  // namespace korvane::tools
