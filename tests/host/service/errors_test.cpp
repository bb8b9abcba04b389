// What a call's failure is to a client: a status, and a problem document with the failure's own
// text.

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "contracts/cad/material.h"
#include "contracts/cad/sheet.h"
#include "contracts/encoding/record_codec.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

class ErrorsTest : public ServerTest {
 protected:
  const std::string& project() const { return project_; }

  HttpAnswer call(const std::string& operation,
                  const nlohmann::json& request = nlohmann::json::object()) {
    return client().call(project_, operation, request);
  }
  HttpAnswer call_with_text(const std::string& operation, const std::string& body) {
    return client().send("POST", path_of(project_, operation), body, {{"Content-Type", kJson}});
  }
  template <class Record>
  HttpAnswer call_with_record(const std::string& operation, const Record& record) {
    const bond::blob bytes = encoding::encode(record);
    return client().call_binary(project_, operation, {bytes.content(), bytes.size()});
  }
  Rows rows(const std::string& sql) { return plain_rows(server().file("project.db"), sql); }

  /// A bar of a revision that there may not be.
  static nlohmann::json bars_of(int revision, int material) {
    return {{"items", {{{"rev_id", revision}, {"material_id", material}}}}};
  }

 private:
  std::string project_ = server().open("project.db");
};

TEST_F(ErrorsTest, AreProblemDocuments) {
  const HttpAnswer answer = call("get_sheet", {{"id", 1}});
  EXPECT_EQ(answer.fields.at("content-type"), kProblem);
  EXPECT_EQ(answer.json(), nlohmann::json({{"type", "urn:korvane:problem:not-found"},
                                           {"title", "Not Found"},
                                           {"status", 404},
                                           {"detail", "failed to get_sheet"}}));
}

TEST_F(ErrorsTest, AreProblemDocumentsWhateverTheRequestsForm) {
  const HttpAnswer answer = call_with_record("get_sheet", model::cad::SheetRef{});
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.detail(), "failed to get_sheet");
}

TEST_F(ErrorsTest, RepeatTheFrontOfALongRequestOnly) {
  const std::string sql = "select '" + std::string(100'000, 'x');
  const HttpAnswer answer = call("query_table", sql_request(sql));
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), HasSubstr("unrecognized token: \"'xxx"));
  EXPECT_THAT(answer.detail(), ::testing::EndsWith("xxx\u2026"));
  EXPECT_LT(answer.detail().size(), 4200U);
}

TEST_F(ErrorsTest, AreCutBetweenCharacters) {
  for (const char* const padding : {"", "x", "xx"}) {
    const HttpAnswer answer = call(
        "query_table", sql_request(std::string("select '") + padding + repeated("\u20ac", 5000)));
    EXPECT_EQ(answer.status, 400);
    EXPECT_THAT(answer.detail(), Not(HasSubstr("\uFFFD")));
    EXPECT_THAT(answer.detail(), ::testing::EndsWith("\u20ac\u2026"));
  }
}

TEST_F(ErrorsTest, AMissIsNotFound) {
  for (const char* const entity : {"sheet", "revision", "material", "fabric_type"}) {
    const HttpAnswer answer = call(std::string("get_") + entity, {{"id", 4711}});
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.detail(), std::string("failed to get_") + entity);
  }
}

TEST_F(ErrorsTest, AMissThatMayBeIsNone) {
  const HttpAnswer answer = call("try_get_sheet", {{"id", 4711}});
  EXPECT_EQ(answer.status, 200);
  EXPECT_TRUE(answer.json().at("value").is_null());
}

TEST_F(ErrorsTest, AMissingReferenceIsABadRequest) {
  const HttpAnswer answer = call("delete_sheet");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "id or uid required");
}

TEST_F(ErrorsTest, AMissingFileNameIsABadRequest) {
  const HttpAnswer answer = client().call(kManager, "open");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "Missing property: filename");
}

TEST_F(ErrorsTest, AMissingQueryIsABadRequest) {
  const HttpAnswer answer = call("query_table", {{"kind", "sql:raw"}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "No query or empty query");
}

TEST_F(ErrorsTest, MalformedJsonIsABadRequest) {
  for (const char* const body : {"{", "[1", "{\"name\":}", "\xFF", "nul"}) {
    const HttpAnswer answer = call_with_text("create_sheet", body);
    EXPECT_EQ(answer.status, 400) << body;
    EXPECT_THAT(answer.detail(), StartsWith("request: malformed JSON at line 1, column"));
  }
}

TEST_F(ErrorsTest, AnEmptyBodyIsABadRequest) {
  const HttpAnswer text = call_with_text("create_sheet", "");
  EXPECT_EQ(text.status, 400);
  EXPECT_EQ(text.detail(), "request: the text is empty");
  const HttpAnswer binary = client().call_binary(project(), "create_sheet", "");
  EXPECT_EQ(binary.status, 400);
  EXPECT_THAT(binary.detail(), StartsWith("Read out of bounds: 1 bytes requested"));
}

TEST_F(ErrorsTest, AnUnknownFieldIsNamedWithItsPath) {
  const HttpAnswer answer =
      call("add_rebar", {{"items", {{{"rev_id", 1}}, {{"parameters_exact", {{"q", 1}}}}}}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "items[1].parameters_exact.q: unknown field");
}

TEST_F(ErrorsTest, AValueOfAnotherTypeIsNamedWithItsPath) {
  const HttpAnswer answer = call("create_sheet", {{"name", 5}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "name: expected text, found a number");
}

TEST_F(ErrorsTest, MalformedJsonInTheAddressIsABadRequest) {
  const HttpAnswer answer = client().get(path_of(project(), "get_sheet") + "?request={");
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), StartsWith("request: malformed JSON"));
}

TEST_F(ErrorsTest, CutOffCompactBinaryIsABadRequestAndStoresNothing) {
  model::cad::Sheet sheet;
  sheet.name = "Foundation";
  const bond::blob bytes = encoding::encode(sheet);
  for (std::uint32_t length = 0; length < bytes.size(); ++length) {
    const HttpAnswer answer =
        client().call_binary(project(), "create_sheet", {bytes.content(), length});
    EXPECT_EQ(answer.status, 400) << length;
    EXPECT_THAT(answer.detail(), StartsWith("Read out of bounds"));
  }
  EXPECT_EQ(rows("select count(*) from sheet"), Rows({{"0"}}));
}

TEST_F(ErrorsTest, CutOffCompactBinaryOpensNothing) {
  const HttpAnswer answer = client().call_binary(kManager, "open", "\x09\x05x");
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), StartsWith("Read out of bounds"));
}

TEST_F(ErrorsTest, AnUnknownRevisionIsAConflictAndStoresNothing) {
  const int material = call("create_material").json().at("id");
  const HttpAnswer answer = call("add_rebar", bars_of(999, material));
  EXPECT_EQ(answer.status, 409);
  EXPECT_THAT(answer.detail(), HasSubstr("FOREIGN KEY constraint failed"));
  EXPECT_EQ(rows("select count(*) from rebar"), Rows({{"0"}}));
}

TEST_F(ErrorsTest, ABatchWithOneBarAmissStoresNothing) {
  const int material = call("create_material").json().at("id");
  const int sheet = call("create_sheet").json().at("id");
  const int revision = call("create_revision", {{"sheet_id", sheet}}).json().at("id");
  auto batch = bars_of(revision, material);
  batch["items"].push_back({{"rev_id", revision}, {"material_id", material + 1}});
  EXPECT_EQ(call("add_rebar", batch).status, 409);
  EXPECT_EQ(rows("select count(*) from rebar"), Rows({{"0"}}));
}

TEST_F(ErrorsTest, AUidGivenTwiceIsAConflictAndStoresNothing) {
  ASSERT_EQ(call("create_sheet", {{"uid", "one"}, {"name", "first"}}).status, 200);
  const HttpAnswer answer = call("create_sheet", {{"uid", "one"}, {"name", "second"}});
  EXPECT_EQ(answer.status, 409);
  EXPECT_THAT(answer.detail(), HasSubstr("UNIQUE constraint failed: sheet.uid"));
  EXPECT_EQ(rows("select count(*) from sheet"), Rows({{"1"}}));
  EXPECT_EQ(call("get_sheet", {{"uid", "one"}}).json().at("name"), "first");
}

TEST_F(ErrorsTest, SqlThatTheDatabaseDoesNotTakeIsABadRequest) {
  for (const char* const sql : {"selec", "select * from nowhere", "select ?", "select 1; selec"}) {
    const HttpAnswer answer = call("query_table", sql_request(sql));
    EXPECT_EQ(answer.status, 400) << sql << " " << answer.body;
    EXPECT_FALSE(answer.detail().empty());
  }
}

TEST_F(ErrorsTest, ANumberThatNoCellHoldsIsABadRequest) {
  call("query_table", sql_request("create table large (number INTEGER)"));
  call("query_table", sql_request("insert into large values (3000000000)"));
  const HttpAnswer answer = call("query_table", sql_request("select number from large"));
  EXPECT_EQ(answer.status, 400) << answer.body;
}

TEST_F(ErrorsTest, AFileThatIsNoDatabaseIsNamedAsNoProject) {
  std::ofstream(server().file("text.db")) << std::string(4096, 'x');
  const std::string id = server().open("text.db");
  for (const HttpAnswer& answer :
       {client().call(id, "list_sheets"), client().call(id, "create_sheet"),
        client().call(id, "query_table", sql_request("select id from sheet")),
        client().get("/v1/projects/text.db/list_sheets")}) {
    EXPECT_EQ(answer.status, 422);
    EXPECT_THAT(answer.detail(),
                StartsWith("\"text.db\" is not a korvane project: Corrupt image: file is not"));
  }
}

TEST_F(ErrorsTest, AFileWithoutTheTablesOfAProjectIsNamedAsNone) {
  std::ofstream(server().file("empty.db"));
  const HttpAnswer answer = client().get("/v1/projects/empty.db/list_sheets");
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.detail(),
            "\"empty.db\" is not a korvane project: Invalid SQL statement: no such table: sheet");
  // In a query the client's own SQL is to blame.
  EXPECT_EQ(client()
                .call(server().open("empty.db"), "query_table", sql_request("select id from sheet"))
                .status,
            400);
}

TEST_F(ErrorsTest, ARowWhoseIdHasMoreThan32BitsIsNamed) {
  const std::string id = server().open("project.db");
  PlainConnection(server().file("project.db"), PlainConnection::Mode::kWrite)
      .run("insert into sheet (id, raw) values (4294967297, x'00')");
  const HttpAnswer answer = client().call(id, "list_sheets");
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.detail(), "sheet: the id 4294967297 does not fit 32 bits");
}

TEST_F(ErrorsTest, SeveralStatementsInOneQueryAreRefusedAndNoneIsRun) {
  const std::string id = server().open("project.db");
  for (const char* const sql :
       {"insert into sheet (uid) values ('a'); select 1", "select 1; select 2",
        "delete from sheet; -- and\n drop table sheet"}) {
    const HttpAnswer answer = client().call(id, "query_table", sql_request(sql));
    EXPECT_EQ(answer.status, 400) << sql;
    EXPECT_EQ(answer.detail(), "expected one statement of SQL, found several");
  }
  EXPECT_EQ(client().call(id, "list_sheets").json().at("items").size(), 0U);
  EXPECT_EQ(client().call(id, "query_table", sql_request("select 1; -- one")).status, 200);
}

TEST_F(ErrorsTest, WhatFollowsTheRecordOfARequestIsRefusedAndNothingIsDone) {
  const std::string id = server().open("project.db");
  client().call(id, "create_sheet", {{"uid", "kept"}});
  client().call(id, "update_project", {{"item", {{"properties", {{"k", {{"value_int32", 1}}}}}}}});
  const std::string marshal("CB\x01\x00", 4);
  const std::string record("\x02\x00\x00", 3);  // reset_schema: false
  const HttpAnswer answer = client().call_binary(id, "clear", marshal + record);
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(),
            "3 bytes follow the request's record; expected bare Compact Binary version 1, without "
            "the header of Marshal, and nothing after it");
  EXPECT_EQ(client().call_binary(id, "update_project", marshal + std::string("\x00", 1)).status,
            400);
  EXPECT_EQ(client().call_binary(id, "create_sheet", std::string("\x00\x00", 2)).detail(),
            "1 byte follows the request's record; expected bare Compact Binary version 1, without "
            "the header of Marshal, and nothing after it");
  EXPECT_EQ(client().call_binary(kManager, "open", marshal + std::string("\x00", 1)).status, 400);
  EXPECT_EQ(client().call(id, "list_sheets").json().at("items").size(), 1U);
  EXPECT_EQ(client().call(id, "get_project").json().at("properties").size(), 1U);
}

TEST_F(ErrorsTest, AnotherVersionOfCompactBinaryIsNotSpoken) {
  const std::string path = path_of(kProbe, "count");
  const std::string record("\x00", 1);
  const auto send = [&](const std::string& type, const std::string& accept) {
    return client().send("POST", path, record, {{"Content-Type", type}, {"Accept", accept}});
  };
  EXPECT_EQ(send(kCompactBinary + "; version=1", kCompactBinary + ";version=1").status, 200);
  EXPECT_EQ(send(kCompactBinary + "; Version=\"1\"", "*/*").status, 200);
  EXPECT_EQ(send(kCompactBinary + "; version=2", "*/*").status, 415);
  EXPECT_EQ(send(kCompactBinary, kCompactBinary + ";version=2").status, 406);
}

TEST_F(ErrorsTest, AProbesFailureIsAnsweredByItsKindWithItsText) {
  const HttpAnswer miss =
      client().call(kProbe, "fail", {{"value_string", "is not there"}, {"value_int32", 404}});
  EXPECT_EQ(miss.status, 404);
  EXPECT_EQ(miss.detail(), "is not there");
  const HttpAnswer refusal = client().call(kProbe, "fail", {{"value_string", "failed to get_it"}});
  EXPECT_EQ(refusal.status, 400);
  EXPECT_EQ(refusal.detail(), "failed to get_it");
}

TEST_F(ErrorsTest, ADetailMayBeOfAnyText) {
  const std::string text = "\"quoted\" \\ \n \x01 \xE2\x82\xAC";
  EXPECT_EQ(client().call(kProbe, "fail", {{"value_string", text}}).detail(), text);
}

TEST_F(ErrorsTest, WhatIsNoUtf8InADetailIsReplaced) {
  Variant request;
  request.value_string.set("no \xFF text");
  const bond::blob bytes = encoding::encode(request);
  const HttpAnswer answer = client().call_binary(kProbe, "fail", {bytes.content(), bytes.size()});
  EXPECT_EQ(answer.detail(), "no \xEF\xBF\xBD text");
}

class NotANumberTest : public ErrorsTest {
 protected:
  NotANumberTest() {
    material_.uid = "odd";
    material_.physical.density = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(call_with_record("create_material", material_).status, 200);
  }

 private:
  model::cad::Material material_;
};

TEST_F(NotANumberTest, IsNotHadAsJson) {
  const HttpAnswer answer = call("get_material", {{"uid", "odd"}});
  EXPECT_EQ(answer.status, 406);
  EXPECT_EQ(answer.detail(),
            "physical.density: NaN cannot be written as JSON; ask for "
            "application/x-bond-compact-binary");
}

TEST_F(NotANumberTest, IsHadAsCompactBinary) {
  const HttpAnswer answer =
      client().send("POST", path_of(project(), "get_material"), R"({"uid":"odd"})",
                    {{"Content-Type", kJson}, {"Accept", kCompactBinary}});
  ASSERT_EQ(answer.status, 200) << answer.body;
  const auto material = encoding::decode<model::cad::Material>(
      answer.body.data(), static_cast<std::uint32_t>(answer.body.size()));
  EXPECT_TRUE(std::isnan(material.physical.density));
}

TEST_F(NotANumberTest, IsNotTakenAsJson) {
  const HttpAnswer answer = call("create_material", {{"physical", {{"density", "NaN"}}}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "physical.density: NaN cannot be given as JSON");
}

TEST_F(ErrorsTest, NeverTellWhereTheFolderIs) {
  std::ofstream(server().file("text.db")) << std::string(4096, 'x');
  std::filesystem::create_directory(server().file("folder.db"));
  std::vector<HttpAnswer> answers;
  for (const char* const name :
       {"folder.db", "nowhere/x.db", "../x.db", "/x.db", "text.db", "x.db-wal", "file:x.db", ""}) {
    answers.push_back(client().call(kManager, "open", {{"filename", name}}));
  }
  const std::string no_database = server().open("text.db");
  for (const char* const operation : {"list_sheets", "get_project", "create_sheet"}) {
    answers.push_back(client().call(no_database, operation));
  }
  answers.push_back(client().call(no_database, "query_table", sql_request("select * from sheet")));
  for (const char* const sql :
       {"selec", "attach 'nowhere/x.db' as x", "vacuum into 'nowhere/x.db'", "select readfile(1)",
        "select load_extension('x')", "pragma nonsense.nonsense"}) {
    answers.push_back(call("query_table", sql_request(sql)));
  }
  int failures = 0;
  for (const HttpAnswer& answer : answers) {
    EXPECT_THAT(answer.body, Not(HasSubstr(server().folder().string())));
    if (answer.status >= 400) ++failures;
  }
  EXPECT_GE(failures, 14);
}

}  // namespace
}  // namespace korvane::test
