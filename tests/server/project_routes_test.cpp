// What a server does with the schedule of a project.

#include "server/project_routes.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include <Poco/URI.h>

#include "tests/host/support/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

std::string text_of(const std::string& file) {
  std::ifstream input(KORVANE_EXAMPLES "/" + file, std::ios::binary);
  std::ostringstream text;
  text << input.rdbuf();
  return text.str();
}

class ProjectRoutes : public ::testing::Test {
 protected:
  HttpAnswer import(const std::string& body, const std::string& parameters = "",
                    const std::string& file = "a.db") {
    return client_.send("POST", "/v1/projects/" + file + "/import?create=true" + parameters, body,
                        {{"Content-Type", "text/plain"}});
  }
  HttpAnswer get(const std::string& target, const std::string& file = "a.db") {
    return client_.get("/v1/projects/" + file + "/" + target);
  }

  TestServer server_{{}, std::nullopt, {}, server::project_routes()};
  HttpClient client_ = server_.client();
};

TEST_F(ProjectRoutes, ImportStoresASchedule) {
  const HttpAnswer answer = import(text_of("guideline.abs"));
  ASSERT_EQ(answer.status, 200) << answer.body;
  const json revisions = answer.json().at("revisions");
  ASSERT_EQ(revisions.size(), 2U);
  EXPECT_EQ(revisions[0].at("sheet"), "417");
  EXPECT_EQ(revisions[0].at("bars"), 16);
  EXPECT_THAT(plain_rows(server_.file("a.db"), "select 1 from rebar"), SizeIs(16));
}

TEST_F(ProjectRoutes, ImportRefusesAFaultyRecordAndMakesNoProject) {
  const HttpAnswer answer = import(text_of("bad-checksum.abs"));
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), HasSubstr("wrong checksum"));
  EXPECT_FALSE(std::filesystem::exists(server_.file("a.db")));
}

TEST_F(ProjectRoutes, ImportStoresTheRestIfAsked) {
  std::string text = text_of("guideline.abs");
  text.replace(text.find("@l1000@"), 7, "@l1001@");
  const HttpAnswer answer = import(text, "&skip_faulty=true");
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json().at("left_out").at(0).at("line"), 1);
  EXPECT_THAT(plain_rows(server_.file("a.db"), "select 1 from rebar"), SizeIs(15));
}

TEST_F(ProjectRoutes, ImportRefusesABodyWithoutARecord) {
  EXPECT_EQ(import("").status, 400);
  EXPECT_EQ(import("hello").status, 400);
  EXPECT_FALSE(std::filesystem::exists(server_.file("a.db")));
}

TEST_F(ProjectRoutes, ImportReplacesOrAppendsIfAsked) {
  import(text_of("guideline.abs"));
  EXPECT_EQ(import(text_of("guideline.abs")).status, 400);
  EXPECT_EQ(import(text_of("guideline.abs"), "&replace=true").status, 200);
  EXPECT_THAT(plain_rows(server_.file("a.db"), "select 1 from rebar"), SizeIs(16));
  EXPECT_EQ(import(text_of("guideline.abs"), "&append=true").status, 200);
  EXPECT_THAT(plain_rows(server_.file("a.db"), "select 1 from rebar"), SizeIs(32));
  EXPECT_EQ(import(text_of("guideline.abs"), "&append=true&replace=true").status, 400);
}

TEST_F(ProjectRoutes, ImportSaysWhatRevisionsHadBefore) {
  EXPECT_EQ(import(text_of("guideline.abs")).json().at("revisions")[0].at("lines_before"), 0);
  const json again = import(text_of("guideline.abs"), "&append=true").json();
  EXPECT_EQ(again.at("revisions")[0].at("lines_before"), 19);
  const std::string document = get("export?format=json").body;
  const json replaced = import(document, "&replace=true").json();
  EXPECT_EQ(replaced.at("revisions")[0].at("lines_before"), 38);
}

TEST_F(ProjectRoutes, ADryRunSaysWhatWouldBeStoredAndStoresNothing) {
  import(text_of("guideline.abs"), "&revision=a");
  const auto stored = [&] {
    return plain_rows(server_.file("a.db"),
                      "select id, raw from revision union all select id, raw "
                      "from rebar union all select id, raw from material");
  };
  const Rows before = stored();
  const json there =
      import(text_of("guideline.abs"), "&revision=a&dry_run=true").json().at("revisions")[0];
  EXPECT_EQ(there.at("id"), 1);
  EXPECT_EQ(there.at("bars"), 16);
  EXPECT_GT(there.at("lines_before"), 0);
  const json made =
      import(text_of("shapes.abs"), "&revision=new&dry_run=true").json().at("revisions")[0];
  EXPECT_EQ(made.at("id"), 0);
  EXPECT_EQ(made.at("revision"), "new");
  EXPECT_EQ(made.at("lines_before"), 0);
  EXPECT_EQ(import(text_of("shapes.abs"), "&dry_run=true&replace=true&append=true").status, 400);
  EXPECT_EQ(stored(), before);
}

TEST_F(ProjectRoutes, ADryRunNamesAllFaults) {
  std::string text = text_of("guideline.abs");
  text.replace(text.find("@l1000@"), 7, "@l1001@");
  text += "BF2D@nothing@\n";
  const HttpAnswer answer = import(text, "&dry_run=true");
  ASSERT_EQ(answer.status, 200) << answer.body;
  ASSERT_EQ(answer.json().at("left_out").size(), 2U);
  EXPECT_EQ(answer.json().at("left_out")[0].at("line"), 1);
  EXPECT_EQ(answer.json().at("revisions")[0].at("bars"), 15);
  EXPECT_THAT(import("hello", "&dry_run=true").json().at("left_out"), SizeIs(1));
  EXPECT_EQ(import("", "&dry_run=true").status, 400);
}

TEST_F(ProjectRoutes, ADryRunMakesNoProject) {
  const HttpAnswer answer = import(text_of("guideline.abs"), "&dry_run=true");
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json().at("revisions").size(), 2U);
  EXPECT_EQ(answer.json().at("revisions")[0].at("id"), 0);
  EXPECT_EQ(client_
                .send("POST", "/v1/projects/a.db/import?dry_run=true", text_of("guideline.abs"),
                      {{"Content-Type", "text/plain"}})
                .status,
            404);
  EXPECT_TRUE(std::filesystem::is_empty(server_.folder()));
  import(text_of("guideline.abs"), "", "b.db");
  EXPECT_EQ(import(get("export?format=json", "b.db").body, "&dry_run=true").status, 200);
  EXPECT_FALSE(std::filesystem::exists(server_.file("a.db")));
}

TEST_F(ProjectRoutes, ExportGivesTheScheduleThatWasImported) {
  import(text_of("guideline.abs"));
  const HttpAnswer answer = get("export?format=bvbs&sheet=417&revision=a");
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.fields.at("content-disposition"), "attachment; filename=\"schedule.abs\"");
  const std::string original = text_of("guideline.abs");
  EXPECT_EQ(answer.body.substr(0, answer.body.find('\n')), original.substr(0, original.find('\n')));
}

TEST_F(ProjectRoutes, ExportGivesEachFormat) {
  import(text_of("guideline.abs"));
  EXPECT_THAT(get("export?format=csv").body, StartsWith("sheet,revision,"));
  EXPECT_THAT(get("export?format=csv&kind=fabrics").body, HasSubstr("Q257"));
  EXPECT_THAT(get("export?format=xlsx").body, StartsWith("PK"));
  EXPECT_EQ(get("export?format=json").json().at("format"), "korvane project");
  EXPECT_THAT(get("export?format=ndjson").body, HasSubstr("\"kind\":\"bar\""));
  EXPECT_EQ(get("export?format=pdf").status, 400);
  EXPECT_EQ(get("export").status, 400);
}

TEST_F(ProjectRoutes, ExportLeavesNoTemporaryFile) {
  import(text_of("guideline.abs"));
  const TemporaryFolder folder;
  ::setenv("TMPDIR", folder.path().c_str(), 1);
  EXPECT_EQ(get("export?format=xlsx").status, 200);
  EXPECT_EQ(get("export?format=xlsx&sheet=none").status, 404);
  ::unsetenv("TMPDIR");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(ProjectRoutes, ADocumentThatWasExportedCanBeImported) {
  import(text_of("guideline.abs"));
  const std::string document = get("export?format=json").body;
  ASSERT_EQ(import(document, "", "b.db").status, 200);
  EXPECT_EQ(get("export?format=bvbs", "b.db").body, get("export?format=bvbs").body);
}

TEST_F(ProjectRoutes, ExportNamesWhatTheFormatCannotSay) {
  import(text_of("guideline.abs"));
  const std::string material =
      client_.get("/v1/projects/a.db/list_materials").json().at("items").at(0).at("id").dump();
  const std::string bar = R"({"items":[{"mark":"77","rev_id":1,"material_id":)" + material + "}]}";
  ASSERT_EQ(
      client_.send("POST", "/v1/projects/a.db/add_rebar", bar, {{"Content-Type", kJson}}).status,
      200);
  const HttpAnswer refused = get("export?format=bvbs");
  EXPECT_EQ(refused.status, 400);
  EXPECT_THAT(refused.detail(), HasSubstr("mark 77"));
  EXPECT_EQ(get("export?format=bvbs&skip_unsayable=true").status, 200);
}

TEST_F(ProjectRoutes, CompareSaysWhatHasChanged) {
  import(text_of("guideline.abs"), "&revision=a");
  std::string text = text_of("guideline.abs");
  import(text, "&revision=b");
  EXPECT_THAT(get("compare?before=a&after=b").json().at("changes"), IsEmpty());
  import(text_of("shapes.abs"), "&sheet=417&revision=c");
  const json changed = get("compare?before=a&after=c&sheet=417").json();
  EXPECT_FALSE(changed.at("changes").empty());
  EXPECT_FALSE(changed.at("bar_differences").empty());
  for (const json& change : changed.at("changes")) {
    EXPECT_EQ(change.at("before_id").is_null(), change.at("change") == "added") << change.dump();
    EXPECT_EQ(change.at("after_id").is_null(), change.at("change") == "removed") << change.dump();
  }
  EXPECT_EQ(get("compare?before=a&after=z").status, 404);
  EXPECT_EQ(get("compare?before=a").status, 400);
}

TEST_F(ProjectRoutes, CompareNamesTheRowsOfALineThatHasChanged) {
  import(text_of("guideline.abs"), "&revision=a");
  import(text_of("guideline.abs"), "&revision=b");
  const auto row = [&](const std::string& revision) {
    return plain_rows(server_.file("a.db"),
                      "select max(id) from rebar where rev_id = (select id from revision "
                      "order by id limit 1 offset " +
                          revision + ")")
        .at(0)
        .at(0)
        .value();
  };
  const std::string before = row("0");
  const HttpAnswer edited = client_.send("POST", "/v1/projects/a.db/edit?id=" + row("1"),
                                         R"({"comment":"another"})", {{"Content-Type", kJson}});
  ASSERT_EQ(edited.status, 200) << edited.body;
  const json changes = get("compare?before=a&after=b").json().at("changes");
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].at("field"), "comment");
  EXPECT_EQ(changes[0].at("before_id").dump(), before);
  EXPECT_EQ(changes[0].at("after_id"), edited.json().at("id"));
}

TEST_F(ProjectRoutes, TotalsAddUpByRevisionAndDiameter) {
  import(text_of("guideline.abs"));
  const json totals = get("totals").json();
  EXPECT_EQ(totals.at("revisions").size(), 2U);
  double kilograms = 0;
  for (const json& row : totals.at("bar_totals")) {
    if (row.at("mass").is_number()) kilograms += row.at("mass").get<double>();
  }
  EXPECT_NEAR(kilograms, 1207.65, 0.01);
  EXPECT_EQ(get("totals?sheet=9").status, 404);
}

TEST_F(ProjectRoutes, AreRefusedForAProjectThatIsNotThere) {
  EXPECT_EQ(get("export?format=json", "none.db").status, 404);
  EXPECT_EQ(get("totals", "none.db").status, 404);
}

TEST_F(ProjectRoutes, StandInTheOpenApiDocument) {
  const json paths = client_.get("/openapi.json").json().at("paths");
  EXPECT_TRUE(paths.at("/v1/projects/{file}/import").contains("post"));
  for (const std::string name : {"export", "compare", "totals"}) {
    EXPECT_TRUE(paths.at("/v1/projects/{file}/" + name).contains("get")) << name;
  }
  for (const std::string name : {"export", "compare", "totals", "lines", "line", "contents"}) {
    EXPECT_FALSE(paths.at("/v1/projects/{file}/" + name).at("get").at("description").empty());
  }
  EXPECT_FALSE(
      paths.at("/v1/projects/{file}/edit").at("post").at("parameters").dump().find("create") !=
      std::string::npos);
  std::map<std::string, std::string> texts;
  for (const json& parameter : paths.at("/v1/projects/{file}/import").at("post").at("parameters")) {
    if (parameter.contains("description"))
      texts[parameter.at("name")] = parameter.at("description");
  }
  EXPECT_THAT(texts.at("name"), HasSubstr("The name of the file"));
  EXPECT_THAT(texts.at("sheet"), HasSubstr("The sheet"));
  EXPECT_THAT(texts.at("revision"), HasSubstr("The revision"));
}

}  // namespace
}  // namespace korvane::test
