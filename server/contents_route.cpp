#include "server/contents_route.h"

#include <cstdint>
#include <map>
#include <string>

#include "contracts/encoding/json.h"
#include "schedule/catalogue_uses.h"
#include "schedule/line_kind.h"
#include "schedule/totals.h"
#include "server/json_object.h"
#include "server/mounted_project.h"
#include "server/schemas.h"

namespace korvane::server {

using host::MountedCall;
using host::MountedReply;
using host::MountedRoute;
using krv::rpc4::Effect;
using model::cad::Project_Service;
using namespace model::cad;

namespace {

template <class Key>
std::int64_t lines_of(const std::map<Key, schedule::Sum>& groups) {
  return sum_of(groups).lines;
}

std::string revision_json(const schedule::RevisionEntry& revision, const schedule::Totals& totals) {
  const schedule::Sum sum = sum_of(totals);
  JsonObject object;
  return object.number("id", revision.record.id)
      .text("name", revision.record.name)
      .json("record", encoding::to_shown_json(revision.record))
      .number(schedule::LineKind<Rebar>::kName, lines_of(totals.bars))
      .number(schedule::LineKind<Fabric>::kName, lines_of(totals.fabrics))
      .number(schedule::LineKind<BarSpacer>::kName, lines_of(totals.bar_spacers))
      .number(schedule::LineKind<MountingPart>::kName, lines_of(totals.mounting_parts))
      .number("marks", sum.lines)
      .number("pieces", sum.pieces)
      .cell("kilograms", sum.mass)
      .number("without_weight", sum.lines_without_mass)
      .take();
}

std::string sheets_json(const schedule::Structure& structure,
                        const std::map<std::int32_t, schedule::Totals>& totals) {
  JsonArray sheets;
  for (const schedule::SheetEntry& sheet : structure.sheets) {
    JsonArray revisions;
    for (const schedule::RevisionEntry& revision : sheet.revisions) {
      const auto found = totals.find(revision.record.id);
      revisions.add(
          revision_json(revision, found == totals.end() ? schedule::Totals() : found->second));
    }
    JsonObject object;
    sheets.add(object.number("id", sheet.record.id)
                   .text("name", sheet.record.name)
                   .json("record", encoding::to_shown_json(sheet.record))
                   .json("revisions", revisions.take())
                   .take());
  }
  return sheets.take();
}

/// `name_of` gives that of an entry.
template <class T, class Name>
std::string catalogue_json(const std::map<std::int32_t, T>& entries,
                           const schedule::CatalogueUses& uses, Name name_of) {
  JsonArray array;
  for (const auto& [id, entry] : entries) {
    JsonArray used;
    const auto found = uses.find(id);
    if (found != uses.end()) {
      for (const auto& [revision_id, lines] : found->second) {
        used.add(JsonObject().number("revision_id", revision_id).number("lines", lines).take());
      }
    }
    JsonObject object;
    array.add(object.number("id", id)
                  .text("name", name_of(entry))
                  .json("record", encoding::to_shown_json(entry))
                  .json("uses", used.take())
                  .take());
  }
  return array.take();
}

MountedReply contents(const MountedCall& call) {
  Project_Service& project = project_of(call);
  const schedule::Structure structure = schedule::read_structure(project);
  const auto totals = totals_by_revision(project, structure);
  JsonObject reply;
  reply.json("project", encoding::to_shown_json(structure.project))
      .json("sheets", sheets_json(structure, totals))
      .json("materials",
            catalogue_json(structure.materials, schedule::material_uses(project, structure),
                           [](const Material& material) { return material.identity.name; }))
      .json("fabric_types",
            catalogue_json(structure.fabric_types, schedule::fabric_type_uses(project, structure),
                           [](const FabricType& type) { return type.type_name; }));
  return {kJsonType, reply.take() + "\n"};
}

}  // namespace

MountedRoute contents_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("contents", Effect::reads);
  route.summary = "Sheets, revisions and catalogues";
  route.text =
      "Gives what a project has besides schedule lines: its record, sheets and revisions with "
      "counts and kilograms, and the catalogues with the revisions that use each entry.";
  route.reply_types = {kJsonType};
  route.reply_schemas = contents_schemas();
  route.run = contents;
  return route;
}

}  // namespace korvane::server
