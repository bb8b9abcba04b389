// docs/operations.md says what the code does: each limit by its default, each status, each route.

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/http/problem_kind.h"
#include "host/model_server.h"
#include "host/service/routes.h"
#include "host/text/shortened.h"
#include "host/watch/json_log.h"

namespace korvane::host {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Key;

using Row = std::vector<std::string>;

const std::string& page() {
  static const std::string text = [] {
    std::ifstream file(KORVANE_OPERATIONS_PAGE);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }();
  return text;
}

/// The cells of a line of a table.
Row cells_of(const std::string& line) {
  Row cells;
  std::istringstream text(line.substr(1));
  for (std::string cell; std::getline(text, cell, '|');) {
    const std::size_t begin = cell.find_first_not_of(' ');
    const std::size_t end = cell.find_last_not_of(' ');
    cells.push_back(begin == std::string::npos ? "" : cell.substr(begin, end - begin + 1));
  }
  return cells;
}

/// The rows of all tables that begin with that header.
std::vector<Row> rows_under(const std::string& header) {
  std::vector<Row> rows;
  std::istringstream lines(page());
  bool is_inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with('|')) {
      is_inside = false;
    } else if (line == header) {
      is_inside = true;
    } else if (is_inside && !line.starts_with("|---")) {
      rows.push_back(cells_of(line));
    }
  }
  return rows;
}

/// 2000 as "2,000".
std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (int place = static_cast<int>(text.size()) - 3; place > 0; place -= 3) {
    text.insert(static_cast<std::size_t>(place), ",");
  }
  return text;
}

/// As the page writes bytes: "64 KiB", "128 MiB".
std::string bytes(std::uint64_t number) {
  constexpr std::uint64_t kKibi = 1024;
  if (number % (kKibi * kKibi) == 0) return grouped(number / kKibi / kKibi) + " MiB";
  EXPECT_EQ(number % kKibi, 0U) << number;
  return grouped(number / kKibi) + " KiB";
}

/// The defaults that the page's tables state, by option.
std::map<std::string, std::string> defaults() {
  const ModelServerLimits limits;
  return {
      {"`--all-body-bytes`", bytes(limits.all_body_bytes)},
      {"`--all-record-bytes`", bytes(limits.all_record_bytes)},
      {"`--all-reply-bytes`", bytes(limits.all_reply_bytes)},
      {"`--body-bytes`", bytes(limits.http.body_bytes)},
      {"`--connections`", grouped(limits.http.connections)},
      {"`--header-bytes`", bytes(limits.http.header_bytes)},
      {"`--record-bytes`", bytes(limits.record_bytes)},
      {"`--waiting-calls`", grouped(limits.delivery.waiting_calls)},
      {"`--workers`", grouped(limits.delivery.workers)},
  };
}

std::vector<Row> limit_rows() { return rows_under("| What | Option | Default | Beyond it |"); }

TEST(OperationsPage, StatesEveryLimitWithItsDefault) {
  std::map<std::string, std::string> left = defaults();
  for (const Row& row : limit_rows()) {
    ASSERT_EQ(row.size(), 4U) << row[0];
    if (row[1].empty()) continue;
    ASSERT_THAT(left, Contains(Key(row[1])));
    // "64 KiB, 100 fields" has more than the option sets; "2,000" is one number.
    const std::string& stated = left.at(row[1]);
    EXPECT_TRUE(row[2] == stated || row[2].starts_with(stated + ", "))
        << row[1] << " is " << stated << ", not " << row[2];
    left.erase(row[1]);
  }
  EXPECT_TRUE(left.empty()) << left.begin()->first << " is in no table";
}

TEST(OperationsPage, StatesTheBoundsThatNoOptionSets) {
  const ModelServerLimits limits;
  const auto number = [](std::int64_t bound) { return static_cast<std::uint64_t>(bound); };
  EXPECT_THAT(page(), HasSubstr(grouped(number(limits.call.rows)) + " rows and " +
                                bytes(number(limits.call.bytes))));
  EXPECT_THAT(page(), HasSubstr("| its lines in the log | | " + grouped(kMostCollectedLines) +
                                ", of " + bytes(kShortBytes) + " each |"));
  EXPECT_THAT(page(), HasSubstr("to " + grouped(limits.open_projects) + "; `--open-projects`"));
}

TEST(OperationsPage, SaysOfEveryKindOfProblemWhenItIsAnswered) {
  std::vector<Row> stated;
  for (const Row& row : rows_under("| Status | Type | When |")) {
    ASSERT_EQ(row.size(), 3U) << row[0];
    stated.push_back({row[0], row[1]});
    EXPECT_FALSE(row[2].empty()) << row[0];
  }
  std::vector<Row> kinds;
  for (const ProblemKind& kind : kProblemKinds) {
    kinds.push_back({std::to_string(kind.status()), "`" + std::string(kind.name()) + "`"});
  }
  EXPECT_EQ(stated, kinds);
}

TEST(OperationsPage, AnswersWithStatusesOfItsTableBeyondALimit) {
  for (const Row& row : limit_rows()) {
    std::istringstream words(row[3]);
    for (std::string word; words >> word;) {
      if (!std::all_of(word.begin(), std::find(word.begin(), word.end(), ','),
                       [](unsigned char c) { return std::isdigit(c) != 0; })) {
        continue;
      }
      EXPECT_TRUE(
          std::any_of(kProblemKinds.begin(), kProblemKinds.end(),
                      [&](const ProblemKind& kind) { return kind.status() == std::stoi(word); }))
          << row[3];
    }
  }
}

TEST(OperationsPage, ShowsEveryRoute) {
  for (const Route& route : routes()) EXPECT_THAT(page(), HasSubstr(std::string(route.path)));
}

}  // namespace
}  // namespace korvane::host
