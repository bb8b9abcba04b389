#include "server/line_routes.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "contracts/encoding/json.h"
#include "platform/rpc4/failure.h"
#include "schedule/column_list.h"
#include "schedule/drawing/find_shape.h"
#include "schedule/drawing/path.h"
#include "schedule/find_line.h"
#include "schedule/line_kind.h"
#include "schedule/line_page.h"
#include "server/json_object.h"
#include "server/mounted_project.h"
#include "server/schemas.h"

namespace korvane::server {

using host::MountedCall;
using host::MountedParameter;
using host::MountedReply;
using host::MountedRoute;
using krv::rpc4::BadRequest;
using krv::rpc4::Effect;
using model::cad::Project_Service;
using schedule::drawing::FoundShape;
using schedule::drawing::Shape;

namespace {

constexpr std::int32_t kUsualLines = 1000;
constexpr std::int32_t kMostLines = 20'000;

std::vector<std::string> kind_names() {
  std::vector<std::string> names;
  schedule::for_each_line_kind([&](auto kind) { names.emplace_back(kind.kName); });
  return names;
}

schedule::LinePage page_of(const MountedCall& call) {
  check_revision(call);
  schedule::LinePage page{*call.parameter("kind")};
  if (const auto fields = call.parameter("fields")) page.columns = parts_of(*fields);
  schedule::columns_of_kind(page.kind, page.columns);
  if (const auto after = call.parameter("after")) {
    const char* const end = after->data() + after->size();
    const auto read = std::from_chars(after->data(), end, page.after);
    if (read.ec != std::errc() || read.ptr != end) {
      throw BadRequest("after: expected the id of a row, found \"" + *after + "\"");
    }
  }
  page.limit = static_cast<std::size_t>(number_of(call, "limit", 1, kMostLines, kUsualLines));
  return page;
}

using Ranges = FoundValues<schedule::LineRange>;

MountedReply lines(const MountedCall& call, Ranges& ranges) {
  const schedule::LinePage page = page_of(call);
  Project_Service& project = project_of(call);
  const schedule::Structure structure = schedule::read_structure(project);
  const schedule::SelectedRevision selected = revision_of(call, structure);
  const std::int32_t content_id = selected.revision->content_id;
  const schedule::LineRange range =
      ranges.get(project, page.kind + ' ' + std::to_string(content_id),
                 [&] { return schedule::find_range(project, page.kind, content_id); });
  JsonArray ids;
  JsonArray rows;
  JsonArray damaged;
  const auto next = read_page(
      project, structure, selected, range, page,
      [&](std::int64_t id, const std::vector<schedule::Cell>& cells) {
        call.require_time();
        ids.add(std::to_string(id));
        rows.add(schedule::json_cells(cells));
      },
      [&](std::int64_t id, const char* table, const std::string& reason) {
        call.require_time();
        damaged.add(
            JsonObject().text("table", table).number("id", id).text("detail", reason).take());
      });
  JsonObject reply;
  reply.json("columns", json_of(schedule::columns_of_kind(page.kind, page.columns)))
      .json("ids", ids.take())
      .json("rows", rows.take())
      .json("damaged", damaged.take())
      .number("count", static_cast<std::int64_t>(range.count))
      .json("next", next ? std::to_string(*next) : "null");
  return {kJsonType, reply.take() + "\n"};
}

const char* name_of(Shape::Kind kind) {
  switch (kind) {
    case Shape::Kind::unknown:
      return "unknown";
    case Shape::Kind::flat:
      return "flat";
    case Shape::Kind::spatial:
      return "spatial";
    case Shape::Kind::helix:
      return "helix";
    case Shape::Kind::sheet:
      return "sheet";
  }
  return "unknown";
}

/// Thousandths of a millimetre are more than any bender can do.
std::string coordinate(double millimetres) {
  return schedule::json_cell(std::round(millimetres * 1000) / 1000);
}

std::string shape_json(const FoundShape& found) {
  JsonArray path;
  for (const auto& point : path_of(found.shape)) {
    path.add(JsonArray()
                 .add(coordinate(point.x))
                 .add(coordinate(point.y))
                 .add(coordinate(point.z))
                 .take());
  }
  JsonObject shape;
  return shape.text("kind", name_of(found.shape.kind))
      .json("path", path.take())
      .cell("diameter", found.shape.bar_diameter)
      .text("description", found.description)
      .take();
}

template <class T>
FoundShape shape_of_line(const T& item) {
  if constexpr (requires { schedule::drawing::found_shape(item); }) {
    return schedule::drawing::found_shape(item);
  } else {
    return {{}, "Mark " + schedule::label_of(item)};
  }
}

template <class T>
MountedReply line_reply(Project_Service& project, std::int32_t id, RevisionTags& tags) {
  const schedule::Structure structure = schedule::read_structure(project);
  const schedule::FoundLine<T> found = schedule::find_line<T>(project, structure, id);
  const std::string tag = tags.tag_of(project, *found.selected.revision);
  const schedule::Columns<T>& columns = schedule::columns_of<T>();
  std::vector<schedule::Column> described;
  for (std::size_t i = 0; i < columns.size(); ++i) described.push_back(columns.column(i));
  JsonObject reply;
  reply.text("table", schedule::LineKind<T>::kTable)
      .number("id", id)
      .text("sheet", found.selected.sheet->record.name)
      .text("revision", found.selected.revision->record.name)
      .number("revision_id", found.selected.revision->record.id)
      .text("tag", tag)
      .json("record", encoding::to_shown_json(found.item))
      .json("columns", json_of(described))
      .json("row",
            schedule::json_cells(columns.row(line_of(structure, found.selected, found.item))))
      .json("shape", shape_json(shape_of_line(found.item)));
  return {kJsonType, reply.take() + "\n", {}, {{"ETag", tag}}};
}

MountedReply line(const MountedCall& call, RevisionTags& tags) {
  MountedReply reply;
  schedule::with_line_kind(*call.parameter("kind"), [&](auto kind) {
    using T = typename decltype(kind)::Line;
    reply = line_reply<T>(project_of(call), id_of(call, "id"), tags);
  });
  return reply;
}

}  // namespace

MountedRoute lines_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("lines", Effect::reads);
  route.summary = "Lines of a revision as a table";
  route.text =
      "Gives the lines of one kind of a revision in the order in which they were added, a page at "
      "a "
      "time, with all columns or those that are chosen. Lengths are in mm, angles in degrees, "
      "weights in kg; no value is null. A line whose record is damaged is named, and the others "
      "are "
      "given.";
  route.parameters = {kind_parameter(kind_names())};
  for (MountedParameter& one : revision_parameters()) route.parameters.push_back(std::move(one));
  route.parameters.push_back(
      {"fields", "Names of columns between commas, in the order of the reply; all if not given"});
  route.parameters.push_back(number_parameter("after", "What the page before has as next"));
  route.parameters.push_back(
      number_parameter("limit", "Lines of a page, at most 20000; 1000 if it is not given"));
  route.reply_types = {kJsonType};
  route.reply_schemas = lines_schemas();
  route.check = [](const MountedCall& call) { page_of(call); };
  route.run = [ranges = std::make_shared<Ranges>()](const MountedCall& call) {
    return lines(call, *ranges);
  };
  return route;
}

MountedRoute line_route(std::shared_ptr<RevisionTags> tags) {
  MountedRoute route;
  route.operation = host::mounted_operation("line", Effect::reads);
  route.summary = "All of one line";
  route.text =
      "Gives one line: its record as it is stored, its columns as lines has them, and what it "
      "looks "
      "like in space. The header ETag names the present content of its revision.";
  route.parameters = {kind_parameter(kind_names()),
                      number_parameter("id", "The id of its row", true)};
  route.reply_types = {kJsonType};
  route.reply_schemas = line_schemas();
  route.check = [](const MountedCall& call) { id_of(call, "id"); };
  route.run = [tags = std::move(tags)](const MountedCall& call) { return line(call, *tags); };
  return route;
}

}  // namespace korvane::server
