// Writes that can be repeated, tried, and refused when somebody else was faster.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "server/project_routes.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/text_of.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string kProject = "/v1/projects/a.db/";

class SafeWrites : public ::testing::Test {
 protected:
  SafeWrites() {
    post("create_material", {{"identity", {{"name", "B500B"}}}}, {}, "?create=true");
    post("create_sheet", {{"name", "417"}});
    post("create_revision", {{"name", "a"}, {"sheet_id", 1}});
  }

  static HttpFields with(HttpFields fields, const std::string& type = kJson) {
    fields.emplace_back("Content-Type", type);
    return fields;
  }
  HttpAnswer post(const std::string& operation, const json& request, const HttpFields& fields = {},
                  const std::string& parameters = "") {
    return client_.send("POST", kProject + operation + parameters, request.dump(), with(fields));
  }
  HttpAnswer get(const std::string& target, const HttpFields& fields = {}) {
    return client_.get(kProject + target, fields);
  }
  static HttpFields key(const std::string& text) { return {{"Idempotency-Key", text}}; }
  static HttpFields if_match(const std::string& tag) { return {{"If-Match", tag}}; }

  static json bar(const std::string& mark, int revision = 1, int material = 1) {
    return {{"mark", mark},
            {"rev_id", revision},
            {"sheet_id", 1},
            {"material_id", material},
            {"total_bars", 4}};
  }
  static json bars(int count) {
    json items = json::array();
    for (int i = 0; i < count; ++i) items.push_back(bar(std::to_string(i + 1)));
    return {{"items", items}};
  }

  Rows rows(const std::string& sql) { return plain_rows(server_.file("a.db"), sql); }
  std::string count(const std::string& table) {
    return *rows("select count(*) from " + table)[0][0];
  }
  void change_file(const std::string& sql) {
    PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite).run(sql);
  }
  std::string etag(const std::string& target) { return get(target).fields.at("etag"); }

  TestServer server_{{}, std::nullopt, {}, server::mounted()};
  HttpClient client_ = server_.client();
};

std::string type_of(const HttpAnswer& answer) { return answer.json().at("type"); }

// ---- Idempotency-Key

TEST_F(SafeWrites, KeyedCreate_GivesTheSameAnswerAgainAndStoresOnce) {
  const json sheet = {{"name", "418"}};
  const HttpAnswer first = post("create_sheet", sheet, key("one"));
  ASSERT_EQ(first.status, 200) << first.body;
  EXPECT_EQ(first.fields.count("idempotency-replayed"), 0U);
  const HttpAnswer again = post("create_sheet", sheet, key("one"));
  EXPECT_EQ(again.status, 200);
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(again.fields.at("content-type"), first.fields.at("content-type"));
  EXPECT_EQ(again.fields.at("idempotency-replayed"), "true");
  EXPECT_EQ(count("sheet"), "2");
}

TEST_F(SafeWrites, KeyedCreate_MakesTheProjectOnce) {
  const std::string target = "/v1/projects/new.db/create_sheet?create=true";
  const std::string body = json({{"name", "418"}}).dump();
  const HttpAnswer first = client_.send("POST", target, body, with(key("one")));
  const HttpAnswer again = client_.send("POST", target, body, with(key("one")));
  EXPECT_EQ(first.status, 200) << first.body;
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(plain_rows(server_.file("new.db"), "select count(*) from sheet")[0][0], "1");
}

TEST_F(SafeWrites, KeyedBatch_IsStoredOnce) {
  EXPECT_EQ(post("add_rebar", bars(19), key("one")).status, 200);
  EXPECT_EQ(post("add_rebar", bars(19), key("one")).status, 200);
  EXPECT_EQ(count("rebar"), "19");
}

TEST_F(SafeWrites, KeyedBatch_InCompactBinaryIsAnsweredInItsFormAgain) {
  const HttpFields fields = {{"Idempotency-Key", "one"}, {"Accept", kCompactBinary}};
  const HttpAnswer first = post("create_sheet", {{"name", "418"}}, fields);
  const HttpAnswer again = post("create_sheet", {{"name", "418"}}, fields);
  EXPECT_EQ(first.fields.at("content-type"), kCompactBinary);
  EXPECT_EQ(again.fields.at("content-type"), kCompactBinary);
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(count("sheet"), "2");
}

TEST_F(SafeWrites, KeyedDelete_IsAnsweredAgain) {
  EXPECT_EQ(post("delete_sheet", {{"id", 1}}, key("one")).status, 200);
  EXPECT_EQ(post("create_sheet", {{"name", "new"}}).status, 200);
  EXPECT_EQ(post("delete_sheet", {{"id", 1}}, key("one")).status, 200);
  EXPECT_EQ(count("sheet"), "1");
}

TEST_F(SafeWrites, KeyedClear_MakesTheTablesAnewOnce) {
  EXPECT_EQ(post("clear", {{"reset_schema", true}}, key("one")).status, 200);
  EXPECT_EQ(post("create_sheet", {{"name", "new"}}).status, 200);
  EXPECT_EQ(post("clear", {{"reset_schema", true}}, key("one")).status, 200);
  EXPECT_EQ(count("sheet"), "1");
}

TEST_F(SafeWrites, KeyedQuery_RunsOnce) {
  const json request = sql_request("insert into sheet (uid, raw) values ('x', x'00')");
  EXPECT_EQ(post("query_table", request, key("one")).status, 200);
  const HttpAnswer again = post("query_table", request, key("one"));
  EXPECT_EQ(again.status, 200) << again.body;
  EXPECT_EQ(count("sheet"), "2");
}

TEST_F(SafeWrites, KeyedQuery_ThatOnlyReadsIsNotKept) {
  EXPECT_EQ(post("query_table", sql_request("select * from sheet"), key("one")).status, 200);
  EXPECT_THAT(rows("select 1 from sqlite_schema where name = 'korvane_answers'"), IsEmpty());
  EXPECT_EQ(post("query_table", sql_request("create table own (a)"), key("two")).status, 200);
  EXPECT_EQ(post("query_table", sql_request("create table own (a)"), key("two")).status, 200);
}

TEST_F(SafeWrites, KeyedQuery_ThatChangesTheFilesHeaderAloneIsStored) {
  EXPECT_EQ(post("query_table", sql_request("pragma user_version = 7"), key("one")).status, 200);
  EXPECT_THAT(rows("pragma user_version"), ElementsAre(Row{"7"}));
}

TEST_F(SafeWrites, KeyedEdit_WhoseCommitFailsLeavesNoTagOfWhatIsNotStored) {
  post("add_rebar", bars(3));
  change_file(
      "create table late (id integer references sheet (id) deferrable initially deferred);"
      "create trigger late_one after insert on rebar when new.total_bars = 9 "
      "begin insert into late values (99); end");
  const std::string tag = etag("get_revision?request[id]=1");
  EXPECT_NE(post("edit", {{"total_bars", 9}}, key("one"), "?id=2").status, 200);
  EXPECT_THAT(rows("select 1 from rebar where total_bars = 9"), IsEmpty());
  EXPECT_EQ(etag("get_revision?request[id]=1"), tag);
}

TEST_F(SafeWrites, KeyedImport_CanBeRepeated) {
  const std::string text = text_of(KORVANE_EXAMPLES "/guideline.abs");
  const auto import = [&] {
    return client_.send("POST", kProject + "import", text, with(key("one"), "text/plain"));
  };
  const HttpAnswer first = import();
  ASSERT_EQ(first.status, 200) << first.body;
  const std::string bars = count("rebar");
  const HttpAnswer again = import();
  EXPECT_EQ(again.status, 200) << again.body;
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(count("rebar"), bars);
}

TEST_F(SafeWrites, KeyedImport_StoresNothingWhereItFailsOnItsWay) {
  change_file(
      "create trigger full before insert on rebar when (select count(*) from rebar) > 3 "
      "begin select raise(abort, 'no more'); end");
  const std::string text = text_of(KORVANE_EXAMPLES "/guideline.abs");
  const HttpAnswer answer =
      client_.send("POST", kProject + "import", text, with(key("one"), "text/plain"));
  EXPECT_EQ(answer.status, 409) << answer.body;
  EXPECT_EQ(count("sheet"), "1");
  EXPECT_EQ(count("rebar"), "0");
  change_file("drop trigger full");
  EXPECT_EQ(client_.send("POST", kProject + "import", text, with(key("one"), "text/plain")).status,
            200);
}

TEST_F(SafeWrites, KeyedEdit_IsAnsweredAgainThoughTheLineHasAnotherId) {
  post("add_rebar", bars(3));
  const auto edit = [&] { return post("edit", {{"total_bars", 9}}, key("one"), "?id=2"); };
  const HttpAnswer first = edit();
  ASSERT_EQ(first.status, 200) << first.body;
  const HttpAnswer again = edit();
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(again.fields.at("etag"), first.fields.at("etag"));
  EXPECT_THAT(rows("select mark from rebar where total_bars = 9"), ElementsAre(Row{"2"}));
}

TEST_F(SafeWrites, Key_OfAnotherRequestIsRefused) {
  post("create_sheet", {{"name", "418"}}, key("one"));
  const HttpAnswer other = post("create_sheet", {{"name", "419"}}, key("one"));
  EXPECT_EQ(other.status, 422);
  EXPECT_EQ(type_of(other), "urn:korvane:problem:key-used");
  EXPECT_EQ(other.detail(), "the Idempotency-Key \"one\" was sent with another request");
  EXPECT_EQ(post("delete_sheet", {{"id", 1}}, key("one")).status, 422);
  EXPECT_EQ(count("sheet"), "2");
}

TEST_F(SafeWrites, Key_OfAFailureIsFree) {
  EXPECT_EQ(post("add_rebar", {{"items", {bar("1", 99)}}}, key("one")).status, 409);
  EXPECT_EQ(post("add_rebar", {{"items", {bar("1")}}}, key("one")).status, 200);
  EXPECT_EQ(count("rebar"), "1");
}

TEST_F(SafeWrites, Key_IsKeptForADay) {
  post("create_sheet", {{"name", "418"}}, key("old"));
  post("create_sheet", {{"name", "418"}}, key("young"));
  change_file("update korvane_answers set answered = answered - 86401 where key = 'old'");
  change_file("update korvane_answers set answered = answered - 86300 where key = 'young'");
  post("create_sheet", {{"name", "418"}}, key("old"));
  post("create_sheet", {{"name", "418"}}, key("young"));
  EXPECT_EQ(count("sheet"), "4");
  change_file("update korvane_answers set answered = answered - 86401");
  post("create_sheet", {{"name", "419"}}, key("third"));
  EXPECT_THAT(rows("select key from korvane_answers"), ElementsAre(Row{"third"}));
}

TEST_F(SafeWrites, Key_OfABusyDayIsForgottenALittleAtATime) {
  post("create_sheet", {{"name", "418"}}, key("one"));
  change_file(
      "insert into korvane_answers with recursive n(i) as (select 1 union all select i + 1 from n "
      "where i < 2500) select 'c', i, '', 1, '', '', '' from n");
  for (const char* const left : {"1502", "503", "4", "5"}) {
    post("create_sheet", {{"name", "419"}}, key(left));
    EXPECT_EQ(count("korvane_answers"), left);
  }
}

TEST_F(SafeWrites, Key_IsOfTheProjectAndOutlivesTheServersRun) {
  const HttpAnswer first = post("create_sheet", {{"name", "418"}}, key("one"));
  ASSERT_TRUE(server_.reload());
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}, key("one")).body, first.body);
  EXPECT_EQ(count("sheet"), "2");
}

TEST_F(SafeWrites, Key_IsOneTo255VisibleCharacters) {
  for (const std::string& wrong : {std::string(), std::string(256, 'k'), std::string("a b"),
                                   std::string("a\tb"), std::string("\xC3\xA4")}) {
    const HttpAnswer answer = post("create_sheet", {{"name", "418"}}, key(wrong));
    EXPECT_EQ(answer.status, 400) << wrong;
    EXPECT_THAT(answer.detail(), HasSubstr("Idempotency-Key: expected 1 to 255 visible ASCII"));
  }
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}, key(std::string(255, 'k'))).status, 200);
}

TEST_F(SafeWrites, Key_MeansNothingToWhatOnlyReads) {
  const HttpAnswer answer = get("list_sheets", key("one"));
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(rows("select 1 from sqlite_schema where name = 'korvane_answers'"), IsEmpty());
}

TEST_F(SafeWrites, Key_IsRefusedWhereTheFileHasSomethingElseOfTheTablesName) {
  change_file("create table korvane_answers (a)");
  const HttpAnswer answer = post("create_sheet", {{"name", "418"}}, key("one"));
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(type_of(answer), "urn:korvane:problem:not-a-project");
  EXPECT_EQ(count("sheet"), "1");
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}).status, 200);
}

TEST_F(SafeWrites, Key_IsRefusedWhereTheTableHasTriggersOrIndexesOfOthers) {
  post("create_sheet", {{"name", "418"}}, key("one"));
  change_file(
      "create trigger endless after insert on korvane_answers begin "
      "insert into sheet (uid) with recursive n(i) as (select 1 union all select i + 1 from n) "
      "select i from n; end");
  EXPECT_EQ(post("create_sheet", {{"name", "419"}}, key("two")).status, 422);
  change_file("drop trigger endless; create index costly on korvane_answers (hex(body))");
  EXPECT_EQ(post("create_sheet", {{"name", "419"}}, key("two")).status, 422);
  EXPECT_EQ(count("sheet"), "2");
  change_file("drop index costly");
  EXPECT_EQ(post("create_sheet", {{"name", "419"}}, key("two")).status, 200);
}

TEST_F(SafeWrites, Key_WhoseAnswerAnotherProgramHasMadeUnsendableIsRefused) {
  post("create_sheet", {{"name", "418"}}, key("one"));
  change_file("update korvane_answers set media_type = 'text/plain' || char(13, 10) || 'A: b'");
  const HttpAnswer answer = post("create_sheet", {{"name", "418"}}, key("one"));
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.fields.count("a"), 0U);
}

TEST_F(SafeWrites, Key_RunsNothingThatTheFileHangsOnTheTable) {
  post("create_sheet", {{"name", "418"}}, key("old"));
  change_file(
      "create table mine (client text, key text, foreign key (client, key) "
      "references korvane_answers (client, key) on delete cascade);"
      "insert into mine select client, key from korvane_answers;"
      "create trigger mine_too after delete on mine begin delete from korvane_answers; "
      "delete from material; end;"
      "update korvane_answers set answered = answered - 86401");
  EXPECT_EQ(post("create_sheet", {{"name", "419"}}, key("new")).status, 200);
  EXPECT_EQ(count("material"), "1");
  EXPECT_THAT(rows("select key from korvane_answers"), ElementsAre(Row{"new"}));
}

TEST_F(SafeWrites, Key_GivesNoFieldsOfTheHeaderThatTheServerDidNotKeep) {
  for (const std::string forged : {"Content-Length: 1", "Set-Cookie: a=b", "Connection: close"}) {
    post("create_sheet", {{"name", "418"}}, key("one"));
    change_file("update korvane_answers set fields = '" + forged + "' || char(13, 10)");
    const HttpAnswer answer = post("create_sheet", {{"name", "418"}}, key("one"));
    EXPECT_EQ(answer.status, 422) << forged;
    EXPECT_EQ(answer.fields.count("set-cookie"), 0U);
    change_file("delete from korvane_answers");
  }
}

TEST_F(SafeWrites, Key_GivesNoMediaTypeThatTheRequestCannotHave) {
  post("create_sheet", {{"name", "418"}}, key("one"));
  change_file("update korvane_answers set media_type = 'text/html', body = '<script>'");
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}, key("one")).status, 422);
}

TEST_F(SafeWrites, Key_OfARequestThatMayDependOnAnotherTagIsRefused) {
  const std::string tag = etag("get_material?request[id]=1");
  const json record = {{"id", 1}, {"identity", {{"name", "B500A"}}}};
  const auto update = [&](const std::string& seen) {
    return post("update_material", record, {{"Idempotency-Key", "one"}, {"If-Match", seen}});
  };
  EXPECT_EQ(update(tag).status, 200);
  EXPECT_EQ(update(tag).status, 200);
  EXPECT_EQ(update("\"other\"").status, 422);
}

TEST_F(SafeWrites, Key_OfOneClientIsNotThatOfAnother) {
  const TemporaryFolder folder;
  host::TokenFile tokens(folder.file("tokens.json"));
  const std::string ours = tokens.add("ours", {host::Scope::read, host::Scope::write});
  const std::string theirs = tokens.add("theirs", {host::Scope::read, host::Scope::write});
  const host::Tokens loaded = host::Tokens::load(folder.file("tokens.json"));
  TestServer server{{}, loaded, {}, server::mounted()};
  HttpClient us = server.client_of(ours);
  HttpClient them = server.client_of(theirs);
  const std::string target = "/v1/projects/b.db/create_sheet?create=true";
  const std::string body = json({{"name", "418"}}).dump();
  EXPECT_EQ(us.send("POST", target, body, with(key("one"))).status, 200);
  EXPECT_EQ(them.send("POST", target, body, with(key("one"))).status, 200);
  EXPECT_EQ(plain_rows(server.file("b.db"), "select count(*) from sheet")[0][0], "2");
}

TEST_F(SafeWrites, ABatchWhoseConnectionBreaksAnywhereIsStoredOnceWhenItIsRepeated) {
  const std::string body = bars(3).dump();
  const auto request = [&](const std::string& name) {
    return header("POST " + kProject + "add_rebar",
                  "Content-Type: application/json\r\nIdempotency-Key: " + name + "\r\n" +
                      content_length(body.size())) +
           body;
  };
  const std::size_t size = request("cut-0000").size();
  int keys = 0;
  for (std::size_t cut = 0; cut <= size; cut += cut < size && cut + 7 > size ? size - cut : 7) {
    std::string name = std::to_string(keys++);
    name.insert(0, 4 - name.size(), '0');
    const std::string whole = request("cut-" + name);
    {
      RawConnection broken(server_.port());
      broken.send(whole.substr(0, cut));
      cut % 2 == 0 ? broken.reset() : broken.close();
    }
    RawConnection repeated(server_.port());
    repeated.send(whole);
    ASSERT_EQ(repeated.read_answer().status, 200) << cut;
    if (cut == size) break;
  }
  EXPECT_EQ(count("rebar"), std::to_string(3 * keys));
  EXPECT_GT(keys, 20);
}

// ---- dry_run

TEST_F(SafeWrites, DryRun_AnswersAndStoresNothing) {
  const HttpAnswer tried =
      post("create_sheet", {{"name", "418"}, {"uid", "u"}}, {}, "?dry_run=true");
  ASSERT_EQ(tried.status, 200) << tried.body;
  EXPECT_EQ(count("sheet"), "1");
  EXPECT_EQ(post("create_sheet", {{"name", "418"}, {"uid", "u"}}).body, tried.body);
}

TEST_F(SafeWrites, DryRun_OfABatchSaysWhatWouldFail) {
  EXPECT_EQ(post("add_rebar", bars(5), {}, "?dry_run=true").status, 200);
  const HttpAnswer answer =
      post("add_rebar", {{"items", {bar("1"), bar("2", 99)}}}, {}, "?dry_run=true");
  EXPECT_EQ(answer.status, 409);
  EXPECT_THAT(answer.detail(), HasSubstr("items[1].rev_id"));
  EXPECT_EQ(count("rebar"), "0");
}

TEST_F(SafeWrites, DryRun_OfClearKeepsTheTables) {
  EXPECT_EQ(post("clear", {{"reset_schema", true}}, {}, "?dry_run=true").status, 200);
  EXPECT_EQ(count("sheet"), "1");
}

TEST_F(SafeWrites, DryRun_OfAQueryChangesNothing) {
  EXPECT_EQ(post("query_table", sql_request("delete from sheet"), {}, "?dry_run=true").status, 200);
  EXPECT_EQ(count("sheet"), "1");
}

TEST_F(SafeWrites, DryRun_UsesUpNoKey) {
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}, key("one"), "?dry_run=true").status, 200);
  EXPECT_EQ(post("create_sheet", {{"name", "419"}}, key("one")).status, 200);
  EXPECT_EQ(count("sheet"), "2");
}

TEST_F(SafeWrites, DryRun_MakesNoProject) {
  const HttpAnswer answer =
      client_.send("POST", "/v1/projects/new.db/create_sheet?create=true&dry_run=true",
                   json({{"name", "418"}}).dump(), with({}));
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(type_of(answer), "urn:korvane:problem:no-project");
}

TEST_F(SafeWrites, DryRun_IsTrueOrFalse) {
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}, {}, "?dry_run=yes").status, 400);
  EXPECT_EQ(post("create_sheet", {{"name", "418"}}, {}, "?dry_run=false").status, 200);
  EXPECT_EQ(get("list_sheets?dry_run=true").status, 400);
}

// ---- If-Match

TEST_F(SafeWrites, IfMatch_UpdatesAnEntryThatNobodyHasChanged) {
  const std::string tag = etag("get_material?request[id]=1");
  const json record = {{"id", 1}, {"identity", {{"name", "B500A"}}}};
  EXPECT_EQ(post("update_material", record, if_match(tag)).status, 200);
  const HttpAnswer late = post("update_material", record, if_match(tag));
  EXPECT_EQ(late.status, 412);
  EXPECT_EQ(type_of(late), "urn:korvane:problem:changed");
  EXPECT_EQ(late.detail(), "the material has changed since: its tag is " +
                               etag("get_material?request[id]=1") + " now");
}

TEST_F(SafeWrites, IfMatch_TagOfAnEntryStaysWhenOthersChange) {
  const std::string tag = etag("get_material?request[id]=1");
  post("create_material", {{"identity", {{"name", "B700"}}}});
  EXPECT_EQ(etag("get_material?request[id]=1"), tag);
  EXPECT_EQ(get("get_material?request[id]=1", {{"If-None-Match", tag}}).status, 304);
}

TEST_F(SafeWrites, IfMatch_TakesTheTagOfEitherForm) {
  const HttpAnswer binary = get("get_material?request[id]=1", {{"Accept", kCompactBinary}});
  const HttpAnswer text = get("get_material?request[id]=1");
  EXPECT_NE(binary.fields.at("etag"), text.fields.at("etag"));
  const json record = {{"id", 1}, {"identity", {{"name", "B500A"}}}};
  EXPECT_EQ(post("update_material", record, if_match(binary.fields.at("etag"))).status, 200);
}

TEST_F(SafeWrites, IfMatch_OfARevisionSeesItsLines) {
  const std::string tag = etag("get_revision?request[id]=1");
  EXPECT_EQ(post("add_rebar", bars(2), if_match(tag)).status, 200);
  EXPECT_EQ(post("add_rebar", bars(2), if_match(tag)).status, 412);
  EXPECT_EQ(post("clear_for_revision", {{"id", 1}}, if_match(tag)).status, 412);
  EXPECT_EQ(count("rebar"), "2");
  const json line = get("line?kind=bars&id=1").json();
  EXPECT_EQ(line.at("tag"), etag("get_revision?request[id]=1"));
  EXPECT_EQ(post("delete_revision", {{"id", 1}}, if_match(line.at("tag"))).status, 200);
}

TEST_F(SafeWrites, IfMatch_SeesWhatAnotherProgramWrites) {
  const std::string tag = etag("get_sheet?request[id]=1");
  change_file("update sheet set uid = 'another' where id = 1");
  EXPECT_EQ(post("delete_sheet", {{"id", 1}}, if_match(tag)).status, 412);
  EXPECT_EQ(count("sheet"), "1");
}

TEST_F(SafeWrites, IfMatch_SeesTheUidOfARevision) {
  const std::string tag = etag("get_revision?request[id]=1");
  change_file("update revision set uid = 'another' where id = 1");
  EXPECT_EQ(post("delete_revision", {{"id", 1}}, if_match(tag)).status, 412);
}

TEST_F(SafeWrites, IfMatch_FailsForAnEntryThatIsGone) {
  const std::string tag = etag("get_sheet?request[id]=1");
  post("delete_sheet", {{"id", 1}});
  const HttpAnswer answer = post("delete_sheet", {{"id", 1}}, if_match(tag));
  EXPECT_EQ(answer.status, 412);
  EXPECT_EQ(answer.detail(), "the sheet is not there any more");
  EXPECT_EQ(post("delete_sheet", {{"id", 1}}, if_match("*")).status, 412);
}

TEST_F(SafeWrites, IfMatch_FindsAnEntryByItsUid) {
  const std::string uid = *rows("select uid from material")[0][0];
  const std::string tag = etag("get_material?request[id]=1");
  EXPECT_EQ(post("delete_material", {{"uid", uid}}, if_match("\"x\"")).status, 412);
  EXPECT_EQ(post("delete_material", {{"uid", uid}}, if_match(tag)).status, 200);
}

TEST_F(SafeWrites, IfMatch_FindsNoEntryByAUidThatNoneCanHave) {
  const std::string uid = std::string("a") + '\0' + "b";
  EXPECT_EQ(post("delete_material", {{"uid", uid}}, if_match("*")).status, 412);
  EXPECT_EQ(post("delete_material", {{"uid", std::string(2U << 20U, 'u')}}, if_match("*")).status,
            412);
  EXPECT_EQ(count("material"), "1");
}

TEST_F(SafeWrites, IfMatch_IsRefusedWhereTheRequestIsAboutNoOneEntry) {
  post("create_revision", {{"name", "b"}, {"sheet_id", 1}});
  const HttpAnswer several =
      post("add_rebar", {{"items", {bar("1", 1), bar("2", 2)}}}, if_match("*"));
  EXPECT_EQ(several.status, 400);
  EXPECT_THAT(several.detail(), HasSubstr("If-Match"));
  EXPECT_EQ(post("update_project", {{"item", json::object()}}, if_match("*")).status, 400);
  EXPECT_EQ(post("update_material", {{"id", 1}}, if_match("nonsense")).status, 400);
  EXPECT_EQ(client_
                .send("POST", kProject + "import", text_of(KORVANE_EXAMPLES "/guideline.abs"),
                      with(if_match("\"x\""), "text/plain"))
                .status,
            400);
}

// ---- errors

TEST_F(SafeWrites, AConstraint_NamesTheItemItsMarkAndTheField) {
  json request = bars(1000);
  request["items"][17]["rev_id"] = 99;
  const HttpAnswer answer = post("add_rebar", request);
  ASSERT_EQ(answer.status, 409);
  EXPECT_THAT(answer.detail(), HasSubstr("FOREIGN KEY constraint failed"));
  EXPECT_THAT(answer.detail(),
              HasSubstr(": items[17].rev_id, mark \"18\": there is no revision 99"));
  EXPECT_EQ(type_of(answer), "urn:korvane:problem:constraint");
  const json error = {
      {"pointer", "#/items/17/rev_id"}, {"detail", "there is no revision 99"}, {"mark", "18"}};
  EXPECT_EQ(answer.json().at("errors"), json::array({error}));
}

TEST_F(SafeWrites, AConstraint_NamesTheFieldThatIsNotSet) {
  json request = bars(2);
  request["items"][1].erase("material_id");
  const HttpAnswer answer = post("add_rebar", request);
  ASSERT_EQ(answer.status, 409);
  EXPECT_THAT(answer.detail(), HasSubstr("items[1].material_id, mark \"2\": it is not set"));
}

TEST_F(SafeWrites, AConstraint_NamesTheMaterialThatIsNotThere) {
  const HttpAnswer answer = post("add_rebar", {{"items", {bar("1", 1, 5)}}});
  EXPECT_THAT(answer.detail(),
              HasSubstr("items[0].material_id, mark \"1\": there is no material 5"));
}

TEST_F(SafeWrites, AConstraint_OfASingleRecordNamesItsField) {
  post("create_sheet", {{"name", "418"}, {"uid", "u"}});
  const HttpAnswer answer = post("create_sheet", {{"name", "419"}, {"uid", "u"}});
  ASSERT_EQ(answer.status, 409);
  EXPECT_THAT(answer.detail(), HasSubstr(": uid: another record has the same"));
  EXPECT_EQ(answer.json().at("errors")[0].at("pointer"), "#/uid");
}

TEST_F(SafeWrites, AConstraint_WithoutARecordBlamesNoneOfBefore) {
  post("add_rebar", {{"items", {bar("1", 99)}}});
  post("add_rebar", bars(1));
  const HttpAnswer answer = post("delete_material", {{"id", 1}});  // in use
  ASSERT_EQ(answer.status, 409);
  EXPECT_FALSE(answer.json().contains("errors")) << answer.body;
}

TEST_F(SafeWrites, AProblem_HasATypeForItsKind) {
  EXPECT_EQ(type_of(get("get_sheet?request[id]=77")), "urn:korvane:problem:not-found");
  EXPECT_EQ(type_of(client_.get("/v1/projects/none.db/list_sheets")),
            "urn:korvane:problem:no-project");
  EXPECT_EQ(type_of(get("nothing")), "urn:korvane:problem:not-found");
  EXPECT_EQ(type_of(get("list_sheets?request=1")), "urn:korvane:problem:bad-request");
  EXPECT_EQ(type_of(get("list_sheets", {{"Korvane-Run", "x"}})), "urn:korvane:problem:other-run");
}

}  // namespace
}  // namespace korvane::test
