#include "tools/korvane/lock_peers.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <iostream>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "tools/korvane/exit_codes.h"

namespace korvane::tools {

namespace {

/// Longer than an order takes, which waits for ten seconds at most.
constexpr int kPatienceMilliseconds = 60'000;

[[noreturn]] void fail(const std::string& what, int reason) {
  throw std::runtime_error(what + ": " + std::system_category().message(reason));
}

client::Options options_of(const std::string& token) {
  client::Options options;
  options.token = token;
  // What is tried is whether a lock is free now.
  options.attempts = 1;
  return options;
}

}  // namespace

int run_lock_peer(const std::string& file) {
  sqlite::LockProbe probe(file);
  for (std::string order; std::getline(std::cin, order);) {
    std::cout << probe.run(order) << std::endl;
  }
  return kDone;
}

ChildLockPeer::ChildLockPeer(const std::string& file) {
  std::array<int, 2> sockets{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
    fail("cannot start a second process", errno);
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, sockets[1], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, sockets[1], STDOUT_FILENO);
  std::string program = "/proc/self/exe";
  std::string role = kLockPeerArgument;
  std::string its_file = file;
  const std::array<char*, 4> arguments = {program.data(), role.data(), its_file.data(), nullptr};
  const int result =
      ::posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(sockets[1]);
  socket_ = sockets[0];
  if (result != 0) {
    ::close(socket_);
    fail("cannot start a second process", result);
  }
}

ChildLockPeer::~ChildLockPeer() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
  ::close(socket_);
}

void ChildLockPeer::send(const std::string& order) {
  const std::string line = order + '\n';
  if (::send(socket_, line.data(), line.size(), MSG_NOSIGNAL) !=
      static_cast<::ssize_t>(line.size())) {
    fail("the second process has gone", errno);
  }
}

std::string ChildLockPeer::receive() {
  while (true) {
    const std::size_t end = received_.find('\n');
    if (end != std::string::npos) {
      std::string line = received_.substr(0, end);
      received_.erase(0, end + 1);
      return line;
    }
    pollfd readable{socket_, POLLIN, 0};
    if (::poll(&readable, 1, kPatienceMilliseconds) == 0) {
      throw std::runtime_error("the second process does not answer: the file system may hang");
    }
    std::array<char, 1024> bytes{};
    const ::ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), 0);
    if (count == 0) throw std::runtime_error("the second process has ended");
    if (count < 0 && errno != EINTR) fail("the second process has gone", errno);
    if (count > 0) received_.append(bytes.data(), static_cast<std::size_t>(count));
  }
}

ServerLockPeer::ServerLockPeer(const std::string& url, const std::string& token, std::string probe)
    : url_(url), probe_(std::move(probe)), connection_(url, options_of(token)) {}

void ServerLockPeer::send(const std::string& order) {
  reply_ = std::async(std::launch::async, [this, order] {
    client::Request request;
    request.path = "/v1/locks/" + probe_ + client::query_text({{"order", order}});
    request.repeating = client::Repeating::when_refused;
    return connection_.send(request);
  });
}

}  // namespace korvane::tools
