#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/korvane/copy_place.h"
#include "tools/korvane/copy_report.h"

namespace korvane::tools {

struct ReplicationOptions {
  /// The folder of the projects.
  std::string from;
  /// Whether a copy is removed whose project is gone.
  bool is_removing = false;
  /// How long to wait for others' locks on one file: the other projects wait as well.
  std::chrono::milliseconds wait = std::chrono::seconds(5);
  /// Asked often. Once it says so, the copy at work is given up.
  std::function<bool()> is_stopped = [] { return false; };
  /// Told what people should know, a line each.
  std::function<void(const std::string& line)> tell = [](const std::string&) {};
};

/// Standing copies of all projects of a folder (sqlite/standing_copy.h), kept in another place by one
/// round after another. A project that cannot be copied is tried again later, each time twice as
/// late, and holds up no other for longer than `wait`. A project that changes without a pause is
/// copied so often that a tenth of the time goes into it. One thread at a time.
class Replication {
 public:
  /// Throws std::runtime_error "\"<from>\" is not a folder".
  Replication(ReplicationOptions options, std::unique_ptr<CopyPlace> place);

  /// Looks at all projects, and copies those that have changed and are due. Throws
  /// std::runtime_error if the folder cannot be read at all, and PlaceIsGone if the place cannot be
  /// reached: then the report says nevertheless how long the copies have not shown their projects.
  /// What is wrong with single projects is told.
  void run_round();

  /// Whether all copies show their projects as the last round has found them, of all that there are.
  bool is_whole() const;
  /// As of the last round, and the lag as of now.
  CopyReport report() const;

 private:
  using Clock = std::chrono::system_clock;
  using Steady = std::chrono::steady_clock;

  struct Project {
    enum class State {
      current,
      behind,
      failing,
      written_elsewhere,
      without_project,
      not_a_project
    };

    State state = State::behind;
    /// How project and copy looked when they were the same.
    std::string source;
    std::string header;
    /// Whether that was known once.
    bool is_known = false;
    /// When they were the same last.
    Clock::time_point whole_at;
    Steady::time_point due;
    int failures = 0;
    /// What was told of it last.
    std::string told;
    /// How it looked when it was found not to be a project.
    std::string refused;
  };

  std::string source_of(const std::string& name) const;
  /// Whether it is to be copied now.
  bool is_due(const std::string& name);
  void copy(const std::string& name, Project& project);
  void fail(const std::string& name, Project& project, Project::State state,
            const std::string& text);
  void look_for_lost(const std::set<std::string>& found, bool may_remove);
  void look_for_lost(const std::string& name, Project& project, bool may_remove);
  void count();
  std::chrono::nanoseconds lag() const;

  ReplicationOptions options_;
  std::unique_ptr<CopyPlace> place_;
  std::map<std::string, Project> projects_;
  bool has_read_copies_ = false;
  /// Folders that could not be read in the last round.
  std::vector<std::string> unread_;
  CopyReport report_;
};

}  // namespace korvane::tools
