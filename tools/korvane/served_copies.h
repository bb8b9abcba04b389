#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/access/project_root.h"
#include "host/service/mounted.h"
#include "sqlite/received_copy.h"
#include "tools/korvane/copy_report.h"

namespace korvane::tools {

/// Has a server keep standing copies of another one's projects in its folder, which is the current
/// directory: what `korvane replicate --to URL` talks to (copy_orders.h). What is no copy, or was
/// written to by anybody else, is never touched. Any thread may use it.
class ServedCopies {
 public:
  /// Copies on their way at a time.
  static constexpr std::size_t kMost = 4;
  /// How long one stays that nobody goes on with: the next order of anybody removes it then.
  static constexpr std::chrono::seconds kIdle{60};
  /// Senders whose reports are kept. Further ones take the place of the oldest.
  static constexpr std::size_t kMostSenders = 16;

  /// `root` is the folder, or will be the current directory by the first order.
  explicit ServedCopies(const std::string& root = ".");

  /// Does what `order` says, and returns its answer. Throws host::HttpFault
  ///
  /// - 400 for an order, a name, a body or blocks that are not what was expected
  /// - 404 for a transfer that there is not (any more), or a copy that is not there
  /// - 409 "written-elsewhere"
  /// - 413 for an announcement beyond kMostAnnouncementBytes
  /// - 503 for too many transfers, an order beside another of its file, and locks of others
  ///
  /// and what sqlite::ReceivedCopy throws for what this server cannot do.
  std::string run(const host::CopyOrder& order);

  /// The last report of each sender for Prometheus: the lag grows until the next one.
  std::string metrics() const;

 private:
  using Clock = std::chrono::steady_clock;

  struct Entry {
    std::mutex in_use;
    std::string transfer;
    std::unique_ptr<sqlite::ReceivedCopy> copy;
    Clock::time_point last_use = Clock::now();
  };
  struct Report {
    CopyReport report;
    Clock::time_point at;
  };

  std::string confined(const std::string& file, bool makes_folders) const;
  void make_folders(const std::string& file) const;
  void close_idle();
  std::shared_ptr<Entry> entry_of(const std::string& file, bool may_make);
  void forget(const std::string& file);

  std::string list() const;
  std::string take_report(const host::CopyOrder& order);
  std::string run_on(const std::string& file, const host::CopyOrder& order);
  std::string begin(const std::string& file, Entry& entry, const host::CopyOrder& order);
  std::string go_on(const std::string& file, Entry& entry, const host::CopyOrder& order);

  const host::ProjectRoot root_;
  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Entry>> entries_;
  std::map<std::string, Report> reports_;
};

}  // namespace korvane::tools
