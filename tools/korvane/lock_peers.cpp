#include "tools/korvane/lock_peers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <nlohmann/json.hpp>

#include "clients/cpp/connection.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

namespace {

constexpr const char* kProgram = "/proc/self/exe";
constexpr const char* kTokenVariable = "KORVANE_TOKEN";

/// Far more than any answer has.
constexpr std::size_t kMostReplyBytes = 4096;
/// An answer that failed has the server's words besides.
constexpr std::size_t kMostLineBytes = std::size_t{128} << 10U;

std::string reason_text(int reason) { return std::system_category().message(reason); }

/// A server that is asked by order. What it says may be anything.
class AskedServer {
 public:
  AskedServer(std::string url, std::string probe)
      : url_(std::move(url)), probe_(std::move(probe)), connection_(url_, options()) {}

  std::string run(const std::string& order) {
    try {
      return order == kReach ? reach() : ask(order);
    } catch (const std::exception& failure) {
      return std::string("failed: ") + failure.what();
    }
  }

 private:
  static client::Options options() {
    client::Options options;
    if (const char* const token = std::getenv(kTokenVariable)) options.token = token;
    // What is tried is whether a lock is free now.
    options.attempts = 1;
    return options;
  }

  std::string send(client::Request request) {
    request.most_reply_bytes = kMostReplyBytes;
    return connection_.send(request);
  }

  std::string reach() {
    client::Request request;
    request.method = "GET";
    request.path = "/v1/access";
    const auto access = nlohmann::json::parse(send(request), nullptr, false);
    if (!access.is_object() || !access.contains("scopes")) {
      throw std::runtime_error(url_ + " is not a server of korvane");
    }
    return sqlite::LockProbe::kDone;
  }

  std::string ask(const std::string& order) {
    client::Request request;
    request.path = "/v1/locks/" + probe_ + client::query_text({{"order", order}});
    request.repeating = client::Repeating::when_refused;
    return send(request);
  }

  const std::string url_;
  const std::string probe_;
  client::Connection connection_;
};

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environment_with(const std::vector<std::string>& variables) {
  std::vector<std::string> all = variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string_view name = text.substr(0, text.find('=') + 1);
    const bool is_replaced = std::any_of(variables.begin(), variables.end(),
                                         [&](const auto& own) { return own.starts_with(name); });
    if (!is_replaced) all.emplace_back(text);
  }
  return all;
}

}  // namespace

int run_lock_peer(const std::vector<std::string>& arguments) {
  std::optional<sqlite::LockProbe> probe;
  std::optional<AskedServer> server;
  if (arguments.size() == 1) {
    probe.emplace(arguments[0]);
  } else {
    server.emplace(arguments.at(1), arguments[0]);
  }
  for (std::string order; std::getline(std::cin, order);) {
    // One line, whatever is in it.
    std::cout << printable(probe ? probe->run(order) : server->run(order)) << std::endl;
  }
  return kDone;
}

ProcessLockPeer::ProcessLockPeer(std::string name, std::vector<std::string> command,
                                 const std::vector<std::string>& variables,
                                 std::chrono::milliseconds patience)
    : name_(std::move(name)), patience_(patience) {
  std::array<int, 2> sockets{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
    throw std::runtime_error("cannot start a second process: " + reason_text(errno));
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, sockets[1], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, sockets[1], STDOUT_FILENO);
  std::vector<std::string> environment = environment_with(variables);
  const int result = ::posix_spawn(&process_, command.at(0).c_str(), &actions, nullptr,
                                   pointers_to(command).data(), pointers_to(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(sockets[1]);
  socket_ = sockets[0];
  if (result != 0) {
    ::close(socket_);
    throw std::runtime_error("cannot start a second process: " + reason_text(result));
  }
}

ProcessLockPeer::~ProcessLockPeer() {
  ::kill(process_, SIGKILL);
  while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
  ::close(socket_);
}

void ProcessLockPeer::require_peer() const {
  if (!failure_.empty()) throw std::runtime_error(failure_);
}

void ProcessLockPeer::lose(const std::string& why) {
  failure_ = name_ + " " + why;
  throw std::runtime_error(failure_);
}

void ProcessLockPeer::send(const std::string& order) {
  require_peer();
  const std::string line = order + '\n';
  if (::send(socket_, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT) !=
      static_cast<::ssize_t>(line.size())) {
    lose("has gone: " + reason_text(errno));
  }
}

bool ProcessLockPeer::is_readable_until(Clock::time_point end) {
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd readable{socket_, POLLIN, 0};
    const int found = ::poll(&readable, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
    if (found >= 0) return found > 0;
    if (errno != EINTR) lose("has gone: " + reason_text(errno));
  }
}

std::string ProcessLockPeer::receive() {
  require_peer();
  const Clock::time_point end = Clock::now() + patience_;
  while (true) {
    const std::size_t length = received_.find('\n');
    if (length != std::string::npos) {
      std::string line = received_.substr(0, length);
      received_.erase(0, length + 1);
      return line;
    }
    if (received_.size() > kMostLineBytes) lose("answers with more than a line");
    if (!is_readable_until(end)) {
      lose("has not answered for " + std::to_string(patience_.count()) +
           " ms: the file system may hang, or the way to it");
    }
    std::array<char, 1024> bytes{};
    const ::ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count == 0) lose("has ended");
    if (count < 0 && errno != EINTR && errno != EAGAIN) lose("has gone: " + reason_text(errno));
    if (count > 0) received_.append(bytes.data(), static_cast<std::size_t>(count));
  }
}

std::unique_ptr<sqlite::LockPeer> start_process_peer(const std::string& file) {
  return std::make_unique<ProcessLockPeer>(
      "another process", std::vector<std::string>{kProgram, kLockPeerArgument, file});
}

std::unique_ptr<sqlite::LockPeer> start_server_peer(const std::string& url,
                                                    const std::string& token,
                                                    const std::string& probe) {
  return std::make_unique<ProcessLockPeer>(
      url, std::vector<std::string>{kProgram, kLockPeerArgument, probe, url},
      std::vector<std::string>{std::string(kTokenVariable) + "=" + token});
}

}  // namespace korvane::tools
