#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "bond/exception.h"
#include "platform/log/log.h"
#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"

/// What materials, sheets and revisions have in common, told once. An `Entity` says what the record
/// is, which operations serve it, and the texts that are its own.
namespace korvane::test {

template <class Entity>
class EntityTest : public StoreTest {
 protected:
  using Record = typename Entity::Record;
  using Reference = typename Entity::Ref;

  EntityTest() {
    if (Entity::needs_a_sheet) make_sheet();
  }

  static std::string table() { return Entity::table; }
  /// A record without `id` and `uid`; those of two names differ.
  static Record record(const std::string& name) { return Entity::record(name); }
  static Record record(const std::string& name, const std::string& uid) {
    Record made = record(name);
    made.uid = uid;
    return made;
  }

  Reference create(Record record) {
    Reference reply;
    Entity::create(project(), std::move(record), reply);
    return reply;
  }
  void update(Record record) {
    GenericReply reply;
    Entity::update(project(), std::move(record), reply);
  }
  void remove(Reference ref) {
    GenericReply reply;
    Entity::remove(project(), std::move(ref), reply);
  }
  Record get(Reference ref) {
    Record reply;
    Entity::get(project(), std::move(ref), reply);
    return reply;
  }
  OptionalValue<Record> try_get(Reference ref) {
    OptionalValue<Record> reply;
    Entity::try_get(project(), std::move(ref), reply);
    return reply;
  }
  std::vector<Record> list() {
    Batch<Record> reply;
    Entity::list(project(), reply);
    return reply.items;
  }

  static Record with_identity(Record record, std::int32_t id, const std::string& uid) {
    record.id = id;
    record.uid = uid;
    return record;
  }
  std::string raw(std::int32_t id) const {
    return *value("select raw from " + table() + " where id = " + std::to_string(id));
  }
  /// Two rows, with the uids "u-1" and "u-2".
  void create_two() {
    create(record("first", "u-1"));
    create(record("second", "u-2"));
  }
  Rows uids() const { return rows("select uid from " + table() + " order by id"); }
};

TYPED_TEST_SUITE_P(EntityTest);

TYPED_TEST_P(EntityTest, CreatingWithoutUidGeneratesOne) {
  const auto ref = this->create(this->record("a"));
  EXPECT_THAT(ref.uid.value(),
              ::testing::MatchesRegex(
                  "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  EXPECT_EQ(this->uids(), (Rows{{ref.uid.value()}}));
}

TYPED_TEST_P(EntityTest, CreatingTwoWithoutUidGivesTwoUidsAndConsecutiveIds) {
  const auto first = this->create(this->record("a"));
  const auto second = this->create(this->record("a"));
  EXPECT_EQ(first.id, 1);
  EXPECT_EQ(second.id, 2);
  EXPECT_NE(first.uid.value(), second.uid.value());
}

TYPED_TEST_P(EntityTest, CreatingKeepsAUidThatTheClientGave) {
  const auto ref = this->create(this->record("a", "mine"));
  EXPECT_EQ(ref.uid, std::string("mine"));
  EXPECT_EQ(this->uids(), (Rows{{"mine"}}));
}

TYPED_TEST_P(EntityTest, CreatingPaysNoRegardToTheIdOfTheClient) {
  auto record = this->record("a");
  record.id = 7;
  const auto ref = this->create(record);
  EXPECT_EQ(ref.id, 1);
  EXPECT_EQ(this->get(ref).id, 1);
}

TYPED_TEST_P(EntityTest, CreatingKeepsTheRecordAsItCameInRaw) {
  auto record = this->record("a");
  record.id = 7;
  this->create(record);
  EXPECT_EQ(this->raw(1), raw_hex(record));
}

TYPED_TEST_P(EntityTest, CreatingAnswersWithoutAnError) {
  EXPECT_TRUE(this->create(this->record("a")).error.empty());
}

TYPED_TEST_P(EntityTest, CreatingRunsItsTwoStatementsInOneTransaction) {
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->create(this->record("a"));
  EXPECT_THAT(watch.statements(),
              ::testing::ElementsAre("BEGIN", TypeParam::insert_sql,
                                     "select max(id) from " + this->table(), "COMMIT"));
}

TYPED_TEST_P(EntityTest, CreatingWithAUidThatIsTakenFailsAndStoresNothing) {
  this->create(this->record("a", "mine"));
  EXPECT_THROW(this->create(this->record("b", "mine")),
               Poco::Data::SQLite::ConstraintViolationException);
  EXPECT_EQ(this->uids(), (Rows{{"mine"}}));
  EXPECT_EQ(this->create(this->record("b", "other")).id, 2);
}

TYPED_TEST_P(EntityTest, CreatingOnAFullDiskFailsAndStoresNothing) {
  this->fill_disk();
  EXPECT_THROW(this->create(this->record(std::string(100000, 'x'))),
               Poco::Data::SQLite::DatabaseFullException);
  this->free_disk();
  EXPECT_EQ(this->count(this->table()), 0);
  EXPECT_EQ(this->create(this->record("b")).id, 1);
}

TYPED_TEST_P(EntityTest, UpdatingReplacesRawAlone) {
  this->create_two();
  const auto changed = this->with_identity(this->record("changed"), 2, "u-2");
  this->update(changed);
  EXPECT_EQ(this->raw(2), raw_hex(changed));
  EXPECT_EQ(this->get(by_id<typename TypeParam::Ref>(2)), changed);
  EXPECT_EQ(this->get(by_id<typename TypeParam::Ref>(1)),
            this->with_identity(this->record("first"), 1, "u-1"));
}

TYPED_TEST_P(EntityTest, UpdatingCannotChangeTheUid) {
  using Ref = typename TypeParam::Ref;
  this->create(this->record("a", "old"));
  this->update(this->with_identity(this->record("a"), 1, "new"));
  EXPECT_EQ(this->get(by_id<Ref>(1)).uid, "old");
  EXPECT_EQ(this->get(by_uid<Ref>("old")).id, 1);
  EXPECT_TRUE(this->try_get(by_uid<Ref>("new")).value.is_nothing());
}

TYPED_TEST_P(EntityTest, UpdatingDoesNotFindItsRowByUid) {
  this->create(this->record("a", "mine"));
  this->update(this->with_identity(this->record("b"), 2, "mine"));
  EXPECT_EQ(this->raw(1), raw_hex(this->record("a", "mine")));
}

TYPED_TEST_P(EntityTest, UpdatingWithTheDefaultIdChangesNothing) {
  this->create_two();
  const Rows before = this->rows("select * from " + this->table());
  this->update(this->record("changed"));
  EXPECT_EQ(this->rows("select * from " + this->table()), before);
}

TYPED_TEST_P(EntityTest, UpdatingAnUnknownIdChangesNothing) {
  this->create_two();
  const Rows before = this->rows("select * from " + this->table());
  this->update(this->with_identity(this->record("changed"), 3, "u-3"));
  EXPECT_EQ(this->rows("select * from " + this->table()), before);
}

TYPED_TEST_P(EntityTest, UpdatingRunsItsStatementInATransaction) {
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->update(this->record("a"));
  EXPECT_THAT(watch.statements(),
              ::testing::ElementsAre("BEGIN", "update " + this->table() + " set raw=? where id=?",
                                     "COMMIT"));
}

TYPED_TEST_P(EntityTest, UpdatingOnAFullDiskFailsAndKeepsTheRow) {
  this->create(this->record("a", "u-1"));
  this->fill_disk();
  EXPECT_THROW(this->update(this->with_identity(this->record(std::string(100000, 'x')), 1, "")),
               Poco::Data::SQLite::DatabaseFullException);
  this->free_disk();
  EXPECT_EQ(this->raw(1), raw_hex(this->record("a", "u-1")));
  this->update(this->with_identity(this->record("b"), 1, "u-1"));
  EXPECT_EQ(this->raw(1), raw_hex(this->with_identity(this->record("b"), 1, "u-1")));
}

TYPED_TEST_P(EntityTest, UpdatingAndDeletingLeaveTheReplyAsItWas) {
  this->create_two();
  GenericReply reply;
  reply.error.set("before");
  TypeParam::update(this->project(), this->with_identity(this->record("b"), 1, ""), reply);
  TypeParam::remove(this->project(), by_id<typename TypeParam::Ref>(1), reply);
  EXPECT_EQ(*reply.error, "before");
}

TYPED_TEST_P(EntityTest, GettingFindsByIdAndByUid) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  const auto second = this->with_identity(this->record("second"), 2, "u-2");
  EXPECT_EQ(this->get(by_id<Ref>(2)), second);
  EXPECT_EQ(this->get(by_uid<Ref>("u-2")), second);
}

TYPED_TEST_P(EntityTest, GettingGivesTheIdentityOfTheRowAndNotOfRaw) {
  using Ref = typename TypeParam::Ref;
  auto record = this->record("a");
  record.id = 7;
  const auto ref = this->create(record);
  const auto expected = this->with_identity(this->record("a"), 1, ref.uid.value());
  EXPECT_EQ(this->get(by_id<Ref>(1)), expected);
  EXPECT_EQ(this->get(by_uid<Ref>(ref.uid.value())), expected);
}

TYPED_TEST_P(EntityTest, GettingFallsBackToTheUidWhenTheIdMisses) {
  this->create_two();
  const auto found = this->get(by_id_and_uid<typename TypeParam::Ref>(99, "u-2"));
  EXPECT_EQ(found, this->with_identity(this->record("second"), 2, "u-2"));
}

TYPED_TEST_P(EntityTest, GettingTakesTheRowOfTheIdWhenTheUidNamesAnother) {
  this->create_two();
  const auto found = this->get(by_id_and_uid<typename TypeParam::Ref>(1, "u-2"));
  EXPECT_EQ(found, this->with_identity(this->record("first"), 1, "u-1"));
}

TYPED_TEST_P(EntityTest, GettingAnUnknownRecordFailsAndTryingDoesNot) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  for (const Ref& ref : {by_id<Ref>(3), by_id<Ref>(-1), by_id<Ref>(0), by_uid<Ref>("u-3"),
                         by_uid<Ref>(""), by_id_and_uid<Ref>(3, "u-3"), Ref{}}) {
    EXPECT_THAT([&] { this->get(ref); },
                ::testing::ThrowsMessage<std::runtime_error>("failed to get_" + this->table()));
    EXPECT_TRUE(this->try_get(ref).value.is_nothing());
  }
}

TYPED_TEST_P(EntityTest, TryingGivesTheRecordThatIsThere) {
  this->create_two();
  const auto found = this->try_get(by_uid<typename TypeParam::Ref>("u-2"));
  EXPECT_EQ(found.value.value(), this->with_identity(this->record("second"), 2, "u-2"));
}

TYPED_TEST_P(EntityTest, TryingEmptiesAReplyThatHeldSomething) {
  OptionalValue<typename TypeParam::Record> reply;
  reply.value = this->record("before");
  TypeParam::try_get(this->project(), by_id<typename TypeParam::Ref>(1), reply);
  EXPECT_TRUE(reply.value.is_nothing());
}

TYPED_TEST_P(EntityTest, GettingOpensNoTransaction) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->get(by_id_and_uid<Ref>(99, "u-2"));
  EXPECT_THAT(watch.statements(),
              ::testing::ElementsAre("select uid, raw from " + this->table() + " where id = ?",
                                     "select id, raw from " + this->table() + " where uid = ?"));
}

TYPED_TEST_P(EntityTest, GettingADamagedRecordRaisesWhatTheDecoderRaises) {
  this->create(this->record("a"));
  this->set_raw(this->table(), 1, "");
  EXPECT_THAT([&] { this->get(by_id<typename TypeParam::Ref>(1)); },
              ::testing::ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  this->set_raw(this->table(), 1, "290341");  // a uid of three bytes, cut after one
  EXPECT_THAT([&] { this->get(by_id<typename TypeParam::Ref>(1)); },
              ::testing::ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 3 bytes requested, offset: 2, length: 3"));
}

TYPED_TEST_P(EntityTest, GettingARecordWithoutRawRaisesWhatTheDecoderRaises) {
  this->create(this->record("a"));
  this->run_plainly("update " + this->table() + " set raw = NULL");
  EXPECT_THAT([&] { this->get(by_id<typename TypeParam::Ref>(1)); },
              ::testing::ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
}

TYPED_TEST_P(EntityTest, ListingGivesAllRecordsWithTheIdentityOfTheirRows) {
  this->create_two();
  auto third = this->record("third", "u-3");
  third.id = 77;
  this->create(third);
  EXPECT_THAT(this->list(),
              ::testing::ElementsAre(this->with_identity(this->record("first"), 1, "u-1"),
                                     this->with_identity(this->record("second"), 2, "u-2"),
                                     this->with_identity(this->record("third"), 3, "u-3")));
}

TYPED_TEST_P(EntityTest, ListingAnEmptyTableGivesNothing) {
  EXPECT_THAT(this->list(), ::testing::IsEmpty());
}

TYPED_TEST_P(EntityTest, ListingAppendsToItsReply) {
  this->create_two();
  Batch<typename TypeParam::Record> reply;
  reply.items = {this->record("before")};
  TypeParam::list(this->project(), reply);
  EXPECT_EQ(reply.items.size(), 3U);
  EXPECT_EQ(reply.items[0], this->record("before"));
}

TYPED_TEST_P(EntityTest, ListingLogsItsTable) {
  this->log().clear();
  this->list();
  EXPECT_EQ(this->log().lines(),
            (LogLines{{0, L"list_t_impl: tbl_id=" + krv::log::widen(this->table())}}));
}

TYPED_TEST_P(EntityTest, ListingRunsOneStatementAndNoTransaction) {
  this->create_two();
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->list();
  EXPECT_THAT(watch.statements(),
              ::testing::ElementsAre("select id, uid, raw from " + this->table()));
}

TYPED_TEST_P(EntityTest, ListingStopsAtADamagedRecordAndKeepsWhatItHasRead) {
  this->create_two();
  this->create(this->record("third"));
  this->set_raw(this->table(), 2, "2903");
  Batch<typename TypeParam::Record> reply;
  EXPECT_THAT([&] { TypeParam::list(this->project(), reply); },
              ::testing::ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 3 bytes requested, offset: 2, length: 2"));
  EXPECT_THAT(reply.items,
              ::testing::ElementsAre(this->with_identity(this->record("first"), 1, "u-1")));
}

TYPED_TEST_P(EntityTest, OnlyListingLogs) {
  this->log().clear();
  const auto ref = this->create(this->record("a"));
  this->get(ref);
  this->try_get(ref);
  this->update(this->record("b"));
  this->remove(ref);
  EXPECT_THAT(this->log().lines(), ::testing::IsEmpty());
}

TYPED_TEST_P(EntityTest, DeletingRemovesTheRowOfTheId) {
  this->create_two();
  this->remove(by_id<typename TypeParam::Ref>(1));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST_P(EntityTest, DeletingRemovesTheRowOfTheUidWhereNoIdIsSet) {
  this->create_two();
  this->remove(by_uid<typename TypeParam::Ref>("u-1"));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST_P(EntityTest, DeletingTakesTheRowOfTheIdWhenTheUidNamesAnother) {
  this->create_two();
  this->remove(by_id_and_uid<typename TypeParam::Ref>(1, "u-2"));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST_P(EntityTest, DeletingDoesNotFallBackToTheUid) {
  this->create_two();
  this->remove(by_id_and_uid<typename TypeParam::Ref>(99, "u-2"));
  EXPECT_EQ(this->uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TYPED_TEST_P(EntityTest, DeletingWhatIsNotThereSucceeds) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  for (const Ref& ref : {by_id<Ref>(99), by_id<Ref>(-1), by_uid<Ref>("u-9"), by_uid<Ref>("")}) {
    this->remove(ref);
  }
  EXPECT_EQ(this->uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TYPED_TEST_P(EntityTest, DeletingByNothingFailsAndDeletesNothing) {
  this->create_two();
  EXPECT_THAT([&] { this->remove({}); },
              ::testing::ThrowsMessage<std::runtime_error>("id or uid required"));
  EXPECT_EQ(this->uids(), (Rows{{"u-1"}, {"u-2"}}));
  this->remove(by_id<typename TypeParam::Ref>(1));
  EXPECT_EQ(this->uids(), (Rows{{"u-2"}}));
}

TYPED_TEST_P(EntityTest, DeletingRunsItsStatementInATransaction) {
  using Ref = typename TypeParam::Ref;
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->remove(by_id<Ref>(1));
  this->remove(by_uid<Ref>("u-1"));
  EXPECT_THROW(this->remove({}), std::runtime_error);
  EXPECT_THAT(
      watch.statements(),
      ::testing::ElementsAre("BEGIN", "delete from " + this->table() + " where id = ?", "COMMIT",
                             "BEGIN", "delete from " + this->table() + " where uid = ?", "COMMIT",
                             "BEGIN", "ROLLBACK"));
}

TYPED_TEST_P(EntityTest, IdsAreNotUsedAgain) {
  this->create_two();
  this->remove(by_id<typename TypeParam::Ref>(2));
  EXPECT_EQ(this->create(this->record("third")).id, 3);
}

TYPED_TEST_P(EntityTest, RecordsSurviveAReopening) {
  this->create_two();
  this->reopen();
  EXPECT_EQ(this->get(by_uid<typename TypeParam::Ref>("u-2")),
            this->with_identity(this->record("second"), 2, "u-2"));
}

REGISTER_TYPED_TEST_SUITE_P(
    EntityTest, CreatingWithoutUidGeneratesOne, CreatingTwoWithoutUidGivesTwoUidsAndConsecutiveIds,
    CreatingKeepsAUidThatTheClientGave, CreatingPaysNoRegardToTheIdOfTheClient,
    CreatingKeepsTheRecordAsItCameInRaw, CreatingAnswersWithoutAnError,
    CreatingRunsItsTwoStatementsInOneTransaction, CreatingWithAUidThatIsTakenFailsAndStoresNothing,
    CreatingOnAFullDiskFailsAndStoresNothing, UpdatingReplacesRawAlone, UpdatingCannotChangeTheUid,
    UpdatingDoesNotFindItsRowByUid, UpdatingWithTheDefaultIdChangesNothing,
    UpdatingAnUnknownIdChangesNothing, UpdatingRunsItsStatementInATransaction,
    UpdatingOnAFullDiskFailsAndKeepsTheRow, UpdatingAndDeletingLeaveTheReplyAsItWas,
    GettingFindsByIdAndByUid, GettingGivesTheIdentityOfTheRowAndNotOfRaw,
    GettingFallsBackToTheUidWhenTheIdMisses, GettingTakesTheRowOfTheIdWhenTheUidNamesAnother,
    GettingAnUnknownRecordFailsAndTryingDoesNot, TryingGivesTheRecordThatIsThere,
    TryingEmptiesAReplyThatHeldSomething, GettingOpensNoTransaction,
    GettingADamagedRecordRaisesWhatTheDecoderRaises,
    GettingARecordWithoutRawRaisesWhatTheDecoderRaises,
    ListingGivesAllRecordsWithTheIdentityOfTheirRows, ListingAnEmptyTableGivesNothing,
    ListingAppendsToItsReply, ListingLogsItsTable, ListingRunsOneStatementAndNoTransaction,
    ListingStopsAtADamagedRecordAndKeepsWhatItHasRead, OnlyListingLogs,
    DeletingRemovesTheRowOfTheId, DeletingRemovesTheRowOfTheUidWhereNoIdIsSet,
    DeletingTakesTheRowOfTheIdWhenTheUidNamesAnother, DeletingDoesNotFallBackToTheUid,
    DeletingWhatIsNotThereSucceeds, DeletingByNothingFailsAndDeletesNothing,
    DeletingRunsItsStatementInATransaction, IdsAreNotUsedAgain, RecordsSurviveAReopening);

}  // namespace korvane::test
