// Files made with other settings, which are projects like any other.

#include <memory>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "tests/scenarios/hostile_files/hostile_file.h"

namespace korvane::test {
namespace {

using model::cad::Project_Service_Impl;

struct Setting {
  std::string name;
  std::string pragmas;
};
void PrintTo(const Setting& setting, std::ostream* out) { *out << setting.name; }

class UnusualFile : public HostileFile, public testing::WithParamInterface<Setting> {
 protected:
  /// A filled project in a file that was made with unusual settings.
  std::unique_ptr<Project_Service_Impl> make_unusual() const {
    put_bytes(file(), "");
    PlainConnection(file(), PlainConnection::Mode::kWrite)
        .run(GetParam().pragmas + "; create table mine (a); insert into mine values (1)");
    auto project = std::make_unique<Project_Service_Impl>(1, file());
    all_calls().front().run(*project);
    fill(*project);
    return project;
  }
};

TEST_P(UnusualFile, IsAProjectLikeAnyOther) {
  for (const Call& call : all_calls()) {
    const auto unusual = make_unusual();
    put_bytes(folder_.file("usual.db"), valid_bytes());
    Project_Service_Impl usual(0, folder_.file("usual.db"));
    EXPECT_EQ(call.run(*unusual), call.run(usual)) << call.name();
    EXPECT_EQ(probe().run(*unusual), probe().run(usual)) << call.name();
  }
  EXPECT_EQ(plain_rows(file(), "PRAGMA integrity_check"), Rows({{"ok"}}));
  EXPECT_EQ(plain_rows(file(), "select a from mine"), Rows({{"1"}}));
}

INSTANTIATE_TEST_SUITE_P(
    , UnusualFile,
    testing::Values(Setting{"Utf16", "PRAGMA encoding = 'UTF-16'"},
                    Setting{"Utf16BigEndian", "PRAGMA encoding = 'UTF-16be'"},
                    Setting{"WriteAheadLog", "PRAGMA journal_mode = wal"},
                    Setting{"LargePages", "PRAGMA page_size = 65536"},
                    Setting{"SmallPages", "PRAGMA page_size = 512"},
                    Setting{"AutoVacuum", "PRAGMA auto_vacuum = full"},
                    Setting{"IncrementalVacuum", "PRAGMA auto_vacuum = incremental"},
                    Setting{"OtherVersion",
                            "PRAGMA user_version = -1; PRAGMA application_id = 2147483647"},
                    Setting{"OldFormat", "PRAGMA legacy_file_format = on"},
                    Setting{"SecureDelete", "PRAGMA secure_delete = on"}),
    [](const auto& entry) { return entry.param.name; });

}  // namespace
}  // namespace korvane::test
