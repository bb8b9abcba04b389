// Alone in its program: it opens sessions in the place of the store's connector.

#include <memory>
#include <stdexcept>
#include <string>

#include <Poco/Data/SQLite/SessionImpl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/connector.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/captured_log.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

namespace {

int sessions_alive = 0;

class CountedSession : public Poco::Data::SQLite::SessionImpl {
 public:
  CountedSession() : SessionImpl(":memory:", 0) { ++sessions_alive; }
  CountedSession(const CountedSession&) = delete;
  CountedSession& operator=(const CountedSession&) = delete;

 protected:
  ~CountedSession() override { --sessions_alive; }
};

TEST(Project, RefusesASessionThatIsNotConnected) {
  const TemporaryFolder folder;
  const CapturedLog log;
  const std::string file = folder.file("a.db");
  EXPECT_THAT([&] { model::cad::Project_Service_Impl(0, file); },
              ::testing::ThrowsMessage<std::runtime_error>("Could not open database: " + file));
  EXPECT_EQ(sessions_alive, 0);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace

}  // namespace korvane::test

/// Gives sessions that are not connected.
Poco::Data::Session korvane::model::cad::open_session(const std::string&, std::size_t) {
  Poco::AutoPtr<korvane::test::CountedSession> session(new korvane::test::CountedSession);
  session->close();
  return Poco::Data::Session(session);
}
