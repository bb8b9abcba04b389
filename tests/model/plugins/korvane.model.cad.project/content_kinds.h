#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <Poco/Data/LOB.h>
#include <Poco/Data/Session.h>

#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/plugins/korvane.model.cad.project/schedule_content.h"
#include "model/tables/tables.h"
#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

/// Of each kind of content: its record, its operations and the texts that are its own.
namespace korvane::test {

/// The rows that a record refers to.
struct Parents {
  std::int32_t revision = 0;
  std::int32_t material = 0;
  std::int32_t fabric_type = 0;
};

/// The columns of the insert of `T`s.
template <class T>
model::cad::InsertSpec writer_of() {
  return model::cad::insert_spec(model::tables::table_of<T>());
}

struct RebarKind {
  using Record = model::cad::Rebar;
  static constexpr const char* table = "rebar";
  static constexpr const char* select_sql = "select raw from rebar where rev_id = ?";
  static constexpr const char* cut_text = "690578";  // a text of five bytes, cut after one

  static Record minimal(const Parents& parents) {
    return minimal_bar(parents.revision, parents.material);
  }
  static Record full(const Parents& parents) {
    return full_rebar(parents.revision, parents.material);
  }
  static void add(model::cad::Project_Service_Impl& project, std::vector<Record> records,
                  GenericReply& reply) {
    project.add_rebar({std::move(records)}, reply);
  }
};

struct FabricKind {
  using Record = model::cad::Fabric;
  static constexpr const char* table = "fabric";
  static constexpr const char* select_sql = "select raw from fabric where rev_id = ?";
  static constexpr const char* cut_text = "690578";
  static constexpr const char* insert_sql =
      "insert into fabric (rev_id,comment,member,mark,mark_suffix,mark_prefix,member_multiplier,"
      "fabrics_per_member,total_fabrics,length,width,standard_bend_diameter,shape_code,"
      "fabric_weight,A,B,C,D,E,F,R,A_rounded,B_rounded,C_rounded,D_rounded,E_rounded,F_rounded,"
      "R_rounded,fabric_type_id,raw) "
      "values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";

  static Record minimal(const Parents& parents) {
    return minimal_fabric(parents.revision, parents.fabric_type);
  }
  static Record full(const Parents& parents) {
    return full_fabric(parents.revision, parents.fabric_type);
  }
  static model::cad::InsertSpec writer() { return writer_of<Record>(); }
  static void add(model::cad::Project_Service_Impl& project, std::vector<Record> records,
                  GenericReply& reply) {
    project.add_fabric({std::move(records)}, reply);
  }
  static void add(Poco::Data::Session& session, std::vector<Record> records) {
    model::cad::add_fabrics(session, records);
  }
};

struct BarSpacerKind {
  using Record = model::cad::BarSpacer;
  static constexpr const char* table = "barspacer";
  static constexpr const char* select_sql = "select raw from barspacer where rev_id = ?";
  static constexpr const char* cut_text = "690578";
  static constexpr const char* insert_sql =
      "insert into barspacer (mark,rev_id,sheet_id,name,quantity,weight_per_piece,description,"
      "length,raw) values (?,?,?,?,?,?,?,?,?)";

  static Record minimal(const Parents& parents) { return minimal_bar_spacer(parents.revision); }
  static Record full(const Parents& parents) { return full_bar_spacer(parents.revision); }
  static model::cad::InsertSpec writer() { return writer_of<Record>(); }
  static void add(model::cad::Project_Service_Impl& project, std::vector<Record> records,
                  GenericReply& reply) {
    project.add_barspacer({std::move(records)}, reply);
  }
  static void add(Poco::Data::Session& session, std::vector<Record> records) {
    model::cad::add_bar_spacers(session, records);
  }
};

struct MountingPartKind {
  using Record = model::cad::MountingPart;
  static constexpr const char* table = "mountingpart";
  static constexpr const char* select_sql = "select raw from mountingpart where rev_id = ?";
  static constexpr const char* cut_text = "290578";
  static constexpr const char* insert_sql =
      "insert into mountingpart (mark,quantity,material_id,family_name,type_name,manufacturer,"
      "comment,keynote,model,url,description,cost,order_number,catalog,rev_id,mark_prefix,"
      "mark_suffix,member,raw) values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";

  static Record minimal(const Parents& parents) {
    return minimal_mounting_part(parents.revision, parents.material);
  }
  static Record full(const Parents& parents) {
    return full_mounting_part(parents.revision, parents.material);
  }
  static model::cad::InsertSpec writer() { return writer_of<Record>(); }
  static void add(model::cad::Project_Service_Impl& project, std::vector<Record> records,
                  GenericReply& reply) {
    project.add_mountingpart({std::move(records)}, reply);
  }
  static void add(Poco::Data::Session& session, std::vector<Record> records) {
    model::cad::add_mounting_parts(session, records);
  }
};

/// A project with what content refers to.
template <class Kind>
class KindTest : public ContentTest {
 protected:
  using Record = typename Kind::Record;

  Record marked(const std::string& mark) const {
    Record record = Kind::minimal(parents_);
    record.mark = mark;
    return record;
  }
  Record full() const { return Kind::full(parents_); }
  void store(const std::vector<Record>& records) {
    GenericReply reply;
    Kind::add(project(), records, reply);
  }
  Rows marks() const {
    return rows(std::string("select mark from ") + Kind::table + " order by id");
  }
  Parents in_revision(std::int32_t revision) const {
    return {revision, parents_.material, parents_.fabric_type};
  }

  std::int32_t material_ = make_material();
  Parents parents_{make_revision(make_sheet(), "r-1"), material_, make_fabric_type(material_)};
};

}  // namespace korvane::test
