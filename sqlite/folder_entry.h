#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace korvane::sqlite {

/// "\"<name>\" is there already", and nobody has said that it may be replaced.
class AlreadyThere : public std::runtime_error {
 public:
  explicit AlreadyThere(const std::string& name)
      : std::runtime_error("\"" + name + "\" is there already") {}
};

/// A file that takes its name when it is whole: it is written as ".NAME.part" beside it. What a
/// process that was killed has left of one is begun anew by the next for the same name. Nobody else
/// may read it before.
///
/// All functions throw std::runtime_error "cannot write \"<name>\": <reason>".
class FolderEntry {
 public:
  enum class IfThere { fail, replace };

  /// `name` may be a link to where the file is to be. The new file has the permissions of
  /// `like`. Throws as well "… is being written by another program" while that is so.
  FolderEntry(const std::string& name, const std::string& like);
  /// One with those permissions.
  FolderEntry(const std::string& name, ::mode_t permissions);
  FolderEntry(const FolderEntry&) = delete;
  FolderEntry& operator=(const FolderEntry&) = delete;
  /// Removes what was written, unless it is in its place.
  ~FolderEntry();

  /// What is to be written.
  const std::string& path() const { return path_; }

  /// Writes bytes over those at `offset`.
  void overwrite(long offset, std::string_view bytes);

  /// Makes it that long, and has the disk keep the room for it.
  void reserve(std::uint64_t bytes);

  /// Has the disk take the bytes, then gives them their name, then has the disk take that. Throws
  /// AlreadyThere as well, also for a file that came meanwhile.
  void put_in_place(IfThere if_there);

 private:
  [[noreturn]] void fail() const;
  void open_locked();
  /// Whether `path_` is the file that was opened.
  bool has_its_name() const;
  void take_name(IfThere if_there) const;
  void sync_folder() const;

  std::string name_;
  std::string target_;
  std::string path_;
  int file_ = -1;
  ::mode_t mode_;
  bool is_in_place_ = false;
};

}  // namespace korvane::sqlite
