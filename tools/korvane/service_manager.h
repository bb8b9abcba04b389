#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace korvane::tools {

/// Whoever has started this process as a service, such as systemd, and wants to know how it is: the
/// protocols of sd_notify(3) and sd_listen_fds(3). Both are a few lines and fixed for good;
/// libsystemd would bring four compression and cryptography libraries into the server.
///
/// Without a manager nothing is told, nor inherited.
class ServiceManager {
 public:
  /// Reads NOTIFY_SOCKET, WATCHDOG_USEC, LISTEN_FDS and their like, and takes them out of the
  /// environment: they are this process's alone. Call it before there are other threads. Throws
  /// std::runtime_error when more than one socket was handed over.
  ServiceManager();

  /// The listening socket that the manager has opened.
  std::optional<int> socket() const { return socket_; }

  /// How often the manager wants to hear that the service is alive, or else restarts it.
  std::optional<std::chrono::microseconds> watchdog() const { return watchdog_; }

  /// `status` is for people, one line. A message that cannot be sent is dropped.
  void ready(const std::string& status) const;
  void reloading() const;
  /// It will take that long at most, which the manager is to wait for.
  void stopping(std::chrono::microseconds time) const;
  void alive() const;

 private:
  void send(const std::string& message) const;

  std::string address_;
  std::optional<int> socket_;
  std::optional<std::chrono::microseconds> watchdog_;
};

/// Tells the manager that the service is alive while it lives, twice as often as the manager asks
/// for, as long as `is_alive` says so. Does nothing where no manager watches.
class Watchdog {
 public:
  Watchdog(const ServiceManager& manager, std::function<bool()> is_alive);
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_ending_ = false;
  std::thread thread_;
};

}  // namespace korvane::tools
