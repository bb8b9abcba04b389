#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench.h"
#include "bench/plain_row.h"
#include "bench/plain_sqlite.h"
#include "contracts/encoding/record_codec.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/tables/tables.h"
#include "tests/support/filled_record.h"

namespace korvane::bench {

using namespace model::cad;

/// A new project file with a sheet, a revision, a material and a fabric type, opened by the store.
class StoredProject {
 public:
  StoredProject() : service_(0, file_.name()) {
    SheetRef sheet;
    service_.create_sheet({}, sheet);
    sheet_id_ = sheet.id.value();
    revision_ = add_revision();
    MaterialRef material;
    service_.create_material({}, material);
    material_id_ = material.id.value();
    FabricType type;
    type.material.id = material_id_;
    FabricTypeRef fabric_type;
    service_.create_fabric_type(type, fabric_type);
    fabric_type_id_ = fabric_type.id.value();
  }

  Project_Service_Impl& service() { return service_; }
  const std::string& filename() const { return file_.name(); }
  const RevisionRef& revision() const { return revision_; }
  std::int32_t rev_id() const { return revision_.id.value(); }
  std::int32_t material_id() const { return material_id_; }
  std::int32_t fabric_type_id() const { return fabric_type_id_; }

  RevisionRef add_revision() {
    Revision revision;
    revision.sheet_id = sheet_id_;
    RevisionRef ref;
    service_.create_revision(revision, ref);
    return ref;
  }

  /// Deletes all lines of schedules and their end treatments, by a connection of its own: whoever
  /// writes next finds the pages that it keeps in memory outdated.
  void empty_content() const {
    const Connection connection(filename());
    for (const char* table : {"rebar", "fabric", "barspacer", "mountingpart", "end_treatment"}) {
      connection.run(std::string("delete from ") + table);
    }
  }

 private:
  ScratchFile file_;
  Project_Service_Impl service_;
  std::int32_t sheet_id_ = 0;
  RevisionRef revision_;
  std::int32_t material_id_ = 0;
  std::int32_t fabric_type_id_ = 0;
};

/// What a line of a schedule is called in the store: its operations, its table, a record to store.
template <class T>
struct Content;

template <>
struct Content<Rebar> {
  static constexpr const char* table = "rebar";
  /// The typical bar without its end treatments.
  static Rebar record(const StoredProject& project) {
    Rebar bar = treated_record(project);
    bar.end_treatment_start.reset();
    bar.end_treatment_end.reset();
    return bar;
  }
  static Rebar treated_record(const StoredProject& project) {
    Rebar bar = typical<Rebar>();
    bar.rev_id = project.rev_id();
    bar.material_id.set(project.material_id());
    return bar;
  }
  static void add(Project_Service_Impl& service, Batch<Rebar> batch) {
    GenericReply reply;
    service.add_rebar(std::move(batch), reply);
  }
};

/// Of the others there is no typical record: theirs has every field set.
template <>
struct Content<Fabric> {
  static constexpr const char* table = "fabric";
  static Fabric record(const StoredProject& project) {
    auto fabric = test::Filler().make<Fabric>();
    fabric.rev_id = project.rev_id();
    fabric.fabric_type.id = project.fabric_type_id();
    return fabric;
  }
  static void add(Project_Service_Impl& service, Batch<Fabric> batch) {
    GenericReply reply;
    service.add_fabric(std::move(batch), reply);
  }
};

template <>
struct Content<BarSpacer> {
  static constexpr const char* table = "barspacer";
  static BarSpacer record(const StoredProject& project) {
    auto spacer = test::Filler().make<BarSpacer>();
    spacer.rev_id = project.rev_id();
    return spacer;
  }
  static void add(Project_Service_Impl& service, Batch<BarSpacer> batch) {
    GenericReply reply;
    service.add_barspacer(std::move(batch), reply);
  }
};

template <>
struct Content<MountingPart> {
  static constexpr const char* table = "mountingpart";
  static MountingPart record(const StoredProject& project) {
    auto part = test::Filler().make<MountingPart>();
    part.rev_id = project.rev_id();
    part.material_id = project.material_id();
    return part;
  }
  static void add(Project_Service_Impl& service, Batch<MountingPart> batch) {
    GenericReply reply;
    service.add_mountingpart(std::move(batch), reply);
  }
};

/// The look-up of one end treatment as the store does it, prepared once.
class PlainTreatments {
 public:
  explicit PlainTreatments(const Connection& connection)
      : find_(connection,
              "SELECT id FROM end_treatment where type = ? AND type_description = ? AND "
              "manufacturer = ? AND model = ? AND diameter = ? AND comment = ?"),
        insert_(connection,
                "insert into end_treatment (type,type_description,manufacturer,model,diameter,"
                "comment) values (?,?,?,?,?,?)"),
        max_(connection, "SELECT MAX(id) FROM end_treatment") {}

  std::int32_t id_of(const EndTreatment& treatment) {
    bind(find_, treatment);
    const bool is_stored = find_.step();
    std::int32_t id = is_stored ? find_.integer(0) : 0;
    find_.reset();
    if (!is_stored) {
      insert(treatment);
      max_.step();
      id = max_.integer(0);
      max_.reset();
    }
    return id;
  }

  void insert(const EndTreatment& treatment) {
    bind(insert_, treatment);
    insert_.run();
  }

 private:
  static void bind(Prepared& statement, const EndTreatment& treatment) {
    statement.bind(1, treatment.type);
    statement.bind(2, treatment.type_description);
    statement.bind(3, treatment.manufacturer);
    statement.bind(4, treatment.model);
    statement.bind(5, treatment.diameter);
    statement.bind(6, treatment.comment);
  }

  Prepared find_;
  Prepared insert_;
  Prepared max_;
};

/// The insert of a batch by plain SQLite: one statement parsed once, one transaction.
template <class T>
class PlainInsert {
 public:
  PlainInsert() : row_(insert_spec(model::tables::table_of<T>())) {
    raw_ = row_.take_position("raw");
    if constexpr (kHasTreatments) {
      start_ = row_.take_position("end_treatment_start");
      end_ = row_.take_position("end_treatment_end");
    }
    row_.check_whole();
  }

  /// `raw` are the encoded records, in their order.
  void add(const Connection& connection, const std::vector<T>& records,
           const std::vector<bond::blob>& raw) const {
    connection.run("BEGIN");
    {
      Prepared insert(connection, row_.sql());
      std::optional<PlainTreatments> treatments;
      for (std::size_t i = 0; i < records.size(); ++i) {
        row_.bind(insert, records[i]);
        if constexpr (kHasTreatments) {
          const auto bind_end = [&](int position, const bond::nullable<EndTreatment>& treatment) {
            bond::nullable<std::int32_t> id;
            if (treatment.hasvalue()) {
              if (!treatments) treatments.emplace(connection);
              id.set(treatments->id_of(*treatment));
            }
            insert.bind(position, id);
          };
          bind_end(start_, records[i].end_treatment_start);
          bind_end(end_, records[i].end_treatment_end);
        }
        insert.bind(raw_, raw[i]);
        insert.run();
      }
    }
    connection.run("COMMIT");
  }

  /// The same record `count` times, in one transaction.
  void add_copies(const Connection& connection, const T& record, std::size_t count) const {
    const bond::blob raw = encoding::encode(record);
    connection.run("BEGIN");
    {
      Prepared insert(connection, row_.sql());
      row_.bind(insert, record);
      insert.bind(raw_, raw);
      for (std::size_t i = 0; i < count; ++i) insert.run();
    }
    connection.run("COMMIT");
  }

 private:
  static constexpr bool kHasTreatments = std::is_same_v<T, Rebar>;

  PlainRow<T> row_;
  int raw_ = 0;
  int start_ = 0;
  int end_ = 0;
};

/// The bytes of each record, all of them in one block.
template <class T>
std::vector<bond::blob> encoded(const std::vector<T>& records) {
  std::string bytes;
  std::vector<std::uint32_t> ends;
  for (const T& record : records) {
    const bond::blob one = encoding::encode(record);
    bytes.append(one.content(), one.size());
    ends.push_back(static_cast<std::uint32_t>(bytes.size()));
  }
  const bond::blob block =
      bond::blob::copy_of(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  std::vector<bond::blob> raw;
  raw.reserve(records.size());
  std::uint32_t begin = 0;
  for (const std::uint32_t end : ends) {
    raw.push_back(block.range(begin, end - begin));
    begin = end;
  }
  return raw;
}

}  // namespace korvane::bench
