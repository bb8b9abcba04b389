// Files whose views and triggers never end: a fence ends the call.

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/access/sql_fence.h"
#include "tests/scenarios/hostile_files/hostile_file.h"
#include "tests/support/store_test.h"

namespace korvane::test {
namespace {

using std::chrono_literals::operator""ms;

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
