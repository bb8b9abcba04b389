#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "bench/bench.h"
#include "bench/plain_row.h"
#include "bench/plain_sqlite.h"
#include "contracts/encoding/record_codec.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/tables/tables.h"
#include "tests/support/content_kinds.h"

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
  /// The rows that lines of its schedule refer to.
  test::Parents parents() const { return {revision_.id.value(), material_id_, fabric_type_id_}; }

  RevisionRef add_revision() {
    Revision revision;
    revision.sheet_id = sheet_id_;
    RevisionRef ref;
    service_.create_revision(revision, ref);
    return ref;
  }

  /// Deletes all lines of schedules and their end treatments, on a separate connection: the next
  /// writer finds the pages in its cache outdated.
  void empty_content() const {
    const Connection connection(filename());
    test::for_each_content_kind(
        [&]<class Kind>() { connection.run(std::string("delete from ") + Kind::table); });
    connection.run("delete from end_treatment");
  }

 private:
  ScratchFile file_;
  Project_Service_Impl service_;
  std::int32_t sheet_id_ = 0;
  RevisionRef revision_;
  std::int32_t material_id_ = 0;
  std::int32_t fabric_type_id_ = 0;
};

/// A line of a schedule: its kind as tests/support/content_kinds.h describes it, and a record to
/// store.
template <class T>
struct Content {
  using Kind = test::KindOfRecord<T>;

  static constexpr const char* table = Kind::table;
  /// The typical bar without its end treatments. The other kinds have no typical record: theirs has
  /// every field set.
  static T record(const StoredProject& project) {
    if constexpr (std::is_same_v<T, Rebar>) {
      Rebar bar = treated_record(project);
      bar.end_treatment_start.reset();
      bar.end_treatment_end.reset();
      return bar;
    } else {
      return test::filled_content<Kind>(project.parents());
    }
  }
  static Rebar treated_record(const StoredProject& project) {
    return test::referring<test::RebarKind>(typical<Rebar>(), project.parents());
  }
  static void add(Project_Service_Impl& service, Batch<T> batch) {
    GenericReply reply;
    (service.*Kind::add)(std::move(batch), reply);
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

/// The encoded records, all in one block.
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
