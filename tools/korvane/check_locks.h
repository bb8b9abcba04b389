#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sqlite/lock_check.h"

namespace korvane::tools {

/// Tries the locks of `folder` between this process and a second one on this machine, or the server
/// at `url`, which serves the same folder. Leaves no file there. Throws std::runtime_error when a
/// second process cannot be started.
std::vector<sqlite::LockResult> try_locks(const std::string& folder,
                                          const std::optional<std::string>& url = std::nullopt,
                                          const std::string& token = "");

/// What is known of the file system of a folder that servers are to share.
struct SharedFolder {
  /// "nfs4 at /srv/projects".
  std::string mount;
  bool is_of_several_machines = false;
  /// Why it cannot be shared, and what to do; empty if nothing is known against it.
  std::string refusal;
};

SharedFolder look_at_mount(const std::string& folder);

/// Makes sure, as far as this machine can tell, that several servers may serve the folder; returns
/// what was made sure of. Throws std::runtime_error with all that speaks against it.
std::string require_shared_folder(const std::string& folder);

}  // namespace korvane::tools
