#include "tools/korvane/serve_options.h"

#include <cstdlib>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane::tools {
namespace {

using test::TemporaryFolder;

using testing::ElementsAre;
using testing::HasSubstr;

class OptionsOfServe : public testing::Test {
 protected:
  OptionsOfServe() : command_(*program_.add_subcommand("serve", "")) {
    command_.fallthrough();
    add_serve_options(command_, options_);
    add_config_option(program_, command_);
  }
  ~OptionsOfServe() override { ::unsetenv("KORVANE_SERVE_QUERY_ROWS"); }

  void parse(const std::string& file, const std::string& arguments = "") {
    std::ofstream(folder_.file("korvane.conf")) << file;
    program_.parse("serve --config " + folder_.file("korvane.conf") + " " + arguments);
  }

  TemporaryFolder folder_;
  ServeOptions options_;
  CLI::App program_;
  CLI::App& command_;
};

TEST_F(OptionsOfServe, RefuseTimesThatCannotBeCountedWith) {
  for (const char* const time : {"1e10", "1e17", "nan", "-1"}) {
    EXPECT_THROW(parse("", std::string("--call-time ") + time), CLI::ValidationError) << time;
  }
  parse("", "--call-time 1e8");
}

TEST_F(OptionsOfServe, StandInAFileByTheirNames) {
  parse(
      "# a remark\nlisten = \"127.0.0.1:9000\"\nworkers = 12\nstop-time = 1.5\noptimize = true\n"
      "host-name = [\"a.example\", \"b.example\"]\nunfenced-sql = false\n");
  EXPECT_EQ(options_.listen, "127.0.0.1:9000");
  EXPECT_EQ(options_.limits.delivery.workers, 12U);
  EXPECT_EQ(options_.stop_time, std::chrono::milliseconds(1500));
  EXPECT_EQ(options_.drain_time, std::chrono::seconds(0));
  EXPECT_EQ(options_.synchronous, "extra");
  EXPECT_TRUE(options_.is_optimizing);
  EXPECT_FALSE(options_.limits.is_sql_unfenced);
  EXPECT_THAT(options_.host_names, ElementsAre("a.example", "b.example"));
}

TEST_F(OptionsOfServe, AFolderMayHaveBlanksInItsName) {
  std::filesystem::create_directory(folder_.file("two words"));
  parse("root = \"" + folder_.file("two words") + "\"\n");
  EXPECT_EQ(options_.root, folder_.file("two words"));
}

TEST_F(OptionsOfServe, TheEnvironmentCountsBeforeTheFile) {
  ::setenv("KORVANE_SERVE_QUERY_ROWS", "7", 1);
  parse("query-rows = 5\n");
  EXPECT_EQ(options_.limits.query_rows, 7U);
}

TEST_F(OptionsOfServe, TheCommandLineCountsBeforeBoth) {
  ::setenv("KORVANE_SERVE_QUERY_ROWS", "7", 1);
  parse("query-rows = 5\n", "--query-rows 9");
  EXPECT_EQ(options_.limits.query_rows, 9U);
}

TEST_F(OptionsOfServe, ANameThatIsNoneIsRefused) {
  EXPECT_THAT([&] { parse("query-row = 5\n"); },
              testing::ThrowsMessage<CLI::ConfigError>(HasSubstr("query-row")));
}

TEST_F(OptionsOfServe, ASectionOfAnotherCommandIsRefused) {
  program_.add_subcommand("import", "")->add_option("--project");
  EXPECT_THAT([&] { parse("[import]\nproject = \"a.db\"\n"); },
              testing::ThrowsMessage<CLI::ConfigError>(HasSubstr("import")));
}

TEST_F(OptionsOfServe, AValueThatDoesNotFitIsRefused) {
  EXPECT_THROW(parse("workers = many\n"), CLI::ParseError);
}

TEST_F(OptionsOfServe, AFileThatIsNotThereIsRefused) {
  EXPECT_THROW(program_.parse("serve --config " + folder_.file("missing")), CLI::ParseError);
}

TEST_F(OptionsOfServe, EachHasAVariableOfTheEnvironment) {
  for (const CLI::Option* const option : command_.get_options()) {
    if (!option->get_configurable()) continue;
    EXPECT_THAT(option->get_envname(), testing::MatchesRegex("KORVANE_SERVE_[A-Z_]+"));
  }
  EXPECT_EQ(command_.get_option("--stop-time")->get_envname(), "KORVANE_SERVE_STOP_TIME");
}

}  // namespace
}  // namespace korvane::tools
