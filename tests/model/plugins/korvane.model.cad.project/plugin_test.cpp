// What a host sees of the plugin, through its service interface and the skeletons alone. Runs on
// the plugin's class and on the loaded library.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <Poco/Data/DataException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/log/log.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"
#include "tests/model/plugins/korvane.model.cad.project/plugin_source.h"
#include "tests/support/captured_log.h"
#include "tests/support/connection_watch.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

namespace {

using namespace model;
using namespace model::cad;
using krv::rpc4::find_service;
using krv::rpc4::live_services;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

const LogLine kStarting{0, L"Starting ProjectManager_Service_Impl"};
const LogLine kStopping{0, L"Stopping ProjectManager_Service_Impl"};
const LogLine kStopped{0, L"Stopped ProjectManager_Service_Impl"};

class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::filesystem::path& path) {
    std::filesystem::current_path(path);
  }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;
  ~WorkingDirectory() { std::filesystem::current_path(before_); }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
};

class PluginTest : public ::testing::Test {
 protected:
  std::string file(const std::string& name) const { return folder_.file(name); }
  LogLine opening(const std::string& path, int exists) const {
    return {0, krv::log::widen(path) + L": exists=" + std::to_wstring(exists)};
  }

  void start() { plugin_->start(); }
  void stop() { plugin_->stop(); }
  /// Of the plugin that was started last.
  static ProjectManager_Service& manager() {
    auto* const found =
        find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
    if (found == nullptr) throw std::logic_error("no manager");
    return *found;
  }
  static std::string open(const std::string& filename) {
    OpenProjectResponse reply;
    manager().open({filename}, reply, {});
    return reply.service_id;
  }
  static std::vector<ProjectInfo> list() {
    ProjectList reply;
    manager().list_({}, reply, {});
    return reply.projects;
  }
  static Project_Service& project(const std::string& id) {
    auto* const found = find_service<Project_Service>(id);
    if (found == nullptr) throw std::logic_error("no project " + id);
    return *found;
  }

  TemporaryFolder folder_;
  CapturedLog log_;
  ConnectionWatch watch_;
  std::shared_ptr<krv::app::IService> plugin_ = make_plugin();
};

using Factory = PluginTest;
using PluginStart = PluginTest;
using PluginStop = PluginTest;
using OpenProject = PluginTest;
using ListProjects = PluginTest;

TEST_F(Factory, GivesItsCallerTheOnlyOwner) { EXPECT_EQ(plugin_.use_count(), 1); }

TEST_F(Factory, LeavesThePluginUnstarted) {
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(live_services(), IsEmpty());
}

TEST_F(Factory, MakesPluginsThatShareNothing) {
  const auto other = make_plugin();
  start();
  open(file("a.db"));
  other->start();
  EXPECT_THAT(list(), IsEmpty());
  EXPECT_THAT(open(file("b.db")), EndsWith(":0"));
  other->stop();
  EXPECT_THAT(list(), ElementsAre(ProjectInfo{"korvane.model.cad.Project:0", file("a.db"), ""}));
}

TEST_F(PluginStart, MakesAManagerWithNothingOpen) {
  start();
  EXPECT_EQ(log_.lines(), (LogLines{kStarting}));
  EXPECT_EQ(manager().id(), "korvane.model.cad.ProjectManager");
  EXPECT_THAT(list(), IsEmpty());
  EXPECT_THAT(watch_.opened(), IsEmpty());
}

TEST_F(PluginStart, PutsANewManagerInPlaceBeforeTheFormerGoes) {
  start();
  log_.clear();
  start();
  EXPECT_EQ(log_.lines(), (LogLines{kStarting, kStopping, kStopped}));
  EXPECT_EQ(live_services().size(), 1U);
}

TEST_F(PluginStart, ClosesTheProjectsOfTheFormerManagerAndNumbersFromZeroAgain) {
  start();
  open(file("a.db"));
  open(file("b.db"));
  start();
  EXPECT_THAT(watch_.closed(), ElementsAre("a.db", "b.db"));
  EXPECT_THAT(list(), IsEmpty());
  EXPECT_EQ(open(file("b.db")), "korvane.model.cad.Project:0");
}

TEST_F(PluginStart, GivesAFreshManagerAfterStop) {
  start();
  open(file("a.db"));
  stop();
  start();
  EXPECT_THAT(list(), IsEmpty());
  EXPECT_EQ(open(file("b.db")), "korvane.model.cad.Project:0");
}

TEST_F(PluginStop, DoesNothingToAPluginThatWasNeverStarted) {
  stop();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PluginStop, DoesNothingTheSecondTime) {
  start();
  stop();
  log_.clear();
  stop();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PluginStop, DestroysTheManagerBetweenItsTwoLines) {
  start();
  stop();
  EXPECT_EQ(log_.lines(), (LogLines{kStarting, kStopping, kStopped}));
  EXPECT_THAT(live_services(), IsEmpty());
}

TEST_F(PluginStop, ClosesProjectsInOrderOfOpeningBetweenItsTwoLines) {
  start();
  open(file("b.db"));
  open(file("a.db"));
  log_.clear();
  std::vector<LogLines> lines_at_closing;
  watch_.when_closed([&] { lines_at_closing.push_back(log_.lines()); });
  stop();
  EXPECT_THAT(watch_.closed(), ElementsAre("b.db", "a.db"));
  EXPECT_THAT(lines_at_closing, ElementsAre(LogLines{kStopping}, LogLines{kStopping}));
  EXPECT_EQ(log_.lines(), (LogLines{kStopping, kStopped}));
}

TEST_F(PluginStop, RunsNoStatement) {
  start();
  open(file("a.db"));
  watch_.forget();
  stop();
  EXPECT_THAT(watch_.statements(), IsEmpty());
}

TEST_F(PluginStop, HasGivenUpTheManagerBeforeItGoes) {
  start();
  open(file("a.db"));
  watch_.when_closed([&] { stop(); });
  stop();
  EXPECT_EQ(log_.texts(0).back(), kStopped.text);
  EXPECT_THAT(log_.lines(), ::testing::SizeIs(4));
}

TEST_F(PluginStop, LeavesNoProjectToBeFound) {
  start();
  const std::string id = open(file("a.db"));
  stop();
  EXPECT_EQ(find_service<Project_Service>(id), nullptr);
}

TEST_F(PluginStop, HappensWhenTheLastOwnerOfAStartedPluginLetsGo) {
  start();
  open(file("a.db"));
  log_.clear();
  plugin_.reset();
  EXPECT_EQ(log_.lines(), (LogLines{kStopping, kStopped}));
  EXPECT_THAT(watch_.closed(), ElementsAre("a.db"));
  EXPECT_THAT(live_services(), IsEmpty());
}

TEST_F(PluginStop, IsNotWaitedForByAnUnstartedPluginThatGoes) {
  plugin_.reset();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(OpenProject, RefusesAnEmptyFilename) {
  start();
  open(file("a.db"));
  EXPECT_THAT([] { open(""); }, ThrowsMessage<std::runtime_error>("Missing property: filename"));
  EXPECT_EQ(list().size(), 1U);
}

TEST_F(OpenProject, AnswersWithTheIdOfAServiceThatCanBeFound) {
  start();
  const std::string id = open(file("a.db"));
  EXPECT_EQ(id, "korvane.model.cad.Project:0");
  EXPECT_EQ(project(id).id(), id);
}

TEST_F(OpenProject, WritesNothingButTheServiceIdIntoItsReply) {
  start();
  OpenProjectResponse reply;
  reply.error.set("before");
  manager().open({file("a.db")}, reply, {});
  EXPECT_EQ(*reply.error, "before");
}

TEST_F(OpenProject, LogsTheLineOfTheProjectAlone) {
  start();
  log_.clear();
  open(file("a.db"));
  EXPECT_EQ(log_.lines(), (LogLines{opening(file("a.db"), 0)}));
}

TEST_F(OpenProject, NumbersProjectsFromZeroWithoutGap) {
  start();
  std::string last;
  for (int i = 0; i <= 10; ++i) last = open(file(std::to_string(i) + ".db"));
  EXPECT_EQ(last, "korvane.model.cad.Project:10");
  EXPECT_EQ(list().front().service_id, "korvane.model.cad.Project:0");
}

TEST_F(OpenProject, TakesAnyNameAndExtension) {
  start();
  EXPECT_THAT(open(file("no extension")), EndsWith(":0"));
  EXPECT_THAT(open(file("drawing.v2.cad")), EndsWith(":1"));
  EXPECT_EQ(plain_rows(file("drawing.v2.cad"), "select count(*) from rebar"), (Rows{{"0"}}));
}

TEST_F(OpenProject, KnowsAPathAgainByItsNormalForm) {
  std::filesystem::create_directory(file("sub"));
  start();
  const std::string id = open(file("a.db"));
  EXPECT_EQ(open(file("./a.db")), id);
  EXPECT_EQ(open(file("sub/../a.db")), id);
  EXPECT_EQ(open(file("sub/.././/a.db")), id);
  EXPECT_EQ(list().size(), 1U);
  EXPECT_THAT(watch_.opened(), ElementsAre("a.db"));
}

TEST_F(OpenProject, OpensTheNormalFormOfThePath) {
  start();
  log_.clear();
  open(file("absent/../a.db"));
  EXPECT_EQ(log_.lines(), (LogLines{opening(file("a.db"), 0)}));
  EXPECT_TRUE(std::filesystem::exists(file("a.db")));
}

TEST_F(OpenProject, DoesNotLookAtTheFileOfAKnownPath) {
  start();
  open(file("a.db"));
  log_.clear();
  watch_.forget();
  open(file("a.db"));
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(watch_.opened(), IsEmpty());
  EXPECT_THAT(watch_.statements(), IsEmpty());
}

TEST_F(OpenProject, TakesARelativeAndAnAbsolutePathForTwoProjectsOnOneFile) {
  const WorkingDirectory here(folder_.path());
  start();
  EXPECT_THAT(open(file("a.db")), EndsWith(":0"));
  EXPECT_THAT(open("a.db"), EndsWith(":1"));
  EXPECT_THAT(watch_.opened(), ElementsAre("a.db", "a.db"));
  EXPECT_EQ(log_.lines().back(), opening("a.db", 1));
}

TEST_F(OpenProject, TakesPathsThatDifferInCaseForTwoProjects) {
  start();
  EXPECT_THAT(open(file("a.db")), EndsWith(":0"));
  EXPECT_THAT(open(file("A.db")), EndsWith(":1"));
  EXPECT_EQ(list().size(), 2U);
}

TEST_F(OpenProject, FollowsNoLinkToTellPathsApart) {
  start();
  open(file("a.db"));
  std::filesystem::create_symlink(file("a.db"), file("link.db"));
  EXPECT_THAT(open(file("link.db")), EndsWith(":1"));
  EXPECT_EQ(log_.lines().back(), opening(file("link.db"), 1));
}

TEST_F(OpenProject, AnswersForAKnownPathWhoseFileWasDeleted) {
  start();
  const std::string id = open(file("a.db"));
  std::filesystem::remove(file("a.db"));
  EXPECT_EQ(open(file("a.db")), id);
  EXPECT_FALSE(std::filesystem::exists(file("a.db")));
}

TEST_F(OpenProject, GivesTheNumberOfAFailedOpeningToTheNext) {
  std::filesystem::create_directory(file("folder"));
  start();
  open(file("a.db"));
  EXPECT_THROW(open(file("folder")), Poco::Data::ConnectionFailedException);
  EXPECT_EQ(list().size(), 1U);
  EXPECT_EQ(find_service<Project_Service>("korvane.model.cad.Project:1"), nullptr);
  EXPECT_EQ(open(file("b.db")), "korvane.model.cad.Project:1");
}

TEST_F(OpenProject, OpensAPathThatFailedBeforeOnceItCanBeOpened) {
  start();
  EXPECT_THROW(open(file("sub/a.db")), Poco::Data::ConnectionFailedException);
  std::filesystem::create_directory(file("sub"));
  EXPECT_EQ(open(file("sub/a.db")), "korvane.model.cad.Project:0");
}

TEST_F(OpenProject, OpensForAllCallersAlike) {
  start();
  OpenProjectResponse first;
  OpenProjectResponse second;
  manager().open({file("a.db")}, first, {"10.0.0.1"});
  manager().open({file("a.db")}, second, {"10.0.0.2"});
  EXPECT_EQ(first, second);
}

TEST_F(OpenProject, KeepsTheBytesOfANameThatIsNotAscii) {
  start();
  open(file("Pl\xC3\xA4ne.db"));
  open(file("\xFF.db"));
  EXPECT_EQ(list()[0].filename, file("Pl\xC3\xA4ne.db"));
  EXPECT_EQ(list()[1].filename, file("\xFF.db"));
  EXPECT_TRUE(std::filesystem::exists(file("\xFF.db")));
}

TEST_F(OpenProject, TakesANameThatLooksLikeAUriForTheNameOfAFile) {
  const WorkingDirectory here(folder_.path());
  start();
  Material steel;
  MaterialRef ref;
  project(open("a.db")).create_material(steel, ref, {});
  open("file:a.db");
  EXPECT_TRUE(std::filesystem::exists(file("file:a.db")));
  EXPECT_EQ(plain_rows(file("a.db"), "select count(*) from material"), (Rows{{"1"}}));
}

TEST_F(OpenProject, LeadsToAProjectThatKeepsWhatItIsGiven) {
  start();
  Material steel;
  steel.identity.name = "B500B";
  MaterialRef ref;
  project(open(file("a.db"))).create_material(steel, ref, {});
  start();
  Material found;
  project(open(file("a.db"))).get_material(ref, found, {});
  EXPECT_EQ(found.identity.name, "B500B");
}

TEST_F(ListProjects, GivesNothingWithNothingOpen) {
  start();
  EXPECT_THAT(list(), IsEmpty());
}

TEST_F(ListProjects, GivesProjectsInOrderOfOpeningWhateverTheirPaths) {
  start();
  open(file("b.db"));
  open(file("c.db"));
  open(file("a.db"));
  EXPECT_THAT(list(), ElementsAre(ProjectInfo{"korvane.model.cad.Project:0", file("b.db"), ""},
                                  ProjectInfo{"korvane.model.cad.Project:1", file("c.db"), ""},
                                  ProjectInfo{"korvane.model.cad.Project:2", file("a.db"), ""}));
}

TEST_F(ListProjects, GivesTheNormalisedPath) {
  start();
  open(file("absent/.././/a.db"));
  EXPECT_EQ(list()[0].filename, file("a.db"));
}

TEST_F(ListProjects, AppendsToItsReplyAndTouchesNothingElseOfIt) {
  start();
  open(file("a.db"));
  ProjectList reply;
  reply.error.set("before");
  reply.projects = {{"x", "y", "z"}};
  manager().list_({}, reply, {});
  EXPECT_EQ(*reply.error, "before");
  EXPECT_EQ(reply.projects.size(), 2U);
  EXPECT_EQ(reply.projects[0], (ProjectInfo{"x", "y", "z"}));
}

TEST_F(ListProjects, LogsNothing) {
  start();
  log_.clear();
  list();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace

}  // namespace korvane::test
