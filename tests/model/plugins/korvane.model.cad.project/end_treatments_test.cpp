#include <string>
#include <vector>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "platform/rpc4/failure.h"
#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;

constexpr const char* kInsertTreatment =
    "insert into end_treatment (type,type_description,manufacturer,model,diameter,comment) "
    "values (?,?,?,?,?,?)";
constexpr const char* kFindTreatment =
    "SELECT id FROM end_treatment where type = ? AND type_description = ? AND manufacturer = ? "
    "AND model = ? AND diameter = ? AND comment = ?";
constexpr const char* kMaxTreatment = "SELECT MAX(id) FROM end_treatment";

/// A project to which bars with treatments can be added.
class EndTreatmentsOfBars : public ContentTest<RebarKind> {
 protected:
  Rebar bar_with(const EndTreatment& start) const {
    Rebar made = minimal();
    made.end_treatment_start.set(start);
    return made;
  }
  Rebar bar_with(const EndTreatment& start, const EndTreatment& end) const {
    Rebar made = bar_with(start);
    made.end_treatment_end.set(end);
    return made;
  }
  Rebar bar_ending_in(const EndTreatment& end) const {
    Rebar made = minimal();
    made.end_treatment_end.set(end);
    return made;
  }
  Rows treatment_ids() const {
    return rows("select end_treatment_start, end_treatment_end from rebar order by id");
  }
};

TEST_F(EndTreatmentsOfBars, AreNotLookedForWhereABarHasNone) {
  ConnectionWatch watch;
  reopen_under(watch);
  add({minimal(), minimal()});
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", RebarKind::insert_sql, RebarKind::insert_sql, "COMMIT"));
  EXPECT_EQ(treatment_ids(), (Rows{{kNull, kNull}, {kNull, kNull}}));
}

TEST_F(EndTreatmentsOfBars, AreResolvedBeforeTheRowOfTheirBar) {
  ConnectionWatch watch;
  reopen_under(watch);
  add({bar_with(treatment("a"), treatment("a"))});
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", kFindTreatment, kInsertTreatment, kMaxTreatment, kFindTreatment,
                          RebarKind::insert_sql, "COMMIT"));
}

TEST_F(EndTreatmentsOfBars, AreLookedForBeforeTheirInsertIsParsed) {
  ConnectionWatch watch;
  reopen();
  watch.refuse(SQLITE_INSERT, "end_treatment");
  run_plainly("insert into end_treatment values (7, 'a', '', '', '', 0, '')");
  EndTreatment stored;
  stored.type = "a";
  watch.forget();
  add({bar_with(stored, stored)});
  EXPECT_EQ(treatment_ids(), (Rows{{"7", "7"}}));
  EXPECT_EQ(watch.parsed(SQLITE_INSERT, "end_treatment"), 0);
}

TEST_F(EndTreatmentsOfBars, AreLookedForBeforeTheInsertOfTheirBarIsParsed) {
  run_plainly("alter table end_treatment rename to gone; drop table rebar");
  EXPECT_THAT(
      [&] { add({bar_with(treatment("a"), treatment("a"))}); },
      ::testing::Throws<Poco::Data::SQLite::InvalidSQLStatementException>(::testing::Property(
          &Poco::Exception::displayText, ::testing::HasSubstr("end_treatment"))));
}

TEST_F(EndTreatmentsOfBars, AreRefusedWhereTheIdOfTheirRowIsBeyond32Bits) {
  run_plainly("insert into end_treatment values (4294967297, 'a', '', '', '', 0, '')");
  EndTreatment stored;
  stored.type = "a";
  EXPECT_THAT([&] { add({bar_with(stored, stored)}); },
              ::testing::ThrowsMessage<krv::rpc4::UnusableRow>(
                  "end_treatment: the id 4294967297 does not fit 32 bits"));
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(EndTreatmentsOfBars, AreStoredByStatementsThatAreParsedOnce) {
  ConnectionWatch watch;
  reopen();
  std::vector<Rebar> bars;
  for (int i = 0; i < 50; ++i) {
    bars.push_back(bar_with(treatment(std::to_string(i)), treatment(std::to_string(i / 2))));
  }
  const auto parses_of = [&](const std::vector<Rebar>& batch) {
    watch.forget();
    add(batch);
    return std::vector<int>{watch.parsed(SQLITE_INSERT, "rebar"),
                            watch.parsed(SQLITE_INSERT, "end_treatment"),
                            watch.parsed(SQLITE_SELECT), watch.parsed(SQLITE_READ)};
  };
  const std::vector<int> one = parses_of({bars[0]});
  EXPECT_THAT(one, ElementsAre(1, 1, 2, ::testing::Gt(0)));
  EXPECT_EQ(parses_of(bars), one);
  EXPECT_EQ(count("rebar"), 51);
}

TEST_F(EndTreatmentsOfBars, HoldTheSixValues) {
  add({bar_with(treatment("a"))});
  EXPECT_EQ(only_row("end_treatment"), (NamedRow{{"id", "1"},
                                                 {"type", "kCollar a"},
                                                 {"type_description", "description a"},
                                                 {"manufacturer", "maker a"},
                                                 {"model", "model a"},
                                                 {"diameter", "0.0325"},
                                                 {"comment", "comment a"}}));
}

TEST_F(EndTreatmentsOfBars, HoldNoNullForADefaultTreatment) {
  add({bar_with(EndTreatment{})});
  EXPECT_EQ(rows("select * from end_treatment"), (Rows{{"1", "", "", "", "", "0.0", ""}}));
}

TEST_F(EndTreatmentsOfBars, AreSharedByEqualStartAndEnd) {
  add({bar_with(treatment("a"), treatment("a"))});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", "1"}}));
  EXPECT_EQ(count("end_treatment"), 1);
}

TEST_F(EndTreatmentsOfBars, LeaveTheStartOfABarEmptyThoughTheBarBeforeHadOne) {
  add({bar_with(treatment("a")), bar_ending_in(treatment("b"))});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", kNull}, {kNull, "2"}}));
}

TEST_F(EndTreatmentsOfBars, AreTwoWhenAnyOfTheSixValuesDiffers) {
  std::vector<EndTreatment> others(6, treatment("a"));
  others[0].type += "x";
  others[1].type_description += "x";
  others[2].manufacturer += "x";
  others[3].model += "x";
  others[4].diameter += 0.5;
  others[5].comment += "x";
  add({bar_with(treatment("a"))});
  for (const EndTreatment& other : others) add({bar_with(other)});
  EXPECT_EQ(count("end_treatment"), 7);
}

TEST_F(EndTreatmentsOfBars, AreOneWhenOnlyAnotherFieldDiffersWhichRawKeeps) {
  EndTreatment other = treatment("a");
  other.draw_pointer = false;
  add({bar_with(treatment("a")), bar_with(other)});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", kNull}, {"1", kNull}}));
  EXPECT_EQ(value("select raw from rebar where id = 2"), raw_hex(bar_with(other)));
}

TEST_F(EndTreatmentsOfBars, AreComparedByteForByte) {
  EndTreatment upper = treatment("a");
  upper.model = "MODEL A";
  EndTreatment padded = treatment("a");
  padded.model = "model a ";
  add({bar_with(treatment("a")), bar_with(upper), bar_with(padded)});
  EXPECT_EQ(count("end_treatment"), 3);
}

TEST_F(EndTreatmentsOfBars, AreSharedAcrossBarsBatchesRevisionsAndSheets) {
  Rebar elsewhere = minimal_bar(make_revision(), 1);
  elsewhere.end_treatment_end.set(treatment("a"));
  add({bar_with(treatment("a")), bar_ending_in(treatment("a"))});
  add({elsewhere});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", kNull}, {kNull, "1"}, {kNull, "1"}}));
  EXPECT_EQ(count("end_treatment"), 1);
}

TEST_F(EndTreatmentsOfBars, AreFoundAgainInAReopenedFile) {
  add({bar_with(treatment("a"))});
  reopen();
  add({bar_with(treatment("a"))});
  EXPECT_EQ(count("end_treatment"), 1);
}

TEST_F(EndTreatmentsOfBars, TakeTheIdThatTheDatabaseGaveThem) {
  add({bar_with(treatment("a"), treatment("b")), bar_with(treatment("c"))});
  query("delete from end_treatment where id = 1");
  add({bar_with(treatment("a"))});
  EXPECT_EQ(rows("select id, comment from end_treatment order by id"),
            (Rows{{"2", "comment b"}, {"3", "comment c"}, {"4", "comment a"}}));
  EXPECT_EQ(value("select end_treatment_start from rebar where id = 3"), "4");
}

TEST_F(EndTreatmentsOfBars, TakeTheIdOfADeletedHighestRowAgain) {
  add({bar_with(treatment("a"), treatment("b"))});
  query("delete from end_treatment where id = 2");
  add({bar_with(treatment("c"))});
  EXPECT_EQ(rows("select id, comment from end_treatment order by id"),
            (Rows{{"1", "comment a"}, {"2", "comment c"}}));
}

TEST_F(EndTreatmentsOfBars, FailTheBatchWhereTheLookupFindsMoreThanOneRow) {
  add({bar_with(treatment("a"))});
  query(
      "insert into end_treatment (type, type_description, manufacturer, model, diameter, comment) "
      "select type, type_description, manufacturer, model, diameter, comment from end_treatment");
  EXPECT_THAT(
      [&] {
        add({minimal(), bar_with(treatment("b"), treatment("a"))});
      },
      throws_message<Poco::Data::ExtractException>("value already extracted"));
  EXPECT_EQ(count("rebar"), 1);
  EXPECT_EQ(count("end_treatment"), 2);
  add({bar_with(treatment("b"))});
  EXPECT_EQ(count("rebar"), 2);
}

}  // namespace

}  // namespace korvane::test
