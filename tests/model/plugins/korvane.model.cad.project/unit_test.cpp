// Several operations made one, and what a host is told of a record that could not be stored.

#include <stdexcept>
#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "platform/rpc4/failed_item.h"
#include "tests/support/captured_log.h"
#include "tests/support/content_kinds.h"
#include "tests/support/entity_kinds.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using krv::rpc4::FailedItemListener;
using Poco::Data::SQLite::ConstraintViolationException;
using ::testing::ElementsAre;

class UnitTest : public ::testing::Test {
 protected:
  void create_sheet(const std::string& uid) {
    Sheet sheet;
    sheet.uid = uid;
    SheetRef reply;
    project_.create_sheet(sheet, reply);
  }
  void add_bar(const std::string& mark, std::int32_t revision, std::int32_t material) {
    Batch<Rebar> batch;
    Rebar& bar = batch.items.emplace_back();
    bar.mark = mark;
    bar.rev_id = revision;
    bar.material_id.set(material);
    GenericReply reply;
    project_.add_rebar(batch, reply);
  }
  std::string sheets() { return *plain_rows(file_, "select count(*) from sheet")[0][0]; }
  bool is_in_transaction() { return sqlite3_get_autocommit(project_.connection()) == 0; }

  CapturedLog log_;
  TemporaryFolder folder_;
  const std::string file_ = folder_.file("a.db");
  Project_Service_Impl project_{0, file_};
};

TEST_F(UnitTest, StoresAllOfItWithItsCommit) {
  project_.begin_unit();
  create_sheet("one");
  create_sheet("two");
  EXPECT_EQ(sheets(), "0");
  project_.commit_unit();
  EXPECT_EQ(sheets(), "2");
  EXPECT_FALSE(is_in_transaction());
}

TEST_F(UnitTest, StoresNothingWhenItIsRolledBack) {
  project_.begin_unit();
  create_sheet("one");
  project_.roll_back_unit();
  project_.roll_back_unit();
  EXPECT_EQ(sheets(), "0");
  create_sheet("two");
  EXPECT_EQ(sheets(), "1");
}

TEST_F(UnitTest, TakesBackAnOperationThatFailsAndKeepsTheOthers) {
  project_.begin_unit();
  create_sheet("one");
  EXPECT_THROW(create_sheet("one"), ConstraintViolationException);
  create_sheet("two");
  project_.commit_unit();
  EXPECT_THAT(plain_rows(file_, "select uid from sheet order by id"),
              ElementsAre(Row{"one"}, Row{"two"}));
}

TEST_F(UnitTest, MakesTheTablesAnewAsPartOfIt) {
  create_sheet("one");
  project_.begin_unit();
  GenericReply reply;
  project_.clear({true}, reply);
  project_.roll_back_unit();
  EXPECT_EQ(sheets(), "1");
  project_.begin_unit();
  project_.clear({true}, reply);
  project_.commit_unit();
  EXPECT_EQ(sheets(), "0");
}

TEST_F(UnitTest, DoesNotBeginTwiceNorInsideATransaction) {
  project_.begin_unit();
  EXPECT_THROW(project_.begin_unit(), Poco::Exception);
  project_.commit_unit();
}

TEST_F(UnitTest, StoresNothingMoreOnceItsTransactionIsLost) {
  project_.begin_unit();
  create_sheet("one");
  sqlite3_exec(project_.connection(), "ROLLBACK", nullptr, nullptr, nullptr);
  EXPECT_THROW(create_sheet("two"), Poco::Data::SQLite::TransactionException);
  model::table::GET_TABLE request;
  request.kind = "sql:raw";
  request.params["query"].value_string.set("insert into sheet (uid) values ('three')");
  model::table::TABLE reply;
  EXPECT_THROW(project_.query_table(request, reply), Poco::Data::SQLite::TransactionException);
  EXPECT_THROW(project_.commit_unit(), Poco::Exception);
  EXPECT_EQ(sheets(), "0");
  create_sheet("four");
  EXPECT_EQ(sheets(), "1");
}

TEST_F(UnitTest, KeepsNothingWhenItsCommitFails) {
  PlainConnection reader(file_, PlainConnection::Mode::kRead);
  project_.begin_unit();
  create_sheet("one");
  reader.run("begin; select * from sheet");
  sqlite3_busy_timeout(project_.connection(), 0);
  EXPECT_THROW(project_.commit_unit(), Poco::Exception);
  EXPECT_FALSE(is_in_transaction());
  reader.run("commit");
  EXPECT_EQ(sheets(), "0");
}

TEST_F(UnitTest, OfAnotherThreadsProjectIsNotJoined) {
  Project_Service_Impl other(1, folder_.file("b.db"));
  project_.begin_unit();
  Sheet sheet;
  SheetRef reply;
  other.create_sheet(sheet, reply);
  EXPECT_EQ(plain_rows(folder_.file("b.db"), "select count(*) from sheet")[0][0], "1");
  project_.roll_back_unit();
}

TEST_F(UnitTest, TellsAListenerWhichRecordWasRefused) {
  const FailedItemListener listener;
  EXPECT_THROW(add_bar("7", 99, 1), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_EQ(listener.item()->index, 0U);
  EXPECT_EQ(listener.item()->mark, "7");
  EXPECT_EQ(listener.item()->field, "rev_id");
  EXPECT_EQ(listener.item()->reason, "there is no revision 99");
}

TEST_F(UnitTest, TellsWhichFieldOfASingleRecordIsDoubled) {
  const FailedItemListener listener;
  create_sheet("one");
  EXPECT_THROW(create_sheet("one"), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_FALSE(listener.item()->index);
  EXPECT_EQ(listener.item()->field, "uid");
  EXPECT_EQ(listener.item()->reason, "another record has the same");
}

TEST_F(UnitTest, TellsOfNoRecordWhereAConstraintOfTheFilesOwnRefuses) {
  PlainConnection(file_, PlainConnection::Mode::kWrite)
      .run("create trigger no before insert on sheet begin select raise(abort, 'no'); end");
  const FailedItemListener listener;
  EXPECT_THROW(create_sheet("one"), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_EQ(listener.item()->field, "");
}

TEST_F(UnitTest, TellsWhichOfSeveralReferencesNamesNothing) {
  create_sheet("one");
  Revision revision;
  revision.sheet_id = 1;
  RevisionRef made;
  project_.create_revision(revision, made);
  const FailedItemListener listener;
  EXPECT_THROW(add_bar("7", 1, 99), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_EQ(listener.item()->field, "material_id");
  EXPECT_EQ(listener.item()->reason, "there is no material 99");
}

TEST_F(UnitTest, TellsWhichFieldIsNotSet) {
  const FailedItemListener listener;
  Batch<Rebar> batch;
  batch.items.emplace_back().rev_id = 1;
  GenericReply reply;
  EXPECT_THROW(project_.add_rebar(batch, reply), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_EQ(listener.item()->mark, "");
  EXPECT_EQ(listener.item()->field, "material_id");
  EXPECT_EQ(listener.item()->reason, "it is not set");
}

TEST_F(UnitTest, TellsOfARefusedRecordOfEachKind) {
  using model::cad::Project_Service;
  auto& project = static_cast<Project_Service&>(project_);
  const auto refuse = [&](const char* table) {
    PlainConnection(file_, PlainConnection::Mode::kWrite)
        .run(std::string("create trigger no_") + table + " before insert on " + table +
             " begin select raise(abort, 'no'); end");
  };
  for_each_content_kind([&]<class Kind>() {
    refuse(Kind::table);
    Batch<typename Kind::Record> batch;
    batch.items.emplace_back().mark = "7";
    GenericReply reply;
    const FailedItemListener listener;
    EXPECT_THROW((project.*Kind::add)(batch, reply), ConstraintViolationException) << Kind::table;
    ASSERT_TRUE(listener.item());
    EXPECT_EQ(listener.item()->index, 0U);
    EXPECT_EQ(listener.item()->mark, "7");
  });
  for_each_entity([&]<class Entity>() {
    refuse(Entity::table);
    typename Entity::Ref reply;
    const FailedItemListener listener;
    EXPECT_THROW((project.*Entity::create)({}, reply), ConstraintViolationException)
        << Entity::table;
    ASSERT_TRUE(listener.item());
    EXPECT_FALSE(listener.item()->index);
  });
}

TEST_F(UnitTest, TellsOfTheProjectsOwnRecord) {
  PlainConnection(file_, PlainConnection::Mode::kWrite)
      .run("create trigger no before insert on project begin select raise(abort, 'no'); end");
  const FailedItemListener listener;
  GenericReply reply;
  EXPECT_THROW(project_.update_project({}, reply), ConstraintViolationException);
  EXPECT_TRUE(listener.item());
}

TEST_F(UnitTest, TellsTheFieldThatAConstraintOfTheFilesOwnNames) {
  PlainConnection(file_, PlainConnection::Mode::kWrite)
      .run("alter table sheet add column own integer check (sheet.uid <> 'one')");
  const FailedItemListener listener;
  EXPECT_THROW(create_sheet("one"), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_EQ(listener.item()->field, "uid");
  EXPECT_EQ(listener.item()->reason, "");
}

TEST_F(UnitTest, TellsNothingOfReferencesThatAreNotOurs) {
  PlainConnection(file_, PlainConnection::Mode::kWrite)
      .run(
          "create table other (id integer primary key);"
          "alter table sheet add column own integer references other (id);"
          "create trigger no before insert on sheet begin select raise(abort, 'no'); end");
  const FailedItemListener listener;
  EXPECT_THROW(create_sheet("one"), ConstraintViolationException);
  ASSERT_TRUE(listener.item());
  EXPECT_EQ(listener.item()->field, "");
}

TEST_F(UnitTest, ForgetsTheRecordWithTheNextOperation) {
  const FailedItemListener listener;
  EXPECT_THROW(add_bar("7", 99, 1), ConstraintViolationException);
  create_sheet("one");
  EXPECT_FALSE(listener.item());
}

}  // namespace
}  // namespace korvane::test
