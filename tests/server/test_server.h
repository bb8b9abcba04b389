#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/StreamSocket.h>
#include <nlohmann/json.hpp>

#include "host/model_server.h"
#include "host/plugin.h"
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

/// A client of its own connection, kept alive between requests.
class HttpClient {
 public:
  explicit HttpClient(std::uint16_t port) : session_("127.0.0.1", port) {
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
  void close() { socket_.close(); }
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
                      std::vector<std::string> host_names = {});
  ~TestServer();

  std::uint16_t port() const { return port_; }
  std::string file(const std::string& name) const { return folder_.file(name); }
  const std::filesystem::path& folder() const { return folder_.path(); }
  host::ModelServer& server() { return *server_; }
  HttpClient client() const { return HttpClient(port_); }
  /// Opens a project and returns its service's id.
  std::string open(const std::string& filename) const;

 private:
  TemporaryFolder folder_;
  std::filesystem::path former_directory_;
  std::vector<std::unique_ptr<host::Plugin>> plugins_;
  std::uint16_t port_ = 0;
  std::unique_ptr<host::ModelServer> server_;
};

}  // namespace korvane::test
