#include "model/plugins/korvane.model.cad.project/record_access.h"

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "model/plugins/korvane.model.cad.project/transaction_scope.h"
#include "platform/log/log.h"
#include "platform/rpc4/failure.h"
#include "tests/model/plugins/korvane.model.cad.project/failure.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::BLOB;
using Poco::Data::NotConnectedException;
using Poco::Data::SQLite::ConstraintViolationException;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::ThrowsMessage;

/// The functions on one of the four tables, whose rows plain SQLite puts there.
template <class Types>
class RowContract : public StoreTest {
 protected:
  using Record = typename Types::first_type;
  using Reference = typename Types::second_type;

  static std::string table() {
    if constexpr (std::is_same_v<Record, Material>) return "material";
    if constexpr (std::is_same_v<Record, Sheet>) return "sheet";
    if constexpr (std::is_same_v<Record, Revision>) return "revision";
    return "fabric_type";
  }
  static Record record(std::int32_t id, const std::string& uid) {
    Record record;
    record.id = id;
    record.uid = uid;
    return record;
  }
  /// The record in `raw` has another identity than the row.
  void put(std::int32_t id, const std::string& uid) {
    const bool has_material = table() == "fabric_type";
    run_plainly("insert into " + table() + " (id, uid" + (has_material ? ", material_id" : "") +
                ", raw) values (" + std::to_string(id) + ", '" + uid + "'" +
                (has_material ? ", 1" : "") + ", x'" + raw_hex(record(99, "in raw")) + "')");
  }

  bool get(Reference ref, Record& out) {
    return get_t_impl(session_, table(), std::move(ref), out);
  }
  void remove(Reference ref) { delete_t_impl(session_, table(), std::move(ref)); }
  Rows uids() const { return rows("select uid from " + table() + " order by id"); }

  Poco::Data::Session session_ = own_session();
};

using RowTypes =
    ::testing::Types<std::pair<Material, MaterialRef>, std::pair<Sheet, SheetRef>,
                     std::pair<Revision, RevisionRef>, std::pair<FabricType, FabricTypeRef>>;

class RowTypeNames {
 public:
  template <class Types>
  static std::string GetName(int) {
    if (std::is_same_v<typename Types::first_type, Material>) return "Material";
    if (std::is_same_v<typename Types::first_type, Sheet>) return "Sheet";
    if (std::is_same_v<typename Types::first_type, Revision>) return "Revision";
    return "FabricType";
  }
};

TYPED_TEST_SUITE(RowContract, RowTypes, RowTypeNames);

TYPED_TEST(RowContract, AnIdThatMissesFallsBackToTheUid) {
  this->put(3, "u-3");
  typename TestFixture::Record out;
  EXPECT_TRUE(this->get(by_id_and_uid<typename TestFixture::Reference>(9, "u-3"), out));
  EXPECT_EQ(out, this->record(3, "u-3"));
}

TYPED_TEST(RowContract, AnIdThatHitsWinsOverAUidOfAnotherRow) {
  this->put(3, "u-3");
  this->put(4, "u-4");
  typename TestFixture::Record out;
  EXPECT_TRUE(this->get(by_id_and_uid<typename TestFixture::Reference>(3, "u-4"), out));
  EXPECT_EQ(out, this->record(3, "u-3"));
}

TYPED_TEST(RowContract, AMissLeavesTheTargetAlone) {
  this->put(3, "u-3");
  auto out = this->record(5, "before");
  EXPECT_FALSE(this->get(by_id_and_uid<typename TestFixture::Reference>(-1, ""), out));
  EXPECT_FALSE(this->get({}, out));
  EXPECT_EQ(out, this->record(5, "before"));
}

TYPED_TEST(RowContract, ARowWithoutUidIsFoundByIdAndHasAnEmptyOne) {
  this->put(3, "u-3");
  this->run_plainly("update " + this->table() + " set uid = NULL");
  auto out = this->record(0, "before");
  EXPECT_TRUE(this->get(by_id<typename TestFixture::Reference>(3), out));
  EXPECT_EQ(out, this->record(3, ""));
}

TYPED_TEST(RowContract, AnEmptyUidIsLookedUpAsItIs) {
  this->put(3, "");
  typename TestFixture::Record out;
  EXPECT_TRUE(this->get(by_uid<typename TestFixture::Reference>(""), out));
  EXPECT_EQ(out, this->record(3, ""));
}

TYPED_TEST(RowContract, AUidWithAZeroByteComesBackWhole) {
  this->put(3, "");
  this->run_plainly("update " + this->table() + " set uid = cast(x'610062' as text)");
  const auto expected = this->record(3, std::string("a\0b", 3));
  typename TestFixture::Record found_by_id;
  EXPECT_TRUE(this->get(by_id<typename TestFixture::Reference>(3), found_by_id));
  EXPECT_EQ(found_by_id, expected);
  typename TestFixture::Record found_by_uid;
  EXPECT_TRUE(this->get(by_uid<typename TestFixture::Reference>(expected.uid), found_by_uid));
  EXPECT_EQ(found_by_uid, expected);
  Batch<typename TestFixture::Record> out;
  list_t_impl(this->session_, this->table(), out);
  EXPECT_THAT(out.items, ElementsAre(expected));
  this->remove(by_uid<typename TestFixture::Reference>(expected.uid));
  EXPECT_EQ(this->count(this->table()), 0);
}

TYPED_TEST(RowContract, AnIdBeyond32BitsIsRefusedWithItsTableAndValue) {
  this->put(3, "u-3");
  this->run_plainly("update " + this->table() + " set id = 4294967297");
  const auto is_refused = ThrowsMessage<krv::rpc4::UnusableRow>(
      this->table() + ": the id 4294967297 does not fit 32 bits");
  auto out = this->record(5, "before");
  EXPECT_THAT([&] { this->get(by_uid<typename TestFixture::Reference>("u-3"), out); }, is_refused);
  EXPECT_EQ(out, this->record(5, "before"));
  Batch<typename TestFixture::Record> list;
  EXPECT_THAT([&] { list_t_impl(this->session_, this->table(), list); }, is_refused);
}

TYPED_TEST(RowContract, ListingGivesTheIdentityOfTheRows) {
  this->put(3, "u-3");
  this->put(4, "u-4");
  Batch<typename TestFixture::Record> out;
  list_t_impl(this->session_, this->table(), out);
  EXPECT_THAT(out.items, ElementsAre(this->record(3, "u-3"), this->record(4, "u-4")));
}

TYPED_TEST(RowContract, DeletingByIdPaysNoRegardToTheUid) {
  this->put(3, "u-3");
  this->put(4, "u-4");
  this->remove(by_id_and_uid<typename TestFixture::Reference>(3, "u-4"));
  EXPECT_EQ(this->uids(), (Rows{{"u-4"}}));
  this->remove(by_id_and_uid<typename TestFixture::Reference>(-1, "u-4"));
  EXPECT_EQ(this->uids(), (Rows{{"u-4"}}));
}

TYPED_TEST(RowContract, DeletingByNothingFailsAndRollsBack) {
  EXPECT_THAT([&] { this->remove({}); }, ThrowsMessage<std::runtime_error>("id or uid required"));
  EXPECT_FALSE(this->session_.isTransaction());
}

TYPED_TEST(RowContract, WithoutAConnectionEverythingFailsWithTheConnectionString) {
  using Ref = typename TestFixture::Reference;
  this->session_.close();
  typename TestFixture::Record out;
  Batch<typename TestFixture::Record> all;
  const auto get = [&](Ref ref) { return [this, ref, &out] { this->get(ref, out); }; };
  EXPECT_EQ(message_of<NotConnectedException>(get(by_id<Ref>(1))), this->file());
  EXPECT_EQ(message_of<NotConnectedException>(get(by_uid<Ref>("u"))), this->file());
  EXPECT_EQ(message_of<NotConnectedException>([&] { this->remove(by_id<Ref>(1)); }), this->file());
  EXPECT_EQ(
      message_of<NotConnectedException>([&] { list_t_impl(this->session_, this->table(), all); }),
      this->file());
}

TYPED_TEST(RowContract, ListingLogsItsTable) {
  this->log().clear();
  Batch<typename TestFixture::Record> out;
  list_t_impl(this->session_, this->table(), out);
  EXPECT_EQ(this->log().lines(),
            (LogLines{{0, L"list_t_impl: tbl_id=" + krv::log::widen(this->table())}}));
}

class RecordAccess : public StoreTest {
 protected:
  Poco::Data::Session session_ = own_session();
};

TEST_F(RecordAccess, DecodingKeepsWhatTheBytesLeaveOut) {
  run_plainly("insert into sheet (uid, raw) values ('s-1', x'4902473100')");
  Sheet out;
  out.comment = "before";
  EXPECT_TRUE(get_t_impl(session_, "sheet", by_id<SheetRef>(1), out));
  EXPECT_EQ(out.name, "G1");
  EXPECT_EQ(out.comment, "before");
}

TEST_F(RecordAccess, ADamagedRecordMayLeaveItsTargetPartlyFilled) {
  run_plainly("insert into sheet (uid, raw) values ('s-1', x'490247316905')");
  Sheet out;
  EXPECT_THROW(get_t_impl(session_, "sheet", by_id<SheetRef>(1), out), bond::StreamException);
  EXPECT_EQ(out.name, "G1");
  EXPECT_EQ(out.uid, "");
}

TEST_F(RecordAccess, DeletingAReferencedFabricTypeFailsAndRollsBack) {
  query("insert into sheet (uid) values ('s')");
  query("insert into revision (sheet_id) values (1)");
  query("insert into material (uid) values ('m')");
  query("insert into fabric_type (material_id) values (1)");
  query("insert into fabric (rev_id, fabric_type_id) values (1, 1)");
  EXPECT_THROW(delete_t_impl(session_, "fabric_type", by_id<FabricTypeRef>(1)),
               ConstraintViolationException);
  EXPECT_FALSE(session_.isTransaction());
  EXPECT_EQ(count("fabric_type"), 1);
}

/// A reader of another connection, which holds a commit up.
class Reader {
 public:
  explicit Reader(const std::string& file) : connection_(file, PlainConnection::Mode::kRead) {
    connection_.run("begin; select count(*) from sqlite_master");
  }
  void let_go() { connection_.run("commit"); }

 private:
  PlainConnection connection_;
};

TEST_F(RecordAccess, ACommitThatFailsIsFollowedByNoRollback) {
  make_material();
  Reader reader(file());
  EXPECT_THROW(delete_t_impl(session_, "material", by_id<MaterialRef>(1)), DBLockedException);
  reader.let_go();
  session_.commit();
  EXPECT_EQ(count("material"), 0);
}

TEST_F(RecordAccess, ACommitThatFailsLeavesTheTransactionToTheNextWriter) {
  make_material();
  Reader reader(file());
  EXPECT_THROW(delete_t_impl(session_, "material", by_id<MaterialRef>(1)), DBLockedException);
  EXPECT_THROW(delete_t_impl(session_, "material", by_id<MaterialRef>(1)),
               Poco::Data::SQLite::InvalidSQLStatementException);
}

class TransactionScopeTest : public RecordAccess {
 protected:
  void insert_sheet() {
    session_ << "insert into sheet (uid) values ('s')", Poco::Data::Keywords::now;
  }
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

TEST(SerializeRecord, GivesTheBytesOfTheRecord) {
  Sheet sheet;
  sheet.name = "G1";
  const BLOB blob = serialize_record(sheet);
  EXPECT_EQ(hex(blob.rawContent(), blob.size()), "4902473100");
}

TEST(DeserializeRecord, StartsFromADefaultRecord) {
  const unsigned char bytes[] = {0x49, 0x02, 0x47, 0x31, 0x00};
  const auto sheet = deserialize_record<Sheet>(BLOB(bytes, sizeof bytes));
  EXPECT_EQ(sheet.name, "G1");
  EXPECT_EQ(sheet.id, -1);
}

TEST(DeserializeRecord, RefusesAnEmptyBlob) {
  EXPECT_THAT([] { deserialize_record<Sheet>(BLOB()); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
}

TEST(DeserializeRecordInto, DoesNotResetItsTarget) {
  const unsigned char bytes[] = {0x49, 0x02, 0x47, 0x31, 0x00};
  Sheet sheet;
  sheet.id = 7;
  sheet.name = "before";
  deserialize_record_into(BLOB(bytes, sizeof bytes), sheet);
  EXPECT_EQ(sheet.id, 7);
  EXPECT_EQ(sheet.name, "G1");
}

TEST(GenerateUid, GivesTheLowerCaseTextOfARandomVersionFourUuid) {
  EXPECT_THAT(generate_uid(),
              MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST(GenerateUid, GivesAnotherEachTime) {
  std::set<std::string> uids;
  for (int i = 0; i < 1000; ++i) uids.insert(generate_uid());
  EXPECT_EQ(uids.size(), 1000U);
}

TEST(MakeInsertSql, NamesColumnsAndAsManyParametersWithoutBlanks) {
  EXPECT_EQ(make_insert_sql({"t", {"a", "b"}}), "insert into t (a,b) values (?,?)");
  EXPECT_EQ(make_insert_sql({"t", {"a"}}), "insert into t (a) values (?)");
}

TEST(MakeInsertSql, SetsAnotherSeparatorWhereItIsAskedTo) {
  EXPECT_EQ(make_insert_sql({"t", {"a", "b"}}, ", "), "insert into t (a, b) values (?, ?)");
}

TEST(MakeUpdateSql, SetsEachColumnOfTheRowOfAnId) {
  EXPECT_EQ(make_update_sql({"t", {"a", "b"}}), "update t set a=?, b=? where id=?");
}

}  // namespace

}  // namespace korvane::test
