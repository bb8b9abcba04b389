#include <stdexcept>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/model/plugins/korvane.model.cad.project/entity_suite.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::SQLite::ConstraintViolationException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

struct SheetEntity {
  using Record = Sheet;
  using Ref = SheetRef;
  using Project = Project_Service_Impl;
  static constexpr const char* table = "sheet";
  static constexpr const char* insert_sql = "insert into sheet (uid, raw) values (?, ?)";
  static constexpr bool needs_a_sheet = false;

  static Sheet record(const std::string& name) {
    Sheet sheet;
    sheet.name = name;
    sheet.comment = "ground floor";
    sheet.properties = {{"scale", text_variant("1:50")}};
    return sheet;
  }
  static void create(Project& project, Sheet request, SheetRef& reply) {
    project.create_sheet(std::move(request), reply);
  }
  static void update(Project& project, Sheet request, GenericReply& reply) {
    project.update_sheet(std::move(request), reply);
  }
  static void remove(Project& project, SheetRef request, GenericReply& reply) {
    project.delete_sheet(std::move(request), reply);
  }
  static void get(Project& project, SheetRef request, Sheet& reply) {
    project.get_sheet(std::move(request), reply);
  }
  static void try_get(Project& project, SheetRef request, OptionalValue<Sheet>& reply) {
    project.try_get_sheet(std::move(request), reply);
  }
  static void list(Project& project, Batch<Sheet>& reply) { project.list_sheets({}, reply); }
};

struct RevisionEntity {
  using Record = Revision;
  using Ref = RevisionRef;
  using Project = Project_Service_Impl;
  static constexpr const char* table = "revision";
  static constexpr const char* insert_sql =
      "insert into revision (sheet_id, uid, raw) values (?, ?, ?)";
  static constexpr bool needs_a_sheet = true;

  static Revision record(const std::string& name) {
    Revision revision;
    revision.name = name;
    revision.properties = {{"state", text_variant("issued")}};
    revision.sheet_id = 1;
    return revision;
  }
  static void create(Project& project, Revision request, RevisionRef& reply) {
    project.create_revision(std::move(request), reply);
  }
  static void update(Project& project, Revision request, GenericReply& reply) {
    project.update_revision(std::move(request), reply);
  }
  static void remove(Project& project, RevisionRef request, GenericReply& reply) {
    project.delete_revision(std::move(request), reply);
  }
  static void get(Project& project, RevisionRef request, Revision& reply) {
    project.get_revision(std::move(request), reply);
  }
  static void try_get(Project& project, RevisionRef request, OptionalValue<Revision>& reply) {
    project.try_get_revision(std::move(request), reply);
  }
  static void list(Project& project, Batch<Revision>& reply) { project.list_revisions({}, reply); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Sheet, EntityTest, SheetEntity);
INSTANTIATE_TYPED_TEST_SUITE_P(Revision, EntityTest, RevisionEntity);

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

TEST_F(CreateRevision, FailsForASheetThatDoesNotExist) {
  EXPECT_THROW(make_revision(7), ConstraintViolationException);
  EXPECT_EQ(count("revision"), 0);
  EXPECT_EQ(make_revision(make_sheet()), 1);
}

TEST_F(CreateRevision, FailsForTheDefaultSheet) {
  make_sheet();
  RevisionRef reply;
  EXPECT_THROW(project().create_revision({}, reply), ConstraintViolationException);
  EXPECT_EQ(count("revision"), 0);
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
  const std::int32_t rev = make_revision(sheet);
  add({minimal_bar(rev, make_material())});
  query("insert into fabric_type (material_id) values (1)");
  query("insert into fabric (rev_id, fabric_type_id) values (1, 1)");
  query("insert into mountingpart (rev_id, material_id) values (1, 1)");
  query("insert into barspacer (rev_id, sheet_id) values (1, 1)");
  delete_sheet(sheet);
  for (const char* table : {"sheet", "revision", "rebar", "fabric", "mountingpart"}) {
    EXPECT_EQ(count(table), 0) << table;
  }
  EXPECT_EQ(count("barspacer"), 1);
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

TEST_F(RevisionsOfASheet, PayNoRegardToAUidBesideTheId) {
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
