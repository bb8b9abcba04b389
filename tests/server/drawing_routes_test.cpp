// What a server draws of a project's schedule.

#include "server/drawing_routes.h"

#include <string>

#include "server/project_routes.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/text_of.h"

namespace korvane::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class DrawingRoutes : public ::testing::Test {
 protected:
  DrawingRoutes() {
    const HttpAnswer answer =
        client_.send("POST", "/v1/projects/a.db/import?create=true",
                     text_of(KORVANE_EXAMPLES "/guideline.abs"), {{"Content-Type", "text/plain"}});
    EXPECT_EQ(answer.status, 200) << answer.body;
  }

  HttpAnswer get(const std::string& target) { return client_.get("/v1/projects/a.db/" + target); }

  TestServer server_{{}, std::nullopt, {}, server::project_routes()};
  HttpClient client_ = server_.client();
};

TEST_F(DrawingRoutes, GiveTheBendingListInEachFormat) {
  const HttpAnswer pdf = get("bending-list?format=pdf");
  ASSERT_EQ(pdf.status, 200) << pdf.body;
  EXPECT_THAT(pdf.body, StartsWith("%PDF-"));
  EXPECT_EQ(pdf.fields.at("content-type"), "application/pdf");
  EXPECT_EQ(pdf.fields.at("content-disposition"), "attachment; filename=\"bending-list.pdf\"");
  const HttpAnswer svg = get("bending-list?format=svg&sheet=417");
  EXPECT_EQ(svg.fields.at("content-type"), "image/svg+xml");
  EXPECT_THAT(svg.body, HasSubstr(">1428</text>"));
  const HttpAnswer html = get("bending-list?format=html");
  EXPECT_EQ(html.fields.at("content-type"), "text/html; charset=utf-8");
  EXPECT_THAT(html.body, StartsWith("<!DOCTYPE html>"));
  EXPECT_THAT(html.fields.at("content-security-policy"), HasSubstr("default-src 'none'"));
}

TEST_F(DrawingRoutes, RefuseABendingListThatCannotBe) {
  EXPECT_EQ(get("bending-list").status, 400);
  EXPECT_EQ(get("bending-list?format=png").status, 400);
  EXPECT_EQ(get("bending-list?format=pdf&sheet=9").status, 404);
}

TEST_F(DrawingRoutes, DrawTheShapeOfALineByItsId) {
  const HttpAnswer answer = get("sketch?id=1");
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.fields.at("content-type"), "image/svg+xml");
  EXPECT_EQ(answer.fields.count("content-disposition"), 0U);
  EXPECT_THAT(answer.fields.at("content-security-policy"), HasSubstr("default-src 'none'"));
  EXPECT_THAT(answer.body, HasSubstr("<title>Mark 1: 400 (90°) 600</title>"));
  EXPECT_THAT(answer.body, HasSubstr("viewBox=\"0 0 60 22\""));
  EXPECT_THAT(get("sketch?table=fabric&id=3&width=100&height=50").body,
              HasSubstr("viewBox=\"0 0 100 50\""));
}

TEST_F(DrawingRoutes, DrawTheShapeOfALineByItsMark) {
  EXPECT_THAT(get("sketch?sheet=417&revision=a&mark=10.3").body,
              HasSubstr("Mark 10.3: 400 (90°) 900"));
  EXPECT_THAT(get("sketch?sheet=417&revision=a&mark=1&position=2").body,
              HasSubstr("Mark 1: 100 (180°) 600"));
  EXPECT_EQ(get("sketch?sheet=417&revision=a&mark=none").status, 404);
  EXPECT_EQ(get("sketch?sheet=417&mark=1").status, 400);  // of two revisions
}

TEST_F(DrawingRoutes, RefuseASketchThatCannotBe) {
  EXPECT_EQ(get("sketch").status, 400);
  EXPECT_EQ(get("sketch?id=1&mark=1").status, 400);
  EXPECT_EQ(get("sketch?id=1&sheet=417").status, 400);
  EXPECT_EQ(get("sketch?id=999").status, 404);
  EXPECT_EQ(get("sketch?id=1&table=barspacer").status, 400);
  for (const std::string size :
       {"0", "9", "501", "-10", "1e2", "12.5", "99999999999", "", "60mm"}) {
    EXPECT_EQ(get("sketch?id=1&width=" + size).status, 400) << size;
  }
  EXPECT_EQ(get("sketch?id=1&height=x").detail(),
            "height: expected a number from 10 to 500, found \"x\"");
}

TEST_F(DrawingRoutes, ShowWhatOthersStoredAndRunNothing) {
  const std::string bar =
      R"({"items":[{"mark":"</title><script>alert(1)</script>","rev_id":1,"material_id":1,)"
      R"("comment":"<img src=x onerror=alert(1)>"}]})";
  const std::string material =
      client_.get("/v1/projects/a.db/list_materials").json().at("items").at(0).at("id").dump();
  std::string body = bar;
  body.replace(body.find("\"material_id\":1") + 14, 1, material);
  ASSERT_EQ(
      client_
          .send("POST", "/v1/projects/a.db/add_rebar", body, {{"Content-Type", "application/json"}})
          .status,
      200);
  for (const std::string target : {"sketch?sheet=417&revision=a&mark=%3C%2Ftitle%3E%3Cscript%3E"
                                   "alert(1)%3C%2Fscript%3E",
                                   "bending-list?format=html", "bending-list?format=svg"}) {
    const HttpAnswer answer = get(target);
    EXPECT_EQ(answer.status, 200) << target;
    EXPECT_THAT(answer.body, HasSubstr("&lt;")) << target;
    EXPECT_THAT(answer.body, Not(HasSubstr("<script"))) << target;
    EXPECT_THAT(answer.body, Not(HasSubstr("<img"))) << target;
  }
}

TEST_F(DrawingRoutes, StandInTheOpenApiDocument) {
  const auto paths = client_.get("/openapi.json").json().at("paths");
  const auto& list = paths.at("/v1/projects/{file}/bending-list").at("get");
  EXPECT_TRUE(list.at("responses").at("200").at("content").contains("application/pdf"));
  EXPECT_TRUE(paths.at("/v1/projects/{file}/sketch").contains("get"));
}

}  // namespace
}  // namespace korvane::test
