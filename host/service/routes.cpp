#include "host/service/routes.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <utility>

namespace korvane::host {

using krv::rpc4::Effect;

namespace {

bool is_place(std::string_view segment) { return segment.starts_with('{'); }

std::vector<std::string_view> segments_of(std::string_view path) {
  std::vector<std::string_view> segments;
  for (std::size_t begin = 1; begin <= path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    segments.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return segments;
}

struct SplitRoute {
  const Route* route;
  std::vector<std::string_view> segments;
};

constexpr std::size_t kMostRoutes = 32;

const std::vector<SplitRoute>& split_routes() {
  static const std::vector<SplitRoute> all = [] {
    std::vector<SplitRoute> split;
    for (const Route& route : routes()) split.push_back({&route, segments_of(route.path)});
    return split;
  }();
  return all;
}

}  // namespace

std::span<const Route> routes() {
  static const std::array table = {
      Route{"/healthz/live", "live", true, {}, &live_document},
      Route{"/healthz/ready", "ready", true, {}, &ready_document},
      Route{"/metrics", "metrics", false, {}, &metrics_document},
      Route{"/openapi.json", "openapi", false, {}, &openapi_document_of_server},
      Route{"/schema/{file}", "schema", false, {}, &schema_document},
      Route{"/v1", "services", false, {}, &services_document},
      Route{"/v1/access",
            "access",
            false,
            {},
            &access_document,
            Callees::none,
            RouteDescription{"Server", "Server.access",
                             "Who the client is to the server, and what it may do.",
                             "The client and its scopes.", "Access"}},
      Route{"/v1/projects",
            "projects",
            false,
            {Scope::read, Scope::write},
            &projects_document,
            Callees::none,
            RouteDescription{"Projects", "Projects.list",
                             "The project files in the server's folder; none is opened for it.",
                             "The files by name.", "ProjectFiles"}},
      Route{"/v1/locks/{file}",
            "locks",
            false,
            {Scope::write},
            &locks_document,
            Callees::none,
            std::nullopt,
            true},
      Route{"/v1/copies",
            "copies",
            false,
            {Scope::copy},
            &copies_document,
            Callees::none,
            std::nullopt,
            true,
            true},
      Route{"/v1/copies/{file}",
            "copies",
            false,
            {Scope::copy},
            &copies_document,
            Callees::none,
            std::nullopt,
            true,
            true},
      Route{
          krv::rpc4::kProjectOperationPath, "unknown", false, {}, nullptr, Callees::project_files},
      Route{krv::rpc4::kServiceOperationPath, "unknown", false, {}, nullptr, Callees::service_ids},
  };
  static_assert(table.size() <= kMostRoutes);
  return table;
}

const Route& route_to(Callees callees) {
  const std::span<const Route> all = routes();
  return *std::find_if(all.begin(), all.end(),
                       [&](const Route& route) { return route.callees == callees; });
}

const Route* find_open_route(const std::string& path) {
  for (const Route& route : routes()) {
    if (route.is_open && route.path == path) return &route;
  }
  return nullptr;
}

FoundRoute find_route(const Target& target) {
  std::vector<std::string> segments = target.segments();
  const std::vector<SplitRoute>& all = split_routes();
  std::bitset<kMostRoutes> candidates;
  for (std::size_t i = 0; i < all.size(); ++i) {
    candidates[i] = all[i].segments.size() >= segments.size();
  }
  for (std::size_t segment = 0; segment < segments.size(); ++segment) {
    std::bitset<kMostRoutes> named;
    std::bitset<kMostRoutes> places;
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (!candidates[i]) continue;
      named[i] = all[i].segments[segment] == segments[segment];
      places[i] = is_place(all[i].segments[segment]);
    }
    candidates = named.any() ? named : places;
  }
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!candidates[i] || all[i].segments.size() != segments.size()) continue;
    FoundRoute found{*all[i].route, {}};
    for (std::size_t segment = 0; segment < segments.size(); ++segment) {
      if (is_place(all[i].segments[segment])) found.places.push_back(std::move(segments[segment]));
    }
    return found;
  }
  throw HttpFault(404, "nothing is served at " + target.path());
}

const std::vector<std::string>& document_methods() {
  static const std::vector<std::string> methods = {"GET", "HEAD"};
  return methods;
}

std::vector<std::string> methods_of(const Route& route) {
  return route.is_posted ? std::vector<std::string>{"POST"} : document_methods();
}

void require_method(const HttpRequest& request, const std::vector<std::string>& allowed) {
  const std::string& method = request.head.getMethod();
  if (std::find(allowed.begin(), allowed.end(), method) != allowed.end()) return;
  std::string names;
  for (const std::string& name : allowed) names += (names.empty() ? "" : ", ") + name;
  throw HttpFault(405, method + " is not served here; expected " + names, {{"Allow", names}});
}

Scopes scopes_of(Effect effect) {
  switch (effect) {
    case Effect::reads:
      return {Scope::read};
    case Effect::writes:
      return {Scope::write};
    case Effect::opens:
      return {Scope::read, Scope::write};
    case Effect::queries:
      break;
  }
  return {Scope::read, Scope::sql};
}

std::string_view effect_name(Effect effect) {
  switch (effect) {
    case Effect::reads:
      return "reads";
    case Effect::writes:
      return "writes";
    case Effect::opens:
      return "opens";
    case Effect::queries:
      break;
  }
  return "queries";
}

}  // namespace korvane::host
