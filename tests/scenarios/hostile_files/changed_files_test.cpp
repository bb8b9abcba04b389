// Projects whose tables, triggers, views and catalogue another program has changed.

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/hostile_files/hostile_file.h"

namespace korvane::test {
namespace {

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
      {"IdThatIsNotAKey",
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

      // Values that are not records.
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
      // Lists of several kinds that claim two thousand million items.
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

      // Numbers at the ends of their range.
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
          } catch (const std::runtime_error&) {  // NOLINT(bugprone-empty-catch): it may not fit
          }
        }
        undergo(name, seed + static_cast<std::uint32_t>(i));
      }
    });
  });
}

}  // namespace
}  // namespace korvane::test
