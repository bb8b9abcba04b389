#pragma once

#include <cstdint>
#include <string>

#include "contracts/cad/contracts.h"
#include "platform/project_rpc/project_service.h"
#include "tests/support/filled_record.h"

/// The kinds of record that are known by id and uid: of each its record, its operations, the texts
/// of its statements and the row that it refers to. The operations but the list are called after
/// the table: create_material, update_material, …
namespace korvane::test {

/// The types that the operations of an entity have in common.
template <class RecordType, class RefType, class ListType>
struct EntityKind {
  using Record = RecordType;
  using Ref = RefType;
  using List = ListType;

  using Service = model::cad::Project_Service;
  using Create = void (Service::*)(Record, Ref&);
  using Update = void (Service::*)(Record, GenericReply&);
  using Delete = void (Service::*)(Ref, GenericReply&);
  using Get = void (Service::*)(Ref, Record&);
  using TryGet = void (Service::*)(Ref, OptionalValue<Record>&);
  using ListAll = void (Service::*)(List, Batch<Record>&);
};

struct MaterialEntity
    : EntityKind<model::cad::Material, model::cad::MaterialRef, model::cad::ListMaterials> {
  static constexpr const char* table = "material";
  static constexpr const char* list_name = "list_materials";
  static constexpr const char* insert_sql = "insert into material (uid, raw) values (?, ?)";
  static constexpr const char* update_sql = "update material set raw=? where id=?";

  static constexpr Create create = &Service::create_material;
  static constexpr Update update = &Service::update_material;
  static constexpr Delete remove = &Service::delete_material;
  static constexpr Get get = &Service::get_material;
  static constexpr TryGet try_get = &Service::try_get_material;
  static constexpr ListAll list = &Service::list_materials;

  static void rename(Record& material, const std::string& name) { material.identity.name = name; }
};

/// Refers to a material, and holds a copy of its record.
struct FabricTypeEntity
    : EntityKind<model::cad::FabricType, model::cad::FabricTypeRef, model::cad::ListFabricType> {
  static constexpr const char* table = "fabric_type";
  static constexpr const char* list_name = "list_fabric_type";
  static constexpr const char* insert_sql =
      "insert into fabric_type (uid, type, overall_length, overall_width, sheet_mass, description, "
      "material_id, is_list_fabric, raw) values (?, ?, ?, ?, ?, ?, ?, ?, ?)";
  static constexpr const char* update_sql =
      "update fabric_type set uid=?, type=?, overall_length=?, overall_width=?, sheet_mass=?, "
      "description=?, material_id=?, is_list_fabric=?, raw=? where id=?";

  static constexpr Create create = &Service::create_fabric_type;
  static constexpr Update update = &Service::update_fabric_type;
  static constexpr Delete remove = &Service::delete_fabric_type;
  static constexpr Get get = &Service::get_fabric_type;
  static constexpr TryGet try_get = &Service::try_get_fabric_type;
  static constexpr ListAll list = &Service::list_fabric_type;

  /// No two fabric types have the same name.
  static void rename(Record& type, const std::string& name) { type.type_name = name; }

  using Parent = MaterialEntity;
  static std::int32_t& parent_id(Record& type) { return type.material.id; }
};

struct SheetEntity : EntityKind<model::cad::Sheet, model::cad::SheetRef, model::cad::ListSheets> {
  static constexpr const char* table = "sheet";
  static constexpr const char* list_name = "list_sheets";
  static constexpr const char* insert_sql = "insert into sheet (uid, raw) values (?, ?)";
  static constexpr const char* update_sql = "update sheet set raw=? where id=?";

  static constexpr Create create = &Service::create_sheet;
  static constexpr Update update = &Service::update_sheet;
  static constexpr Delete remove = &Service::delete_sheet;
  static constexpr Get get = &Service::get_sheet;
  static constexpr TryGet try_get = &Service::try_get_sheet;
  static constexpr ListAll list = &Service::list_sheets;

  static void rename(Record& sheet, const std::string& name) { sheet.name = name; }
};

/// Belongs to a sheet.
struct RevisionEntity
    : EntityKind<model::cad::Revision, model::cad::RevisionRef, model::cad::ListRevisions> {
  static constexpr const char* table = "revision";
  static constexpr const char* list_name = "list_revisions";
  static constexpr const char* insert_sql =
      "insert into revision (sheet_id, uid, raw) values (?, ?, ?)";
  static constexpr const char* update_sql = "update revision set raw=? where id=?";

  static constexpr Create create = &Service::create_revision;
  static constexpr Update update = &Service::update_revision;
  static constexpr Delete remove = &Service::delete_revision;
  static constexpr Get get = &Service::get_revision;
  static constexpr TryGet try_get = &Service::try_get_revision;
  static constexpr ListAll list = &Service::list_revisions;

  static void rename(Record& revision, const std::string& name) { revision.name = name; }

  using Parent = SheetEntity;
  static std::int32_t& parent_id(Record& revision) { return revision.sheet_id; }
};

/// Whether an entity refers to a row of another one.
template <class Entity>
concept HasParent = requires {
  typename Entity::Parent;
};

/// Calls `visitor.operator()<Entity>()` for each, parents before those that refer to them.
template <class Visitor>
void for_each_entity(Visitor&& visitor) {
  visitor.template operator()<MaterialEntity>();
  visitor.template operator()<FabricTypeEntity>();
  visitor.template operator()<SheetEntity>();
  visitor.template operator()<RevisionEntity>();
}

/// A record of an entity with every field set but `id` and `uid`; those of two names differ.
template <class Entity>
typename Entity::Record entity_record(const std::string& name, std::int32_t parent_id = 1) {
  auto record = Filler().make<typename Entity::Record>();
  record.id = typename Entity::Record{}.id;
  record.uid.clear();
  Entity::rename(record, name);
  if constexpr (HasParent<Entity>) Entity::parent_id(record) = parent_id;
  return record;
}

template <class Record>
Record with_identity(Record record, std::int32_t id, const std::string& uid) {
  record.id = id;
  record.uid = uid;
  return record;
}

}  // namespace korvane::test
