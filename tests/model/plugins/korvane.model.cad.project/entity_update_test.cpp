#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

namespace korvane::test {

namespace {

using Poco::Data::SQLite::DatabaseFullException;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;

template <class Entity>
using Updating = EntityTest<Entity>;
TYPED_TEST_SUITE(Updating, Entities, EntityNames);

TYPED_TEST(Updating, ReplacesTheRecordOfItsIdAlone) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  const auto changed = with_identity(this->record("changed"), 2, "u-2");
  this->update(changed);
  EXPECT_EQ(this->raw(2), raw_hex(changed));
  EXPECT_EQ(this->get(by_id<Ref>(2)), changed);
  EXPECT_EQ(this->get(by_id<Ref>(1)), with_identity(this->record("first"), 1, "u-1"));
}

TYPED_TEST(Updating, DoesNotFindItsRowByUid) {
  this->create(this->record("a", "mine"));
  this->update(with_identity(this->record("b"), 2, "mine"));
  EXPECT_EQ(this->raw(1), raw_hex(this->record("a", "mine")));
}

TYPED_TEST(Updating, WithTheDefaultIdChangesNothing) {
  this->create_two();
  const Rows before = this->all_of(this->table());
  this->update(this->record("changed"));
  EXPECT_EQ(this->all_of(this->table()), before);
}

TYPED_TEST(Updating, AnUnknownIdChangesNothing) {
  this->create_two();
  const Rows before = this->all_of(this->table());
  this->update(with_identity(this->record("changed"), 3, "u-3"));
  EXPECT_EQ(this->all_of(this->table()), before);
}

TYPED_TEST(Updating, RunsItsStatementInATransaction) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->update(this->record("a"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", TypeParam::update_sql, "COMMIT"));
}

TYPED_TEST(Updating, LeavesItsReplyAsItWas) {
  this->create_two();
  GenericReply reply;
  reply.error.set("before");
  (this->project().*TypeParam::update)(with_identity(this->record("b"), 1, ""), reply);
  EXPECT_EQ(*reply.error, "before");
}

TYPED_TEST(Updating, OnAFullDiskFailsAndKeepsTheRow) {
  this->create(this->record("a", "u-1"));
  const Rows before = this->all_of(this->table());
  this->fill_disk();
  EXPECT_THROW(this->update(with_identity(this->record(std::string(100000, 'x')), 1, "")),
               DatabaseFullException);
  this->free_disk();
  EXPECT_EQ(this->all_of(this->table()), before);
  const auto changed = with_identity(this->record("b"), 1, "u-1");
  this->update(changed);
  EXPECT_EQ(this->raw(1), raw_hex(changed));
}

TYPED_TEST(Updating, IsNotRolledBackWhenItsCommitFails) {
  this->create(this->record("a", "u-1"));
  this->wait_for_no_lock();
  Reader reader(this->file());
  const auto changed = with_identity(this->record("b"), 1, "u-1");
  EXPECT_THROW(this->update(changed), DBLockedException);
  reader.let_go();
  this->query("commit");
  EXPECT_EQ(this->raw(1), raw_hex(changed));
}

template <class Entity>
using UpdatingButFabricTypes = EntityTest<Entity>;
using EntitiesThatKeepTheirUid = ::testing::Types<MaterialEntity, SheetEntity, RevisionEntity>;
TYPED_TEST_SUITE(UpdatingButFabricTypes, EntitiesThatKeepTheirUid, EntityNames);

TYPED_TEST(UpdatingButFabricTypes, CannotChangeTheUid) {
  using Ref = typename TypeParam::Ref;
  this->create(this->record("a", "old"));
  this->update(with_identity(this->record("a"), 1, "new"));
  EXPECT_EQ(this->get(by_id<Ref>(1)).uid, "old");
  EXPECT_EQ(this->get(by_uid<Ref>("old")).id, 1);
  EXPECT_TRUE(this->try_get(by_uid<Ref>("new")).value.is_nothing());
}

}  // namespace

}  // namespace korvane::test
