#pragma once

#include <string>

namespace korvane::tools {

/// A folder of this process alone among the temporary files, which ends with it. What a process has
/// left that was killed, the next one removes: it holds its folder locked (flock).
class WorkFolder {
 public:
  /// "<PURPOSE>-XXXXXX" in TMPDIR. Throws std::runtime_error "cannot make a folder in \"<TMPDIR>\":
  /// <reason>".
  explicit WorkFolder(const std::string& purpose);
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder();

  const std::string& path() const { return path_; }

  /// Removes the folders of that purpose in TMPDIR that are this user's and that no process holds. Those
  /// that cannot be removed stay.
  static void remove_left(const std::string& purpose);

 private:
  bool has_its_name() const;

  std::string path_;
  int folder_ = -1;
};

}  // namespace korvane::tools
