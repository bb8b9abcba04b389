#pragma once

#include <string>

#include "server/project_routes.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/text_of.h"

namespace korvane::test {

/// A server with the routes of schedules, and a client.
class ScheduleServer : public ::testing::Test {
 protected:
  /// Imports one of the examples.
  HttpAnswer import(const std::string& example, const std::string& parameters = "",
                    const std::string& file = "a.db") {
    const HttpAnswer answer =
        import_text(text_of(KORVANE_EXAMPLES "/" + example), parameters, file);
    EXPECT_EQ(answer.status, 200) << answer.body;
    return answer;
  }
  HttpAnswer import_text(const std::string& body, const std::string& parameters = "",
                         const std::string& file = "a.db") {
    return client_.send("POST", "/v1/projects/" + file + "/import?create=true" + parameters, body,
                        {{"Content-Type", "text/plain"}});
  }
  HttpAnswer get(const std::string& target, const std::string& file = "a.db") {
    return client_.get("/v1/projects/" + file + "/" + target);
  }

  TestServer server_{{}, std::nullopt, {}, server::project_routes()};
  HttpClient client_ = server_.client();
};

}  // namespace korvane::test
