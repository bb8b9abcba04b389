#include "tests/scenarios/crash_loop/scripted_stream.h"

#include <algorithm>
#include <array>
#include <exception>
#include <random>
#include <string>
#include <utility>

namespace korvane::test {

using namespace model::cad;

namespace {

/// Makes one operation. Ids come from a pool so small that most are there.
class ScriptedOperation {
 public:
  ScriptedOperation(Project_Service& project, std::uint32_t seed, std::uint32_t index)
      : project_(project), index_(index), uid_("uid " + std::to_string(index)) {
    std::seed_seq sequence{seed, index};
    random_.seed(sequence);
  }

  void apply() {
    // The first make what the others refer to.
    constexpr std::array kFirst = {0, 4, 8, 12};
    switch (index_ < kFirst.size() ? kFirst[index_] : number(24)) {
      case 0:
      case 1:
        return create<Material, MaterialRef>(&Project_Service::create_material);
      case 2:
        return update<Material>(&Project_Service::update_material);
      case 3:
        return remove<MaterialRef>(&Project_Service::delete_material);
      case 4:
      case 5:
        return create<FabricType, FabricTypeRef>(&Project_Service::create_fabric_type);
      case 6:
        return update<FabricType>(&Project_Service::update_fabric_type);
      case 7:
        return remove<FabricTypeRef>(&Project_Service::delete_fabric_type);
      case 8:
      case 9:
        return create<Sheet, SheetRef>(&Project_Service::create_sheet);
      case 10:
        return update<Sheet>(&Project_Service::update_sheet);
      case 11:
        return remove<SheetRef>(&Project_Service::delete_sheet);
      case 12:
      case 13:
        return create<Revision, RevisionRef>(&Project_Service::create_revision);
      case 14:
        return update<Revision>(&Project_Service::update_revision);
      case 15:
        return remove<RevisionRef>(&Project_Service::delete_revision);
      case 16:
        return update_project();
      case 17:
        return clear_revision();
      case 18:
        return number(10) == 0 ? clear() : add<Rebar>(&Project_Service::add_rebar);
      case 19:
        return add<Fabric>(&Project_Service::add_fabric);
      case 20:
        return add<BarSpacer>(&Project_Service::add_barspacer);
      case 21:
        return add<MountingPart>(&Project_Service::add_mountingpart);
      default:
        return add<Rebar>(&Project_Service::add_rebar);
    }
  }

 private:
  std::int32_t number(std::int32_t below) {
    // Not a distribution of the library's: its numbers are its own affair.
    return static_cast<std::int32_t>(random_() % static_cast<std::uint32_t>(below));
  }
  /// Mostly one that is there: there are more with time.
  std::int32_t some_id() {
    return 1 + number(static_cast<std::int32_t>(std::min<std::uint32_t>(12, 1 + index_ / 8)));
  }
  std::string some_text() { return std::string(static_cast<std::size_t>(number(200)), 'x'); }

  void fill(Material& material) { material.identity.name = some_text(); }
  void fill(FabricType& type) {
    type.type_name = uid_;
    type.material.id = some_id();
  }
  void fill(Sheet& sheet) { sheet.name = some_text(); }
  void fill(Revision& revision) {
    revision.sheet_id = some_id();
    revision.name = some_text();
  }
  void fill(Rebar& bar) {
    bar.material_id.set(some_id());
    bar.mark = uid_;
    if (number(2) == 0) bar.end_treatment_start.set().type = std::to_string(number(20));
    if (number(2) == 0) bar.end_treatment_end.set().type = std::to_string(number(20));
  }
  void fill(Fabric& fabric) {
    fabric.fabric_type.id = some_id();
    fabric.mark = uid_;
  }
  void fill(BarSpacer& spacer) { spacer.mark = uid_; }
  void fill(MountingPart& part) {
    part.material_id = some_id();
    part.mark = uid_;
  }

  template <class T, class Ref>
  void create(void (Project_Service::*operation)(T, Ref&)) {
    T record;
    record.uid = uid_;
    fill(record);
    Ref reply;
    (project_.*operation)(std::move(record), reply);
  }

  template <class T>
  void update(void (Project_Service::*operation)(T, GenericReply&)) {
    T record;
    record.id = some_id();
    record.uid = uid_;
    fill(record);
    GenericReply reply;
    (project_.*operation)(std::move(record), reply);
  }

  template <class Ref>
  void remove(void (Project_Service::*operation)(Ref, GenericReply&)) {
    Ref ref;
    ref.id = some_id();
    GenericReply reply;
    (project_.*operation)(std::move(ref), reply);
  }

  /// All items are of one revision, and of one material or type: a batch is mostly taken.
  template <class T>
  void add(void (Project_Service::*operation)(Batch<T>, GenericReply&)) {
    T item;
    fill(item);
    item.rev_id = some_id();
    Batch<T> batch;
    batch.items.assign(1 + static_cast<std::size_t>(number(200)), item);
    GenericReply reply;
    (project_.*operation)(std::move(batch), reply);
  }

  void update_project() {
    UpdateProject request;
    request.item.properties["name"].value_string.set(some_text());
    GenericReply reply;
    project_.update_project(std::move(request), reply);
  }

  void clear_revision() {
    RevisionRef ref;
    ref.id = some_id();
    GenericReply reply;
    project_.clear_for_revision(std::move(ref), reply);
  }

  void clear() {
    GenericReply reply;
    project_.clear({}, reply);
  }

  Project_Service& project_;
  std::uint32_t index_;
  std::string uid_;
  std::mt19937 random_;
};

}  // namespace

void apply_scripted_operation(Project_Service& project, std::uint32_t seed, std::uint32_t index) {
  try {
    ScriptedOperation(project, seed, index).apply();
  } catch (const std::exception&) {
    return;  // refused, and nothing has changed
  }
}

}  // namespace korvane::test
