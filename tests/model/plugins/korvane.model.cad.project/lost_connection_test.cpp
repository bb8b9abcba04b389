// In a program of its own: it replaces the function that opens sessions.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SessionImpl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/connector.h"
#include "tests/model/plugins/korvane.model.cad.project/content_test.h"
#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

/// How many of the sessions that were opened are alive.
int sessions_alive = 0;
/// Whether sessions are closed as soon as they are opened.
bool gives_closed_sessions = false;

class CountedSession : public Poco::Data::SQLite::SessionImpl {
 public:
  explicit CountedSession(const std::string& filename) : SessionImpl(filename, 0) {
    ++sessions_alive;
  }
  CountedSession(const CountedSession&) = delete;
  CountedSession& operator=(const CountedSession&) = delete;

 protected:
  ~CountedSession() override { --sessions_alive; }
};

/// The session that was opened last, to be closed while the project has it.
CountedSession* last_session = nullptr;

TEST(Opening, RefusesASessionThatIsNotConnected) {
  const TemporaryFolder folder;
  const CapturedLog log;
  const std::string file = folder.file("a.db");
  gives_closed_sessions = true;
  EXPECT_THAT([&] { Project_Service_Impl(0, file); },
              ThrowsMessage<std::runtime_error>("Could not open database: " + file));
  gives_closed_sessions = false;
  EXPECT_EQ(sessions_alive, 0);
  EXPECT_THAT(log.lines(), IsEmpty());
}

/// A project that loses its connection.
class LostConnection : public StoreTest {
 protected:
  void lose_connection() {
    before_ = counts();
    last_session->close();
  }
  void expect_nothing_changed() const { EXPECT_EQ(counts(), before_); }
  auto fails() const { return misses_connection_to(file()); }

 private:
  std::vector<std::int64_t> before_;
};

/// With one record of the entity, whose uid is "u-1".
template <class Entity>
class EntityWithoutConnection : public EntityTest<Entity> {
 protected:
  EntityWithoutConnection() {
    this->create(this->record("a", "u-1"));
    before_ = this->all_of(Entity::table);
    last_session->close();
  }
  ~EntityWithoutConnection() override { EXPECT_EQ(this->all_of(Entity::table), before_); }

  auto fails() const { return misses_connection_to(this->file()); }

  Rows before_;
};
TYPED_TEST_SUITE(EntityWithoutConnection, Entities, EntityNames);

TYPED_TEST(EntityWithoutConnection, FailsToBeWritten) {
  using Ref = typename TypeParam::Ref;
  Ref created;
  EXPECT_THAT([&] { (this->project().*TypeParam::create)(this->record("b"), created); },
              this->fails());
  EXPECT_EQ(created, Ref{});
  EXPECT_THAT([&] { this->update(with_identity(this->record("b"), 1, "u-1")); }, this->fails());
  EXPECT_THAT([&] { this->remove(by_id<Ref>(1)); }, this->fails());
  EXPECT_THAT([&] { this->remove({}); }, this->fails());
}

TYPED_TEST(EntityWithoutConnection, FailsToBeReadAndLeavesTheReplyAsItWas) {
  using Ref = typename TypeParam::Ref;
  auto reply = this->record("before");
  EXPECT_THAT([&] { (this->project().*TypeParam::get)(by_id<Ref>(1), reply); }, this->fails());
  EXPECT_THAT([&] { (this->project().*TypeParam::get)(by_uid<Ref>("u-1"), reply); }, this->fails());
  EXPECT_EQ(reply, this->record("before"));
  EXPECT_THAT([&] { this->try_get(by_id<Ref>(1)); }, this->fails());
  Batch<typename TypeParam::Record> list;
  EXPECT_THAT([&] { (this->project().*TypeParam::list)({}, list); }, this->fails());
  EXPECT_THAT(list.items, IsEmpty());
}

/// With one record of the kind.
template <class Kind>
class ContentWithoutConnection : public ContentTest<Kind> {
 protected:
  ContentWithoutConnection() {
    this->store({this->filled()});
    before_ = this->counts();
    last_session->close();
  }
  ~ContentWithoutConnection() override { EXPECT_EQ(this->counts(), before_); }

  auto fails() const { return misses_connection_to(this->file()); }

  std::vector<std::int64_t> before_;
};
TYPED_TEST_SUITE(ContentWithoutConnection, ContentKinds, ContentNames);

TYPED_TEST(ContentWithoutConnection, FailsToBeAdded) {
  EXPECT_THAT([&] { this->store({this->minimal()}); }, this->fails());
  EXPECT_THAT([&] { this->store({}); }, this->fails());
}

TEST_F(LostConnection, FailsTheReadsAndTheClearOfContent) {
  lose_connection();
  for_each_content_read([&]<class Read>() {
    EXPECT_THAT([&] { read_content<Read>(project(), 1); }, fails()) << Read::name;
  });
  EXPECT_THAT([&] { clear(1); }, fails());
}

TEST_F(LostConnection, FailsBothOperationsOfTheProjectRecord) {
  GenericReply reply;
  project().update_project({}, reply);
  lose_connection();
  ProjectData data{{{"name", text_variant("before")}}};
  EXPECT_THAT([&] { project().get_project({}, data); }, fails());
  EXPECT_THAT([&] { project().update_project({}, reply); }, fails());
  EXPECT_EQ(data.properties.size(), 1U);
  expect_nothing_changed();
}

TEST_F(LostConnection, FailsQueriesAndTheRevisionsOfASheet) {
  lose_connection();
  EXPECT_THAT([&] { query("select 1"); }, fails());
  Revisions reply;
  EXPECT_THAT([&] { project().get_all_revisions_for_sheetid(by_id<SheetRef>(1), reply); }, fails());
}

TEST_F(LostConnection, IsNoticedByMountingPartsOfANegativeRevisionAndNotByFabrics) {
  lose_connection();
  EXPECT_THAT([&] { parts_of(-1); }, fails());
  EXPECT_THAT(fabrics_of(-1), IsEmpty());
}

TEST_F(LostConnection, IsNotNoticedBeforeAMissingId) {
  lose_connection();
  BarSpacers reply;
  EXPECT_THAT([&] { project().get_all_barspacers_for_revision({}, reply); },
              ThrowsMessage<std::runtime_error>(
                  "get_all_barspacers_for_revision requires RevisionRef.id to be set."));
  GenericReply none;
  EXPECT_THAT(
      [&] { project().clear_for_revision({}, none); },
      ThrowsMessage<std::runtime_error>("clear_for_revision requires RevisionRef.id to be set."));
}

}  // namespace

}  // namespace korvane::test

Poco::Data::Session korvane::model::cad::open_session(const std::string& filename, std::size_t) {
  using korvane::test::CountedSession;
  Poco::AutoPtr<CountedSession> session(new CountedSession(filename));
  if (korvane::test::gives_closed_sessions) session->close();
  korvane::test::last_session = session.get();
  return Poco::Data::Session(session);
}
