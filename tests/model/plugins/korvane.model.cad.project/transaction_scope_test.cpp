#include "model/plugins/korvane.model.cad.project/transaction_scope.h"

#include <stdexcept>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using model::cad::TransactionScope;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ThrowsMessage;

class TransactionScopeTest : public StoreTest {
 protected:
  void insert_sheet() {
    session_ << "insert into sheet (uid) values ('s')", Poco::Data::Keywords::now;
  }

  Poco::Data::Session session_ = own_session();
};

TEST_F(TransactionScopeTest, RollsBackWhenItIsLeftUndone) {
  {
    const TransactionScope scope(session_);
    insert_sheet();
  }
  EXPECT_FALSE(session_.isTransaction());
  EXPECT_EQ(count("sheet"), 0);
}

TEST_F(TransactionScopeTest, RollsBackWhenAnExceptionLeavesIt) {
  const auto fail = [&] {
    const TransactionScope scope(session_);
    insert_sheet();
    throw std::runtime_error("on the way");
  };
  EXPECT_THAT(fail, ThrowsMessage<std::runtime_error>("on the way"));
  EXPECT_EQ(count("sheet"), 0);
}

TEST_F(TransactionScopeTest, KeepsWhatIsCommitted) {
  {
    TransactionScope scope(session_);
    insert_sheet();
    EXPECT_FALSE(scope.done);
    scope.commit();
    EXPECT_TRUE(scope.done);
  }
  EXPECT_EQ(count("sheet"), 1);
}

TEST_F(TransactionScopeTest, LetsTheFirstExceptionOutWhenTheRollbackFailsToo) {
  const auto fail = [&] {
    const TransactionScope scope(session_);
    session_ << "rollback", Poco::Data::Keywords::now;
    throw std::runtime_error("the first");
  };
  EXPECT_THAT(fail, ThrowsMessage<std::runtime_error>("the first"));
}

TEST_F(TransactionScopeTest, IsDoneAndDoesNotRollBackWhenItsCommitFails) {
  Reader reader(file());
  {
    TransactionScope scope(session_);
    insert_sheet();
    EXPECT_THROW(scope.commit(), DBLockedException);
    EXPECT_TRUE(scope.done);
  }
  EXPECT_TRUE(session_.isTransaction());
  reader.let_go();
  session_.commit();
  EXPECT_EQ(count("sheet"), 1);
}

}  // namespace

}  // namespace korvane::test
