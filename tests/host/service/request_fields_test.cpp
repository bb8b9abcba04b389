// Requests that are given field by field in the address of a GET.

#include <string>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class RequestFields : public ServerTest {
 protected:
  RequestFields() {
    client().call(project_, "create_sheet", {{"uid", "1"}, {"name", "Foundation"}});
    client().call(project_, "create_sheet", {{"uid", "two words"}, {"name", "Roof"}});
  }

  HttpAnswer get_sheet(const std::string& query) {
    return client().get(path_of(project_, "get_sheet") + "?" + query);
  }
  std::string sheet_of(const std::string& query) {
    const HttpAnswer answer = get_sheet(query);
    return answer.status == 200 ? answer.json().at("name").get<std::string>() : answer.detail();
  }
  const std::string& project() const { return project_; }

 private:
  std::string project_ = server().open("project.db");
};

TEST_F(RequestFields, NameARecord) { EXPECT_EQ(sheet_of("request[id]=2"), "Roof"); }

TEST_F(RequestFields, AreTakenAtAnAddressToo) {
  const HttpAnswer answer = client().get("/v1/projects/project.db/get_sheet?request[id]=2");
  EXPECT_EQ(answer.json().at("name"), "Roof");
}

TEST_F(RequestFields, MayBePercentEncoded) {
  EXPECT_EQ(sheet_of("request%5Bid%5D=%32"), "Roof");
  EXPECT_EQ(sheet_of("request[u%69d]=two%20words"), "Roof");
}

TEST_F(RequestFields, OfTextAreTakenAsTheyAre) {
  EXPECT_EQ(sheet_of("request[uid]=1"), "Foundation");
  EXPECT_EQ(sheet_of("request[uid]=two+words"), "Roof");
  for (const char* const missing : {"", "null", "true", "%22", "%7B%7D", "%5C", "%0A"}) {
    EXPECT_EQ(sheet_of("request[uid]=" + std::string(missing)), "failed to get_sheet") << missing;
  }
}

TEST_F(RequestFields, AreTakenTogether) {
  EXPECT_EQ(sheet_of("request[id]=7&request[uid]=1"), "Foundation");
}

TEST_F(RequestFields, ThatAreNumbersMustBeNumbers) {
  for (const char* const wrong : {"", "x", "null", "1x", "+1", "%201", "1%20", "0x1", "\"1\"",
                                  "[1]", "{}", "1e999", "1,2", "01"}) {
    EXPECT_EQ(sheet_of("request[id]=" + std::string(wrong)), "id: expected an integer, found text")
        << wrong;
  }
  EXPECT_EQ(sheet_of("request[id]=true"), "id: expected an integer, found a boolean");
  EXPECT_THAT(sheet_of("request[id]=1.5"), StartsWith("id: expected an integer from"));
  EXPECT_THAT(sheet_of("request[id]=2147483648"), StartsWith("id: expected an integer from"));
  EXPECT_EQ(sheet_of("request[id]=-1"), "failed to get_sheet");
  EXPECT_EQ(get_sheet("request[id]=x").status, 400);
}

TEST_F(RequestFields, ThatAreUnknownAreRefusedByTheirName) {
  for (const char* const field : {"nix", "", "id][x", "Id"}) {
    const std::string name = "request[" + std::string(field) + "]";
    EXPECT_EQ(get_sheet(name + "=1").status, 400);
    EXPECT_EQ(sheet_of(name + "=1"), "the parameter " + name + ": unknown field");
  }
}

TEST_F(RequestFields, ThatAreHalfNamedAreUnknownParameters) {
  for (const char* const name : {"request[id", "request]", "request[", "requests[id]", "[id]"}) {
    EXPECT_THAT(sheet_of(std::string(name) + "=1"), StartsWith("unknown parameter")) << name;
  }
}

TEST_F(RequestFields, ThatAreGivenTwiceAreRefused) {
  EXPECT_EQ(sheet_of("request[id]=1&request%5Bid]=2"),
            "the parameter request[id] is given twice in the address");
}

TEST_F(RequestFields, AreRefusedBesideARequestInJson) {
  EXPECT_EQ(get_sheet("request={}&request[id]=1").status, 400);
  EXPECT_EQ(sheet_of("request[id]=1&request={%22id%22:1}"),
            "the address has the request as JSON and field by field; expected one of both");
}

TEST_F(RequestFields, ThatAreNotUtf8AreRefused) {
  EXPECT_EQ(sheet_of("request[uid]=%FF"), "the parameter request[uid]: text that is not UTF-8");
}

TEST_F(RequestFields, WithPartsAreReferredToJson) {
  const HttpAnswer answer =
      client().get(path_of(project(), "query_table") + "?request[kind]=sql:raw&request[params]=x");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(),
            "the parameter request[params]: the field has parts; expected the whole request as "
            "JSON in the parameter request");
}

TEST_F(RequestFields, OfARequestWithPartsMayBeTheOthers) {
  const HttpAnswer answer =
      client().get(path_of(project(), "query_table") + "?request[kind]=sql:raw");
  EXPECT_EQ(answer.detail(), "No query or empty query");
}

TEST_F(RequestFields, AreNotTakenByPost) {
  const HttpAnswer answer = client().send(
      "POST", path_of(project(), "get_sheet") + "?request[id]=1", "{}", {{"Content-Type", kJson}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), HasSubstr("unknown parameter \"request[id]\""));
}

TEST_F(RequestFields, AreTakenByHead) {
  EXPECT_EQ(client().send("HEAD", path_of(project(), "get_sheet") + "?request[id]=1").status, 200);
  EXPECT_EQ(client().send("HEAD", path_of(project(), "get_sheet") + "?request[id]=9").status, 404);
}

}  // namespace
}  // namespace korvane::test
