#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

class RevisionTest : public StoreTest {
 protected:
  std::vector<Revision> revisions_of(std::int32_t sheet_id) {
    Revisions reply;
    project().get_all_revisions_for_sheetid(by_id<SheetRef>(sheet_id), reply);
    return reply.revisions;
  }
  static std::vector<std::int32_t> ids(const std::vector<Revision>& revisions) {
    std::vector<std::int32_t> ids;
    for (const Revision& revision : revisions) ids.push_back(revision.id);
    return ids;
  }
  void move_to_sheet(std::int32_t revision_id, std::int32_t sheet_id) {
    Revision revision;
    revision.id = revision_id;
    revision.sheet_id = sheet_id;
    GenericReply reply;
    project().update_revision(revision, reply);
  }
  void delete_sheet(std::int32_t id) {
    GenericReply reply;
    project().delete_sheet(by_id<SheetRef>(id), reply);
  }
};

using CreateRevision = RevisionTest;
using UpdateRevision = RevisionTest;
using ListRevisionsOfAll = RevisionTest;
using DeleteSheet = RevisionTest;
using RevisionsOfASheet = RevisionTest;

constexpr const char* kIdExpected = "get_all_revisions_for_sheet() expects SheetRef.id to be set!";

TEST_F(CreateRevision, StoresTheSheetInItsColumn) {
  make_sheet();
  make_revision(make_sheet());
  EXPECT_EQ(rows("select id, sheet_id from revision"), (Rows{{"1", "2"}}));
}

TEST_F(ListRevisionsOfAll, GivesThoseOfAllSheetsTogether) {
  const std::int32_t first = make_sheet();
  const std::int32_t second = make_sheet();
  make_revision(second);
  make_revision(first);
  Batch<Revision> reply;
  project().list_revisions({}, reply);
  EXPECT_THAT(ids(reply.items), ElementsAre(1, 2));
}

TEST_F(UpdateRevision, ToAnotherSheetShowsInTheRecordAlone) {
  const std::int32_t old_sheet = make_sheet();
  const std::int32_t new_sheet = make_sheet();
  const std::int32_t revision = make_revision(old_sheet);
  move_to_sheet(revision, new_sheet);
  ASSERT_THAT(ids(revisions_of(old_sheet)), ElementsAre(revision));
  EXPECT_EQ(revisions_of(old_sheet)[0].sheet_id, new_sheet);
  EXPECT_THAT(revisions_of(new_sheet), IsEmpty());
  EXPECT_EQ(rows("select sheet_id from revision"), (Rows{{std::to_string(old_sheet)}}));
}

TEST_F(UpdateRevision, ToAnotherSheetIsReportedByGet) {
  const std::int32_t revision = make_revision(make_sheet());
  move_to_sheet(revision, 99);
  Revision found;
  project().get_revision(by_id<RevisionRef>(revision), found);
  EXPECT_EQ(found.sheet_id, 99);
}

TEST_F(UpdateRevision, ToAnotherSheetLeavesItAChildOfTheOldOne) {
  const std::int32_t old_sheet = make_sheet();
  const std::int32_t revision = make_revision(old_sheet);
  move_to_sheet(revision, make_sheet());
  delete_sheet(old_sheet);
  EXPECT_EQ(count("revision"), 0);
}

TEST_F(DeleteSheet, RemovesItsRevisionsAndTheirContentButNoBarSpacer) {
  const std::int32_t sheet = make_sheet();
  make_material();
  make_fabric_type(1);
  const Parents parents{make_revision(sheet), 1, 1};
  for_each_content_kind(
      [&]<class Kind>() { add_content<Kind>(project(), {minimal_content<Kind>(parents)}); });
  delete_sheet(sheet);
  EXPECT_EQ(count("sheet"), 0);
  EXPECT_EQ(count("revision"), 0);
  for_each_content_kind([&]<class Kind>() {
    EXPECT_EQ(count(Kind::table), goes_with_revision<Kind>() ? 0 : 1) << Kind::table;
  });
}

TEST_F(DeleteSheet, KeepsTheCataloguesAndTheEndTreatments) {
  const std::int32_t sheet = make_sheet();
  make_material();
  make_fabric_type(1);
  add({full_rebar(make_revision(sheet), 1)});
  delete_sheet(sheet);
  EXPECT_EQ(count("material"), 1);
  EXPECT_EQ(count("fabric_type"), 1);
  EXPECT_EQ(count("end_treatment"), 2);
}

TEST_F(DeleteSheet, LeavesTheRevisionsOfOtherSheets) {
  const std::int32_t sheet = make_sheet();
  const std::int32_t other = make_sheet();
  make_revision(sheet);
  const std::int32_t kept = make_revision(other);
  delete_sheet(sheet);
  EXPECT_EQ(rows("select id from revision"), (Rows{{std::to_string(kept)}}));
}

TEST_F(RevisionsOfASheet, AreThoseOfThatSheetWithTheIdentityOfTheirRows) {
  const std::int32_t first = make_sheet();
  const std::int32_t second = make_sheet();
  make_revision(first, "r-1");
  make_revision(second, "r-2");
  make_revision(first, "r-3");
  const std::vector<Revision> found = revisions_of(first);
  ASSERT_THAT(ids(found), ElementsAre(1, 3));
  EXPECT_EQ(found[0].uid, "r-1");
  EXPECT_EQ(found[1].uid, "r-3");
}

TEST_F(RevisionsOfASheet, CarryAGeneratedUid) {
  const std::int32_t sheet = make_sheet();
  make_revision(sheet);
  EXPECT_EQ(revisions_of(sheet)[0].uid, *value("select uid from revision"));
}

TEST_F(RevisionsOfASheet, AreNoneForASheetThatDoesNotExist) {
  make_revision();
  EXPECT_THAT(revisions_of(99), IsEmpty());
  EXPECT_THAT(revisions_of(-1), IsEmpty());
}

TEST_F(RevisionsOfASheet, CannotBeAskedForByUid) {
  make_revision(make_sheet("s-1"));
  Revisions reply;
  EXPECT_THAT([&] { project().get_all_revisions_for_sheetid(by_uid<SheetRef>("s-1"), reply); },
              ThrowsMessage<std::runtime_error>(kIdExpected));
  EXPECT_THAT(reply.revisions, IsEmpty());
}

TEST_F(RevisionsOfASheet, CannotBeAskedForByNothingWhichTouchesNoDatabase) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  Revisions reply;
  EXPECT_THAT([&] { project().get_all_revisions_for_sheetid({}, reply); },
              ThrowsMessage<std::runtime_error>(kIdExpected));
  EXPECT_THAT(watch.statements(), IsEmpty());
}

TEST_F(RevisionsOfASheet, IgnoreAUidBesideTheId) {
  const std::int32_t first = make_sheet("s-1");
  make_sheet("s-2");
  make_revision(first);
  Revisions reply;
  project().get_all_revisions_for_sheetid(by_id_and_uid<SheetRef>(first, "s-2"), reply);
  EXPECT_THAT(ids(reply.revisions), ElementsAre(1));
}

TEST_F(RevisionsOfASheet, AreAppendedToTheReply) {
  const std::int32_t sheet = make_sheet();
  make_revision(sheet);
  Revisions reply;
  reply.revisions.resize(1);
  project().get_all_revisions_for_sheetid(by_id<SheetRef>(sheet), reply);
  EXPECT_THAT(ids(reply.revisions), ElementsAre(0, 1));
}

TEST_F(RevisionsOfASheet, AreReadByOneStatementWithoutTransactionOrLogLine) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  log().clear();
  revisions_of(1);
  EXPECT_THAT(watch.statements(),
              ElementsAre("select id, uid, raw from revision where sheet_id = ?"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(RevisionsOfASheet, EndAtADamagedRecordAndKeepWhatWasRead) {
  const std::int32_t sheet = make_sheet();
  make_revision(sheet);
  make_revision(sheet);
  set_raw("revision", 2, "");
  Revisions reply;
  EXPECT_THAT([&] { project().get_all_revisions_for_sheetid(by_id<SheetRef>(sheet), reply); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  EXPECT_THAT(ids(reply.revisions), ElementsAre(1));
}

}  // namespace

}  // namespace korvane::test
