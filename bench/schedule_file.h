#pragma once

#include <cstdint>

#include "bench/stored_project.h"

namespace korvane::bench {

/// Whether a file has the indexes that `korvane optimize` adds.
enum class Indexes { none, added };

/// A large schedule: typical bars of three revisions, stored one revision after the other.
class ScheduleFile {
 public:
  static constexpr std::int64_t kSmall = 100;
  static constexpr std::int64_t kLarge = 10'000;

  /// The file with `bars` bars; with up to 10,000 those of the first two revisions alone. Made when
  /// it is first asked for, and kept until the program ends. Whoever writes to it undoes it.
  static ScheduleFile& of(std::int64_t bars, Indexes indexes = Indexes::none);

  explicit ScheduleFile(std::int64_t bars);

  StoredProject& project() { return project_; }
  /// The revisions of 100 and of 10,000 bars.
  const RevisionRef& small_revision() const { return small_; }
  const RevisionRef& large_revision() const { return project_.revision(); }

 private:
  StoredProject project_;
  RevisionRef small_;
};

}  // namespace korvane::bench
