// `korvane export`, as a person runs it.

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/project_document.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"
#include "tools/korvane/embedded_project.h"
#include "tools/korvane/exit_codes.h"

namespace korvane::tools {
namespace {

using test::Outcome;
using test::text_of;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// A limit of some kilobytes on files, which the program notices as it does a full disk.
const std::string kSmallFiles = "trap '' XFSZ; ulimit -f 4;";

class Export : public testing::Test {
 protected:
  Outcome run(const std::string& arguments, const std::string& environment = "") {
    return test::run_program(folder_, arguments, environment);
  }
  std::string file(const std::string& name) const { return folder_.file(name); }

  void import(const std::string& example, const std::string& project) {
    ASSERT_EQ(
        run("import " KORVANE_EXAMPLES "/" + example + " --project " + file(project)).exit_code,
        kDone);
  }

  Outcome run_export(const std::string& options) {
    return run("export " + file("project.db") + " " + options);
  }

  std::size_t files() const {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator(folder_.path())) {
      ++count;
    }
    return count;
  }

  test::TemporaryFolder folder_;
};

/// A document but for its ids, which are different in every project.
std::string without_ids(const std::string& document) {
  static const std::regex kIds("\"(id|rev_id|sheet_id|material_id)\":-?[0-9]+");
  return std::regex_replace(document, kIds, "\"$1\":0");
}

TEST_F(Export, OfEachExampleAsJsonComesBackTheSame) {
  for (const std::string example : {"guideline.abs", "shapes.abs"}) {
    import(example, example + ".db");
    const Outcome first = run("export " + file(example + ".db") + " --format json");
    ASSERT_EQ(first.exit_code, kDone);
    EXPECT_EQ(first.err, "");
    const schedule::ProjectDocument document(first.out);
    ASSERT_THAT(document.faults(), IsEmpty());
    {
      EmbeddedProject again(boost::filesystem::path(KORVANE_PLUGIN_FILE).parent_path(),
                            file(example + ".again.db"), EmbeddedProject::IfMissing::make);
      document.store(again.service(), schedule::IfFilled::refuse);
    }
    const Outcome second = run("export " + file(example + ".again.db") + " --format json");
    EXPECT_EQ(without_ids(second.out), without_ids(first.out));
  }
}

TEST_F(Export, OfAnImportAsBvbsIsTheFileThatWasImported) {
  import("guideline.abs", "project.db");
  const Outcome outcome = run_export("--format bvbs");
  EXPECT_EQ(outcome.exit_code, kDone);
  std::string lines;
  std::ifstream original(KORVANE_EXAMPLES "/guideline.abs", std::ios::binary);
  for (std::string line; std::getline(original, line);) {
    while (line.ends_with('\r')) line.pop_back();
    lines += line + "\r\n";
  }
  EXPECT_EQ(outcome.out, lines);
}

TEST_F(Export, OfWhatTheFormatCannotSayIsDoneInPartAndNamesIt) {
  {
    EmbeddedProject project(boost::filesystem::path(KORVANE_PLUGIN_FILE).parent_path(),
                            file("project.db"), EmbeddedProject::IfMissing::make);
    const std::string text =
        R"({"format":"korvane project","version":1,"materials":[{"id":1}],"sheets":[{"sheet":)"
        R"({"name":"417"},"revisions":[{"revision":{"name":"a"},"bars":[{"mark":"7",)"
        R"("material_id":1}]}]}]})";
    schedule::ProjectDocument(text).store(project.service(), schedule::IfFilled::refuse);
  }
  const Outcome outcome = run_export("--format bvbs --output " + file("out.abs"));
  EXPECT_EQ(outcome.exit_code, kDonePart);
  EXPECT_THAT(outcome.err, StartsWith("sheet \"417\", revision \"a\": mark 7: "));
  EXPECT_EQ(text_of(file("out.abs")), "");
}

TEST_F(Export, AsCsvPrintsOneKindAndNamesTheOthers) {
  import("guideline.abs", "project.db");
  const Outcome bars = run_export("--format csv --sheet 417 --revision a");
  EXPECT_EQ(bars.exit_code, kDone);
  EXPECT_THAT(bars.out, StartsWith("sheet,revision,"));
  EXPECT_EQ(bars.err, "3 lines of fabrics not written: --kind fabrics writes them\n");
  const Outcome fabrics = run_export("--format csv --kind fabrics");
  EXPECT_THAT(fabrics.out, HasSubstr("Q257"));
}

TEST_F(Export, AsNdjsonPrintsARecordALine) {
  import("guideline.abs", "project.db");
  const Outcome outcome = run_export("--format ndjson");
  EXPECT_EQ(outcome.exit_code, kDone);
  EXPECT_THAT(outcome.out, StartsWith("{\"kind\":\"project\","));
  EXPECT_THAT(outcome.out, HasSubstr("\n{\"kind\":\"bar\",\"sheet\":\"417\",\"revision\":\"a\","));
}

TEST_F(Export, AsXlsxWritesAFileAlone) {
  import("guideline.abs", "project.db");
  const Outcome printed = run_export("--format xlsx");
  EXPECT_EQ(printed.exit_code, kWrongUsage);
  EXPECT_THAT(printed.err, HasSubstr("--format xlsx needs --output FILE"));
  const Outcome written = run_export("--format xlsx --output " + file("book.xlsx"));
  EXPECT_EQ(written.exit_code, kDone) << written.err;
  EXPECT_THAT(text_of(file("book.xlsx")), StartsWith("PK"));
}

TEST_F(Export, RefusesOptionsThatDoNotFit) {
  import("guideline.abs", "project.db");
  EXPECT_EQ(run_export("--format json --kind bars").exit_code, kWrongUsage);
  EXPECT_EQ(run_export("--format pdf").exit_code, kWrongUsage);
  EXPECT_EQ(run_export("").exit_code, kWrongUsage);
  EXPECT_EQ(run_export("--format csv --kind steel").exit_code, kWrongUsage);
}

TEST_F(Export, OfWhatIsNotThereFailsAndMakesNoFile) {
  import("guideline.abs", "project.db");
  const std::size_t before = files();
  const Outcome sheet = run_export("--format json --sheet 5 --output " + file("out.json"));
  EXPECT_EQ(sheet.exit_code, kFailed);
  EXPECT_EQ(sheet.err, "korvane: no sheet \"5\" in this project\n");
  const Outcome project = run("export " + file("none.db") + " --format json");
  EXPECT_EQ(project.exit_code, kFailed);
  EXPECT_EQ(project.err, "korvane: no project " + file("none.db") + "\n");
  EXPECT_EQ(files(), before);
}

TEST_F(Export, ThatCannotBeWrittenLeavesTheOldFile) {
  import("guideline.abs", "project.db");
  for (const std::string format : {"json", "ndjson", "csv", "xlsx", "bvbs"}) {
    std::ofstream(file("kept")) << "old";
    const std::size_t before = files();
    const std::string command =
        "export " + file("project.db") + " --format " + format + " --output " + file("kept");
    const Outcome failed =
        run(command, format == "bvbs" ? "trap '' XFSZ; ulimit -f 1;" : kSmallFiles);
    EXPECT_EQ(failed.exit_code, kFailed) << format;
    EXPECT_THAT(failed.err, HasSubstr("cannot write " + file(""))) << format;
    EXPECT_EQ(text_of(file("kept")), "old") << format;
    EXPECT_EQ(files(), before) << format;
    const Outcome done = run(command);
    EXPECT_NE(done.exit_code, kFailed) << format;
    EXPECT_NE(text_of(file("kept")), "old") << format;
    EXPECT_EQ(files(), before) << format;
  }
}

TEST_F(Export, KeepsThePermissionsAndLinksOfTheOldFile) {
  import("guideline.abs", "project.db");
  std::ofstream(file("real")) << "old";
  ::chmod(file("real").c_str(), 0640);
  std::filesystem::create_symlink(file("real"), file("link"));
  EXPECT_EQ(run_export("--format json --output " + file("link")).exit_code, kDone);
  EXPECT_TRUE(std::filesystem::is_symlink(file("link")));
  EXPECT_THAT(text_of(file("real")), StartsWith("{\"format\":"));
  struct stat status {};
  ::stat(file("real").c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(Export, ToWhatIsNotAFileIsWrittenThere) {
  import("guideline.abs", "project.db");
  const Outcome device = run_export("--format json --output /dev/stdout");
  EXPECT_EQ(device.exit_code, kDone) << device.err;
  EXPECT_THAT(device.out, StartsWith("{\"format\":"));
  const Outcome folder = run_export("--format json --output " + folder_.path().string());
  EXPECT_EQ(folder.exit_code, kFailed);
  EXPECT_THAT(folder.err, EndsWith(": Is a directory\n"));
  const Outcome full = test::run_program(folder_, "export " + file("project.db") + " --format json",
                                         "", "/dev/full");
  EXPECT_EQ(full.exit_code, kFailed);
  EXPECT_EQ(full.err, "korvane: cannot write to the standard output\n");
}

TEST_F(Export, HelpShowsExamplesThatRun) {
  import("guideline.abs", "project.db");
  const std::string help = run("export --help").out;
  const std::size_t examples = help.find("Examples:");
  ASSERT_NE(examples, std::string::npos);
  std::filesystem::copy(file("project.db"), file("guideline.db"));
  std::size_t count = 0;
  for (std::size_t at = examples; (at = help.find("  korvane ", at)) != std::string::npos;) {
    at += 10;
    const std::string arguments = help.substr(at, help.find('\n', at) - at);
    const Outcome outcome =
        run(arguments.substr(0, arguments.find(" >")), "cd " + folder_.path().string() + ";");
    EXPECT_EQ(outcome.exit_code, kDone) << arguments << outcome.err;
    ++count;
  }
  EXPECT_EQ(count, 4U);
}

}  // namespace
}  // namespace korvane::tools
