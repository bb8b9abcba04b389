// A process that replaces the lines of a revision, adds sheets and removes them is killed again and
// again. After each kill readers see the lines of before or of after, and whoever comes next finds
// nothing that is left of the change.
//
//     KORVANE_CRASHES=10000      kills, 100 by default
//     KORVANE_CRASH_SEED=12345   replays a run's changes; the machine decides when the kills come

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/changes.h"
#include "schedule/new_revisions.h"
#include "schedule/structure.h"
#include "sqlite/check.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"
#include "tools/korvane/embedded_project.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using schedule::Content;
using schedule::ContentReader;
using schedule::NewRevisions;
using schedule::Structure;
using testing::IsEmpty;
using tools::EmbeddedProject;

constexpr std::size_t kLines = 12;
constexpr std::uint32_t kLongestLifeInMicroseconds = 60'000;

std::uint32_t number_of(const char* variable, std::uint32_t standard) {
  const char* const given = std::getenv(variable);
  return given == nullptr ? standard : static_cast<std::uint32_t>(std::stoul(given));
}

class KilledChanges : public testing::Test {
 protected:
  KilledChanges() {
    EmbeddedProject project = opened();
    MaterialRef material;
    project.service().create_material({}, material);
    material_ = material.id.value();
    SheetRef sheet;
    project.service().create_sheet({}, sheet);
    Revision revision;
    revision.sheet_id = sheet.id.value();
    RevisionRef ref;
    project.service().create_revision(revision, ref);
    revision_ = ref.id.value();
    schedule::add_content(project.service(), revision.sheet_id, revision_, content("0"));
  }

  EmbeddedProject opened() const {
    return {std::filesystem::path(KORVANE_PLUGIN_FILE).parent_path().string(),
            folder_.file("project.db"), EmbeddedProject::IfMissing::make};
  }

  /// Lines that all have the comment or mark `tag`.
  Content content(const std::string& tag) const {
    Content content;
    for (std::size_t i = 0; i < kLines; ++i) {
      Rebar& bar = content.bars.emplace_back(minimal_bar(0, material_));
      bar.comment = tag;
      bar.end_treatment_start.set(treatment("shared"));
      content.bar_spacers.emplace_back(minimal_bar_spacer(0)).mark = tag;
      content.mounting_parts.emplace_back(minimal_mounting_part(0, material_)).mark = tag;
    }
    return content;
  }

  /// Changes the project until it is killed.
  [[noreturn]] void change_for_ever(std::uint32_t seed) const {
    std::mt19937 random(seed);
    EmbeddedProject embedded = opened();
    Project_Service& project = embedded.service();
    while (true) {
      const std::string tag = std::to_string(random());
      switch (random() % 3) {
        case 0:
          schedule::replace_content(project, revision_, content(tag));
          break;
        case 1: {
          NewRevisions revisions(project);
          std::vector<NewRevisions::NewSheet> sheets(2);
          for (auto& sheet : sheets) {
            sheet.record.name = tag;
            sheet.revisions.resize(1);
          }
          revisions.make(sheets);
          for (const auto& sheet : sheets) {
            add_content(project, sheet.record.id, sheet.revisions[0].id, content(tag));
          }
          revisions.finish();
          break;
        }
        default: {
          const Structure structure = schedule::read_structure(project);
          if (structure.sheets.size() > 1) {
            schedule::remove_sheet(project, structure.sheets.back().record.id);
          }
        }
      }
    }
  }

  void change_and_kill(std::uint32_t seed, std::chrono::microseconds life) const {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      try {
        change_for_ever(seed);
      } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
      }
      std::_Exit(EXIT_FAILURE);
    }
    std::this_thread::sleep_for(life);
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        << "the changes ended by themselves: " << status;
  }

  /// Every revision that is shown has all lines of one change, and sheets come in twos but for the
  /// first, as far as they were not removed.
  void expect_whole(Project_Service& project) const {
    const Structure structure = schedule::read_structure(project);
    const ContentReader reader(project);
    std::size_t seen = 0;
    for (const schedule::SheetEntry& sheet : structure.sheets) {
      for (const schedule::RevisionEntry& revision : sheet.revisions) {
        ++seen;
        const Content found = reader.read(revision.content_id);
        ASSERT_EQ(found.bars.size(), kLines);
        ASSERT_EQ(found.bar_spacers.size(), kLines);
        ASSERT_EQ(found.mounting_parts.size(), kLines);
        for (const Rebar& bar : found.bars) EXPECT_EQ(bar.comment, found.bars[0].comment);
        for (const BarSpacer& one : found.bar_spacers) EXPECT_EQ(one.mark, found.bars[0].comment);
        for (const MountingPart& one : found.mounting_parts) {
          EXPECT_EQ(one.mark, found.bars[0].comment);
        }
      }
    }
    EXPECT_GE(seen, 1U);
  }

  void expect_nothing_left() const {
    const std::string file = folder_.file("project.db");
    for (const std::string table : {"rebar", "barspacer", "mountingpart"}) {
      EXPECT_THAT(plain_rows(file, "select id from " + table +
                                       " where rev_id not in (select id from revision)"),
                  IsEmpty())
          << table;
    }
    EXPECT_EQ(plain_rows(file, "select id from rebar where end_treatment_start is null"), Rows());
    EXPECT_TRUE(sqlite::check_file(file).is_sound());
  }

  TemporaryFolder folder_;
  std::int32_t material_ = 0;
  std::int32_t revision_ = 0;
};

TEST_F(KilledChanges, LeaveTheOldOrTheNewLinesWhole) {
  const std::uint32_t crashes = number_of("KORVANE_CRASHES", 100);
  const std::uint32_t seed = number_of("KORVANE_CRASH_SEED", std::random_device()());
  std::cout << "KORVANE_CRASH_SEED=" << seed << '\n';
  std::mt19937 random(seed);
  std::size_t interrupted = 0;
  for (std::uint32_t i = 0; i < crashes && !HasFailure(); ++i) {
    change_and_kill(static_cast<std::uint32_t>(random()),
                    std::chrono::microseconds(random() % kLongestLifeInMicroseconds));
    EmbeddedProject project = opened();
    interrupted += schedule::read_structure(project.service()).marks.empty() ? 0U : 1U;
    expect_whole(project.service());
    schedule::finish_changes(project.service());
    expect_whole(project.service());
    EXPECT_THAT(schedule::read_structure(project.service()).marks, IsEmpty());
    expect_nothing_left();
  }
  std::cout << crashes << " kills, " << interrupted << " in the middle of a change\n";
  EXPECT_GT(interrupted, crashes / 20);
}

}  // namespace
}  // namespace korvane::test
