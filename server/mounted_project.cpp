#include "server/mounted_project.h"

#include <charconv>
#include <limits>
#include <utility>

#include "platform/rpc4/failure.h"

namespace korvane::server {

using host::MountedCall;
using krv::rpc4::BadRequest;
using krv::rpc4::NotFound;
using model::cad::Project_Service;

Project_Service& project_of(const MountedCall& call) {
  if (call.definition != &Project_Service::definition()) {
    throw NotFound("this server's projects have no schedules");
  }
  return *static_cast<Project_Service*>(call.service);
}

std::vector<host::MountedParameter> selection_parameters() {
  return {{"sheet", "Only sheets of this name"}, {"revision", "Only revisions of this name"}};
}

schedule::Selection selection_of(const MountedCall& call) {
  return {call.parameter("sheet"), call.parameter("revision")};
}

std::int32_t read_number(const std::string& name, std::string_view text, std::int32_t least,
                         std::int32_t greatest) {
  std::int32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number < least || number > greatest) {
    throw BadRequest(name + ": expected a number from " + std::to_string(least) + " to " +
                     std::to_string(greatest) + ", found \"" + std::string(text) + "\"");
  }
  return number;
}

std::int32_t number_of(const MountedCall& call, const std::string& name, std::int32_t least,
                       std::int32_t greatest, std::int32_t otherwise) {
  const std::optional<std::string> text = call.parameter(name);
  return text ? read_number(name, *text, least, greatest) : otherwise;
}

std::int32_t id_of(const MountedCall& call, const std::string& name) {
  return read_number(name, *call.parameter(name), 0, std::numeric_limits<std::int32_t>::max());
}

std::vector<std::string> parts_of(std::string_view list) {
  std::vector<std::string> parts;
  for (std::size_t comma = 0; comma != std::string_view::npos;) {
    comma = list.find(',');
    parts.emplace_back(list.substr(0, comma));
    if (comma != std::string_view::npos) list.remove_prefix(comma + 1);
  }
  return parts;
}

host::MountedParameter number_parameter(std::string name, std::string text, bool is_required) {
  return {std::move(name), std::move(text), {}, is_required, true};
}

host::MountedParameter kind_parameter(std::vector<std::string> kinds) {
  return {"kind", "Which kind of lines", std::move(kinds), true};
}

std::vector<host::MountedParameter> revision_parameters() {
  return {number_parameter("revision_id", "The revision, by the id of its row"),
          {"sheet", "Or the name of its sheet, where there are several"},
          {"revision", "And its name, where there are several"}};
}

void check_revision(const MountedCall& call) {
  if (!call.parameter("revision_id")) return;
  id_of(call, "revision_id");
  if (call.parameter("sheet") || call.parameter("revision")) {
    throw BadRequest("name the revision by revision_id, or by sheet and revision");
  }
}

schedule::SelectedRevision revision_of(const MountedCall& call,
                                       const schedule::Structure& structure) {
  if (!call.parameter("revision_id")) return select_one(structure, selection_of(call));
  const std::int32_t id = id_of(call, "revision_id");
  for (const schedule::SheetEntry& sheet : structure.sheets) {
    for (const schedule::RevisionEntry& revision : sheet.revisions) {
      if (revision.record.id == id) return {&sheet, &revision};
    }
  }
  throw NotFound("no revision " + std::to_string(id) + " in this project");
}

}  // namespace korvane::server
