#include "host/access/statements.h"

#include <string_view>

#include <gtest/gtest.h>

namespace korvane::host {
namespace {

TEST(Statements, AreOneUpToItsSemicolonAndWhatSaysNothing) {
  for (const std::string_view sql :
       {"",
        "  ",
        ";",
        ";;",
        "select 1",
        "select 1;",
        "select 1 ; ; -- and no more",
        "/* first */ select 1; /* last */",
        "-- only words",
        "select ';'",
        "select \";\"",
        "select `;`, [;]",
        "select 'it''s; fine'",
        "select 1 /* ; */ + 2",
        "select 1 -- ;",
        "select 'open; ended",
        "select 1 /* open; ended",
        "create trigger g after insert on t begin select 1; delete from t; end",
        "create trigger g after insert on t begin select 1; end;",
        "CREATE TEMP TRIGGER g AFTER INSERT ON t BEGIN SELECT case 1 when 1 then 2 end; END ;",
        "explain create temporary trigger g after insert on t begin select 1; end;",
        "select \"end\"; ",
        "create table trigger_of (a);",
        "select $b(;)",
        "select a$b(';')",
        "select :a, @b, $c::d(e;f)"}) {
    EXPECT_FALSE(has_several_statements(sql)) << sql;
  }
}

TEST(Statements, AreSeveralWhenOneFollows) {
  for (const std::string_view sql :
       {"select 1; select 2", ";select 1;select 2;", "select 1;/* and */select 2",
        "select 1; -- and\nselect 2", "select 'a'';'; drop table t", "select [a;b]; drop table t",
        "create trigger g after insert on t begin select 1; end; select 2",
        "create table trigger_of (a); select 1", "explain select 1; select 2", "select 1; x",
        "create table t (a); create trigger g after insert on t begin select 1; end",
        "select 1;\xC3\xA4", "select $b('x); select 2 --')", "select @a::b(';x); select 2 --'"}) {
    EXPECT_TRUE(has_several_statements(sql)) << sql;
  }
}

}  // namespace
}  // namespace korvane::host
