#include "tools/korvane/check_locks.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <system_error>

#include "platform/app/lock_probe.h"
#include "tools/korvane/lock_peers.h"
#include "tools/korvane/shared_mounts.h"

namespace korvane::tools {

namespace fs = std::filesystem;
using sqlite::LockResult;

namespace {

/// The file of one check, in a folder. Destroying it removes the file and what SQLite has put
/// beside it.
class ProbeFile {
 public:
  explicit ProbeFile(const fs::path& folder) : path_(folder / new_name()) {
    remove_forgotten(folder);
  }
  ProbeFile(const ProbeFile&) = delete;
  ProbeFile& operator=(const ProbeFile&) = delete;
  ~ProbeFile() {
    std::error_code ignored;
    for (const char* const ending : {"", "-journal"}) fs::remove(path_.string() + ending, ignored);
  }

  std::string path() const { return path_.string(); }
  std::string name() const { return path_.filename().string(); }

 private:
  static std::string new_name() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::random_device random;
    std::string name(krv::app::kLockProbe);
    for (std::size_t i = 0; i < krv::app::kLockProbeDigits; ++i) name += kDigits[random() % 16];
    return name;
  }

  /// Those that checks have left that were killed.
  static void remove_forgotten(const fs::path& folder) {
    constexpr std::chrono::hours kForgotten{1};
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
      std::string name = entry.path().filename().string();
      if (name.ends_with("-journal")) name.resize(name.size() - 8);
      if (!krv::app::is_lock_probe(name)) continue;
      const auto changed = entry.last_write_time(ignored);
      if (!ignored && fs::file_time_type::clock::now() - changed > kForgotten) {
        fs::remove(entry.path(), ignored);
      }
    }
  }

  const fs::path path_;
};

std::string real_path(const std::string& folder) {
  std::error_code failure;
  const fs::path path = fs::canonical(folder, failure);
  if (failure || !fs::is_directory(path)) {
    throw std::runtime_error("\"" + folder + "\" is not a folder");
  }
  return path.string();
}

/// A server that cannot be reached, or lets nobody in, says nothing about locks.
void require_server(sqlite::LockPeer& server) {
  const std::string answer = server.ask(kReach);
  constexpr std::string_view kFailed = "failed: ";
  if (answer == sqlite::LockProbe::kDone) return;
  throw std::runtime_error(answer.substr(answer.starts_with(kFailed) ? kFailed.size() : 0));
}

}  // namespace

std::vector<LockResult> try_locks(const std::string& folder, const std::optional<std::string>& url,
                                  const std::string& token) {
  const ProbeFile file(real_path(folder));
  std::unique_ptr<sqlite::LockPeer> other;
  if (url) {
    other = start_server_peer(*url, token, file.name());
    require_server(*other);
  } else {
    other = start_process_peer(file.path());
  }
  OwnLockPeer own(file.path());
  std::vector<LockResult> results =
      sqlite::check_locks({own, *other, [&] { return start_process_peer(file.path()); }});
  if (url) {
    try {
      other->ask("close");
    } catch (const std::exception&) {
      // What it still has open it closes by itself.
    }
  }
  return results;
}

SharedFolder look_at_mount(const std::string& folder) {
  std::ifstream mountinfo("/proc/self/mountinfo");
  const std::optional<Mount> mount = mount_of(real_path(folder), mountinfo);
  if (!mount) return {"a file system that the system does not name", false, ""};
  SharedFolder seen{mount->type + " at " + mount->point, is_of_several_machines(*mount), ""};
  if (const UnsharedMount* const unshared = find_unshared(*mount)) {
    const std::string option(unshared->option);
    seen.refusal = mount->type + (option.empty() ? "" : " with " + option) + ": ";
    seen.refusal += std::string(unshared->why) + "; " + std::string(unshared->remedy);
  }
  return seen;
}

std::string require_shared_folder(const std::string& folder) {
  const std::string begin = "\"" + folder + "\" cannot be shared by several servers: ";
  const SharedFolder seen = look_at_mount(folder);
  if (!seen.refusal.empty()) throw std::runtime_error(begin + seen.refusal);
  std::string broken;
  std::string held;
  for (const LockResult& result : try_locks(folder)) {
    std::string& text = result.holds ? held : broken;
    text += (text.empty() ? "" : "; ") + std::string(result.rule->name);
    if (!result.holds) text += ": " + result.text;
  }
  if (!broken.empty()) throw std::runtime_error(begin + broken);
  std::string told = "--shared: between two processes of this machine these hold on " + seen.mount;
  told += ": " + held;
  told +=
      seen.is_of_several_machines
          ? ". Between machines korvane check --locks --with tells, and nothing else"
          : ". It is not known as a file system of several machines: share it on this one alone";
  return told;
}

}  // namespace korvane::tools
