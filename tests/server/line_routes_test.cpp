// The lines of a schedule for a grid, and all of one line.

#include "server/line_routes.h"

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "contracts/cad/rebar.h"
#include "contracts/encoding/record_codec.h"
#include "schedule/query.h"
#include "tests/server/schedule_server.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

class LineRoutes : public ScheduleServer {
 protected:
  LineRoutes() { import("guideline.abs"); }

  /// The names of the columns of a table.
  static std::vector<std::string> names_of(const json& columns) {
    std::vector<std::string> names;
    for (const json& column : columns) names.push_back(column.at("name"));
    return names;
  }
};

TEST_F(LineRoutes, GiveTheLinesOfARevisionWithTheColumnsOfTheTables) {
  const HttpAnswer answer = get("lines?kind=bars&revision_id=1");
  ASSERT_EQ(answer.status, 200) << answer.body;
  const json page = answer.json();
  EXPECT_EQ(page.at("count"), page.at("ids").size());
  EXPECT_EQ(page.at("rows").size(), page.at("ids").size());
  EXPECT_TRUE(page.at("next").is_null());
  EXPECT_THAT(page.at("rows"), Each(SizeIs(page.at("columns").size())));
  const std::vector<std::string> names = names_of(page.at("columns"));
  const std::string csv = get("export?format=csv&sheet=417&revision=a").body;
  std::string header;
  for (const std::string& name : names) header += (header.empty() ? "" : ",") + name;
  EXPECT_THAT(csv, StartsWith(header + "\r\n"));
}

TEST_F(LineRoutes, GiveTheChosenColumnsInTheirOrder) {
  const json page = get("lines?kind=bars&revision_id=1&fields=steel,label,bar_diameter").json();
  EXPECT_THAT(names_of(page.at("columns")), ElementsAre("steel", "label", "bar_diameter"));
  EXPECT_EQ(page.at("columns")[2].at("unit"), "mm");
  EXPECT_EQ(page.at("columns")[2].at("kind"), "number");
  EXPECT_EQ(page.at("rows")[0].at(1), "1");
}

TEST_F(LineRoutes, RefuseAColumnThatThereIsNot) {
  const HttpAnswer answer = get("lines?kind=fabrics&revision_id=1&fields=label,weight");
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), HasSubstr("fabrics have no column \"weight\": expected sheet, "));
  EXPECT_THAT(answer.detail(), HasSubstr(", fabric_weight,"));
}

TEST_F(LineRoutes, GivePagesThatMakeUpTheWhole) {
  const json whole = get("lines?kind=bars&sheet=417&revision=a").json();
  json ids = json::array();
  json rows = json::array();
  std::string after;
  for (int pages = 0; pages < 20; ++pages) {
    const json page = get("lines?kind=bars&sheet=417&revision=a&limit=3" + after).json();
    EXPECT_EQ(page.at("count"), whole.at("count"));
    EXPECT_LE(page.at("ids").size(), 3U);
    ids.insert(ids.end(), page.at("ids").begin(), page.at("ids").end());
    rows.insert(rows.end(), page.at("rows").begin(), page.at("rows").end());
    if (page.at("next").is_null()) break;
    after = "&after=" + page.at("next").dump();
  }
  EXPECT_EQ(ids, whole.at("ids"));
  EXPECT_EQ(rows, whole.at("rows"));
}

TEST_F(LineRoutes, EndWithALastPageThatIsFull) {
  const json whole = get("lines?kind=bars&revision_id=1").json();
  const json page = get("lines?kind=bars&revision_id=1&limit=" + whole.at("count").dump()).json();
  EXPECT_TRUE(page.at("next").is_null());
  const std::string last = whole.at("ids").back().dump();
  EXPECT_THAT(get("lines?kind=bars&revision_id=1&after=" + last).json().at("ids"), IsEmpty());
}

TEST_F(LineRoutes, SeeTheLinesThatCameSince) {
  EXPECT_EQ(get("lines?kind=bars&revision_id=1").json().at("count"), 16);
  import("guideline.abs", "&append=true");
  EXPECT_EQ(get("lines?kind=bars&revision_id=1").json().at("count"), 32);
  EXPECT_THAT(get("lines?kind=bars&revision_id=1").json().at("ids"), SizeIs(32));
}

TEST_F(LineRoutes, GiveEachKind) {
  EXPECT_THAT(get("lines?kind=fabrics&revision_id=1&fields=type_name").json().at("rows").dump(),
              HasSubstr("Q257"));
  EXPECT_THAT(get("lines?kind=bar_spacers&revision_id=1").json().at("columns"),
              SizeIs(::testing::Gt(5U)));
  EXPECT_THAT(get("lines?kind=mounting_parts&revision_id=1").json().at("ids"), IsEmpty());
}

TEST_F(LineRoutes, NameALineWhoseRecordIsDamagedAndGiveTheOthers) {
  const json whole = get("lines?kind=bars&revision_id=1").json();
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update rebar set raw = x'2905' where id = 3");
  const HttpAnswer answer = get("lines?kind=bars&revision_id=1");
  ASSERT_EQ(answer.status, 200) << answer.body;
  const json page = answer.json();
  json ids = whole.at("ids");
  json rows = whole.at("rows");
  ids.erase(2);
  rows.erase(2);
  EXPECT_EQ(page.at("ids"), ids);
  EXPECT_EQ(page.at("rows"), rows);
  EXPECT_EQ(page.at("count"), whole.at("count"));
  ASSERT_THAT(page.at("damaged"), SizeIs(1));
  const json& damaged = page.at("damaged")[0];
  EXPECT_EQ(damaged.at("table"), "rebar");
  EXPECT_EQ(damaged.at("id"), 3);
  EXPECT_THAT(damaged.at("detail"),
              StartsWith("the record of the bar with the id 3 (table rebar) is damaged: "));
  // The damaged line is one of its page, so that pages do not shift.
  const json second = get("lines?kind=bars&revision_id=1&limit=3").json();
  EXPECT_EQ(second.at("ids"), json({1, 2}));
  EXPECT_EQ(second.at("next"), 3);
}

TEST_F(LineRoutes, WhatNeedsADamagedLine_IsRefusedByItsName) {
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update rebar set raw = null where id = 3");
  for (const char* const target : {"line?kind=bars&id=3", "export?format=csv", "sketch?id=3",
                                   "sketches?kind=bars&ids=1,3", "bending-list?format=svg"}) {
    const HttpAnswer answer = get(target);
    EXPECT_EQ(answer.status, 422) << target;
    EXPECT_EQ(answer.json().at("type"), "urn:korvane:problem:unusable-row") << target;
    EXPECT_THAT(answer.detail(), HasSubstr("the bar with the id 3 (table rebar) is damaged"))
        << target;
  }
}

TEST_F(LineRoutes, RefuseAPageThatCannotBe) {
  for (const std::string target :
       {"lines?revision_id=1", "lines?kind=beams&revision_id=1",
        "lines?kind=bars&revision_id=1&sheet=417", "lines?kind=bars&revision_id=a",
        "lines?kind=bars&revision_id=1&limit=0", "lines?kind=bars&revision_id=1&limit=20001",
        "lines?kind=bars&revision_id=1&after=x", "lines?kind=bars&sheet=417",
        "line?kind=bars&id=x"}) {
    EXPECT_EQ(get(target).status, 400) << target;
  }
  EXPECT_EQ(get("lines?kind=bars&revision_id=99").status, 404);
  EXPECT_EQ(get("lines?kind=bars&sheet=9&revision=a").status, 404);
  EXPECT_EQ(get("lines?kind=bars&revision_id=1", "none.db").status, 404);
}

TEST_F(LineRoutes, GiveAllOfOneLine) {
  const json rows = get("lines?kind=bars&revision_id=1").json();
  const HttpAnswer answer = get("line?kind=bars&id=" + rows.at("ids")[2].dump());
  ASSERT_EQ(answer.status, 200) << answer.body;
  const json line = answer.json();
  EXPECT_EQ(line.at("table"), "rebar");
  EXPECT_EQ(line.at("sheet"), "417");
  EXPECT_EQ(line.at("revision"), "a");
  EXPECT_EQ(line.at("revision_id"), 1);
  EXPECT_EQ(line.at("row"), rows.at("rows")[2]);
  EXPECT_EQ(line.at("columns"), rows.at("columns"));
  EXPECT_EQ(line.at("record").at("id"), rows.at("ids")[2]);
  EXPECT_TRUE(line.at("record").at("geometry").contains("objects"));
  EXPECT_EQ(line.at("tag"), answer.fields.at("etag"));
  EXPECT_THAT(line.at("tag"), ::testing::MatchesRegex("\"[0-9a-f]{64}\""));
}

TEST_F(LineRoutes, GiveThePathOfAFlatBarToScale) {
  const json shape = get("line?kind=bars&id=1").json().at("shape");
  EXPECT_EQ(shape.at("kind"), "flat");
  EXPECT_THAT(shape.at("description"), HasSubstr("400 (90°) 600"));
  const json& path = shape.at("path");
  ASSERT_GT(path.size(), 3U);
  const double diameter = shape.at("diameter");
  ASSERT_GT(diameter, 0);
  double right = 0;
  double up = 0;
  for (const json& point : path) {
    EXPECT_EQ(point.at(2), 0.0);
    right = std::max(right, std::abs(point.at(0).get<double>() - path[0].at(0).get<double>()));
    up = std::max(up, std::abs(point.at(1).get<double>() - path[0].at(1).get<double>()));
  }
  EXPECT_NEAR(right, 400 - diameter / 2, diameter);
  EXPECT_NEAR(up, 600 - diameter / 2, diameter);
}

TEST_F(LineRoutes, GiveThePathsOfAllShapesOfTheExamples) {
  import("shapes.abs", "", "b.db");
  std::set<std::string> kinds;
  for (const std::string file : {"a.db", "b.db"}) {
    for (int id = 1; id < 60; ++id) {
      const HttpAnswer answer = get("line?kind=bars&id=" + std::to_string(id), file);
      if (answer.status != 200) continue;
      const json shape = answer.json().at("shape");
      kinds.insert(shape.at("kind"));
      if (shape.at("kind") == "unknown") continue;
      EXPECT_GT(shape.at("path").size(), 1U) << id;
    }
  }
  EXPECT_EQ(kinds.count("flat") + kinds.count("spatial") + kinds.count("helix"), 3U)
      << json(kinds).dump();
}

TEST_F(LineRoutes, GiveTheLinesOfTheOtherKinds) {
  const json fabric = get("line?kind=fabrics&id=1").json();
  EXPECT_EQ(fabric.at("table"), "fabric");
  EXPECT_FALSE(fabric.at("shape").at("path").empty());
  EXPECT_EQ(get("line?kind=mounting_parts&id=1").status, 404);
  EXPECT_THAT(get("line?kind=bars&id=999").detail(),
              HasSubstr("no bar with the id 999 in this project"));
}

TEST_F(LineRoutes, ShowARecordThatJsonCannotSay) {
  model::cad::Rebar bar;
  bar.comment = "\xff";
  bar.total_length = std::nan("");
  const bond::blob raw = encoding::encode(bar);
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update rebar set raw = " +
           schedule::sql_blob(std::string_view(raw.content(), raw.size())) + " where id = 1");
  const HttpAnswer answer = get("line?kind=bars&id=1");
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json().at("record").at("comment"), "\xef\xbf\xbd");
  EXPECT_TRUE(answer.json().at("record").at("total_length").is_null());
  EXPECT_EQ(get("lines?kind=bars&revision_id=1").status, 200);
}

TEST_F(LineRoutes, DrawManySketchesAtOnce) {
  const json answer = get("sketches?kind=bars&ids=3,999,1&width=100&height=50").json();
  const json& sketches = answer.at("sketches");
  ASSERT_EQ(sketches.size(), 2U);
  EXPECT_EQ(sketches[0].at("id"), 3);
  EXPECT_EQ(sketches[1].at("id"), 1);
  EXPECT_EQ(sketches[1].at("description"), "Mark 1: 400 (90°) 600");
  EXPECT_EQ(sketches[1].at("svg"), get("sketch?id=1&width=100&height=50").body);
  EXPECT_THAT(get("sketches?kind=fabrics&ids=3").json().at("sketches")[0].at("svg"),
              StartsWith("<svg"));
  EXPECT_THAT(get("sketches?kind=bars&ids=").json().at("sketches"), IsEmpty());
}

TEST_F(LineRoutes, RefuseSketchesThatCannotBe) {
  std::string ids = "1";
  for (int i = 0; i < 200; ++i) ids += ",1";
  for (const std::string target :
       {"sketches?ids=1", "sketches?kind=bar_spacers&ids=1", "sketches?kind=bars",
        "sketches?kind=bars&ids=1,", "sketches?kind=bars&ids=1&width=5"}) {
    EXPECT_EQ(get(target).status, 400) << target;
  }
  EXPECT_THAT(get("sketches?kind=bars&ids=" + ids).detail(),
              HasSubstr("ids: expected at most 200, found 201"));
}

}  // namespace
}  // namespace korvane::test
