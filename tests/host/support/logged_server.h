#pragma once

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/log/core.hpp>
#include <nlohmann/json.hpp>

#include "host/watch/json_log.h"
#include "tests/host/support/test_server.h"

namespace korvane::test {

/// A server whose log is kept. One at a time.
class LoggedServer {
 public:
  explicit LoggedServer(const host::ModelServerLimits& limits = {},
                        std::optional<host::Tokens> tokens = std::nullopt,
                        krv::log::severity_level minimum = krv::log::trace) {
    boost::log::core::get()->set_logging_enabled(true);
    sink_ = std::make_unique<host::JsonLogSink>(minimum, [text = text_](std::string_view piece) {
      *text += piece;
      return piece.size();
    });
    server_ = std::make_unique<TestServer>(limits, std::move(tokens));
  }
  LoggedServer(const LoggedServer&) = delete;
  LoggedServer& operator=(const LoggedServer&) = delete;
  ~LoggedServer() { end(); }

  TestServer& server() { return *server_; }

  /// Ends the server, and returns all that it has logged.
  std::string end() {
    if (server_) server_->end();
    sink_.reset();
    boost::log::core::get()->set_logging_enabled(false);
    return *text_;
  }

  /// The same, line by line.
  std::vector<nlohmann::json> end_with_lines() {
    std::vector<nlohmann::json> lines;
    std::istringstream text(end());
    for (std::string line; std::getline(text, line);) lines.push_back(nlohmann::json::parse(line));
    return lines;
  }

  /// The same, of requests alone.
  std::vector<nlohmann::json> end_with_requests() {
    std::vector<nlohmann::json> requests = end_with_lines();
    std::erase_if(requests, [](const nlohmann::json& line) { return !line.contains("peer"); });
    return requests;
  }

 private:
  /// Written on the log's thread, which ends with the sink.
  std::shared_ptr<std::string> text_ = std::make_shared<std::string>();
  std::unique_ptr<host::JsonLogSink> sink_;
  std::unique_ptr<TestServer> server_;
};

}  // namespace korvane::test
