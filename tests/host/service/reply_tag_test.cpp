// Entity tags of replies: what a client need not get again.

#include <atomic>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/service/entity_tag.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using host::has_tag;
using host::MountedCall;
using host::MountedReply;
using host::MountedRoute;
using krv::rpc4::Effect;

TEST(EntityTag, IsFoundInAList) {
  EXPECT_TRUE(has_tag("\"a\", W/\"b\" ,\"c\"", "W/\"b\""));
  EXPECT_TRUE(has_tag("\"b\"", "W/\"b\""));
  EXPECT_TRUE(has_tag("W/\"b\"", "\"b\""));
  EXPECT_TRUE(has_tag(" * ", "\"b\""));
}

TEST(EntityTag, IsNotFoundWhereItIsAnother) {
  EXPECT_FALSE(has_tag("", "\"b\""));
  EXPECT_FALSE(has_tag("\"bb\", \"a\"", "\"b\""));
  EXPECT_FALSE(has_tag("b", "\"b\""));
  EXPECT_FALSE(has_tag(",,", "\"b\""));
}

class ReplyTags : public ::testing::Test {
 protected:
  ReplyTags() { server_.open("a.db"); }

  host::Mounted mounted() {
    MountedRoute print;
    print.operation = host::mounted_operation("print", Effect::reads);
    print.reply_types = {"text/plain"};
    print.run = [this](const MountedCall&) {
      ++runs_;
      return MountedReply{"text/plain", "printed"};
    };
    MountedRoute store;
    store.operation = host::mounted_operation("store", Effect::writes);
    store.goes_by_if_match = true;
    store.run = [](const MountedCall& call) {
      return MountedReply{"text/plain", call.if_match.value_or("no tag")};
    };
    host::Mounted all({print, store});
    all.state_of = [this](const krv::rpc4::LiveService&) {
      if (state_ == "fails") throw std::runtime_error("cannot tell");
      return state_;
    };
    return all;
  }

  HttpAnswer get(const std::string& target, const HttpFields& fields = {}) {
    return client_.get("/v1/projects/a.db/" + target, fields);
  }
  std::string tag_of(const std::string& target) { return get(target).fields.at("etag"); }

  std::string state_ = "7";
  std::atomic<int> runs_ = 0;
  TestServer server_{{}, std::nullopt, {}, mounted()};
  HttpClient client_ = server_.client();
};

TEST_F(ReplyTags, NameTheStateOfTheProjectAndTheRun) {
  const HttpAnswer answer = get("print");
  EXPECT_EQ(answer.fields.at("etag"), "W/\"" + answer.fields.at("korvane-run") + ".7\"");
  EXPECT_EQ(answer.fields.at("cache-control"), "private, no-cache");
  EXPECT_EQ(answer.fields.at("vary"), "Accept, Accept-Encoding, Authorization");
}

TEST_F(ReplyTags, SaveWhatTheClientHasAlready) {
  const std::string tag = tag_of("print");
  EXPECT_EQ(runs_, 1);
  const HttpAnswer answer = get("print", {{"If-None-Match", tag}});
  EXPECT_EQ(answer.status, 304);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(answer.fields.at("etag"), tag);
  EXPECT_EQ(answer.fields.count("content-length"), 0U);
  EXPECT_EQ(runs_, 1);
  EXPECT_EQ(get("print").body, "printed");
}

TEST_F(ReplyTags, ChangeWithTheState) {
  const std::string tag = tag_of("print");
  state_ = "8";
  EXPECT_EQ(get("print", {{"If-None-Match", tag}}).status, 200);
  EXPECT_NE(tag_of("print"), tag);
}

TEST_F(ReplyTags, ChangeWithTheRun) {
  const std::string tag = tag_of("print");
  ASSERT_TRUE(server_.reload());
  EXPECT_EQ(get("print", {{"If-None-Match", tag}}).status, 200);
}

TEST_F(ReplyTags, AreOfOperationsThatReadToo) {
  const std::string tag = tag_of("list_sheets");
  EXPECT_EQ(get("list_sheets", {{"If-None-Match", tag}}).status, 304);
}

TEST_F(ReplyTags, DifferByTheFormOfTheReply) {
  const HttpAnswer binary = get("list_sheets", {{"Accept", kCompactBinary}});
  EXPECT_NE(binary.fields.at("etag"), tag_of("list_sheets"));
}

TEST_F(ReplyTags, AreNotOfQueriesWhichCanAskForTheTime) {
  const std::string request =
      R"({"kind":"sql:raw","params":{"query":{"value_string":"select 1"}}})";
  std::string target = "query_table?request=";
  for (const char c : request) target += c == '"' ? "%22" : c == ' ' ? "%20" : std::string(1, c);
  const HttpAnswer answer = get(target);
  EXPECT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.fields.count("etag"), 0U);
}

TEST_F(ReplyTags, AreNotOfCallsByPost) {
  const HttpAnswer answer =
      client_.send("POST", "/v1/projects/a.db/list_sheets", "{}", {{"Content-Type", kJson}});
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.count("etag"), 0U);
  EXPECT_EQ(answer.fields.at("cache-control"), "no-store");
}

TEST_F(ReplyTags, AreLeftOutWhereNobodyKnowsTheState) {
  state_ = "fails";
  const HttpAnswer answer = get("print", {{"If-None-Match", "*"}});
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.count("etag"), 0U);
}

TEST_F(ReplyTags, AreNotOfFailures) {
  EXPECT_EQ(client_.get("/v1/projects/none.db/print").fields.count("etag"), 0U);
}

TEST_F(ReplyTags, OfTheClientReachRoutesThatWrite) {
  const auto store = [&](const HttpFields& fields) {
    return client_.send("POST", "/v1/projects/a.db/store", "", fields).body;
  };
  EXPECT_EQ(store({{"If-Match", "\"x\""}}), "\"x\"");
  EXPECT_EQ(store({}), "no tag");
}

}  // namespace
}  // namespace korvane::test
