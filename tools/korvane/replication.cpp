#include "tools/korvane/replication.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include "sqlite/copy_note.h"
#include "sqlite/file_content.h"
#include "sqlite/schema_check.h"
#include "sqlite/standing_copy.h"
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

void require_folder(const std::string& folder) {
  if (!fs::is_directory(folder)) throw std::runtime_error("\"" + folder + "\" is not a folder");
}

/// Also where that cannot be told: nothing is taken for gone that may be there.
bool is_there(const std::string& path) {
  std::error_code failure;
  return fs::exists(path, failure) || failure;
}

/// As Prometheus has the value of a label.
std::string label_text(const std::string& value) {
  std::string text;
  for (const char c : value) {
    if (c == '\\' || c == '"') text += '\\';
    if (c == '\n') {
      text += "\\n";
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

Replication::Replication(ReplicationOptions options) : options_(std::move(options)) {
  require_folder(options_.from);
  require_folder(options_.to);
  const fs::path from = fs::canonical(options_.from);
  const fs::path to = fs::canonical(options_.to);
  const auto is_within = [](const fs::path& inner, const fs::path& outer) {
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first ==
           outer.end();
  };
  if (is_within(to, from) || is_within(from, to)) {
    throw std::runtime_error("one of the folders \"" + options_.from + "\" and \"" + options_.to +
                             "\" is in the other");
  }
}

std::string Replication::source_of(const std::string& name) const {
  return (fs::path(options_.from) / name).string();
}

std::string Replication::copy_of(const std::string& name) const {
  return (fs::path(options_.to) / name).string();
}

void Replication::run_round() {
  const auto begin = Steady::now();
  require_folder(options_.to);
  const FolderContent found = read_folder(options_.from);
  for (const std::string& unread : found.unread) {
    if (std::count(unread_.begin(), unread_.end(), unread) == 0) options_.tell(unread);
  }
  unread_ = found.unread;
  if (!has_read_copies_) {
    for (const std::string& name : read_folder(options_.to).projects) {
      if (sqlite::read_note(copy_of(name))) projects_[name].whole_at = Clock::now();
    }
    has_read_copies_ = true;
  }
  for (const std::string& name : found.projects) {
    if (options_.is_stopped()) break;
    look_at(name);
  }
  // An empty folder may be one whose disk is not there.
  const bool may_remove = options_.is_removing && found.unread.empty() && !found.projects.empty();
  for (auto project = projects_.begin(); project != projects_.end();) {
    if (!found.projects.contains(project->first)) {
      look_for_lost(project->first, project->second, may_remove);
    }
    const bool is_over = project->second.state == Project::State::without_project &&
                         !is_there(copy_of(project->first));
    project = is_over ? projects_.erase(project) : std::next(project);
  }
  count();
  round_time_ = Steady::now() - begin;
  round_end_ = Clock::now();
}

void Replication::look_at(const std::string& name) {
  const auto [place, is_new] = projects_.try_emplace(name);
  Project& project = place->second;
  const auto now = Clock::now();
  if (is_new) project.whole_at = now;
  if (project.source.empty()) {
    const auto note = sqlite::read_note(copy_of(name));
    if (note && note->next.empty()) {
      project.source = note->source;
      project.header = note->header;
      project.whole_at = std::min(note->taken, now);
    }
  }
  const std::string look = sqlite::look_of(source_of(name));
  if (look.empty()) return;  // it has gone since
  if (project.state == Project::State::not_a_project && look == project.refused) return;
  if (look == project.source && sqlite::header_of(copy_of(name)) == project.header) {
    project.whole_at = now;
    project.state = Project::State::current;
    if (project.failures != 0) project.due = {};
    project.failures = 0;
    project.told.clear();
    return;
  }
  // Whoever writes to a copy hears of it at once; to copy again can wait.
  const bool is_copy_other = project.state == Project::State::current &&
                             sqlite::header_of(copy_of(name)) != project.header;
  if (project.state == Project::State::current ||
      project.state == Project::State::without_project) {
    project.state = Project::State::behind;
  }
  if (is_copy_other || Steady::now() >= project.due) copy(name, project);
}

void Replication::copy(const std::string& name, Project& project) {
  const auto begin = Steady::now();
  sqlite::CopyOptions how;
  how.wait = options_.wait;
  how.progress = [&](std::size_t, std::size_t) {
    if (options_.is_stopped()) throw Stopped();
  };
  try {
    make_folder(name);
    const sqlite::StandingCopy done = sqlite::update_copy(source_of(name), copy_of(name), how);
    project.source = done.source;
    project.header = done.header;
    project.whole_at = done.taken;
    project.state = Project::State::current;
    project.due = Steady::now() + kShareOfTime * (Steady::now() - begin);
    if (done.is_written) {
      ++written_;
      written_bytes_ += static_cast<std::uint64_t>(done.bytes);
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
  } catch (const std::exception& failure) {
    if (!is_there(source_of(name))) return;  // it has gone since
    fail(name, project, Project::State::failing, failure.what());
  }
}

void Replication::fail(const std::string& name, Project& project, Project::State state,
                       const std::string& text) {
  ++failed_;
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
    if (!may_remove && is_there(copy_of(name))) {
      options_.tell(name + " is gone; its copy is kept");
    }
  }
  if (!may_remove || !is_there(copy_of(name)) || Steady::now() < project.due) return;
  sqlite::CopyOptions how;
  how.wait = options_.wait;
  try {
    sqlite::remove_copy(copy_of(name), how);
    options_.tell(name + " is gone; its copy is removed");
  } catch (const std::exception& failure) {
    fail(name, project, Project::State::without_project, failure.what());
  }
}

void Replication::make_folder(const std::string& name) const {
  fs::path below;
  for (const fs::path& part : fs::path(name).parent_path()) {
    below /= part;
    const fs::path folder = fs::path(options_.to) / below;
    if (fs::is_directory(folder)) continue;
    fs::create_directory(folder);
    fs::permissions(folder, fs::status(fs::path(options_.from) / below).permissions());
  }
}

void Replication::count() {
  using State = Project::State;
  counts_ = {};
  for (const auto& [name, project] : projects_) {
    counts_.current += project.state == State::current ? 1 : 0;
    counts_.behind += project.state == State::behind ? 1 : 0;
    counts_.failing += project.state == State::failing ? 1 : 0;
    counts_.written_elsewhere += project.state == State::written_elsewhere ? 1 : 0;
    counts_.without_project += project.state == State::without_project ? 1 : 0;
  }
}

bool Replication::is_whole() const {
  return counts_.behind + counts_.failing + counts_.written_elsewhere == 0 && unread_.empty();
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

std::string Replication::metrics() const {
  const std::string to = "to=\"" + label_text(options_.to) + "\"";
  std::ostringstream text;
  text.precision(16);
  const auto add = [&](const char* name, const char* type, const char* help) {
    text << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
  };
  const auto add_one = [&](const char* name, const char* type, const char* help, auto value) {
    add(name, type, help);
    text << name << '{' << to << "} " << value << '\n';
  };
  using Seconds = std::chrono::duration<double>;
  add_one("korvane_copy_lag_seconds", "gauge",
          "How long the copies have not shown all of their projects, at most.",
          Seconds(lag()).count());
  add("korvane_copies", "gauge", "Projects by the state of their copies.");
  const std::array<std::pair<const char*, std::size_t>, 5> states = {
      {{"current", counts_.current},
       {"behind", counts_.behind},
       {"failing", counts_.failing},
       {"written_elsewhere", counts_.written_elsewhere},
       {"without_project", counts_.without_project}}};
  for (const auto& [state, count] : states) {
    text << "korvane_copies{state=\"" << state << "\"," << to << "} " << count << '\n';
  }
  add_one("korvane_copies_written_total", "counter", "Copies that were written.", written_);
  add_one("korvane_copied_bytes_total", "counter", "Bytes of the copies that were written.",
          written_bytes_);
  add_one("korvane_copy_failures_total", "counter", "Copies that failed.", failed_);
  add_one("korvane_copy_round_seconds", "gauge", "Time of the last round over all projects.",
          round_time_.count());
  add_one("korvane_copy_last_round_seconds", "gauge",
          "When the last round over all projects ended, in seconds since 1970.",
          Seconds(round_end_.time_since_epoch()).count());
  return std::move(text).str();
}

}  // namespace korvane::tools
