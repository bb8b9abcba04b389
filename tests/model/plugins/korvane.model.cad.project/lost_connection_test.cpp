// Alone in its program: it opens sessions in the place of the store's connector.

#include <cstdint>
#include <vector>

#include <Poco/Data/SQLite/SessionImpl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/connector.h"
#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::IsEmpty;

/// The session that was opened last, which can thus be closed behind its owner's back.
Poco::AutoPtr<Poco::Data::SQLite::SessionImpl>& last_session() {
  static Poco::AutoPtr<Poco::Data::SQLite::SessionImpl> session;
  return session;
}

/// A project with one record of each table, which then loses its connection.
class LostConnection : public ContentTest {
 protected:
  static void TearDownTestSuite() { last_session().reset(); }

  LostConnection() {
    make_material();
    make_fabric_type(1);
    make_revision();
    add({full_rebar(1, 1)});
    add({full_fabric(1, 1)});
    add({full_bar_spacer(1)});
    add({full_mounting_part(1, 1)});
    project().update_project({}, reply_);
    before_ = counts();
    last_session()->close();
  }
  ~LostConnection() override { EXPECT_EQ(counts(), before_); }

  auto fails() const { return misses_connection_to(file()); }

  GenericReply reply_;
  std::vector<std::int64_t> before_;
};

TEST_F(LostConnection, FailsTheWritersOfFabricTypes) {
  FabricTypeRef created;
  EXPECT_THAT([&] { project().create_fabric_type(minimal_fabric_type(1, "new"), created); },
              fails());
  EXPECT_THAT([&] { project().update_fabric_type(full_fabric_type(1), reply_); }, fails());
  EXPECT_THAT([&] { project().delete_fabric_type(by_id<FabricTypeRef>(1), reply_); }, fails());
  EXPECT_THAT([&] { project().delete_fabric_type({}, reply_); }, fails());
  EXPECT_EQ(created, FabricTypeRef{});
}

TEST_F(LostConnection, FailsTheReadsOfFabricTypes) {
  FabricType type;
  OptionalValue<FabricType> tried;
  Batch<FabricType> list;
  EXPECT_THAT([&] { project().get_fabric_type(by_id<FabricTypeRef>(1), type); }, fails());
  EXPECT_THAT([&] { project().get_fabric_type(by_uid<FabricTypeRef>("u"), type); }, fails());
  EXPECT_THAT([&] { project().try_get_fabric_type(by_id<FabricTypeRef>(1), tried); }, fails());
  EXPECT_THAT([&] { project().list_fabric_type({}, list); }, fails());
  EXPECT_EQ(type, FabricType{});
  EXPECT_THAT(list.items, IsEmpty());
}

TEST_F(LostConnection, FailsBothOperationsOfTheProjectRecord) {
  ProjectData data{{{"name", text_variant("before")}}};
  EXPECT_THAT([&] { project().get_project({}, data); }, fails());
  EXPECT_THAT([&] { project().update_project({}, reply_); }, fails());
  EXPECT_EQ(data.properties.size(), 1U);
}

TEST_F(LostConnection, FailsTheWritersOfContent) {
  EXPECT_THAT([&] { add({minimal_fabric(1, 1)}); }, fails());
  EXPECT_THAT([&] { add({minimal_bar_spacer(1)}); }, fails());
  EXPECT_THAT([&] { add({minimal_mounting_part(1, 1)}); }, fails());
  EXPECT_THAT([&] { project().add_fabric({}, reply_); }, fails());
  EXPECT_THAT([&] { clear(1); }, fails());
}

TEST_F(LostConnection, FailsTheReadsOfContent) {
  Batch<Rebar> bars;
  EXPECT_THAT([&] { bars_of(1); }, fails());
  EXPECT_THAT([&] { project().get_rebars(by_id<RevisionRef>(1), bars); }, fails());
  EXPECT_THAT([&] { spacers_of(1); }, fails());
  EXPECT_THAT([&] { fabrics_of(1); }, fails());
  EXPECT_THAT([&] { parts_of(1); }, fails());
  EXPECT_THAT([&] { parts_of(-1); }, fails());
}

TEST_F(LostConnection, IsNotNoticedForFabricsOfANegativeRevision) {
  EXPECT_THAT(fabrics_of(-1), IsEmpty());
}

TEST_F(LostConnection, IsNotNoticedBeforeAMissingId) {
  BarSpacers reply;
  EXPECT_THAT([&] { project().get_all_barspacers_for_revision({}, reply); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  "get_all_barspacers_for_revision requires RevisionRef.id to be set."));
  EXPECT_THAT([&] { project().clear_for_revision({}, reply_); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  "clear_for_revision requires RevisionRef.id to be set."));
}

}  // namespace

}  // namespace korvane::test

Poco::Data::Session korvane::model::cad::open_session(const std::string& filename, std::size_t) {
  korvane::test::last_session() = new Poco::Data::SQLite::SessionImpl(filename, 0);
  return Poco::Data::Session(korvane::test::last_session());
}
