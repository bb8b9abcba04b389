// Those who watch a project are told what changes there.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "server/project_routes.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

struct Event {
  std::string name;
  json data;
};

/// A client that listens.
class Listener {
 public:
  Listener(std::uint16_t port, const std::string& file, const std::string& fields = {})
      : connection_(port) {
    connection_.socket().setReceiveTimeout(Poco::Timespan(60, 0));  // or a failure would hang
    connection_.send(header("GET /v1/projects/" + file + "/changes", fields));
    head_ = read_to("\r\n\r\n");
  }

  const std::string& head() const { return head_; }

  /// The next event; comments do not count.
  Event next() {
    for (;;) {
      const std::string text = read_to("\n\n");
      if (text.starts_with(':')) continue;
      const std::size_t end = text.find('\n');
      if (!text.starts_with("event: ") || end == std::string::npos) {
        ADD_FAILURE() << "not an event: " << text;
        return {};
      }
      const std::string data = text.substr(end + 1);
      EXPECT_TRUE(data.starts_with("data: ")) << text;
      return {text.substr(7, end - 7), json::parse(data.substr(6))};
    }
  }
  bool hears_nothing_for(std::chrono::milliseconds time) {
    return rest_.empty() && !connection_.has_answer_within(time);
  }
  std::string read_to_end() { return std::exchange(rest_, {}) + connection_.read_all(); }
  void close() { connection_.close(); }

 private:
  std::string read_to(const std::string& end) {
    std::size_t found = 0;
    while ((found = rest_.find(end)) == std::string::npos) {
      char bytes[4096];
      const int count = connection_.socket().receiveBytes(bytes, sizeof bytes);
      if (count <= 0) return {};
      rest_.append(bytes, static_cast<std::size_t>(count));
    }
    std::string text = rest_.substr(0, found);
    rest_.erase(0, found + end.size());
    return text;
  }

  RawConnection connection_;
  std::string head_;
  std::string rest_;
};

class Changes : public ::testing::Test {
 protected:
  Changes() {
    post("create_material", {{"identity", {{"name", "B500B"}}}}, "?create=true");
    post("create_sheet", {{"name", "417"}});
    post("create_revision", {{"name", "a"}, {"sheet_id", 1}});
  }

  HttpAnswer post(const std::string& operation, const json& request,
                  const std::string& parameters = "", HttpFields fields = {}) {
    fields.emplace_back("Content-Type", kJson);
    const HttpAnswer answer =
        client_.send("POST", "/v1/projects/a.db/" + operation + parameters, request.dump(), fields);
    EXPECT_EQ(answer.status, 200) << answer.body;
    return answer;
  }
  static json bar() {
    return {{"items", {{{"mark", "1"}, {"rev_id", 1}, {"sheet_id", 1}, {"material_id", 1}}}}};
  }

  TestServer server_{{}, std::nullopt, {}, server::mounted()};
  HttpClient client_ = server_.client();
};

TEST_F(Changes, BeginWithTheStateOfThings) {
  Listener listener(server_.port(), "a.db");
  EXPECT_THAT(listener.head(), HasSubstr("HTTP/1.1 200 OK"));
  EXPECT_THAT(listener.head(), HasSubstr("Content-Type: text/event-stream"));
  EXPECT_THAT(listener.head(), ::testing::Not(HasSubstr("Content-Length")));
  const Event first = listener.next();
  EXPECT_EQ(first.name, "state");
  EXPECT_EQ(first.data.at("project"), "a.db");
}

TEST_F(Changes, SayWhatWasChangedByWhomAndWhen) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  post("add_rebar", bar());
  const Event lines = listener.next();
  EXPECT_EQ(lines.name, "change");
  EXPECT_EQ(lines.data.at("operation"), "add_rebar");
  EXPECT_EQ(lines.data.at("by"), "127.0.0.1");
  EXPECT_EQ(lines.data.at("kind"), "revision");
  EXPECT_EQ(lines.data.at("id"), 1);
  EXPECT_THAT(lines.data.at("when").get<std::string>(), HasSubstr("T"));
  post("create_sheet", {{"name", "418"}});
  const Event sheet = listener.next();
  EXPECT_EQ(sheet.data.at("kind"), "sheet");
  EXPECT_EQ(sheet.data.at("id"), 2);
  post("update_material", {{"id", 1}});
  EXPECT_EQ(listener.next().data.at("kind"), "material");
}

TEST_F(Changes, NameTheRevisionsOfAnImportAndOfAnEdit) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  const HttpAnswer answer =
      client_.send("POST", "/v1/projects/a.db/import", text_of(KORVANE_EXAMPLES "/guideline.abs"),
                   {{"Content-Type", "text/plain"}});
  ASSERT_EQ(answer.status, 200) << answer.body;
  std::set<int> told;
  const json revisions = answer.json().at("revisions");
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    const Event imported = listener.next();
    EXPECT_EQ(imported.data.at("operation"), "import");
    told.insert(imported.data.at("id").get<int>());
  }
  for (const json& revision : revisions) {
    EXPECT_EQ(told.count(revision.at("id").get<int>()), 1U);
  }
  const Rows bars = plain_rows(server_.file("a.db"), "select min(id) from rebar");
  post("edit", {{"total_bars", 9}}, "?id=" + *bars[0][0]);
  const Event edited = listener.next();
  EXPECT_EQ(edited.data.at("operation"), "edit");
  EXPECT_EQ(edited.data.at("kind"), "revision");
}

TEST_F(Changes, OfAnotherProgramAreToldWithoutAName) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update sheet set uid = 'another'");
  const Event change = listener.next();
  EXPECT_EQ(change.name, "change");
  EXPECT_TRUE(change.data.at("operation").is_null());
  EXPECT_TRUE(change.data.at("by").is_null());
}

TEST_F(Changes, OfAnotherProgramBeforeAWriteAreToldBeforeIt) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  PlainConnection(server_.file("a.db"), PlainConnection::Mode::kWrite)
      .run("update sheet set uid = 'another'");
  post("add_rebar", bar());
  EXPECT_TRUE(listener.next().data.at("operation").is_null());
  EXPECT_EQ(listener.next().data.at("operation"), "add_rebar");
}

TEST_F(Changes, AreToldWhileTheServerDrainsAndEndInOrderWhenItStops) {
  Listener early(server_.port(), "a.db");
  early.next();
  server_.server().begin_drain();
  Listener late(server_.port(), "a.db");
  late.next();
  post("add_rebar", bar());
  EXPECT_EQ(early.next().data.at("operation"), "add_rebar");
  EXPECT_EQ(late.next().data.at("operation"), "add_rebar");
  EXPECT_TRUE(server_.server().stop(10s));
  EXPECT_EQ(early.read_to_end(), "");
  EXPECT_EQ(late.read_to_end(), "");
}

TEST_F(Changes, AreNotToldOfWhatStoredNothing) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  post("create_sheet", {{"name", "418"}}, "?dry_run=true");
  post("query_table", sql_request("select 1"));
  client_.get("/v1/projects/a.db/list_sheets");
  json wrong = bar();
  wrong["items"][0]["rev_id"] = 99;
  client_.send("POST", "/v1/projects/a.db/add_rebar", wrong.dump(), {{"Content-Type", kJson}});
  EXPECT_TRUE(listener.hears_nothing_for(1500ms));
  post("query_table", sql_request("update sheet set uid = 'x'"));
  const Event change = listener.next();
  EXPECT_EQ(change.data.at("operation"), "query_table");
  EXPECT_TRUE(change.data.at("kind").is_null());
}

TEST_F(Changes, OfARepeatedWriteAreToldOnce) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  post("add_rebar", bar(), "", {{"Idempotency-Key", "one"}});
  post("add_rebar", bar(), "", {{"Idempotency-Key", "one"}});
  EXPECT_EQ(listener.next().data.at("operation"), "add_rebar");
  EXPECT_TRUE(listener.hears_nothing_for(1500ms));
}

TEST_F(Changes, AreToldToAllWhoWatchThatProjectAlone) {
  client_.send("POST", "/v1/projects/b.db/create_sheet?create=true", "{}",
               {{"Content-Type", kJson}});
  Listener one(server_.port(), "a.db");
  Listener two(server_.port(), "a.db");
  Listener other(server_.port(), "b.db");
  for (Listener* const listener : {&one, &two, &other}) listener->next();
  post("add_rebar", bar());
  EXPECT_EQ(one.next().data.at("operation"), "add_rebar");
  EXPECT_EQ(two.next().data.at("operation"), "add_rebar");
  EXPECT_TRUE(other.hears_nothing_for(300ms));
}

TEST_F(Changes, OfAnotherProgramThatHadTheFileLockedAtTheBeginAreToldAfterwards) {
  PlainConnection other(server_.file("a.db"), PlainConnection::Mode::kWrite);
  other.run("begin exclusive; update sheet set uid = 'another'");
  Listener listener(server_.port(), "a.db");
  EXPECT_EQ(listener.next().name, "state");
  other.run("commit");
  ASSERT_FALSE(listener.hears_nothing_for(5s));
  EXPECT_EQ(listener.next().name, "missed");
}

TEST_F(Changes, AnswerAHeadWithoutWaiting) {
  RawConnection connection(server_.port());
  connection.send(header("HEAD /v1/projects/a.db/changes"));
  const std::string answer = connection.read_all();
  EXPECT_THAT(answer, HasSubstr("200 OK"));
  EXPECT_TRUE(answer.ends_with("\r\n\r\n")) << answer;
}

TEST_F(Changes, MakeRoomForRequestsOfOthers) {
  const TemporaryFolder folder;
  host::TokenFile tokens(folder.file("tokens.json"));
  std::vector<std::string> texts;
  for (const char* const name : {"one", "two", "three"}) {
    texts.push_back(tokens.add(name, {host::Scope::read, host::Scope::write}));
  }
  host::ModelServerLimits limits;
  limits.http.connections = 4;
  TestServer server{limits, host::Tokens::load(folder.file("tokens.json")), {}, server::mounted()};
  const auto bearer_line = [&](int of) { return "Authorization: Bearer " + texts[of] + "\r\n"; };
  std::filesystem::copy_file(server_.file("a.db"), server.file("a.db"));
  Listener first(server.port(), "a.db", bearer_line(0));
  Listener second(server.port(), "a.db", bearer_line(0));
  Listener third(server.port(), "a.db", bearer_line(0));
  Listener fourth(server.port(), "a.db", bearer_line(1));
  for (Listener* const listener : {&first, &second, &third, &fourth}) {
    ASSERT_EQ(listener->next().name, "state");
  }
  EXPECT_EQ(server.client_of(texts[2]).get("/v1/projects/a.db/list_sheets").status, 200);
  // One of those whose client has the most.
  const auto has_ended = [](Listener* listener) { return !listener->hears_nothing_for(300ms); };
  const std::vector<Listener*> of_one = {&first, &second, &third};
  EXPECT_EQ(std::count_if(of_one.begin(), of_one.end(), has_ended), 1);
  EXPECT_FALSE(has_ended(&fourth));
}

TEST_F(Changes, OfAProjectThatIsNotThereAreNotFound) {
  EXPECT_EQ(client_.get("/v1/projects/none.db/changes").status, 404);
}

TEST_F(Changes, EndWhenTheServerIsReloaded) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  ASSERT_TRUE(server_.reload());
  EXPECT_EQ(listener.read_to_end(), "");
}

TEST_F(Changes, DoNotKeepTheServerFromStopping) {
  Listener listener(server_.port(), "a.db");
  listener.next();
  const auto begin = Clock::now();
  server_.end();
  EXPECT_LT(Clock::now() - begin, 10s);
  EXPECT_EQ(listener.read_to_end(), "");
}

TEST_F(Changes, OfAListenerThatHasGoneAreNotKept) {
  {
    Listener listener(server_.port(), "a.db");
    listener.next();
    listener.close();
  }
  for (int i = 0; i < 200; ++i) post("add_rebar", bar());
  Listener listener(server_.port(), "a.db");
  EXPECT_EQ(listener.next().name, "state");
}

}  // namespace
}  // namespace korvane::test
