#include "tests/scenarios/torture/project_calls.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/record_codec.h"
#include "tests/support/content_kinds.h"
#include "tests/support/entity_kinds.h"
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

/// A record that refers to the row 1 of its parent and is named after its uid.
template <class Entity>
typename Entity::Record entity(const std::string& uid, std::int32_t id = -1) {
  return with_identity(entity_record<Entity>(uid), id, uid);
}

template <class Entity>
Call creation(const std::string& uid) {
  return call(std::string("create_") + Entity::table, entity<Entity>(uid));
}
template <class Entity>
Call update(const std::string& uid) {
  return call(std::string("update_") + Entity::table, entity<Entity>(uid, kUsed));
}

template <class Kind>
typename Kind::Record content(std::int32_t rev_id) {
  return filled_content<Kind>({rev_id, kUsed, kUsed});
}

template <class Kind>
Call addition(std::vector<typename Kind::Record> records, std::string variant = "") {
  return call(std::string("add_") + Kind::table, Batch<typename Kind::Record>{std::move(records)},
              std::move(variant));
}

template <class Read>
Call reading(std::int32_t rev_id) {
  return call(Read::name, Read::request(rev_id));
}

/// All these bars share the treatment of their ends; those with the same text that of the starts.
Rebar bar(std::int32_t rev_id, const std::string& treatments) {
  Rebar record = content<RebarKind>(rev_id);
  record.end_treatment_start.set(treatment(treatments));
  record.end_treatment_end.set(treatment("end"));
  return record;
}

/// Several pages, so that a batch changes more than the last page of its table.
std::vector<Rebar> many_bars(std::int32_t rev_id) {
  std::vector<Rebar> bars;
  for (int i = 0; i < 20; ++i) bars.push_back(bar(rev_id, std::to_string(i)));
  return bars;
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
  const std::vector<Rebar> two_bars = {bar(kRevision, "new"), bar(kRevision, "start")};
  return {
      call("clear", clearing(true)),
      call("clear", clearing(false), "WithoutReset"),
      creation<MaterialEntity>("new"),
      update<MaterialEntity>("ignored"),
      call("delete_material", by_id<MaterialRef>(kUnused)),
      call("get_material", by_id<MaterialRef>(kUsed)),
      call("try_get_material", by_uid<MaterialRef>("m-2")),
      call("list_materials", ListMaterials{}),
      creation<FabricTypeEntity>("new"),
      update<FabricTypeEntity>("changed"),
      call("delete_fabric_type", by_uid<FabricTypeRef>("f-2")),
      call("get_fabric_type", by_id<FabricTypeRef>(kUsed)),
      call("try_get_fabric_type", by_uid<FabricTypeRef>("f-2")),
      call("list_fabric_type", ListFabricType{}),
      creation<SheetEntity>("new"),
      update<SheetEntity>("ignored"),
      call("delete_sheet", by_id<SheetRef>(kSheet)),
      call("get_sheet", by_id<SheetRef>(kSheet)),
      call("try_get_sheet", by_uid<SheetRef>("s-2")),
      call("list_sheets", ListSheets{}),
      creation<RevisionEntity>("new"),
      update<RevisionEntity>("ignored"),
      call("delete_revision", by_uid<RevisionRef>("r-1")),
      call("get_revision", by_uid<RevisionRef>("r-1")),
      call("try_get_revision", by_id<RevisionRef>(kRevision)),
      call("list_revisions", ListRevisions{}),
      call("get_project", GetProject{}),
      call("update_project", project_record("changed")),
      reading<GetAllRebars>(kRevision),
      reading<GetAllBarSpacers>(kRevision),
      call("clear_for_revision", by_id<RevisionRef>(kRevision)),
      call("get_all_revisions_for_sheetid", by_id<SheetRef>(kSheet)),
      reading<GetAllFabrics>(kRevision),
      addition<FabricKind>({content<FabricKind>(kRevision), content<FabricKind>(kOtherRevision)}),
      addition<RebarKind>(two_bars),
      addition<RebarKind>(many_bars(kOtherRevision), "ManyBars"),
      reading<GetRebars>(kOtherRevision),
      addition<BarSpacerKind>(
          {content<BarSpacerKind>(kRevision), content<BarSpacerKind>(kRevision)}),
      addition<MountingPartKind>({content<MountingPartKind>(kRevision)}),
      reading<GetAllMountingParts>(kRevision),
      call("addget_rebar", Batch<Rebar>{two_bars}),
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
  std::vector<Call> calls = {
      call("update_project", project_record("filled")),
      creation<MaterialEntity>("m-1"),
      creation<MaterialEntity>("m-2"),
      creation<FabricTypeEntity>("f-1"),
      creation<FabricTypeEntity>("f-2"),
      creation<SheetEntity>("s-1"),
      creation<SheetEntity>("s-2"),
      creation<RevisionEntity>("r-1"),
      creation<RevisionEntity>("r-2"),
      [] {
        auto elsewhere = entity<RevisionEntity>("r-3");
        elsewhere.sheet_id = kUnused;
        return call("create_revision", elsewhere);
      }(),
      addition<RebarKind>(many_bars(kRevision)),
      addition<RebarKind>({bar(kOtherRevision, "start"), bar(kOtherRevision, "1")}),
  };
  for_each_content_kind([&]<class Kind>() {
    if (std::is_same_v<Kind, RebarKind>) return;
    calls.push_back(addition<Kind>({content<Kind>(kRevision), content<Kind>(kOtherRevision)}));
  });
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
  std::vector<Rebar> bars = many_bars(kRevision);
  bars.push_back(minimal_content<RebarKind>({.revision = kRevision, .material = 99}));
  return addition<RebarKind>(bars, "OfNoMaterial");
}

Call probe() { return creation<SheetEntity>("probe"); }

Call sql(const std::string& text) {
  return call("query_table", table::GET_TABLE{"sql:raw", {{"query", text_variant(text)}}});
}

// --- Random calls.

template <class Entity>
Call RandomCalls::creation_or_update(const char* prefix) {
  auto record = filler().make<typename Entity::Record>();
  record.id = some_id();
  record.uid = some_uid();
  if constexpr (HasParent<Entity>) Entity::parent_id(record) = some_parent<Entity>();
  return call(std::string(prefix) + Entity::table, record);
}

template <class Entity>
Call RandomCalls::deletion() {
  return call(std::string("delete_") + Entity::table, by_id<typename Entity::Ref>(some_id()));
}

template <class Kind>
Call RandomCalls::addition() {
  std::vector<typename Kind::Record> batch;
  const bool is_large = below(8) == 0;
  // Most batches belong to one revision, and so are accepted.
  const std::int32_t rev_id = below(4) != 0 ? some_id() : 0;
  for (std::int32_t count = below(is_large ? 60 : 5); count > 0; --count) {
    const Parents parents{rev_id != 0 ? rev_id : some_id(), 1 + below(2), 1 + below(2)};
    batch.push_back(referring<Kind>(filler().make<typename Kind::Record>(), parents));
  }
  return test::addition<Kind>(std::move(batch));
}

Call RandomCalls::next() {
  switch (below(24)) {
    case 0:
      return creation_or_update<MaterialEntity>("create_");
    case 1:
      return creation_or_update<MaterialEntity>("update_");
    case 2:
      return deletion<MaterialEntity>();
    case 3:
      return creation_or_update<FabricTypeEntity>("create_");
    case 4:
      return creation_or_update<FabricTypeEntity>("update_");
    case 5:
      return deletion<FabricTypeEntity>();
    case 6:
      return creation_or_update<SheetEntity>("create_");
    case 7:
      return creation_or_update<SheetEntity>("update_");
    case 8:
      return below(4) == 0 ? deletion<SheetEntity>() : creation_or_update<SheetEntity>("create_");
    case 9:
    case 10:
      return creation_or_update<RevisionEntity>("create_");
    case 11:
      return creation_or_update<RevisionEntity>("update_");
    case 12:
      return deletion<RevisionEntity>();
    case 13:
      return call("clear_for_revision", by_id<RevisionRef>(some_id()));
    case 14:
      return call("update_project", filler().make<UpdateProject>());
    case 15:
      return below(6) == 0 ? call("clear", clearing(below(2) == 0)) : addition<FabricKind>();
    case 16:
      return addition<FabricKind>();
    case 17:
    case 18:
      return addition<BarSpacerKind>();
    case 19:
      return addition<MountingPartKind>();
    default:
      return addition<RebarKind>();
  }
}

}  // namespace korvane::test
