#include <cstdint>
#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::SQLite::DatabaseFullException;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr const char* kFind = "select id from project";
constexpr const char* kInsert = "insert into project (raw) values (?)";
constexpr const char* kUpdate = "update project set raw=? where id=?";

class ProjectRecord : public StoreTest {
 protected:
  static Properties named(const std::string& name) { return {{"name", text_variant(name)}}; }
  static std::string raw_of(const Properties& properties) {
    return raw_hex(ProjectData{properties});
  }

  Properties get() {
    ProjectData reply;
    project().get_project({}, reply);
    return reply.properties;
  }
  void update(const Properties& properties) {
    GenericReply reply;
    project().update_project({{properties}}, reply);
  }
  void put(std::int32_t id, const Properties& properties) {
    run_plainly("insert into project values (" + std::to_string(id) + ", x'" + raw_of(properties) +
                "')");
  }
};

using GetProjectRecord = ProjectRecord;
using UpdateProjectRecord = ProjectRecord;
using FailingUpdateProjectRecord = ProjectRecord;

TEST_F(GetProjectRecord, OfANewProjectGivesEmptyPropertiesAndNoError) {
  EXPECT_THAT(get(), IsEmpty());
}

TEST_F(GetProjectRecord, OfANewProjectLeavesItsReplyAsItWas) {
  ProjectData reply{named("before")};
  project().get_project({}, reply);
  EXPECT_EQ(reply.properties, named("before"));
}

TEST_F(GetProjectRecord, GivesEveryKindOfValue) {
  Properties sent = named("bridge");
  sent["count"].value_int32.set(-3);
  sent["factor"].value_double.set(0.5);
  sent["logo"].value_blob.set(bond::blob::copy_of("a\0b", 3));
  sent["closed"].bool_.set(true);
  sent["nothing"] = {};
  update(sent);
  EXPECT_EQ(get(), sent);
}

TEST_F(GetProjectRecord, DecodesStraightIntoItsReply) {
  update({});
  ProjectData reply{named("before")};
  project().get_project({}, reply);
  EXPECT_EQ(reply.properties, named("before"));
}

TEST_F(GetProjectRecord, TakesTheFirstOfTwoRows) {
  put(3, named("first"));
  put(4, named("second"));
  EXPECT_EQ(get(), named("first"));
}

TEST_F(GetProjectRecord, TakesARowOfAnotherNegativeIdThanMinusOne) {
  put(-2, named("negative"));
  EXPECT_EQ(get(), named("negative"));
}

TEST_F(GetProjectRecord, DoesNotSeeARowOfIdMinusOne) {
  put(-1, named("unseen"));
  EXPECT_THAT(get(), IsEmpty());
}

TEST_F(GetProjectRecord, RunsItsStatementsWithoutATransactionAndLogsNothing) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  get();
  EXPECT_THAT(watch.statements(), ElementsAre(kFind));
  update(named("a"));
  watch.forget();
  get();
  EXPECT_THAT(watch.statements(), ElementsAre(kFind, "select raw from project where id = ?"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(GetProjectRecord, OfADamagedRawRaisesWhatTheDecoderRaises) {
  update(named("a"));
  set_raw("project", 1, "0D09");  // a map, cut in its header
  EXPECT_THAT([&] { get(); }, ThrowsMessage<bond::StreamException>(
                                  "Read out of bounds: 1 bytes requested, offset: 2, length: 2"));
  update(named("mended"));
  EXPECT_EQ(get(), named("mended"));
}

TEST_F(GetProjectRecord, OfAnEmptyOrMissingRawRaisesWhatTheDecoderRaises) {
  constexpr const char* kEmpty = "Read out of bounds: 1 bytes requested, offset: 0, length: 0";
  update(named("a"));
  set_raw("project", 1, "");
  EXPECT_THAT([&] { get(); }, ThrowsMessage<bond::StreamException>(kEmpty));
  run_plainly("update project set raw = NULL");
  EXPECT_THAT([&] { get(); }, ThrowsMessage<bond::StreamException>(kEmpty));
}

TEST_F(UpdateProjectRecord, CreatesTheRowFirstAndOverwritesItThen) {
  update(named("first"));
  EXPECT_EQ(all_of("project"), (Rows{{"1", raw_of(named("first"))}}));
  update(named("second"));
  EXPECT_EQ(all_of("project"), (Rows{{"1", raw_of(named("second"))}}));
}

TEST_F(UpdateProjectRecord, WithEmptyPropertiesReplacesAllThatWasThere) {
  update(named("first"));
  update({});
  EXPECT_THAT(get(), IsEmpty());
  EXPECT_EQ(all_of("project"), (Rows{{"1", "00"}}));
}

TEST_F(UpdateProjectRecord, MergesNothing) {
  update({{"a", text_variant("1")}, {"b", text_variant("2")}});
  update({{"b", text_variant("3")}, {"c", text_variant("4")}});
  EXPECT_EQ(get(), (Properties{{"b", text_variant("3")}, {"c", text_variant("4")}}));
}

TEST_F(UpdateProjectRecord, InsertsAgainAfterTheProjectWasCleared) {
  update(named("first"));
  GenericReply reply;
  project().clear({true}, reply);
  EXPECT_THAT(get(), IsEmpty());
  update(named("second"));
  EXPECT_EQ(all_of("project"), (Rows{{"1", raw_of(named("second"))}}));
}

TEST_F(UpdateProjectRecord, WritesTheRowThatIsThereWhateverItsId) {
  put(7, named("first"));
  update(named("second"));
  EXPECT_EQ(all_of("project"), (Rows{{"7", raw_of(named("second"))}}));
}

TEST_F(UpdateProjectRecord, WritesTheFirstOfTwoRows) {
  put(3, named("first"));
  put(4, named("second"));
  update(named("new"));
  EXPECT_EQ(all_of("project"), (Rows{{"3", raw_of(named("new"))}, {"4", raw_of(named("second"))}}));
}

TEST_F(UpdateProjectRecord, WritesARowOfAnotherNegativeIdThanMinusOne) {
  put(-2, named("first"));
  update(named("second"));
  EXPECT_EQ(all_of("project"), (Rows{{"-2", raw_of(named("second"))}}));
}

TEST_F(UpdateProjectRecord, InsertsBesideARowOfIdMinusOne) {
  put(-1, named("unseen"));
  update(named("new"));
  EXPECT_EQ(all_of("project"),
            (Rows{{"-1", raw_of(named("unseen"))}, {"1", raw_of(named("new"))}}));
}

TEST_F(UpdateProjectRecord, RunsItsStatementsInOneTransactionAndLogsNothing) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  update(named("first"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kFind, kInsert, "COMMIT"));
  watch.forget();
  update(named("second"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kFind, kUpdate, "COMMIT"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(UpdateProjectRecord, LeavesItsReplyAsItWas) {
  GenericReply reply;
  reply.error.set("before");
  project().update_project({{named("first")}}, reply);
  project().update_project({{named("second")}}, reply);
  EXPECT_EQ(*reply.error, "before");
}

TEST_F(UpdateProjectRecord, SurvivesAReopening) {
  update(named("bridge"));
  reopen();
  EXPECT_EQ(get(), named("bridge"));
  update(named("tunnel"));
  EXPECT_EQ(count("project"), 1);
}

TEST_F(FailingUpdateProjectRecord, AtItsInsertStoresNothing) {
  fill_disk();
  EXPECT_THROW(update(named(std::string(100000, 'x'))), DatabaseFullException);
  free_disk();
  EXPECT_EQ(count("project"), 0);
  update(named("next"));
  EXPECT_EQ(get(), named("next"));
}

TEST_F(FailingUpdateProjectRecord, AtItsUpdateKeepsTheRow) {
  update(named("first"));
  refuse("update", "project", "old.id = 1");
  EXPECT_THAT([&] { update(named("second")); }, violates("refused by the test"));
  EXPECT_EQ(get(), named("first"));
  refuse_no_more();
  update(named("third"));
  EXPECT_EQ(get(), named("third"));
}

TEST_F(FailingUpdateProjectRecord, IsRolledBack) {
  refuse("insert", "project", "true");
  ConnectionWatch watch;
  reopen_under(watch);
  EXPECT_THAT([&] { update(named("first")); }, violates("refused by the test"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kFind, kInsert, "ROLLBACK"));
  refuse_no_more();
  update(named("next"));
  EXPECT_EQ(get(), named("next"));
}

TEST_F(FailingUpdateProjectRecord, OnItsCommitIsNotRolledBack) {
  ConnectionWatch watch;
  reopen_under(watch);
  wait_for_no_lock();
  Reader reader(file());
  watch.forget();
  EXPECT_THROW(update(named("first")), DBLockedException);
  reader.let_go();
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kFind, kInsert, "COMMIT"));
  close();
  EXPECT_EQ(count("project"), 0);
}

}  // namespace

}  // namespace korvane::test
