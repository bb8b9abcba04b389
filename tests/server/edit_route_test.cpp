// New values for a bar.

#include "server/edit_route.h"

#include <filesystem>
#include <string>

#include "tests/server/schedule_server.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class EditRoute : public ScheduleServer {
 protected:
  EditRoute() { import("guideline.abs"); }

  HttpAnswer edit(int id, const json& values, const std::string& if_match = "",
                  const std::string& parameters = "") {
    HttpFields fields = {{"Content-Type", kJson}};
    if (!if_match.empty()) fields.emplace_back("If-Match", if_match);
    return client_.send("POST", "/v1/projects/a.db/edit?id=" + std::to_string(id) + parameters,
                        values.dump(), fields);
  }
  json line(int id) { return get("line?kind=bars&id=" + std::to_string(id)).json(); }
  std::string tag(int id = 1) { return line(id).at("tag"); }
  /// All that the file holds of bars and revisions.
  Rows stored() {
    Rows rows = plain_rows(server_.file("a.db"), "select id, raw from rebar order by id");
    for (Row& row : plain_rows(server_.file("a.db"), "select id, raw from revision")) {
      rows.push_back(std::move(row));
    }
    return rows;
  }
};

TEST_F(EditRoute, StoresNewValuesAndSaysWhatHasChanged) {
  const json before = line(3);
  const HttpAnswer answer = edit(3, {{"comment", "bent on site"}, {"total_bars", 4}});
  ASSERT_EQ(answer.status, 200) << answer.body;
  const json edited = answer.json();
  const json after = line(edited.at("id"));
  EXPECT_EQ(after.at("record").at("comment"), "bent on site");
  EXPECT_EQ(after.at("record").at("total_bars"), 4);
  EXPECT_EQ(after.at("record").at("mark"), before.at("record").at("mark"));
  EXPECT_EQ(edited.at("tag"), after.at("tag"));
  EXPECT_EQ(answer.fields.at("etag"), after.at("tag"));
  EXPECT_NE(after.at("tag"), before.at("tag"));
  bool has_comment = false;
  for (const json& change : edited.at("changes")) {
    if (change.at("field") != "comment") continue;
    has_comment = true;
    EXPECT_EQ(change.at("before"), before.at("record").at("comment"));
    EXPECT_EQ(change.at("after"), "bent on site");
  }
  EXPECT_TRUE(has_comment) << edited.dump();
}

TEST_F(EditRoute, FindsTheLineAgainUnderItsNewId) {
  const json edited = edit(3, {{"comment", "x"}}).json();
  EXPECT_NE(edited.at("id"), 3);
  const json again = edit(edited.at("id"), {{"comment", "y"}}).json();
  EXPECT_EQ(line(again.at("id")).at("record").at("comment"), "y");
  EXPECT_EQ(edit(3, {{"comment", "z"}}).status, 404);
}

TEST_F(EditRoute, SaysWhatWouldChangeAndStoresNothing) {
  const Rows before = stored();
  const std::string tag_before = tag();
  const HttpAnswer answer = edit(1, {{"total_bars", 9}}, "", "&dry_run=true");
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json().at("id"), 1);
  EXPECT_EQ(answer.json().at("tag"), tag_before);
  EXPECT_FALSE(answer.json().at("changes").empty());
  EXPECT_EQ(stored(), before);
}

TEST_F(EditRoute, TakesSteelsByNameAndTextsThatLookLikeNumbers) {
  client_.send("POST", "/v1/projects/a.db/create_material", R"({"identity":{"name":"B700"}})",
               {{"Content-Type", kJson}});
  const HttpAnswer answer = edit(1, {{"steel", "B700"}, {"mark", "12"}, {"submark", nullptr}});
  ASSERT_EQ(answer.status, 200) << answer.body;
  const json bar = line(answer.json().at("id"));
  EXPECT_EQ(bar.at("record").at("mark"), "12");
  EXPECT_THAT(bar.at("row").dump(), HasSubstr("B700"));
}

TEST_F(EditRoute, DoesNothingIfTheRevisionHasChangedSince) {
  const std::string seen = tag();
  ASSERT_EQ(edit(2, {{"comment", "another's"}}, seen).status, 200);
  const std::string id =
      plain_rows(server_.file("a.db"), "select min(id) from rebar where rev_id = 1")
          .at(0)
          .at(0)
          .value();
  const Rows before = stored();
  for (const std::string parameters : {"", "&dry_run=true"}) {
    const HttpAnswer refused = edit(std::stoi(id), {{"comment", "mine"}}, seen, parameters);
    EXPECT_EQ(refused.status, 412);
    EXPECT_THAT(refused.detail(), HasSubstr("the revision has changed since: its tag is \""));
  }
  EXPECT_EQ(stored(), before);
}

TEST_F(EditRoute, SaysThatTheRevisionHasChangedWhereTheRowHasAnotherIdSince) {
  const std::string seen = tag(3);
  ASSERT_EQ(edit(3, {{"comment", "theirs"}}).status, 200);
  const HttpAnswer refused = edit(3, {{"comment", "mine"}}, seen);
  EXPECT_EQ(refused.status, 412);
  EXPECT_EQ(refused.detail(),
            "the revision has changed since: no bar with the id 3 in this project");
  EXPECT_EQ(edit(3, {{"comment", "mine"}}).status, 404);
}

TEST_F(EditRoute, SaysWhatIsNotThereOfWhatItIsToTakeThoughTheTagHolds) {
  EXPECT_EQ(edit(1, {{"steel", "none"}}, tag()).status, 404);
}

TEST_F(EditRoute, SeesWhatAnotherProgramHasWritten) {
  const std::string seen = tag();
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update rebar set raw = (select raw from rebar where id = 3) where id = 2");
  EXPECT_EQ(edit(1, {{"comment", "mine"}}, seen).status, 412);
  EXPECT_EQ(edit(1, {{"comment", "mine"}}, tag()).status, 200);
}

TEST_F(EditRoute, IsNotDeceivedByATableNamedLikeAFunctionOfAPragma) {
  PlainConnection other(server_.file("a.db"), PlainConnection::Mode::kWrite);
  other.run("create table pragma_data_version (data_version)");
  other.run("insert into pragma_data_version values (1)");
  const std::string seen = tag();
  other.run("update rebar set raw = (select raw from rebar where id = 3) where id = 2");
  EXPECT_EQ(edit(1, {{"comment", "mine"}}, seen, "&dry_run=true").status, 412);
}

TEST_F(EditRoute, SeesWhatWasWrittenWhileTheProjectWasClosed) {
  const std::string seen = tag();
  ASSERT_TRUE(server_.reload());
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update rebar set raw = (select raw from rebar where id = 3) where id = 2");
  EXPECT_NE(tag(), seen);
}

TEST_F(EditRoute, DoesNotMindChangesOfOtherRevisions) {
  const std::string seen = tag();
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("delete from rebar where rev_id <> 1");
  EXPECT_EQ(edit(1, {{"comment", "mine"}}, seen).status, 200);
}

TEST_F(EditRoute, TakesOneOfSeveralTagsOrAny) {
  EXPECT_EQ(edit(1, {{"comment", "a"}}, "\"other\", " + tag(), "&dry_run=true").status, 200);
  EXPECT_EQ(edit(1, {{"comment", "a"}}, "*", "&dry_run=true").status, 200);
  // A weak tag says that two contents are alike, not that they are the same.
  EXPECT_EQ(edit(1, {{"comment", "a"}}, "W/" + tag(), "&dry_run=true").status, 412);
  for (const std::string text : {"a", "\"a", "\"a\" \"b\"", "*,*", "\"a\","}) {
    EXPECT_EQ(edit(1, {{"comment", "a"}}, text).status, 400) << text;
  }
}

TEST_F(EditRoute, GivesTheSameTagToTheSameContent) {
  const std::string seen = tag();
  EXPECT_EQ(tag(2), seen);
  EXPECT_NE(get("line?kind=fabrics&id=1").json().at("tag"), "");
  import("guideline.abs", "&replace=true");
  const std::string first =
      plain_rows(server_.file("a.db"), "select min(id) from rebar where rev_id = 1")
          .at(0)
          .at(0)
          .value();
  EXPECT_EQ(tag(std::stoi(first)), seen);
}

TEST_F(EditRoute, RefusesWhatCannotBe) {
  const Rows before = stored();
  EXPECT_EQ(edit(999, {{"comment", "a"}}).status, 404);
  EXPECT_EQ(edit(1, {{"steel", "none"}}).status, 404);
  for (const json& values :
       {json(json::object()), json::array(), json("text"), json{{"colour", "red"}}, json{{"id", 2}},
        json{{"total_bars", "many"}}, json{{"total_bars", 1.5}},
        json{{"geometry.objects[7].length", 3}}, json{{"", 1}}}) {
    EXPECT_EQ(edit(1, values).status, 400) << values.dump();
  }
  const std::string deep = "{\"comment\":" + std::string(100000, '[') + "}";
  EXPECT_EQ(
      client_.send("POST", "/v1/projects/a.db/edit?id=1", deep, {{"Content-Type", kJson}}).status,
      400);
  EXPECT_EQ(stored(), before);
}

TEST_F(EditRoute, MakesNoProject) {
  const HttpAnswer answer = client_.send("POST", "/v1/projects/none.db/edit?id=1&create=true",
                                         R"({"comment":"a"})", {{"Content-Type", kJson}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_FALSE(std::filesystem::exists(server_.file("none.db")));
}

}  // namespace
}  // namespace korvane::test
