// Sessions of one process on one file, under several names.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "tests/scenarios/other_programs/shared_file.h"
#include "tests/support/records.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using Poco::Data::SQLite::DBLockedException;
using Project = Project_Service_Impl;

/// The sessions of a manager on a file with several names.
class SpellingsOfOneFile : public OtherPrograms {
 protected:
  SpellingsOfOneFile() {
    std::filesystem::current_path(folder_.path());
    std::filesystem::create_symlink("project.db", "symlink.db");
    std::filesystem::create_hard_link("project.db", "hardlink.db");
    std::filesystem::create_directory("sub");
  }
  ~SpellingsOfOneFile() override { std::filesystem::current_path(before_); }

  Project& open_as(const std::string& name) {
    model::OpenProjectResponse response;
    model::OpenProjectRequest request;
    request.filename = name;
    manager_.open(request, response);
    return static_cast<Project&>(*krv::rpc4::find_service<Project_Service>(response.service_id));
  }

  std::vector<std::string> other_names() const {
    return {file(), "./project.db", "symlink.db", "hardlink.db", folder_.file("symlink.db")};
  }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  ProjectManager_Service_Impl manager_;
};

TEST_F(SpellingsOfOneFile, AreOneProjectWhenTheyAreLexicallyAlike) {
  Project& project = open_as("project.db");
  EXPECT_EQ(&open_as("sub/../project.db"), &project);
  EXPECT_EQ(&open_as("sub/.././project.db"), &project);
}

TEST_F(SpellingsOfOneFile, AreProjectsOfTheirOwnElse) {
  std::set<Project*> projects = {&open_as("project.db")};
  for (const std::string& name : other_names()) projects.insert(&open_as(name));
  EXPECT_EQ(projects.size(), 1 + other_names().size());
}

/// One of two that write at the same time. Repeats a call that finds the file locked.
class Writer {
 public:
  Writer(Project& project, std::string name, std::uint32_t seed)
      : project_(project), name_(std::move(name)), random_(seed) {}

  /// A sheet with a revision of its own, and a batch of bars in that.
  void write() {
    const std::string uid = name_ + " " + std::to_string(batches_.size());
    Sheet sheet;
    sheet.uid = uid;
    SheetRef sheet_ref;
    repeat([&] { project_.create_sheet(sheet, sheet_ref); });
    sheet_ids_[sheet_ref.id.value()] = uid;
    Revision revision;
    revision.sheet_id = sheet_ref.id.value();
    revision.uid = uid;
    RevisionRef revision_ref;
    repeat([&] { project_.create_revision(revision, revision_ref); });
    Batch<Rebar> batch;
    const std::size_t count = 1 + random_() % 40;
    for (std::size_t i = 0; i < count; ++i) {
      Rebar bar = full_rebar(revision_ref.id.value(), 1);
      bar.end_treatment_start.set(treatment(std::to_string(random_() % 30)));
      batch.items.push_back(bar);
    }
    GenericReply reply;
    repeat([&] { project_.add_rebar(batch, reply); });
    batches_[revision_ref.id.value()] = count;
  }

  /// The uids of the sheets by the ids in the replies.
  const std::map<std::int32_t, std::string>& sheet_ids() const { return sheet_ids_; }
  /// The number of bars by revision.
  const std::map<std::int32_t, std::size_t>& batches() const { return batches_; }
  int repetitions() const { return repetitions_; }

 private:
  template <class Attempt>
  void repeat(Attempt attempt) {
    for (;;) {
      try {
        attempt();
        return;
      } catch (const DBLockedException&) {
        ++repetitions_;
        std::this_thread::yield();
      }
    }
  }

  Project& project_;
  std::string name_;
  std::mt19937 random_;
  std::map<std::int32_t, std::string> sheet_ids_;
  std::map<std::int32_t, std::size_t> batches_;
  int repetitions_ = 0;
};

/// Everything that the writers stored is there once, under the ids in their replies.
void expect_whole(const std::string& file, Project& project,
                  const std::vector<const Writer*>& writers) {
  EXPECT_NO_THROW(stored_state(file));
  std::map<std::int32_t, std::string> sheets;
  std::map<std::int32_t, std::size_t> batches;
  std::size_t count = 0;
  for (const Writer* const writer : writers) {
    count += writer->sheet_ids().size();
    sheets.insert(writer->sheet_ids().begin(), writer->sheet_ids().end());
    batches.insert(writer->batches().begin(), writer->batches().end());
  }
  EXPECT_EQ(sheets.size(), count) << "an id was given twice";
  EXPECT_EQ(batches.size(), count) << "an id was given twice";
  for (const auto& [id, uid] : sheets) {
    Sheet sheet;
    project.get_sheet(by_id<SheetRef>(id), sheet);
    EXPECT_EQ(sheet.uid, uid);
  }
  for (const auto& [id, bars] : batches) {
    Rebars reply;
    project.get_all_rebars_for_revision(by_id<RevisionRef>(id), reply);
    EXPECT_EQ(reply.rebars.size(), bars);
  }
  EXPECT_EQ(plain_rows(file, "select count(*) from sheet where id > 2"),
            Rows({{std::to_string(count)}}));
  EXPECT_EQ(plain_rows(file,
                       "select count(*) from (select 1 from end_treatment group by type, "
                       "type_description, manufacturer, model, diameter, comment having "
                       "count(*) > 1)"),
            Rows({{"0"}}));
}

TEST_F(SpellingsOfOneFile, CanBeWrittenInTurns) {
  for (const std::string& name : other_names()) {
    SCOPED_TRACE(name);
    put_bytes("project.db", filled_bytes());
    std::filesystem::remove("hardlink.db");
    std::filesystem::create_hard_link("project.db", "hardlink.db");
    Project first(0, "project.db");
    Project second(1, name);
    Writer one(first, "one", 1);
    Writer other(second, "other", 2);
    for (int i = 0; i < 10; ++i) {
      one.write();
      other.write();
    }
    EXPECT_EQ(one.repetitions() + other.repetitions(), 0);
    expect_whole(file(), first, {&one, &other});
    expect_whole(file(), second, {&one, &other});
  }
}

TEST_F(SpellingsOfOneFile, CanBeWrittenByTwoThreadsAtOnce) {
  run_rounds(2, [&](std::uint32_t seed) {
    run_watched(kPatience, [&](const Mark& mark) {
      Project& first = open_as("project.db");
      for (const std::string& name : other_names()) {
        mark(name);
        sql("delete from sheet where id > 2").run(first);
        Project& second = open_as(name);
        Writer one(first, "one", seed);
        Writer other(second, "other", seed + 1);
        const auto write_all = [](Writer& writer) {
          for (int i = 0; i < 15; ++i) writer.write();
        };
        std::thread beside([&] { write_all(other); });
        write_all(one);
        beside.join();
        expect_whole(file(), second, {&one, &other});
      }
    });
  });
}

// --- Reading while another writes.

class ReaderBesideAWriter : public OtherPrograms {};

/// Bars that fill many pages, all with one mark.
Batch<Rebar> bars_of_one_mark(const std::string& mark, int count) {
  Batch<Rebar> batch;
  for (int i = 0; i < count; ++i) {
    Rebar bar = full_rebar(1, 1);
    bar.mark = mark;
    bar.end_treatment_start.reset();
    bar.end_treatment_end.reset();
    batch.items.push_back(bar);
  }
  return batch;
}

TEST_F(ReaderBesideAWriter, SeesEachWriteWholeOrNotAtAll) {
  constexpr int kBars = 150;
  run_rounds(1, [&](std::uint32_t) {
    run_watched(kPatience, [&](const Mark&) {
      Project reader(0, file());
      Project writer(1, folder_.file("./project.db"));
      GenericReply none;
      writer.clear_for_revision(by_id<RevisionRef>(1), none);
      std::atomic<bool> is_writing = true;
      std::thread writing([&] {
        for (int i = 0; i < 25; ++i) {
          writer.add_rebar(bars_of_one_mark(std::to_string(i), kBars), none);
          writer.clear_for_revision(by_id<RevisionRef>(1), none);
        }
        is_writing = false;
      });
      std::set<std::size_t> sizes;
      int reads = 0;
      while (is_writing) {
        Rebars reply;
        reader.get_all_rebars_for_revision(by_id<RevisionRef>(1), reply);
        ++reads;
        sizes.insert(reply.rebars.size());
        for (const Rebar& bar : reply.rebars) EXPECT_EQ(bar.mark, reply.rebars[0].mark);
      }
      writing.join();
      EXPECT_GT(reads, 0);
      for (const std::size_t size : sizes) EXPECT_TRUE(size == 0 || size == kBars) << size;
    });
  });
}

}  // namespace
}  // namespace korvane::test
