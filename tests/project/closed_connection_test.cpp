// Alone in its program: the first connector that is registered under a key stays.

#include <memory>
#include <stdexcept>
#include <string>

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/SQLite/SessionImpl.h>
#include <Poco/Data/SessionFactory.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

/// Gives sessions that are not connected.
class ClosedConnector : public Poco::Data::SQLite::Connector {
 public:
  Poco::AutoPtr<Poco::Data::SessionImpl> createSession(const std::string&, std::size_t) override {
    Poco::AutoPtr<CountedSession> session(new CountedSession);
    session->close();
    return session;
  }
};

TEST(Project, RefusesASessionThatIsNotConnected) {
  Poco::Data::SessionFactory::instance().add(new ClosedConnector);
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
