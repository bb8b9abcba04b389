#pragma once

#include <future>
#include <memory>
#include <string>
#include <sys/types.h>

#include "clients/cpp/connection.h"
#include "sqlite/lock_check.h"
#include "sqlite/lock_probe.h"

/// The processes between which the locks of a folder are tried.
namespace korvane::tools {

/// First argument of the program when it is the second process; the file is the second one.
constexpr const char* kLockPeerArgument = "--lock-peer";

/// Does what each line of the standard input says with the file, and prints a line for each. Returns
/// the exit code at the end of the input.
int run_lock_peer(const std::string& file);

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

/// This program in a process of its own, which does not outlive the object.
class ChildLockPeer : public sqlite::LockPeer {
 public:
  /// Throws std::runtime_error when it does not start.
  explicit ChildLockPeer(const std::string& file);
  ~ChildLockPeer() override;

  std::string name() const override { return "another process"; }
  void send(const std::string& order) override;
  std::string receive() override;

 private:
  pid_t process_ = 0;
  int socket_ = -1;
  std::string received_;
};

/// A server that serves the folder.
class ServerLockPeer : public sqlite::LockPeer {
 public:
  /// `probe` is the name of the file in its folder.
  ServerLockPeer(const std::string& url, const std::string& token, std::string probe);

  std::string name() const override { return url_; }
  void send(const std::string& order) override;
  std::string receive() override { return reply_.get(); }

 private:
  const std::string url_;
  const std::string probe_;
  client::Connection connection_;
  std::future<std::string> reply_;
};

}  // namespace korvane::tools
