#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace korvane::host {

/// A change of a project, as those are told that watch it.
struct Change {
  /// "add_rebar"; empty for what another program did.
  std::string operation;
  /// Who did it; empty for another program.
  std::string client;
  /// What was changed, where it is one entry: "revision" and its id.
  std::string kind;
  std::optional<std::int32_t> id;
  std::chrono::system_clock::time_point when;
};

/// Tells watchers of projects what changes there. Files are named as `ProjectRoot::confine` returns
/// them. Every function may be called from every thread.
class ChangeFeed {
  struct Watched;

 public:
  /// Changes that are kept for a watcher; one that does not take them in time misses all.
  static constexpr std::size_t kMostKept = 64;

  /// One who watches a file. Used by one thread, and outlived by the feed.
  class Watcher {
   public:
    Watcher(ChangeFeed& feed, const std::string& file);
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;
    ~Watcher();

    struct News {
      std::vector<Change> changes;
      /// There were more than could be kept: none of them is told.
      bool has_missed = false;
      /// There will be no more.
      bool has_ended = false;
    };
    /// What has come since, after at most `time`.
    News wait(std::chrono::milliseconds time);

    /// Whether the file looks different from the last time that any of its watchers asked: size and
    /// time of the file and of its write-ahead log. The caller then asks the database, and calls
    /// `saw_version`, or `look_again` where it could not.
    bool looks_changed();
    /// The file looks different to whoever asks next.
    void look_again();

   private:
    friend class ChangeFeed;

    ChangeFeed& feed_;
    Watched* watched_ = nullptr;
    const std::string file_;
    std::deque<Change> changes_;
    bool has_missed_ = false;
    bool has_ended_ = false;
    std::condition_variable has_news_;
  };

  bool is_watched(const std::string& file) const;
  /// Those for whom there is no memory miss it: what has changed is stored already.
  void publish(const std::string& file, const Change& change) noexcept;

  /// Has all who watch the file miss something.
  void miss(const std::string& file) noexcept;

  /// Notes PRAGMA data_version of the connection of a service, by its serial, in the service's turn.
  /// It is another one when another program has written: that is then told.
  void saw_version(const std::string& file, std::uint64_t serial, std::int64_t version);

  /// Ends all who watch now.
  void end_all();
  /// The same, and whoever comes then.
  void stop();

 private:
  struct Watched {
    std::list<Watcher*> watchers = {};
    std::string look = {};
    std::uint64_t serial = 0;
    std::int64_t version = 0;
  };

  static void tell(Watched& watched, const Change& change) noexcept;

  mutable std::mutex mutex_;
  std::map<std::string, Watched> files_;
  bool is_stopped_ = false;
};

}  // namespace korvane::host
