#include "model/plugins/korvane.model.cad.project/record_access.h"

#include <set>
#include <string>

#include <Poco/Data/LOB.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::BLOB;
using ::testing::ThrowsMessage;

using GetSheet = StoreTest;

TEST_F(GetSheet, KeepsOfItsTargetWhatTheBytesLeaveOut) {
  run_plainly("insert into sheet (uid, raw) values ('s-1', x'4902473100')");
  Sheet out;
  out.comment = "before";
  project().get_sheet(by_id<SheetRef>(1), out);
  EXPECT_EQ(out.name, "G1");
  EXPECT_EQ(out.comment, "before");
}

TEST_F(GetSheet, MayLeaveItsTargetPartlyFilledByADamagedRecord) {
  run_plainly("insert into sheet (uid, raw) values ('s-1', x'490247316905')");
  Sheet out;
  EXPECT_THROW(project().get_sheet(by_id<SheetRef>(1), out), bond::StreamException);
  EXPECT_EQ(out.name, "G1");
  EXPECT_EQ(out.uid, "");
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
