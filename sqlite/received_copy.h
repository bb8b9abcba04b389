#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "sqlite/backup.h"
#include "sqlite/copy_blocks.h"
#include "sqlite/folder_entry.h"
#include "sqlite/standing_copy.h"

namespace korvane::sqlite {

/// A state of a project on another machine, before its bytes come.
struct AnnouncedState {
  BlockList blocks;
  /// content_digest of the whole.
  std::string content;
  /// See CopyNote.
  std::string source;
  std::chrono::system_clock::time_point taken;
  /// Those that the copy is to have.
  ::mode_t permissions = 0600;
};

/// A state of a project that comes from another machine, block by block, for a standing copy here.
/// What the copy has of it already need not come. The copy stays as it is until all has come, is as
/// it was announced, and has been checked; then it changes as update_copy changes it. One thread at a
/// time.
class ReceivedCopy {
 public:
  /// Looks at the copy if there is one, and keeps the room for the whole file. The folder is there.
  /// Throws DatabaseError and std::runtime_error:
  ///
  /// - WrittenElsewhere
  /// - "\"<copy>\" is not a file", and what FolderEntry throws
  /// - std::invalid_argument for blocks that are not those of a file: see BlockList
  ReceivedCopy(std::string copy, AnnouncedState announced, const CopyOptions& options = {});

  /// The numbers of the blocks that have not come yet, in order.
  std::vector<std::size_t> missing() const;

  /// Blocks from `first` on, one after another, all of them whole. Throws std::invalid_argument for
  /// what was not announced so: "block <number> is not as it was announced", "expected whole blocks".
  void put(std::size_t first, std::string_view bytes);

  /// Once all have come. Throws as update_copy does, and std::invalid_argument "<number> blocks have
  /// not come" and "the content is not as it was announced".
  StandingCopy finish(const CopyOptions& options = {});

 private:
  void require_file() const;
  void take_from_copy(const CopyOptions& options);

  const std::string copy_;
  const AnnouncedState announced_;
  std::unique_ptr<FolderEntry> entry_;
  std::vector<bool> has_come_;
};

}  // namespace korvane::sqlite
