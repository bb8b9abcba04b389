#include "tools/korvane/service_manager.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace korvane::tools {

namespace {

constexpr int kFirstSocket = 3;

/// Empty when it is not set.
std::string taken_from_environment(const char* name) {
  const char* const value = std::getenv(name);
  std::string text = value == nullptr ? "" : value;
  ::unsetenv(name);
  return text;
}

std::optional<std::int64_t> number(const std::string& text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// Whether what the manager says is meant for this process, and not for one that it was started by.
bool is_own(const std::optional<std::int64_t>& process) { return process == ::getpid(); }

std::int64_t monotonic_microseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

/// Lines would be read as further fields.
std::string on_one_line(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

}  // namespace

ServiceManager::ServiceManager() : address_(taken_from_environment("NOTIFY_SOCKET")) {
  const auto period = number(taken_from_environment("WATCHDOG_USEC"));
  const auto watched = number(taken_from_environment("WATCHDOG_PID"));
  if (period && *period > 0 && (!watched || is_own(watched))) {
    watchdog_ = std::chrono::microseconds(*period);
  }
  const auto sockets = number(taken_from_environment("LISTEN_FDS"));
  const auto listener = number(taken_from_environment("LISTEN_PID"));
  ::unsetenv("LISTEN_FDNAMES");
  if (!sockets || *sockets <= 0 || !is_own(listener)) return;
  if (*sockets > 1) {
    throw std::runtime_error("the server was started with " + std::to_string(*sockets) +
                             " sockets: expected one");
  }
  ::fcntl(kFirstSocket, F_SETFD, FD_CLOEXEC);
  socket_ = kFirstSocket;
}

void ServiceManager::ready(const std::string& status) const {
  send("READY=1\nSTATUS=" + on_one_line(status));
}

void ServiceManager::reloading() const {
  send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonic_microseconds()));
}

void ServiceManager::stopping(std::chrono::microseconds time) const {
  send("STOPPING=1\nEXTEND_TIMEOUT_USEC=" + std::to_string(time.count()));
}

void ServiceManager::alive() const { send("WATCHDOG=1"); }

void ServiceManager::send(const std::string& message) const {
  sockaddr_un address{};
  if (address_.empty() || address_.size() >= sizeof(address.sun_path)) return;
  address.sun_family = AF_UNIX;
  std::memcpy(static_cast<char*>(address.sun_path), address_.data(), address_.size());
  // The namespace of names that are no files, which the protocol writes with an @.
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return;
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
  ::sendto(socket, message.data(), message.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), size);
  ::close(socket);
}

Watchdog::Watchdog(const ServiceManager& manager, std::function<bool()> is_alive) {
  if (!manager.watchdog()) return;
  thread_ = std::thread([this, &manager, is_alive = std::move(is_alive)] {
    std::unique_lock lock(mutex_);
    do {
      if (is_alive()) manager.alive();
    } while (!changed_.wait_for(lock, *manager.watchdog() / 2, [this] { return is_ending_; }));
  });
}

Watchdog::~Watchdog() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

}  // namespace korvane::tools
