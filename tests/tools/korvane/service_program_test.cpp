// The server as a service manager runs it.

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/notified.h"
#include "tests/tools/korvane/program.h"

namespace korvane::tools {
namespace {

using test::TemporaryFolder;
using test::text_of;

using testing::HasSubstr;
using testing::StartsWith;

/// The program as a child whose environment and descriptors are as a manager sets them.
class ManagedProgram : public testing::Test {
 protected:
  ~ManagedProgram() override { stop(); }

  /// Starts the server. A `socket` becomes its descriptor 3.
  void start(std::vector<std::string> options, int socket = -1) {
    process_ = ::fork();
    ASSERT_GE(process_, 0);
    if (process_ > 0) return;
    ::setenv("NOTIFY_SOCKET", manager_.path().c_str(), 1);
    ::setenv("WATCHDOG_USEC", "60000000", 1);
    if (socket >= 0) {
      ::dup2(socket, 3);
      ::setenv("LISTEN_FDS", "1", 1);
      ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
    }
    const int log = ::open(folder_.file("log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    options.insert(options.begin(), {KORVANE_PROGRAM, "serve", "--root", root_.path().string()});
    std::vector<char*> arguments;
    for (std::string& option : options) arguments.push_back(option.data());
    arguments.push_back(nullptr);
    ::execv(KORVANE_PROGRAM, arguments.data());
    ::_exit(127);
  }

  /// The next message that says something other than that the server is alive.
  std::string told() {
    std::string message = manager_.next();
    while (message == "WATCHDOG=1") message = manager_.next();
    return message;
  }

  /// Ends it; its exit code.
  int stop() {
    if (process_ <= 0) return 0;
    ::kill(process_, SIGTERM);
    return end();
  }

  /// Waits until it ends by itself.
  int end() {
    int status = 0;
    ::waitpid(std::exchange(process_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void signal(int number) const { ::kill(process_, number); }
  std::string log() const { return text_of(folder_.file("log")); }

  test::NotifySocket manager_;

 private:
  TemporaryFolder root_;
  TemporaryFolder folder_;
  pid_t process_ = 0;
};

/// Listens on a free port of the loopback address.
int listening_socket(int& port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), size), 0);
  EXPECT_EQ(::listen(socket, 8), 0);
  ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  port = ::ntohs(address.sin_port);
  return socket;
}

int status_of(int port) {
  Poco::Net::HTTPClientSession session("127.0.0.1", static_cast<Poco::UInt16>(port));
  Poco::Net::HTTPRequest request("GET", "/healthz/ready", "HTTP/1.1");
  session.sendRequest(request);
  Poco::Net::HTTPResponse response;
  session.receiveResponse(response);
  return response.getStatus();
}

TEST_F(ManagedProgram, TellsOfItsLifeInOrder) {
  start({"--listen", "127.0.0.1:0"});
  EXPECT_THAT(told(), StartsWith("READY=1\nSTATUS=serves "));
  signal(SIGHUP);
  EXPECT_THAT(told(), StartsWith("RELOADING=1\n"));
  EXPECT_THAT(told(), StartsWith("READY=1\n"));
  EXPECT_EQ(stop(), 0) << log();
  EXPECT_TRUE(told().starts_with("STOPPING=1\n"));
}

TEST_F(ManagedProgram, SaysThatItIsAliveAtOnce) {
  start({"--listen", "127.0.0.1:0"});
  std::vector<std::string> messages{manager_.next(), manager_.next()};
  EXPECT_THAT(messages, testing::Contains("WATCHDOG=1")) << log();
}

TEST_F(ManagedProgram, ServesTheSocketThatItIsGivenAndNoOther) {
  int port = 0;
  const int socket = listening_socket(port);
  // An address that nobody has: it is not looked at.
  start({"--listen", "192.0.2.1:1"}, socket);
  ::close(socket);
  EXPECT_THAT(told(), HasSubstr(" at http://127.0.0.1:" + std::to_string(port))) << log();
  EXPECT_EQ(status_of(port), 200);
  EXPECT_EQ(stop(), 0) << log();
}

TEST_F(ManagedProgram, LeavesTheSocketToTheNextServer) {
  int port = 0;
  const int socket = listening_socket(port);
  for (int i = 0; i < 2; ++i) {
    start({}, socket);
    EXPECT_THAT(told(), StartsWith("READY=1\n")) << log();
    EXPECT_EQ(status_of(port), 200);
    EXPECT_EQ(stop(), 0) << log();
    EXPECT_TRUE(told().starts_with("STOPPING=1\n"));
  }
  ::close(socket);
}

TEST_F(ManagedProgram, RefusesASocketThatDoesNotListen) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  start({}, socket);
  ::close(socket);
  EXPECT_EQ(end(), 1);
  EXPECT_THAT(log(), HasSubstr("expected one that listens for TCP"));
}

TEST(ConfigOption, IsForServeAlone) {
  const TemporaryFolder folder;
  const test::Outcome outcome = test::run_program(folder, "list a.db --config " + folder.file("x"));
  EXPECT_EQ(outcome.exit_code, 2);
}

}  // namespace
}  // namespace korvane::tools
