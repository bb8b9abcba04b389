#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/entity_suite.h"

namespace korvane::test {

namespace {

using namespace model::cad;

struct MaterialEntity {
  using Record = Material;
  using Ref = MaterialRef;
  using Project = Project_Service_Impl;
  static constexpr const char* table = "material";
  static constexpr const char* insert_sql = "insert into material (uid, raw) values (?, ?)";
  static constexpr bool needs_a_sheet = false;

  static Material record(const std::string& name) {
    Material material;
    material.identity = {name, "d", "k", "c"};
    material.physical = {"p", "pd", "pk", "pc", 7850.5};
    return material;
  }
  static void create(Project& project, Material request, MaterialRef& reply) {
    project.create_material(std::move(request), reply);
  }
  static void update(Project& project, Material request, GenericReply& reply) {
    project.update_material(std::move(request), reply);
  }
  static void remove(Project& project, MaterialRef request, GenericReply& reply) {
    project.delete_material(std::move(request), reply);
  }
  static void get(Project& project, MaterialRef request, Material& reply) {
    project.get_material(std::move(request), reply);
  }
  static void try_get(Project& project, MaterialRef request, OptionalValue<Material>& reply) {
    project.try_get_material(std::move(request), reply);
  }
  static void list(Project& project, Batch<Material>& reply) { project.list_materials({}, reply); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Material, EntityTest, MaterialEntity);

class DeleteMaterial : public StoreTest {
 protected:
  void remove(std::int32_t id) {
    GenericReply reply;
    project().delete_material(by_id<MaterialRef>(id), reply);
  }
};

TEST_F(DeleteMaterial, FailsWhileABarRefersToIt) {
  const std::int32_t material = make_material();
  add({minimal_bar(make_revision(), material)});
  EXPECT_THROW(remove(material), Poco::Data::SQLite::ConstraintViolationException);
  EXPECT_EQ(count("material"), 1);
  EXPECT_EQ(count("rebar"), 1);
}

TEST_F(DeleteMaterial, FailsWhileAMountingPartRefersToIt) {
  const std::int32_t material = make_material();
  query("insert into mountingpart (material_id) values (1)");
  EXPECT_THROW(remove(material), Poco::Data::SQLite::ConstraintViolationException);
  EXPECT_EQ(count("material"), 1);
}

TEST_F(DeleteMaterial, FailsWhileAFabricTypeRefersToIt) {
  const std::int32_t material = make_material();
  query("insert into fabric_type (material_id) values (1)");
  EXPECT_THROW(remove(material), Poco::Data::SQLite::ConstraintViolationException);
  EXPECT_EQ(count("material"), 1);
}

TEST_F(DeleteMaterial, RollsBackWhenItFailsSoThatTheNextWriteWorks) {
  const std::int32_t used = make_material();
  const std::int32_t unused = make_material();
  add({minimal_bar(make_revision(), used)});
  EXPECT_THROW(remove(used), Poco::Data::SQLite::ConstraintViolationException);
  remove(unused);
  EXPECT_EQ(rows("select id from material"), (Rows{{std::to_string(used)}}));
}

TEST_F(DeleteMaterial, ByUidFailsAlikeWhileABarRefersToIt) {
  add({minimal_bar(make_revision(), make_material("m-1"))});
  GenericReply reply;
  EXPECT_THROW(project().delete_material(by_uid<MaterialRef>("m-1"), reply),
               Poco::Data::SQLite::ConstraintViolationException);
  EXPECT_EQ(count("material"), 1);
}

}  // namespace

}  // namespace korvane::test
