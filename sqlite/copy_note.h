#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

/// What is known of a standing copy, in a small file beside it: by it a later process knows whether
/// anybody else has written to the copy, and which state of the project it shows.
namespace korvane::sqlite {

/// In milliseconds since 1970, in the year 2255: a later time of a state cannot be counted with.
constexpr std::uint64_t kLatestTaken = 9'000'000'000'000;

struct CopyNote {
  /// The copy's header as it was left.
  std::string header;
  /// The number of the copy's file in its file system.
  std::uint64_t file = 0;
  /// The copy's content as it was left (content_digest).
  std::string content;
  /// The content that is being put in the place of that; empty when none is.
  std::string next;
  /// How the project looked that the copy shows (look_of).
  std::string source;
  /// When the copy was the same as the project.
  std::chrono::system_clock::time_point taken;
};

/// ".tower.db.copy" beside "tower.db".
std::string note_name(const std::string& copy);

/// Nothing where there is none, or one that cannot be read as such.
std::optional<CopyNote> read_note(const std::string& copy);

/// Puts it in the place of the one that is there, at once or not at all, and has the disk take it.
/// Throws what FolderEntry throws.
void write_note(const std::string& copy, const CopyNote& note, ::mode_t permissions);

void remove_note(const std::string& copy);

}  // namespace korvane::sqlite
