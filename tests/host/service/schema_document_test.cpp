// The contracts as generators of clients read them.

#include <string>
#include <utility>

#include "host/access/tokens.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

host::Mounted with_schemas() {
  host::Mounted mounted;
  mounted.schemas = {{"a.bond", "namespace a\n"}, {"b.bond", "namespace b\n"}};
  return mounted;
}

TEST(SchemaDocument, IsTheTextOfItsFile) {
  TestServer server({}, std::nullopt, {}, with_schemas());
  const HttpAnswer answer = server.client().get("/schema/b.bond");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "namespace b\n");
  EXPECT_EQ(answer.fields.at("content-type"), "text/plain; charset=utf-8");
}

TEST(SchemaDocument, OfAnotherNameIsNotFoundAndSaysWhichThereAre) {
  TestServer server({}, std::nullopt, {}, with_schemas());
  const HttpAnswer answer = server.client().get("/schema/c.bond");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.detail(), "no schema c.bond; expected one of a.bond, b.bond");
}

TEST(SchemaDocument, IsNotThereWhereTheServerWasGivenNone) {
  TestServer server;
  EXPECT_EQ(server.client().get("/schema/a.bond").detail(), "no schema a.bond");
}

TEST(SchemaDocument, NeedsATokenWhereThereAreTokens) {
  TestServer server({}, host::Tokens(), {}, with_schemas());
  EXPECT_EQ(server.client().get("/schema/a.bond").status, 401);
}

}  // namespace
}  // namespace korvane::test
