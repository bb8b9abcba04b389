#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "host/access/project_root.h"
#include "host/service/mounted.h"
#include "sqlite/received_copy.h"
#include "tools/korvane/copy_report.h"

namespace korvane::tools {

struct CopyLimits {
  /// How long the room of a transfer is kept that nobody goes on with.
  std::chrono::milliseconds idle = std::chrono::seconds(60);
  /// Of the disk, the share that no transfer may take.
  double kept_free = 0.02;
};

/// Has a server keep standing copies of another one's projects in its folder, which is the current
/// directory: what `korvane replicate --to URL` talks to (copy_orders.h). What is no copy, or was
/// written to by anybody else, is never touched. Any thread may use it.
class ServedCopies {
 public:
  /// Copies on their way at a time.
  static constexpr std::size_t kMost = 4;
  /// Senders whose reports are kept. Further ones take the place of the oldest.
  static constexpr std::size_t kMostSenders = 16;

  /// `root` is the folder, or will be the current directory by the first order.
  explicit ServedCopies(const std::string& root = ".", CopyLimits limits = {});

  /// Does what `order` says, and returns its answer. Throws host::HttpFault
  ///
  /// - 400 for an order, a name, a body or blocks that are not what was expected
  /// - 404 for a transfer that there is not (any more), or a copy that is not there
  /// - 409 "written-elsewhere"
  /// - 413 for an announcement beyond kMostAnnouncementBytes
  /// - 503 for too many transfers, one that the disk has no room for, an order beside another of its
  ///   file, and locks of others
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
  void require_room(std::uint64_t bytes) const;
  void close_idle(const std::stop_token& stop);
  std::shared_ptr<Entry> entry_of(const std::string& file, bool may_make);
  void forget(const std::string& file, const std::shared_ptr<Entry>& entry);

  std::string list() const;
  std::string take_report(const host::CopyOrder& order);
  std::string run_on(const std::string& file, const host::CopyOrder& order);
  std::string begin(const std::string& file, Entry& entry, const host::CopyOrder& order);
  std::string go_on(const std::string& file, Entry& entry, const host::CopyOrder& order);

  const host::ProjectRoot root_;
  const CopyLimits limits_;
  mutable std::mutex mutex_;
  std::condition_variable_any has_entry_;
  std::map<std::string, std::shared_ptr<Entry>> entries_;
  std::map<std::string, Report> reports_;
  /// From the first transfer on. It ends before what it looks at.
  std::jthread closing_;
};

}  // namespace korvane::tools
