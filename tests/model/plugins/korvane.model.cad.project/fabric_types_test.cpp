#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

/// How fabric types differ from the other entities: their table has more columns than id, uid and
/// raw, their names are unique, and an update rewrites all columns.
namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::StartsWith;

constexpr const char* kUidTaken = "UNIQUE constraint failed: fabric_type.uid";
constexpr const char* kTypeTaken = "UNIQUE constraint failed: fabric_type.type";
constexpr const char* kNoSuchParent = "FOREIGN KEY constraint failed";

/// A project with a material, whose id is 1.
class FabricTypeTest : public EntityTest<FabricTypeEntity> {
 protected:
  static FabricType named(const std::string& type_name, const std::string& uid = "") {
    FabricType type = minimal_fabric_type(1, type_name);
    type.uid = uid;
    return type;
  }

  using EntityTest<FabricTypeEntity>::get;
  FabricType get(std::int32_t id) { return get(by_id<FabricTypeRef>(id)); }

  /// Two rows: 1, "Q188A", "u-1" and 2, "Q257A", "u-2".
  void create_two() {
    create(named("Q188A", "u-1"));
    create(named("Q257A", "u-2"));
  }
  Rows is_list_fabric() const { return rows("select is_list_fabric from fabric_type order by id"); }
  Rows description() const {
    return rows("select typeof(description), description from fabric_type");
  }
};

using CreateFabricType = FabricTypeTest;
using FailingCreateFabricType = FabricTypeTest;
using UpdateFabricType = FabricTypeTest;
using FailingUpdateFabricType = FabricTypeTest;
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
  const FabricTypeRef ref = create(minimal_fabric_type(1));
  EXPECT_EQ(only_row("fabric_type"), (NamedRow{{"id", "1"},
                                               {"uid", ref.uid.value()},
                                               {"type", ""},
                                               {"overall_length", "0.0"},
                                               {"overall_width", "0.0"},
                                               {"sheet_mass", "0.0"},
                                               {"description", ""},
                                               {"material_id", "1"},
                                               {"is_list_fabric", "0"},
                                               {"raw", raw_hex(minimal_fabric_type(1))}}));
}

TEST_F(CreateFabricType, NamesTheColumnsOfItsTableInOrder) {
  const CellText columns = value(
      "select group_concat(name, ', ') from (select name from pragma_table_info('fabric_type') "
      "where name <> 'id' order by cid)");
  EXPECT_THAT(FabricTypeEntity::insert_sql,
              StartsWith("insert into fabric_type (" + *columns + ") values ("));
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

TEST_F(IsListFabric, IsFalseWithoutAndTrueWithAnEmptyListFabric) {
  create(named("Q188A"));
  FabricType listed = named("Q257A");
  listed.list_fabric.set();
  create(listed);
  EXPECT_EQ(is_list_fabric(), (Rows{{"0"}, {"1"}}));
  EXPECT_EQ(get(2).list_fabric, bond::nullable<ListenMatten>(ListenMatten{}));
}

TEST_F(IsListFabric, IsFalseAgainOnceAnUpdateRemovesTheListFabric) {
  create(full_fabric_type(1));
  EXPECT_EQ(is_list_fabric(), (Rows{{"1"}}));
  FabricType plain = with_identity(full_fabric_type(1), 1, "type uid");
  plain.list_fabric.reset();
  update(plain);
  EXPECT_EQ(is_list_fabric(), (Rows{{"0"}}));
  EXPECT_EQ(get(1), plain);
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

TEST_F(Description, ThatIsNotANumberStaysText) {
  FabricType described = named("Q188A");
  described.description = "7 mm";
  create(described);
  EXPECT_EQ(description(), (Rows{{"text", "7 mm"}}));
}

TEST_F(EmbeddedMaterial, ChangedButForItsIdChangesRawAloneAndNoMaterial) {
  create(full_fabric_type(1));
  FabricType changed = with_identity(full_fabric_type(1), 1, "type uid");
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
  create(full_fabric_type(1));
  FabricType changed = with_identity(full_fabric_type(1), 1, "type uid");
  changed.material.identity.name = "B550A";
  update(changed);
  Material material;
  project().get_material(by_id<MaterialRef>(1), material);
  EXPECT_EQ(get(1).material.identity.name, "B550A");
  EXPECT_EQ(material.identity.name, "");
}

TEST_F(EmbeddedMaterial, IsReturnedAsStoredAfterTheMaterialChanged) {
  create(full_fabric_type(1));
  Material material;
  material.id = 1;
  material.identity.name = "B550A";
  GenericReply reply;
  project().update_material(material, reply);
  EXPECT_EQ(get(1).material, full_fabric_type(1).material);
}

TEST_F(GetFabricType, ReadsNoColumnButIdUidAndRaw) {
  create(named("Q188A", "u-1"));
  run_plainly(
      "update fabric_type set type = 'x', overall_length = 1, overall_width = 2, sheet_mass = 3, "
      "description = 'd', material_id = 4, is_list_fabric = 1");
  EXPECT_EQ(get(1), with_identity(named("Q188A"), 1, "u-1"));
}

TEST_F(ListFabricTypes, IsNamedInTheSingular) {
  EXPECT_NE(Project_Service::definition().find("list_fabric_type"), nullptr);
  EXPECT_EQ(Project_Service::definition().find("list_fabric_types"), nullptr);
}

}  // namespace

}  // namespace korvane::test
