#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/log/log.h"
#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"
#include "tests/support/wait_watch.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using namespace Poco::Data::SQLite;
using Poco::Data::ConnectionFailedException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kTableNames =
    "select name from sqlite_master where type = 'table' and name not like 'sqlite_%'";

/// A folder in which projects are opened one by one.
class OpeningTest : public ::testing::Test {
 protected:
  std::string file(const std::string& name) const { return folder_.file(name); }
  static LogLine line(const std::string& path, int exists) {
    return {0, krv::log::widen(path) + L": exists=" + std::to_wstring(exists)};
  }
  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(file(name), std::ios::binary) << bytes;
  }
  static std::int32_t create_material(Project_Service_Impl& project, const std::string& uid) {
    Material material;
    material.uid = uid;
    MaterialRef reply;
    project.create_material(material, reply);
    return reply.id.value();
  }

  TemporaryFolder folder_;
  CapturedLog log_;
};

using OpeningANewFile = OpeningTest;
using OpeningAnExistingFile = OpeningTest;
using FailingOpening = OpeningTest;
using ProjectName = OpeningTest;
using ProjectId = OpeningTest;
using Project = StoreTest;
using ClosedProject = StoreTest;

TEST_F(OpeningANewFile, LogsThatThereWasNone) {
  const Project_Service_Impl project(0, file("a.db"));
  EXPECT_EQ(log_.lines(), (LogLines{line(file("a.db"), 0)}));
}

TEST_F(OpeningANewFile, MakesTheTenTablesEmpty) {
  const Project_Service_Impl project(0, file("a.db"));
  Rows names;
  for (const std::string& table : kTables) {
    names.push_back({table});
    EXPECT_EQ(plain_rows(file("a.db"), "select * from " + table), Rows{}) << table;
  }
  EXPECT_EQ(plain_rows(file("a.db"), kTableNames + " order by rootpage"), names);
}

TEST_F(OpeningANewFile, TakesOneConnectionForAllItsLife) {
  const ConnectionWatch watch;
  Project_Service_Impl project(0, file("a.db"));
  create_material(project, "m-1");
  create_material(project, "m-2");
  EXPECT_THAT(watch.opened(), ElementsAre("a.db"));
  EXPECT_THAT(watch.closed(), IsEmpty());
}

TEST_F(OpeningANewFile, MakesTheTargetOfALinkThatLeadsNowhere) {
  std::filesystem::create_symlink(file("target.db"), file("link.db"));
  const Project_Service_Impl project(0, file("link.db"));
  EXPECT_EQ(log_.lines(), (LogLines{line(file("link.db"), 0)}));
  EXPECT_EQ(plain_rows(file("target.db"), kTableNames).size(), kTables.size());
}

TEST_F(OpeningANewFile, LogsANameThatIsNotUtf8) {
  const Project_Service_Impl project(0, file("St\xC3\xBCtze \xFF.db"));
  EXPECT_EQ(log_.lines(),
            (LogLines{{0, krv::log::widen(file("")) + L"St\u00FCtze \xFFFD.db: exists=0"}}));
}

TEST_F(OpeningAnExistingFile, LogsThatThereWasOneAndFindsItsDataUnchanged) {
  create_material(*std::make_shared<Project_Service_Impl>(0, file("a.db")), "m-1");
  const Rows before = plain_rows(file("a.db"), "select * from material");
  log_.clear();
  Project_Service_Impl project(0, file("a.db"));
  EXPECT_EQ(log_.lines(), (LogLines{line(file("a.db"), 1)}));
  EXPECT_EQ(plain_rows(file("a.db"), "select * from material"), before);
  EXPECT_EQ(before.size(), 1U);
}

TEST_F(OpeningAnExistingFile, RunsOnePragmaAndNothingElse) {
  { const Project_Service_Impl project(0, file("a.db")); }
  const ConnectionWatch watch;
  const Project_Service_Impl project(0, file("a.db"));
  EXPECT_THAT(watch.statements(), ElementsAre("PRAGMA foreign_keys = true"));
}

TEST_F(OpeningAnExistingFile, MakesNoTableInOneOfZeroLength) {
  write("a.db", "");
  Project_Service_Impl project(0, file("a.db"));
  EXPECT_EQ(log_.lines(), (LogLines{line(file("a.db"), 1)}));
  EXPECT_EQ(plain_rows(file("a.db"), kTableNames), Rows{});
  EXPECT_THROW(create_material(project, ""), InvalidSQLStatementException);
}

TEST_F(OpeningAnExistingFile, AcceptsADatabaseOfAnotherSchemaUntilATableIsMissed) {
  write("a.db", "");
  PlainConnection(file("a.db"), PlainConnection::Mode::kWrite).run("create table other (x)");
  Project_Service_Impl project(0, file("a.db"));
  Batch<Sheet> sheets;
  EXPECT_THROW(project.list_sheets({}, sheets), InvalidSQLStatementException);
  EXPECT_EQ(plain_rows(file("a.db"), kTableNames), (Rows{{"other"}}));
}

TEST_F(OpeningAnExistingFile, AcceptsWhatIsNotADatabaseUntilItIsRead) {
  write("a.db", std::string(4096, 'x'));
  Project_Service_Impl project(0, file("a.db"));
  Batch<Sheet> sheets;
  EXPECT_THROW(project.list_sheets({}, sheets), CorruptImageException);
}

/// Names that the file system does not find, and under which SQLite opens a.db.
class OpeningUnderAnotherSpelling : public OpeningTest,
                                    public ::testing::WithParamInterface<std::string> {};

TEST_P(OpeningUnderAnotherSpelling, FindsTheDataUnchanged) {
  create_material(*std::make_shared<Project_Service_Impl>(0, file("a.db")), "m-1");
  const Rows before = plain_rows(file("a.db"), "select * from material");
  Project_Service_Impl project(0, file(GetParam()));
  EXPECT_EQ(create_material(project, "m-2"), 2);
  EXPECT_EQ(plain_rows(file("a.db"), "select * from material where uid = 'm-1'"), before);
}

TEST_P(OpeningUnderAnotherSpelling, FindsTheDataUnchangedThroughTheManager) {
  create_material(*std::make_shared<Project_Service_Impl>(0, file("a.db")), "m-1");
  ProjectManager_Service_Impl manager;
  model::OpenProjectResponse reply;
  manager.open({file(GetParam())}, reply);
  EXPECT_EQ(plain_rows(file("a.db"), "select uid from material"), (Rows{{"m-1"}}));
}

TEST_P(OpeningUnderAnotherSpelling, TouchesNoTableOfAnotherProgram) {
  write("a.db", "");
  PlainConnection(file("a.db"), PlainConnection::Mode::kWrite).run("create table sheet (x)");
  const Project_Service_Impl project(0, file(GetParam()));
  EXPECT_EQ(plain_rows(file("a.db"), kTableNames), (Rows{{"sheet"}}));
}

TEST_P(OpeningUnderAnotherSpelling, LeavesWhatIsNotADatabaseAsItIs) {
  const std::string text(4096, 'x');
  write("a.db", text);
  EXPECT_THROW(Project_Service_Impl(0, file(GetParam())), CorruptImageException);
  std::ifstream found(file("a.db"), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(found), {}), text);
}

INSTANTIATE_TEST_SUITE_P(Names, OpeningUnderAnotherSpelling,
                         ::testing::Values("a.db/", "a.db/.", "a.db//", "./a.db/", "a.db/./"));

TEST_F(OpeningANewFile, WaitsForAnotherProgramThatMakesTablesThereAndTouchesNoneOfThem) {
  write("a.db", "");
  PlainConnection other(file("a.db"), PlainConnection::Mode::kWrite);
  other.run("begin immediate; create table sheet (x); insert into sheet values (7)");
  const WaitWatch watch([&] { other.run("commit"); });
  { const Project_Service_Impl project(0, file("a.db/")); }
  EXPECT_EQ(watch.waits(), 1);
  EXPECT_EQ(plain_rows(file("a.db"), kTableNames), (Rows{{"sheet"}}));
  EXPECT_EQ(plain_rows(file("a.db"), "select x from sheet"), (Rows{{"7"}}));
}

TEST_F(FailingOpening, OfAFolderDoesNotTouchIt) {
  std::filesystem::create_directory(file("folder"));
  EXPECT_THROW(Project_Service_Impl(0, file("folder")), ConnectionFailedException);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_empty(file("folder")));
}

TEST_F(FailingOpening, InAFolderThatIsNotThereMakesNothing) {
  EXPECT_THROW(Project_Service_Impl(0, file("absent/a.db")), ConnectionFailedException);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(FailingOpening, BelowAFileMakesNothing) {
  write("file", "text");
  EXPECT_THROW(Project_Service_Impl(0, file("file/a.db")), ConnectionFailedException);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FailingOpening, IsNotTriedAgain) {
  const WaitWatch watch;
  EXPECT_THROW(Project_Service_Impl(0, file("absent/a.db")), ConnectionFailedException);
  EXPECT_EQ(watch.openings(), 1);
}

TEST_F(FailingOpening, OfAPathThatCannotBeLookedUpTouchesNothing) {
  const ConnectionWatch watch;
  EXPECT_THROW(Project_Service_Impl(0, file(std::string(300, 'x'))),
               boost::filesystem::filesystem_error);
  EXPECT_THAT(watch.opened(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(FailingOpening, ForWantOfATableLeavesAFileThatStaysWithoutTables) {
  {
    ConnectionWatch watch;
    watch.refuse(SQLITE_CREATE_TABLE, "fabric");
    EXPECT_THROW(Project_Service_Impl(0, file("a.db")), AuthorizationDeniedException);
    EXPECT_THAT(watch.closed(), ElementsAre("a.db"));
  }
  EXPECT_EQ(plain_rows(file("a.db"), kTableNames), Rows{});
  log_.clear();
  Project_Service_Impl project(0, file("a.db"));
  EXPECT_EQ(log_.lines(), (LogLines{line(file("a.db"), 1)}));
  EXPECT_THROW(create_material(project, ""), InvalidSQLStatementException);
}

TEST_F(ProjectName, IsTheNameOfTheFileWithoutItsLastExtension) {
  EXPECT_EQ(project_name("folder.x/drawing.db"), "drawing");
  EXPECT_EQ(project_name("folder.x/drawing"), "drawing");
}

TEST_F(ProjectName, KeepsTheFirstOfTwoExtensions) {
  EXPECT_EQ(project_name("folder/drawing.v2.cad"), "drawing.v2");
}

TEST_F(ProjectId, EndsInAColonAndTheIndex) {
  EXPECT_EQ(Project_Service_Impl(0, file("a.db")).id(), "korvane.model.cad.Project:0");
  EXPECT_EQ(Project_Service_Impl(10, file("b.db")).id(), "korvane.model.cad.Project:10");
  EXPECT_EQ(Project_Service_Impl(-1, file("c.db")).id(), "korvane.model.cad.Project:-1");
}

TEST_F(Project, HasForeignKeysInForceFromTheFirstOperationOn) {
  EXPECT_EQ(query("PRAGMA foreign_keys").rows[0][0], text_variant("1"));
  EXPECT_THROW(make_revision(1), ConstraintViolationException);
}

TEST_F(Project, HasForeignKeysInForceInAReopenedFile) {
  const std::int32_t sheet = make_sheet();
  make_revision(sheet);
  reopen();
  GenericReply reply;
  project().delete_sheet(by_id<SheetRef>(sheet), reply);
  EXPECT_EQ(count("revision"), 0);
}

TEST_F(Project, WaitsSixtySecondsForALock) {
  EXPECT_EQ(query("PRAGMA busy_timeout").rows[0][0], text_variant("60000"));
}

TEST_F(ClosedProject, RanNoStatementAndLoggedNothingOnItsWay) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  close();
  EXPECT_THAT(watch.closed(), ElementsAre("project.db"));
  EXPECT_THAT(watch.statements(), IsEmpty());
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(ClosedProject, EndedAnOpenTransactionUncommitted) {
  make_material("m-1");
  query("begin");
  query("delete from material");
  close();
  EXPECT_EQ(count("material"), 1);
}

TEST_F(OpeningTest, ProjectsWorkBesideEachOtherInThreadsOfTheirOwn) {
  const auto fill = [&](const std::string& name) {
    Project_Service_Impl project(0, file(name));
    for (int i = 0; i < 20; ++i) create_material(project, "");
    Batch<Material> materials;
    project.list_materials({}, materials);
  };
  auto first = std::async(std::launch::async, fill, "a.db");
  auto second = std::async(std::launch::async, fill, "b.db");
  first.get();
  second.get();
  EXPECT_EQ(plain_rows(file("a.db"), "select count(*) from material"), (Rows{{"20"}}));
  EXPECT_EQ(plain_rows(file("b.db"), "select count(*) from material"), (Rows{{"20"}}));
}

}  // namespace

}  // namespace korvane::test
