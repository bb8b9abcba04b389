#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/entity_kinds.h"
#include "tests/support/store_test.h"

/// Materials, fabric types, sheets and revisions: what they have in common is tested once, for all
/// of them, in one file for each operation; what is special about one is tested in its file.
namespace korvane::test {

/// A project with the parent row that the entity's records refer to.
template <class Entity>
class EntityTest : public StoreTest {
 protected:
  using Record = typename Entity::Record;

  EntityTest() {
    if constexpr (HasParent<Entity>) {
      typename Entity::Parent::Ref reply;
      (project().*Entity::Parent::create)({}, reply);
    }
  }

  static std::string table() { return Entity::table; }
  static Record record(const std::string& name) { return entity_record<Entity>(name); }
  static Record record(const std::string& name, const std::string& uid) {
    Record made = record(name);
    made.uid = uid;
    return made;
  }

  typename Entity::Ref create(const Record& record) {
    typename Entity::Ref reply;
    (project().*Entity::create)(record, reply);
    return reply;
  }
  void update(const Record& record) {
    GenericReply reply;
    (project().*Entity::update)(record, reply);
  }
  void remove(const typename Entity::Ref& ref) {
    GenericReply reply;
    (project().*Entity::remove)(ref, reply);
  }
  Record get(const typename Entity::Ref& ref) {
    Record reply;
    (project().*Entity::get)(ref, reply);
    return reply;
  }
  OptionalValue<Record> try_get(const typename Entity::Ref& ref) {
    OptionalValue<Record> reply;
    (project().*Entity::try_get)(ref, reply);
    return reply;
  }
  std::vector<Record> list() {
    Batch<Record> reply;
    (project().*Entity::list)({}, reply);
    return reply.items;
  }

  std::string raw(std::int32_t id) const {
    return *value("select raw from " + table() + " where id = " + std::to_string(id));
  }
  Rows uids() const { return rows("select uid from " + table() + " order by id"); }
  /// Two rows, "first" and "second", with the uids "u-1" and "u-2".
  void create_two() {
    create(record("first", "u-1"));
    create(record("second", "u-2"));
  }
};

using Entities = ::testing::Types<MaterialEntity, FabricTypeEntity, SheetEntity, RevisionEntity>;

using EntitiesWithParents = ::testing::Types<FabricTypeEntity, RevisionEntity>;

class EntityNames {
 public:
  template <class Entity>
  static std::string GetName(int) {
    return Entity::table;
  }
};

}  // namespace korvane::test
