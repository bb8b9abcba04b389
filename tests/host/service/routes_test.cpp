#include "host/service/routes.h"

#include <set>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string_view path_for(const std::string& target) {
  return find_route(Target(target)).route.path;
}

std::vector<std::string> places_of(const std::string& target) {
  return find_route(Target(target)).places;
}

int status_of(const std::string& target) {
  try {
    find_route(Target(target));
    return 200;
  } catch (const HttpFault& fault) {
    return fault.status();
  }
}

TEST(Routes, LeadToADocumentOrToOperations) {
  std::set<std::string_view> paths;
  for (const Route& route : routes()) {
    EXPECT_EQ(route.document == nullptr, route.callees != Callees::none) << route.path;
    EXPECT_TRUE(paths.insert(route.path).second) << route.path;
  }
  EXPECT_EQ(route_to(Callees::project_files).path, "/v1/projects/{file}/{operation}");
  EXPECT_EQ(route_to(Callees::service_ids).path, "/v1/{service_id}/{operation}");
}

TEST(Routes, AreFoundByTheirPaths) {
  for (const Route& route : routes()) EXPECT_EQ(path_for(std::string(route.path)), route.path);
}

TEST(Routes, GiveWhatStandsInTheirPlacesDecoded) {
  EXPECT_THAT(places_of("/v1/projects/halls%2Fa%207.db/list_sheets?request={}"),
              ElementsAre("halls/a 7.db", "list_sheets"));
  EXPECT_THAT(places_of("/v1/probe%3A0/co%75nt"), ElementsAre("probe:0", "count"));
  EXPECT_THAT(places_of("/v1/projects"), IsEmpty());
  EXPECT_THAT(places_of("/v1//count"), ElementsAre("", "count"));
}

TEST(Routes, OfANameGoBeforeThoseOfAPlace) {
  EXPECT_EQ(path_for("/v1/projects"), "/v1/projects");
  EXPECT_EQ(status_of("/v1/projects/a.db"), 404);
  EXPECT_EQ(status_of("/v1/projects/a.db/list_sheets/x"), 404);
  // Only there: a service may bear the name of another route's segment.
  EXPECT_EQ(path_for("/v1/live/count"), "/v1/{service_id}/{operation}");
  EXPECT_EQ(path_for("/v1/v1/metrics"), "/v1/{service_id}/{operation}");
}

TEST(Routes, AreNotFoundByOtherPaths) {
  for (const char* const path : {"/", "//", "/v2", "/v1/", "//v1", "/v1/x", "/v1/x/y/", "/V1", "*",
                                 "/healthz", "/healthz%2Flive", "/{file}"}) {
    EXPECT_EQ(status_of(path), 404) << path;
  }
  EXPECT_EQ(status_of("/v1/%zz/count"), 400);
}

TEST(Routes, ThatAreOpenAreFoundByTheirExactPathAlone) {
  ASSERT_NE(find_open_route("/healthz/live"), nullptr);
  EXPECT_STREQ(find_open_route("/healthz/live")->metric, "live");
  for (const char* const path : {"/healthz/live/", "/healthz/%6Cive", "/metrics", "/v1", ""}) {
    EXPECT_EQ(find_open_route(path), nullptr) << path;
  }
}

}  // namespace
}  // namespace korvane::host
