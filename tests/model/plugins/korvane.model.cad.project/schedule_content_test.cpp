#include "model/plugins/korvane.model.cad.project/schedule_content.h"

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <Poco/Data/DataException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/model/plugins/korvane.model.cad.project/failure.h"
#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

/// One of the two reads of a revision's bars.
struct GetRebars {
  static constexpr const char* id_required = "get_rebars requires RevisionRef.id to be set.";
  static void read(Project_Service_Impl& project, RevisionRef request, std::vector<Rebar>& bars) {
    Batch<Rebar> reply{std::move(bars)};
    try {
      project.get_rebars(std::move(request), reply);
    } catch (...) {
      bars = std::move(reply.items);
      throw;
    }
    bars = std::move(reply.items);
  }
};

struct GetAllRebarsForRevision {
  static constexpr const char* id_required =
      "get_all_rebars_for_revision requires RevisionRef.id to be set.";
  static void read(Project_Service_Impl& project, RevisionRef request, std::vector<Rebar>& bars) {
    Rebars reply{std::move(bars)};
    try {
      project.get_all_rebars_for_revision(std::move(request), reply);
    } catch (...) {
      bars = std::move(reply.rebars);
      throw;
    }
    bars = std::move(reply.rebars);
  }
};

template <class Operation>
class ReadRebars : public StoreTest {
 protected:
  std::vector<Rebar> read(RevisionRef request) {
    std::vector<Rebar> bars;
    Operation::read(project(), std::move(request), bars);
    return bars;
  }
  std::vector<Rebar> read_by_id(std::int32_t id) { return read(by_id<RevisionRef>(id)); }
  static std::vector<std::string> marks(const std::vector<Rebar>& bars) {
    std::vector<std::string> marks;
    for (const Rebar& bar : bars) marks.push_back(bar.mark);
    return marks;
  }
  Rebar bar(const std::string& mark) const {
    Rebar made = minimal_bar(rev_, material_);
    made.mark = mark;
    return made;
  }

  std::int32_t rev_ = make_revision(make_sheet(), "r-1");
  std::int32_t material_ = make_material();
};

class OperationNames {
 public:
  template <class Operation>
  static std::string GetName(int) {
    return std::is_same_v<Operation, GetRebars> ? "get_rebars" : "get_all_rebars_for_revision";
  }
};

using ReadOperations = ::testing::Types<GetRebars, GetAllRebarsForRevision>;
TYPED_TEST_SUITE(ReadRebars, ReadOperations, OperationNames);

TYPED_TEST(ReadRebars, GivesEveryFieldAsSent) {
  const Rebar sent = full_rebar(this->rev_, this->material_);
  this->add({sent});
  EXPECT_THAT(this->read_by_id(this->rev_), ElementsAre(sent));
}

TYPED_TEST(ReadRebars, GivesTheIdThatTheClientSentAndNotTheOneOfTheRow) {
  Rebar sent = this->bar("a");
  sent.id = 4711;
  this->add({sent, sent});
  EXPECT_THAT(this->read_by_id(this->rev_), ElementsAre(sent, sent));
}

TYPED_TEST(ReadRebars, GivesTheBarsOfThatRevisionAloneInTheirOrder) {
  Rebar elsewhere = this->bar("elsewhere");
  elsewhere.rev_id = this->make_revision();
  this->add({this->bar("c"), elsewhere, this->bar("a")});
  EXPECT_THAT(this->read_by_id(this->rev_), ElementsAre(this->bar("c"), this->bar("a")));
}

TYPED_TEST(ReadRebars, GivesNothingForARevisionWithoutContent) {
  EXPECT_THAT(this->read_by_id(this->rev_), IsEmpty());
}

TYPED_TEST(ReadRebars, GivesNothingForARevisionThatDoesNotExist) {
  this->add({this->bar("a")});
  EXPECT_THAT(this->read_by_id(99), IsEmpty());
  EXPECT_THAT(this->read_by_id(-1), IsEmpty());
}

TYPED_TEST(ReadRebars, RefusesARequestWithoutId) {
  this->add({this->bar("a")});
  EXPECT_THAT([&] { this->read({}); }, ThrowsMessage<std::runtime_error>(TypeParam::id_required));
}

TYPED_TEST(ReadRebars, RefusesARequestWithAUidAloneThoughTheRevisionExists) {
  this->add({this->bar("a")});
  EXPECT_THAT([&] { this->read(by_uid<RevisionRef>("r-1")); },
              ThrowsMessage<std::runtime_error>(TypeParam::id_required));
}

TYPED_TEST(ReadRebars, TouchesNeitherDatabaseNorLogForARequestWithoutId) {
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->log().clear();
  EXPECT_THROW(this->read(by_uid<RevisionRef>("r-1")), std::runtime_error);
  EXPECT_THAT(watch.statements(), IsEmpty());
  EXPECT_THAT(this->log().lines(), IsEmpty());
}

TYPED_TEST(ReadRebars, DoesNotFallBackToTheUid) {
  this->add({this->bar("a")});
  EXPECT_THAT(this->read(by_id_and_uid<RevisionRef>(99, "r-1")), IsEmpty());
}

TYPED_TEST(ReadRebars, AppendsToItsReply) {
  this->add({this->bar("a")});
  std::vector<Rebar> bars = {this->bar("before")};
  TypeParam::read(this->project(), by_id<RevisionRef>(this->rev_), bars);
  EXPECT_THAT(bars, ElementsAre(this->bar("before"), this->bar("a")));
}

TYPED_TEST(ReadRebars, StartsEachRecordAfresh) {
  this->add({full_rebar(this->rev_, this->material_), this->bar("")});
  EXPECT_EQ(this->read_by_id(this->rev_).at(1), this->bar(""));
}

TYPED_TEST(ReadRebars, ReadsRawAndNoColumn) {
  this->add({this->bar("sent")});
  this->run_plainly("update rebar set mark = 'column', total_bars = 7");
  EXPECT_THAT(this->read_by_id(this->rev_), ElementsAre(this->bar("sent")));
}

TYPED_TEST(ReadRebars, RunsOneStatementAndNoTransaction) {
  this->add({this->bar("a"), this->bar("b")});
  ConnectionWatch watch;
  this->reopen();
  watch.forget();
  this->read_by_id(this->rev_);
  EXPECT_THAT(watch.statements(), ElementsAre("select raw from rebar where rev_id = ?"));
}

TYPED_TEST(ReadRebars, EndsAtAnEmptyRawAndKeepsTheBarsBeforeIt) {
  this->add({this->bar("a"), this->bar("b"), this->bar("c")});
  this->set_raw("rebar", 2, "");
  std::vector<Rebar> bars;
  EXPECT_THAT([&] { TypeParam::read(this->project(), by_id<RevisionRef>(this->rev_), bars); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  EXPECT_THAT(this->marks(bars), ElementsAre("a"));
}

TYPED_TEST(ReadRebars, EndsAtADamagedRawAndKeepsTheBarsBeforeIt) {
  this->add({this->bar("a"), this->bar("b")});
  this->set_raw("rebar", 2, "69057A");  // a comment of five bytes, cut after one
  std::vector<Rebar> bars;
  EXPECT_THAT([&] { TypeParam::read(this->project(), by_id<RevisionRef>(this->rev_), bars); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 5 bytes requested, offset: 2, length: 3"));
  EXPECT_THAT(this->marks(bars), ElementsAre("a"));
}

TYPED_TEST(ReadRebars, GivesWhatWasStoredBeforeAReopening) {
  const Rebar sent = full_rebar(this->rev_, this->material_);
  this->add({sent});
  this->reopen();
  EXPECT_THAT(this->read_by_id(this->rev_), ElementsAre(sent));
}

class RevisionContent : public StoreTest {};

TEST_F(RevisionContent, IsTheSameByBothReads) {
  const std::int32_t rev = make_revision();
  const std::int32_t material = make_material();
  add({full_rebar(rev, material), minimal_bar(rev, material)});
  Batch<Rebar> batch;
  project().get_rebars(by_id<RevisionRef>(rev), batch);
  EXPECT_EQ(batch.items, bars_of(rev));
  EXPECT_EQ(batch.items.size(), 2U);
}

// Records are kept in blocks of 128 KiB until all are read.
TEST_F(RevisionContent, MayHaveRecordsOfAnySize) {
  const std::int32_t rev = make_revision();
  const std::int32_t material = make_material();
  std::vector<Rebar> bars;
  for (const std::size_t length : {3U, 9'000U, 300'000U, 1U, 130'000U, 131'000U, 7U}) {
    bars.push_back(minimal_bar(rev, material));
    bars.back().comment = std::string(length, static_cast<char>('a' + bars.size()));
  }
  add(bars);
  EXPECT_EQ(bars_of(rev), bars);
}

TEST_F(RevisionContent, MayFillManyBlocks) {
  const std::int32_t rev = make_revision();
  const std::int32_t material = make_material();
  std::vector<Rebar> bars(3000, full_rebar(rev, material));
  for (std::size_t i = 0; i < bars.size(); ++i) bars[i].mark = std::to_string(i);
  add(bars);
  EXPECT_EQ(bars_of(rev), bars);
}

TEST_F(RevisionContent, IsLoggedByGetRebarsAlone) {
  const std::int32_t rev = make_revision();
  log().clear();
  bars_of(rev);
  EXPECT_THAT(log().lines(), IsEmpty());
  Batch<Rebar> batch;
  project().get_rebars(by_id<RevisionRef>(rev), batch);
  project().get_rebars(by_id<RevisionRef>(-12), batch);
  EXPECT_EQ(log().lines(), (LogLines{{0, L"korvane.model.cad.Project:0: get_rebars rev_id=1"},
                                     {0, L"korvane.model.cad.Project:0: get_rebars rev_id=-12"}}));
}

TEST_F(RevisionContent, CannotBeReadWithoutAConnection) {
  Poco::Data::Session session = closed_session();
  std::vector<Rebar> bars;
  EXPECT_EQ(message_of<Poco::Data::NotConnectedException>(
                [&] { read_revision_content(session, "rebar", 1, bars); }),
            file());
  EXPECT_THAT(bars, IsEmpty());
}

TEST_F(RevisionContent, ShowsATransactionInProgressOnTheProjectsConnection) {
  const std::int32_t rev = make_revision();
  const std::int32_t material = make_material();
  add({minimal_bar(rev, material)});
  query("begin");
  query("delete from rebar");
  EXPECT_THAT(bars_of(rev), IsEmpty());
  query("rollback");
  EXPECT_EQ(bars_of(rev).size(), 1U);
}

}  // namespace

}  // namespace korvane::test
