// The page that browsers get.

#include "host/service/page.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "host/access/tokens.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using ::testing::HasSubstr;

class PageTest : public ::testing::Test {
 protected:
  PageTest() {
    write("index.html", "<!doctype html>");
    write("assets/a-1.js", "let a");
    write("assets/a-1.js.gz", "compressed");
    write("mark.svg", "<svg/>");
    write("data.bin", "x");
  }

  void write(const std::string& name, const std::string& content) {
    const std::filesystem::path file = folder_.path() / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }

  TestServer& server(std::optional<host::Tokens> tokens = std::nullopt) {
    if (!server_) {
      host::Mounted mounted;
      mounted.page = host::Page(folder_.path());
      server_ = std::make_unique<TestServer>(host::ModelServerLimits{}, std::move(tokens),
                                             std::vector<std::string>{}, std::move(mounted));
    }
    return *server_;
  }
  HttpAnswer get(const std::string& target, const HttpFields& fields = {}) {
    return server().client().get(target, fields);
  }

  TemporaryFolder folder_;
  std::unique_ptr<TestServer> server_;
};

TEST_F(PageTest, IsServedAtTheRoot) {
  const HttpAnswer answer = get("/");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "<!doctype html>");
  EXPECT_EQ(answer.fields.at("content-type"), "text/html; charset=utf-8");
}

TEST_F(PageTest, SaysWhatItIs) {
  EXPECT_EQ(get("/assets/a-1.js").fields.at("content-type"), "text/javascript; charset=utf-8");
  EXPECT_EQ(get("/mark.svg").fields.at("content-type"), "image/svg+xml");
  EXPECT_EQ(get("/data.bin").fields.at("content-type"), "application/octet-stream");
  EXPECT_EQ(get("/").fields.at("x-content-type-options"), "nosniff");
}

TEST_F(PageTest, RunsNothingThatIsNotItsOwn) {
  const std::string policy = get("/").fields.at("content-security-policy");
  EXPECT_THAT(policy, HasSubstr("default-src 'none'"));
  EXPECT_THAT(policy, HasSubstr("script-src 'self';"));
  EXPECT_THAT(policy, HasSubstr("frame-ancestors 'none'"));
  EXPECT_THAT(policy, ::testing::Not(HasSubstr("unsafe")));
}

TEST_F(PageTest, IsKeptByItsContent) {
  const HttpAnswer answer = get("/");
  EXPECT_EQ(answer.fields.at("cache-control"), "no-cache");
  const HttpAnswer again = get("/", {{"If-None-Match", answer.fields.at("etag")}});
  EXPECT_EQ(again.status, 304);
  EXPECT_EQ(again.body, "");
  EXPECT_NE(get("/mark.svg").fields.at("etag"), answer.fields.at("etag"));
}

TEST_F(PageTest, HasFilesThatNeverChange) {
  EXPECT_EQ(get("/assets/a-1.js").fields.at("cache-control"),
            "public, max-age=31536000, immutable");
}

TEST_F(PageTest, IsSentCompressedWhereItIsSoAlready) {
  const HttpAnswer answer = get("/assets/a-1.js", {{"Accept-Encoding", "gzip"}});
  EXPECT_EQ(answer.fields.at("content-encoding"), "gzip");
  EXPECT_EQ(answer.body, "compressed");
  EXPECT_EQ(get("/assets/a-1.js").body, "let a");
  EXPECT_EQ(get("/assets/a-1.js.gz").status, 404);
}

TEST_F(PageTest, IsServedToHeadWithoutItsBody) {
  const HttpAnswer answer = server().client().send("HEAD", "/", {}, {});
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(answer.fields.at("content-length"), "15");
}

TEST_F(PageTest, IsServedByNoOtherMethod) {
  EXPECT_EQ(server().client().send("POST", "/", "x", {}).status, 405);
}

TEST_F(PageTest, HasNothingBesideItsFiles) {
  for (const char* const path : {"/index.html", "/assets", "/assets/", "/assets/../mark.svg",
                                 "/%2e%2e/etc/passwd", "//mark.svg", "/MARK.svg"}) {
    EXPECT_EQ(get(path).status, 404) << path;
  }
}

TEST_F(PageTest, NeedsNoToken) {
  server(host::Tokens{});
  EXPECT_EQ(get("/").status, 200);
  EXPECT_EQ(get("/v1/projects").status, 401);
}

TEST_F(PageTest, IsReachedByALinkFromElsewhere) {
  EXPECT_EQ(get("/", {{"Sec-Fetch-Site", "cross-site"}}).status, 200);
  EXPECT_EQ(get("/v1/projects", {{"Sec-Fetch-Site", "cross-site"}}).status, 403);
}

TEST_F(PageTest, DoesNotHideTheServersOwnRoutes) {
  EXPECT_EQ(get("/healthz/live").body, "live\n");
  EXPECT_EQ(get("/v1").status, 200);
}

TEST(PageFolder, ThatIsMissingIsAFailure) {
  EXPECT_THROW(host::Page("no/such/folder"), std::filesystem::filesystem_error);
}

using AccessDocument = ServerTest;

TEST_F(AccessDocument, NamesTheClientAndItsScopes) {
  const nlohmann::json access = client().get("/v1/access").json();
  EXPECT_EQ(access.at("client"), "127.0.0.1");
  EXPECT_EQ(access.at("scopes"), nlohmann::json({"read", "write", "sql", "copy"}));
}

}  // namespace
}  // namespace korvane::test
