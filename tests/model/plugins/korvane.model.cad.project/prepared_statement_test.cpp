#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

#include <string>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "tests/support/store_test.h"

namespace korvane::test {
namespace {

using model::cad::PreparedStatement;
using model::cad::run;
using Poco::Data::SQLite::ConstraintViolationException;
using Poco::Data::SQLite::InvalidSQLStatementException;

class Prepared : public StoreTest {
 protected:
  PreparedStatement prepare(const std::string& sql) { return {session_, sql}; }

  Poco::Data::Session session_ = own_session();
};

TEST_F(Prepared, GivesItsRowsAndIsThenBackAtItsStart) {
  auto select = prepare("select 1 union all select 2");
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(select.step());
    EXPECT_EQ(select.id(0, "t"), 1);
    EXPECT_TRUE(select.step());
    EXPECT_EQ(select.id(0, "t"), 2);
    EXPECT_FALSE(select.step());
  }
}

TEST_F(Prepared, RunGoesPastAllRows) {
  auto select = prepare("select 1 union all select 2");
  select.run();
  EXPECT_TRUE(select.step());
  EXPECT_EQ(select.id(0, "t"), 1);
}

TEST_F(Prepared, TakesValuesForItsParametersInTheirOrder) {
  const std::string text = "text";
  PreparedStatement select(session_, "select ?, ?", text, 7);
  ASSERT_TRUE(select.step());
  EXPECT_EQ(select.text(0), "text");
  EXPECT_EQ(select.id(1, "t"), 7);
}

TEST_F(Prepared, RunsAtOnceWithItsValues) {
  run(session_, "insert into sheet (uid, id) values (?, ?)", std::string("u-7"), 7);
  run(session_, "delete from material");
  EXPECT_EQ(rows("select id, uid from sheet"), (Rows{{"7", "u-7"}}));
}

TEST_F(Prepared, BindsATruthValueAsZeroOrOne) {
  PreparedStatement select(session_, "select typeof(?1), ?1, ?2", true, false);
  ASSERT_TRUE(select.step());
  EXPECT_EQ(select.text(0), "integer");
  EXPECT_EQ(select.id(1, "t"), 1);
  EXPECT_EQ(select.id(2, "t"), 0);
}

TEST_F(Prepared, BindsEachTypeAndNull) {
  auto select = prepare("select typeof(?), typeof(?), typeof(?), typeof(?), typeof(?), typeof(?)");
  const std::string text = "text";
  const bond::blob bytes = bond::blob::copy_of("\0b", 2);
  select.bind(1, 7);
  select.bind(2, 0.5);
  select.bind(3, text);
  select.bind(4, bytes);
  select.bind(5, bond::nullable<double>());
  select.bind(6, bond::nullable<double>(1.5));
  ASSERT_TRUE(select.step());
  const char* const expected[] = {"integer", "real", "text", "blob", "null", "real"};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(select.text(i), expected[i]) << i;
}

TEST_F(Prepared, AnEmptyTextIsNotNull) {
  auto select = prepare("select typeof(?)");
  const std::string empty;
  select.bind(1, empty);
  ASSERT_TRUE(select.step());
  EXPECT_EQ(select.text(0), "text");
}

TEST_F(Prepared, ReadsNullAsNothing) {
  auto select = prepare("select null, null, null");
  ASSERT_TRUE(select.step());
  EXPECT_EQ(select.id(0, "t"), 0);
  EXPECT_EQ(select.text(1), "");
  EXPECT_EQ(select.bytes(2), "");
}

TEST_F(Prepared, ReadsBytesAndTextsWholeWithTheirZeroBytes) {
  auto select = prepare("select x'610062', cast(x'610062' as text)");
  ASSERT_TRUE(select.step());
  EXPECT_EQ(select.bytes(0), std::string("a\0b", 3));
  EXPECT_EQ(select.text(1), std::string("a\0b", 3));
}

TEST_F(Prepared, TakesIdsUpToTheEndsOf32Bits) {
  auto select = prepare("select 2147483647, -2147483648");
  ASSERT_TRUE(select.step());
  EXPECT_EQ(select.id(0, "sheet"), 2147483647);
  EXPECT_EQ(select.id(1, "sheet"), -2147483647 - 1);
}

TEST_F(Prepared, RefusesAnIdBeyond32BitsWithTableAndValue) {
  auto select = prepare("select 2147483648, -2147483649");
  ASSERT_TRUE(select.step());
  EXPECT_THAT([&] { select.id(0, "sheet"); }, ::testing::ThrowsMessage<krv::rpc4::UnusableRow>(
                                                  "sheet: the id 2147483648 does not fit 32 bits"));
  EXPECT_THAT([&] { select.id(1, "sheet"); },
              ::testing::ThrowsMessage<krv::rpc4::UnusableRow>(
                  "sheet: the id -2147483649 does not fit 32 bits"));
}

TEST_F(Prepared, IsBackAtItsStartAfterAnExceptionOfTheDataLayer) {
  auto insert = prepare("insert into sheet (uid) values (?)");
  const std::string uid = "once";
  insert.bind(1, uid);
  insert.run();
  EXPECT_THROW(insert.run(), ConstraintViolationException);
  const std::string other = "other";
  insert.bind(1, other);
  insert.run();
  EXPECT_EQ(count("sheet"), 2);
}

TEST_F(Prepared, RefusesWhatIsNotSqlOrNamesNoTable) {
  EXPECT_THROW(prepare("selec 1"), InvalidSQLStatementException);
  EXPECT_THROW(prepare("select 1 from nowhere"), InvalidSQLStatementException);
}

TEST_F(Prepared, RefusesAParameterThatIsNotThere) {
  auto select = prepare("select ?");
  EXPECT_THROW(select.bind(2, 1), Poco::Data::DataException);
}

TEST_F(Prepared, SaysThatASessionHasNoConnection) {
  Poco::Data::Session closed = closed_session();
  EXPECT_THAT([&] { run(closed, "select 1"); },
              ::testing::Throws<Poco::Data::NotConnectedException>(
                  ::testing::Property(&Poco::Exception::message, file())));
}

TEST_F(Prepared, KnowsWhetherATransactionIsOpen) {
  auto select = prepare("select 1");
  EXPECT_FALSE(select.is_in_transaction());
  prepare("begin").run();
  EXPECT_TRUE(select.is_in_transaction());
  prepare("rollback").run();
  EXPECT_FALSE(select.is_in_transaction());
}

}  // namespace
}  // namespace korvane::test
