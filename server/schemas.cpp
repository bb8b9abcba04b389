#include "server/schemas.h"

#include <algorithm>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

namespace korvane::server {

namespace {

using Json = nlohmann::ordered_json;
using host::MountedSchema;

Json described(Json schema, const char* description) {
  schema["description"] = description;
  return schema;
}
Json text(const char* description) { return described({{"type", "string"}}, description); }
Json integer(const char* description) { return described({{"type", "integer"}}, description); }
Json number(const char* description) { return described({{"type", "number"}}, description); }
Json list(Json items, const char* description) {
  return described({{"type", "array"}, {"items", std::move(items)}}, description);
}
Json reference(const char* name) { return {{"$ref", std::string("#/components/schemas/") + name}}; }
/// A record of the contracts, which the document describes under its qualified name.
Json record(const char* description) {
  return described({{"type", "object"}, {"additionalProperties", true}}, description);
}
Json cell() { return {{"type", {"string", "number", "null"}}}; }

/// An object that has all of these members.
Json object(const char* description, Json properties) {
  Json schema = {{"type", "object"}, {"description", description}, {"required", Json::array()}};
  for (const auto& [name, property] : properties.items()) schema["required"].push_back(name);
  schema["properties"] = std::move(properties);
  return schema;
}

MountedSchema named(const char* name, const Json& schema) { return {name, schema.dump()}; }

MountedSchema column_schema() {
  return named(
      "Column",
      object("A column of a table.",
             {{"name", text("What programs know it by.")},
              {"title", text("What people read above it.")},
              {"kind", described({{"type", "string"}, {"enum", {"text", "number"}}},
                                 "What its values are.")},
              {"unit", text("\"mm\", \"kg\", \"kg/m\", or empty for a number without one.")},
              {"decimals", integer("How many digits after the point people need.")}}));
}

Json row(const char* description) { return list(cell(), description); }

Json sketch() {
  return object("A drawing of one line.",
                {{"id", integer("The id of its row.")},
                 {"svg", text("The drawing, an SVG element.")},
                 {"description", text("What it shows, for who cannot see it.")}});
}

Json shape() {
  const Json coordinate = {{"type", "number"}};
  const Json point = {{"type", "array"},
                      {"prefixItems", {coordinate, coordinate, coordinate}},
                      {"items", coordinate},
                      {"minItems", 3},
                      {"maxItems", 3}};
  return object(
      "What a line looks like in space.",
      {{"kind",
        described({{"type", "string"}, {"enum", {"unknown", "flat", "spatial", "helix", "sheet"}}},
                  "How it lies in space. A sheet is a flat fabric.")},
       {"path", list(point,
                     "Points x, y, z along the middle of the bar in mm: arcs and the bends of "
                     "a flat bar as short straight pieces, a spatial bar by its vertices, a "
                     "sheet by its outline. Empty if unknown.")},
       {"diameter", number("Of the bar in mm; 0 if unknown.")},
       {"description", text("The shape in words.")}});
}

Json revision_summary() {
  return object("A revision with what it has.",
                {{"id", integer("The id of its row.")},
                 {"name", text("Its name.")},
                 {"record", record("The record, korvane.model.cad.Revision.")},
                 {"bars", integer("Lines of bars.")},
                 {"fabrics", integer("Lines of fabrics.")},
                 {"bar_spacers", integer("Lines of bar spacers.")},
                 {"mounting_parts", integer("Lines of mounting parts.")},
                 {"marks", integer("Lines of all kinds.")},
                 {"pieces", integer("Pieces of all lines.")},
                 {"kilograms", number("Of the lines whose weight is known, in kg.")},
                 {"without_weight", integer("Lines whose weight is not known.")}});
}

}  // namespace

Schemas lines_schemas() {
  const Json rows = {{"type", "array"}, {"items", cell()}};
  return {
      named("Lines",
            object("Lines of a revision, a page of them.",
                   {{"columns", list(reference("Column"), "The columns of the rows.")},
                    {"ids", list({{"type", "integer"}}, "The ids of the rows, in their order.")},
                    {"rows", list(rows,
                                  "The values of each line, in the order of the columns. "
                                  "null is no value.")},
                    {"damaged", list(reference("DamagedLine"),
                                     "The lines of the page whose records cannot be read: they are "
                                     "not among the rows.")},
                    {"count", integer("Of all lines of this kind in the revision.")},
                    {"next", described({{"type", {"integer", "null"}}},
                                       "What the next page comes after; null after the last "
                                       "line.")}})),
      column_schema(),
      named("DamagedLine", object("A line whose record cannot be read. `korvane check` says more.",
                                  {{"table", text("The table of the project's file.")},
                                   {"id", integer("The id of its row.")},
                                   {"detail", text("What is wrong with it.")}}))};
}

Schemas line_schemas() {
  return {
      named(
          "Line",
          object("One line of a schedule.",
                 {{"table", text("The table of the project's file.")},
                  {"id", integer("The id of its row.")},
                  {"sheet", text("The name of its sheet.")},
                  {"revision", text("The name of its revision.")},
                  {"revision_id", integer("The id of the revision's row.")},
                  {"tag", text("The entity tag of the revision's present content, in its quotes: "
                               "for If-Match.")},
                  {"record", record("What is stored, as the contract has it: "
                                    "korvane.model.cad.Rebar, Fabric, BarSpacer or MountingPart.")},
                  {"columns", list(reference("Column"), "The columns of the row.")},
                  {"row", row("The same for people, in the order of the columns.")},
                  {"shape", reference("Shape")}})),
      named("Shape", shape()), column_schema()};
}

Schemas sketches_schemas() {
  return {named("Sketches", object("Drawings of lines.",
                                   {{"sketches", list(reference("Sketch"),
                                                      "In the order in which they were asked for; "
                                                      "without lines that are not there.")}})),
          named("Sketch", sketch())};
}

Schemas contents_schemas() {
  return {
      named("Contents",
            object("What a project has besides schedule lines.",
                   {{"project", record("The record, korvane.model.cad.ProjectData.")},
                    {"sheets", list(reference("SheetSummary"),
                                    "In the order of their ids. Revisions without a sheet come "
                                    "last, in one with the id -1 and no name.")},
                    {"materials", list(reference("CatalogueEntry"), "Materials, by id.")},
                    {"fabric_types", list(reference("CatalogueEntry"), "Fabric types, by id.")}})),
      named("SheetSummary", object("A sheet with its revisions.",
                                   {{"id", integer("The id of its row.")},
                                    {"name", text("Its name.")},
                                    {"record", record("The record, korvane.model.cad.Sheet.")},
                                    {"revisions", list(reference("RevisionSummary"),
                                                       "In the order of their ids.")}})),
      named("RevisionSummary", revision_summary()),
      named("CatalogueEntry",
            object("A material or a fabric type, and where it is used.",
                   {{"id", integer("The id of its row.")},
                    {"name", text("Its name.")},
                    {"record", record("The record, korvane.model.cad.Material or FabricType.")},
                    {"uses", list(reference("Use"),
                                  "The revisions whose lines refer to it. The "
                                  "steel of fabrics is their type's: it does not "
                                  "count here.")}})),
      named("Use", object("A revision that uses an entry of a catalogue.",
                          {{"revision_id", integer("The id of its row.")},
                           {"lines", integer("How many of its lines refer to the entry.")}}))};
}

Schemas import_schemas() {
  return {
      named("ImportReply",
            object("What an import has stored, or would store.",
                   {{"revisions",
                     list(reference("ImportedRevision"), "The revisions that were filled.")},
                    {"left_out", list(reference("Fault"), "What is faulty and was not stored.")},
                    {"skipped", described({{"type", "object"},
                                           {"additionalProperties", {{"type", "integer"}}}},
                                          "How many records of each group a project has no "
                                          "place for.")},
                    {"notes", list({{"type", "string"}}, "What a person should know.")}})),
      named("ImportedRevision",
            object("A revision that lines were stored in.",
                   {{"id", integer("The id of its row; 0 in a dry run for one that is not there "
                                   "yet.")},
                    {"sheet", text("The name of its sheet.")},
                    {"revision", text("Its name.")},
                    {"bars", integer("Lines of bars that came.")},
                    {"fabrics", integer("Lines of fabrics that came.")},
                    {"bar_spacers", integer("Lines of bar spacers that came.")},
                    {"mounting_parts", integer("Lines of mounting parts that came.")},
                    {"lines_before", integer("Lines that it had before.")}})),
      named("Fault", object("What is wrong with a record.",
                            {{"line", integer("Of the body, from 1; 0 for all of it.")},
                             {"reason", text("What is wrong.")}}))};
}

Schemas edit_schemas() {
  Json schema =
      described({{"type", "object"}, {"minProperties", 1}},
                "New values by the paths of fields in the JSON of korvane.model.cad.Rebar: "
                "total_bars, parameters_exact.a, geometry.objects[0].length; or steel, with "
                "the name of a material. null takes a value away.");
  schema["additionalProperties"] = true;
  return {named("Edit", schema)};
}

Schemas edited_schemas() {
  return {
      named("Edited", object("What an edit has changed, or would change.",
                             {{"id", integer("The id of the bar's row, now.")},
                              {"changes", list(reference("FieldChange"), "What has changed.")},
                              {"tag", text("The entity tag of the revision's content, now.")}})),
      named("FieldChange",
            object("A field and its two values.",
                   {{"field", text("Its path; steel for the material.")},
                    {"before", described(cell(), "The value before; null for none.")},
                    {"after", described(cell(), "The value after; null for none.")}}))};
}

Schemas tables_schemas(const char* name, const std::vector<schedule::Table>& tables,
                       const std::vector<std::string>& mixed) {
  Json properties = Json::object();
  for (const schedule::Table& table : tables) {
    Json columns = Json::object();
    for (const schedule::Column& column : table.columns) {
      const bool is_number = column.kind == schedule::Column::Kind::number;
      const std::string unit = column.unit.empty() ? "" : ", in " + column.unit;
      const bool is_mixed = std::find(mixed.begin(), mixed.end(), column.name) != mixed.end();
      columns[column.name] =
          is_mixed ? cell() : Json{{"type", {is_number ? "number" : "string", "null"}}};
      columns[column.name]["description"] = column.title + unit;
    }
    properties[table.name] =
        list(object(table.title.c_str(), std::move(columns)), table.title.c_str());
  }
  return {named(name, object("Tables of results, a list of rows each.", std::move(properties)))};
}

}  // namespace korvane::server
