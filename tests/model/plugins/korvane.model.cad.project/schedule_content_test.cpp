#include "model/plugins/korvane.model.cad.project/schedule_content.h"

#include <cstdint>
#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "platform/log/log.h"
#include "tests/model/plugins/korvane.model.cad.project/filled_revision.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::SQLite::InvalidSQLStatementException;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::ThrowsMessage;

/// The deletion of one table's rows on a session of its own, which is watched.
class DeleteForRevision : public FilledRevision {
 protected:
  DeleteForRevision() { watch_.forget(); }

  void remove(const std::string& table, const std::string& select_table,
              const std::string& select_column) {
    delete_for_revision(session_, table, select_table, select_column, by_id<RevisionRef>(rev_));
  }

  ConnectionWatch watch_;
  Poco::Data::Session session_ = own_session();
};

TEST_F(DeleteForRevision, GoesThroughTheSelectedColumn) {
  remove("end_treatment", "rebar", "end_treatment_end");
  ASSERT_FALSE(watch_.statements().empty());
  EXPECT_THAT(watch_.statements(), Each(kDeleteEnds));
  EXPECT_EQ(rows("select comment from end_treatment"), (Rows{{"comment start"}}));
}

TEST_F(DeleteForRevision, GoesByTheRevisionOfTheRowsWithoutASelection) {
  remove("rebar", "", "");
  EXPECT_THAT(watch_.statements(), ElementsAre(kDeleteBars));
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(DeleteForRevision, GoesByTheRevisionOfTheRowsWithHalfASelection) {
  remove("fabric", "rebar", "");
  remove("barspacer", "", "end_treatment_end");
  EXPECT_THAT(watch_.statements(), ElementsAre(kDeleteFabrics, kDeleteBarSpacers));
  EXPECT_EQ(count("fabric"), 0);
  EXPECT_EQ(count("barspacer"), 0);
}

TEST_F(DeleteForRevision, ReportsAnEmptyTableAndGoesOnToTheStatement) {
  log().clear();
  EXPECT_THROW(remove("", "", ""), InvalidSQLStatementException);
  EXPECT_THAT(log().lines(), SizeIs(1));
  ASSERT_THAT(log().texts(2), SizeIs(1));
  EXPECT_THAT(krv::log::narrow(log().texts(2)[0]),
              MatchesRegex("assertion failed: !delete_table\\.empty\\(\\), file "
                           "model/plugins/korvane\\.model\\.cad\\.project/schedule_content\\.cpp, "
                           "line [0-9]+: delete table is empty"));
}

TEST_F(DeleteForRevision, ReportsNothingForATableThatIsNamed) {
  log().clear();
  remove("rebar", "", "");
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(DeleteForRevision, CannotDoWithoutAnId) {
  EXPECT_THAT([&] { delete_for_revision(session_, "rebar", "", "", by_uid<RevisionRef>("r-1")); },
              ThrowsMessage<bond::CoreException>("Field value is 'nothing'"));
  EXPECT_EQ(count("rebar"), 2);
}

TEST_F(DeleteForRevision, TakesATreatmentOfBothEndsOfABarTheFirstTime) {
  const std::int32_t other = make_revision();
  add({bar_with(other, treatment("both"), treatment("both"))});
  EXPECT_EQ(treatment_ids().at(2), (Row{"3", "3"}));
  Poco::Data::Session session = own_session();
  const auto ref = by_id<RevisionRef>(other);
  const auto changes = [&] {
    int total = -1;
    session << "select total_changes()", Poco::Data::Keywords::into(total),
        Poco::Data::Keywords::now;
    return total;
  };
  delete_for_revision(session, "end_treatment", "rebar", "end_treatment_start", ref);
  EXPECT_EQ(treatment_ids().at(2), (Row{kNull, kNull}));
  const int after_the_first = changes();
  delete_for_revision(session, "end_treatment", "rebar", "end_treatment_end", ref);
  EXPECT_EQ(changes(), after_the_first);
  EXPECT_EQ(rows("select comment from end_treatment order by id"),
            (Rows{{"comment start"}, {"comment end"}}));
}

TEST_F(DeleteForRevision, SaysWhichFileItHasNoConnectionTo) {
  session_.close();
  const auto before = counts();
  EXPECT_THAT([&] { remove("rebar", "", ""); }, misses_connection_to(file()));
  EXPECT_EQ(counts(), before);
}

}  // namespace

}  // namespace korvane::test
