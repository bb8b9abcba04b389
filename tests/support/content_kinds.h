#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "contracts/cad/contracts.describe.h"
#include "platform/project_rpc/project_service.h"
#include "tests/support/filled_record.h"

/// The kinds of content of a revision's schedule: for each its record, its operations, the text of
/// its insert, the rows that it refers to and what deletes its own rows.
namespace korvane::test {

/// The rows that content refers to, by their ids.
struct Parents {
  std::int32_t revision = 1;
  std::int32_t material = 1;
  std::int32_t fabric_type = 1;
};

/// A foreign key that may not be NULL, with the field that is stored in it. Rows are deleted with
/// their revision; any other parent cannot be deleted while they refer to it.
template <class Record>
struct Reference {
  const char* column;
  const char* parent_table;
  std::int32_t Parents::*parent;
  std::int32_t (*get)(const Record& record);
  void (*set)(Record& record, std::int32_t id);
};

/// What the kinds have in common. The operation is called after the table: add_rebar.
template <class RecordType>
struct ContentKind {
  using Record = RecordType;
  using Service = model::cad::Project_Service;
  using Add = void (Service::*)(Batch<Record>, GenericReply&);

  static constexpr Reference<Record> of_revision = {
      "rev_id", "revision", &Parents::revision, [](const Record& record) { return record.rev_id; },
      [](Record& record, std::int32_t id) { record.rev_id = id; }};
};

struct RebarKind : ContentKind<model::cad::Rebar> {
  static constexpr const char* table = "rebar";
  static constexpr const char* insert_sql =
      "insert into rebar (rev_id,comment,member,mark,submark,mark_suffix,mark_prefix,material_id,"
      "member_multiplier,bars_per_member,total_bars,total_length,bar_diameter,"
      "standard_bend_diameter,hook_bend_diameter,end_treatment_start,end_treatment_end,shape_code,"
      "A,B,C,D,E,F,R,A_rounded,B_rounded,C_rounded,D_rounded,E_rounded,F_rounded,R_rounded,"
      "bartype_name,bartype_mass_per_length,raw) "
      "values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
  static constexpr Add add = &Service::add_rebar;
  static constexpr bool is_cleared = true;             // by clear_for_revision
  static constexpr const char* cut_record = "690578";  // within its first text

  /// A bar without a material counts as one of material 0, which is never there.
  static constexpr std::array<Reference<Record>, 2> references = {
      {of_revision,
       {"material_id", "material", &Parents::material,
        [](const Record& bar) { return bar.material_id.hasvalue() ? *bar.material_id : 0; },
        [](Record& bar, std::int32_t id) { bar.material_id.set(id); }}}};
};

struct FabricKind : ContentKind<model::cad::Fabric> {
  static constexpr const char* table = "fabric";
  static constexpr const char* insert_sql =
      "insert into fabric (rev_id,comment,member,mark,mark_suffix,mark_prefix,member_multiplier,"
      "fabrics_per_member,total_fabrics,length,width,standard_bend_diameter,shape_code,"
      "fabric_weight,A,B,C,D,E,F,R,A_rounded,B_rounded,C_rounded,D_rounded,E_rounded,F_rounded,"
      "R_rounded,fabric_type_id,raw) "
      "values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
  static constexpr Add add = &Service::add_fabric;
  static constexpr bool is_cleared = true;             // by clear_for_revision
  static constexpr const char* cut_record = "690578";  // within its first text

  static constexpr std::array<Reference<Record>, 2> references = {
      {of_revision,
       {"fabric_type_id", "fabric_type", &Parents::fabric_type,
        [](const Record& fabric) { return fabric.fabric_type.id; },
        [](Record& fabric, std::int32_t id) { fabric.fabric_type.id = id; }}}};
};

struct BarSpacerKind : ContentKind<model::cad::BarSpacer> {
  static constexpr const char* table = "barspacer";
  static constexpr const char* insert_sql =
      "insert into barspacer (mark,rev_id,sheet_id,name,quantity,weight_per_piece,description,"
      "length,raw) values (?,?,?,?,?,?,?,?,?)";
  static constexpr Add add = &Service::add_barspacer;
  static constexpr bool is_cleared = true;             // by clear_for_revision
  static constexpr const char* cut_record = "690578";  // within its first text

  /// Not even its revision is a foreign key.
  static constexpr std::array<Reference<Record>, 0> references = {};
};

struct MountingPartKind : ContentKind<model::cad::MountingPart> {
  static constexpr const char* table = "mountingpart";
  static constexpr const char* insert_sql =
      "insert into mountingpart (mark,quantity,material_id,family_name,type_name,manufacturer,"
      "comment,keynote,model,url,description,cost,order_number,catalog,rev_id,mark_prefix,"
      "mark_suffix,member,raw) values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
  static constexpr Add add = &Service::add_mountingpart;
  static constexpr bool is_cleared = false;            // by clear_for_revision
  static constexpr const char* cut_record = "290578";  // within its first text

  static constexpr std::array<Reference<Record>, 2> references = {
      {of_revision,
       {"material_id", "material", &Parents::material,
        [](const Record& part) { return part.material_id; },
        [](Record& part, std::int32_t id) { part.material_id = id; }}}};
};

/// The kind of a record.
template <class Record>
struct KindOfRecord;
template <>
struct KindOfRecord<model::cad::Rebar> : RebarKind {};
template <>
struct KindOfRecord<model::cad::Fabric> : FabricKind {};
template <>
struct KindOfRecord<model::cad::BarSpacer> : BarSpacerKind {};
template <>
struct KindOfRecord<model::cad::MountingPart> : MountingPartKind {};

/// Calls `visitor.operator()<Kind>()` for each.
template <class Visitor>
void for_each_content_kind(Visitor&& visitor) {
  visitor.template operator()<RebarKind>();
  visitor.template operator()<FabricKind>();
  visitor.template operator()<BarSpacerKind>();
  visitor.template operator()<MountingPartKind>();
}

/// Whether the kind's rows are deleted with their revision.
template <class Kind>
constexpr bool goes_with_revision() {
  for (const auto& reference : Kind::references) {
    if (reference.parent == &Parents::revision) return true;
  }
  return false;
}

/// `record`, referring to `parents`.
template <class Kind>
typename Kind::Record referring(typename Kind::Record record, const Parents& parents) {
  record.rev_id = parents.revision;
  for (const auto& reference : Kind::references) {
    reference.set(record, parents.*reference.parent);
  }
  return record;
}

/// A record that has no more than its table requires.
template <class Kind>
typename Kind::Record minimal_content(const Parents& parents) {
  return referring<Kind>({}, parents);
}

/// A record with every field set, no two alike.
template <class Kind>
typename Kind::Record filled_content(const Parents& parents) {
  return referring<Kind>(Filler().make<typename Kind::Record>(), parents);
}

template <class Kind>
void add_content(model::cad::Project_Service& project, std::vector<typename Kind::Record> records) {
  GenericReply reply;
  (project.*Kind::add)({std::move(records)}, reply);
}

/// A read of all records of one kind that a revision has.
template <class KindType, class RequestType, class ReplyType>
struct ContentRead {
  using Kind = KindType;
  using Record = typename Kind::Record;
  using Request = RequestType;
  using Reply = ReplyType;

  using Service = model::cad::Project_Service;
  using Operation = void (Service::*)(Request, Reply&);
  using Items = std::vector<Record> Reply::*;

  static Request request(std::int32_t rev_id) {
    Request request;
    if constexpr (requires { request.rev_id; }) {
      request.rev_id = rev_id;
    } else {
      request.id = rev_id;
    }
    return request;
  }
};

struct GetRebars : ContentRead<RebarKind, model::cad::RevisionRef, Batch<model::cad::Rebar>> {
  static constexpr const char* name = "get_rebars";
  static constexpr Operation operation = &Service::get_rebars;
  static constexpr Items items = &Reply::items;
};

struct GetAllRebars : ContentRead<RebarKind, model::cad::RevisionRef, model::cad::Rebars> {
  static constexpr const char* name = "get_all_rebars_for_revision";
  static constexpr Operation operation = &Service::get_all_rebars_for_revision;
  static constexpr Items items = &Reply::rebars;
};

struct GetAllFabrics : ContentRead<FabricKind, model::cad::FabricRef, model::cad::Fabrics> {
  static constexpr const char* name = "get_all_fabrics_for_revision";
  static constexpr Operation operation = &Service::get_all_fabrics_for_revision;
  static constexpr Items items = &Reply::fabrics;
};

struct GetAllBarSpacers
    : ContentRead<BarSpacerKind, model::cad::RevisionRef, model::cad::BarSpacers> {
  static constexpr const char* name = "get_all_barspacers_for_revision";
  static constexpr Operation operation = &Service::get_all_barspacers_for_revision;
  static constexpr Items items = &Reply::barspacers;
};

struct GetAllMountingParts
    : ContentRead<MountingPartKind, model::cad::MountingPartRef, model::cad::MountingParts> {
  static constexpr const char* name = "get_all_mountingparts_for_revision";
  static constexpr Operation operation = &Service::get_all_mountingparts_for_revision;
  static constexpr Items items = &Reply::mountingParts;
};

/// Calls `visitor.operator()<Read>()` for each read; bars have two.
template <class Visitor>
void for_each_content_read(Visitor&& visitor) {
  visitor.template operator()<GetRebars>();
  visitor.template operator()<GetAllRebars>();
  visitor.template operator()<GetAllFabrics>();
  visitor.template operator()<GetAllBarSpacers>();
  visitor.template operator()<GetAllMountingParts>();
}

template <class Read>
std::vector<typename Read::Record> read_content(model::cad::Project_Service& project,
                                                std::int32_t rev_id) {
  typename Read::Reply reply;
  (project.*Read::operation)(Read::request(rev_id), reply);
  return std::move(reply.*Read::items);
}

}  // namespace korvane::test
