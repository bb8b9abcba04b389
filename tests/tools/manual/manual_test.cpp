// What is made of the commands' descriptions, as man, the shells and the server read it.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tools/korvane/program.h"
#include "tools/manual/command_text.h"
#include "tools/manual/completion.h"
#include "tools/manual/man_page.h"
#include "tools/manual/option_file.h"

namespace korvane::manual {
namespace {

using test::TemporaryFolder;
using test::text_of;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

CommandText program_text() {
  tools::Program program;
  return manual::program_text(program.description());
}

const CommandText& command_of(const CommandText& program, const std::string& word) {
  return *std::find_if(program.commands.begin(), program.commands.end(),
                       [&](const CommandText& command) { return command.word() == word; });
}

std::string page_of(const std::string& file) {
  for (const ManPage& page : man_pages(program_text(), "1.2.3")) {
    if (page.file == file) return page.text;
  }
  return "";
}

bool is_installed(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

class Manual : public testing::Test {
 protected:
  /// What a program prints.
  std::string output(const std::string& command) {
    const std::string out = folder_.file("out");
    EXPECT_EQ(std::system((command + " >" + out + " 2>&1").c_str()), 0) << text_of(out);
    return text_of(out);
  }

  std::string file(const std::string& name, const std::string& text) {
    std::ofstream(folder_.file(name)) << text;
    return folder_.file(name);
  }

  /// What bash offers for the last of `words`, in order and a blank behind each.
  std::string bash_offers(const std::string& words) {
    const std::string script = file("korvane", bash_completion(program_text()));
    return output("bash -c 'source " + script + "; COMP_WORDS=(" + words +
                  "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _korvane; printf \"%s \" "
                  "\"${COMPREPLY[@]}\"'");
  }

  TemporaryFolder folder_;
};

TEST_F(Manual, HasAPageForEachCommandWithEachOfItsOptions) {
  const CommandText program = program_text();
  ASSERT_FALSE(program.commands.empty());
  for (const CommandText& command : program.commands) {
    const std::string page = page_of("korvane-" + command.word() + ".1");
    for (const OptionText& option : command.options) {
      std::string name = option.name;
      for (std::size_t at = 0; (at = name.find('-', at)) != std::string::npos; at += 2) {
        name.replace(at, 1, "\\-");
      }
      EXPECT_THAT(page, HasSubstr("\\fB" + name + "\\fR")) << command.name;
    }
  }
}

TEST_F(Manual, PageOfATokenHasItsThreeCommands) {
  const std::string page = page_of("korvane-token.1");
  for (const char* const word : {"add", "remove", "list"}) {
    EXPECT_THAT(page, HasSubstr(std::string(".SS korvane token ") + word));
  }
}

TEST_F(Manual, TextThatBeginsWithADotIsNotARequest) {
  CommandText program;
  program.name = "a";
  program.text = ".dot \\ and -dash";
  EXPECT_THAT(man_pages(program, "1").front().text, HasSubstr("\n\\&.dot \\e and \\-dash\n"));
}

TEST_F(Manual, PagesHaveNoFault) {
  if (!is_installed("mandoc")) GTEST_SKIP() << "mandoc is not installed";
  for (const ManPage& page : man_pages(program_text(), "1.2.3")) {
    output("mandoc -T lint -W error " + file(page.file, page.text));
  }
}

TEST_F(Manual, NamesNoFolderOfTheMachineThatBuildsIt) {
  for (const ManPage& page : man_pages(program_text(), "1.2.3")) {
    if (page.file == "korvane.1") continue;
    EXPECT_THAT(page.text, Not(HasSubstr(KORVANE_EXAMPLES))) << page.file;
  }
}

TEST_F(Manual, BashOffersCommandsOptionsAndChoices) {
  EXPECT_EQ(bash_offers("korvane exp"), "export ");
  EXPECT_EQ(bash_offers("korvane token \"\""), "add remove list ");
  EXPECT_EQ(bash_offers("korvane serve --query-r"), "--query-rows ");
  EXPECT_EQ(bash_offers("korvane export a.db --format b"), "bvbs ");
  EXPECT_EQ(bash_offers("korvane --plugins x token ad"), "add ");
}

TEST_F(Manual, BashOffersFilesWhereOneBelongs) {
  file("tower.db", "");
  EXPECT_EQ(bash_offers("korvane list " + folder_.file("tow")), folder_.file("tower.db") + " ");
  EXPECT_EQ(bash_offers("korvane import --project " + folder_.file("tow")),
            folder_.file("tower.db") + " ");
}

TEST_F(Manual, BashOffersFoldersAloneWhereOneBelongs) {
  file("folder.db", "");
  std::filesystem::create_directory(folder_.file("folder"));
  EXPECT_EQ(bash_offers("korvane serve --root " + folder_.file("fol")),
            folder_.file("folder") + " ");
}

TEST_F(Manual, ZshReadsItsCompletion) {
  if (!is_installed("zsh")) GTEST_SKIP() << "zsh is not installed";
  output("zsh -n " + file("_korvane", zsh_completion(program_text())));
}

TEST_F(Manual, FishOffersCommandsOptionsAndChoices) {
  if (!is_installed("fish")) GTEST_SKIP() << "fish is not installed";
  const std::string script = file("korvane.fish", fish_completion(program_text()));
  const auto offers = [&](const std::string& words) {
    return output("fish --no-config -c 'source " + script + "; complete -C \"" + words + "\"'");
  };
  EXPECT_THAT(offers("korvane exp"), testing::StartsWith("export\t"));
  EXPECT_THAT(offers("korvane token "), HasSubstr("remove\tRemove the token of a client\n"));
  EXPECT_THAT(offers("korvane export a.db --format b"), testing::StartsWith("bvbs"));
}

TEST_F(Manual, FileOfOptionsHasEachWithItsDefault) {
  const CommandText program = program_text();
  const std::string text = option_file(command_of(program, "serve"), {});
  for (const OptionText& option : file_options(command_of(program, "serve"))) {
    EXPECT_THAT(text, HasSubstr("\n#" + option.name + " =")) << option.name;
  }
  EXPECT_THAT(text, HasSubstr("\n#stop-time = 20\n"));
  EXPECT_THAT(text, HasSubstr("\n#listen = \"127.0.0.1:8420\"\n"));
  EXPECT_THAT(text, HasSubstr("\n#optimize = false\n"));
}

TEST_F(Manual, FileOfOptionsIsTakenByTheServer) {
  const CommandText program = program_text();
  const std::string text = option_file(
      command_of(program, "serve"),
      {{"root", '"' + folder_.path().string() + '"'}, {"listen", "\"nowhere\""}, {"workers", "5"}});
  const std::string err = folder_.file("err");
  std::system(
      (std::string(KORVANE_PROGRAM) + " serve --config " + file("korvane.conf", text) + " 2>" + err)
          .c_str());
  EXPECT_THAT(text_of(err), HasSubstr("cannot listen on \"nowhere\""));
}

TEST_F(Manual, FileOfOptionsTakesNoNameThatIsNone) {
  const CommandText program = program_text();
  EXPECT_THAT(
      [&] {
        option_file(command_of(program, "serve"), {{"colour", "red"}});
      },
      testing::ThrowsMessage<std::runtime_error>("serve has no option colour"));
}

}  // namespace
}  // namespace korvane::manual
