#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/scenarios/hostile_files/hostile_file.h"

namespace korvane::test {
namespace {

using model::cad::Project_Service_Impl;

class HostileJournal : public HostileFile {
 protected:
  /// Makes what a process leaves that died in a large write: a half-written file and its journal.
  void interrupt() {
    put_bytes(file(), valid_bytes());
    PlainConnection connection(file(), PlainConnection::Mode::kWrite);
    connection.run("PRAGMA cache_size = 1; begin; update rebar set raw = zeroblob(length(raw))");
    half_written_ = bytes_of(file());
    journal_ = bytes_of(journal());
    connection.run("rollback");
  }
  void put(const std::string& bytes, const std::string& journal_bytes) const {
    put_bytes(file(), bytes);
    put_bytes(journal(), journal_bytes);
  }

  std::string half_written_;
  std::string journal_;
};

TEST_F(HostileJournal, ThatIsSoundIsPlayedBack) {
  interrupt();
  ASSERT_NE(half_written_, valid_bytes());
  ASSERT_GT(journal_.size(), 512U);
  put(half_written_, journal_);
  const auto project = std::make_unique<Project_Service_Impl>(0, file());
  sql("select * from rebar").run(*project);
  EXPECT_EQ(bytes_of(file()), valid_bytes());
}

TEST_F(HostileJournal, ThatIsDamagedNeitherCrashesNorHangs) {
  interrupt();
  run_rounds(3, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (std::uint32_t i = 0; i < 60; ++i) {
        std::string bytes = journal_;
        // The header of a journal, the rest of its sector, and the pages that it keeps.
        constexpr std::size_t kHeader = 28;
        for (std::size_t flips = 1 + below(random, 4); flips > 0; --flips) {
          damage(bytes, below(random, i % 2 == 0 ? kHeader : bytes.size()), random);
        }
        if (i % 5 == 0) bytes.resize(below(random, bytes.size()));
        put(half_written_, bytes);
        undergo("damaged journal " + std::to_string(i), seed + i);
      }
    });
  });
}

TEST_F(HostileJournal, ThatIsGarbageNeitherCrashesNorHangs) {
  interrupt();
  run_rounds(1, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    std::string noise;
    for (int i = 0; i < 5000; ++i) noise += static_cast<char>(below(random, 256));
    run_ordeals([&](const Undergo& undergo) {
      const auto undergo_with = [&](const std::string& name, const std::string& bytes) {
        put(valid_bytes(), bytes);
        undergo(name, seed);
      };
      undergo_with("empty", "");
      undergo_with("text", "This is no journal.\n");
      undergo_with("noise", noise);
      undergo_with("noise behind a header", journal_.substr(0, 512) + noise);
      undergo_with("another file's", valid_bytes());
      put_bytes(file(), valid_bytes());
      std::filesystem::create_directory(journal());
      undergo("a folder", seed);
      for (const char* const ending : {"-wal", "-shm"}) {
        put_bytes(file(), valid_bytes());
        put_bytes(file() + ending, noise);
        undergo(ending, seed);
      }
      make_changed("PRAGMA journal_mode = wal");
      put_bytes(file() + "-wal", noise);
      undergo("noise as write-ahead log", seed);
    });
  });
}

}  // namespace
}  // namespace korvane::test
