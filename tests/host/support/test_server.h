#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/StreamSocket.h>
#include <nlohmann/json.hpp>

#include "host/model_server.h"
#include "host/plugins/plugin.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

struct HttpAnswer {
  int status = 0;
  /// Names in lower case.
  std::map<std::string, std::string> fields;
  std::string body;

  nlohmann::json json() const { return nlohmann::json::parse(body); }
  /// The detail of a problem document; fails the test if it is none.
  std::string detail() const;
};

using HttpFields = std::vector<std::pair<std::string, std::string>>;

inline const std::string kJson = "application/json";
inline const std::string kCompactBinary = "application/x-bond-compact-binary";
inline const std::string kManager = "korvane.model.cad.ProjectManager";

inline HttpFields bearer(const std::string& token) {
  return {{"Authorization", "Bearer " + token}};
}

/// The request of a query in SQL.
nlohmann::json sql_request(const std::string& sql);

/// A client of its own connection, kept alive between requests. Every request has the fields of
/// `always`.
class HttpClient {
 public:
  explicit HttpClient(std::uint16_t port, HttpFields always = {})
      : session_("127.0.0.1", port), always_(std::move(always)) {
    session_.setKeepAlive(true);
  }

  HttpAnswer send(const std::string& method, const std::string& target, std::string_view body = {},
                  const HttpFields& fields = {});
  HttpAnswer get(const std::string& target, const HttpFields& fields = {}) {
    return send("GET", target, {}, fields);
  }
  /// A call with a JSON body.
  HttpAnswer call(const std::string& service, const std::string& operation,
                  const nlohmann::json& request = nlohmann::json::object());
  HttpAnswer call_binary(const std::string& service, const std::string& operation,
                         std::string_view request);

 private:
  Poco::Net::HTTPClientSession session_;
  HttpFields always_;
};

/// What is said byte by byte on a connection.
class RawConnection {
 public:
  explicit RawConnection(std::uint16_t port);

  void send(std::string_view text);
  /// All that comes until the other end closes.
  std::string read_all();
  /// The answer to one request, as its Content-Length delimits it.
  HttpAnswer read_answer();
  /// Whether the other end says something, or closes, within that time.
  bool has_answer_within(std::chrono::milliseconds time);
  /// Says no more, but can still be answered.
  void end() { socket_.shutdownSend(); }
  void close() { socket_.close(); }
  /// Closes so that the other end cannot send any more either.
  void reset();
  Poco::Net::StreamSocket& socket() { return socket_; }

 private:
  Poco::Net::StreamSocket socket_;
};

/// A server in this process, on a free port of the loopback, with the plugin of projects and the
/// probe plugin (services "probe:0" to "probe:15"). Its projects lie in a fresh folder, which is
/// the current directory as long as it lives.
class TestServer {
 public:
  explicit TestServer(const host::ModelServerLimits& limits = {},
                      std::optional<host::Tokens> tokens = std::nullopt,
                      std::vector<std::string> host_names = {}, host::Mounted mounted = {});
  ~TestServer();

  std::uint16_t port() const { return port_; }
  std::string file(const std::string& name) const { return folder_.file(name); }
  const std::filesystem::path& folder() const { return folder_.path(); }
  host::ModelServer& server() { return *server_; }
  HttpClient client() const { return HttpClient(port_); }
  HttpClient client_of(const std::string& token) const { return HttpClient(port_, bearer(token)); }
  /// Opens a project and returns its service's id.
  std::string open(const std::string& filename) const;
  /// The same by a client whose next requests are to be logged after this one.
  static std::string open(const std::string& filename, HttpClient& client);
  /// Stops the server and its plugins. The files stay.
  void end();
  /// Restarts the plugins, as a server does when it is told to. False when calls still run.
  bool reload(std::chrono::milliseconds deadline = std::chrono::seconds(10));
  /// The same, and fails when the plugin of projects has been restarted. Throws that failure.
  void reload_half_way();

 private:
  TemporaryFolder folder_;
  std::filesystem::path former_directory_;
  std::vector<std::unique_ptr<host::Plugin>> plugins_;
  std::uint16_t port_ = 0;
  std::unique_ptr<host::ModelServer> server_;
};

}  // namespace korvane::test
