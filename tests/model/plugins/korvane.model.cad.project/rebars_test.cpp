#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/plugins/korvane.model.cad.project/schedule_content.h"
#include "model/tables/tables.h"
#include "platform/rpc4/failure.h"
#include "tests/model/plugins/korvane.model.cad.project/failure.h"
#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::NotConnectedException;
using Poco::Data::SQLite::ConstraintViolationException;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kInsertRebar =
    "insert into rebar (rev_id,comment,member,mark,submark,mark_suffix,mark_prefix,material_id,"
    "member_multiplier,bars_per_member,total_bars,total_length,bar_diameter,"
    "standard_bend_diameter,hook_bend_diameter,end_treatment_start,end_treatment_end,shape_code,"
    "A,B,C,D,E,F,R,A_rounded,B_rounded,C_rounded,D_rounded,E_rounded,F_rounded,R_rounded,"
    "bartype_name,bartype_mass_per_length,raw) "
    "values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
constexpr const char* kInsertTreatment =
    "insert into end_treatment (type,type_description,manufacturer,model,diameter,comment) "
    "values (?,?,?,?,?,?)";
constexpr const char* kFindTreatment =
    "SELECT id FROM end_treatment where type = ? AND type_description = ? AND manufacturer = ? "
    "AND model = ? AND diameter = ? AND comment = ?";
constexpr const char* kMaxTreatment = "SELECT MAX(id) FROM end_treatment";

/// A project with a revision and a material to which bars can be added.
class AddRebar : public StoreTest {
 protected:
  Rebar bar() const { return minimal_bar(rev_, material_); }
  Rebar bar_with(const EndTreatment& start) const {
    Rebar made = bar();
    made.end_treatment_start.set(start);
    return made;
  }
  Rebar bar_with(const EndTreatment& start, const EndTreatment& end) const {
    Rebar made = bar_with(start);
    made.end_treatment_end.set(end);
    return made;
  }
  Rebar bar_ending_in(const EndTreatment& end) const {
    Rebar made = bar();
    made.end_treatment_end.set(end);
    return made;
  }
  Rows treatment_ids() const {
    return rows("select end_treatment_start, end_treatment_end from rebar order by id");
  }
  /// Nothing of a failed batch is there, and the next batch is stored.
  void expect_nothing_stored_and_next_write_to_work() {
    EXPECT_EQ(count("rebar"), 0);
    EXPECT_EQ(count("end_treatment"), 0);
    add({bar_with(treatment("next"))});
    EXPECT_EQ(count("rebar"), 1);
    EXPECT_EQ(count("end_treatment"), 1);
  }

  std::int32_t rev_ = make_revision();
  std::int32_t material_ = make_material();
};

using FailingAddRebar = AddRebar;
using EndTreatmentRows = AddRebar;
using AddGetRebar = AddRebar;

TEST_F(AddRebar, StoresEveryColumnAsSent) {
  make_material();
  add({full_rebar(rev_, 2)});
  PlainConnection plain(file(), PlainConnection::Mode::kRead);
  NamedRow row = plain.named_row("select * from rebar");
  ASSERT_EQ(row.size(), 36U);
  EXPECT_EQ(row.back(), (NamedRow::value_type{"raw", raw_hex(full_rebar(rev_, 2))}));
  row.pop_back();
  EXPECT_EQ(row, (NamedRow{{"id", "1"},
                           {"rev_id", "1"},
                           {"comment", "top layer"},
                           {"member", "Wall 3"},
                           {"mark", "17"},
                           {"submark", "b"},
                           {"mark_suffix", "-S"},
                           {"mark_prefix", "P-"},
                           {"material_id", "2"},
                           {"member_multiplier", "2"},
                           {"bars_per_member", "12"},
                           {"total_bars", "24"},
                           {"total_length", "81.75"},
                           {"bar_diameter", "0.014"},
                           {"standard_bend_diameter", "0.056"},
                           {"hook_bend_diameter", "0.07"},
                           {"end_treatment_start", "1"},
                           {"end_treatment_end", "2"},
                           {"shape_code", "21"},
                           {"A", "1.125"},
                           {"B", "2.125"},
                           {"C", "3.125"},
                           {"D", "4.125"},
                           {"E", "5.125"},
                           {"F", "6.125"},
                           {"R", "7.125"},
                           {"A_rounded", "101.5"},
                           {"B_rounded", "102.5"},
                           {"C_rounded", "103.5"},
                           {"D_rounded", "104.5"},
                           {"E_rounded", "105.5"},
                           {"F_rounded", "106.5"},
                           {"R_rounded", "107.5"},
                           {"bartype_name", "B500B 14"},
                           {"bartype_mass_per_length", "1.2086"}}));
}

TEST_F(AddRebar, StoresNullForEachFieldWithoutAValueAndEmptyTextForEachEmptyOne) {
  add({bar()});
  PlainConnection plain(file(), PlainConnection::Mode::kRead);
  EXPECT_EQ(plain.named_row("select * from rebar"), (NamedRow{{"id", "1"},
                                                              {"rev_id", "1"},
                                                              {"comment", ""},
                                                              {"member", ""},
                                                              {"mark", ""},
                                                              {"submark", kNull},
                                                              {"mark_suffix", kNull},
                                                              {"mark_prefix", kNull},
                                                              {"material_id", "1"},
                                                              {"member_multiplier", "0"},
                                                              {"bars_per_member", "0"},
                                                              {"total_bars", "0"},
                                                              {"total_length", "0.0"},
                                                              {"bar_diameter", "0.0"},
                                                              {"standard_bend_diameter", "0.0"},
                                                              {"hook_bend_diameter", kNull},
                                                              {"end_treatment_start", kNull},
                                                              {"end_treatment_end", kNull},
                                                              {"shape_code", kNull},
                                                              {"A", kNull},
                                                              {"B", kNull},
                                                              {"C", kNull},
                                                              {"D", kNull},
                                                              {"E", kNull},
                                                              {"F", kNull},
                                                              {"R", kNull},
                                                              {"A_rounded", kNull},
                                                              {"B_rounded", kNull},
                                                              {"C_rounded", kNull},
                                                              {"D_rounded", kNull},
                                                              {"E_rounded", kNull},
                                                              {"F_rounded", kNull},
                                                              {"R_rounded", kNull},
                                                              {"bartype_name", kNull},
                                                              {"bartype_mass_per_length", "0.0"},
                                                              {"raw", raw_hex(bar())}}));
}

TEST_F(AddRebar, StoresAnEmptyCommentAsTextAndASubmarkWithoutAValueAsNull) {
  add({bar()});
  EXPECT_EQ(rows("select typeof(comment), typeof(submark) from rebar"), (Rows{{"text", "null"}}));
}

TEST_F(AddRebar, StoresAnEmptyNullableTextAsText) {
  Rebar empty = bar();
  for (auto* text : {&empty.submark, &empty.mark_suffix, &empty.mark_prefix, &empty.shape_code,
                     &empty.bar_type_name}) {
    text->set("");
  }
  add({empty});
  EXPECT_EQ(rows("select submark, mark_suffix, mark_prefix, shape_code, bartype_name from rebar"),
            (Rows{{"", "", "", "", ""}}));
}

TEST_F(AddRebar, LeavesNothingOfABarToTheNext) {
  add({full_rebar(rev_, material_), bar()});
  EXPECT_EQ(rows("select submark, hook_bend_diameter, shape_code, A, R_rounded, bartype_name, "
                 "end_treatment_start, end_treatment_end, mark from rebar where id = 2"),
            (Rows{{kNull, kNull, kNull, kNull, kNull, kNull, kNull, kNull, ""}}));
}

TEST_F(AddRebar, NeitherRoundsNorScalesANumber) {
  Rebar exact = bar();
  exact.total_length = 0.1 + 0.2;
  exact.bar_diameter = 1e300;
  exact.standard_bend_diameter = -5e-324;
  exact.total_bars = std::numeric_limits<std::int32_t>::max();
  exact.bars_per_member = std::numeric_limits<std::int32_t>::min();
  add({exact});
  EXPECT_EQ(rows("select total_length = 0.1 + 0.2, bar_diameter = 1e300, "
                 "standard_bend_diameter = -5e-324, total_bars, bars_per_member from rebar"),
            (Rows{{"1", "1", "1", "2147483647", "-2147483648"}}));
}

TEST_F(AddRebar, StoresTextByteForByte) {
  Rebar quoted = bar();
  quoted.mark = "it's \"12\"; St\xC3\xBCtze ?";
  quoted.member = std::string("a\0b", 3);
  add({quoted});
  EXPECT_EQ(rows("select mark, hex(member) from rebar"),
            (Rows{{"it's \"12\"; St\xC3\xBCtze ?", "610062"}}));
}

TEST_F(AddRebar, KeepsTheIdOfTheClientInRawAlone) {
  Rebar numbered = bar();
  numbered.id = 4711;
  add({numbered});
  EXPECT_EQ(rows("select id, raw from rebar"), (Rows{{"1", raw_hex(numbered)}}));
}

TEST_F(AddRebar, KeepsBothTreatmentsInRaw) {
  const Rebar treated = bar_with(treatment("a"), treatment("b"));
  add({treated});
  EXPECT_EQ(value("select raw from rebar"), raw_hex(treated));
}

TEST_F(AddRebar, StoresBarsInOrder) {
  std::vector<Rebar> bars(3, bar());
  bars[0].mark = "c";
  bars[1].mark = "a";
  bars[2].mark = "b";
  add(bars);
  EXPECT_EQ(rows("select id, mark from rebar order by id"),
            (Rows{{"1", "c"}, {"2", "a"}, {"3", "b"}}));
}

TEST_F(AddRebar, AddsToWhatIsThere) {
  add({bar()});
  add({bar(), bar()});
  EXPECT_EQ(count("rebar"), 3);
}

TEST_F(AddRebar, TakesBarsOfSeveralRevisionsInOneBatch) {
  const std::int32_t other = make_revision();
  add({bar(), minimal_bar(other, material_)});
  EXPECT_EQ(rows("select rev_id from rebar order by id"), (Rows{{"1"}, {"2"}}));
}

TEST_F(AddRebar, LeavesItsReplyAndTheLogAlone) {
  log().clear();
  GenericReply reply;
  reply.error.set("before");
  project().add_rebar({{full_rebar(rev_, material_)}}, reply);
  EXPECT_EQ(*reply.error, "before");
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(AddRebar, OpensAndCommitsATransactionForAnEmptyBatchAndWritesNothing) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  add({});
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", "COMMIT"));
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(AddRebar, RunsNoStatementOnTreatmentsForABarWithNeither) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  add({bar(), bar()});
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kInsertRebar, kInsertRebar, "COMMIT"));
  EXPECT_EQ(treatment_ids(), (Rows{{kNull, kNull}, {kNull, kNull}}));
}

TEST_F(AddRebar, ResolvesTheTreatmentsOfABarBeforeItsRow) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  add({bar_with(treatment("a"), treatment("a"))});
  EXPECT_THAT(watch.statements(),
              ElementsAre("BEGIN", kFindTreatment, kInsertTreatment, kMaxTreatment, kFindTreatment,
                          kInsertRebar, "COMMIT"));
}

TEST_F(AddRebar, LooksForATreatmentBeforeItsInsertIsParsed) {
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

TEST_F(AddRebar, LooksForATreatmentBeforeTheInsertOfItsBarIsParsed) {
  run_plainly("alter table end_treatment rename to gone; drop table rebar");
  EXPECT_THAT(
      [&] { add({bar_with(treatment("a"), treatment("a"))}); },
      ::testing::Throws<Poco::Data::SQLite::InvalidSQLStatementException>(::testing::Property(
          &Poco::Exception::displayText, ::testing::HasSubstr("end_treatment"))));
}

TEST_F(AddRebar, RefusesATreatmentWhoseRowHasAnIdBeyond32Bits) {
  run_plainly("insert into end_treatment values (4294967297, 'a', '', '', '', 0, '')");
  EndTreatment stored;
  stored.type = "a";
  EXPECT_THAT([&] { add({bar_with(stored, stored)}); },
              ::testing::ThrowsMessage<krv::rpc4::UnusableRow>(
                  "end_treatment: the id 4294967297 does not fit 32 bits"));
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(AddRebar, ParsesEachStatementOnceForAnyNumberOfBars) {
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

TEST_F(AddRebar, HasTheColumnsOfItsTableInOrder) {
  const InsertSpec insert = insert_spec(model::tables::table_of<Rebar>());
  Rows columns;
  for (const std::string& column : insert.columns) columns.push_back({column});
  EXPECT_EQ(columns, rows("select name from pragma_table_info('rebar') where name <> 'id' "
                          "order by cid"));
  EXPECT_EQ(insert.table, "rebar");
  EXPECT_EQ(columns.size(), 35U);
}

TEST_F(EndTreatmentRows, HoldTheSixValues) {
  add({bar_with(treatment("a"))});
  PlainConnection plain(file(), PlainConnection::Mode::kRead);
  EXPECT_EQ(plain.named_row("select * from end_treatment"),
            (NamedRow{{"id", "1"},
                      {"type", "kCollar a"},
                      {"type_description", "description a"},
                      {"manufacturer", "maker a"},
                      {"model", "model a"},
                      {"diameter", "0.0325"},
                      {"comment", "comment a"}}));
}

TEST_F(EndTreatmentRows, HoldNoNullForADefaultTreatment) {
  add({bar_with(EndTreatment{})});
  EXPECT_EQ(rows("select * from end_treatment"), (Rows{{"1", "", "", "", "", "0.0", ""}}));
}

TEST_F(EndTreatmentRows, AreSharedByEqualStartAndEnd) {
  add({bar_with(treatment("a"), treatment("a"))});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", "1"}}));
  EXPECT_EQ(count("end_treatment"), 1);
}

TEST_F(EndTreatmentRows, LeaveTheStartOfABarEmptyThoughTheBarBeforeHadOne) {
  add({bar_with(treatment("a")), bar_ending_in(treatment("b"))});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", kNull}, {kNull, "2"}}));
}

TEST_F(EndTreatmentRows, AreTwoWhenOnlyTheCommentDiffers) {
  EndTreatment other = treatment("a");
  other.comment = "another";
  add({bar_with(treatment("a"), other)});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", "2"}}));
}

TEST_F(EndTreatmentRows, AreTwoWhenAnyOfTheSixValuesDiffers) {
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

TEST_F(EndTreatmentRows, AreOneWhenOnlyAnotherFieldDiffersWhichRawKeeps) {
  EndTreatment other = treatment("a");
  other.draw_pointer = false;
  add({bar_with(treatment("a")), bar_with(other)});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", kNull}, {"1", kNull}}));
  EXPECT_EQ(value("select raw from rebar where id = 2"), raw_hex(bar_with(other)));
}

TEST_F(EndTreatmentRows, AreComparedByteForByte) {
  EndTreatment upper = treatment("a");
  upper.model = "MODEL A";
  EndTreatment padded = treatment("a");
  padded.model = "model a ";
  add({bar_with(treatment("a")), bar_with(upper), bar_with(padded)});
  EXPECT_EQ(count("end_treatment"), 3);
}

TEST_F(EndTreatmentRows, AreSharedAcrossBarsBatchesRevisionsAndSheets) {
  Rebar elsewhere = minimal_bar(make_revision(), material_);
  elsewhere.end_treatment_end.set(treatment("a"));
  add({bar_with(treatment("a")), bar_ending_in(treatment("a"))});
  add({elsewhere});
  EXPECT_EQ(treatment_ids(), (Rows{{"1", kNull}, {kNull, "1"}, {kNull, "1"}}));
  EXPECT_EQ(count("end_treatment"), 1);
}

TEST_F(EndTreatmentRows, AreFoundAgainInAReopenedFile) {
  add({bar_with(treatment("a"))});
  reopen();
  add({bar_with(treatment("a"))});
  EXPECT_EQ(count("end_treatment"), 1);
}

TEST_F(EndTreatmentRows, TakeTheIdThatTheDatabaseGaveThem) {
  add({bar_with(treatment("a"), treatment("b")), bar_with(treatment("c"))});
  query("delete from end_treatment where id = 1");
  add({bar_with(treatment("a"))});
  EXPECT_EQ(rows("select id, comment from end_treatment order by id"),
            (Rows{{"2", "comment b"}, {"3", "comment c"}, {"4", "comment a"}}));
  EXPECT_EQ(value("select end_treatment_start from rebar where id = 3"), "4");
}

TEST_F(EndTreatmentRows, TakeTheIdOfADeletedHighestRowAgain) {
  add({bar_with(treatment("a"), treatment("b"))});
  query("delete from end_treatment where id = 2");
  add({bar_with(treatment("c"))});
  EXPECT_EQ(rows("select id, comment from end_treatment order by id"),
            (Rows{{"1", "comment a"}, {"2", "comment c"}}));
}

TEST_F(FailingAddRebar, ForAnUnknownRevisionStoresNothing) {
  EXPECT_THROW(add({minimal_bar(99, material_)}), ConstraintViolationException);
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddRebar, ForTheDefaultRevisionStoresNothing) {
  Rebar homeless = bar();
  homeless.rev_id = Rebar{}.rev_id;
  EXPECT_EQ(homeless.rev_id, -1);
  EXPECT_THROW(add({homeless}), ConstraintViolationException);
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddRebar, WithoutAMaterialStoresNothing) {
  Rebar immaterial = bar();
  immaterial.material_id.reset();
  EXPECT_THROW(add({immaterial}), ConstraintViolationException);
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddRebar, ForAnUnknownMaterialStoresNothing) {
  EXPECT_THROW(add({minimal_bar(rev_, 99)}), ConstraintViolationException);
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddRebar, OnItsLastBarLeavesNoBarAndNoNewTreatment) {
  Rebar last = bar_with(treatment("c"));
  last.rev_id = 99;
  EXPECT_THROW(add({bar_with(treatment("a"), treatment("b")), bar(), last}),
               ConstraintViolationException);
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddRebar, KeepsWhatEarlierBatchesStored) {
  add({bar_with(treatment("a"))});
  EXPECT_THROW(add({bar_with(treatment("b")), minimal_bar(99, material_)}),
               ConstraintViolationException);
  EXPECT_EQ(count("rebar"), 1);
  EXPECT_EQ(rows("select comment from end_treatment"), (Rows{{"comment a"}}));
}

TEST_F(FailingAddRebar, TriesNoBarBehindTheOneThatFails) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  EXPECT_THROW(add({bar(), minimal_bar(99, material_), bar()}), ConstraintViolationException);
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kInsertRebar, kInsertRebar, "ROLLBACK"));
}

TEST_F(FailingAddRebar, WithoutAConnectionTellsTheConnectionString) {
  Poco::Data::Session session = closed_session();
  std::vector<Rebar> bars = {bar()};
  EXPECT_EQ(message_of<NotConnectedException>([&] { add_rebars(session, bars); }), file());
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(FailingAddRebar, WhereTheLookupFindsMoreThanOneRowStoresNothing) {
  add({bar_with(treatment("a"))});
  query(
      "insert into end_treatment (type, type_description, manufacturer, model, diameter, comment) "
      "select type, type_description, manufacturer, model, diameter, comment from end_treatment");
  EXPECT_EQ(message_of<Poco::Data::ExtractException>([&] {
              add({bar(), bar_with(treatment("b"), treatment("a"))});
            }),
            "value already extracted");
  EXPECT_EQ(count("rebar"), 1);
  EXPECT_EQ(count("end_treatment"), 2);
  add({bar_with(treatment("b"))});
  EXPECT_EQ(count("rebar"), 2);
}

TEST_F(FailingAddRebar, OnItsCommitIsNotRolledBack) {
  Poco::Data::Session session = own_session();
  std::vector<Rebar> bars = {bar()};
  PlainConnection reader(file(), PlainConnection::Mode::kRead);
  reader.run("begin; select count(*) from rebar");
  EXPECT_THROW(add_rebars(session, bars), DBLockedException);
  reader.run("commit");
  session.commit();
  EXPECT_EQ(count("rebar"), 1);
}

TEST_F(AddGetRebar, AddsNothingAndLeavesItsReplyAsItWas) {
  Batch<Rebar> reply;
  project().addget_rebar({{bar(), full_rebar(rev_, material_)}}, reply);
  EXPECT_THAT(reply.items, IsEmpty());
  EXPECT_EQ(count("rebar"), 0);
  reply.items = {bar()};
  project().addget_rebar({}, reply);
  EXPECT_THAT(reply.items, ElementsAre(bar()));
}

TEST_F(AddGetRebar, RunsNoStatement) {
  ConnectionWatch watch;
  reopen();
  watch.forget();
  Batch<Rebar> reply;
  project().addget_rebar({{bar()}}, reply);
  EXPECT_THAT(watch.statements(), IsEmpty());
}

TEST_F(AddRebar, KeepsAMaterialInUseFromBeingDeleted) {
  add({bar()});
  GenericReply reply;
  EXPECT_THROW(project().delete_material(by_id<MaterialRef>(material_), reply),
               ConstraintViolationException);
  EXPECT_EQ(rows("select material_id from rebar"), (Rows{{"1"}}));
  EXPECT_EQ(count("material"), 1);
}

}  // namespace

}  // namespace korvane::test
