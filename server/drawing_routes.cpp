#include "server/drawing_routes.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/rpc4/failure.h"
#include "schedule/bending_list.h"
#include "schedule/drawing/find_shape.h"
#include "schedule/drawing/print_bending_list.h"
#include "schedule/drawing/sketch.h"
#include "schedule/drawing/svg.h"
#include "server/mounted_project.h"

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

constexpr std::int32_t kGreatestNumber = 2147483647;

/// What of a client's texts comes back is drawn and never run, whoever opens it.
void forbid_scripts(MountedReply& reply) {
  reply.fields.emplace_back("Content-Security-Policy",
                            "default-src 'none'; style-src 'unsafe-inline'; sandbox");
}

std::int32_t number_of(const MountedCall& call, const std::string& name, std::int32_t least,
                       std::int32_t greatest, std::int32_t otherwise) {
  const std::optional<std::string> text = call.parameter(name);
  if (!text) return otherwise;
  std::int32_t number = 0;
  const char* const end = text->data() + text->size();
  const auto read = std::from_chars(text->data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number < least || number > greatest) {
    throw BadRequest(name + ": expected a number from " + std::to_string(least) + " to " +
                     std::to_string(greatest) + ", found \"" + *text + "\"");
  }
  return number;
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
    request.line.id = number_of(call, "id", 0, kGreatestNumber, 0);
  } else {
    request.line.selection = selection_of(call);
    request.line.mark = *call.parameter("mark");
    request.line.position = number_of(call, "position", 1, kGreatestNumber, 1);
  }
  request.width = number_of(call, "width", kLeastSize, kGreatestSize, kUsualWidth);
  request.height = number_of(call, "height", kLeastSize, kGreatestSize, kUsualHeight);
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

}  // namespace

MountedRoute bending_list_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("bending-list", Effect::reads);
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
  route.text =
      "Draws the shape of one bar or fabric as SVG. The line is named by the id of its row, or by "
      "its mark and the names of its sheet and revision.";
  route.parameters = {
      {"table", "Where the line is; rebar if it is not given", {"rebar", "fabric"}},
      {"id", "The id of its row"},
      {"mark", "Its mark, alone or with prefix, suffix and submark"},
      {"position", "Which of several lines of the mark, from 1"},
      {"sheet", "With a mark, the sheet, where there are several"},
      {"revision", "With a mark, the revision, where there are several"},
      {"width", "Of the drawing in millimetres, from 10 to 500; 60 if it is not given"},
      {"height", "Of the drawing in millimetres, from 10 to 500; 22 if it is not given"}};
  route.reply_types = {kSvg};
  route.check = [](const MountedCall& call) { sketch_request(call); };
  route.run = sketch;
  return route;
}

}  // namespace korvane::server
