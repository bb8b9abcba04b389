// A connection to a server that does not behave, and to one over TLS.

#include "clients/cpp/connection.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane::client {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

/// A server that answers its first request, and keeps the connection without a word from then on.
class SilentServer {
 public:
  SilentServer()
      : socket_(Poco::Net::SocketAddress("127.0.0.1", 0)), thread_([this] { answer(); }) {}
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  ~SilentServer() { thread_.join(); }

  std::string url() const { return "http://" + socket_.address().toString(); }

 private:
  void answer() {
    Poco::Net::StreamSocket connection = socket_.acceptConnection();
    std::vector<char> piece(4096);
    connection.receiveBytes(piece.data(), static_cast<int>(piece.size()));
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    connection.sendBytes(reply.data(), static_cast<int>(reply.size()));
    while (connection.receiveBytes(piece.data(), static_cast<int>(piece.size())) > 0) {
    }
  }

  Poco::Net::ServerSocket socket_;
  std::thread thread_;
};

TEST(ConnectionToAServer, IsGivenUpWhenItIsSilentForLongerThanTheRequestMayWait) {
  SilentServer server;
  Options options;
  options.attempts = 1;
  Connection connection(server.url(), options);
  Request request;
  request.path = "/";
  EXPECT_EQ(connection.send(request), "ok");
  // On the connection that is there already.
  request.most_silence = std::chrono::seconds(1);
  EXPECT_THAT([&] { connection.send(request); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot reach " + server.url())));
}

TEST(ConnectionToAServer, OverTlsNeedsAnAuthorityThatVouchesForIt) {
  const test::TemporaryFolder folder;
  const std::string certificate = folder.file("certificate.pem");
  const std::string key = folder.file("key.pem");
  const std::string make =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
      "-subj /CN=localhost -addext subjectAltName=DNS:localhost,IP:127.0.0.1 -keyout " +
      key + " -out " + certificate + " 2>" + folder.file("err");
  ASSERT_EQ(std::system(make.c_str()), 0);
  const test::ServedFolder server("--tls-cert " + certificate + " --tls-key " + key);
  ASSERT_THAT(server.url(), testing::StartsWith("https://"));
  Request request;
  request.method = "GET";
  request.path = "/healthz/ready";
  Options options;
  options.attempts = 1;
  EXPECT_THAT([&] { Connection(server.url(), options).send(request); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot reach " + server.url())));
  options.authorities = certificate;
  Connection connection(server.url(), options);
  EXPECT_NO_THROW(connection.send(request));
  request.most_silence = std::chrono::seconds(20);
  EXPECT_NO_THROW(connection.send(request));
}

}  // namespace
}  // namespace korvane::client
