// One client takes what it can get, with many connections at once, from the program with its
// default limits. Meanwhile an office works on a project of its own: what must hold is that the
// server stays below a gibibyte and that none of the office's calls waits for more than a second.
//
//     KORVANE_SIEGE_SECONDS=60    three unless told, for each siege

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <utility>
#include <vector>

#include <Poco/Net/SocketAddress.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/access/tokens.h"
#include "host/service/openapi.h"
#include "tests/host/support/test_server.h"
#include "tests/scenarios/soak/served_program.h"
#include "tests/support/expanding_select.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMegabyte = std::size_t{1} << 20U;
constexpr std::size_t kMostResident = 1024 * kMegabyte;
constexpr auto kLongestWait = 1s;

/// KiB of data that the server may have: a quarter more than it should, and the stacks that are
/// reserved for the threads of so many connections.
constexpr std::size_t data_limit(std::size_t connections) {
  constexpr std::size_t kStack = std::size_t{8} * 1024;
  return kMostResident / 1024 * 5 / 4 + kStack * (connections + 40);
}

std::chrono::seconds siege_time() {
  const char* const given = std::getenv("KORVANE_SIEGE_SECONDS");
  return std::chrono::seconds(given == nullptr ? 3 : std::stoi(given));
}

host::Scopes reading() { return {host::Scope::read}; }

/// `count` rows of whatever `columns` says.
std::string rows_of(const std::string& columns, const std::string& count) {
  return "with recursive n (i) as (select 1 union all select i + 1 from n where i < " + count +
         ") select " + columns + " from n";
}

std::string repeated(const std::string& piece, std::size_t count) {
  std::string text = piece;
  for (std::size_t i = 1; i < count; ++i) text += ", " + piece;
  return text;
}

class Siege : public ::testing::Test {
 protected:
  /// What is done again and again on one connection.
  using Attack = std::function<void(HttpClient& client)>;

  const TemporaryFolder& root() const { return root_; }
  std::uint16_t port() const { return server_->port(); }
  static std::string path(const std::string& file, const std::string& operation) {
    return host::project_path(file, operation);
  }

  /// Starts the server with a project `file` for each of those names, beside the office's own.
  void start(const host::Scopes& scopes, const std::string& arguments = "",
             const std::string& log = "/dev/null", std::size_t connections = 100) {
    attacker_ = bearer(tokens_.add("attacker", scopes));
    office_ = bearer(tokens_.add("office", host::all_scopes()));
    server_ = std::make_unique<ServedProgram>(ServedProgram::Options{
        .root = root_.path().string(),
        .arguments = "--tokens " + folder_.file("tokens.json") + " " + arguments,
        .log = log,
        .data_limit = KORVANE_IS_INSTRUMENTED ? 0 : data_limit(connections)});
    make_project("office.db");
    make_project("attacked.db");
  }

  void make_project(const std::string& file) {
    const HttpAnswer answer =
        office().send("POST", path(file, "create_sheet") + "?create=true",
                      R"({"name":"417","comment":"Ground floor"})", {{"Content-Type", kJson}});
    ASSERT_EQ(answer.status, 200) << answer.body;
  }

  HttpClient office() const { return HttpClient(port(), office_); }
  HttpClient attacker() const { return HttpClient(port(), attacker_); }

  static HttpAnswer query(HttpClient& client, const std::string& sql,
                          const std::string& file = "attacked.db") {
    return client.send("POST", path(file, "query_table"), sql_request(sql).dump(),
                       {{"Content-Type", kJson}});
  }

  /// Has so many connections attack while the office works, and says what became of both.
  void besiege(const std::string& name, std::size_t connections, const Attack& attack) {
    const auto end = Clock::now() + siege_time();
    std::atomic<std::size_t> attacks = 0;
    std::vector<std::thread> attackers;
    for (std::size_t i = 0; i < connections; ++i) {
      attackers.emplace_back([&] {
        while (Clock::now() < end) {
          HttpClient client = attacker();
          try {
            for (; Clock::now() < end; ++attacks) attack(client);
          } catch (const std::exception&) {
            ++attacks;  // it was cut off
          }
        }
      });
    }
    work_in_the_office(end);
    report(name);
    for (std::thread& thread : attackers) thread.join();
    EXPECT_GT(attacks, 0U);
  }

  void work_in_the_office(Clock::time_point end) {
    HttpClient kept = office();
    while (Clock::now() < end) {
      const auto time = [&](const auto& call) {
        const auto begin = Clock::now();
        const HttpAnswer answer = call();
        longest_wait_ = std::max(longest_wait_, Clock::now() - begin);
        ++calls_;
        EXPECT_EQ(answer.status, 200) << answer.body;
      };
      time([&] { return kept.get(path("office.db", "list_sheets")); });
      time([&] { return office().get(path("office.db", "list_sheets")); });
      time([&] {
        return kept.send("POST", path("office.db", "update_sheet"),
                         R"({"id":1,"comment":"Upper floor"})", {{"Content-Type", kJson}});
      });
      std::this_thread::sleep_for(5ms);
    }
  }

  /// Ends the server, too, whatever it still has to do.
  void report(const std::string& name) {
    const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(longest_wait_);
    const std::size_t peak = server_->peak_resident_bytes() / kMegabyte;
    std::cout << name << ": resident at most " << peak << " MiB; longest of " << calls_
              << " calls of the office " << wait.count() << " ms\n";
    server_->kill();
    EXPECT_GT(calls_, 0U);
    if (!KORVANE_IS_INSTRUMENTED) {
      EXPECT_LT(peak * kMegabyte, kMostResident);
      EXPECT_LT(longest_wait_, kLongestWait);
    }
  }

  /// A request of the attacker's that reads.
  std::string get_text(const std::string& file, const std::string& operation) const {
    return "GET " + path(file, operation) + " HTTP/1.1\r\nHost: localhost\r\n" + token_line() +
           "\r\n";
  }
  std::string token_line() const {
    return attacker_.at(0).first + ": " + attacker_.at(0).second + "\r\n";
  }

  /// Gives the attacked project so many sheets of a megabyte.
  void fill(int sheets) {
    HttpClient client = office();
    const std::string sheet = R"({"comment":")" + std::string(kMegabyte, 'x') + "\"}";
    for (int i = 0; i < sheets; ++i) {
      client.send("POST", path("attacked.db", "create_sheet"), sheet, {{"Content-Type", kJson}});
    }
  }

  /// Puts a view in the place of the table `sheet`, with `raw` for the column of that name.
  void replace_sheets(const std::string& raw, const std::string& before = "") {
    PlainConnection file(root_.file("attacked.db"), PlainConnection::Mode::kWrite);
    std::string columns;
    for (const Row& column : file.rows("select name from pragma_table_info('sheet')")) {
      const std::string& name = *column.at(0);
      columns += (columns.empty() ? "" : ", ") + (name == "raw" ? raw : name) + " as " + name;
    }
    file.run("alter table sheet rename to real_sheet; " + before + "create view sheet as select " +
             columns + " from real_sheet");
  }

 private:
  TemporaryFolder folder_;
  TemporaryFolder root_;
  host::TokenFile tokens_{folder_.file("tokens.json")};
  HttpFields attacker_;
  HttpFields office_;
  std::unique_ptr<ServedProgram> server_;
  Clock::duration longest_wait_{};
  std::size_t calls_ = 0;
};

// --- Memory and time inside SQLite.

TEST_F(Siege, BySelectsThatExpandWhileTheyAreCompiled) {
  start(reading());
  besiege("expanding selects", 24, [](HttpClient& client) { query(client, expanding_select(24)); });
}

TEST_F(Siege, ByExpandingSelectsOnManyProjects) {
  start(reading());
  for (int i = 0; i < 24; ++i) make_project("p" + std::to_string(i) + ".db");
  std::atomic<int> next = 0;
  besiege("expanding selects on 24 projects", 24, [&](HttpClient& client) {
    query(client, expanding_select(24), "p" + std::to_string(next++ % 24) + ".db");
  });
}

TEST_F(Siege, ByFormatsThatWriteForSeconds) {
  start(reading());
  besiege("printf", 24, [](HttpClient& client) {
    query(client, rows_of("printf('%.*c', 2147483647, 'a')", "2000"));
    query(client, rows_of("length(format('%.*f', 1000000, 1.0 * i))", "2000"));
  });
}

TEST_F(Siege, BySortsOfLargeValues) {
  start(reading());
  besiege("sorts", 24, [](HttpClient& client) {
    query(client, rows_of("i, hex(zeroblob(100000)) as a", "100000") + " order by a, i desc");
  });
}

TEST_F(Siege, ByViewsThatExpand) {
  start(reading());
  std::string views = "create view v0 as select raw as x from real_sheet; ";
  for (int i = 1; i <= 20; ++i) {
    const std::string former = "v" + std::to_string(i - 1);
    views += "create view v" + std::to_string(i) + " as select l.x from " + former + " l, " +
             former + " r; ";
  }
  replace_sheets("(select x from v20)", views);
  besiege("views that expand", 24, [](HttpClient& client) {
    client.get(path("attacked.db", "list_sheets"));
    client.send("POST", path("attacked.db", "get_sheet"), R"({"id":1})", {{"Content-Type", kJson}});
  });
}

TEST_F(Siege, ByViewsThatNeverEnd) {
  start(reading());
  replace_sheets(
      "(with recursive n (i) as (select 1 union all select i + 1 from n) select max(i) from n)");
  besiege("views that never end", 24, [&](HttpClient&) {
    RawConnection connection(port());
    connection.send(get_text("attacked.db", "list_sheets"));
    connection.has_answer_within(siege_time());
  });
}

// --- What becomes of requests.

TEST_F(Siege, ByBatchesThatAreThousandsOfTimesTheirLength) {
  start({host::Scope::write});
  constexpr std::size_t kCount = 12'000'000;
  std::string bytes = "\x0B\x0A";
  for (std::size_t rest = kCount; rest != 0; rest >>= 7U) {
    bytes += static_cast<char>((rest & 0x7FU) | (rest >= 0x80 ? 0x80U : 0U));
  }
  bytes += std::string(kCount + 1, '\0');
  besiege("batches that swell", 24, [&](HttpClient& client) {
    client.send("POST", path("attacked.db", "add_fabric"), bytes,
                {{"Content-Type", kCompactBinary}});
  });
}

TEST_F(Siege, ByBatchesThatAreThousandsOfTimesTheirLengthAsJson) {
  start({host::Scope::write});
  std::string records = R"({"items":[{})";
  std::string lists = "[[]";
  while (records.size() < 12'000'000) {
    records += ",{}";
    lists += ",[]";
  }
  std::atomic<bool> is_first = true;
  besiege("JSON that swells", 24, [&](HttpClient& client) {
    client.send("POST", path("attacked.db", "add_fabric"),
                is_first.exchange(!is_first) ? records + "]}" : lists + "]",
                {{"Content-Type", kJson}});
  });
}

TEST_F(Siege, ByBodiesThatNeverEnd) {
  start({host::Scope::write}, "", "/dev/null", 210);
  const std::string beginning(2 * kMegabyte, ' ');
  besiege("bodies that never end", 64, [&](HttpClient&) {
    RawConnection connection(port());
    connection.send("POST " + path("attacked.db", "add_fabric") +
                    " HTTP/1.1\r\nHost: localhost\r\n" + token_line() +
                    "Content-Type: application/json\r\nContent-Length: 60000000\r\n\r\n");
    connection.send(beginning);
    connection.has_answer_within(1s);
  });
}

TEST_F(Siege, ByLargeHeaders) {
  start(reading(), "", "/dev/null", 2100);
  std::string fields;
  while (fields.size() < 380) fields += "a:\r\n";
  fields += "b: " + std::string(60'000, 'x') + "\r\n";
  besiege("large headers", 40, [&](HttpClient&) {
    std::vector<RawConnection> connections;
    for (int i = 0; i < 50; ++i) {
      connections.emplace_back(port());
      connections.back().send("POST /v1 HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n" +
                              fields + (i % 2 == 0 ? "\r\n" : ""));
    }
    std::this_thread::sleep_for(2s);
  });
}

// --- What becomes of replies.

TEST_F(Siege, ByWideRowsOfNothing) {
  start(reading());
  const std::string sql = rows_of(repeated("null", 1999), "4000");
  const std::string narrower = rows_of(repeated("null", 499), "4000");
  besiege("wide rows of NULL", 24, [&](HttpClient& client) {
    query(client, sql);
    query(client, narrower);
  });
}

TEST_F(Siege, ByRepliesThatNobodyReads) {
  start(reading());
  fill(20);
  besiege("replies that nobody reads", 100, [&](HttpClient&) {
    RawConnection connection(port());
    connection.socket().setReceiveBufferSize(4096);
    connection.send(get_text("attacked.db", "list_sheets"));
    std::this_thread::sleep_for(2s);
  });
}

TEST_F(Siege, ByLargeReplies) {
  start(reading());
  fill(60);
  besiege("large replies", 24,
          [](HttpClient& client) { client.get(path("attacked.db", "list_sheets")); });
}

TEST_F(Siege, ByFailuresThatRepeatTheirRequest) {
  start(reading());
  const std::string request = sql_request("select '" + std::string(kMegabyte - 100, '\x01')).dump();
  besiege("failures that repeat their request", 24, [&](HttpClient& client) {
    client.send("POST", path("attacked.db", "query_table"), request, {{"Content-Type", kJson}});
  });
}

TEST_F(Siege, ByRefusalsThatNobodyReads) {
  start(reading(), "", "/dev/null", 2100);
  // Of nobody in particular: there is no token in it.
  const std::string request = "GET / HTTP/1.1\r\nHost: " + std::string(4'000, '"') + "\r\n\r\n";
  besiege("refusals that nobody reads", 8, [&](HttpClient&) {
    std::vector<RawConnection> unread;
    for (int i = 0; i < 280; ++i) {
      RawConnection& connection = unread.emplace_back(port());
      connection.socket().setReceiveBufferSize(4096);
      connection.send(request);
    }
    std::this_thread::sleep_for(500ms);
  });
}

// --- The log.

TEST_F(Siege, ByALogLineForEveryCell) {
  start(reading(), "--verbose");
  besiege("log lines", 24, [](HttpClient& client) {
    query(client, rows_of(repeated("null", 400), "1000"));
    query(client, "select '" + std::string(500'000, 'x') + "' from nowhere");
  });
}

TEST_F(Siege, WhileTheLogIsOnAFullDisk) {
  start(reading(), "--verbose", "/dev/full");
  besiege("log on a full disk", 24,
          [](HttpClient& client) { query(client, rows_of(repeated("null", 100), "1000")); });
}

TEST_F(Siege, WhileNobodyReadsTheLog) {
  const TemporaryFolder folder;
  const std::string pipe = folder.file("log");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  // Open for both, so that the server can open it; nobody reads.
  const std::fstream reader(pipe);
  start(reading(), "--verbose", pipe);
  besiege("log that nobody reads", 24,
          [](HttpClient& client) { query(client, rows_of(repeated("null", 100), "1000")); });
}

// --- Turns.

TEST_F(Siege, ByQueriesThatTakeTheirWholeTime) {
  start(reading());
  besiege("slow queries", 66, [](HttpClient& client) {
    query(client,
          "with recursive n (i) as (select 1 union all select i + 1 from n) "
          "select max(i) from n");
  });
}

TEST_F(Siege, ByQueriesThatTakeTheirWholeTimeOnManyProjects) {
  start(reading());
  for (int i = 0; i < 24; ++i) make_project("p" + std::to_string(i) + ".db");
  std::atomic<int> next = 0;
  besiege("slow queries on 24 projects", 66, [&](HttpClient& client) {
    query(client,
          "with recursive n (i) as (select 1 union all select i + 1 from n) "
          "select max(i) from n",
          "p" + std::to_string(next++ % 24) + ".db");
  });
}

TEST_F(Siege, ByWritesThatWaitForAnotherProgramsLock) {
  start({host::Scope::read, host::Scope::write});
  for (int i = 0; i < 24; ++i) make_project("p" + std::to_string(i) + ".db");
  std::vector<std::unique_ptr<PlainConnection>> locks;
  for (int i = 0; i < 24; ++i) {
    locks.push_back(std::make_unique<PlainConnection>(root().file("p" + std::to_string(i) + ".db"),
                                                      PlainConnection::Mode::kWrite));
    locks.back()->run("begin exclusive");
  }
  std::thread lets_go([&] {
    std::this_thread::sleep_for(siege_time());
    locks.clear();
  });
  std::atomic<int> next = 0;
  besiege("writes behind a lock", 66, [&](HttpClient& client) {
    client.send("POST", path("p" + std::to_string(next++ % 24) + ".db", "create_sheet"), "{}",
                {{"Content-Type", kJson}});
  });
  lets_go.join();
}

TEST_F(Siege, ByAllConnections) {
  start(reading(), "", "/dev/null", 2100);
  besiege("all connections", 8, [&](HttpClient&) {
    std::vector<RawConnection> half;
    for (int i = 0; i < 280; ++i) {
      half.emplace_back(port());
      if (i % 2 == 0) half.back().send("GET /v1 HTTP/1.1\r\n");
    }
    EXPECT_EQ(HttpClient(port()).get("/healthz/live").body, "live\n");
    std::this_thread::sleep_for(500ms);
  });
}

TEST_F(Siege, ByAsManyOpenProjectsAsThereMayBe) {
  start({host::Scope::read, host::Scope::write});
  std::atomic<int> next = 0;
  besiege("new projects", 24, [&](HttpClient& client) {
    client.send("POST", path("n" + std::to_string(next++) + ".db", "create_sheet") + "?create=true",
                "{}", {{"Content-Type", kJson}});
  });
}

// --- What a call leaves behind, and files of unknown origin.

TEST_F(Siege, ByWhateverSqlLeavesBehind) {
  start({host::Scope::read, host::Scope::sql});
  besiege("SQL of the scope sql", 24, [](HttpClient& client) {
    for (const char* const sql :
         {"begin exclusive", "attach 'office.db' as other", "pragma foreign_keys = off",
          "pragma query_only = on", "pragma cache_size = -10000000",
          "pragma mmap_size = 10000000000", "create temp table t as select zeroblob(50000000) a",
          "create table if not exists t (a)", "insert into t select zeroblob(20000000)",
          "delete from t", "vacuum into 'copy.db'", "vacuum", "savepoint a",
          "pragma temp_store = memory", "select group_concat(hex(a)) from t"}) {
      query(client, sql);
    }
  });
}

TEST_F(Siege, ByAViewOfLargeZeroes) {
  start(reading());
  replace_sheets("zeroblob(900000000)");
  besiege("views of zeroes", 24, [](HttpClient& client) {
    client.get(path("attacked.db", "list_sheets"));
    client.send("POST", path("attacked.db", "get_sheet"), R"({"id":1})", {{"Content-Type", kJson}});
  });
}

TEST_F(Siege, ByAViewOfZeroesBelowEveryLimit) {
  start(reading());
  replace_sheets("zeroblob(60000000)");
  besiege("views of fewer zeroes", 24, [](HttpClient& client) {
    client.get(path("attacked.db", "list_sheets"));
    client.send("POST", path("attacked.db", "get_sheet"), R"({"id":1})", {{"Content-Type", kJson}});
  });
}

}  // namespace
}  // namespace korvane::test
