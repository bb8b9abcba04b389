// The program itself, as a person runs it.

#include "tests/tools/korvane/program.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane {
namespace {

using test::Outcome;
using test::text_of;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Program : public testing::Test {
 protected:
  Outcome run(const std::string& arguments) {
    return test::run_program(folder_, arguments, "COLUMNS=80");
  }
  std::string project() const { return folder_.file("project.db"); }
  std::string import_guideline() const {
    return "import " KORVANE_EXAMPLES "/guideline.abs --project " + project();
  }

  test::TemporaryFolder folder_;
};

TEST_F(Program, ShowPrintsWhatTheImportPrinted) {
  const Outcome imported = run(import_guideline() + " --show");
  const Outcome shown = run("show " + project());
  EXPECT_EQ(shown.exit_code, 0);
  EXPECT_EQ(shown.out, imported.out);
}

TEST_F(Program, ShowOfOneRevisionLeavesOutTheOthers) {
  run(import_guideline());
  run(import_guideline() + " --revision b");
  const Outcome shown = run("show " + project() + " --revision b");
  EXPECT_THAT(shown.out, StartsWith("Sheet 417, revision b\n\nBars\n"));
  EXPECT_THAT(shown.out, testing::Not(HasSubstr("revision a")));
}

TEST_F(Program, ShowOfAnUnknownRevisionFails) {
  run(import_guideline());
  const Outcome shown = run("show " + project() + " --revision z");
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_EQ(shown.err, "korvane: no revision \"z\" in this project\n");
}

TEST_F(Program, ShowNeverMakesAProject) {
  const Outcome outcome = run("show " + project());
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.err, "korvane: no project " + project() + "\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_FALSE(std::filesystem::exists(project()));
}

TEST_F(Program, AFileThatIsNotADatabaseIsNotAProject) {
  std::ofstream(project()) << "Dear all,\n\nplease find enclosed the schedule.\n";
  for (const std::string& command :
       {"show " + project(), "import " KORVANE_EXAMPLES "/guideline.abs --project " + project()}) {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.err, EndsWith("korvane: \"" + project() +
                                      "\" is not a korvane project: it is not a database\n"));
  }
}

TEST_F(Program, ADatabaseWithoutTheTablesIsNotAProject) {
  std::ofstream(project()).close();
  const Outcome outcome = run("show " + project());
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("\"" + project() + "\" is not a korvane project: "));
  EXPECT_THAT(outcome.err, HasSubstr("no such table"));
}

TEST_F(Program, ImportUnderAnotherSpellingOfAProjectLosesNothing) {
  const std::string import = "import " KORVANE_EXAMPLES "/guideline.abs --project ";
  EXPECT_EQ(run(import + project()).exit_code, 0);
  const Outcome again = run(import + project() + "/");
  EXPECT_EQ(again.exit_code, 1);
  EXPECT_THAT(again.err, HasSubstr("has 19 schedule lines already"));
  EXPECT_EQ(run("show " + project()).exit_code, 0);
}

TEST_F(Program, OutputThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + project()).exit_code, 0);
  for (const std::string& command :
       {"show " + project(), import_guideline() + " --revision b --show", std::string("schema"),
        std::string("--help"), std::string("--version"),
        "token list --tokens " + folder_.file("tokens.json")}) {
    const std::string file = folder_.file("tokens.json");
    if (command.starts_with("token")) run("token add other --scope read --tokens " + file);
    const Outcome outcome = test::run_program(folder_, command, "", "/dev/full");
    EXPECT_EQ(outcome.exit_code, 1) << command;
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to the standard output")) << command;
  }
}

TEST_F(Program, ATokenThatCouldNotBePrintedIsNotMade) {
  const std::string file = folder_.file("tokens.json");
  const std::string add = "token add office --scope read --tokens " + file;
  EXPECT_EQ(test::run_program(folder_, add, "", "/dev/full").exit_code, 1);
  EXPECT_EQ(run("token list --tokens " + file).out, "");
  EXPECT_EQ(run(add).exit_code, 0);
}

TEST_F(Program, AProjectInAMissingFolderFailsAtOnceWithTheReason) {
  const Outcome outcome =
      run("import " KORVANE_EXAMPLES "/guideline.abs --project " + folder_.file("missing/p.db"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("unable to open database file"));
}

TEST_F(Program, WrongUsageExitsWithTwo) {
  EXPECT_EQ(run("").exit_code, 2);
  EXPECT_EQ(run("import").exit_code, 2);
  EXPECT_EQ(run("show --no-such-option x").exit_code, 2);
}

TEST_F(Program, HelpOfEachSubcommandEndsInAnExample) {
  for (const std::string subcommand : {"import", "compare", "list", "show", "schema", "serve",
                                       "token", "token add", "token remove", "token list"}) {
    const Outcome outcome = run(subcommand + " --help");
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.out, testing::ContainsRegex("Examples?:\n  korvane " + subcommand))
        << subcommand;
  }
}

TEST_F(Program, HelpFitsATerminalOfEightyColumns) {
  for (const std::string subcommand : {"", "import", "compare", "list", "show", "schema", "serve",
                                       "token", "token add", "token remove", "token list"}) {
    std::istringstream help(run("--plugins p " + subcommand + " --help").out);
    for (std::string line; std::getline(help, line);) {
      if (line.starts_with("  --plugins")) continue;  // its default is this machine's own
      EXPECT_LE(line.size(), 80U) << line;
    }
  }
}

TEST_F(Program, VerboseShowsThePluginsTraceLines) {
  const Outcome outcome = run("--verbose " + import_guideline());
  EXPECT_THAT(outcome.err, HasSubstr("[0] Starting ProjectManager_Service_Impl\n"));
  EXPECT_THAT(outcome.err, HasSubstr("[0] " + project() + ": exists=0\n"));
}

TEST_F(Program, SchemaWritesTheFilesThatItPrints) {
  const Outcome printed = run("schema");
  EXPECT_EQ(run("schema --output " + folder_.file("contracts")).exit_code, 0);
  EXPECT_THAT(printed.out, HasSubstr("// korvane.services.bond\n" +
                                     text_of(folder_.file("contracts/korvane.services.bond"))));
}

TEST_F(Program, SchemaGivesTheOpenApiDocumentOfAServerWithoutOne) {
  const Outcome printed = run("schema --openapi");
  EXPECT_EQ(printed.exit_code, 0);
  EXPECT_EQ(printed.err, "");
  EXPECT_THAT(printed.out, StartsWith("{\"openapi\":\"3.1.0\""));
  EXPECT_THAT(printed.out, HasSubstr("\"/v1/korvane.model.cad.ProjectManager/open\""));
  EXPECT_THAT(printed.out, HasSubstr("\"/v1/projects/{file}/import\""));
  const std::string file = folder_.file("openapi.json");
  const Outcome written = run("schema --openapi --output " + file);
  EXPECT_EQ(written.exit_code, 0);
  EXPECT_EQ(written.out, "");
  EXPECT_EQ(text_of(file), printed.out);
}

TEST_F(Program, SchemaGivesTheDocumentOfTheEditionThatIsAskedFor) {
  const Outcome older = run("schema --openapi --edition 3.0");
  EXPECT_EQ(older.exit_code, 0);
  EXPECT_THAT(older.out, StartsWith("{\"openapi\":\"3.0.3\""));
  EXPECT_EQ(run("schema --openapi --edition 3.1").out, run("schema --openapi").out);
  EXPECT_EQ(run("schema --openapi --edition 2.0").exit_code, 2);
  EXPECT_EQ(run("schema --edition 3.0").exit_code, 2);
}

TEST_F(Program, SchemaGivesAnOpenApiDocumentWithoutAnyPlugin) {
  const Outcome printed = run("--plugins " + folder_.file("nothing") + " schema --openapi");
  EXPECT_EQ(printed.exit_code, 0);
  EXPECT_THAT(printed.out, HasSubstr("\"/v1/projects/{file}/create_sheet\""));
  EXPECT_THAT(printed.out, HasSubstr("\"/v1/{service_id}/open\""));
}

TEST_F(Program, AnOpenApiDocumentThatCannotBeWrittenIsAFailureThatNamesTheFile) {
  const std::string file = folder_.file("nowhere/openapi.json");
  const Outcome outcome = run("schema --openapi --output " + file);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("cannot write " + file));
}

TEST_F(Program, ASchemaFileThatCannotBeWrittenIsAFailureThatNamesIt) {
  const std::filesystem::path folder = folder_.file("contracts");
  EXPECT_EQ(run("schema --output " + folder.string()).exit_code, 0);
  // A full disk, for the smallest file and for one that no buffer holds, and a folder in its place.
  for (const std::string name : {"korvane.model.bond", "korvane.model.cad.bond"}) {
    const std::filesystem::path file = folder / name;
    ASSERT_TRUE(std::filesystem::remove(file)) << name;
    std::filesystem::create_symlink("/dev/full", file);
    const Outcome full = run("schema --output " + folder.string());
    EXPECT_EQ(full.exit_code, 1) << name;
    EXPECT_EQ(full.err, "korvane: cannot write " + file.string() + "\n");
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    const Outcome folder_in_place = run("schema --output " + folder.string());
    EXPECT_EQ(folder_in_place.exit_code, 1) << name;
    EXPECT_EQ(folder_in_place.err, "korvane: cannot write " + file.string() + "\n");
    std::filesystem::remove(file);
  }
}

TEST_F(Program, ASchemaFolderThatCannotBeMadeIsAFailureThatNamesIt) {
  std::ofstream(folder_.file("file")) << "not a folder";
  const Outcome outcome = run("schema --output " + folder_.file("file"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, StartsWith("korvane: "));
  EXPECT_THAT(outcome.err, HasSubstr(folder_.file("file")));
}

TEST_F(Program, AnUnknownScopeIsWrongUsage) {
  const std::string add = "token add office --tokens " + folder_.file("tokens.json") + " --scope ";
  EXPECT_EQ(run(add + "read admin").exit_code, 2);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("tokens.json")));
  EXPECT_EQ(run(add + "read write sql").exit_code, 0);
  EXPECT_THAT(run("token list --tokens " + folder_.file("tokens.json")).out,
              StartsWith("office read write sql 20"));
}

TEST_F(Program, AFolderWithoutAPluginIsNamed) {
  const Outcome outcome = run("--plugins " + folder_.path().string() + " " + import_guideline());
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.err.substr(outcome.err.find("korvane:")),
            "korvane: no plugin in " + folder_.path().string() + " opens projects\n");
}

}  // namespace
}  // namespace korvane
