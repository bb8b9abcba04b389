#include "tests/scenarios/project_model/project_against_model.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/scenarios/project_model/project_model.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

using namespace model::cad;
namespace table = model::table;

class ProjectAgainstModel::Impl {
 public:
  explicit Impl(Choose choose) : number(std::move(choose)) { reopen(); }

  const std::string& file() const { return file_; }

  void step() {
    switch (number(26)) {
      case 0:
        return create<MaterialEntity>(some_material());
      case 1:
        return create<FabricTypeEntity>(some_fabric_type());
      case 2:
        return create<SheetEntity>(some_sheet());
      case 3:
      case 4:
        return create<RevisionEntity>(some_revision());
      case 5:
        return update<MaterialEntity>(some_material());
      case 6:
        return update<FabricTypeEntity>(some_fabric_type());
      case 7:
        return update<SheetEntity>(some_sheet());
      case 8:
        return update<RevisionEntity>(some_revision());
      case 9:
        return get<MaterialEntity>();
      case 10:
        return get<FabricTypeEntity>();
      case 11:
        return get<SheetEntity>();
      case 12:
        return get<RevisionEntity>();
      case 13:
        return remove<MaterialEntity>([&](std::int32_t id) { return model_.remove_material(id); });
      case 14:
        return remove<FabricTypeEntity>(
            [&](std::int32_t id) { return model_.remove_fabric_type(id); });
      case 15:
        if (!chance(20)) return;
        return remove<SheetEntity>([&](std::int32_t id) {
          model_.remove_sheet(id);
          return true;
        });
      case 16:
        if (!chance(30)) return;
        return remove<RevisionEntity>([&](std::int32_t id) {
          model_.remove_revision(id);
          return true;
        });
      case 17:
      case 18:
        return add<RebarKind>();
      case 19:
        return add<FabricKind>();
      case 20:
        return add<BarSpacerKind>();
      case 21:
        return add<MountingPartKind>();
      case 22:
        return clear_a_revision();
      case 23:
        return update_project();
      case 24:
        return clear();
      default:
        if (chance(10)) reopen();
        compare();
    }
  }

  // --- The whole project, through every read.

  void compare() {
    for_each_entity([&]<class Entity>() {
      Batch<typename Entity::Record> listed;
      (project().*Entity::list)({}, listed);
      EXPECT_THAT(listed.items, testing::ElementsAreArray(model_.entities<Entity>().all()))
          << Entity::table;
    });
    ProjectData data;
    project().get_project({}, data);
    EXPECT_EQ(data, model_.project.value_or(ProjectData{}));
    for (std::int32_t rev_id = 0; rev_id <= model_.entities<RevisionEntity>().last_id; ++rev_id) {
      for_each_content_read([&]<class Read>() {
        EXPECT_EQ(read_content<Read>(project(), rev_id),
                  model_.content_of<typename Read::Kind>(rev_id))
            << Read::name;
      });
    }
    for (const auto& [id, sheet] : model_.entities<SheetEntity>().rows) compare_revisions_of(id);
    compare_end_treatments();
  }

 private:
  void reopen() {
    project_.reset();
    project_ = std::make_shared<Project_Service_Impl>(0, file_);
    // Durability is not tested here, and would take most of the time.
    query("PRAGMA synchronous = off");
  }

  Project_Service_Impl& project() { return *project_; }

  table::TABLE query(const std::string& sql) {
    table::GET_TABLE request;
    request.kind = "sql:raw";
    request.params["query"].value_string.set(sql);
    table::TABLE result;
    project().query_table(request, result);
    return result;
  }

  // --- Random values, from pools small enough for conflicts.

  bool chance(std::int32_t percent) { return number(100) < percent; }
  /// Mostly an id that is or was there.
  std::int32_t some_id() { return number(8) - 1; }
  std::string some_text() { return chance(20) ? "" : "text " + std::to_string(number(5)); }
  std::string some_uid() { return chance(50) ? "" : "uid " + std::to_string(number(12)); }

  template <class Ref>
  Ref some_ref() {
    Ref ref;
    if (chance(70)) ref.id = some_id();
    if (chance(50)) ref.uid = "uid " + std::to_string(number(12));
    return ref;
  }

  Properties some_properties() {
    Properties properties;
    for (std::int32_t i = number(3); i > 0; --i) {
      properties[some_text()].value_int32.set(number(100));
    }
    return properties;
  }

  Material some_material() {
    Material material;
    material.id = some_id();
    material.uid = some_uid();
    material.identity.name = some_text();
    material.physical.density = number(100);
    return material;
  }

  FabricType some_fabric_type() {
    FabricType type;
    type.id = some_id();
    type.uid = some_uid();
    type.type_name = "type " + std::to_string(number(12));
    type.material = some_material();
    type.description = some_text();
    if (chance(50)) type.list_fabric.set().along_distance = number(100);
    return type;
  }

  Sheet some_sheet() {
    Sheet sheet;
    sheet.id = some_id();
    sheet.uid = some_uid();
    sheet.name = some_text();
    sheet.properties = some_properties();
    return sheet;
  }

  Revision some_revision() {
    Revision revision;
    revision.id = some_id();
    revision.uid = some_uid();
    revision.name = some_text();
    revision.sheet_id = some_id();
    return revision;
  }

  EndTreatment some_treatment() {
    EndTreatment treatment;
    treatment.type = some_text();
    treatment.comment = some_text();
    treatment.diameter = number(2);
    treatment.draw_pointer = chance(50);
    return treatment;
  }

  /// A record that mostly refers to rows that are there. What is special about its kind is added.
  template <class Kind>
  typename Kind::Record some_content() {
    typename Kind::Record record;
    if constexpr (std::is_same_v<Kind, RebarKind>) record.id = number(100);
    if constexpr (!goes_with_revision<Kind>()) record.rev_id = some_id();
    for (const auto& reference : Kind::references) {
      constexpr bool may_lack_material = std::is_same_v<Kind, RebarKind>;
      if (may_lack_material && reference.parent == &Parents::material && !chance(97)) continue;
      reference.set(record, some_parent(reference.parent_table));
    }
    record.mark = some_text();
    vary(record);
    return record;
  }

  void vary(Rebar& bar) {
    bar.comment = some_text();
    bar.total_bars = number(100);
    bar.parameters_exact.a.set(number(1000));
    bar.properties = some_properties();
    if (chance(40)) bar.end_treatment_start.set(some_treatment());
    if (chance(40)) bar.end_treatment_end.set(some_treatment());
  }
  void vary(Fabric& fabric) { fabric.fabrics_per_member = number(5); }
  void vary(BarSpacer& spacer) { spacer.quantity = number(50); }
  void vary(MountingPart& part) {
    if (chance(50)) part.cost.set(number(100));
  }

  std::int32_t some_parent(std::string_view table) {
    if (table == "revision") return valid_or_some(model_.entities<RevisionEntity>().rows);
    if (table == "material") return valid_or_some(model_.entities<MaterialEntity>().rows);
    return valid_or_some(model_.entities<FabricTypeEntity>().rows);
  }

  template <class Rows>
  std::int32_t valid_or_some(const Rows& rows) {
    if (rows.empty() || chance(8)) return some_id();
    auto row = rows.begin();
    std::advance(row, number(static_cast<std::int32_t>(rows.size())));
    return row->first;
  }

  // --- Steps. Each asks the store and compares the model.

  /// Runs `call` and expects it to be refused exactly when `is_refused`.
  template <class Call>
  bool ask(bool is_refused, Call call) {
    try {
      call();
    } catch (const std::exception& failure) {
      EXPECT_TRUE(is_refused) << "the store refused: " << failure.what();
      return false;
    }
    EXPECT_FALSE(is_refused) << "the store did not refuse";
    return true;
  }

  template <class Entity>
  void create(typename Entity::Record record) {
    auto& known = model_.entities<Entity>();
    typename Entity::Ref ref;
    const bool is_taken = !record.uid.empty() && known.has_uid(record.uid);
    const bool is_refused = is_taken || !model_.may_save<Entity>(record, -1);
    if (!ask(is_refused, [&] { (project().*Entity::create)(record, ref); })) return;
    if (record.uid.empty()) {
      EXPECT_EQ(ref.uid.value().size(), 36U);
      record.uid = ref.uid.value();
    }
    EXPECT_EQ(ref.uid.value(), record.uid);
    EXPECT_EQ(ref.id.value(), known.add(record));
  }

  template <class Entity>
  void get() {
    const auto ref = some_ref<typename Entity::Ref>();
    const auto* const expected = model_.entities<Entity>().find(ref);
    typename Entity::Record record;
    if (ask(expected == nullptr, [&] { (project().*Entity::get)(ref, record); })) {
      EXPECT_EQ(record, *expected);
    }
    OptionalValue<typename Entity::Record> optional;
    (project().*Entity::try_get)(ref, optional);
    ASSERT_EQ(optional.value.is_nothing(), expected == nullptr);
    if (expected == nullptr) return;
    EXPECT_EQ(optional.value.value(), *expected);
  }

  template <class Entity>
  void remove(std::function<bool(std::int32_t)> remove_from_model) {
    const auto ref = some_ref<typename Entity::Ref>();
    bool is_refused = !ref.id && !ref.uid;
    if (const auto id = model_.entities<Entity>().row_to_delete(ref)) {
      is_refused = !remove_from_model(*id);
    }
    GenericReply reply;
    ask(is_refused, [&] { (project().*Entity::remove)(ref, reply); });
    EXPECT_EQ(reply, GenericReply{});
  }

  template <class Entity>
  void update(const typename Entity::Record& record) {
    const bool is_updated = model_.update<Entity>(record);
    GenericReply reply;
    ask(!is_updated, [&] { (project().*Entity::update)(record, reply); });
  }

  template <class Kind>
  void add() {
    std::vector<typename Kind::Record> batch;
    for (std::int32_t i = number(4); i > 0; --i) batch.push_back(some_content<Kind>());
    const bool is_added = model_.add<Kind>(batch);
    ask(!is_added, [&] { add_content<Kind>(project(), std::move(batch)); });
  }

  void clear_a_revision() {
    if (!chance(30)) return;
    const auto ref = some_ref<RevisionRef>();
    GenericReply reply;
    if (ref.id) model_.clear_revision(ref.id.value());
    ask(!ref.id, [&] { project().clear_for_revision(ref, reply); });
  }

  void update_project() {
    UpdateProject request;
    request.item.properties = some_properties();
    GenericReply reply;
    project().update_project(request, reply);
    model_.project = request.item;
  }

  void clear() {
    if (!chance(5)) return;
    ClearProjectRequest request;
    request.reset_schema = chance(50);
    GenericReply reply;
    project().clear(request, reply);
    if (request.reset_schema) model_ = ProjectModel{};
  }

  void compare_revisions_of(std::int32_t sheet_id) {
    SheetRef ref;
    ref.id = sheet_id;
    Revisions revisions;
    project().get_all_revisions_for_sheetid(ref, revisions);
    const auto& known = model_.entities<RevisionEntity>();
    std::vector<Revision> expected;
    for (const std::int32_t id : known.children_of(sheet_id)) expected.push_back(known.rows.at(id));
    EXPECT_EQ(revisions.revisions, expected);
  }

  static std::string id_text(const std::optional<std::int32_t>& id) {
    return id ? std::to_string(*id) : "NULL";
  }
  static std::string id_text(const Variant& cell) {
    return cell.value_int32.hasvalue() ? std::to_string(*cell.value_int32) : "NULL";
  }

  /// Only columns hold the treatments and the references to them.
  void compare_end_treatments() {
    std::vector<std::string> expected;
    for (const auto& row : model_.content<RebarKind>()) {
      expected.push_back(id_text(row.start) + " " + id_text(row.end));
    }
    std::vector<std::string> stored;
    const table::TABLE references =
        query("select end_treatment_start, end_treatment_end from rebar order by id");
    for (const auto& row : references.rows) {
      stored.push_back(id_text(row[0]) + " " + id_text(row[1]));
    }
    EXPECT_EQ(stored, expected);

    const table::TABLE treatments =
        query("select id, type, comment, diameter from end_treatment order by id");
    ASSERT_EQ(treatments.rows.size(), model_.end_treatments.size());
    auto row = treatments.rows.begin();
    for (const auto& [id, treatment] : model_.end_treatments) {
      EXPECT_EQ(*(*row)[0].value_int32, id);
      EXPECT_EQ(*(*row)[1].value_string, treatment.type);
      EXPECT_EQ(*(*row)[2].value_string, treatment.comment);
      EXPECT_EQ(*(*row)[3].value_double, treatment.diameter);
      ++row;
    }
  }

  const Choose number;
  TemporaryFolder folder_;
  const std::string file_ = folder_.file("project.db");
  std::shared_ptr<Project_Service_Impl> project_;
  ProjectModel model_;
};

ProjectAgainstModel::ProjectAgainstModel(Choose choose)
    : impl_(std::make_unique<Impl>(std::move(choose))) {}

ProjectAgainstModel::~ProjectAgainstModel() = default;

void ProjectAgainstModel::step() { impl_->step(); }

void ProjectAgainstModel::compare() { impl_->compare(); }

const std::string& ProjectAgainstModel::file() const { return impl_->file(); }

}  // namespace korvane::test
