#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::SQLite::DatabaseFullException;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

constexpr const char* kInsert =
    "insert into fabric_type (uid, type, overall_length, overall_width, sheet_mass, description, "
    "material_id, is_list_fabric, raw) values (?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr const char* kUpdate =
    "update fabric_type set uid=?, type=?, overall_length=?, overall_width=?, sheet_mass=?, "
    "description=?, material_id=?, is_list_fabric=?, raw=? where id=?";
constexpr const char* kUidTaken = "UNIQUE constraint failed: fabric_type.uid";
constexpr const char* kTypeTaken = "UNIQUE constraint failed: fabric_type.type";
constexpr const char* kNoSuchParent = "FOREIGN KEY constraint failed";
constexpr const char* kEmptyRaw = "Read out of bounds: 1 bytes requested, offset: 0, length: 0";

/// A project with a material, whose id is 1.
class FabricTypeTest : public ContentTest {
 protected:
  FabricType named(const std::string& type_name, const std::string& uid = "") const {
    FabricType type = minimal_fabric_type(material_, type_name);
    type.uid = uid;
    return type;
  }
  static FabricType with_identity(FabricType type, std::int32_t id, const std::string& uid) {
    type.id = id;
    type.uid = uid;
    return type;
  }

  FabricTypeRef create(const FabricType& type) {
    FabricTypeRef reply;
    project().create_fabric_type(type, reply);
    return reply;
  }
  void update(const FabricType& type) {
    GenericReply reply;
    project().update_fabric_type(type, reply);
  }
  void remove(const FabricTypeRef& ref) {
    GenericReply reply;
    project().delete_fabric_type(ref, reply);
  }
  FabricType get(const FabricTypeRef& ref) {
    FabricType reply;
    project().get_fabric_type(ref, reply);
    return reply;
  }
  FabricType get(std::int32_t id) { return get(by_id<FabricTypeRef>(id)); }
  OptionalValue<FabricType> try_get(const FabricTypeRef& ref) {
    OptionalValue<FabricType> reply;
    project().try_get_fabric_type(ref, reply);
    return reply;
  }
  std::vector<FabricType> list() {
    Batch<FabricType> reply;
    project().list_fabric_type({}, reply);
    return reply.items;
  }

  /// Two rows: 1, "Q188A", "u-1" and 2, "Q257A", "u-2".
  void create_two() {
    create(named("Q188A", "u-1"));
    create(named("Q257A", "u-2"));
  }
  Rows uids() const { return rows("select uid from fabric_type order by id"); }
  Rows is_list_fabric() const { return rows("select is_list_fabric from fabric_type order by id"); }
  Rows description() const {
    return rows("select typeof(description), description from fabric_type");
  }

  std::int32_t material_ = make_material("m-1");
};

using CreateFabricType = FabricTypeTest;
using FailingCreateFabricType = FabricTypeTest;
using UpdateFabricType = FabricTypeTest;
using FailingUpdateFabricType = FabricTypeTest;
using DeleteFabricType = FabricTypeTest;
using GetFabricType = FabricTypeTest;
using ListFabricTypes = FabricTypeTest;
using EmbeddedMaterial = FabricTypeTest;
using Description = FabricTypeTest;
using IsListFabric = FabricTypeTest;

TEST_F(CreateFabricType, StoresEveryColumnAsSent) {
  make_material();
  create(full_fabric_type(2));
  EXPECT_EQ(only_row("fabric_type"), (NamedRow{{"id", "1"},
                                               {"uid", "type uid"},
                                               {"type", "R257A"},
                                               {"overall_length", "6.05"},
                                               {"overall_width", "2.35"},
                                               {"sheet_mass", "49.75"},
                                               {"description", "one way"},
                                               {"material_id", "2"},
                                               {"is_list_fabric", "1"},
                                               {"raw", raw_hex(full_fabric_type(2))}}));
}

TEST_F(CreateFabricType, StoresNoNullForARecordWithAMaterialAlone) {
  const FabricTypeRef ref = create(minimal_fabric_type(material_));
  EXPECT_EQ(only_row("fabric_type"), (NamedRow{{"id", "1"},
                                               {"uid", ref.uid.value()},
                                               {"type", ""},
                                               {"overall_length", "0.0"},
                                               {"overall_width", "0.0"},
                                               {"sheet_mass", "0.0"},
                                               {"description", ""},
                                               {"material_id", "1"},
                                               {"is_list_fabric", "0"},
                                               {"raw", raw_hex(minimal_fabric_type(material_))}}));
}

TEST_F(CreateFabricType, NamesTheColumnsOfItsTableInOrder) {
  const CellText columns = value(
      "select group_concat(name, ', ') from (select name from pragma_table_info('fabric_type') "
      "where name <> 'id' order by cid)");
  EXPECT_THAT(kInsert, StartsWith("insert into fabric_type (" + *columns + ") values ("));
}

TEST_F(CreateFabricType, AnswersWithTheIdAndUidOfTheRow) {
  EXPECT_EQ(create(named("Q188A", "u-1")), by_id_and_uid<FabricTypeRef>(1, "u-1"));
  EXPECT_EQ(create(named("Q257A", "u-2")), by_id_and_uid<FabricTypeRef>(2, "u-2"));
}

TEST_F(CreateFabricType, GeneratesAUidWhereThereIsNone) {
  const FabricTypeRef ref = create(named("Q188A"));
  EXPECT_THAT(ref.uid.value(),
              MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  EXPECT_EQ(uids(), (Rows{{ref.uid.value()}}));
}

TEST_F(CreateFabricType, KeepsTheIdOfTheClientAndAnEmptyUidInRaw) {
  const FabricType sent = with_identity(named("Q188A"), 7, "");
  const FabricTypeRef ref = create(sent);
  EXPECT_EQ(ref.id, 1);
  EXPECT_EQ(value("select raw from fabric_type"), raw_hex(sent));
  EXPECT_EQ(get(1), with_identity(sent, 1, ref.uid.value()));
}

TEST_F(CreateFabricType, RunsItsTwoStatementsInOneTransactionAndLogsNothing) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  create(named("Q188A"));
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", kInsert, "select max(id) from fabric_type", "COMMIT"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(CreateFabricType, DoesNotUseAnIdAgain) {
  create_two();
  remove(by_id<FabricTypeRef>(2));
  EXPECT_EQ(create(named("Q257A")).id, 3);
}

TEST_F(CreateFabricType, SurvivesAReopening) {
  create(full_fabric_type(material_));
  reopen();
  EXPECT_EQ(get(1), with_identity(full_fabric_type(material_), 1, "type uid"));
}

TEST_F(FailingCreateFabricType, WithATypeNameThatIsTakenStoresNothing) {
  create(named("Q188A"));
  EXPECT_THAT([&] { create(named("Q188A")); }, violates(kTypeTaken));
  EXPECT_EQ(count("fabric_type"), 1);
  EXPECT_EQ(create(named("Q257A")).id, 2);
}

TEST_F(FailingCreateFabricType, WithASecondEmptyTypeNameStoresNothing) {
  create(named(""));
  EXPECT_THAT([&] { create(named("")); }, violates(kTypeTaken));
  EXPECT_EQ(count("fabric_type"), 1);
  EXPECT_EQ(create(named("Q257A")).id, 2);
}

TEST_F(FailingCreateFabricType, WithAUidThatIsTakenStoresNothing) {
  create(named("Q188A", "u-1"));
  EXPECT_THAT([&] { create(named("Q257A", "u-1")); }, violates(kUidTaken));
  EXPECT_EQ(uids(), (Rows{{"u-1"}}));
  EXPECT_EQ(create(named("Q257A", "u-2")).id, 2);
}

TEST_F(FailingCreateFabricType, ForAnUnknownMaterialStoresNothing) {
  EXPECT_THAT([&] { create(minimal_fabric_type(99)); }, violates(kNoSuchParent));
  EXPECT_EQ(count("fabric_type"), 0);
  EXPECT_EQ(create(named("Q188A")).id, 1);
}

TEST_F(FailingCreateFabricType, ForTheDefaultMaterialStoresNothing) {
  EXPECT_EQ(FabricType{}.material.id, -1);
  EXPECT_THAT([&] { create(FabricType{}); }, violates(kNoSuchParent));
  EXPECT_EQ(count("fabric_type"), 0);
  EXPECT_EQ(create(named("Q188A")).id, 1);
}

TEST_F(FailingCreateFabricType, OnAFullDiskStoresNothing) {
  fill_disk();
  EXPECT_THROW(create(named(std::string(100000, 'x'))), DatabaseFullException);
  free_disk();
  EXPECT_EQ(count("fabric_type"), 0);
  EXPECT_EQ(create(named("Q188A")).id, 1);
}

TEST_F(FailingCreateFabricType, RollsBackBeforeTheMaximumIsAskedFor) {
  ConnectionWatch watch;
  reopen_under(watch);
  EXPECT_THAT([&] { create(minimal_fabric_type(99)); }, violates(kNoSuchParent));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kInsert, "ROLLBACK"));
}

TEST_F(FailingCreateFabricType, LeavesItsReplyWithoutIdentity) {
  FabricTypeRef reply;
  EXPECT_THAT([&] { project().create_fabric_type(minimal_fabric_type(99), reply); },
              violates(kNoSuchParent));
  EXPECT_EQ(reply, FabricTypeRef{});
}

TEST_F(FailingCreateFabricType, OnItsCommitIsNotRolledBack) {
  ConnectionWatch watch;
  reopen_under(watch);
  wait_for_no_lock();
  Reader reader(file());
  watch.forget();
  EXPECT_THROW(create(named("Q188A")), DBLockedException);
  reader.let_go();
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", kInsert, "select max(id) from fabric_type", "COMMIT"));
  close();
  EXPECT_EQ(count("fabric_type"), 0);
}

TEST_F(UpdateFabricType, RewritesEveryColumn) {
  create(named("Q188A", "u-1"));
  make_material();
  const FabricType changed = with_identity(full_fabric_type(2), 1, "u-9");
  update(changed);
  EXPECT_EQ(only_row("fabric_type"), (NamedRow{{"id", "1"},
                                               {"uid", "u-9"},
                                               {"type", "R257A"},
                                               {"overall_length", "6.05"},
                                               {"overall_width", "2.35"},
                                               {"sheet_mass", "49.75"},
                                               {"description", "one way"},
                                               {"material_id", "2"},
                                               {"is_list_fabric", "1"},
                                               {"raw", raw_hex(changed)}}));
}

TEST_F(UpdateFabricType, ChangesThatRowAlone) {
  create_two();
  update(with_identity(full_fabric_type(material_), 2, "u-2"));
  EXPECT_EQ(get(1), with_identity(named("Q188A"), 1, "u-1"));
  EXPECT_EQ(get(2), with_identity(full_fabric_type(material_), 2, "u-2"));
}

TEST_F(UpdateFabricType, ToAnotherUidMovesTheRecordToTheNewOne) {
  create(named("Q188A", "old"));
  update(with_identity(named("Q188A"), 1, "new"));
  EXPECT_TRUE(try_get(by_uid<FabricTypeRef>("old")).value.is_nothing());
  EXPECT_EQ(get(by_uid<FabricTypeRef>("new")), with_identity(named("Q188A"), 1, "new"));
  EXPECT_EQ(get(1).uid, "new");
}

TEST_F(UpdateFabricType, WithAnEmptyUidStoresTheEmptyText) {
  create(named("Q188A", "old"));
  update(with_identity(named("Q188A"), 1, ""));
  EXPECT_EQ(rows("select typeof(uid), uid from fabric_type"), (Rows{{"text", ""}}));
  EXPECT_EQ(get(by_uid<FabricTypeRef>("")).id, 1);
}

TEST_F(UpdateFabricType, WithItsOwnUidAndTypeNameIsNoConflict) {
  create(named("Q188A", "u-1"));
  FabricType changed = with_identity(named("Q188A"), 1, "u-1");
  changed.sheet_mass = 41.5;
  update(changed);
  EXPECT_EQ(get(1), changed);
}

TEST_F(UpdateFabricType, WithIdZeroChangesNothing) {
  create_two();
  const Rows before = all_of("fabric_type");
  update(with_identity(named("R257A"), 0, "u-1"));
  EXPECT_EQ(all_of("fabric_type"), before);
}

TEST_F(UpdateFabricType, WithAnUnknownIdChangesNothing) {
  create_two();
  const Rows before = all_of("fabric_type");
  update(with_identity(named("R257A"), 3, "u-2"));
  EXPECT_EQ(all_of("fabric_type"), before);
}

TEST_F(UpdateFabricType, RunsItsStatementInATransactionAndLogsNothing) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  update(named("Q188A"));
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kUpdate, "COMMIT"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(UpdateFabricType, LeavesItsReplyAsItWas) {
  create_two();
  GenericReply reply;
  reply.error.set("before");
  project().update_fabric_type(with_identity(named("R257A"), 1, "u-1"), reply);
  EXPECT_EQ(*reply.error, "before");
}

TEST_F(FailingUpdateFabricType, WithATypeNameThatIsTakenKeepsTheRow) {
  create_two();
  const Rows before = all_of("fabric_type");
  EXPECT_THAT([&] { update(with_identity(named("Q188A"), 2, "u-2")); }, violates(kTypeTaken));
  EXPECT_EQ(all_of("fabric_type"), before);
  update(with_identity(named("R257A"), 2, "u-2"));
  EXPECT_EQ(get(2).type_name, "R257A");
}

TEST_F(FailingUpdateFabricType, WithAUidThatIsTakenKeepsTheRow) {
  create_two();
  const Rows before = all_of("fabric_type");
  EXPECT_THAT([&] { update(with_identity(named("Q257A"), 2, "u-1")); }, violates(kUidTaken));
  EXPECT_EQ(all_of("fabric_type"), before);
  update(with_identity(named("Q257A"), 2, "u-3"));
  EXPECT_EQ(uids(), (Rows{{"u-1"}, {"u-3"}}));
}

TEST_F(FailingUpdateFabricType, WithASecondEmptyUidKeepsTheRow) {
  create_two();
  update(with_identity(named("Q188A"), 1, ""));
  EXPECT_THAT([&] { update(with_identity(named("Q257A"), 2, "")); }, violates(kUidTaken));
  EXPECT_EQ(uids(), (Rows{{""}, {"u-2"}}));
  update(with_identity(named("Q257A"), 2, "u-3"));
  EXPECT_EQ(uids(), (Rows{{""}, {"u-3"}}));
}

TEST_F(FailingUpdateFabricType, ForAnUnknownMaterialKeepsTheRow) {
  create_two();
  const Rows before = all_of("fabric_type");
  EXPECT_THAT([&] { update(with_identity(minimal_fabric_type(99, "Q257A"), 2, "u-2")); },
              violates(kNoSuchParent));
  EXPECT_EQ(all_of("fabric_type"), before);
  update(with_identity(named("R257A"), 2, "u-2"));
  EXPECT_EQ(get(2).type_name, "R257A");
}

TEST_F(FailingUpdateFabricType, ForTheDefaultMaterialKeepsTheRow) {
  create_two();
  const Rows before = all_of("fabric_type");
  EXPECT_THAT([&] { update(with_identity(FabricType{}, 2, "u-2")); }, violates(kNoSuchParent));
  EXPECT_EQ(all_of("fabric_type"), before);
  update(with_identity(named("R257A"), 2, "u-2"));
  EXPECT_EQ(get(2).type_name, "R257A");
}

TEST_F(FailingUpdateFabricType, OnAFullDiskKeepsTheRow) {
  create_two();
  const Rows before = all_of("fabric_type");
  fill_disk();
  EXPECT_THROW(update(with_identity(named(std::string(100000, 'x')), 2, "u-2")),
               DatabaseFullException);
  free_disk();
  EXPECT_EQ(all_of("fabric_type"), before);
  update(with_identity(named("R257A"), 2, "u-2"));
  EXPECT_EQ(get(2).type_name, "R257A");
}

TEST_F(IsListFabric, IsFalseWithoutAndTrueWithAnEmptyListFabric) {
  create(named("Q188A"));
  FabricType listed = named("Q257A");
  listed.list_fabric.set();
  create(listed);
  EXPECT_EQ(is_list_fabric(), (Rows{{"0"}, {"1"}}));
  EXPECT_EQ(get(2).list_fabric, bond::nullable<ListenMatten>(ListenMatten{}));
}

TEST_F(IsListFabric, IsFalseAgainOnceAnUpdateRemovesTheListFabric) {
  create(full_fabric_type(material_));
  EXPECT_EQ(is_list_fabric(), (Rows{{"1"}}));
  FabricType plain = with_identity(full_fabric_type(material_), 1, "type uid");
  plain.list_fabric.reset();
  update(plain);
  EXPECT_EQ(is_list_fabric(), (Rows{{"0"}}));
  EXPECT_EQ(get(1), plain);
}

TEST_F(IsListFabric, CannotBeQueried) {
  create(named("Q188A"));
  log().clear();
  EXPECT_THAT([&] { query("select is_list_fabric from fabric_type"); },
              ThrowsMessage<std::runtime_error>("unsupported return type"));
  EXPECT_EQ(log().lines(),
            (LogLines{{0, L"query_table_impl: statement=select is_list_fabric from fabric_type"},
                      {0, L"query_table_impl returned 1 records"},
                      {2, L"unsupported return type"}}));
}

TEST_F(Description, ThatReadsAsANumberIsStoredAsOneWhichRawAndGetKeepAsText) {
  FabricType numbered = named("Q188A", "u-1");
  numbered.description = "012.50";
  create(numbered);
  EXPECT_EQ(description(), (Rows{{"real", "12.5"}}));
  EXPECT_EQ(value("select raw from fabric_type"), raw_hex(numbered));
  EXPECT_EQ(get(1).description, "012.50");
}

TEST_F(Description, ThatReadsAsANumberIsStoredAsOneByAnUpdateToo) {
  create(named("Q188A", "u-1"));
  FabricType numbered = with_identity(named("Q188A"), 1, "u-1");
  numbered.description = " 7 ";
  update(numbered);
  EXPECT_EQ(description(), (Rows{{"real", "7.0"}}));
  EXPECT_EQ(get(1).description, " 7 ");
}

TEST_F(Description, ThatIsNoNumberStaysText) {
  FabricType described = named("Q188A");
  described.description = "7 mm";
  create(described);
  EXPECT_EQ(description(), (Rows{{"text", "7 mm"}}));
}

TEST_F(EmbeddedMaterial, ChangedButForItsIdChangesRawAloneAndNoMaterial) {
  create(full_fabric_type(material_));
  FabricType changed = with_identity(full_fabric_type(material_), 1, "type uid");
  changed.material.identity.name = "B550A";
  const std::string columns =
      "select id, uid, type, overall_length, overall_width, sheet_mass, description, material_id, "
      "is_list_fabric from fabric_type";
  const Rows before = rows(columns);
  update(changed);
  EXPECT_EQ(rows(columns), before);
  EXPECT_EQ(value("select raw from fabric_type"), raw_hex(changed));
}

TEST_F(EmbeddedMaterial, IsReturnedAsChangedWhereTheMaterialIsNot) {
  create(full_fabric_type(material_));
  FabricType changed = with_identity(full_fabric_type(material_), 1, "type uid");
  changed.material.identity.name = "B550A";
  update(changed);
  Material material;
  project().get_material(by_id<MaterialRef>(material_), material);
  EXPECT_EQ(get(1).material.identity.name, "B550A");
  EXPECT_EQ(material.identity.name, "");
}

TEST_F(EmbeddedMaterial, IsReturnedAsStoredAfterTheMaterialChanged) {
  create(full_fabric_type(material_));
  Material material;
  material.id = material_;
  material.identity.name = "B550A";
  GenericReply reply;
  project().update_material(material, reply);
  EXPECT_EQ(get(1).material, full_fabric_type(material_).material);
}

TEST_F(EmbeddedMaterial, KeepsItsMaterialFromBeingDeleted) {
  create(named("Q188A"));
  const std::int32_t unused = make_material();
  GenericReply reply;
  EXPECT_THAT([&] { project().delete_material(by_id<MaterialRef>(material_), reply); },
              violates("NOT NULL constraint failed: fabric_type.material_id"));
  EXPECT_EQ(count("material"), 2);
  project().delete_material(by_id<MaterialRef>(unused), reply);
  EXPECT_EQ(rows("select material_id from fabric_type"), (Rows{{"1"}}));
}

TEST_F(DeleteFabricType, RemovesTheRowOfTheId) {
  create_two();
  remove(by_id<FabricTypeRef>(1));
  EXPECT_EQ(uids(), (Rows{{"u-2"}}));
}

TEST_F(DeleteFabricType, RemovesTheRowOfTheUidWhereNoIdIsSet) {
  create_two();
  remove(by_uid<FabricTypeRef>("u-1"));
  EXPECT_EQ(uids(), (Rows{{"u-2"}}));
}

TEST_F(DeleteFabricType, TakesTheRowOfTheIdWhenTheUidNamesAnother) {
  create_two();
  remove(by_id_and_uid<FabricTypeRef>(1, "u-2"));
  EXPECT_EQ(uids(), (Rows{{"u-2"}}));
}

TEST_F(DeleteFabricType, DoesNotFallBackToTheUid) {
  create_two();
  remove(by_id_and_uid<FabricTypeRef>(99, "u-2"));
  EXPECT_EQ(uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TEST_F(DeleteFabricType, OfWhatIsNotThereSucceeds) {
  create_two();
  for (const FabricTypeRef& ref : {by_id<FabricTypeRef>(99), by_id<FabricTypeRef>(-1),
                                   by_uid<FabricTypeRef>("u-9"), by_uid<FabricTypeRef>("")}) {
    remove(ref);
  }
  EXPECT_EQ(uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TEST_F(DeleteFabricType, ByNothingFailsAndDeletesNothing) {
  create_two();
  EXPECT_THAT([&] { remove({}); }, ThrowsMessage<std::runtime_error>("id or uid required"));
  EXPECT_EQ(count("fabric_type"), 2);
  remove(by_id<FabricTypeRef>(1));
  EXPECT_EQ(uids(), (Rows{{"u-2"}}));
}

TEST_F(DeleteFabricType, FailsWhileAFabricRefersToIt) {
  create_two();
  add({minimal_fabric(make_revision(), 1)});
  EXPECT_THAT([&] { remove(by_id<FabricTypeRef>(1)); },
              violates("NOT NULL constraint failed: fabric.fabric_type_id"));
  EXPECT_EQ(uids(), (Rows{{"u-1"}, {"u-2"}}));
  remove(by_id<FabricTypeRef>(2));
  EXPECT_EQ(rows("select fabric_type_id from fabric"), (Rows{{"1"}}));
}

TEST_F(DeleteFabricType, ByUidFailsAlikeWhileAFabricRefersToIt) {
  create_two();
  add({minimal_fabric(make_revision(), 1)});
  EXPECT_THAT([&] { remove(by_uid<FabricTypeRef>("u-1")); },
              violates("NOT NULL constraint failed: fabric.fabric_type_id"));
  EXPECT_EQ(uids(), (Rows{{"u-1"}, {"u-2"}}));
}

TEST_F(DeleteFabricType, SucceedsOnceTheFabricIsGone) {
  create_two();
  add({minimal_fabric(make_revision(), 1)});
  clear(1);
  remove(by_id<FabricTypeRef>(1));
  EXPECT_EQ(uids(), (Rows{{"u-2"}}));
}

TEST_F(DeleteFabricType, RunsItsStatementInATransaction) {
  ConnectionWatch watch;
  reopen_under(watch);
  remove(by_id<FabricTypeRef>(1));
  remove(by_uid<FabricTypeRef>("u-1"));
  EXPECT_THROW(remove({}), std::runtime_error);
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", "delete from fabric_type where id = ?", "COMMIT", "BEGIN",
                          "delete from fabric_type where uid = ?", "COMMIT", "BEGIN", "ROLLBACK"));
}

TEST_F(DeleteFabricType, LeavesItsReplyAndTheLogAsTheyWere) {
  create_two();
  log().clear();
  GenericReply reply;
  reply.error.set("before");
  project().delete_fabric_type(by_id<FabricTypeRef>(1), reply);
  EXPECT_EQ(*reply.error, "before");
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(GetFabricType, GivesTheWholeRecordByIdAndByUid) {
  create_two();
  create(full_fabric_type(material_));
  const FabricType expected = with_identity(full_fabric_type(material_), 3, "type uid");
  EXPECT_EQ(get(3), expected);
  EXPECT_EQ(get(by_uid<FabricTypeRef>("type uid")), expected);
}

TEST_F(GetFabricType, FallsBackToTheUidWhenTheIdMisses) {
  create_two();
  EXPECT_EQ(get(by_id_and_uid<FabricTypeRef>(99, "u-2")), with_identity(named("Q257A"), 2, "u-2"));
}

TEST_F(GetFabricType, TakesTheRowOfTheIdWhenTheUidNamesAnother) {
  create_two();
  EXPECT_EQ(get(by_id_and_uid<FabricTypeRef>(1, "u-2")), with_identity(named("Q188A"), 1, "u-1"));
}

TEST_F(GetFabricType, FailsForAMissWhereTryingGivesNothing) {
  create_two();
  using Ref = FabricTypeRef;
  for (const Ref& ref : {by_id<Ref>(3), by_id<Ref>(-1), by_id<Ref>(0), by_uid<Ref>("u-3"),
                         by_uid<Ref>(""), by_id_and_uid<Ref>(3, "u-3"), Ref{}}) {
    EXPECT_THAT([&] { get(ref); }, ThrowsMessage<std::runtime_error>("failed to get_fabric_type"));
    EXPECT_TRUE(try_get(ref).value.is_nothing());
  }
}

TEST_F(GetFabricType, GivesTheRecordThatIsThereWhenTried) {
  create_two();
  EXPECT_EQ(try_get(by_id<FabricTypeRef>(2)).value.value(),
            with_identity(named("Q257A"), 2, "u-2"));
}

TEST_F(GetFabricType, EmptiesAReplyThatHeldSomethingWhenTriedInVain) {
  OptionalValue<FabricType> reply;
  reply.value = named("before");
  project().try_get_fabric_type(by_id<FabricTypeRef>(1), reply);
  EXPECT_TRUE(reply.value.is_nothing());
}

TEST_F(GetFabricType, ReadsNoColumnButIdUidAndRaw) {
  create(named("Q188A", "u-1"));
  run_plainly(
      "update fabric_type set type = 'x', overall_length = 1, overall_width = 2, sheet_mass = 3, "
      "description = 'd', material_id = 4, is_list_fabric = 1");
  EXPECT_EQ(get(1), with_identity(named("Q188A"), 1, "u-1"));
}

TEST_F(GetFabricType, RunsItsStatementsWithoutATransactionAndLogsNothing) {
  create_two();
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  get(by_id_and_uid<FabricTypeRef>(99, "u-2"));
  EXPECT_THAT(watch.statements(), ElementsAre("select uid, raw from fabric_type where id = ?",
                                              "select id, raw from fabric_type where uid = ?"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(GetFabricType, OfADamagedRecordRaisesWhatTheDecoderRaises) {
  create(named("Q188A"));
  set_raw("fabric_type", 1, "290341");  // a uid of three bytes, cut after one
  EXPECT_THAT([&] { get(1); }, ThrowsMessage<bond::StreamException>(
                                   "Read out of bounds: 3 bytes requested, offset: 2, length: 3"));
  EXPECT_THAT([&] { try_get(by_id<FabricTypeRef>(1)); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 3 bytes requested, offset: 2, length: 3"));
}

TEST_F(GetFabricType, OfAnEmptyOrMissingRawRaisesWhatTheDecoderRaises) {
  create(named("Q188A"));
  set_raw("fabric_type", 1, "");
  EXPECT_THAT([&] { get(1); }, ThrowsMessage<bond::StreamException>(kEmptyRaw));
  run_plainly("update fabric_type set raw = NULL");
  EXPECT_THAT([&] { get(1); }, ThrowsMessage<bond::StreamException>(kEmptyRaw));
}

TEST_F(ListFabricTypes, GivesAllRecordsWithTheIdentityOfTheirRows) {
  create_two();
  create(full_fabric_type(material_));
  EXPECT_THAT(list(), ElementsAre(with_identity(named("Q188A"), 1, "u-1"),
                                  with_identity(named("Q257A"), 2, "u-2"),
                                  with_identity(full_fabric_type(material_), 3, "type uid")));
}

TEST_F(ListFabricTypes, GivesNothingOfAnEmptyTable) { EXPECT_THAT(list(), IsEmpty()); }

TEST_F(ListFabricTypes, AppendsToItsReply) {
  create(named("Q188A", "u-1"));
  Batch<FabricType> reply{{named("before")}};
  project().list_fabric_type({}, reply);
  EXPECT_THAT(reply.items, ElementsAre(named("before"), with_identity(named("Q188A"), 1, "u-1")));
}

TEST_F(ListFabricTypes, IsNamedInTheSingularAndLogsItsTable) {
  EXPECT_NE(Project_Service::definition().find("list_fabric_type"), nullptr);
  EXPECT_EQ(Project_Service::definition().find("list_fabric_types"), nullptr);
  log().clear();
  list();
  EXPECT_EQ(log().lines(), (LogLines{{0, L"list_t_impl: tbl_id=fabric_type"}}));
}

TEST_F(ListFabricTypes, RunsOneStatementAndNoTransaction) {
  create_two();
  ConnectionWatch watch;
  reopen_under(watch);
  list();
  EXPECT_THAT(watch.statements(), ElementsAre("select id, uid, raw from fabric_type"));
}

TEST_F(ListFabricTypes, StopsAtADamagedRecordAndKeepsWhatItHasRead) {
  create_two();
  create(named("R257A"));
  set_raw("fabric_type", 2, "2903");
  Batch<FabricType> reply;
  EXPECT_THAT([&] { project().list_fabric_type({}, reply); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 3 bytes requested, offset: 2, length: 2"));
  EXPECT_THAT(reply.items, ElementsAre(with_identity(named("Q188A"), 1, "u-1")));
}

}  // namespace

}  // namespace korvane::test
