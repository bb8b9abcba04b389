#include "server/drawing_routes.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "platform/rpc4/failure.h"
#include "schedule/bending_list.h"
#include "schedule/drawing/find_shape.h"
#include "schedule/drawing/print_bending_list.h"
#include "schedule/drawing/sketch.h"
#include "schedule/drawing/svg.h"
#include "schedule/find_line.h"
#include "schedule/line_kind.h"
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
using schedule::drawing::kListFormats;

namespace {

constexpr const char* kSvg = "image/svg+xml";

/// Of a sketch, in millimetres.
constexpr std::int32_t kUsualWidth = 60;
constexpr std::int32_t kUsualHeight = 22;
constexpr std::int32_t kLeastSize = 10;
constexpr std::int32_t kGreatestSize = 500;

/// What of a client's texts comes back is drawn and never run, whoever opens it.
void forbid_scripts(MountedReply& reply) {
  reply.fields.emplace_back("Content-Security-Policy",
                            "default-src 'none'; style-src 'unsafe-inline'; sandbox");
}

MountedReply bending_list(const MountedCall& call) {
  const std::string name = *call.parameter("format");
  const schedule::drawing::BendingListPages pages(
      read_bending_list(project_of(call), selection_of(call)), schedule::drawing::today(),
      call.require_time);
  MountedReply reply;
  for (const auto& format : kListFormats) {
    if (name == format.name) reply.content_type = format.media_type;
  }
  reply.file_name = "bending-list." + name;
  print_bending_list(pages, name, [&](std::string_view piece) {
    call.require_time();
    reply.body += piece;
  });
  if (name != "pdf") forbid_scripts(reply);  // readers of PDF do not work in a sandbox
  return reply;
}

struct SketchRequest {
  schedule::drawing::LineName line;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

template <class Request>
void read_size(const MountedCall& call, Request& request) {
  request.width = number_of(call, "width", kLeastSize, kGreatestSize, kUsualWidth);
  request.height = number_of(call, "height", kLeastSize, kGreatestSize, kUsualHeight);
}

SketchRequest sketch_request(const MountedCall& call) {
  SketchRequest request;
  request.line.is_fabric = call.parameter("table") == "fabric";
  if (call.parameter("id").has_value() == call.parameter("mark").has_value()) {
    throw BadRequest("name the line by its id or by its mark");
  }
  if (call.parameter("id")) {
    for (const char* const other : {"sheet", "revision", "position"}) {
      if (call.parameter(other)) {
        throw BadRequest(std::string(other) + " is for a mark: the id alone says which line");
      }
    }
    request.line.id = id_of(call, "id");
  } else {
    request.line.selection = selection_of(call);
    request.line.mark = *call.parameter("mark");
    request.line.position =
        number_of(call, "position", 1, std::numeric_limits<std::int32_t>::max(), 1);
  }
  read_size(call, request);
  return request;
}

MountedReply sketch(const MountedCall& call) {
  const SketchRequest request = sketch_request(call);
  const schedule::drawing::FoundShape found = find_shape(project_of(call), request.line);
  MountedReply reply;
  reply.content_type = kSvg;
  reply.body = svg_of(sketch_of(found.shape, request.width, request.height), found.description);
  forbid_scripts(reply);
  return reply;
}

constexpr std::size_t kMostSketches = 200;

struct SketchesRequest {
  bool is_fabric = false;
  std::vector<std::int32_t> ids;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

SketchesRequest sketches_request(const MountedCall& call) {
  SketchesRequest request;
  request.is_fabric = call.parameter("kind") == schedule::LineKind<model::cad::Fabric>::kName;
  const std::string ids = *call.parameter("ids");
  if (!ids.empty()) {
    for (const std::string& id : parts_of(ids)) {
      request.ids.push_back(read_number("ids", id, 0, std::numeric_limits<std::int32_t>::max()));
    }
  }
  if (request.ids.size() > kMostSketches) {
    throw BadRequest("ids: expected at most " + std::to_string(kMostSketches) + ", found " +
                     std::to_string(request.ids.size()));
  }
  read_size(call, request);
  return request;
}

template <class T>
void add_sketches(const MountedCall& call, const SketchesRequest& request, JsonArray& sketches) {
  std::map<std::int32_t, T> lines;
  for (auto& [id, line] : schedule::read_lines<T>(project_of(call), request.ids)) {
    lines.emplace(id, std::move(line));
  }
  for (const std::int32_t id : request.ids) {
    const auto line = lines.find(id);
    if (line == lines.end()) continue;
    call.require_time();
    const schedule::drawing::FoundShape found = schedule::drawing::found_shape(line->second);
    JsonObject sketch;
    sketches.add(sketch.number("id", id)
                     .text("svg", svg_of(sketch_of(found.shape, request.width, request.height),
                                         found.description))
                     .text("description", found.description)
                     .take());
  }
}

MountedReply sketches(const MountedCall& call) {
  const SketchesRequest request = sketches_request(call);
  JsonArray drawn;
  if (request.is_fabric) {
    add_sketches<model::cad::Fabric>(call, request, drawn);
  } else {
    add_sketches<model::cad::Rebar>(call, request, drawn);
  }
  return {kJsonType, JsonObject().json("sketches", drawn.take()).take() + "\n"};
}

MountedParameter width_parameter() {
  return number_parameter("width",
                          "Of a drawing in millimetres, from 10 to 500; 60 if it is not given");
}

MountedParameter height_parameter() {
  return number_parameter("height",
                          "Of a drawing in millimetres, from 10 to 500; 22 if it is not given");
}

}  // namespace

MountedRoute bending_list_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("bending-list", Effect::reads);
  route.summary = "The bending list";
  route.text =
      "Gives what goes to the bending yard: marks with sketches, and totals, on pages of A4. svg "
      "has the pages one under another, html is a page of its own.";
  MountedParameter format{"format", "The format", {}, true};
  for (const auto& each : kListFormats) {
    format.values.emplace_back(each.name);
    route.reply_types.emplace_back(each.media_type);
  }
  route.parameters = selection_parameters();
  route.parameters.push_back(std::move(format));
  route.run = bending_list;
  return route;
}

MountedRoute sketch_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("sketch", Effect::reads);
  route.summary = "The shape of one line as SVG";
  route.text =
      "Draws the shape of one bar or fabric as SVG. The line is named by the id of its row, or by "
      "its mark and the names of its sheet and revision.";
  route.parameters = {{"table", "Where the line is; rebar if it is not given", {"rebar", "fabric"}},
                      number_parameter("id", "The id of its row"),
                      {"mark", "Its mark, alone or with prefix, suffix and submark"},
                      number_parameter("position", "Which of several lines of the mark, from 1"),
                      {"sheet", "With a mark, the sheet, where there are several"},
                      {"revision", "With a mark, the revision, where there are several"},
                      width_parameter(),
                      height_parameter()};
  route.reply_types = {kSvg};
  route.check = [](const MountedCall& call) { sketch_request(call); };
  route.run = sketch;
  return route;
}

MountedRoute sketches_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("sketches", Effect::reads);
  route.summary = "Shapes of many lines as SVG";
  route.text =
      "Draws the shapes of up to 200 bars or fabrics, each as sketch does, in the order in which "
      "they are asked for. A line that is not there is left out.";
  route.parameters = {kind_parameter({schedule::LineKind<model::cad::Rebar>::kName,
                                      schedule::LineKind<model::cad::Fabric>::kName}),
                      {"ids", "The ids of their rows, between commas", {}, true},
                      width_parameter(),
                      height_parameter()};
  route.reply_types = {kJsonType};
  route.reply_schemas = sketches_schemas();
  route.check = [](const MountedCall& call) { sketches_request(call); };
  route.run = sketches;
  return route;
}

}  // namespace korvane::server
