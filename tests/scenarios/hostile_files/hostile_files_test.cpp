// Project files that were damaged, are none, or were made to harm: each operation on them replies
// or raises an exception, and comes to its end, and another project of the process goes on.

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "host/access/sql_fence.h"
#include "tests/scenarios/hostile_files/ordeal.h"
#include "tests/scenarios/torture/torture_test.h"
#include "tests/support/store_test.h"

namespace korvane::test {
namespace {

using model::cad::Project_Service_Impl;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

/// Much longer than any one call takes.
constexpr std::chrono::seconds kPatience = 60s;

/// A filled project of the sizes that it has by default, as a file's bytes.
const std::string& valid_bytes() {
  static const std::string bytes = [] {
    const TemporaryFolder folder;
    const std::string file = folder.file("project.db");
    fill(*std::make_unique<Project_Service_Impl>(0, file));
    return bytes_of(file);
  }();
  return bytes;
}

/// The same after a longer life: tables and indexes of more than one level, and pages that are
/// free.
const std::string& grown_bytes() {
  static const std::string bytes = [] {
    const TemporaryFolder folder;
    const std::string file = folder.file("project.db");
    put_bytes(file, valid_bytes());
    PlainConnection(file, PlainConnection::Mode::kWrite)
        .run(
            "with recursive n (i) as (select 1 union all select i + 1 from n where i < 300) "
            "insert into material (uid, raw) select 'grown ' || hex(zeroblob(60)) || i, raw "
            "from n, (select raw from material limit 1);"
            "insert into fabric_type (uid, type, material_id, raw) select uid, uid, id, raw "
            "from material where id > 2; delete from fabric_type where id > 20;"
            "update project set raw = zeroblob(30000); update project set raw = x'00'");
    return bytes_of(file);
  }();
  return bytes;
}

/// Where the size of a page stands in a file, in two bytes, and the size of the header.
constexpr std::size_t kPageSizeOffset = 16;
constexpr std::size_t kFileHeaderSize = 100;
/// What a page begins with that is not a cell's content, mostly.
constexpr std::size_t kPageHeaderSize = 48;

std::size_t page_size_of(const std::string& bytes) {
  const auto high = static_cast<unsigned char>(bytes.at(kPageSizeOffset));
  const auto low = static_cast<unsigned char>(bytes.at(kPageSizeOffset + 1));
  return static_cast<std::size_t>(high) << 8U | low;
}

class HostileFile : public testing::Test {
 protected:
  HostileFile() { grown_bytes(); }

  std::string file() const { return folder_.file("hostile.db"); }
  std::string journal() const { return file() + "-journal"; }

  /// Has a file undergo it, as often as it calls what it is given, in a process of its own.
  using Undergo = std::function<void(const std::string& name, std::uint32_t seed)>;
  void run_ordeals(const std::function<void(const Undergo&)>& ordeals,
                   const std::function<std::shared_ptr<void>()>& around_each_call = {}) {
    run_watched(kPatience, [&](const Mark& mark) {
      mark("the sound project");
      Ordeal ordeal(folder_);
      ordeal.around_each_call = around_each_call;
      int files = 0;
      ordeals([&](const std::string& name, std::uint32_t seed) {
        ++files;
        ordeal.undergo(file(), seed, mark, name);
      });
      mark("the end");
      ordeal.expect_soundness();
      std::cout << files << " files, " << ordeal.answered() << " calls answered, "
                << ordeal.failed() << " failed\n";
      if (files == 0 || ordeal.answered() + ordeal.failed() < files) {
        throw std::logic_error("nothing was tried");
      }
    });
  }

  /// A filled project that `sql` was run on by another program.
  void make_changed(const std::string& sql) const {
    put_bytes(file(), valid_bytes());
    PlainConnection(file(), PlainConnection::Mode::kWrite).run(sql);
  }

  TemporaryFolder folder_;
};

std::size_t below(std::mt19937& random, std::size_t limit) { return random() % limit; }

/// Flips a bit, or sets the byte to an end of its range.
void damage(std::string& bytes, std::size_t position, std::mt19937& random) {
  char& byte = bytes.at(position);
  const std::size_t choice = below(random, 12);
  if (choice == 0) {
    byte = 0;
  } else if (choice == 1) {
    byte = '\xFF';
  } else {
    byte = static_cast<char>(byte ^ (1 << below(random, 8)));
  }
}

// --- What watches over all that follows.

TEST(WatchedChild, ThatHangsFailsTheTestWithItsMark) {
  EXPECT_NONFATAL_FAILURE(run_watched(1s,
                                      [](const Mark& mark) {
                                        mark("the endless loop");
                                        for (;;) pause();
                                      }),
                          "hangs in: the endless loop");
}

TEST(WatchedChild, ThatIsKilledFailsTheTestWithItsMark) {
  EXPECT_NONFATAL_FAILURE(run_watched(kPatience,
                                      [](const Mark& mark) {
                                        mark("the crash");
                                        std::raise(SIGKILL);
                                      }),
                          "killed by signal 9 in: the crash");
}

TEST(WatchedChild, ThatThrowsFailsTheTestWithTheText) {
  EXPECT_NONFATAL_FAILURE(
      run_watched(kPatience, [](const Mark&) { throw std::runtime_error("this"); }),
      "exception: this");
}

// --- Damage.

TEST_F(HostileFile, WithAnyPageDamagedNeitherCrashesNorHangs) {
  const std::size_t page_size = page_size_of(grown_bytes());
  const std::size_t pages = grown_bytes().size() / page_size;
  run_rounds(4, [&](std::uint32_t seed) {
    run_ordeals([&](const Undergo& undergo) {
      for (std::size_t page = 0; page < pages; ++page) {
        for (const bool is_header : {false, true}) {
          const std::uint32_t order = seed + static_cast<std::uint32_t>(2 * page + is_header);
          std::seed_seq sequence{seed, static_cast<std::uint32_t>(page), is_header ? 1U : 0U};
          std::mt19937 random(sequence);
          std::string bytes = grown_bytes();
          const std::size_t start =
              page * page_size + (page == 0 && is_header ? below(random, 2) * kFileHeaderSize : 0);
          const std::size_t range = is_header ? kPageHeaderSize : page_size;
          for (std::size_t flips = 1 + below(random, 6); flips > 0; --flips) {
            damage(bytes, start + below(random, range), random);
          }
          put_bytes(file(), bytes);
          undergo("page " + std::to_string(page) + (is_header ? ", its header" : ""), order);
        }
      }
    });
  });
}

// The first page says where all else is.
TEST_F(HostileFile, WithAnyByteOfItsHeaderChangedNeitherCrashesNorHangs) {
  run_rounds(2, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (std::size_t i = 0; i < kFileHeaderSize + kPageHeaderSize; ++i) {
        std::string bytes = grown_bytes();
        damage(bytes, i, random);
        put_bytes(file(), bytes);
        undergo("byte " + std::to_string(i), seed);
      }
    });
  });
}

TEST_F(HostileFile, CutAnywhereNeitherCrashesNorHangs) {
  const std::size_t page_size = page_size_of(grown_bytes());
  const std::size_t pages = grown_bytes().size() / page_size;
  run_rounds(1, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (std::size_t page = 0; page < pages; ++page) {
        for (const std::size_t more : {std::size_t{0}, 1 + below(random, page_size - 1)}) {
          const std::size_t size = page * page_size + more;
          put_bytes(file(), grown_bytes().substr(0, size));
          undergo("cut to " + std::to_string(size) + " bytes", seed);
        }
      }
    });
  });
}

TEST_F(HostileFile, LongerThanItSaysOrSayingThatItIsLongerNeitherCrashesNorHangs) {
  constexpr std::size_t kPageCountOffset = 28;
  const std::size_t page_size = page_size_of(grown_bytes());
  run_rounds(1, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (const std::size_t more : {std::size_t{1}, page_size / 2, page_size, 3 * page_size + 7}) {
        std::string bytes = grown_bytes();
        for (std::size_t i = 0; i < more; ++i) bytes += static_cast<char>(below(random, 256));
        put_bytes(file(), bytes);
        undergo(std::to_string(more) + " bytes behind the end", seed);
      }
      for (const std::size_t byte : {0U, 1U, 2U, 3U}) {
        for (const char value : {'\0', '\1', '\x7F', '\xFF'}) {
          std::string bytes = grown_bytes();
          bytes[kPageCountOffset + byte] = value;
          put_bytes(file(), bytes);
          undergo("page count, byte " + std::to_string(byte) + " set to " +
                      std::to_string(static_cast<unsigned char>(value)),
                  seed);
        }
      }
    });
  });
}

/// Those of the project's tables that have a column `raw`.
std::vector<std::string> tables_with_raw() {
  std::vector<std::string> tables = kTables;
  std::erase(tables, "end_treatment");
  return tables;
}

/// Digits of `raw` that are an upper-case hexadecimal text, some bits flipped or some of it lost.
std::string damaged_raw(std::string digits, std::mt19937& random) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (std::size_t changes = 1 + below(random, 4); changes > 0 && !digits.empty(); --changes) {
    digits[below(random, digits.size())] = kDigits[below(random, 16)];
  }
  if (below(random, 4) == 0) digits.resize(below(random, digits.size() / 2 + 1) * 2);
  return digits;
}

TEST_F(HostileFile, WithDamagedRecordsNeitherCrashesNorHangs) {
  run_rounds(3, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (int i = 0; i < 50; ++i) {
        put_bytes(file(), valid_bytes());
        {
          PlainConnection connection(file(), PlainConnection::Mode::kWrite);
          connection.run("begin");
          for (const std::string& table : tables_with_raw()) {
            for (const Row& row : connection.rows("select rowid, raw from " + table)) {
              // In a list the first that is damaged hides those behind it.
              if (below(random, 3) == 0) continue;
              connection.run("update " + table + " set raw = x'" +
                             damaged_raw(row[1].value(), random) +
                             "' where rowid = " + row[0].value());
            }
          }
          connection.run("commit");
        }
        undergo("damaged records, copy " + std::to_string(i), seed + static_cast<unsigned>(i));
      }
    });
  });
}

// --- Journals.

class HostileJournal : public HostileFile {
 protected:
  /// What a process leaves that dies in a large write: a file with half of it, and its journal.
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

// --- What is no project.

TEST_F(HostileFile, ThatIsNoneFailsInEveryOperationThatLooksAtIt) {
  run_ordeals([&](const Undergo& undergo) {
    const auto undergo_with = [&](const std::string& name, const std::string& bytes) {
      put_bytes(file(), bytes);
      undergo(name, 1);
    };
    undergo_with("one byte", "S");
    undergo_with("text", "Dear all,\n\nplease find enclosed the schedule.\n");
    undergo_with("long text", std::string(100'000, 'a'));
    undergo_with("zeros", std::string(8192, '\0'));
    undergo_with("a header alone", valid_bytes().substr(0, kFileHeaderSize));
    undergo_with("the magic alone", valid_bytes().substr(0, 16));
    undergo_with("a header and zeros",
                 valid_bytes().substr(0, kFileHeaderSize) + std::string(8092, '\0'));
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    undergo("a folder", 1);
    std::filesystem::remove(file());
    std::filesystem::create_symlink(file(), file());
    undergo("a link to itself", 1);
    std::filesystem::remove(file());
    std::filesystem::create_symlink("/dev/null", file());
    undergo("a device", 1);
    std::filesystem::remove(file());
    mkfifo(file().c_str(), S_IRUSR | S_IWUSR);
    undergo("a pipe", 1);
    std::filesystem::remove(file());
  });
}

/// The calls that fail on `file` one by one.
std::vector<std::string> failing_calls(const std::string& file) {
  Project_Service_Impl project(0, file);
  std::vector<std::string> failing;
  for (const Call& call : all_calls()) {
    if (call.operation == "clear") continue;
    try {
      call.run(project);
    } catch (const std::exception&) {
      failing.push_back(call.name());
    }
  }
  return failing;
}

TEST_F(HostileFile, ThatIsEmptyHasNoTablesUntilItIsCleared) {
  put_bytes(file(), "");
  const std::vector<std::string> failing = failing_calls(file());
  // All others do nothing, and a batch of SQL says nothing of tables.
  EXPECT_EQ(failing.size() + 2 + 2, all_calls().size());
  Project_Service_Impl project(0, file());
  all_calls().front().run(project);
  fill(project);
  EXPECT_EQ(plain_rows(file(), "PRAGMA integrity_check"), Rows({{"ok"}}));
}

TEST_F(HostileFile, OfAnotherProgramKeepsItsTablesUntouched) {
  put_bytes(file(), "");
  PlainConnection connection(file(), PlainConnection::Mode::kWrite);
  connection.run(
      "create table songs (id integer primary key, title text, length real);"
      "insert into songs (title, length) values ('one', 2.5), ('two', 3)");
  const StoredState before = stored_state(file());
  failing_calls(file());
  EXPECT_EQ(stored_state(file()), before);
  Project_Service_Impl project(0, file());
  all_calls().front().run(project);
  EXPECT_EQ(stored_state(file()).tables.at("songs"), before.tables.at("songs"));
}

/// Changes `sqlite_master` itself.
std::string in_the_catalogue(const std::string& sql) {
  return "PRAGMA writable_schema = on; " + sql;
}

std::string with_declarations_changed(const std::string& from, const std::string& to) {
  return in_the_catalogue("update sqlite_master set sql = replace(sql, '" + from + "', '" + to +
                          "') where type = 'table'");
}

/// Calls every batch writer with nothing to write.
void add_nothing(const std::string& file) {
  Project_Service_Impl project(0, file);
  GenericReply reply;
  project.add_rebar({}, reply);
  project.add_fabric({}, reply);
  project.add_barspacer({}, reply);
  project.add_mountingpart({}, reply);
}

TEST_F(HostileFile, ThatIsEmptyTakesBatchesOfNothing) {
  put_bytes(file(), "");
  add_nothing(file());
  EXPECT_EQ(bytes_of(file()), "");
}

TEST_F(HostileFile, ThatIsNoDatabaseTakesBatchesOfNothing) {
  const std::string letter(8192, 'a');
  put_bytes(file(), letter);
  add_nothing(file());
  EXPECT_EQ(bytes_of(file()), letter);
}

TEST_F(HostileFile, WithoutColumnsOfAProjectTakesBatchesOfNothing) {
  make_changed(with_declarations_changed(",raw BLOB", ""));
  const std::string before = bytes_of(file());
  add_nothing(file());
  EXPECT_EQ(bytes_of(file()), before);
}

// --- What has tables that are not the project's.

/// SQL that another program ran on a filled project.
struct Change {
  std::string name;
  std::string sql;
};
void PrintTo(const Change& change, std::ostream* out) { *out << change.name; }

std::string name_of(const testing::TestParamInfo<Change>& info) { return info.param.name; }

/// A change of every table, whose name `@` stands for.
std::string for_all_tables(const std::string& sql) {
  std::string all;
  for (const std::string& table : kTables) {
    std::string one = sql + ";";
    for (std::size_t at = 0; (at = one.find('@', at)) != std::string::npos;) {
      one.replace(at, 1, table);
    }
    all += one;
  }
  return all;
}

std::vector<Change> changes() {
  return {
      // Tables of other shapes.
      {"MissingTables", "drop table rebar; drop table sheet; drop table end_treatment"},
      {"NoTables", for_all_tables("drop table @")},
      {"MissingColumns", with_declarations_changed(",raw BLOB", "")},
      {"MissingUid", with_declarations_changed("uid TEXT UNIQUE", "gone TEXT UNIQUE")},
      {"OtherTypes", "PRAGMA foreign_keys = off;" +
                         for_all_tables("drop table @; create table @ (id text, uid "
                                        "real, raw integer, rev_id blob)") +
                         for_all_tables("insert into @ values ('one', 1.5, 7, x'00')")},
      {"RequiredColumn", with_declarations_changed("raw BLOB", "raw BLOB, extra TEXT NOT NULL")},
      {"WithoutRowId",
       "drop table sheet; create table sheet (id integer primary key, uid text "
       "unique, raw blob) without rowid; insert into sheet values (1, 's', x'00')"},
      {"IdThatIsNoKey",
       "drop table material; create table material (id, uid, raw); insert into material values "
       "(null, null, null), ('a', x'FF', 5), (1.5, 2.5, 'raw'), (1, 1, x'00')"},
      {"StrictTables", for_all_tables("drop table @; create table @ (id integer primary key, uid "
                                      "int, raw int, rev_id int) strict")},
      {"ManyColumns",
       [] {
         std::string columns;
         for (int i = 0; i < 1900; ++i) columns += ", c" + std::to_string(i);
         return "drop table sheet; create table sheet (id integer primary key autoincrement, uid "
                "text unique, raw blob" +
                columns + "); insert into sheet default values";
       }()},
      {"ForeignKeysToNowhere",
       "drop table material; drop table sheet; drop table revision; drop table fabric_type"},
      {"ForeignKeysInACircle",
       "drop table sheet; create table sheet (id integer primary key autoincrement, uid text "
       "unique, raw blob, next integer references sheet (id) on delete cascade on update cascade);"
       "insert into sheet (id, next) values (1, 1), (2, 3), (3, 2)"},

      // Records that are none.
      {"RawOfText", for_all_tables("update @ set id = id") +
                        "update sheet set raw = 'text'; update rebar set raw = ''"},
      {"RawOfNumbers",
       "update sheet set raw = 5; update material set raw = 1e300; "
       "update rebar set raw = -1; update project set raw = 0"},
      {"RawOfNothing",
       "update sheet set raw = null; update rebar set raw = null; "
       "update project set raw = null; update revision set raw = x''"},
      {"HugeRaw",
       "update sheet set raw = zeroblob(10000000); update material set raw = "
       "randomblob(10000000); update project set raw = zeroblob(30000000)"},
      // A list that says it has two thousand million of items, of several kinds.
      {"RawWithCountsOfMillions",
       "update sheet set raw = x'CB01FFFFFFFF07'; update rebar set raw = x'4BFFFFFFFF7F00'; "
       "update project set raw = x'0DFFFFFFFF0F09FFFFFFFF0F'"},
      {"TextsInNumbers",
       "update rebar set A = 'long', total_bars = 'many', mark = x'00FF'; "
       "update sheet set uid = x'00FF00' where id = 1"},
      {"TextsThatAreNoUtf8",
       "update sheet set uid = cast(x'C3280041' as text) where id = 1; "
       "update rebar set mark = cast(x'FFFEFD' as text)"},
      {"InfiniteNumbers", "update rebar set A = 9e999, B = -9e999, total_length = 9e999"},

      // Numbers at their ends.
      {"SequencesAtTheirEnd", "update sqlite_sequence set seq = 9223372036854775807"},
      {"SequencesOfText", "update sqlite_sequence set seq = 'many'"},
      {"SequencesOfNothing", "update sqlite_sequence set seq = null"},
      {"SequencesGone", "delete from sqlite_sequence"},
      {"SequencesTwice", "insert into sqlite_sequence select * from sqlite_sequence"},
      {"LargestIds",
       "insert into sheet (id, uid) values (9223372036854775807, 'x'); insert into "
       "end_treatment (id) values (9223372036854775807)"},
      {"IdsBeyond32Bits",
       "insert into sheet (id, uid, raw) values (5000000000, 'x', x'00'); "
       "insert into material (id, uid, raw) values (5000000000, 'x', x'00')"},
      {"NegativeIds", "insert into sheet (id, uid, raw) values (-9223372036854775808, 'x', x'00')"},

      // Triggers.
      {"TriggersThatAbort",
       for_all_tables("create trigger t_@ before insert on @ begin select raise(abort, 'no'); end; "
                      "create trigger u_@ before delete on @ begin select raise(fail, 'no'); end; "
                      "create trigger v_@ after update on @ begin select raise(ignore); end")},
      {"TriggersThatRollBack",
       for_all_tables("create trigger t_@ after insert on @ begin select raise(rollback, 'no'); "
                      "end; create trigger u_@ before delete on @ begin select raise(rollback, "
                      "'no'); end")},
      {"TriggersThatDelete",
       for_all_tables("create trigger t_@ after insert on @ begin delete from @; delete from "
                      "sheet; end; create trigger u_@ before update on @ begin delete from @; end; "
                      "create trigger v_@ before delete on @ begin delete from @; end")},
      {"TriggersThatSetOffEachOther",
       "create trigger a after insert on sheet begin insert into material (uid) values (new.uid); "
       "end; create trigger b after insert on material begin insert into sheet (uid) values "
       "(new.uid || 'x'); end; create trigger c after delete on sheet begin insert into sheet "
       "(uid) values ('again'); end"},
      {"TriggersOfMissingTables", for_all_tables("create trigger t_@ after insert on @ begin "
                                                 "insert into nowhere values (1); end")},
      {"TriggersThatCallWhatIsMissing",
       for_all_tables("create trigger t_@ after insert on @ begin select missing(new.id); end")},
      {"TriggersThatChangeTheSequence",
       for_all_tables("create trigger t_@ after insert on @ begin update sqlite_sequence set seq = "
                      "9223372036854775807; end")},
      {"TriggersThatMakeLargeValues",
       "create trigger t after insert on sheet begin update sheet set raw = zeroblob(10000000); "
       "end; create trigger u after insert on material begin update material set uid = "
       "hex(zeroblob(10000000)); end"},

      // Views, and what else stands in for tables.
      {"ViewsForTables",
       "alter table rebar rename to bars; create view rebar as select * from bars; alter table "
       "material rename to stuff; create view material as select id, 5 as uid, 'raw' as raw from "
       "stuff"},
      {"ViewsThatWrite",
       "drop table sheet; create view sheet as select 1 as id, 'u' as uid, x'00' as raw; create "
       "trigger t instead of insert on sheet begin delete from material; end; create trigger u "
       "instead of delete on sheet begin delete from rebar; end"},
      {"ViewsOfThemselves",
       "drop table sheet; create view sheet as select * from other; create view other as select * "
       "from sheet"},
      {"ViewsOfMissingTables", "drop table sheet; create view sheet as select * from nowhere"},
      {"ViewsOfTheCatalogue",
       "drop table sheet; create view sheet as select rootpage as id, name as uid, sql as raw from "
       "sqlite_master; drop table rebar; create view rebar as select 1 as rev_id, * from "
       "sqlite_master"},
      {"ViewsThatReachOut",
       "drop table sheet; create view sheet as select load_extension('x') as id, '' as uid, x'00' "
       "as raw; drop table material; create view material as select 1 as id, fts3_tokenizer('x') "
       "as uid, x'00' as raw; drop table rebar; create view rebar as select * from "
       "pragma_database_list"},
      {"FullTextTables",
       "drop table sheet; create virtual table sheet using fts5 (id, uid, raw); "
       "insert into sheet values (1, 's', x'00'); drop table rebar; create "
       "virtual table rebar using rtree (id, rev_id, raw)"},
      {"DamagedFullTextTables",
       "drop table sheet; create virtual table sheet using fts5 (id, uid, raw); insert into sheet "
       "values (1, 's', 'x'); update sheet_data set block = randomblob(50); drop table rebar; "
       "create virtual table rebar using rtree (id, rev_id, raw); insert into rebar values (1, 1, "
       "1); update rebar_node set data = randomblob(60)"},
      {"VirtualTablesOfNoModule",
       "drop table sheet;" + in_the_catalogue("insert into sqlite_master values ('table', 'sheet', "
                                              "'sheet', 0, 'create virtual table sheet using "
                                              "nothing (a)')")},

      // Columns, indexes and checks that compute.
      {"GeneratedColumns",
       "alter table sheet add column g as (json(uid)); alter table rebar add column g as "
       "(zeroblob(20000000)); drop table material; create table material (id integer primary key, "
       "uid text, raw blob as (zeroblob(10000000))); insert into material (id) values (1), (2)"},
      {"GeneratedIdentity",
       "drop table sheet; create table sheet (id integer primary key, raw blob, uid text as "
       "(abs(-9223372036854775808)) stored)"},
      {"IndexesThatFail",
       "create index i on sheet (json(raw)) where id > 2; create unique index j on rebar (rev_id) "
       "where id > 100; create index k on material (abs(-9223372036854775808)) where id > 2; "
       "create index l on fabric (length(hex(zeroblob(30000000)))) where id > 100"},
      {"ChecksThatFail",
       with_declarations_changed("raw BLOB", "raw BLOB check (abs(-9223372036854775808) > 0)")},
      {"DefaultsThatFail",
       with_declarations_changed("raw BLOB", "raw BLOB, d DEFAULT 7 CHECK (d = 1)")},
      {"CollationsThatAreMissing",
       with_declarations_changed("uid TEXT UNIQUE", "uid TEXT COLLATE nothing UNIQUE")},

      // The catalogue.
      {"CatalogueOfGarbage", in_the_catalogue("update sqlite_master set sql = 'garbage'")},
      {"CatalogueOfNothing",
       in_the_catalogue("update sqlite_master set sql = null where type = 'table'")},
      {"CatalogueOfOtherKinds", in_the_catalogue("update sqlite_master set type = 'index'")},
      {"CatalogueOfOtherNames", in_the_catalogue("update sqlite_master set name = 'sheet'")},
      {"CatalogueOfOtherTables", in_the_catalogue("update sqlite_master set tbl_name = 'rebar'")},
      {"CatalogueWithoutIndexes",
       in_the_catalogue("delete from sqlite_master where type = 'index'")},
      {"CatalogueWithoutTables",
       in_the_catalogue("delete from sqlite_master where type = 'table'")},
      {"CatalogueTwice", in_the_catalogue("insert into sqlite_master select * from sqlite_master")},
      {"RootsOfNothing", in_the_catalogue("update sqlite_master set rootpage = 0")},
      {"RootsThatAreTheCatalogue", in_the_catalogue("update sqlite_master set rootpage = 1")},
      {"RootsBehindTheEnd", in_the_catalogue("update sqlite_master set rootpage = 2147483647")},
      {"RootsBelowZero", in_the_catalogue("update sqlite_master set rootpage = -1")},
      {"RootsOfEachOther",
       in_the_catalogue("update sqlite_master set rootpage = (select max(rootpage) from "
                        "sqlite_master m) + 2 - rootpage")},
      {"RootsAllTheSame", in_the_catalogue("update sqlite_master set rootpage = 5")},
      {"DeepNesting",
       [] {
         std::string view =
             "drop table sheet; create view v0 as select 1 as id, '' as uid, x'00' "
             "as raw;";
         for (int i = 1; i <= 300; ++i) {
           view += "create view v" + std::to_string(i) + " as select * from v" +
                   std::to_string(i - 1) + ";";
         }
         return view + "create view sheet as select * from v300";
       }()},
  };
}

class ChangedFile : public HostileFile, public testing::WithParamInterface<Change> {};

TEST_P(ChangedFile, NeitherCrashesNorHangs) {
  run_ordeals([&](const Undergo& undergo) {
    for (std::uint32_t seed = 1; seed <= 2; ++seed) {
      make_changed(GetParam().sql);
      undergo(GetParam().name, seed);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(, ChangedFile, testing::ValuesIn(changes()), name_of);

TEST_F(HostileFile, WithAnySumOfChangesNeitherCrashesNorHangs) {
  const std::vector<Change> all = changes();
  run_rounds(5, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (int i = 0; i < 30; ++i) {
        std::string name;
        put_bytes(file(), valid_bytes());
        for (int changes = 0; changes < 4; ++changes) {
          const Change& change = all[below(random, all.size())];
          try {
            PlainConnection(file(), PlainConnection::Mode::kWrite).run(change.sql);
            name += change.name + " ";
          } catch (const std::runtime_error&) {  // NOLINT(bugprone-empty-catch): not on the others
          }
        }
        undergo(name, seed + static_cast<std::uint32_t>(i));
      }
    });
  });
}

TEST_F(HostileFile, WhoseSequenceIsAtItsEndStoresNoMoreUntilItIsSetBack) {
  make_changed("update sqlite_sequence set seq = 9223372036854775807 where name = 'sheet'");
  const StoredState before = stored_state(file());
  Project_Service_Impl project(0, file());
  EXPECT_ANY_THROW(probe().run(project));
  EXPECT_EQ(stored_state(file()), before);
  PlainConnection(file(), PlainConnection::Mode::kWrite)
      .run("update sqlite_sequence set seq = 7 where name = 'sheet'");
  probe().run(project);
  EXPECT_EQ(plain_rows(file(), "select max(id) from sheet"), Rows({{"8"}}));
}

// --- Files of other making that are projects like any other.

struct Setting {
  std::string name;
  std::string pragmas;
};
void PrintTo(const Setting& setting, std::ostream* out) { *out << setting.name; }

class UnusualFile : public HostileFile, public testing::WithParamInterface<Setting> {
 protected:
  /// A filled project in a file that was made with other settings than the usual.
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

// --- What never ends, which a fence ends.

class EndlessFile : public HostileFile, public testing::WithParamInterface<Change> {};

TEST_P(EndlessFile, IsStoppedByTheFenceInEveryOperation) {
  run_ordeals(
      [&](const Undergo& undergo) {
        make_changed(GetParam().sql);
        undergo(GetParam().name, 1);
      },
      [] {
        host::SqlFenceLimits limits;
        limits.time = 100ms;
        limits.rows = 10'000;
        limits.access = host::SqlAccess::everything;
        return std::make_shared<host::SqlFence>(limits);
      });
}

std::string endless_table(const std::string& table, const std::string& condition) {
  return "drop table " + table + "; create view " + table +
         " as with recursive n (i) as (select 1 union all select i + 1 from n) select i as id, 1 "
         "as rev_id, 1 as sheet_id, 'u' as uid, x'00' as raw from n where " +
         condition + ";";
}

std::vector<Change> endless_changes() {
  std::string without_rows;
  std::string with_rows;
  for (const std::string& table : kTables) {
    without_rows += endless_table(table, "i < 0");
    with_rows += endless_table(table, "true");
  }
  const std::string endless =
      "with recursive n (i) as (select 1 union all select i + 1 from n) select i from n";
  return {
      {"ViewsWithoutRows", without_rows},
      {"ViewsOfRows", with_rows},
      {"TriggersThatInsert",
       "create table log (i);" +
           for_all_tables("create trigger t_@ after insert on @ begin insert into log " + endless +
                          "; end; create trigger u_@ before delete on @ begin insert into log " +
                          endless +
                          "; end; create trigger v_@ before update on @ begin insert "
                          "into log " +
                          endless + "; end")},
      {"TriggersThatSearch",
       for_all_tables("create trigger t_@ before insert on @ when (select max(i) from (" + endless +
                      ")) begin select 1; end")},
      {"ViewsThatDouble",
       [] {
         std::string views =
             "drop table sheet; create view v0 as select 1 as id, '' as uid, x'00' as raw;";
         for (int i = 1; i <= 20; ++i) {
           const std::string former = "v" + std::to_string(i - 1);
           views += "create view v" + std::to_string(i) + " as select * from " + former +
                    " union all select * from " + former + ";";
         }
         return views + "create view sheet as select * from v20";
       }()},
  };
}

INSTANTIATE_TEST_SUITE_P(, EndlessFile, testing::ValuesIn(endless_changes()), name_of);

}  // namespace
}  // namespace korvane::test
