// The command line on a project that a server keeps: only the place differs.

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane {
namespace {

using test::Outcome;
using test::plain_rows;
using test::ServedFolder;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::vector<std::string> tables_of(const std::string& file) {
  std::vector<std::string> names;
  for (const auto& row : plain_rows(file,
                                    "select name from sqlite_master where type = 'table' "
                                    "and name not like 'sqlite_%' order by name")) {
    names.push_back(*row[0]);
  }
  return names;
}

bool has_uids(const std::string& file, const std::string& table) {
  const std::string sql = "select 1 from pragma_table_info('" + table + "') where name = 'uid'";
  return !plain_rows(file, sql).empty();
}

/// The random names of the records, each with the record that it names. Hexadecimal ones too, as
/// they stand in bytes.
std::map<std::string, std::string> random_names(const std::string& file) {
  std::map<std::string, std::string> names;
  for (const std::string& table : tables_of(file)) {
    if (!has_uids(file, table)) continue;
    for (const auto& row : plain_rows(file, "select id, uid from " + table)) {
      const std::string record = "<uid of " + table + " " + *row[0] + ">";
      names[*row[1]] = record;
      names[test::hex(row[1]->data(), row[1]->size())] = record;
    }
  }
  return names;
}

/// All rows of a table, whose cells name records instead of showing random names.
test::Rows comparable_rows(const std::string& file, const std::string& table) {
  const auto names = random_names(file);
  test::Rows rows = plain_rows(file, "select * from " + table + " order by id");
  for (test::Row& row : rows) {
    for (test::CellText& cell : row) {
      if (!cell) continue;
      for (const auto& [name, record] : names) {
        for (std::size_t at = cell->find(name); at != std::string::npos; at = cell->find(name)) {
          cell->replace(at, name.size(), record);
        }
      }
    }
  }
  return rows;
}

class ServedImport : public testing::TestWithParam<const char*> {
 protected:
  Outcome run(const std::string& arguments, const std::string& environment = "") const {
    return test::run_program(folder_, arguments, environment);
  }
  std::string local_file() const { return folder_.file("project.db"); }
  std::string served_file() const { return server_.file("project.db"); }
  std::string import_command() const {
    return std::string("import " KORVANE_EXAMPLES "/") + GetParam() + " --show --project ";
  }
  Outcome import_locally() const { return run(import_command() + local_file()); }
  Outcome import_remotely() const { return run(import_command() + "project.db" + on_server()); }
  std::string on_server() const { return " --server " + server_.url(); }

  test::TemporaryFolder folder_;
  ServedFolder server_;
};

TEST_P(ServedImport, PrintsWhatAnImportIntoAFilePrints) {
  const Outcome local = import_locally();
  const Outcome remote = import_remotely();
  EXPECT_EQ(remote.exit_code, 0);
  EXPECT_EQ(remote.out, local.out);
  EXPECT_EQ(remote.err, local.err);
  EXPECT_THAT(remote.out, HasSubstr("\nBars\n"));
}

TEST_P(ServedImport, StoresTheSameRowsButForRandomNames) {
  import_locally();
  import_remotely();
  server_.stop();
  std::vector<std::string> served = tables_of(served_file());
  std::erase(served, "korvane_answers");  // of the server itself
  EXPECT_EQ(served, tables_of(local_file()));
  EXPECT_THAT(tables_of(local_file()), SizeIs(10));
  EXPECT_NE(random_names(served_file()), random_names(local_file()));
  for (const std::string& table : tables_of(local_file())) {
    EXPECT_EQ(comparable_rows(served_file(), table), comparable_rows(local_file(), table)) << table;
  }
}

// A fabric's bytes are left out here: they hold a copy of its type with that one's random name.
TEST_P(ServedImport, StoresTheSameBytesOfBarsAndSpacersAndParts) {
  import_locally();
  import_remotely();
  server_.stop();
  for (const std::string table : {"rebar", "barspacer", "mountingpart"}) {
    const std::string sql = "select raw from " + table + " order by id";
    EXPECT_EQ(plain_rows(served_file(), sql), plain_rows(local_file(), sql)) << table;
  }
  EXPECT_NE(plain_rows(local_file(), "select raw from rebar"), test::Rows());
}

TEST_P(ServedImport, IsShownAsAFileIs) {
  import_locally();
  import_remotely();
  const Outcome local = run("show " + local_file());
  const Outcome remote = run("show project.db" + on_server());
  EXPECT_EQ(remote.exit_code, 0);
  EXPECT_EQ(remote.out, local.out);
  EXPECT_EQ(remote.err, local.err);
}

TEST_P(ServedImport, IntoARevisionThatHasContentFailsAsInAFile) {
  import_locally();
  import_remotely();
  const Outcome local = import_locally();
  const Outcome remote = import_remotely();
  EXPECT_EQ(local.exit_code, 1);
  EXPECT_EQ(remote.exit_code, 1);
  EXPECT_EQ(remote.err, local.err);
  EXPECT_THAT(remote.err, HasSubstr("korvane: "));
  EXPECT_THAT(remote.out, IsEmpty());
  server_.stop();
  const std::string count = "select count(*) from rebar";
  EXPECT_EQ(plain_rows(served_file(), count), plain_rows(local_file(), count));
}

INSTANTIATE_TEST_SUITE_P(Examples, ServedImport, testing::Values("guideline.abs", "shapes.abs"),
                         [](const auto& example) {
                           const std::string name = example.param;
                           return name.substr(0, name.find('.'));
                         });

TEST(ServedProject, UnknownRevisionFailsAsInAFile) {
  const test::TemporaryFolder folder;
  const ServedFolder server;
  const std::string on_server = " --server " + server.url();
  test::run_program(folder,
                    "import " KORVANE_EXAMPLES "/guideline.abs --project project.db" + on_server);
  const Outcome shown = test::run_program(folder, "show project.db --revision z" + on_server);
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_EQ(shown.err, "korvane: no revision \"z\" in this project\n");
}

TEST(ServedProject, FileOutsideTheServersFolderIsRefusedWithItsText) {
  const test::TemporaryFolder folder;
  const ServedFolder server;
  const Outcome shown = test::run_program(folder, "show ../project.db --server " + server.url());
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_THAT(shown.err, StartsWith("korvane: " + server.url() +
                                    ": 400 file name \"../project.db\" is refused: expected "));
}

TEST(ServedProject, ServerThatCannotBeReachedIsNamed) {
  const test::TemporaryFolder folder;
  ServedFolder server;
  server.stop();
  const Outcome shown = test::run_program(folder, "show project.db --server " + server.url());
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_THAT(shown.out, IsEmpty());
  EXPECT_THAT(shown.err, StartsWith("korvane: cannot reach " + server.url() + ": "));
  EXPECT_THAT(shown.err, HasSubstr("Connection refused"));
}

TEST(ServedProject, WhatIsNotAnAddressIsNamed) {
  const test::TemporaryFolder folder;
  for (const std::string address : {"ftp://127.0.0.1:1", "127.0.0.1:1", "server", "http://x:y"}) {
    const Outcome shown = test::run_program(folder, "show project.db --server " + address);
    EXPECT_EQ(shown.exit_code, 1) << address;
    EXPECT_EQ(shown.err, "korvane: \"" + address +
                             "\" is not the address of a server: expected http://HOST:PORT or "
                             "https://HOST:PORT\n");
  }
}

TEST(ServedProject, TokenIsTakenFromTheCommandLineOrTheEnvironment) {
  const test::TemporaryFolder folder;
  const std::string tokens = folder.file("tokens.json");
  std::string token =
      test::run_program(folder, "token add office --scope read write --tokens " + tokens).out;
  token.erase(token.find('\n'));
  const ServedFolder server("--tokens " + tokens);
  const std::string show = "show project.db --server " + server.url();

  const Outcome without = test::run_program(folder, show);
  EXPECT_EQ(without.exit_code, 1);
  EXPECT_THAT(without.err, HasSubstr(": 401 expected a bearer token"));
  EXPECT_EQ(test::run_program(folder, "import " KORVANE_EXAMPLES
                                      "/guideline.abs --project project.db --server " +
                                          server.url() + " --token " + token)
                .exit_code,
            0);
  EXPECT_EQ(test::run_program(folder, show + " --token " + token).exit_code, 0);
  EXPECT_EQ(test::run_program(folder, show, "KORVANE_TOKEN=" + token).exit_code, 0);
  EXPECT_EQ(test::run_program(folder, show + " --token x", "KORVANE_TOKEN=" + token).exit_code, 1);
}

TEST(ServedProject, IsNeverMadeByACommandThatReads) {
  const test::TemporaryFolder folder;
  const ServedFolder server;
  const Outcome outcome = test::run_program(folder, "show typo.db --server " + server.url());
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr(": 404 no project typo.db"));
  EXPECT_FALSE(std::filesystem::exists(server.file("typo.db")));
}

}  // namespace
}  // namespace korvane
