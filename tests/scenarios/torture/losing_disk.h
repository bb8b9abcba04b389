#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/scenarios/torture/recording_disk.h"

namespace korvane::test {

/// Which of the unsynced changes survive a power cut.
enum class Survival {
  kNothing,
  kEverything,
  /// Everything but the last write, of which some sectors are missing.
  kTorn,
  /// Of each sector, of each file's length and of each name any of its states since the last sync.
  kAny,
  /// The same, and some sectors that were being written hold neither the old nor the new.
  kAnyOrGarbage,
};
inline constexpr std::array kSurvivals = {Survival::kNothing, Survival::kEverything,
                                          Survival::kTorn, Survival::kAny, Survival::kAnyOrGarbage};

/// Whether the creation and removal of names survive a power cut at once, or only after the folder
/// was synced.
enum class Folder { kSafe, kLosesNames };

/// A disk as it stands after some events: what is synced, and what may be lost.
class LosingDisk {
 public:
  /// Starts with `files`, their names and bytes synced.
  LosingDisk(const std::map<std::string, std::string>& files, Folder folder);

  void apply(const DiskEvent& event);

  /// The files after a power cut now.
  std::map<std::string, std::string> after_power_cut(Survival survival, std::mt19937& random) const;

 private:
  /// A file's content, whatever its name is now.
  struct Content {
    std::string synced;
    std::string now;
    /// The lengths since the last sync, the synced one first.
    std::vector<std::size_t> sizes;
    /// The states of each sector that was written since.
    std::map<std::size_t, std::vector<std::string>> sectors;
  };
  using ContentId = std::optional<std::size_t>;

  void write(Content& content, std::size_t offset, const std::string& bytes);
  Content& current(const std::string& name) { return contents_[*names_.at(name).back()]; }
  void name(const std::string& name, ContentId content);
  void sync_folder();
  std::string torn(const Content& content, std::mt19937& random) const;
  static std::string any(const Content& content, bool with_garbage, std::mt19937& random);

  Folder folder_;
  std::vector<Content> contents_;
  /// The files that each name has stood for since the last sync of the folder, oldest first.
  std::map<std::string, std::vector<ContentId>> names_;

  /// The content and sectors of the last event, if that was a write.
  ContentId last_written_;
  std::vector<std::size_t> last_sectors_;
};

}  // namespace korvane::test
