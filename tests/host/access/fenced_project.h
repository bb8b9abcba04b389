#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "host/access/sql_fence.h"
#include "host/plugins/plugin.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::host {

using namespace std::chrono_literals;
using model::cad::Project_Service;
using model::cad::ProjectManager_Metadata;
using model::cad::ProjectManager_Service;
using test::PlainConnection;

constexpr auto kWrite = PlainConnection::Mode::kWrite;

/// Long enough for whatever is not meant to run out of time.
inline const SqlFenceLimits kAmple = {10min, 1'000'000, 1'000'000'000, 1'000'000, 1000};

inline SqlFenceLimits with_time(std::chrono::milliseconds time) {
  SqlFenceLimits limits = kAmple;
  limits.time = time;
  return limits;
}
inline SqlFenceLimits with_rows(std::int64_t rows) {
  SqlFenceLimits limits = kAmple;
  limits.rows = rows;
  return limits;
}
inline SqlFenceLimits with_bytes(std::int64_t bytes) {
  SqlFenceLimits limits = kAmple;
  limits.bytes = bytes;
  return limits;
}

inline SqlFenceLimits for_anything(SqlFenceLimits limits) {
  limits.access = SqlAccess::everything;
  return limits;
}
inline SqlFenceLimits for_changes(SqlFenceLimits limits) {
  limits.access = SqlAccess::changes;
  return limits;
}

/// A way on which SQL reaches a project's file.
class Door {
 public:
  Door() = default;
  Door(const Door&) = delete;
  Door& operator=(const Door&) = delete;
  virtual ~Door() = default;
  /// Runs `sql` to its end. Throws std::exception.
  virtual void run(const std::string& sql) = 0;
};

class PlainDoor : public Door {
 public:
  explicit PlainDoor(const std::string& file) : connection_(file, kWrite) {}
  void run(const std::string& sql) override { connection_.run(sql); }

 private:
  PlainConnection connection_;
};

/// `query_table` of the project that the loaded plugin has opened.
class PluginDoor : public Door {
 public:
  explicit PluginDoor(const std::string& file) {
    auto* const manager =
        krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
    model::OpenProjectRequest request;
    request.filename = file;
    model::OpenProjectResponse response;
    manager->open(request, response);
    project_ = krv::rpc4::find_service<Project_Service>(response.service_id);
  }

  Project_Service& project() { return *project_; }

  void run(const std::string& sql) override {
    model::table::GET_TABLE request;
    request.kind = "sql:raw";
    request.params["query"].value_string.set(sql);
    model::table::TABLE reply;
    project_->query_table(request, reply);
  }

 private:
  Plugin plugin_{KORVANE_PLUGIN_FILE};
  Project_Service* project_ = nullptr;
};

/// A project with two sheets in a folder of its own, which is the current one.
class Fenced : public testing::Test {
 protected:
  Fenced() {
    std::filesystem::current_path(folder_.path());
    PluginDoor door(file());
    for (const char* uid : {"first", "second"}) {
      model::cad::Sheet sheet;
      sheet.uid = uid;
      model::cad::SheetRef reply;
      door.project().create_sheet(sheet, reply);
    }
  }

  ~Fenced() override { std::filesystem::current_path(before_); }

  std::string file() const { return folder_.file("project.db"); }
  /// Another in its folder.
  std::string file(const std::string& name) const { return folder_.file(name); }

  std::string sheets() const {
    return *test::plain_rows(file(), "select count(*) from sheet").at(0).at(0);
  }

  /// Every file of the folder with its bytes.
  std::map<std::string, std::string> contents() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      std::ostringstream bytes;
      bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      contents[entry.path().filename().string()] = bytes.str();
    }
    return contents;
  }

  /// What a fence says about `sql`; the empty text when it lets it through. A failure that is not
  /// the fence's is thrown on.
  static std::string verdict(Door& door, const std::string& sql,
                             const SqlFenceLimits& limits = kAmple) {
    const SqlFence fence(limits);
    try {
      door.run(sql);
    } catch (const std::exception&) {
      if (!fence.stopped()) throw;
    }
    return fence.reason();
  }

  static std::optional<FenceStop> stop_of(Door& door, const std::string& sql,
                                          const SqlFenceLimits& limits) {
    const SqlFence fence(limits);
    EXPECT_ANY_THROW(door.run(sql)) << sql;
    return fence.stopped();
  }

 private:
  const std::filesystem::path before_ = std::filesystem::current_path();
  test::TemporaryFolder folder_;
};

using MakeDoor = std::unique_ptr<Door> (*)(const std::string& file);
struct DoorKind {
  const char* name;
  MakeDoor make;
};
inline void PrintTo(const DoorKind& kind, std::ostream* out) { *out << kind.name; }

inline const auto kDoors = testing::Values(
    DoorKind{"Plainly",
             [](const std::string& file) -> std::unique_ptr<Door> {
               return std::make_unique<PlainDoor>(file);
             }},
    DoorKind{"ThroughThePlugin", [](const std::string& file) -> std::unique_ptr<Door> {
               return std::make_unique<PluginDoor>(file);
             }});

}  // namespace korvane::host
