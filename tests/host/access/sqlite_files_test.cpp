// What lies beside a project, put there by whoever can write into its folder.

#include "host/access/sqlite_files.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "host/access/project_root.h"
#include "tests/host/access/fenced_project.h"

namespace korvane::host {
namespace {

/// The 32 bits as files of SQLite have them.
std::string big_endian(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

/// A journal of no pages that names another to be deleted
/// (https://www.sqlite.org/fileformat.html#the_rollback_journal). SQLite rolls back what it says
/// when it is not empty and its header is sound.
std::string journal_naming(const std::string& other, std::uint32_t pages) {
  constexpr std::size_t kSector = 512;
  std::string text = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7" + big_endian(0) + big_endian(1) +
                     big_endian(pages) + big_endian(kSector) + big_endian(4096);
  text.resize(kSector, '\0');
  std::uint32_t sum = 0;
  for (const char c : other) sum += static_cast<std::uint32_t>(static_cast<signed char>(c));
  const std::uint32_t pending_page = 0x40000000U / 4096 + 1;
  return text + big_endian(pending_page) + other +
         big_endian(static_cast<std::uint32_t>(other.size())) + big_endian(sum) +
         "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
}

class Beside : public Fenced {
 protected:
  std::string journal() const { return file() + "-journal"; }

  void write_journal(const std::string& other) const {
    const auto pages = static_cast<std::uint32_t>(std::filesystem::file_size(file()) / 4096);
    std::ofstream(journal(), std::ios::binary) << journal_naming(other, pages);
  }

  /// Has the project read, and what lies beside it rolled back, whatever becomes of that.
  void read() const {
    try {
      PluginDoor(file()).run("select * from sheet");
    } catch (const std::exception& failure) {
      std::cout << failure.what() << '\n';
    }
  }

  static void write(const std::string& file) { std::ofstream(file) << "not SQLite's"; }
};

TEST_F(Beside, AJournalThatNamesAFileOfOthersHasItDeletedByNobody) {
  const std::string victim = file("tokens.json");
  write(victim);
  write_journal(victim);
  read();
  EXPECT_TRUE(std::filesystem::exists(victim));
  EXPECT_EQ(sheets(), "2");
}

TEST_F(Beside, AJournalThatNamesOneOfSqlitesOwnIsRolledBack) {
  const std::string other = file("other.db-mj0123AB9CD");
  write(other);
  write_journal(other);
  EXPECT_NO_THROW(PluginDoor(file()).run("select * from sheet"));
  EXPECT_FALSE(std::filesystem::exists(other));
  EXPECT_FALSE(std::filesystem::exists(journal()));
  EXPECT_EQ(sheets(), "2");
}

TEST_F(Beside, AFileThatIsOnlyNamedAlikeStays) {
  for (const char* const name :
       {"-mj0123AB9CD", "x-mj0123AB8CD", "x-mj0123AB9CX", "x-mj123AB9CD"}) {
    const std::string other = file(name);
    write(other);
    write_journal(other);
    read();
    EXPECT_TRUE(std::filesystem::exists(other)) << name;
  }
}

TEST_F(Beside, APipeByTheNameOfTheJournalIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo(journal().c_str(), 0600), 0);
  EXPECT_ANY_THROW(PluginDoor(file()).run("select * from sheet"));
  EXPECT_ANY_THROW(PluginDoor(file()).run("delete from sheet"));
  std::filesystem::remove(journal());
  EXPECT_NO_THROW(PluginDoor(file()).run("select * from sheet"));
}

TEST_F(Beside, APipeInThePlaceOfTheFileIsNotWaitedFor) {
  const std::string pipe = file("pipe.db");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_ANY_THROW(PluginDoor{pipe});
  EXPECT_FALSE(begins_as_database(pipe));
}

}  // namespace
}  // namespace korvane::host
