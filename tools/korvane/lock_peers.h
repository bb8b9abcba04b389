#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

#include "sqlite/lock_check.h"
#include "sqlite/lock_probe.h"

/// The processes between which the locks of a folder are tried.
namespace korvane::tools {

/// First argument of the program when it is the second process. What is after it, `run_lock_peer`
/// takes.
constexpr const char* kLockPeerArgument = "--lock-peer";

/// Does what each line of the standard input says, and prints a line for each: with a file of this
/// machine, or with the name of one and the address of a server, which has it in its folder. The
/// token for the server is that of the environment. Returns the exit code at the end of the input.
int run_lock_peer(const std::vector<std::string>& arguments);

/// What `run_lock_peer` does for a server besides: "done" if it lets the client in.
constexpr const char* kReach = "reach";

/// This process.
class OwnLockPeer : public sqlite::LockPeer {
 public:
  explicit OwnLockPeer(const std::string& file) : probe_(file) {}

  std::string name() const override { return "this process"; }
  void send(const std::string& order) override { order_ = order; }
  std::string receive() override { return probe_.run(order_); }

 private:
  sqlite::LockProbe probe_;
  std::string order_;
};

/// A program that answers each line with a line, and does not outlive the object. One that has
/// failed once is asked nothing more: `send` and `receive` throw the same again at once. Neither moved nor copied.
class ProcessLockPeer : public sqlite::LockPeer {
 public:
  /// For an answer. Longer than an order takes, which waits for ten seconds at most.
  static constexpr std::chrono::milliseconds kPatience{60'000};

  /// `command` is a program with its arguments, which get the variables besides those of this process.
  /// Throws std::runtime_error when it does not start.
  ProcessLockPeer(std::string name, std::vector<std::string> command,
                  const std::vector<std::string>& variables = {},
                  std::chrono::milliseconds patience = kPatience);
  ProcessLockPeer(const ProcessLockPeer&) = delete;
  ProcessLockPeer& operator=(const ProcessLockPeer&) = delete;
  ~ProcessLockPeer() override;

  std::string name() const override { return name_; }
  void send(const std::string& order) override;
  std::string receive() override;

 private:
  using Clock = std::chrono::steady_clock;

  void require_peer() const;
  [[noreturn]] void lose(const std::string& why);
  bool is_readable_until(Clock::time_point end);

  const std::string name_;
  const std::chrono::milliseconds patience_;
  pid_t process_ = 0;
  int socket_ = -1;
  std::string received_;
  /// Why it is asked nothing more; empty if it is.
  std::string failure_;
};

/// This program once more.
std::unique_ptr<sqlite::LockPeer> start_process_peer(const std::string& file);

/// A server that serves the folder; `probe` is the name of the file in it. A process of its own talks
/// to it: whatever the server does, it can be ended.
std::unique_ptr<sqlite::LockPeer> start_server_peer(const std::string& url,
                                                    const std::string& token,
                                                    const std::string& probe);

}  // namespace korvane::tools
