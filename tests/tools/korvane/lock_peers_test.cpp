// The other side of a check of locks may be any program, and any server.

#include "tools/korvane/lock_peers.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/time.h>
#include <thread>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Timespan.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"

namespace korvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using test::Outcome;
using test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

constexpr milliseconds kLittlePatience{200};
/// Far less than the patience of the program.
constexpr seconds kAtOnce{20};

ProcessLockPeer shell(const std::string& script, milliseconds patience = kLittlePatience) {
  return ProcessLockPeer("the other", {"/bin/sh", "-c", script}, {}, patience);
}

TEST(ALockPeer, ThatAnswers_IsHeard) {
  ProcessLockPeer peer = shell("read order; echo \"$order is done\"", seconds(30));
  EXPECT_EQ(peer.ask("begin"), "begin is done");
}

TEST(ALockPeer, ThatIsSilent_IsGivenUp) {
  ProcessLockPeer peer = shell("exec sleep 1000");
  EXPECT_THAT([&] { peer.ask("begin"); }, ThrowsMessage<std::runtime_error>(
                                              HasSubstr("the other has not answered for 200 ms")));
}

TEST(ALockPeer, ThatNeverEndsItsLine_IsGivenUp) {
  ProcessLockPeer slow = shell("while :; do printf x; sleep 0.02; done");
  EXPECT_THROW(slow.ask("begin"), std::runtime_error);
  ProcessLockPeer fast = shell("exec cat /dev/zero", seconds(30));
  EXPECT_THAT([&] { fast.ask("begin"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("answers with more than a line")));
}

TEST(ALockPeer, ThatWasGivenUp_IsAskedNothingMore) {
  ProcessLockPeer peer = shell("exec sleep 1000", seconds(1));
  EXPECT_THROW(peer.ask("begin"), std::runtime_error);
  const auto begin = steady_clock::now();
  EXPECT_THROW(peer.ask("begin"), std::runtime_error);
  EXPECT_LT(steady_clock::now() - begin, milliseconds(900));
}

TEST(ALockPeer, ThatHasEnded_IsNotWaitedFor) {
  ProcessLockPeer peer = shell("read order; exit 0", seconds(30));
  EXPECT_THAT([&] { peer.ask("begin"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("the other has ended")));
}

/// Interrupts what this process waits for, again and again.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    ::sigaction(SIGALRM, &action, &before_);
    set(5);
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;
  ~Interruptions() {
    set(0);
    ::sigaction(SIGALRM, &before_, nullptr);
  }

 private:
  static void set(int every_milliseconds) {
    itimerval interval{};
    interval.it_interval.tv_usec = every_milliseconds * 1000;
    interval.it_value = interval.it_interval;
    ::setitimer(ITIMER_REAL, &interval, nullptr);
  }

  struct sigaction before_ {};
};

TEST(ALockPeer, ThatIsSilent_IsGivenUpAlsoWhereSignalsInterruptTheWait) {
  ProcessLockPeer peer = shell("exec sleep 10");
  const Interruptions interruptions;
  const auto begin = steady_clock::now();
  EXPECT_THROW(peer.ask("begin"), std::runtime_error);
  EXPECT_LT(steady_clock::now() - begin, seconds(8));
}

// ---- servers that mean ill

/// Answers each request, on a connection of its own, with what `answer` says for its first line,
/// and repeats `endless`, unless it is empty, until the client goes.
class HostileServer {
 public:
  using Answer = std::function<std::string(const std::string& request)>;

  explicit HostileServer(Answer answer, std::string endless = "")
      : socket_(Poco::Net::SocketAddress("127.0.0.1", 0)),
        answer_(std::move(answer)),
        endless_(std::move(endless)),
        thread_([this] { serve(); }) {}
  HostileServer(const HostileServer&) = delete;
  HostileServer& operator=(const HostileServer&) = delete;
  ~HostileServer() {
    is_stopping_ = true;
    thread_.join();
  }

  std::string url() const { return "http://" + socket_.address().toString(); }

 private:
  void serve() {
    while (!is_stopping_) {
      if (!socket_.poll(Poco::Timespan(0, 50'000), Poco::Net::Socket::SELECT_READ)) continue;
      try {
        serve_one(socket_.acceptConnection());
      } catch (const Poco::Exception&) {
        // The client has gone: a reset is a NetException, a broken pipe an IOException.
      }
    }
  }

  void serve_one(Poco::Net::StreamSocket client) const {
    client.setReceiveTimeout(Poco::Timespan(5, 0));
    std::string head;
    char byte = 0;
    while (!head.ends_with("\r\n\r\n") && client.receiveBytes(&byte, 1) == 1) head += byte;
    send(client, answer_(head.substr(0, head.find("\r\n"))));
    while (!endless_.empty() && !is_stopping_) send(client, endless_);
  }

  static void send(Poco::Net::StreamSocket& client, const std::string& text) {
    std::size_t sent = 0;
    while (sent < text.size()) {
      sent += static_cast<std::size_t>(
          client.sendBytes(text.data() + sent, static_cast<int>(text.size() - sent)));
    }
  }

  Poco::Net::ServerSocket socket_;
  const Answer answer_;
  const std::string endless_;
  std::atomic<bool> is_stopping_{false};
  std::thread thread_;
};

std::string reply(const std::string& body, const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Type: text/plain\r\n\r\n" + body;
}

bool is_greeting(const std::string& request) { return request.starts_with("GET /v1/access "); }

const std::string& access() {
  static const std::string text = reply(R"({"client":"me","scopes":["write"]})");
  return text;
}

class LocksWithAHostileServer : public testing::Test {
 protected:
  Outcome check(const HostileServer& server, const std::string& format = "csv") {
    const auto begin = steady_clock::now();
    Outcome outcome = run_program(output_, "check --quiet --format " + format + " --locks " +
                                               root_.path().string() + " --with " + server.url());
    EXPECT_LT(steady_clock::now() - begin, kAtOnce);
    EXPECT_EQ(outcome.exit_code, 1) << outcome.out << outcome.err;
    EXPECT_TRUE(std::filesystem::is_empty(root_.path()));
    return outcome;
  }

  TemporaryFolder root_;
  TemporaryFolder output_;
};

TEST_F(LocksWithAHostileServer, SayThatItIsNoServerOfKorvane) {
  HostileServer server([](const std::string&) { return reply("<h1>It works!</h1>"); });
  const Outcome outcome = check(server);
  EXPECT_THAT(outcome.err, HasSubstr(server.url() + " is not a server of korvane"));
  EXPECT_EQ(outcome.out, "");
}

TEST_F(LocksWithAHostileServer, ShowNoneOfItsControlCharacters) {
  const std::string evil = "\x1b[2J\x1b]0;owned\x07\r\nkorvane: all locks hold\n\xff\x9b";
  HostileServer server(
      [&](const std::string& request) { return is_greeting(request) ? access() : reply(evil); });
  for (const char* const format : {"table", "csv", "json"}) {
    const Outcome outcome = check(server, format);
    const std::string shown = outcome.out + outcome.err;
    for (const char* const control : {"\x1b", "\x07", "\xff", "\nkorvane: all"}) {
      EXPECT_THAT(shown, Not(HasSubstr(control))) << format;
    }
    EXPECT_THAT(shown, HasSubstr("file_is_seen")) << format;
  }
  HostileServer refusing([&](const std::string&) { return reply(evil, "403 Forbidden"); });
  EXPECT_THAT(check(refusing).err, AllOf(HasSubstr("403"), Not(HasSubstr("\x1b"))));
}

TEST_F(LocksWithAHostileServer, TakeNoAnswerWithoutAnEnd) {
  HostileServer server(
      [](const std::string& request) { return is_greeting(request) ? access() : reply(""); },
      std::string(4096, 'x'));
  EXPECT_THAT(check(server).err, HasSubstr("the reply is longer than 4096 bytes"));
  HostileServer refusing([](const std::string&) { return reply("", "500 Internal Server Error"); },
                         std::string(4096, 'x'));
  EXPECT_THAT(check(refusing).err, HasSubstr("500 xxx"));
}

TEST_F(LocksWithAHostileServer, DoNotFollowItInACircle) {
  HostileServer server([](const std::string&) {
    return "HTTP/1.1 307 Temporary Redirect\r\nConnection: close\r\nLocation: /v1/access\r\n"
           "Content-Length: 0\r\n\r\n";
  });
  EXPECT_THAT(check(server).err, HasSubstr("307"));
}

TEST_F(LocksWithAHostileServer, FailWhereItSaysYesToEverything) {
  HostileServer server(
      [](const std::string& request) { return is_greeting(request) ? access() : reply("done"); });
  EXPECT_THAT(check(server).out, HasSubstr("file_is_seen,fails"));
}

TEST_F(LocksWithAHostileServer, FailWhereItCountsWithoutAnEnd) {
  // Answers the first question rightly, and the next with a number that no counter has.
  HostileServer server([asked = 0](const std::string& request) mutable {
    if (is_greeting(request)) return access();
    if (request.find("order=value") == std::string::npos) return reply("done");
    return reply(asked++ == 0 ? "0" : std::string(300, '9'));
  });
  EXPECT_THAT(check(server).out, HasSubstr("the value cannot be read"));
}

}  // namespace
}  // namespace korvane::tools
