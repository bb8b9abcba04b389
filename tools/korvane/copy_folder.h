#pragma once

#include <string>

#include "tools/korvane/copy_place.h"

namespace korvane::tools {

/// A folder of this machine, or of another one's that is mounted here.
class CopyFolder final : public CopyPlace {
 public:
  /// `from` is the folder of the projects, whose folders have the permissions that those of the copies
  /// get. Throws std::runtime_error if one of them is not a folder, or is in the other.
  CopyFolder(std::string from, std::string to);

  void begin_round() override;
  std::map<std::string, sqlite::CopyNote> notes() override;
  std::optional<sqlite::CopyNote> note_of(const std::string& name) override;
  std::string header_of(const std::string& name) override;
  bool has(const std::string& name) override;
  sqlite::StandingCopy update(const std::string& project, const std::string& name,
                              const sqlite::CopyOptions& options) override;
  void remove(const std::string& name, const sqlite::CopyOptions& options) override;
  void report(const CopyReport&) override {}

 private:
  std::string path_of(const std::string& name) const;
  void make_folder(const std::string& name) const;

  const std::string from_;
  const std::string to_;
};

/// Throws std::runtime_error "\"<folder>\" is not a folder".
void require_folder(const std::string& folder);

/// Also where that cannot be told: nothing is taken for gone that may be there.
bool is_there(const std::string& path);

}  // namespace korvane::tools
