#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using Poco::Data::SQLite::ConstraintViolationException;
using Poco::Data::SQLite::DatabaseFullException;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

template <class Kind>
using Batches = ContentTest<Kind>;
TYPED_TEST_SUITE(Batches, ContentKinds, ContentNames);

TYPED_TEST(Batches, NameTheColumnsOfTheirTableInOrder) {
  const CellText columns = this->value(
      std::string("select group_concat(name) from (select name from pragma_table_info('") +
      TypeParam::table + "') where name <> 'id' order by cid)");
  EXPECT_THAT(TypeParam::insert_sql, StartsWith(std::string("insert into ") + TypeParam::table +
                                                " (" + *columns + ") values ("));
}

TYPED_TEST(Batches, StoreRecordsInOrder) {
  this->store({this->marked("c"), this->marked("a"), this->marked("b")});
  EXPECT_EQ(this->rows(std::string("select id, mark from ") + TypeParam::table + " order by id"),
            (Rows{{"1", "c"}, {"2", "a"}, {"3", "b"}}));
}

TYPED_TEST(Batches, AddToWhatIsThere) {
  this->store({this->marked("a")});
  this->store({this->marked("b"), this->marked("c")});
  EXPECT_EQ(this->marks(), (Rows{{"a"}, {"b"}, {"c"}}));
}

TYPED_TEST(Batches, TakeRecordsOfSeveralRevisions) {
  const std::int32_t other = this->make_revision();
  this->store({this->marked("a"), minimal_content<TypeParam>(this->in_revision(other))});
  EXPECT_EQ(this->rows(std::string("select rev_id from ") + TypeParam::table + " order by id"),
            (Rows{{"1"}, {"2"}}));
}

TYPED_TEST(Batches, LeaveNothingOfARecordToTheNext) {
  this->store({this->filled(), this->minimal()});
  this->store({this->minimal()});
  Rows stored = this->all_of(TypeParam::table);
  for (Row& row : stored) row.erase(row.begin());
  EXPECT_EQ(stored.at(1), stored.at(2));
  EXPECT_NE(stored.at(0), stored.at(1));
}

TYPED_TEST(Batches, OutliveAReopening) {
  this->store({this->filled()});
  const Rows before = this->all_of(TypeParam::table);
  this->reopen();
  EXPECT_EQ(this->all_of(TypeParam::table), before);
  this->store({this->marked("next")});
  EXPECT_EQ(this->count(TypeParam::table), 2);
}

TYPED_TEST(Batches, LeaveTheirReplyAsItWasAndLogNothing) {
  this->log().clear();
  GenericReply reply;
  reply.error.set("before");
  (this->project().*TypeParam::add)({{this->filled()}}, reply);
  EXPECT_EQ(*reply.error, "before");
  EXPECT_THAT(this->log().lines(), IsEmpty());
}

TYPED_TEST(Batches, OfNothingOpenAndCommitATransactionAndWriteNothing) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  const auto before = this->counts();
  this->store({});
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", "COMMIT"));
  EXPECT_EQ(this->counts(), before);
}

TYPED_TEST(Batches, RunOneInsertForEachRecordInOneTransaction) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->store({this->marked("a"), this->marked("b")});
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", TypeParam::insert_sql, TypeParam::insert_sql, "COMMIT"));
}

TYPED_TEST(Batches, AreParsedOnceForAnyNumberOfRecords) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->store(std::vector<typename TypeParam::Record>(50, this->marked("a")));
  EXPECT_EQ(watch.parsed(SQLITE_INSERT), 1);
  EXPECT_EQ(watch.parsed(SQLITE_INSERT, TypeParam::table), 1);
  EXPECT_EQ(watch.parsed(SQLITE_SELECT), 0);
  EXPECT_EQ(this->count(TypeParam::table), 50);
}

/// The record marked "refused" cannot be stored.
template <class Kind>
class FailingBatches : public ContentTest<Kind> {
 protected:
  FailingBatches() { this->refuse("insert", Kind::table, "new.mark = 'refused'"); }

  auto is_refused() const { return violates("refused by the test"); }
  /// The failed batch has left no row in any table, and the next batch is stored.
  void expect_nothing_stored_and_next_write_to_work() {
    EXPECT_EQ(this->counts(), before_);
    this->store({this->marked("next")});
    EXPECT_EQ(this->marks(), (Rows{{"next"}}));
  }

  const std::vector<std::int64_t> before_ = this->counts();
};
TYPED_TEST_SUITE(FailingBatches, ContentKinds, ContentNames);

TYPED_TEST(FailingBatches, LeaveNothingWhereTheLastRecordFails) {
  EXPECT_THAT(
      [&] {
        this->store({this->filled(), this->marked("a"), this->marked("refused")});
      },
      this->is_refused());
  this->expect_nothing_stored_and_next_write_to_work();
}

TYPED_TEST(FailingBatches, KeepWhatEarlierBatchesStored) {
  this->store({this->filled()});
  const Rows before = this->all_of(TypeParam::table);
  const auto counts_before = this->counts();
  EXPECT_THAT(
      [&] {
        this->store({this->marked("a"), this->marked("refused")});
      },
      this->is_refused());
  EXPECT_EQ(this->all_of(TypeParam::table), before);
  EXPECT_EQ(this->counts(), counts_before);
}

TYPED_TEST(FailingBatches, TryNoRecordAfterTheOneThatFails) {
  ConnectionWatch watch;
  this->reopen_under(watch);
  EXPECT_THAT(
      [&] {
        this->store({this->marked("a"), this->marked("refused"), this->marked("b")});
      },
      this->is_refused());
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", TypeParam::insert_sql, TypeParam::insert_sql, "ROLLBACK"));
}

// SQLite has then rolled back by itself, and the rollback of the operation fails.
TYPED_TEST(FailingBatches, OnAFullDiskStoreNothing) {
  this->fill_disk();
  EXPECT_THROW(this->store({this->filled(), this->marked(std::string(100000, 'x'))}),
               DatabaseFullException);
  this->free_disk();
  this->expect_nothing_stored_and_next_write_to_work();
}

TYPED_TEST(FailingBatches, AreNotRolledBackWhenTheirCommitFails) {
  this->wait_for_no_lock();
  Reader reader(this->file());
  EXPECT_THROW(this->store({this->marked("a")}), DBLockedException);
  EXPECT_EQ(reader.count(TypeParam::table), "0");
  reader.let_go();
  this->query("commit");
  EXPECT_EQ(this->marks(), (Rows{{"a"}}));
}

/// The foreign keys of a kind, of which bar spacers have none.
template <class Kind>
class References : public FailingBatches<Kind> {};
TYPED_TEST_SUITE(References, ContentKinds, ContentNames);

TYPED_TEST(References, AreTheForeignKeysOfItsTableThatMayNotBeNull) {
  Rows expected;
  for (const auto& reference : TypeParam::references) {
    expected.push_back({reference.column, reference.parent_table});
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(
      this->rows(std::string("select \"from\", \"table\" from pragma_foreign_key_list('") +
                 TypeParam::table + "') where \"table\" <> 'end_treatment' order by \"from\""),
      expected);
}

TYPED_TEST(References, AreRefusedWhereTheParentIsUnknown) {
  for (const auto& reference : TypeParam::references) {
    EXPECT_THAT(
        [&] {
          this->store({this->filled(), this->orphaned(reference)});
        },
        violates("FOREIGN KEY constraint failed"))
        << reference.column;
  }
  this->expect_nothing_stored_and_next_write_to_work();
}

TYPED_TEST(References, AreRefusedWhereTheyAreLeftAtTheirDefault) {
  for (const auto& reference : TypeParam::references) {
    typename TypeParam::Record record;
    for (const auto& other : TypeParam::references) {
      if (&other != &reference) other.set(record, 1);
    }
    EXPECT_THROW(this->store({record}), ConstraintViolationException) << reference.column;
  }
  this->expect_nothing_stored_and_next_write_to_work();
}

TYPED_TEST(References, ToARevisionDeleteTheRowTogetherWithIt) {
  const std::int32_t other = this->make_revision();
  this->store({this->filled(), minimal_content<TypeParam>(this->in_revision(other))});
  this->delete_revision(1);
  const Rows kept = goes_with_revision<TypeParam>() ? Rows{{"2"}} : Rows{{"1"}, {"2"}};
  EXPECT_EQ(this->rows(std::string("select rev_id from ") + TypeParam::table + " order by id"),
            kept);
}

}  // namespace

}  // namespace korvane::test
