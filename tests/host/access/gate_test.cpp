// Who comes in: the server's names, pages of other sites, and what a token is good for.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "platform/rpc4/services.h"
#include "tests/host/support/logged_server.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using host::Scope;
using host::Scopes;
using krv::rpc4::Effect;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class OtherSites : public ServerTest {
 protected:
  OtherSites() : ServerTest({}, {"cad.example"}) {}

  HttpAnswer get(const HttpFields& fields) { return client().get("/v1", fields); }
};

TEST_F(OtherSites, TheServersNamesAreAccepted) {
  for (const char* const host :
       {"localhost", "localhost:8420", "LocalHost", "127.0.0.1", "127.0.0.1:8420", "[::1]",
        "[::1]:8420", "192.0.2.7", "cad.example", "CAD.example:8420"}) {
    EXPECT_EQ(get({{"Host", host}}).status, 200) << host;
  }
}

TEST_F(OtherSites, AnotherNameIsMisdirected) {
  for (const char* const host : {"elsewhere.example", "localhost.example", "elsewhere.example:8420",
                                 "cad.example.example", "127.0.0.1.example", "[elsewhere.example]",
                                 "[::1].elsewhere.example", "[::1]:8420.elsewhere.example",
                                 "[::1]8420", "localhost:", "localhost:8420x", "[", ":8420", ""}) {
    const HttpAnswer answer = get({{"Host", host}});
    EXPECT_EQ(answer.status, 421) << host;
    EXPECT_THAT(answer.detail(),
                StartsWith("\"" + std::string(host) + "\" is not a name of this server"));
  }
}

TEST_F(OtherSites, HealthIsNotToldUnderAnotherNameEither) {
  EXPECT_EQ(client().get("/healthz/live", {{"Host", "elsewhere.example"}}).status, 421);
}

TEST_F(OtherSites, PagesOfTheServerItselfAreAccepted) {
  EXPECT_EQ(get({{"Host", "localhost:8420"}, {"Origin", "http://localhost:8420"}}).status, 200);
  EXPECT_EQ(get({{"Host", "cad.example"}, {"Origin", "HTTP://CAD.example"}}).status, 200);
}

TEST_F(OtherSites, TheirPagesAreRefused) {
  for (const char* const origin :
       {"http://elsewhere.example", "null", "https://localhost:8420", "http://localhost:8421",
        "http://localhost", "http://127.0.0.1:8420", "file://", ""}) {
    const HttpAnswer answer = get({{"Host", "localhost:8420"}, {"Origin", origin}});
    EXPECT_EQ(answer.status, 403) << origin;
    EXPECT_EQ(answer.detail(),
              "cross-site requests from \"" + std::string(origin) + "\" are refused");
  }
}

TEST_F(OtherSites, TakesThePagesOwnOriginBeforeAProxyWithTls) {
  const auto status = [&](const std::string& origin, const std::string& site) {
    return get({{"Host", "localhost"}, {"Origin", origin}, {"Sec-Fetch-Site", site}}).status;
  };
  EXPECT_EQ(status("https://localhost", "same-origin"), 200);
  EXPECT_EQ(status("https://localhost", "none"), 403);
  EXPECT_EQ(status("https://elsewhere.example", "same-origin"), 403);
}

TEST_F(OtherSites, WhatABrowserCallsCrossSiteIsRefused) {
  for (const char* const site : {"cross-site", "same-site"}) {
    const HttpAnswer answer = get({{"Sec-Fetch-Site", site}});
    EXPECT_EQ(answer.status, 403) << site;
    EXPECT_EQ(answer.detail(), "cross-site requests are refused");
  }
}

TEST_F(OtherSites, WhatABrowserCallsItsUsersIsAccepted) {
  for (const char* const site : {"none", "same-origin"}) {
    EXPECT_EQ(get({{"Sec-Fetch-Site", site}}).status, 200) << site;
  }
}

TEST_F(OtherSites, BodiesThatAFormSendsAreRefused) {
  for (const char* const type :
       {"text/plain", "application/x-www-form-urlencoded", "multipart/form-data; boundary=x"}) {
    const HttpAnswer answer =
        client().send("POST", path_of(kProbe, "count"), "{}", {{"Content-Type", type}});
    EXPECT_EQ(answer.status, 415) << type;
  }
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 1);
}

TEST_F(OtherSites, AreToldNothingThatWouldLetThemIn) {
  for (const char* const method : {"OPTIONS", "GET"}) {
    const HttpAnswer answer = client().send(
        method, "/v1", {},
        {{"Origin", "http://elsewhere.example"}, {"Access-Control-Request-Method", "POST"}});
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.fields.count("access-control-allow-origin"), 0U);
  }
}

/// A server with a token for every set of scopes.
class TokensTest : public ::testing::Test {
 protected:
  TokensTest() {
    for (const Scopes& scopes : scope_sets()) tokens_[scopes] = file_.add(name_of(scopes), scopes);
    server_ = std::make_unique<LoggedServer>(host::ModelServerLimits{}, host::Tokens::load(path()));
  }

  static std::vector<Scopes> scope_sets() {
    const Scope read = Scope::read;
    const Scope write = Scope::write;
    const Scope sql = Scope::sql;
    return {{read},        {write},     {sql},        {Scope::copy},
            {read, write}, {read, sql}, {write, sql}, {read, write, sql}};
  }
  static std::string name_of(const Scopes& scopes) {
    std::string name;
    for (const Scope scope : scopes)
      name += (name.empty() ? "" : "-") + std::string(scope_name(scope));
    return name;
  }
  static Scopes all() { return {Scope::read, Scope::write, Scope::sql}; }

  std::string path() const { return folder_.file("tokens.json"); }
  LoggedServer& logged() { return *server_; }
  const TestServer& server() { return server_->server(); }
  const std::string& token(const Scopes& scopes) const { return tokens_.at(scopes); }
  HttpClient client_of(const Scopes& scopes) { return server().client_of(token(scopes)); }
  std::string open(const std::string& file) {
    return client_of(all()).call(kManager, "open", {{"filename", file}}).json().at("service_id");
  }

 private:
  TemporaryFolder folder_;
  host::TokenFile file_{path()};
  std::map<Scopes, std::string> tokens_;
  std::unique_ptr<LoggedServer> server_;
};

void expect_ask_for_token(const HttpAnswer& answer, const std::string& detail) {
  EXPECT_EQ(answer.status, 401);
  EXPECT_EQ(answer.fields.at("www-authenticate"), "Bearer realm=\"korvane\"");
  EXPECT_EQ(answer.detail(), detail);
}

TEST_F(TokensTest, AreAskedForWhereThereIsNone) {
  for (const char* const path : {"/v1", "/metrics", "/openapi.json", "/nowhere",
                                 "/v1/nowhere/count", "/v1/probe:0/count", "/"}) {
    expect_ask_for_token(server().client().get(path),
                         "expected a bearer token in the field Authorization");
  }
}

TEST_F(TokensTest, AreAskedForBeforeABodyIsRead) {
  RawConnection connection(server().port());
  connection.send(call_header(kProbe, "count", "Expect: 100-continue\r\n" + content_length(2)));
  EXPECT_EQ(connection.read_answer().status, 401);
}

TEST_F(TokensTest, OfAnotherKindAreNone) {
  for (const char* const credentials : {"Basic a3J2OngK", "krv_", "", "Bearer", "Bearertoken"}) {
    expect_ask_for_token(server().client().get("/v1", {{"Authorization", credentials}}),
                         "expected a bearer token in the field Authorization");
  }
}

TEST_F(TokensTest, ThatNobodyWasGivenAreRefused) {
  std::string wrong = token(all());
  wrong.back() = wrong.back() == 'A' ? 'E' : 'A';
  for (const std::string& bearer : {wrong, std::string("krv_"), token(all()) + "x"}) {
    expect_ask_for_token(server().client_of(bearer).get("/v1"), "no such token");
  }
}

TEST_F(TokensTest, MayFollowTheirSchemeInAnyCase) {
  const std::string bearer = token({Scope::read});
  for (const char* const scheme : {"Bearer ", "bearer ", "BEARER  "}) {
    EXPECT_EQ(server().client().get("/v1", {{"Authorization", scheme + bearer}}).status, 200);
  }
}

TEST_F(TokensTest, AreNotAskedForByHealth) {
  EXPECT_EQ(server().client().get("/healthz/live").status, 200);
  EXPECT_EQ(server().client().get("/healthz/ready").status, 200);
}

TEST_F(TokensTest, OfEveryScopeLetReadWhatTheServerHas) {
  for (const Scopes& scopes : scope_sets()) {
    for (const char* const path : {"/v1", "/metrics", "/openapi.json"}) {
      EXPECT_EQ(client_of(scopes).get(path).status, 200) << path;
    }
  }
}

/// The scopes of which one is enough for an operation.
Scopes scopes_of(Effect effect) {
  switch (effect) {
    case Effect::reads:
      return {Scope::read};
    case Effect::writes:
      return {Scope::write};
    case Effect::opens:
      return {Scope::read, Scope::write};
    case Effect::queries:
      return {Scope::read, Scope::sql};
  }
  return {};
}

TEST_F(TokensTest, AllowExactlyTheOperationsOfTheirScopes) {
  const std::map<const krv::rpc4::ServiceDefinition*, std::string> ids = {
      {krv::rpc4::service_definitions()[0], kManager},
      {krv::rpc4::service_definitions()[1], open("p.db")}};
  int allowed = 0;
  int refused = 0;
  for (const Scopes& scopes : scope_sets()) {
    HttpClient client = client_of(scopes);
    for (const auto& [definition, id] : ids) {
      for (const auto& operation : definition->operations) {
        const Scopes needed = scopes_of(operation.effect);
        const bool is_allowed = std::any_of(needed.begin(), needed.end(),
                                            [&](Scope scope) { return scopes.count(scope) != 0; });
        const HttpAnswer answer = client.call(id, std::string(operation.name));
        EXPECT_EQ(answer.status != 403, is_allowed)
            << operation.name << " with " << name_of(scopes) << ": " << answer.body;
        is_allowed ? ++allowed : ++refused;
        if (is_allowed) continue;
        EXPECT_THAT(answer.detail(),
                    StartsWith("the token of \"" + name_of(scopes) + "\" lacks the scope "));
        EXPECT_EQ(answer.fields.at("www-authenticate"),
                  "Bearer realm=\"korvane\", error=\"insufficient_scope\"");
      }
    }
  }
  EXPECT_GT(allowed, 100);
  EXPECT_GT(refused, 100);
}

TEST_F(TokensTest, ThatOnlyReadMakeNoFile) {
  for (const Scopes& scopes : {Scopes{Scope::read}, Scopes{Scope::read, Scope::sql}}) {
    const HttpAnswer answer = client_of(scopes).call(kManager, "open", {{"filename", "new.db"}});
    EXPECT_EQ(answer.status, 403);
    EXPECT_THAT(answer.detail(), HasSubstr("lacks the scope write"));
    EXPECT_FALSE(std::filesystem::exists(server().file("new.db")));
  }
}

TEST_F(TokensTest, ThatOnlyReadOpenAFileThatIsThere) {
  const std::string id = open("there.db");
  const HttpAnswer answer =
      client_of({Scope::read}).call(kManager, "open", {{"filename", "there.db"}});
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.json().at("service_id"), id);
}

TEST_F(TokensTest, ThatOnlyReadOpenAFileThatIsThereForTheFirstTime) {
  const std::ofstream file(server().file("there.db"));  // to SQLite an empty database
  EXPECT_EQ(client_of({Scope::read}).call(kManager, "open", {{"filename", "there.db"}}).status,
            200);
}

TEST_F(TokensTest, ThatWriteMakeAFile) {
  EXPECT_EQ(client_of({Scope::write}).call(kManager, "open", {{"filename", "new.db"}}).status, 200);
  EXPECT_TRUE(std::filesystem::exists(server().file("new.db")));
}

TEST_F(TokensTest, AreNotInTheLog) {
  const std::string bearer = token(all());
  client_of(all()).get("/v1");
  server().client_of(bearer + "x").get("/v1");
  server().client().get("/v1", {{"Authorization", bearer}});
  RawConnection connection(server().port());
  connection.send("GET /v1 HTTP/1.1\r\nAuthorization: Bearer " + bearer + "\r\nBad\r\n\r\n");
  connection.read_answer();
  const std::string log = logged().end();
  EXPECT_THAT(log, HasSubstr("\"client\":\"read-write-sql\""));
  EXPECT_THAT(log, Not(HasSubstr(bearer)));
  EXPECT_THAT(log, Not(HasSubstr(bearer.substr(4))));
}

}  // namespace
}  // namespace korvane::test
