// What a project has besides schedule lines.

#include "server/contents_route.h"

#include <string>

#include "tests/server/schedule_server.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {
namespace {

using nlohmann::json;

class ContentsRoute : public ScheduleServer {
 protected:
  ContentsRoute() { import("guideline.abs"); }

  json contents() { return get("contents").json(); }
  static json entry(const json& entries, const std::string& name) {
    for (const json& each : entries) {
      if (each.at("name") == name) return each;
    }
    return nullptr;
  }
  std::string value(const std::string& sql) {
    return plain_rows(server_.file("a.db"), sql).at(0).at(0).value();
  }
};

TEST_F(ContentsRoute, GivesSheetsAndRevisionsWithWhatTheyHave) {
  const json answer = contents();
  const json totals = get("totals").json();
  std::size_t row = 0;
  for (const json& sheet : answer.at("sheets")) {
    for (const json& revision : sheet.at("revisions")) {
      const json& expected = totals.at("revisions").at(row++);
      EXPECT_EQ(sheet.at("name"), expected.at("sheet"));
      EXPECT_EQ(revision.at("name"), expected.at("revision"));
      EXPECT_EQ(revision.at("marks"), expected.at("marks"));
      EXPECT_EQ(revision.at("pieces"), expected.at("bars").get<int>() +
                                           expected.at("fabrics").get<int>() +
                                           expected.at("bar_spacers").get<int>());
      EXPECT_NEAR(revision.at("kilograms").get<double>(), expected.at("mass").get<double>(), 0.01);
      EXPECT_EQ(revision.at("record").at("name"), revision.at("name"));
      const std::string where = " where rev_id = " + revision.at("id").dump();
      EXPECT_EQ(revision.at("bars").dump(), value("select count(*) from rebar" + where));
      EXPECT_EQ(revision.at("fabrics").dump(), value("select count(*) from fabric" + where));
      EXPECT_EQ(revision.at("bar_spacers").dump(), value("select count(*) from barspacer" + where));
      EXPECT_EQ(revision.at("mounting_parts"), 0);
    }
  }
  EXPECT_EQ(row, totals.at("revisions").size());
  EXPECT_TRUE(answer.at("project").contains("properties"));
}

TEST_F(ContentsRoute, CountsMarksWithoutAWeight) {
  const json before = contents().at("sheets")[0].at("revisions")[0];
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update rebar set bartype_mass_per_length = 0 where rev_id = 1");
  const json after = contents().at("sheets")[0].at("revisions")[0];
  EXPECT_EQ(after.at("without_weight"), before.at("without_weight").get<int>() + 15);
  EXPECT_LT(after.at("kilograms").get<double>(), before.at("kilograms").get<double>());
}

TEST_F(ContentsRoute, SaysWhereCatalogueEntriesAreUsed) {
  const json answer = contents();
  const json steel = entry(answer.at("materials"), "B500A");
  ASSERT_FALSE(steel.is_null()) << answer.dump();
  EXPECT_EQ(steel.at("record").at("identity").at("name"), "B500A");
  const std::string id = steel.at("id").dump();
  for (const json& use : steel.at("uses")) {
    EXPECT_EQ(use.at("lines").dump(), value("select count(*) from rebar where material_id = " + id +
                                            " and rev_id = " + use.at("revision_id").dump()));
  }
  const json type = entry(answer.at("fabric_types"), "Q257");
  ASSERT_FALSE(type.is_null()) << answer.dump();
  ASSERT_FALSE(type.at("uses").empty());
  EXPECT_EQ(type.at("uses")[0].at("lines").dump(),
            value("select count(*) from fabric where fabric_type_id = " + type.at("id").dump()));
}

TEST_F(ContentsRoute, ListsAnEntryThatNothingUses) {
  client_.send("POST", "/v1/projects/a.db/create_material", R"({"identity":{"name":"none"}})",
               {{"Content-Type", kJson}});
  const json steel = entry(contents().at("materials"), "none");
  ASSERT_FALSE(steel.is_null());
  EXPECT_TRUE(steel.at("uses").empty());
}

TEST_F(ContentsRoute, IsRefusedForAProjectThatIsNotThere) {
  EXPECT_EQ(get("contents", "none.db").status, 404);
}

}  // namespace
}  // namespace korvane::test
