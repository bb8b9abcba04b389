// Projects by the addresses of their files, and what ids mean from one run to the next.

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/support/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

std::string address(const std::string& encoded_file, const std::string& operation) {
  return "/v1/projects/" + encoded_file + "/" + operation;
}

class Addresses : public ServerTest {
 protected:
  Addresses() {
    // The plugin makes it, another server opens it.
    server().open("a.db");
  }

  HttpAnswer post(const std::string& target, const json& body = json::object()) {
    return client().send("POST", target, body.dump(), {{"Content-Type", kJson}});
  }
  bool is_there(const std::string& name) const {
    return std::filesystem::exists(server_folder() / name);
  }
  std::filesystem::path server_folder() const { return folder_; }
  std::size_t sheets(const std::string& file) {
    return client().get(address(file, "list_sheets")).json().at("items").size();
  }
  json listed() { return client().get("/v1/projects").json().at("projects"); }

 private:
  const std::filesystem::path folder_ = server().folder();
};

using Reads = Addresses;
using Writes = Addresses;
using ProjectList = Addresses;
using ServerRun = Addresses;
using Reload = Addresses;

TEST_F(Reads, OpenTheProjectIfNeedBe) {
  EXPECT_EQ(post(address("b.db", "create_sheet") + "?create=true").status, 200);
  EXPECT_EQ(sheets("b.db"), 1U);
  EXPECT_EQ(post(address("b.db", "list_sheets")).json().at("items").size(), 1U);
}

TEST_F(Reads, NeverMakeAProject) {
  for (const char* const target : {"list_sheets", "list_sheets?create=true", "get_project"}) {
    const HttpAnswer answer = client().get(address("typo.db", target));
    EXPECT_EQ(answer.status, 404) << target;
    EXPECT_EQ(answer.detail(), "no project typo.db");
  }
  EXPECT_EQ(post(address("typo.db", "query_table?create=true"), sql_request("select 1")).status,
            404);
  EXPECT_FALSE(is_there("typo.db"));
}

TEST_F(Writes, MakeAProjectOnlyWhenTheyAreToldTo) {
  for (const char* const target : {"create_sheet", "create_sheet?create=false"}) {
    const HttpAnswer answer = post(address("typo.db", target));
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.detail(), "no project typo.db");
  }
  EXPECT_FALSE(is_there("typo.db"));
  EXPECT_EQ(post(address("new.db", "create_sheet?create=true")).status, 200);
  EXPECT_TRUE(is_there("new.db"));
  EXPECT_EQ(post(address("new.db", "create_sheet?create=true")).status, 200);
  EXPECT_EQ(sheets("new.db"), 2U);
}

TEST_F(Writes, TakeTrueAsClientsGeneratedForPythonWriteIt) {
  EXPECT_EQ(post(address("new.db", "create_sheet?create=False")).status, 404);
  EXPECT_EQ(post(address("new.db", "create_sheet?create=True")).status, 200);
}

TEST_F(Writes, RefuseAnotherAnswerThanTrueOrFalse) {
  const HttpAnswer answer = post(address("new.db", "create_sheet?create=yes"));
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "the parameter create is \"yes\"; expected true or false");
  EXPECT_EQ(post(address("a.db", "create_sheet?creat=true")).detail(),
            "unknown parameter \"creat\" in the address; expected request or create or dry_run");
}

TEST_F(Addresses, AreOfTheSameProjectAsAnId) {
  const std::string id = server().open("a.db");
  EXPECT_EQ(post(address("a.db", "create_sheet")).status, 200);
  EXPECT_EQ(client().call(id, "list_sheets").json().at("items").size(), 1U);
  EXPECT_EQ(post(address(".%2Fa.db", "create_sheet")).status, 200);
  EXPECT_EQ(sheets("a.db"), 2U);
  EXPECT_EQ(metric_now("korvane_open_projects"), 1);
}

TEST_F(Addresses, NameFilesInFoldersWithAnEncodedSlash) {
  std::filesystem::create_directories(server_folder() / "north wing");
  const std::string file = "north%20wing%2FSt%C3%BCtze%20%23%3F%25.db";
  EXPECT_EQ(post(address(file, "create_sheet?create=true")).status, 200);
  EXPECT_TRUE(is_there("north wing/St\u00fctze #?%.db"));
  EXPECT_EQ(sheets(file), 1U);
}

TEST_F(Addresses, LeadNowhereOutside) {
  for (const char* const file : {"..%2Fa.db", "%2Fetc%2Fpasswd", "file%3Aa.db", "a.db-journal",
                                 "folder%2F", ".", "..", "%3Amemory%3A"}) {
    EXPECT_EQ(client().get(address(file, "list_sheets")).status, 400) << file;
  }
  EXPECT_EQ(client().get("/v1/projects//list_sheets").status, 400);
}

TEST_F(Addresses, HaveNoOtherOperationsThanAProject) {
  const HttpAnswer answer = post(address("a.db", "open"));
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.detail(), "a project has no operation open");
  EXPECT_EQ(client().get(address("a.db", "create_sheet")).status, 405);
  EXPECT_EQ(client().get("/v1/projects/a.db").status, 404);
}

TEST_F(Addresses, OfAFileThatWasRemovedAreNotFoundThoughItIsOpen) {
  EXPECT_EQ(sheets("a.db"), 0U);
  std::filesystem::remove(server_folder() / "a.db");
  EXPECT_EQ(client().get(address("a.db", "list_sheets")).status, 404);
  const HttpAnswer answer = post(address("a.db", "create_sheet?create=true"));
  EXPECT_EQ(answer.status, 404);
  EXPECT_THAT(answer.detail(), HasSubstr("its file was removed while it was open"));
  EXPECT_FALSE(is_there("a.db"));
}

TEST_F(Addresses, OfAFileThatWasExchangedAreNotFoundUntilAReload) {
  EXPECT_EQ(sheets("a.db"), 0U);
  const auto file = server_folder() / "a.db";
  std::filesystem::copy_file(file, server_folder() / "other.db");
  std::filesystem::rename(server_folder() / "other.db", file);
  const HttpAnswer answer = client().get(address("a.db", "list_sheets"));
  EXPECT_EQ(answer.status, 404);
  EXPECT_THAT(answer.detail(), HasSubstr("its file was exchanged for another while it was open"));
}

TEST_F(Addresses, WhoseProjectCannotBeMadeLeaveNoFileBehind) {
  // The table "project" cannot be made where a view of that name comes with an authorizer's no:
  // here the folder takes no journal.
  std::filesystem::create_directories(server_folder() / "j.db-journal");
  EXPECT_NE(post(address("j.db", "create_sheet?create=true")).status, 200);
  EXPECT_FALSE(is_there("j.db"));
}

TEST_F(ProjectList, HasEveryProjectFileInTheFolderAndBelow) {
  std::filesystem::create_directories(server_folder() / "sub" / "deep");
  EXPECT_EQ(post(address("sub%2Fdeep%2Fb.db", "create_sheet?create=true")).status, 200);
  std::ofstream(server_folder() / "notes.txt") << "not a project";
  std::ofstream(server_folder() / "empty.db");
  std::filesystem::copy_file(server_folder() / "a.db", server_folder() / "closed.db");
  // A copy that is being written.
  std::filesystem::copy_file(server_folder() / "a.db", server_folder() / ".closed.db.part");
  std::vector<std::string> files;
  for (const json& project : listed()) files.push_back(project.at("file"));
  EXPECT_THAT(files, ElementsAre("a.db", "closed.db", "sub/deep/b.db"));
}

TEST_F(ProjectList, TellsSizeTimeAndWhetherItIsOpenAndOpensNothing) {
  std::filesystem::copy_file(server_folder() / "a.db", server_folder() / "closed.db");
  const json projects = listed();
  EXPECT_EQ(projects.at(0).at("is_open"), true);
  EXPECT_EQ(projects.at(1).at("is_open"), false);
  EXPECT_EQ(projects.at(1).at("size"), std::filesystem::file_size(server_folder() / "closed.db"));
  EXPECT_THAT(projects.at(1).at("changed").get<std::string>(),
              MatchesRegex("20[0-9][0-9]-[0-9]+-[0-9]+T[0-9:.]+Z"));
  EXPECT_EQ(metric_now("korvane_open_projects"), 1);
}

TEST_F(ProjectList, FollowsNoLinkToAnotherFolder) {
  const TemporaryFolder outside;
  std::filesystem::copy_file(server_folder() / "a.db", outside.file("b.db"));
  std::filesystem::create_directory_symlink(outside.path(), server_folder() / "link");
  std::filesystem::create_symlink(outside.file("b.db"), server_folder() / "b.db");
  EXPECT_EQ(listed().size(), 1U);
}

TEST_F(ServerRun, IsToldByEveryReply) {
  const std::string run = client().get("/v1").fields.at("korvane-run");
  EXPECT_THAT(run, MatchesRegex("[0-9a-f]{32}"));
  EXPECT_EQ(client().get("/healthz/live").fields.at("korvane-run"), run);
  EXPECT_EQ(client().get("/nowhere").fields.at("korvane-run"), run);
  EXPECT_EQ(client().get(address("typo.db", "list_sheets")).fields.at("korvane-run"), run);
  auto connection = connect();
  connection.send("no HTTP\r\n\r\n");
  EXPECT_EQ(connection.read_answer().fields.at("korvane-run"), run);
}

TEST_F(ServerRun, ThatIsMeantButNotThisOneIsRefusedAndNothingIsDone) {
  const std::string id = server().open("a.db");
  for (const std::string& path :
       {address("a.db", "create_sheet"), path_of(id, "create_sheet"), path_of(kProbe, "count")}) {
    const HttpAnswer answer =
        client().send("POST", path, "{}", {{"Content-Type", kJson}, {"Korvane-Run", "another"}});
    EXPECT_EQ(answer.status, 412) << path;
    EXPECT_THAT(answer.detail(), HasSubstr("the request is meant for run another of the server"));
  }
  EXPECT_EQ(sheets("a.db"), 0U);
}

TEST_F(ServerRun, ThatIsMeantAndThisOneIsServed) {
  const std::string run = client().get("/v1").fields.at("korvane-run");
  EXPECT_EQ(client()
                .send("POST", address("a.db", "create_sheet"), "{}",
                      {{"Content-Type", kJson}, {"Korvane-Run", run}})
                .status,
            200);
}

TEST_F(Reload, BeginsAnotherRunInWhichNoIdOfBeforeReachesAnotherProject) {
  const std::string id = server().open("a.db");
  const std::string run = client().get("/v1").fields.at("korvane-run");
  ASSERT_TRUE(server().reload());
  const std::string next_run = client().get("/v1").fields.at("korvane-run");
  EXPECT_NE(next_run, run);
  // Another project gets the id of the first.
  EXPECT_EQ(server().open("b.db"), id);
  const HttpAnswer answer = client().call(id, "create_sheet");
  EXPECT_EQ(answer.status, 412);
  EXPECT_THAT(answer.detail(), HasSubstr("expected the field Korvane-Run, or the project's"));
  const auto call_meant_for = [&](const std::string& meant) {
    return client()
        .send("POST", path_of(id, "create_sheet"), "{}",
              {{"Content-Type", kJson}, {"Korvane-Run", meant}})
        .status;
  };
  EXPECT_EQ(call_meant_for(run), 412);
  EXPECT_EQ(sheets("b.db"), 0U);
  EXPECT_EQ(call_meant_for(next_run), 200);
  EXPECT_EQ(sheets("b.db"), 1U);
  EXPECT_EQ(sheets("a.db"), 0U);
  EXPECT_EQ(client().call(kProbe, "count").status, 200);
}

TEST_F(Reload, ReadsAFileThatWasReplacedAnew) {
  EXPECT_EQ(post(address("a.db", "create_sheet")).status, 200);
  std::filesystem::copy_file(server_folder() / "a.db", server_folder() / "copy.db");
  EXPECT_EQ(post(address("a.db", "create_sheet")).status, 200);
  std::filesystem::rename(server_folder() / "copy.db", server_folder() / "a.db");
  ASSERT_TRUE(server().reload());
  EXPECT_EQ(metric_now("korvane_open_projects"), 0);
  EXPECT_EQ(sheets("a.db"), 1U);
}

TEST_F(Reload, LetsCallsFinishAndOthersWait) {
  auto runs = connect();
  runs.send(call_text(kProbe, "sleep", R"({"value_int32":500})"));
  wait_for_calls(1);
  ASSERT_TRUE(server().reload());
  EXPECT_EQ(runs.read_answer().status, 200);
  // The probe of the new run counts anew.
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 1);
}

TEST_F(Reload, LeavesAllAsItWasWhenACallDoesNotFinish) {
  const std::string run = client().get("/v1").fields.at("korvane-run");
  auto runs = connect();
  runs.send(call_text(kProbe, "sleep", R"({"value_int32":1000})"));
  wait_for_calls(1);
  EXPECT_FALSE(server().reload(100ms));
  EXPECT_EQ(client().get("/v1").fields.at("korvane-run"), run);
  EXPECT_EQ(sheets("a.db"), 0U);
  EXPECT_EQ(runs.read_answer().status, 200);
}

TEST_F(Reload, KeepsNobodyWaitingForALongCallOfAnother) {
  auto runs = connect();
  runs.send(call_text(kProbe, "sleep", R"({"value_int32":2500})"));
  wait_for_calls(1);
  std::atomic<bool> has_ended = false;
  bool has_reloaded = false;
  std::thread reloading([&] {
    has_reloaded = server().reload(1500ms);
    has_ended = true;
  });
  Clock::duration longest{0};
  while (!has_ended) {
    const auto begin = Clock::now();
    EXPECT_EQ(client().get(address("a.db", "list_sheets")).status, 200);
    longest = std::max(longest, Clock::now() - begin);
  }
  reloading.join();
  EXPECT_FALSE(has_reloaded);
  EXPECT_LT(longest, 1s);
  EXPECT_EQ(runs.read_answer().status, 200);
}

TEST_F(Reload, ThatFailsHalfWayBeginsAnotherRunWithAllProjectsAtTheirAddresses) {
  EXPECT_EQ(post(address("a.db", "create_sheet")).status, 200);
  const std::string id = server().open("a.db");
  const std::string run = client().get("/v1").fields.at("korvane-run");
  EXPECT_THROW(server().reload_half_way(), std::runtime_error);
  EXPECT_NE(client().get("/v1").fields.at("korvane-run"), run);
  EXPECT_EQ(server().open("b.db"), id);
  EXPECT_EQ(sheets("a.db"), 1U);
  EXPECT_EQ(sheets("b.db"), 0U);
}

TEST_F(Addresses, StandFirstInOpenApi) {
  std::vector<std::string> paths;
  const auto document = nlohmann::ordered_json::parse(client().get("/openapi.json").body);
  for (const auto& [path, item] : document.at("paths").items()) paths.push_back(path);
  paths.resize(3);
  EXPECT_THAT(paths,
              ::testing::ElementsAre("/v1/access", "/v1/projects", "/v1/projects/{file}/clear"));
  const auto& write = document.at("paths").at("/v1/projects/{file}/create_sheet").at("post");
  EXPECT_EQ(write.at("operationId"), "Project_Service.create_sheet");
  EXPECT_EQ(write.at("parameters").at(0).at("$ref"), "#/components/parameters/create");
  EXPECT_EQ(document.at("paths").at("/v1/{service_id}/create_sheet").at("post").at("operationId"),
            "Project_Service.create_sheet.by_id");
}

class RequestIds : public ServerTest {};

TEST_F(RequestIds, AreTakenOrMadeAndToldInTheReply) {
  EXPECT_EQ(client().get("/v1", {{"Request-Id", "office-42"}}).fields.at("request-id"),
            "office-42");
  EXPECT_EQ(client().get("/nowhere", {{"Request-Id", "office-43"}}).fields.at("request-id"),
            "office-43");
  const std::string first = client().get("/v1").fields.at("request-id");
  const std::string second = client().get("/v1").fields.at("request-id");
  EXPECT_THAT(first, MatchesRegex("[0-9a-f-]{36}"));
  EXPECT_NE(first, second);
}

TEST_F(RequestIds, ThatAreUnfitForALogAreReplaced) {
  for (const std::string& unfit :
       {std::string(129, 'x'), std::string("two words"), std::string("\"quoted\"")}) {
    EXPECT_THAT(client().get("/v1", {{"Request-Id", unfit}}).fields.at("request-id"),
                MatchesRegex("[0-9a-f-]{36}"));
  }
}

}  // namespace
}  // namespace korvane::test
