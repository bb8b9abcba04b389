#include "tests/scenarios/project_model/project_against_model.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
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

  void step() {
    using P = Project_Service;
    const auto yes = [](auto action) {
      return [action](std::int32_t id) {
        action(id);
        return true;
      };
    };
    switch (number(26)) {
      case 0:
        return create(some_material(), model_.materials, false, &P::create_material);
      case 1: {
        FabricType type = some_fabric_type();
        const std::int32_t before = model_.fabric_types.last_id;
        const bool is_refused = !model_.may_save(type, -1);
        create(type, model_.fabric_types, is_refused, &P::create_fabric_type);
        if (model_.fabric_types.last_id != before) {
          model_.material_of_type[model_.fabric_types.last_id] = type.material.id;
        }
        return;
      }
      case 2:
        return create(some_sheet(), model_.sheets, false, &P::create_sheet);
      case 3:
      case 4: {
        const Revision revision = some_revision();
        const std::int32_t before = model_.revisions.last_id;
        create(revision, model_.revisions, !model_.sheets.has(revision.sheet_id),
               &P::create_revision);
        if (model_.revisions.last_id != before) {
          model_.sheet_of_revision[model_.revisions.last_id] = revision.sheet_id;
        }
        return;
      }
      case 5:
        return update(some_material(), model_.materials, &P::update_material);
      case 6: {
        const FabricType type = some_fabric_type();
        const bool is_updated = model_.update_fabric_type(type);
        if (is_updated && model_.fabric_types.has(type.id)) {
          model_.material_of_type[type.id] = type.material.id;
        }
        GenericReply reply;
        ask(!is_updated, [&] { project().update_fabric_type(type, reply); });
        return;
      }
      case 7:
        return update(some_sheet(), model_.sheets, &P::update_sheet);
      case 8:
        return update(some_revision(), model_.revisions, &P::update_revision);
      case 9:
        return get(model_.materials, &P::get_material, &P::try_get_material);
      case 10:
        return get(model_.fabric_types, &P::get_fabric_type, &P::try_get_fabric_type);
      case 11:
        return get(model_.sheets, &P::get_sheet, &P::try_get_sheet);
      case 12:
        return get(model_.revisions, &P::get_revision, &P::try_get_revision);
      case 13:
        return remove<MaterialRef>(model_.materials, &P::delete_material,
                                   [&](std::int32_t id) { return model_.delete_material(id); });
      case 14:
        return remove<FabricTypeRef>(
            model_.fabric_types, &P::delete_fabric_type,
            [&](std::int32_t id) { return model_.delete_fabric_type(id); });
      case 15:
        if (!chance(20)) return;
        return remove<SheetRef>(model_.sheets, &P::delete_sheet,
                                yes([&](std::int32_t id) { model_.delete_sheet(id); }));
      case 16:
        if (!chance(30)) return;
        return remove<RevisionRef>(model_.revisions, &P::delete_revision,
                                   yes([&](std::int32_t id) { model_.delete_revision(id); }));
      case 17:
      case 18: {
        Batch<Rebar> batch = batch_of<Rebar>([&] { return some_rebar(); });
        const bool is_added = model_.add_rebars(batch.items);
        return add(std::move(batch), is_added, &P::add_rebar);
      }
      case 19: {
        Batch<Fabric> batch = batch_of<Fabric>([&] { return some_fabric(); });
        const bool is_added = model_.add_fabrics(batch.items);
        return add(std::move(batch), is_added, &P::add_fabric);
      }
      case 20: {
        Batch<BarSpacer> batch = batch_of<BarSpacer>([&] { return some_bar_spacer(); });
        model_.bar_spacers.insert(model_.bar_spacers.end(), batch.items.begin(), batch.items.end());
        return add(std::move(batch), true, &P::add_barspacer);
      }
      case 21: {
        Batch<MountingPart> batch = batch_of<MountingPart>([&] { return some_mounting_part(); });
        const bool is_added = model_.add_mounting_parts(batch.items);
        return add(std::move(batch), is_added, &P::add_mountingpart);
      }
      case 22: {
        if (!chance(30)) return;
        RevisionRef ref = some_ref<RevisionRef>();
        GenericReply reply;
        if (ref.id) model_.clear_revision(ref.id.value());
        ask(!ref.id, [&] { project().clear_for_revision(ref, reply); });
        return;
      }
      case 23: {
        UpdateProject request;
        request.item.properties = some_properties();
        GenericReply reply;
        project().update_project(request, reply);
        model_.project = request.item;
        return;
      }
      case 24: {
        if (!chance(5)) return;
        ClearProjectRequest request;
        request.reset_schema = chance(50);
        GenericReply reply;
        project().clear(request, reply);
        if (request.reset_schema) model_ = ProjectModel{};
        return;
      }
      default:
        if (chance(10)) reopen();
        compare();
    }
  }

  // --- The whole of the project, looked at through every read.

  void compare() {
    using testing::ElementsAreArray;
    Batch<Material> materials;
    project().list_materials({}, materials);
    EXPECT_THAT(materials.items, ElementsAreArray(model_.materials.all()));
    Batch<FabricType> types;
    project().list_fabric_type({}, types);
    EXPECT_THAT(types.items, ElementsAreArray(model_.fabric_types.all()));
    Batch<Sheet> sheets;
    project().list_sheets({}, sheets);
    EXPECT_THAT(sheets.items, ElementsAreArray(model_.sheets.all()));
    Batch<Revision> revisions;
    project().list_revisions({}, revisions);
    EXPECT_THAT(revisions.items, ElementsAreArray(model_.revisions.all()));
    ProjectData data;
    project().get_project({}, data);
    EXPECT_EQ(data, model_.project.value_or(ProjectData{}));
    for (std::int32_t rev_id = 0; rev_id <= model_.revisions.last_id; ++rev_id) {
      compare_content(rev_id);
    }
    for (const auto& [sheet_id, sheet] : model_.sheets.rows) compare_revisions_of(sheet_id);
    compare_end_treatments();
  }

 private:
  void reopen() {
    project_.reset();
    project_ = std::make_shared<Project_Service_Impl>(0, folder_.file("project.db"));
    // Durability is not looked at here, and costs most of the time.
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

  // --- Random values, from pools so small that they meet.

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

  Rebar some_rebar() {
    Rebar bar;
    bar.id = number(100);
    bar.rev_id = valid_or_some(model_.revisions.rows);
    if (chance(97)) bar.material_id.set(valid_or_some(model_.materials.rows));
    bar.mark = some_text();
    bar.comment = some_text();
    bar.total_bars = number(100);
    bar.parameters_exact.a.set(number(1000));
    bar.properties = some_properties();
    if (chance(40)) bar.end_treatment_start.set(some_treatment());
    if (chance(40)) bar.end_treatment_end.set(some_treatment());
    return bar;
  }

  Fabric some_fabric() {
    Fabric fabric;
    fabric.rev_id = valid_or_some(model_.revisions.rows);
    fabric.fabric_type.id = valid_or_some(model_.fabric_types.rows);
    fabric.mark = some_text();
    fabric.fabrics_per_member = number(5);
    return fabric;
  }

  BarSpacer some_bar_spacer() {
    BarSpacer spacer;
    spacer.rev_id = some_id();
    spacer.mark = some_text();
    spacer.quantity = number(50);
    return spacer;
  }

  MountingPart some_mounting_part() {
    MountingPart part;
    part.rev_id = valid_or_some(model_.revisions.rows);
    part.material_id = valid_or_some(model_.materials.rows);
    part.mark = some_text();
    if (chance(50)) part.cost.set(number(100));
    return part;
  }

  template <class Rows>
  std::int32_t valid_or_some(const Rows& rows) {
    if (rows.empty() || chance(8)) return some_id();
    auto row = rows.begin();
    std::advance(row, number(static_cast<std::int32_t>(rows.size())));
    return row->first;
  }

  template <class T, class Make>
  Batch<T> batch_of(Make make) {
    Batch<T> batch;
    for (std::int32_t i = number(4); i > 0; --i) batch.items.push_back(make());
    return batch;
  }

  // --- Steps. Each says what it did, asks the store, and looks at the model.

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

  template <class T, class Ref>
  void create(T record, ProjectModel::Entities<T>& entities, bool is_refused,
              void (Project_Service::*operation)(T, Ref&)) {
    Ref ref;
    const bool is_taken = !record.uid.empty() && entities.has_uid(record.uid);
    if (!ask(is_refused || is_taken, [&] { (project().*operation)(record, ref); })) return;
    if (record.uid.empty()) {
      EXPECT_EQ(ref.uid.value().size(), 36U);
      record.uid = ref.uid.value();
    }
    EXPECT_EQ(ref.uid.value(), record.uid);
    EXPECT_EQ(ref.id.value(), entities.add(record));
  }

  template <class T, class Ref>
  void get(const ProjectModel::Entities<T>& entities, void (Project_Service::*operation)(Ref, T&),
           void (Project_Service::*try_operation)(Ref, OptionalValue<T>&)) {
    const Ref ref = some_ref<Ref>();
    const T* const expected = entities.find(ref);
    T record;
    if (ask(expected == nullptr, [&] { (project().*operation)(ref, record); })) {
      EXPECT_EQ(record, *expected);
    }
    OptionalValue<T> optional;
    (project().*try_operation)(ref, optional);
    ASSERT_EQ(optional.value.is_nothing(), expected == nullptr);
    if (expected == nullptr) return;
    EXPECT_EQ(optional.value.value(), *expected);
  }

  template <class Ref, class Entities>
  void remove(const Entities& entities, void (Project_Service::*operation)(Ref, GenericReply&),
              std::function<bool(std::int32_t)> remove_from_model) {
    const Ref ref = some_ref<Ref>();
    bool is_refused = !ref.id && !ref.uid;
    if (const auto id = entities.row_to_delete(ref)) is_refused = !remove_from_model(*id);
    GenericReply reply;
    ask(is_refused, [&] { (project().*operation)(ref, reply); });
    EXPECT_EQ(reply, GenericReply{});
  }

  template <class T>
  void update(T record, ProjectModel::Entities<T>& entities,
              void (Project_Service::*operation)(T, GenericReply&)) {
    GenericReply reply;
    (project().*operation)(record, reply);
    entities.replace(record);
  }

  template <class T>
  void add(Batch<T> batch, bool is_added,
           void (Project_Service::*operation)(Batch<T>, GenericReply&)) {
    GenericReply reply;
    ask(!is_added, [&] { (project().*operation)(std::move(batch), reply); });
  }

  void compare_content(std::int32_t rev_id) {
    using testing::ElementsAreArray;
    RevisionRef ref;
    ref.id = rev_id;
    Batch<Rebar> bars;
    project().get_rebars(ref, bars);
    EXPECT_THAT(bars.items, ElementsAreArray(model_.rebars_of(rev_id)));
    Rebars same_bars;
    project().get_all_rebars_for_revision(ref, same_bars);
    EXPECT_EQ(same_bars.rebars, bars.items);
    FabricRef fabric_ref;
    fabric_ref.rev_id = rev_id;
    Fabrics fabrics;
    project().get_all_fabrics_for_revision(fabric_ref, fabrics);
    EXPECT_EQ(fabrics.fabrics, ProjectModel::of_revision(model_.fabrics, rev_id));
    BarSpacers spacers;
    project().get_all_barspacers_for_revision(ref, spacers);
    EXPECT_EQ(spacers.barspacers, ProjectModel::of_revision(model_.bar_spacers, rev_id));
    MountingPartRef part_ref;
    part_ref.rev_id = rev_id;
    MountingParts parts;
    project().get_all_mountingparts_for_revision(part_ref, parts);
    EXPECT_EQ(parts.mountingParts, ProjectModel::of_revision(model_.mounting_parts, rev_id));
  }

  void compare_revisions_of(std::int32_t sheet_id) {
    SheetRef ref;
    ref.id = sheet_id;
    Revisions revisions;
    project().get_all_revisions_for_sheetid(ref, revisions);
    std::vector<Revision> expected;
    for (const auto& [id, sheet] : model_.sheet_of_revision) {
      if (sheet == sheet_id) expected.push_back(model_.revisions.rows.at(id));
    }
    EXPECT_EQ(revisions.revisions, expected);
  }

  static std::string id_text(const std::optional<std::int32_t>& id) {
    return id ? std::to_string(*id) : "NULL";
  }
  static std::string id_text(const Variant& cell) {
    return cell.value_int32.hasvalue() ? std::to_string(*cell.value_int32) : "NULL";
  }

  /// The treatments and who refers to them stand in columns alone.
  void compare_end_treatments() {
    std::vector<std::string> expected;
    for (const auto& row : model_.rebars) {
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
  std::shared_ptr<Project_Service_Impl> project_;
  ProjectModel model_;
};

ProjectAgainstModel::ProjectAgainstModel(Choose choose)
    : impl_(std::make_unique<Impl>(std::move(choose))) {}

ProjectAgainstModel::~ProjectAgainstModel() = default;

void ProjectAgainstModel::step() { impl_->step(); }

void ProjectAgainstModel::compare() { impl_->compare(); }

}  // namespace korvane::test
