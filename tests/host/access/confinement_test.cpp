// Project files over the network: none outside the folder, one service for each, and not too many.

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/host/support/logged_server.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::IsEmpty;

HttpAnswer open(HttpClient& client, const std::string& name) {
  return client.call(kManager, "open", {{"filename", name}});
}

/// A server in a folder beside which, and in which, there is something to reach for.
class Confinement : public ::testing::Test {
 protected:
  Confinement() {
    fs::create_directory(server().file("folder"));
    fs::create_directory_symlink(outside_.path(), server().file("way-out"));
    fs::create_symlink(outside_.path() / "target.db", server().file("link.db"));
  }

  TestServer& server() { return logged_.server(); }
  HttpClient& client() { return client_; }
  LoggedServer& logged() { return logged_; }

  std::set<std::string> files() {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(server().folder())) {
      names.insert(entry.path().string());
    }
    return names;
  }
  const fs::path& outside() const { return outside_.path(); }

 private:
  TemporaryFolder outside_;
  LoggedServer logged_;
  HttpClient client_ = server().client();
};

TEST_F(Confinement, HostileNamesAreRefusedAndNothingIsMade) {
  const std::string beside = outside().filename().string();
  const std::vector<std::string> names = {
      (outside() / "x.db").string(),
      "/x.db",
      "../" + beside + "/x.db",
      "folder/../../" + beside + "/x.db",
      "folder/../x.db",
      "..",
      ".",
      "folder",
      "folder/",
      "folder/.",
      "missing/x.db",
      "way-out/x.db",
      "way-out/../x.db",
      "link.db",
      "file:x.db",
      "FILE:x.db?mode=rwc",
      ":memory:",
      "./:memory:",
      ".x.db.part",
      "folder/.x.db.copy",
      "x.db-journal",
      "x.db-wal",
      "x.db-SHM",
      "x\ny.db",
      std::string("x.db\0.txt", 9),
      "\x1B[2J.db",
      std::string(300, 'x') + ".db",
      std::string(5000, 'x'),
      "/",
      "//x.db",
      "/etc/passwd",
      "../",
      "../x.db",
      "./../x.db",
      "folder/..",
      "folder//..//../x.db",
      "missing/../x.db",
      "../../../../../../../../etc/passwd",
      "./",
      "././.",
      "new.db/",
      "missing/missing/x.db",
      "way-out",
      "way-out/missing/x.db",
      "./way-out/x.db",
      "folder/../way-out/x.db",
      "file:",
      "FiLe:x.db",
      "./file:x.db",
      "file:///etc/passwd",
      "file://localhost/etc/passwd",
      "file::memory:?cache=shared",
      ":MEMORY:",
      "folder/x.db-journal",
      "x\r.db",
      "x\t.db",
      "x\x7F.db",
      "x\xC2\x9B.db",
  };
  const std::set<std::string> before = files();
  for (const std::string& name : names) {
    const HttpAnswer answer = open(client(), name);
    EXPECT_EQ(answer.status, 400) << name;
    EXPECT_THAT(answer.detail(), HasSubstr("is refused: expected "));
  }
  EXPECT_EQ(files(), before);
  EXPECT_TRUE(fs::is_empty(outside()));
  EXPECT_THAT(client().call(kManager, "list_").json().at("projects"), IsEmpty());
  const auto requests = logged().end_with_requests();
  ASSERT_EQ(requests.size(), names.size() + 1);
  for (const auto& request : requests) EXPECT_FALSE(request.contains("lines")) << request;
}

TEST_F(Confinement, ANameThatIsNoUtf8IsRefused) {
  const HttpAnswer answer =
      client().send("POST", path_of(kManager, "open"), std::string("\x09\x05x\xFF.db\x00", 8),
                    {{"Content-Type", kCompactBinary}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "file name \"x?.db\" is refused: expected UTF-8");
}

TEST_F(Confinement, AFolderIsNoProject) {
  const HttpAnswer answer = open(client(), "folder");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "file name \"folder\" is refused: expected a file, not a folder");
}

TEST_F(Confinement, AFileInAFolderIsOpened) {
  EXPECT_EQ(open(client(), "folder/x.db").status, 200);
  EXPECT_TRUE(fs::exists(server().file("folder/x.db")));
}

TEST_F(Confinement, TheSpellingsOfAFileHaveOneService) {
  fs::create_directory_symlink("folder", server().file("other-way"));
  const std::string id = open(client(), "folder/x.db").json().at("service_id");
  for (const char* const name :
       {"./folder/x.db", "folder//x.db", "folder/./x.db", "././folder/x.db", "other-way/x.db"}) {
    const HttpAnswer answer = open(client(), name);
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.json().at("service_id"), id) << name;
  }
  EXPECT_EQ(client().call(kManager, "list_").json().at("projects").size(), 1U);
}

TEST_F(Confinement, APlainWordIsAFileLikeAnyOther) {
  for (const char* const name :
       {"x", "x.txt", "file", "-wal.db", "x y.db", "\xE2\x82\xAC.db", "..x"}) {
    EXPECT_EQ(open(client(), name).status, 200) << name;
    EXPECT_TRUE(fs::exists(server().file(name)));
  }
}

class OpenProjects : public ServerTest {
 protected:
  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.open_projects = 2;
    return limits;
  }
  OpenProjects() : ServerTest(limits()) {}
};

TEST_F(OpenProjects, AreNotTooMany) {
  const std::string id = server().open("a.db");
  server().open("b.db");
  const HttpAnswer answer = open(client(), "c.db");
  EXPECT_EQ(answer.status, 503);
  EXPECT_EQ(answer.detail(), "the server has 2 projects open, and opens no more");
  EXPECT_FALSE(fs::exists(server().file("c.db")));
  EXPECT_EQ(open(client(), "./a.db").json().at("service_id"), id);
  EXPECT_EQ(client().call(id, "list_sheets").status, 200);
}

TEST_F(OpenProjects, AreNotThoseThatCouldNotBeOpened) {
  server().open("a.db");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(open(client(), "").status, 400);
    EXPECT_EQ(open(client(), "../x.db").status, 400);
  }
  EXPECT_EQ(open(client(), "b.db").status, 200);
}

}  // namespace
}  // namespace korvane::test
