#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/filled_revision.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::SQLite::DBLockedException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using ClearForRevision = FilledRevision;
using SharedTreatments = FilledRevision;

TEST_F(ClearForRevision, RemovesBarsFabricsAndBarSpacersAndKeepsMountingParts) {
  const Rows parts = all_of("mountingpart");
  clear(rev_);
  for_each_content_kind([&]<class Kind>() {
    EXPECT_EQ(count(Kind::table), Kind::is_cleared ? 0 : 2) << Kind::table;
  });
  EXPECT_EQ(all_of("mountingpart"), parts);
}

TEST_F(ClearForRevision, RemovesTheTreatmentsOfItsBars) {
  EXPECT_EQ(treatment_ids(), (Rows{{"1", "2"}, {kNull, kNull}}));
  clear(rev_);
  EXPECT_EQ(count("end_treatment"), 0);
}

TEST_F(ClearForRevision, KeepsTheRevisionAndTheCatalogues) {
  clear(rev_);
  for (const char* table : {"sheet", "revision", "material", "fabric_type"}) {
    EXPECT_EQ(count(table), 1) << table;
  }
}

TEST_F(ClearForRevision, LeavesTheContentOfOtherRevisions) {
  const std::int32_t other = make_revision();
  fill(other);
  clear(rev_);
  for (const char* table : {"rebar", "fabric", "barspacer"}) {
    EXPECT_EQ(revisions_in(table), (Rows{{std::to_string(other)}})) << table;
  }
  EXPECT_THAT(bars_of(other),
              ElementsAre(full_rebar(other, material_), minimal_bar(other, material_)));
}

TEST_F(ClearForRevision, LetsTheRevisionBeFilledAgain) {
  clear(rev_);
  fill(rev_);
  EXPECT_THAT(bars_of(rev_),
              ElementsAre(full_rebar(rev_, material_), minimal_bar(rev_, material_)));
  EXPECT_EQ(count("end_treatment"), 2);
}

// The effect of a foreign key appears as the text that caused it, so no bar has a treatment here.
TEST_F(ClearForRevision, RunsItsFiveDeletionsInOrderInOneTransaction) {
  const std::int32_t other = make_revision();
  add({minimal_bar(other, material_)});
  add({full_fabric(other, type_)});
  add({full_bar_spacer(other)});
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  clear(other);
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kDeleteStarts, kDeleteEnds, kDeleteBars,
                                              kDeleteFabrics, kDeleteBarSpacers, "COMMIT"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(ClearForRevision, OfARevisionThatDoesNotExistDeletesNothingFiveTimesAndCommits) {
  const std::vector<Rows> before = content();
  ConnectionWatch watch;
  reopen_under(watch);
  clear(99);
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", kDeleteStarts, kDeleteEnds, kDeleteBars,
                                              kDeleteFabrics, kDeleteBarSpacers, "COMMIT"));
  EXPECT_EQ(content(), before);
}

TEST_F(ClearForRevision, GoesByTheIdWhateverTheUidSays) {
  make_revision(make_sheet(), "r-2");
  GenericReply reply;
  project().clear_for_revision(by_id_and_uid<RevisionRef>(2, "r-1"), reply);
  EXPECT_EQ(count("rebar"), 2);
  project().clear_for_revision(by_id_and_uid<RevisionRef>(1, "r-2"), reply);
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(ClearForRevision, LeavesItsReplyAsItWas) {
  GenericReply reply;
  reply.error.set("before");
  project().clear_for_revision(by_id<RevisionRef>(rev_), reply);
  EXPECT_EQ(*reply.error, "before");
}

TEST_F(ClearForRevision, IsStoredThroughAReopening) {
  clear(rev_);
  reopen();
  EXPECT_THAT(bars_of(rev_), IsEmpty());
  EXPECT_THAT(parts_of(rev_), SizeIs(2));
}

TEST_F(SharedTreatments, OfARevisionThatIsClearedLeaveNullInTheBarsOfAnother) {
  const std::int32_t other = make_revision();
  add({bar_with(other, treatment("end"), treatment("own"))});
  EXPECT_EQ(treatment_ids().at(2), (Row{"2", "3"}));
  clear(rev_);
  EXPECT_EQ(treatment_ids(), (Rows{{kNull, "3"}}));
  EXPECT_EQ(rows("select id, comment from end_treatment"), (Rows{{"3", "comment own"}}));
}

TEST_F(SharedTreatments, OfARevisionThatIsClearedLeaveNullAtBothEndsOfTheBarsOfAnother) {
  const std::int32_t other = make_revision();
  add({bar_with(other, treatment("start"), treatment("end")),
       bar_with(other, treatment("end"), treatment("start"))});
  clear(rev_);
  EXPECT_EQ(treatment_ids(), (Rows{{kNull, kNull}, {kNull, kNull}}));
}

TEST_F(SharedTreatments, OfARevisionThatIsClearedStayInRawOfTheBarsOfAnother) {
  const std::int32_t other = make_revision();
  const Rebar bar = bar_with(other, treatment("start"), treatment("end"));
  add({bar});
  clear(rev_);
  EXPECT_EQ(rows("select raw from rebar"), (Rows{{raw_hex(bar)}}));
  EXPECT_THAT(bars_of(other), ElementsAre(bar));
}

TEST_F(SharedTreatments, OfARevisionThatIsClearedAreInsertedAnewByTheNextBar) {
  const std::int32_t other = make_revision();
  const Rebar bar = bar_with(other, treatment("end"), treatment("own"));
  add({bar});
  clear(rev_);
  add({bar});
  EXPECT_EQ(treatment_ids(), (Rows{{kNull, "3"}, {"4", "3"}}));
  EXPECT_EQ(rows("select id, comment from end_treatment order by id"),
            (Rows{{"3", "comment own"}, {"4", "comment end"}}));
}

TEST_F(SharedTreatments, OfBothEndsOfABarAreClearedWithIt) {
  const std::int32_t other = make_revision();
  add({bar_with(other, treatment("both"), treatment("both"))});
  clear(other);
  EXPECT_EQ(rows("select comment from end_treatment order by id"),
            (Rows{{"comment start"}, {"comment end"}}));
  EXPECT_EQ(revisions_in("rebar"), (Rows{{std::to_string(rev_)}}));
}

/// A step of the clear, and the row whose deletion is refused to make it fail.
struct Step {
  std::string name;
  std::string table;
  std::string condition;
  std::string sql;
};

void PrintTo(const Step& step, std::ostream* stream) { *stream << step.name; }

class FailingClearForRevision : public FilledRevision, public ::testing::WithParamInterface<Step> {
 protected:
  void refuse_step() { refuse("delete", GetParam().table, GetParam().condition); }
};

TEST_P(FailingClearForRevision, LeavesAllTablesAsTheyWere) {
  const std::vector<Rows> before = content();
  refuse_step();
  EXPECT_THAT([&] { clear(rev_); }, violates("refused by the test"));
  EXPECT_EQ(content(), before);
}

TEST_P(FailingClearForRevision, TriesNoFurtherStepAndRollsBack) {
  refuse_step();
  ConnectionWatch watch;
  reopen_under(watch);
  EXPECT_THAT([&] { clear(rev_); }, violates("refused by the test"));
  const std::vector<std::string>& statements = watch.statements();
  ASSERT_GE(statements.size(), 3U);
  EXPECT_EQ(statements[statements.size() - 2], GetParam().sql);
  EXPECT_EQ(statements.back(), "ROLLBACK");
}

TEST_P(FailingClearForRevision, LetsTheNextOneWork) {
  refuse_step();
  EXPECT_THAT([&] { clear(rev_); }, violates("refused by the test"));
  refuse_no_more();
  clear(rev_);
  for (const char* table : {"end_treatment", "rebar", "fabric", "barspacer"}) {
    EXPECT_EQ(count(table), 0) << table;
  }
}

INSTANTIATE_TEST_SUITE_P(Steps, FailingClearForRevision,
                         ::testing::Values(Step{"start_treatments", "end_treatment",
                                                "old.comment = 'comment start'", kDeleteStarts},
                                           Step{"end_treatments", "end_treatment",
                                                "old.comment = 'comment end'", kDeleteEnds},
                                           Step{"bars", "rebar", "old.id = 2", kDeleteBars},
                                           Step{"fabrics", "fabric", "old.id = 2", kDeleteFabrics},
                                           Step{"bar_spacers", "barspacer", "old.id = 2",
                                                kDeleteBarSpacers}),
                         [](const auto& one) { return one.param.name; });

TEST_F(ClearForRevision, ThatFailsOnItsCommitIsNotRolledBack) {
  wait_for_no_lock();
  Reader reader(file());
  EXPECT_THROW(clear(rev_), DBLockedException);
  EXPECT_EQ(reader.count("rebar"), "2");
  reader.let_go();
  query("commit");
  EXPECT_EQ(count("rebar"), 0);
}

}  // namespace

}  // namespace korvane::test
