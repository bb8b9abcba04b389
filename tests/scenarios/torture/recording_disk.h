#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tests/scenarios/torture/shim_vfs.h"

namespace korvane::test {

/// Something that changed a disk, or made a change safe.
struct DiskEvent {
  enum class Kind { kCreate, kWrite, kTruncate, kSync, kRemove };

  Kind kind;
  /// The file's name, without its folder.
  std::string name;
  std::int64_t offset = 0;
  std::string bytes;
  /// Whether the folder, and so the list of its names, is synced afterwards.
  bool syncs_folder = false;
};

/// A disk that records what is done to its named files, in order.
class RecordingDisk : public ShimVfs {
 public:
  const std::vector<DiskEvent>& events() const { return events_; }
  /// Forgets what happened so far.
  void start_over() { events_.clear(); }

 protected:
  int before(const FileOperation& operation) override;
  void after(const FileOperation& operation) override;

 private:
  std::vector<DiskEvent> events_;
  bool is_created_ = false;
  /// Journals that were never synced: with the first sync SQLite's file system syncs the folder.
  std::set<std::string> new_journals_;
};

}  // namespace korvane::test
