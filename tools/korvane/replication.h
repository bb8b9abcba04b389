#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace korvane::tools {

struct ReplicationOptions {
  /// The folder of the projects, and that of their copies.
  std::string from;
  std::string to;
  /// Whether a copy is removed whose project is gone.
  bool is_removing = false;
  /// How long to wait for others' locks on one file: the other projects wait as well.
  std::chrono::milliseconds wait = std::chrono::seconds(5);
  /// Asked often. Once it says so, the copy at work is given up.
  std::function<bool()> is_stopped = [] { return false; };
  /// Told what people should know, a line each.
  std::function<void(const std::string& line)> tell = [](const std::string&) {};
};

/// What there is of copies at the end of a round.
struct CopyCounts {
  std::size_t current = 0;
  /// Changed since they were copied, and not tried again yet.
  std::size_t behind = 0;
  /// Could not be copied when it was tried last.
  std::size_t failing = 0;
  /// Copies that somebody else has written to.
  std::size_t written_elsewhere = 0;
  /// Copies whose project is gone.
  std::size_t without_project = 0;
};

/// Standing copies of all projects of a folder (sqlite/standing_copy.h), kept in another folder by
/// one round after another. A project that cannot be copied is tried again later, each time twice as
/// late, and holds up no other for longer than `wait`. A project that changes without a pause is
/// copied so often that a tenth of the time goes into it. One thread at a time.
class Replication {
 public:
  explicit Replication(ReplicationOptions options);

  /// Looks at all projects, and copies those that have changed and are due. Throws
  /// std::runtime_error if one of the folders cannot be read at all; what is wrong with single
  /// projects is told.
  void run_round();

  /// Whether all copies show their projects as the last round has found them, of all that there are.
  bool is_whole() const;
  const CopyCounts& counts() const { return counts_; }
  /// Copies that were written so far.
  std::uint64_t written() const { return written_; }
  /// For how long the copies have not shown all of their projects, at most: the longest of them.
  std::chrono::nanoseconds lag() const;
  /// All of it for Prometheus, in its text format.
  std::string metrics() const;

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
  std::string copy_of(const std::string& name) const;
  void look_at(const std::string& name);
  void copy(const std::string& name, Project& project);
  void fail(const std::string& name, Project& project, Project::State state,
            const std::string& text);
  void look_for_lost(const std::string& name, Project& project, bool may_remove);
  void make_folder(const std::string& name) const;
  void count();

  ReplicationOptions options_;
  std::map<std::string, Project> projects_;
  bool has_read_copies_ = false;
  /// Folders that could not be read in the last round.
  std::vector<std::string> unread_;
  CopyCounts counts_;
  std::uint64_t written_ = 0;
  std::uint64_t written_bytes_ = 0;
  std::uint64_t failed_ = 0;
  std::chrono::duration<double> round_time_{0};
  Clock::time_point round_end_;
};

}  // namespace korvane::tools
