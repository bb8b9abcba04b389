#include "tools/korvane/shared_mounts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <sstream>
#include <vector>

namespace korvane::tools {

namespace {

constexpr std::string_view kOfClient = "locks stay within the machine";
constexpr std::string_view kLateReads = "reads come from a cache that may be old";

constexpr std::array kUnshared = {
    UnsharedMount{"nfs", "nolock", kOfClient, "mount it without nolock, as NFS 4.1 or later"},
    UnsharedMount{"nfs", "local_lock=all", kOfClient, "mount it with local_lock=none"},
    UnsharedMount{"nfs", "local_lock=posix", kOfClient, "mount it with local_lock=none"},
    UnsharedMount{"nfs", "nocto", kLateReads, "mount it without nocto"},
    UnsharedMount{"cifs", "nobrl", kOfClient, "mount it without nobrl"},
    UnsharedMount{"cifs", "cache=loose", kLateReads, "mount it with cache=strict"},
    UnsharedMount{"smb3", "nobrl", kOfClient, "mount it without nobrl"},
    UnsharedMount{"smb3", "cache=loose", kLateReads, "mount it with cache=strict"},
    UnsharedMount{"lustre", "localflock", kOfClient, "mount it with flock"},
    UnsharedMount{"ocfs2", "localflocks", kOfClient, "mount it without localflocks"},
    UnsharedMount{"gfs2", "localflocks", kOfClient, "mount it without localflocks"},
    UnsharedMount{"9p", "", kOfClient, "share the folder by NFS 4.1 or later"},
    UnsharedMount{"virtiofs", "", kOfClient, "share the folder by NFS 4.1 or later"},
    UnsharedMount{"vboxsf", "", kOfClient, "share the folder by NFS 4.1 or later"},
    UnsharedMount{"fuse.sshfs", "", kOfClient, "share the folder by NFS 4.1 or later"},
    UnsharedMount{"fuse.rclone", "", kOfClient, "take a file system, not a store of objects"},
    UnsharedMount{"fuse.s3fs", "", kOfClient, "take a file system, not a store of objects"},
};

constexpr std::array<std::string_view, 12> kOfSeveral = {
    "nfs",    "cifs",  "smb3", "ceph", "fuse.ceph", "fuse.glusterfs",
    "lustre", "ocfs2", "gfs2", "9p",   "virtiofs",  "fuse.sshfs"};

/// The system writes blanks and backslashes as "\040".
std::string unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string digits = text.substr(i + 1, 3);
    if (text[i] != '\\' || digits.size() != 3 ||
        digits.find_first_not_of("01234567") != digits.npos) {
      result += text[i];
      continue;
    }
    result += static_cast<char>(std::stoi(digits, nullptr, 8));
    i += 3;
  }
  return result;
}

bool is_below(const std::string& folder, const std::string& point) {
  if (point == "/" || folder == point) return true;
  return folder.starts_with(point) && folder[point.size()] == '/';
}

bool has_option(const Mount& mount, std::string_view option) {
  const std::string wanted = "," + std::string(option) + ",";
  return option.empty() || ("," + mount.options).find(wanted) != std::string::npos;
}

}  // namespace

std::optional<Mount> mount_of(const std::string& folder, std::istream& mountinfo) {
  // proc(5): id, parent, device, root, point, options, any number of fields, "-", type, source,
  // options of the file system.
  constexpr std::size_t kPoint = 4;
  std::optional<Mount> found;
  for (std::string line; std::getline(mountinfo, line);) {
    std::istringstream text(line);
    std::vector<std::string> fields;
    for (std::string field; text >> field;) fields.push_back(field);
    const auto dash = std::find(fields.begin(), fields.end(), "-");
    if (fields.end() - dash < 4 || dash - fields.begin() <= static_cast<int>(kPoint) + 1) continue;
    const std::string point = unescaped(fields[kPoint]);
    // Of mounts on one point the last is the one that is seen.
    if (!is_below(folder, point) || (found && point.size() < found->point.size())) continue;
    found = Mount{point, dash[1], fields[kPoint + 1] + "," + dash[3] + ","};
  }
  return found;
}

std::span<const UnsharedMount> unshared_mounts() { return kUnshared; }

const UnsharedMount* find_unshared(const Mount& mount) {
  for (const UnsharedMount& each : kUnshared) {
    if (mount.type.starts_with(each.type) && has_option(mount, each.option)) return &each;
  }
  return nullptr;
}

bool is_of_several_machines(const Mount& mount) {
  return std::any_of(kOfSeveral.begin(), kOfSeveral.end(),
                     [&](std::string_view type) { return mount.type.starts_with(type); });
}

}  // namespace korvane::tools
