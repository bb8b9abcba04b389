#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

namespace korvane::test {

namespace {

using Poco::Data::SQLite::DatabaseFullException;
using Poco::Data::SQLite::DBLockedException;
using Poco::Data::SQLite::InvalidSQLStatementException;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

template <class Entity>
using Creating = EntityTest<Entity>;
TYPED_TEST_SUITE(Creating, Entities, EntityNames);

TYPED_TEST(Creating, WithoutUidGeneratesOne) {
  const auto ref = this->create(this->record("a"));
  EXPECT_THAT(ref.uid.value(),
              MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  EXPECT_EQ(this->uids(), (Rows{{ref.uid.value()}}));
}

TYPED_TEST(Creating, TwoWithoutUidGivesTwoUidsAndConsecutiveIds) {
  const auto first = this->create(this->record("a"));
  const auto second = this->create(this->record("b"));
  EXPECT_EQ(first.id, 1);
  EXPECT_EQ(second.id, 2);
  EXPECT_NE(first.uid.value(), second.uid.value());
}

TYPED_TEST(Creating, KeepsAUidThatTheClientGave) {
  EXPECT_EQ(this->create(this->record("a", "mine")),
            by_id_and_uid<typename TypeParam::Ref>(1, "mine"));
  EXPECT_EQ(this->uids(), (Rows{{"mine"}}));
}

TYPED_TEST(Creating, IgnoresTheIdOfTheClient) {
  const auto ref = this->create(with_identity(this->record("a"), 7, ""));
  EXPECT_EQ(ref.id, 1);
  EXPECT_EQ(this->get(ref).id, 1);
}

TYPED_TEST(Creating, KeepsTheRecordAsItCameInRaw) {
  const auto record = with_identity(this->record("a"), 7, "");
  this->create(record);
  EXPECT_EQ(this->raw(1), raw_hex(record));
}

TYPED_TEST(Creating, RunsItsTwoStatementsInOneTransaction) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->create(this->record("a"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", TypeParam::insert_sql,
                                              "select max(id) from " + this->table(), "COMMIT"));
}

TYPED_TEST(Creating, DoesNotUseTheIdOfADeletedRecordAgain) {
  this->create_two();
  this->remove(by_id<typename TypeParam::Ref>(2));
  EXPECT_EQ(this->create(this->record("third")).id, 3);
}

TYPED_TEST(Creating, OutlivesAReopening) {
  this->create_two();
  this->reopen();
  EXPECT_EQ(this->get(by_uid<typename TypeParam::Ref>("u-2")),
            with_identity(this->record("second"), 2, "u-2"));
}

TYPED_TEST(Creating, WithAUidThatIsTakenFailsAndStoresNothing) {
  this->create(this->record("a", "mine"));
  const Rows before = this->all_of(this->table());
  EXPECT_THAT([&] { this->create(this->record("b", "mine")); },
              violates("UNIQUE constraint failed: " + this->table() + ".uid"));
  EXPECT_EQ(this->all_of(this->table()), before);
  EXPECT_EQ(this->create(this->record("b", "other")).id, 2);
}

TYPED_TEST(Creating, ThatFailsAtItsInsertRollsBackBeforeItAsksForTheId) {
  this->create(this->record("a", "mine"));
  ConnectionWatch watch;
  this->reopen_under(watch);
  EXPECT_THAT([&] { this->create(this->record("b", "mine")); }, violates("uid"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", TypeParam::insert_sql, "ROLLBACK"));
}

TYPED_TEST(Creating, ThatFailsAtItsInsertLeavesItsReplyAsItWas) {
  this->create(this->record("a", "mine"));
  typename TypeParam::Ref reply;
  EXPECT_THAT([&] { (this->project().*TypeParam::create)(this->record("b", "mine"), reply); },
              violates("uid"));
  EXPECT_EQ(reply, typename TypeParam::Ref{});
}

TYPED_TEST(Creating, OnAFullDiskFailsAndStoresNothing) {
  this->fill_disk();
  EXPECT_THROW(this->create(this->record(std::string(100000, 'x'))), DatabaseFullException);
  this->free_disk();
  EXPECT_EQ(this->count(this->table()), 0);
  EXPECT_EQ(this->create(this->record("b")).id, 1);
}

/// A reader keeps the commit from completing, and the commit does not wait.
template <class Entity>
class CreatingBesideAReader : public EntityTest<Entity> {
 protected:
  CreatingBesideAReader() { this->wait_for_no_lock(); }

  void fail_to_create(const std::string& uid) {
    EXPECT_THROW((this->project().*Entity::create)(this->record("a", uid), reply_),
                 DBLockedException);
  }

  Reader reader_{this->file()};
  typename Entity::Ref reply_;
};
TYPED_TEST_SUITE(CreatingBesideAReader, Entities, EntityNames);

TYPED_TEST(CreatingBesideAReader, HasFilledItsReplyWhenItsCommitFails) {
  this->fail_to_create("mine");
  EXPECT_EQ(this->reply_, by_id_and_uid<typename TypeParam::Ref>(1, "mine"));
}

TYPED_TEST(CreatingBesideAReader, HasTheGeneratedUidInItsReplyWhenItsCommitFails) {
  this->fail_to_create("");
  EXPECT_EQ(this->reply_.id, 1);
  EXPECT_EQ(this->reply_.uid.value().size(), 36U);
}

TYPED_TEST(CreatingBesideAReader, IsNotRolledBackWhenItsCommitFails) {
  this->fail_to_create("mine");
  EXPECT_EQ(this->reader_.count(this->table()), "0");
  EXPECT_THROW(this->create(this->record("b")), InvalidSQLStatementException);
  this->reader_.let_go();
  this->query("commit");
  EXPECT_EQ(this->uids(), (Rows{{"mine"}}));
}

TYPED_TEST(CreatingBesideAReader, HasStoredNothingWhenTheProjectIsClosedAfterItsCommitFailed) {
  this->fail_to_create("mine");
  this->reader_.let_go();
  this->close();
  EXPECT_EQ(this->count(this->table()), 0);
}

template <class Entity>
using CreatingWithoutParent = EntityTest<Entity>;
TYPED_TEST_SUITE(CreatingWithoutParent, EntitiesWithParents, EntityNames);

TYPED_TEST(CreatingWithoutParent, ThatExistsFailsAndStoresNothing) {
  EXPECT_THAT([&] { this->create(entity_record<TypeParam>("a", 99)); },
              violates("FOREIGN KEY constraint failed"));
  EXPECT_EQ(this->count(this->table()), 0);
  EXPECT_EQ(this->create(this->record("a")).id, 1);
}

TYPED_TEST(CreatingWithoutParent, ThatIsNamedFailsAndStoresNothing) {
  EXPECT_THAT([&] { this->create(typename TypeParam::Record{}); },
              violates("FOREIGN KEY constraint failed"));
  EXPECT_EQ(this->count(this->table()), 0);
  EXPECT_EQ(this->create(this->record("a")).id, 1);
}

}  // namespace

}  // namespace korvane::test
