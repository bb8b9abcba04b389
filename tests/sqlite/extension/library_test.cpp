// The library as other programs meet it.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/store_test.h"

namespace korvane {
namespace {

using testing::HasSubstr;
using testing::Not;

/// What a command prints, both streams.
std::string output_of(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen((command + " 2>&1").c_str(), "r"),
                                                   ::pclose);
  std::string text;
  char piece[4096];
  while (const std::size_t size = std::fread(piece, 1, sizeof piece, pipe.get())) {
    text.append(piece, size);
  }
  return text;
}

std::string name_without_suffix() {
  const std::string file = KORVANE_SQLITE_EXTENSION;
  return file.substr(0, file.rfind('.'));
}

TEST(Library, ExportsItsEntryAlone) {
  const std::string symbols =
      output_of("nm -D --defined-only --format=posix " KORVANE_SQLITE_EXTENSION " | cut -d' ' -f1");
  EXPECT_EQ(symbols, "sqlite3_korvanesqlite_init\n");
}

TEST(Library, NeedsNeitherSqliteNorALibraryOfTheProject) {
  const std::string needed = output_of("objdump -p " KORVANE_SQLITE_EXTENSION " | grep NEEDED");
  EXPECT_THAT(needed, HasSubstr("libc.so"));
  for (const char* const library : {"sqlite", "korvane", "krv_", "Poco", "boost"}) {
    EXPECT_THAT(needed, Not(HasSubstr(library)));
  }
}

class LoadedProject : public test::StoreTest {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a library with a sanitizer only fits a program with one";
#endif
  }

  LoadedProject() {
    model::cad::Sheet sheet;
    sheet.name = "417";
    model::cad::SheetRef reply;
    project().create_sheet(sheet, reply);
    const std::int32_t revision = make_revision(reply.id.value());
    add({test::full_rebar(revision, make_material())});
  }
};

TEST_F(LoadedProject, IsReadByTheShell) {
  EXPECT_EQ(output_of("sqlite3 -cmd '.load " + name_without_suffix() + "' " + file() +
                      " 'select sheet, label from bars'"),
            "417|P-17-S.b\n");
}

TEST_F(LoadedProject, IsReadByPython) {
  std::ofstream(file() + ".py") << "import sqlite3, sys\n"
                                   "project = sqlite3.connect(sys.argv[1])\n"
                                   "project.enable_load_extension(True)\n"
                                   "project.load_extension(sys.argv[2])\n"
                                   "project.enable_load_extension(False)\n"
                                   "print(project.execute('select sheet, label from bars')"
                                   ".fetchall())\n";
  EXPECT_EQ(output_of("/usr/bin/python3 " + file() + ".py " + file() + " " + name_without_suffix()),
            "[('417', 'P-17-S.b')]\n");
}

}  // namespace
}  // namespace korvane
