#include "clients/cpp/remote_project.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/rpc4/http.h"

namespace korvane::client {

using krv::rpc4::Effect;
using krv::rpc4::Representation;

namespace {

constexpr const char* kLinesAtATime = "5000";

Repeating repeating_of(Effect effect) {
  switch (effect) {
    case Effect::reads:
      return Repeating::freely;
    case Effect::writes:
      return Repeating::under_key;
    case Effect::opens:
    case Effect::queries:
      break;
  }
  return Repeating::when_refused;
}

Options sent_once(const std::string& token) {
  Options options;
  options.token = token;
  options.attempts = 1;
  return options;
}

Variant cell_of(const nlohmann::json& value) {
  Variant cell;
  if (value.is_string()) cell.value_string.set(value.get<std::string>());
  if (value.is_boolean()) cell.value_int32.set(value.get<bool>() ? 1 : 0);
  if (!value.is_number()) return cell;
  const double number = value.get<double>();
  using Limits = std::numeric_limits<std::int32_t>;
  const bool is_small =
      value.is_number_integer() && number >= Limits::min() && number <= Limits::max();
  if (is_small) {
    cell.value_int32.set(value.get<std::int32_t>());
  } else {
    cell.value_double.set(number);
  }
  return cell;
}

struct LinePage {
  std::vector<RemoteProject::Line> lines;
  /// What is wrong with the first line that the server cannot read; empty if it can read all.
  std::string damage;
  /// What the next page begins after; none after the last one.
  std::optional<std::int64_t> next;
};

LinePage line_page_of(const std::string& text) {
  const auto reply = nlohmann::json::parse(text);
  LinePage page;
  const auto& columns = reply.at("columns");
  for (const auto& row : reply.at("rows")) {
    RemoteProject::Line& line = page.lines.emplace_back();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      line.emplace(columns.at(i).at("name").get<std::string>(), cell_of(row.at(i)));
    }
  }
  const auto& damaged = reply.at("damaged");
  if (!damaged.empty()) page.damage = damaged.at(0).at("detail").get<std::string>();
  const auto& next = reply.at("next");
  if (!next.is_null()) page.next = next.get<std::int64_t>();
  return page;
}

}  // namespace

RemoteProject::RemoteProject(const std::string& url, const std::string& filename, Options options,
                             IfMissing if_missing)
    : Project_Service(filename), connection_(url, std::move(options)) {
  if (if_missing == IfMissing::fail) return;
  model::OpenProjectRequest request;
  request.filename = filename;
  // Opening twice makes the file once.
  call<model::OpenProjectResponse>(
      krv::rpc4::operation_path(ProjectManager_Metadata::GlobalInstanceID, "open"), request,
      Repeating::freely);
}

RemoteProject::RemoteProject(const std::string& url, const std::string& token,
                             const std::string& filename, IfMissing if_missing)
    : RemoteProject(url, filename, sent_once(token), if_missing) {}

RemoteProject::~RemoteProject() = default;

template <class Reply, class RequestRecord>
Reply RemoteProject::call(const std::string& path, const RequestRecord& request,
                          Repeating repeating) {
  const bool is_json = connection_.options().form == Representation::json;
  Request sent{.path = path, .repeating = repeating};
  if (is_json) {
    sent.content_type = krv::rpc4::kJsonMediaType;
    const std::string body = encoding::to_json(request);
    sent.body = body;
    return encoding::from_json<Reply>(connection_.send(sent));
  }
  sent.content_type = krv::rpc4::kCompactBinaryMediaType;
  const bond::blob body = encoding::encode(request);
  sent.body = {body.content(), body.size()};
  const std::string reply = connection_.send(sent);
  return encoding::decode<Reply>(reply.data(), static_cast<std::uint32_t>(reply.size()));
}

std::string RemoteProject::route(const std::string& name,
                                 const std::map<std::string, std::string>& parameters) const {
  return krv::rpc4::project_path(id(), name) + query_text(parameters);
}

std::string RemoteProject::import_file(const std::string& path,
                                       const std::map<std::string, std::string>& parameters) {
  return connection_.send({.path = route("import", parameters),
                           .content_type = "application/octet-stream",
                           .body_file = path,
                           .repeating = Repeating::under_key});
}

void RemoteProject::export_as(const std::string& format, const BodySink& sink,
                              const std::map<std::string, std::string>& parameters) {
  std::map<std::string, std::string> all = parameters;
  all["format"] = format;
  connection_.send({.method = "GET", .path = route("export", all)}, sink);
}

void RemoteProject::for_each_line(const std::string& kind, std::int32_t revision_id,
                                  const std::string& fields,
                                  const std::function<void(const Line& line)>& take) {
  std::map<std::string, std::string> parameters = {
      {"kind", kind}, {"revision_id", std::to_string(revision_id)}, {"limit", kLinesAtATime}};
  if (!fields.empty()) parameters["fields"] = fields;
  for (std::optional<std::int64_t> after;;) {
    const std::string reply =
        connection_.send({.method = "GET", .path = route("lines", parameters)});
    LinePage page;
    try {
      page = line_page_of(reply);
    } catch (const nlohmann::json::exception& failure) {
      throw std::runtime_error(std::string("the reply is not a page of lines: ") + failure.what());
    }
    for (const Line& line : page.lines) take(line);
    if (!page.damage.empty()) throw std::runtime_error(page.damage);
    if (!page.next) return;
    if (after && *page.next <= *after) {
      throw std::runtime_error("the reply is not a page of lines: its next one is not after it");
    }
    after = page.next;
    parameters["after"] = std::to_string(*after);
  }
}

#define CALL_REMOTELY(name, Request, Reply, effect)                                               \
  void RemoteProject::name(Request request, Reply& reply) {                                       \
    reply =                                                                                       \
        call<Reply>(krv::rpc4::project_path(id(), #name), request, repeating_of(Effect::effect)); \
  }
KORVANE_PROJECT_OPERATIONS(CALL_REMOTELY)
#undef CALL_REMOTELY

}  // namespace korvane::client
