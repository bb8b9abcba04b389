#include "tests/scenarios/torture/project_calls.h"

#include <functional>
#include <stdexcept>
#include <utility>

#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/record_codec.h"
#include "tests/support/filled_record.h"
#include "tests/support/random_record.h"
#include "tests/support/records.h"

namespace korvane::test {

using namespace model::cad;
namespace table = model::table;

namespace {

const krv::rpc4::Operation& operation_of(const Call& call) {
  const auto* const found = Project_Service::definition().find(call.operation);
  if (found == nullptr) throw std::logic_error("no operation " + call.operation);
  return *found;
}

template <class Request>
Call call(std::string operation, const Request& request, std::string variant = "") {
  return {std::move(operation), std::move(variant), encoding::encode(request)};
}

// Each table's rows as `fill` numbers them.
constexpr std::int32_t kUsed = 1;
constexpr std::int32_t kUnused = 2;
constexpr std::int32_t kRevision = 1;
constexpr std::int32_t kOtherRevision = 2;
constexpr std::int32_t kSheet = 1;

template <class T>
T entity(std::int32_t id, const std::string& uid) {
  T record = Filler().make<T>();
  record.id = id;
  record.uid = uid;
  return record;
}

Material material(const std::string& uid, std::int32_t id = -1) {
  return entity<Material>(id, uid);
}

FabricType fabric_type(const std::string& uid, std::int32_t id = -1) {
  FabricType type = entity<FabricType>(id, uid);
  type.type_name = "type " + uid;
  type.material.id = kUsed;
  return type;
}

Sheet sheet(const std::string& uid, std::int32_t id = -1) { return entity<Sheet>(id, uid); }

Revision revision(const std::string& uid, std::int32_t sheet_id, std::int32_t id = -1) {
  Revision record = entity<Revision>(id, uid);
  record.sheet_id = sheet_id;
  return record;
}

Rebar bar(std::int32_t rev_id, const std::string& treatments) {
  Rebar record = full_rebar(rev_id, kUsed);
  record.end_treatment_start.set(treatment(treatments));
  return record;
}

Fabric fabric(std::int32_t rev_id) {
  Fabric record = Filler().make<Fabric>();
  record.rev_id = rev_id;
  record.fabric_type.id = kUsed;
  return record;
}

BarSpacer bar_spacer(std::int32_t rev_id) {
  BarSpacer record = Filler().make<BarSpacer>();
  record.rev_id = rev_id;
  return record;
}

MountingPart mounting_part(std::int32_t rev_id) {
  MountingPart record = Filler().make<MountingPart>();
  record.rev_id = rev_id;
  record.material_id = kUsed;
  return record;
}

/// More than a few pages, so that a batch takes more than the last page of its table.
Batch<Rebar> many_bars(std::int32_t rev_id) {
  Batch<Rebar> batch;
  for (int i = 0; i < 20; ++i) batch.items.push_back(bar(rev_id, std::to_string(i)));
  return batch;
}

template <class Ref>
Ref of_revision(std::int32_t rev_id) {
  Ref ref;
  ref.rev_id = rev_id;
  return ref;
}

UpdateProject project_record(const std::string& text) {
  UpdateProject request;
  request.item.properties["name"] = text_variant(text);
  return request;
}

ClearProjectRequest clearing(bool reset_schema) {
  ClearProjectRequest request;
  request.reset_schema = reset_schema;
  return request;
}

std::vector<Call> make_calls() {
  const auto other = by_id<RevisionRef>(kOtherRevision);
  const auto rev = by_id<RevisionRef>(kRevision);
  const Batch<Rebar> two_bars{{bar(kRevision, "new"), bar(kRevision, "start")}};
  return {
      call("clear", clearing(true)),
      call("clear", clearing(false), "WithoutReset"),
      call("create_material", material("new")),
      call("update_material", material("ignored", kUsed)),
      call("delete_material", by_id<MaterialRef>(kUnused)),
      call("get_material", by_id<MaterialRef>(kUsed)),
      call("try_get_material", by_uid<MaterialRef>("m-2")),
      call("list_materials", ListMaterials{}),
      call("create_fabric_type", fabric_type("new")),
      call("update_fabric_type", fabric_type("changed", kUsed)),
      call("delete_fabric_type", by_uid<FabricTypeRef>("f-2")),
      call("get_fabric_type", by_id<FabricTypeRef>(kUsed)),
      call("try_get_fabric_type", by_uid<FabricTypeRef>("f-2")),
      call("list_fabric_type", ListFabricType{}),
      call("create_sheet", sheet("new")),
      call("update_sheet", sheet("ignored", kSheet)),
      call("delete_sheet", by_id<SheetRef>(kSheet)),
      call("get_sheet", by_id<SheetRef>(kSheet)),
      call("try_get_sheet", by_uid<SheetRef>("s-2")),
      call("list_sheets", ListSheets{}),
      call("create_revision", revision("new", kSheet)),
      call("update_revision", revision("ignored", kSheet, kRevision)),
      call("delete_revision", by_uid<RevisionRef>("r-1")),
      call("get_revision", by_uid<RevisionRef>("r-1")),
      call("try_get_revision", by_id<RevisionRef>(kRevision)),
      call("list_revisions", ListRevisions{}),
      call("get_project", GetProject{}),
      call("update_project", project_record("changed")),
      call("get_all_rebars_for_revision", rev),
      call("get_all_barspacers_for_revision", rev),
      call("clear_for_revision", rev),
      call("get_all_revisions_for_sheetid", by_id<SheetRef>(kSheet)),
      call("get_all_fabrics_for_revision", of_revision<FabricRef>(kRevision)),
      call("add_fabric", Batch<Fabric>{{fabric(kRevision), fabric(kOtherRevision)}}),
      call("add_rebar", two_bars),
      call("add_rebar", many_bars(kOtherRevision), "ManyBars"),
      call("get_rebars", other),
      call("add_barspacer", Batch<BarSpacer>{{bar_spacer(kRevision), bar_spacer(kRevision)}}),
      call("add_mountingpart", Batch<MountingPart>{{mounting_part(kRevision)}}),
      call("get_all_mountingparts_for_revision", of_revision<MountingPartRef>(kRevision)),
      call("addget_rebar", two_bars),
      sql("select * from rebar"),
      [] {
        Call deletion = sql("delete from rebar where rev_id = 1");
        deletion.variant = "Deleting";
        return deletion;
      }(),
      call("query_value", table::GET_TABLE{}),
  };
}

}  // namespace

std::string Call::name() const { return variant.empty() ? operation : operation + "_" + variant; }

bool Call::writes() const {
  const auto effect = operation_of(*this).effect;
  return effect == krv::rpc4::Effect::writes ||
         (effect == krv::rpc4::Effect::queries && !variant.empty());
}

std::string Call::run(Project_Service_Impl& project) const {
  auto* const service = static_cast<Project_Service*>(&project);
  const bond::blob reply = operation_of(*this).call(service, request, {});
  return {reply.content(), reply.size()};
}

void fill(Project_Service_Impl& project) {
  const std::vector<Call> calls = {
      call("update_project", project_record("filled")),
      call("create_material", material("m-1")),
      call("create_material", material("m-2")),
      call("create_fabric_type", fabric_type("f-1")),
      call("create_fabric_type", fabric_type("f-2")),
      call("create_sheet", sheet("s-1")),
      call("create_sheet", sheet("s-2")),
      call("create_revision", revision("r-1", kSheet)),
      call("create_revision", revision("r-2", kSheet)),
      call("create_revision", revision("r-3", kUnused)),
      call("add_rebar", many_bars(kRevision)),
      call("add_rebar", Batch<Rebar>{{bar(kOtherRevision, "start"), bar(kOtherRevision, "1")}}),
      call("add_fabric", Batch<Fabric>{{fabric(kRevision), fabric(kOtherRevision)}}),
      call("add_barspacer", Batch<BarSpacer>{{bar_spacer(kRevision), bar_spacer(kOtherRevision)}}),
      call("add_mountingpart",
           Batch<MountingPart>{{mounting_part(kRevision), mounting_part(kOtherRevision)}}),
  };
  for (const Call& each : calls) each.run(project);
}

const std::vector<Call>& all_calls() {
  static const std::vector<Call> calls = make_calls();
  return calls;
}

std::vector<Call> calls_that_write(bool write) {
  std::vector<Call> calls;
  for (const Call& each : all_calls()) {
    if (each.writes() == write) calls.push_back(each);
  }
  return calls;
}

std::vector<Call> large_writes() {
  std::vector<Call> calls;
  for (const Call& each : all_calls()) {
    for (const char* name : {"clear", "delete_sheet", "clear_for_revision", "add_rebar_ManyBars",
                             "query_table_Deleting"}) {
      if (each.name() == name) calls.push_back(each);
    }
  }
  return calls;
}

Call refused_write() {
  Batch<Rebar> batch = many_bars(kRevision);
  batch.items.push_back(minimal_bar(kRevision, 99));
  return call("add_rebar", batch, "OfNoMaterial");
}

Call probe() { return call("create_sheet", sheet("probe")); }

Call sql(const std::string& text) {
  return call("query_table", table::GET_TABLE{"sql:raw", {{"query", text_variant(text)}}});
}

// --- Random calls.

namespace {

template <class T>
concept OfARevision = requires(T& record) {
  record.rev_id;
};
template <class T>
concept OfASheet = requires(T& record) {
  record.sheet_id;
};
template <class T>
concept OfAMaterial = requires(T& record) {
  record.material_id;
};

}  // namespace

template <class T>
T RandomCalls::record() {
  T made = RandomFiller(static_cast<std::uint32_t>(random_())).make<T>();
  if constexpr (requires { made.uid; }) {
    made.id = some_id();
    made.uid = some_uid();
  }
  if constexpr (OfARevision<T>) made.rev_id = some_id();
  if constexpr (OfASheet<T>) made.sheet_id = some_id();
  if constexpr (std::is_same_v<T, Rebar>) made.material_id.set(below(2) + 1);
  if constexpr (std::is_same_v<T, MountingPart>) made.material_id = below(2) + 1;
  if constexpr (std::is_same_v<T, FabricType>) made.material.id = below(2) + 1;
  if constexpr (std::is_same_v<T, Fabric>) made.fabric_type.id = below(2) + 1;
  return made;
}

template <class T>
Call RandomCalls::of_entity(const std::string& operation) {
  return call(operation, record<T>());
}

template <class Ref>
Call RandomCalls::of_ref(const std::string& operation) {
  return call(operation, by_id<Ref>(some_id()));
}

template <class T>
Call RandomCalls::of_batch(const std::string& operation) {
  Batch<T> batch;
  const bool is_large = below(8) == 0;
  for (std::int32_t count = below(is_large ? 60 : 5); count > 0; --count) {
    batch.items.push_back(record<T>());
  }
  // Most batches go where they are accepted.
  if (below(4) != 0) {
    const std::int32_t rev_id = some_id();
    for (T& item : batch.items) item.rev_id = rev_id;
  }
  return call(operation, batch);
}

Call RandomCalls::next() {
  switch (below(24)) {
    case 0:
      return of_entity<Material>("create_material");
    case 1:
      return of_entity<Material>("update_material");
    case 2:
      return of_ref<MaterialRef>("delete_material");
    case 3:
      return of_entity<FabricType>("create_fabric_type");
    case 4:
      return of_entity<FabricType>("update_fabric_type");
    case 5:
      return of_ref<FabricTypeRef>("delete_fabric_type");
    case 6:
      return of_entity<Sheet>("create_sheet");
    case 7:
      return of_entity<Sheet>("update_sheet");
    case 8:
      return below(4) == 0 ? of_ref<SheetRef>("delete_sheet") : of_entity<Sheet>("create_sheet");
    case 9:
    case 10:
      return of_entity<Revision>("create_revision");
    case 11:
      return of_entity<Revision>("update_revision");
    case 12:
      return of_ref<RevisionRef>("delete_revision");
    case 13:
      return of_ref<RevisionRef>("clear_for_revision");
    case 14:
      return call("update_project", record<UpdateProject>());
    case 15:
      return below(6) == 0 ? call("clear", clearing(below(2) == 0))
                           : of_batch<Fabric>("add_fabric");
    case 16:
      return of_batch<Fabric>("add_fabric");
    case 17:
    case 18:
      return of_batch<BarSpacer>("add_barspacer");
    case 19:
      return of_batch<MountingPart>("add_mountingpart");
    default:
      return of_batch<Rebar>("add_rebar");
  }
}

}  // namespace korvane::test
