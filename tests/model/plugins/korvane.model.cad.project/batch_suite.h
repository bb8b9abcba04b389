#pragma once

#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/model/plugins/korvane.model.cad.project/content_kinds.h"

/// What the batches of fabrics, bar spacers and mounting parts have in common, told once.
namespace korvane::test {

template <class Kind>
class BatchTest : public KindTest<Kind> {
 protected:
  /// The record marked "refused" cannot be stored any more.
  void refuse_records() { this->refuse("insert", Kind::table, "new.mark = 'refused'"); }
  /// Nothing of a failed batch is there, and the next batch is stored.
  void expect_nothing_stored_and_next_write_to_work() {
    EXPECT_EQ(this->count(Kind::table), 0);
    this->store({this->marked("next")});
    EXPECT_EQ(this->marks(), (Rows{{"next"}}));
  }
};

TYPED_TEST_SUITE_P(BatchTest);

TYPED_TEST_P(BatchTest, HasTheColumnsOfItsTableInOrder) {
  Rows columns;
  for (const std::string& column : TypeParam::writer().columns) columns.push_back({column});
  EXPECT_EQ(columns, this->rows(std::string("select name from pragma_table_info('") +
                                TypeParam::table + "') where name <> 'id' order by cid"));
  EXPECT_EQ(TypeParam::writer().table, TypeParam::table);
}

TYPED_TEST_P(BatchTest, StoresRecordsInOrder) {
  this->store({this->marked("c"), this->marked("a"), this->marked("b")});
  EXPECT_EQ(this->rows(std::string("select id, mark from ") + TypeParam::table + " order by id"),
            (Rows{{"1", "c"}, {"2", "a"}, {"3", "b"}}));
}

TYPED_TEST_P(BatchTest, AddsToWhatIsThere) {
  this->store({this->marked("a")});
  this->store({this->marked("b"), this->marked("c")});
  EXPECT_EQ(this->marks(), (Rows{{"a"}, {"b"}, {"c"}}));
}

TYPED_TEST_P(BatchTest, TakesRecordsOfSeveralRevisions) {
  const std::int32_t other = this->make_revision();
  this->store({this->marked("a"), TypeParam::minimal(this->in_revision(other))});
  EXPECT_EQ(this->rows(std::string("select rev_id from ") + TypeParam::table + " order by id"),
            (Rows{{"1"}, {"2"}}));
}

TYPED_TEST_P(BatchTest, LeavesNothingOfARecordToTheNext) {
  this->store({this->full(), this->marked("")});
  this->store({this->marked("")});
  Rows stored = this->all_of(TypeParam::table);
  for (Row& row : stored) row.erase(row.begin());
  EXPECT_EQ(stored.at(1), stored.at(2));
  EXPECT_NE(stored.at(0), stored.at(1));
}

TYPED_TEST_P(BatchTest, IsStoredThroughAReopening) {
  this->store({this->full()});
  const Rows before = this->all_of(TypeParam::table);
  this->reopen();
  EXPECT_EQ(this->all_of(TypeParam::table), before);
  this->store({this->marked("next")});
  EXPECT_EQ(this->count(TypeParam::table), 2);
}

TYPED_TEST_P(BatchTest, LeavesItsReplyAndTheLogAlone) {
  this->log().clear();
  GenericReply reply;
  reply.error.set("before");
  TypeParam::add(this->project(), {this->full()}, reply);
  EXPECT_EQ(*reply.error, "before");
  EXPECT_THAT(this->log().lines(), ::testing::IsEmpty());
}

TYPED_TEST_P(BatchTest, OfNothingOpensAndCommitsATransactionAndWritesNothing) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  const auto before = this->counts();
  this->store({});
  EXPECT_THAT(watch.statements(), ::testing::ElementsAre("BEGIN", "COMMIT"));
  EXPECT_EQ(this->counts(), before);
}

TYPED_TEST_P(BatchTest, RunsOneInsertForEachRecordInOneTransaction) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->store({this->full(), this->marked("a")});
  EXPECT_THAT(watch.statements(), ::testing::ElementsAre("BEGIN", TypeParam::insert_sql,
                                                         TypeParam::insert_sql, "COMMIT"));
}

TYPED_TEST_P(BatchTest, IsParsedOnceForAnyNumberOfRecords) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->store(std::vector<typename TypeParam::Record>(50, this->marked("a")));
  EXPECT_EQ(watch.parsed(SQLITE_INSERT), 1);
  EXPECT_EQ(watch.parsed(SQLITE_INSERT, TypeParam::table), 1);
  EXPECT_EQ(watch.parsed(SQLITE_SELECT), 0);
  EXPECT_EQ(this->count(TypeParam::table), 50);
}

TYPED_TEST_P(BatchTest, FailingOnItsLastRecordLeavesNothingBehind) {
  this->refuse_records();
  EXPECT_THAT(
      [&] {
        this->store({this->full(), this->marked("a"), this->marked("refused")});
      },
      violates("refused by the test"));
  this->expect_nothing_stored_and_next_write_to_work();
}

TYPED_TEST_P(BatchTest, FailingKeepsWhatEarlierBatchesStored) {
  this->store({this->marked("earlier")});
  this->refuse_records();
  EXPECT_THAT(
      [&] {
        this->store({this->marked("a"), this->marked("refused")});
      },
      violates("refused by the test"));
  EXPECT_EQ(this->marks(), (Rows{{"earlier"}}));
}

TYPED_TEST_P(BatchTest, FailingTriesNoRecordBehindTheOneThatFails) {
  this->refuse_records();
  ConnectionWatch watch;
  this->reopen_under(watch);
  EXPECT_THAT(
      [&] {
        this->store({this->marked("a"), this->marked("refused"), this->full()});
      },
      violates("refused by the test"));
  EXPECT_THAT(watch.statements(), ::testing::ElementsAre("BEGIN", TypeParam::insert_sql,
                                                         TypeParam::insert_sql, "ROLLBACK"));
}

TYPED_TEST_P(BatchTest, FailingOnAFullDiskStoresNothing) {
  this->fill_disk();
  EXPECT_THROW(this->store({this->full(), this->marked(std::string(100000, 'x'))}),
               Poco::Data::SQLite::DatabaseFullException);
  this->free_disk();
  this->expect_nothing_stored_and_next_write_to_work();
}

TYPED_TEST_P(BatchTest, FailingOnItsCommitIsNotRolledBack) {
  Poco::Data::Session session = this->own_session();
  Reader reader(this->file());
  EXPECT_THROW(TypeParam::add(session, {this->marked("a")}), Poco::Data::SQLite::DBLockedException);
  EXPECT_EQ(reader.count(TypeParam::table), "0");
  reader.let_go();
  session.commit();
  EXPECT_EQ(this->marks(), (Rows{{"a"}}));
}

TYPED_TEST_P(BatchTest, WithoutAConnectionTellsTheConnectionString) {
  Poco::Data::Session session = this->closed_session();
  EXPECT_THAT([&] { TypeParam::add(session, {this->marked("a")}); },
              misses_connection_to(this->file()));
  EXPECT_THAT([&] { TypeParam::add(session, {}); }, misses_connection_to(this->file()));
  this->expect_nothing_stored_and_next_write_to_work();
}

REGISTER_TYPED_TEST_SUITE_P(
    BatchTest, HasTheColumnsOfItsTableInOrder, StoresRecordsInOrder, AddsToWhatIsThere,
    TakesRecordsOfSeveralRevisions, LeavesNothingOfARecordToTheNext, IsStoredThroughAReopening,
    LeavesItsReplyAndTheLogAlone, OfNothingOpensAndCommitsATransactionAndWritesNothing,
    RunsOneInsertForEachRecordInOneTransaction, IsParsedOnceForAnyNumberOfRecords,
    FailingOnItsLastRecordLeavesNothingBehind, FailingKeepsWhatEarlierBatchesStored,
    FailingTriesNoRecordBehindTheOneThatFails, FailingOnAFullDiskStoresNothing,
    FailingOnItsCommitIsNotRolledBack, WithoutAConnectionTellsTheConnectionString);

}  // namespace korvane::test
