#include "tests/host/support/test_server.h"

#include <array>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <utility>

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/StreamCopier.h>
#include <Poco/String.h>
#include <gtest/gtest.h>

namespace korvane::test {

namespace {

/// SQLite takes an allocator only before anything else of it is used, which other sources of tests
/// do while the program starts.
[[gnu::constructor(101)]] void install_before_all_else() { host::install_sql_fence(); }

std::map<std::string, std::string> fields_of(const Poco::Net::HTTPResponse& response) {
  std::map<std::string, std::string> fields;
  for (const auto& [name, value] : response) fields[Poco::toLower(name)] = value;
  return fields;
}

std::string operation_path(const std::string& service, const std::string& operation) {
  return "/v1/" + service + "/" + operation;
}

}  // namespace

std::string HttpAnswer::detail() const {
  EXPECT_EQ(fields.at("content-type"), "application/problem+json") << body;
  const nlohmann::json problem = json();
  EXPECT_EQ(problem.at("status"), status);
  EXPECT_TRUE(problem.at("type").get<std::string>().starts_with("urn:korvane:problem:")) << body;
  EXPECT_FALSE(problem.at("title").get<std::string>().empty());
  return problem.at("detail");
}

nlohmann::json sql_request(const std::string& sql) {
  return {{"kind", "sql:raw"}, {"params", {{"query", {{"value_string", sql}}}}}};
}

HttpAnswer HttpClient::send(const std::string& method, const std::string& target,
                            std::string_view body, const HttpFields& fields) {
  Poco::Net::HTTPRequest request(method, target, Poco::Net::HTTPMessage::HTTP_1_1);
  if (method != "GET" && method != "HEAD") {
    request.setContentLength64(static_cast<Poco::Int64>(body.size()));
  }
  for (const auto& [name, value] : always_) request.set(name, value);
  for (const auto& [name, value] : fields) request.set(name, value);
  session_.sendRequest(request).write(body.data(), static_cast<std::streamsize>(body.size()));
  HttpAnswer answer;
  Poco::Net::HTTPResponse response;
  Poco::StreamCopier::copyToString(session_.receiveResponse(response), answer.body);
  answer.status = response.getStatus();
  answer.fields = fields_of(response);
  return answer;
}

HttpAnswer HttpClient::call(const std::string& service, const std::string& operation,
                            const nlohmann::json& request) {
  return send("POST", operation_path(service, operation), request.dump(),
              {{"Content-Type", kJson}});
}

HttpAnswer HttpClient::call_binary(const std::string& service, const std::string& operation,
                                   std::string_view request) {
  return send("POST", operation_path(service, operation), request,
              {{"Content-Type", kCompactBinary}});
}

RawConnection::RawConnection(std::uint16_t port)
    : socket_(Poco::Net::SocketAddress("127.0.0.1", port)) {
  socket_.setReceiveTimeout(Poco::Timespan(30, 0));
}

void RawConnection::send(std::string_view text) {
  while (!text.empty()) {
    const int count = socket_.sendBytes(text.data(), static_cast<int>(text.size()), MSG_NOSIGNAL);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::string RawConnection::read_all() {
  std::string text;
  std::array<char, 4096> block{};
  for (;;) {
    const int count = socket_.receiveBytes(block.data(), static_cast<int>(block.size()));
    if (count <= 0) return text;
    text.append(block.data(), static_cast<std::size_t>(count));
  }
}

HttpAnswer RawConnection::read_answer() {
  std::string head;
  const auto read_byte = [&] {
    char byte = 0;
    if (socket_.receiveBytes(&byte, 1) != 1) throw std::runtime_error("closed after: " + head);
    return byte;
  };
  while (!head.ends_with("\r\n\r\n")) head += read_byte();
  std::istringstream text(head);
  Poco::Net::HTTPResponse response;
  response.read(text);
  HttpAnswer answer;
  answer.status = response.getStatus();
  answer.fields = fields_of(response);
  for (auto left = response.hasContentLength() ? response.getContentLength64() : 0; left > 0;
       --left) {
    answer.body += read_byte();
  }
  return answer;
}

bool RawConnection::has_answer_within(std::chrono::milliseconds time) {
  return socket_.poll(Poco::Timespan(std::chrono::microseconds(time).count()),
                      Poco::Net::Socket::SELECT_READ);
}

void RawConnection::reset() {
  socket_.setLinger(true, 0);
  socket_.close();
}

TestServer::TestServer(const host::ModelServerLimits& limits, std::optional<host::Tokens> tokens,
                       std::vector<std::string> host_names, host::Mounted mounted)
    : former_directory_(std::filesystem::current_path()) {
  for (const char* const library : {KORVANE_PLUGIN_FILE, KORVANE_PROBE_PLUGIN_FILE}) {
    plugins_.push_back(std::make_unique<host::Plugin>(library));
  }
  std::filesystem::current_path(folder_.path());
  const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0), 1024);
  port_ = socket.address().port();
  server_ = std::make_unique<host::ModelServer>(
      socket, host::Gate(std::move(tokens), std::move(host_names)),
      host::ProjectRoot(folder_.path()), limits, nullptr, std::move(mounted));
}

TestServer::~TestServer() {
  end();
  std::filesystem::current_path(former_directory_);
}

void TestServer::end() {
  server_.reset();
  plugins_.clear();
}

bool TestServer::reload(std::chrono::milliseconds deadline) {
  return server_->begin_run(deadline, [&] {
    for (const auto& plugin : plugins_) plugin->restart();
  });
}

void TestServer::reload_half_way() {
  server_->begin_run(std::chrono::seconds(10), [&] {
    plugins_.front()->restart();
    throw std::runtime_error("the next plugin does not start");
  });
}

std::string TestServer::open(const std::string& filename) const {
  HttpClient its_client = client();
  return open(filename, its_client);
}

std::string TestServer::open(const std::string& filename, HttpClient& client) {
  return client.call(kManager, "open", {{"filename", filename}}).json().at("service_id");
}

}  // namespace korvane::test
