#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "platform/log/log.h"
#include "platform/rpc4/failure.h"
#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

namespace korvane::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr const char* kEmptyRaw = "Read out of bounds: 1 bytes requested, offset: 0, length: 0";

template <class Entity>
using Getting = EntityTest<Entity>;
TYPED_TEST_SUITE(Getting, Entities, EntityNames);

TYPED_TEST(Getting, FindsByIdAndByUid) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  const auto second = with_identity(this->record("second"), 2, "u-2");
  EXPECT_EQ(this->get(by_id<Ref>(2)), second);
  EXPECT_EQ(this->get(by_uid<Ref>("u-2")), second);
}

TYPED_TEST(Getting, GivesTheIdentityOfTheRowAndNotOfRaw) {
  using Ref = typename TypeParam::Ref;
  const auto ref = this->create(with_identity(this->record("a"), 7, ""));
  const auto expected = with_identity(this->record("a"), 1, ref.uid.value());
  EXPECT_EQ(this->get(by_id<Ref>(1)), expected);
  EXPECT_EQ(this->get(by_uid<Ref>(ref.uid.value())), expected);
}

TYPED_TEST(Getting, FallsBackToTheUidWhenTheIdMisses) {
  this->create_two();
  EXPECT_EQ(this->get(by_id_and_uid<typename TypeParam::Ref>(99, "u-2")),
            with_identity(this->record("second"), 2, "u-2"));
}

TYPED_TEST(Getting, TakesTheRowOfTheIdWhenTheUidNamesAnother) {
  this->create_two();
  EXPECT_EQ(this->get(by_id_and_uid<typename TypeParam::Ref>(1, "u-2")),
            with_identity(this->record("first"), 1, "u-1"));
}

TYPED_TEST(Getting, AnUnknownRecordFailsAndTryingDoesNot) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  for (const Ref& ref : {by_id<Ref>(3), by_id<Ref>(-1), by_id<Ref>(0), by_uid<Ref>("u-3"),
                         by_uid<Ref>(""), by_id_and_uid<Ref>(3, "u-3"), Ref{}}) {
    EXPECT_THAT([&] { this->get(ref); },
                ThrowsMessage<std::runtime_error>("failed to get_" + this->table()));
    EXPECT_TRUE(this->try_get(ref).value.is_nothing());
  }
}

TYPED_TEST(Getting, AnUnknownRecordLeavesTheReplyAsItWas) {
  using Ref = typename TypeParam::Ref;
  this->create_two();
  auto reply = this->record("before");
  for (const Ref& ref : {by_id_and_uid<Ref>(-1, ""), Ref{}}) {
    EXPECT_ANY_THROW((this->project().*TypeParam::get)(ref, reply));
  }
  EXPECT_EQ(reply, this->record("before"));
}

TYPED_TEST(Getting, GivesTheRecordThatIsThereWhenTried) {
  this->create_two();
  EXPECT_EQ(this->try_get(by_uid<typename TypeParam::Ref>("u-2")).value.value(),
            with_identity(this->record("second"), 2, "u-2"));
}

TYPED_TEST(Getting, EmptiesAReplyThatHeldSomethingWhenTriedInVain) {
  OptionalValue<typename TypeParam::Record> reply;
  reply.value = this->record("before");
  (this->project().*TypeParam::try_get)(by_id<typename TypeParam::Ref>(1), reply);
  EXPECT_TRUE(reply.value.is_nothing());
}

TYPED_TEST(Getting, OpensNoTransaction) {
  this->create_two();
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->get(by_id_and_uid<typename TypeParam::Ref>(99, "u-2"));
  EXPECT_THAT(watch.statements(),
              ElementsAre("select uid, raw from " + this->table() + " where id = ?",
                          "select id, raw from " + this->table() + " where uid = ?"));
}

TYPED_TEST(Getting, ARowWithoutUidFindsItByIdWithAnEmptyOne) {
  this->create(this->record("a"));
  this->run_plainly("update " + this->table() + " set uid = NULL");
  EXPECT_EQ(this->get(by_id<typename TypeParam::Ref>(1)), with_identity(this->record("a"), 1, ""));
}

TYPED_TEST(Getting, LooksAnEmptyUidUpAsItIs) {
  this->create(this->record("a"));
  this->run_plainly("update " + this->table() + " set uid = ''");
  EXPECT_EQ(this->get(by_uid<typename TypeParam::Ref>("")),
            with_identity(this->record("a"), 1, ""));
}

TYPED_TEST(Getting, ADamagedRecordRaisesWhatTheDecoderRaises) {
  using Ref = typename TypeParam::Ref;
  this->create(this->record("a"));
  this->set_raw(this->table(), 1, "290341");  // a uid of three bytes, cut after one
  const auto is_cut = ThrowsMessage<bond::StreamException>(
      "Read out of bounds: 3 bytes requested, offset: 2, length: 3");
  EXPECT_THAT([&] { this->get(by_id<Ref>(1)); }, is_cut);
  EXPECT_THAT([&] { this->try_get(by_id<Ref>(1)); }, is_cut);
}

TYPED_TEST(Getting, ARecordOfAnEmptyOrMissingRawRaisesWhatTheDecoderRaises) {
  using Ref = typename TypeParam::Ref;
  this->create(this->record("a"));
  this->set_raw(this->table(), 1, "");
  EXPECT_THAT([&] { this->get(by_id<Ref>(1)); }, ThrowsMessage<bond::StreamException>(kEmptyRaw));
  this->run_plainly("update " + this->table() + " set raw = NULL");
  EXPECT_THAT([&] { this->get(by_id<Ref>(1)); }, ThrowsMessage<bond::StreamException>(kEmptyRaw));
}

template <class Entity>
using Listing = EntityTest<Entity>;
TYPED_TEST_SUITE(Listing, Entities, EntityNames);

TYPED_TEST(Listing, GivesAllRecordsWithTheIdentityOfTheirRows) {
  this->create_two();
  this->create(with_identity(this->record("third"), 77, "u-3"));
  EXPECT_THAT(this->list(), ElementsAre(with_identity(this->record("first"), 1, "u-1"),
                                        with_identity(this->record("second"), 2, "u-2"),
                                        with_identity(this->record("third"), 3, "u-3")));
}

TYPED_TEST(Listing, AnEmptyTableGivesNothing) { EXPECT_THAT(this->list(), IsEmpty()); }

TYPED_TEST(Listing, AppendsToItsReply) {
  this->create_two();
  Batch<typename TypeParam::Record> reply{{this->record("before")}};
  (this->project().*TypeParam::list)({}, reply);
  EXPECT_THAT(reply.items,
              ElementsAre(this->record("before"), with_identity(this->record("first"), 1, "u-1"),
                          with_identity(this->record("second"), 2, "u-2")));
}

TYPED_TEST(Listing, LogsItsTable) {
  this->log().clear();
  this->list();
  EXPECT_EQ(this->log().lines(),
            (LogLines{{0, L"list_t_impl: tbl_id=" + krv::log::widen(this->table())}}));
}

TYPED_TEST(Listing, IsTheOnlyOperationThatLogs) {
  this->log().clear();
  const auto ref = this->create(this->record("a"));
  this->get(ref);
  this->try_get(ref);
  this->update(this->record("b"));
  this->remove(ref);
  EXPECT_THAT(this->log().lines(), IsEmpty());
}

TYPED_TEST(Listing, RunsOneStatementAndNoTransaction) {
  this->create_two();
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->list();
  EXPECT_THAT(watch.statements(), ElementsAre("select id, uid, raw from " + this->table()));
}

TYPED_TEST(Listing, StopsAtADamagedRecordAndKeepsWhatItHasRead) {
  this->create_two();
  this->create(this->record("third"));
  this->set_raw(this->table(), 2, "2903");
  Batch<typename TypeParam::Record> reply;
  EXPECT_THAT([&] { (this->project().*TypeParam::list)({}, reply); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 3 bytes requested, offset: 2, length: 2"));
  EXPECT_THAT(reply.items, ElementsAre(with_identity(this->record("first"), 1, "u-1")));
}

/// A record whose row another program has changed.
template <class Entity>
class UnusualRow : public EntityTest<Entity> {
 protected:
  UnusualRow() { this->create(this->record("a", "u-1")); }

  void set(const std::string& column, const std::string& sql_value) {
    this->run_plainly("update " + this->table() + " set " + column + " = " + sql_value);
  }
};
TYPED_TEST_SUITE(UnusualRow, Entities, EntityNames);

TYPED_TEST(UnusualRow, WithAZeroByteInItsUidIsReadAndDeletedWhole) {
  using Ref = typename TypeParam::Ref;
  this->set("uid", "cast(x'610062' as text)");
  const std::string uid("a\0b", 3);
  const auto expected = with_identity(this->record("a"), 1, uid);
  EXPECT_EQ(this->get(by_id<Ref>(1)), expected);
  EXPECT_EQ(this->get(by_uid<Ref>(uid)), expected);
  EXPECT_THAT(this->list(), ElementsAre(expected));
  this->remove(by_uid<Ref>(uid));
  EXPECT_EQ(this->count(this->table()), 0);
}

TYPED_TEST(UnusualRow, WithAnIdBeyond32BitsIsRefusedWithItsTableAndValue) {
  this->set("id", "4294967297");
  const auto is_refused = ThrowsMessage<krv::rpc4::UnusableRow>(
      this->table() + ": the id 4294967297 does not fit 32 bits");
  auto reply = this->record("before");
  EXPECT_THAT(
      [&] { (this->project().*TypeParam::get)(by_uid<typename TypeParam::Ref>("u-1"), reply); },
      is_refused);
  EXPECT_EQ(reply, this->record("before"));
  EXPECT_THAT([&] { this->list(); }, is_refused);
}

}  // namespace

}  // namespace korvane::test
