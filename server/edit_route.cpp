#include "server/edit_route.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"
#include "host/http/message.h"
#include "host/service/entity_tag.h"
#include "platform/rpc4/failure.h"
#include "schedule/edit.h"
#include "schedule/query.h"
#include "server/json_object.h"
#include "server/mounted_project.h"
#include "server/schemas.h"

namespace korvane::server {

using host::MountedCall;
using host::MountedReply;
using host::MountedRoute;
using krv::rpc4::BadRequest;
using krv::rpc4::Effect;
using model::cad::Project_Service;
using Json = nlohmann::ordered_json;

namespace {

/// What the body assigns: its members are fields and values.
std::vector<schedule::Assignment> assignments_in(const MountedCall& call) {
  try {
    // Before anything is built that is nested too deep to be written again.
    encoding::check_json(call.body);
  } catch (const encoding::JsonError& failure) {
    throw BadRequest(failure.what());
  }
  const Json body = Json::parse(call.body);
  if (!body.is_object()) throw BadRequest("request: expected an object of values by field");
  if (body.empty()) throw BadRequest("request: expected the value of at least one field");
  std::vector<schedule::Assignment> assignments;
  for (const auto& [field, value] : body.items()) {
    const bool is_name = field == "steel" && value.is_string();
    assignments.push_back({field, is_name ? value.get<std::string>() : value.dump()});
  }
  return assignments;
}

bool has_bar(Project_Service& project, std::int32_t id) {
  return !schedule::query<1>(project, "select 1 from rebar where id = " + std::to_string(id))
              .empty();
}

MountedReply edit(const MountedCall& call, RevisionTags& tags) {
  Project_Service& project = project_of(call);
  const auto require_tag = [&](const schedule::RevisionEntry& revision) {
    if (!call.if_match) return;
    const std::string tag = tags.tag_of(project, revision);
    if (host::matches(*call.if_match, tag)) return;
    throw host::HttpFault(412, "the revision has changed since: its tag is " + tag + " now");
  };
  const schedule::EditedBar edited = [&] {
    try {
      return edit_bar(project, id_of(call, "id"), assignments_in(call), call.has("dry_run"),
                      require_tag, call.require_time);
    } catch (const krv::rpc4::NotFound& failure) {
      // Another's edit gave the row another id: what the client has seen is not there any more.
      if (!call.if_match || has_bar(project, id_of(call, "id"))) throw;
      throw host::HttpFault(412, std::string("the revision has changed since: ") + failure.what());
    }
  }();
  const std::string tag = tags.tag_of(project, edited.revision);
  JsonArray changes;
  for (const schedule::FieldDifference& change : edited.changes) {
    changes.add(JsonObject()
                    .text("field", change.field)
                    .cell("before", change.before)
                    .cell("after", change.after)
                    .take());
  }
  JsonObject reply;
  reply.number("id", edited.id).json("changes", changes.take()).text("tag", tag);
  return {kJsonType,
          reply.take() + "\n",
          {},
          {{"ETag", tag}},
          {{"revision", edited.revision.record.id}}};
}

void check(const MountedCall& call) {
  id_of(call, "id");
  assignments_in(call);
  if (call.if_match) host::matches(*call.if_match, {});
}

}  // namespace

MountedRoute edit_route(std::shared_ptr<RevisionTags> tags) {
  MountedRoute route;
  route.operation = host::mounted_operation("edit", Effect::writes);
  route.summary = "New values for a bar";
  route.text =
      "Gives fields of a bar new values and says what has changed; what follows from counts "
      "follows. "
      "With If-Match nothing is done unless the revision still has that tag (412). All rows of the "
      "revision get new ids.";
  route.parameters = {
      number_parameter("id", "The id of the bar's row", true),
      {"dry_run", "Whether to say what would change, and store nothing", host::on_or_off()}};
  route.request_types = {kJsonType};
  route.reply_types = {kJsonType};
  route.request_schemas = edit_schemas();
  route.reply_schemas = edited_schemas();
  route.can_create = false;
  route.goes_by_if_match = true;
  route.check = check;
  route.run = [tags = std::move(tags)](const MountedCall& call) { return edit(call, *tags); };
  return route;
}

}  // namespace korvane::server
