#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

namespace korvane::test {

namespace {

using model::cad::Project_Service;
using Poco::Data::SQLite::DBLockedException;
using Poco::Data::SQLite::InvalidSQLStatementException;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

template <class Entity>
using Deleting = EntityTest<Entity>;
TYPED_TEST_SUITE(Deleting, Entities, EntityNames);

TYPED_TEST(Deleting, RemovesTheRowOfTheId) {
  this->create_two();
  this->remove(by_id<typename TypeParam::Ref>(1));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST(Deleting, RemovesTheRowOfTheUidWhereNoIdIsSet) {
  this->create_two();
  this->remove(by_uid<typename TypeParam::Ref>("u-1"));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST(Deleting, TakesTheRowOfTheIdWhenTheUidNamesAnother) {
  this->create_two();
  this->remove(by_id_and_uid<typename TypeParam::Ref>(1, "u-2"));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST(Deleting, DoesNotFallBackToTheUid) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  this->remove(by_id_and_uid<Ref>(99, "u-2"));
  this->remove(by_id_and_uid<Ref>(-1, "u-2"));
  EXPECT_EQ(this->uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TYPED_TEST(Deleting, WhatIsNotThereSucceeds) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  for (const Ref& ref : {by_id<Ref>(99), by_id<Ref>(-1), by_uid<Ref>("u-9"), by_uid<Ref>("")}) {
    this->remove(ref);
  }
  EXPECT_EQ(this->uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TYPED_TEST(Deleting, ByNothingFailsAndDeletesNothing) {
  this->create_two();
  EXPECT_THAT([&] { this->remove({}); }, ThrowsMessage<std::runtime_error>("id or uid required"));
  EXPECT_EQ(this->uids(), (Rows{{"u-1"}, {"u-2"}}));
  this->remove(by_id<typename TypeParam::Ref>(1));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST(Deleting, RunsItsStatementInATransaction) {
  using Ref = typename TypeParam::Ref;
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->remove(by_id<Ref>(1));
  this->remove(by_uid<Ref>("u-1"));
  EXPECT_THROW(this->remove({}), std::runtime_error);
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", "delete from " + this->table() + " where id = ?", "COMMIT",
                          "BEGIN", "delete from " + this->table() + " where uid = ?", "COMMIT",
                          "BEGIN", "ROLLBACK"));
}

TYPED_TEST(Deleting, LeavesItsReplyAsItWas) {
  this->create_two();
  GenericReply reply;
  reply.error.set("before");
  (this->project().*TypeParam::remove)(by_id<typename TypeParam::Ref>(1), reply);
  EXPECT_EQ(*reply.error, "before");
}

TYPED_TEST(Deleting, IsNotRolledBackWhenItsCommitFails) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  this->wait_for_no_lock();
  Reader reader(this->file());
  EXPECT_THROW(this->remove(by_id<Ref>(1)), DBLockedException);
  EXPECT_THROW(this->remove(by_id<Ref>(2)), InvalidSQLStatementException);
  reader.let_go();
  this->query("commit");
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

template <class Entity>
void delete_by(Project_Service& project, const typename Entity::Ref& ref) {
  GenericReply reply;
  (project.*Entity::remove)(ref, reply);
}

/// A row in use: its table, and the table of the row that refers to it.
struct Use {
  std::string name;
  std::string table;
  std::string by_table;
  void (*delete_by_id)(Project_Service& project, std::int32_t id);
  void (*delete_by_uid)(Project_Service& project, const std::string& uid);
};

template <class Entity>
Use use_by(const std::string& by_table) {
  using Ref = typename Entity::Ref;
  const std::string table = Entity::table;
  return {
      table + "_by_" + by_table, table, by_table,
      [](Project_Service& project, std::int32_t id) { delete_by<Entity>(project, by_id<Ref>(id)); },
      [](Project_Service& project, const std::string& uid) {
        delete_by<Entity>(project, by_uid<Ref>(uid));
      }};
}

void PrintTo(const Use& use, std::ostream* stream) { *stream << use.name; }

/// The first material and the first fabric type are in use, the second ones are not.
class DeletingWhatIsInUse : public StoreTest, public ::testing::WithParamInterface<Use> {
 protected:
  DeletingWhatIsInUse() {
    const std::int32_t rev = make_revision();
    make_material("used");
    make_material("unused");
    if (by_table() == "rebar") add({minimal_bar(rev, 1)});
    if (by_table() == "mountingpart") add({minimal_mounting_part(rev, 1)});
    if (by_table() == "fabric_type" || by_table() == "fabric") {
      make_fabric_type(1, "used");
      make_fabric_type(1, "unused");
      run_plainly("update fabric_type set uid = type");
    }
    if (by_table() == "fabric") add({minimal_fabric(rev, 1)});
  }

  static const std::string& by_table() { return GetParam().by_table; }
  void delete_by_id(std::int32_t id) { GetParam().delete_by_id(project(), id); }
  auto is_refused() const {
    return violates("NOT NULL constraint failed: " + by_table() + "." + GetParam().table + "_id");
  }
  std::int64_t uses_of_the_first() const {
    return std::stoll(
        *value("select count(*) from " + by_table() + " where " + GetParam().table + "_id = 1"));
  }
};

TEST_P(DeletingWhatIsInUse, FailsByIdAndChangesNothing) {
  const auto before = counts();
  EXPECT_THAT([&] { delete_by_id(1); }, is_refused());
  EXPECT_EQ(counts(), before);
  EXPECT_GT(uses_of_the_first(), 0);
}

TEST_P(DeletingWhatIsInUse, FailsByUidAndChangesNothing) {
  const auto before = counts();
  EXPECT_THAT([&] { GetParam().delete_by_uid(project(), "used"); }, is_refused());
  EXPECT_EQ(counts(), before);
  EXPECT_GT(uses_of_the_first(), 0);
}

TEST_P(DeletingWhatIsInUse, IsRolledBackSoThatTheNextDeletionWorks) {
  EXPECT_THAT([&] { delete_by_id(1); }, is_refused());
  delete_by_id(2);
  EXPECT_EQ(rows("select uid from " + GetParam().table), (Rows{{"used"}}));
}

TEST_P(DeletingWhatIsInUse, SucceedsOnceNothingRefersToItAnyMore) {
  query("delete from " + by_table());
  delete_by_id(1);
  EXPECT_EQ(rows("select uid from " + GetParam().table), (Rows{{"unused"}}));
}

INSTANTIATE_TEST_SUITE_P(Uses, DeletingWhatIsInUse,
                         ::testing::Values(use_by<MaterialEntity>("rebar"),
                                           use_by<MaterialEntity>("mountingpart"),
                                           use_by<MaterialEntity>("fabric_type"),
                                           use_by<FabricTypeEntity>("fabric")),
                         [](const auto& one) { return one.param.name; });

}  // namespace

}  // namespace korvane::test
