#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::sqlite {

/// A process with a LockProbe of the file.
class LockPeer {
 public:
  LockPeer() = default;
  LockPeer(const LockPeer&) = delete;
  LockPeer& operator=(const LockPeer&) = delete;
  virtual ~LockPeer() = default;

  /// Whom people know it by: "this process".
  virtual std::string name() const = 0;
  /// Has it begin with an order of LockProbe.
  virtual void send(const std::string& order) = 0;
  /// What came of the order that was sent. Throws std::runtime_error when nothing comes.
  virtual std::string receive() = 0;

  std::string ask(const std::string& order) {
    send(order);
    return receive();
  }
};

/// What a shared file system must do for projects to be safe there.
struct LockRule {
  std::string_view name;
  /// What was made sure of.
  std::string_view holds;
  /// What it means if it does not hold.
  std::string_view else_means;
};

std::span<const LockRule> lock_rules();

struct LockResult {
  const LockRule* rule = nullptr;
  bool holds = false;
  /// What happened where it does not hold; else what was made sure of.
  std::string text;
};

struct LockPeers {
  /// The process that checks, on the file that nobody has made yet.
  LockPeer& own;
  /// The second process.
  LockPeer& other;
  /// Starts another one beside this process. Destroying it kills it, without a chance to tidy up.
  std::function<std::unique_ptr<LockPeer>()> start_victim;
};

/// Makes the file and tries every rule between the two processes, in order and in both directions.
/// After a file that cannot be made or seen by both it tries no further.
std::vector<LockResult> check_locks(const LockPeers& peers);

}  // namespace korvane::sqlite
