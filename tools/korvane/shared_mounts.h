#pragma once

#include <istream>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// What the system says of the file system that a folder is on.
namespace korvane::tools {

struct Mount {
  /// Where it is mounted.
  std::string point;
  /// "nfs4", "fuse.sshfs".
  std::string type;
  /// Of the mount and of the file system, with a comma after each: "rw,local_lock=none,".
  std::string options;
};

/// The mount that `folder`, an absolute path without links, is on. `mountinfo` is
/// /proc/self/mountinfo. Nothing where it has none.
std::optional<Mount> mount_of(const std::string& folder, std::istream& mountinfo);

/// A kind of mount on which the locks of one machine are not those of another, or one machine reads
/// late what another wrote. No check on one machine finds that.
struct UnsharedMount {
  /// How its type begins.
  std::string_view type;
  /// The option that makes it so; empty where every mount of the type is.
  std::string_view option;
  std::string_view why;
  std::string_view remedy;
};

std::span<const UnsharedMount> unshared_mounts();

/// The first of them that the mount is; null for none.
const UnsharedMount* find_unshared(const Mount& mount);

/// Whether the file system is one that several machines can have mounted.
bool is_of_several_machines(const Mount& mount);

}  // namespace korvane::tools
