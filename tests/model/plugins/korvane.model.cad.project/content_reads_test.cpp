#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "platform/log/log.h"
#include "tests/model/plugins/korvane.model.cad.project/content_test.h"
#include "tests/model/plugins/korvane.model.cad.project/filled_revision.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::ThrowsMessage;

template <class Read>
class ReadContent : public ContentTest<typename Read::Kind> {
 protected:
  using Record = typename Read::Record;

  /// Reads into `reply_`, which keeps what was read before a failure.
  void read(std::int32_t rev_id = 1) {
    (this->project().*Read::operation)(Read::request(rev_id), reply_);
  }
  std::vector<Record>& items() { return reply_.*Read::items; }
  static std::string table() { return Read::Kind::table; }
  void damage(std::int32_t id, const std::string& raw) { this->set_raw(table(), id, raw); }

  typename Read::Reply reply_;
};

class ReadNames {
 public:
  template <class Read>
  static std::string GetName(int) {
    return Read::name;
  }
};

using Reads =
    ::testing::Types<GetAllRebars, GetRebars, GetAllBarSpacers, GetAllFabrics, GetAllMountingParts>;
TYPED_TEST_SUITE(ReadContent, Reads, ReadNames);

TYPED_TEST(ReadContent, GivesNothingForARevisionWithoutContent) {
  this->read();
  EXPECT_THAT(this->items(), IsEmpty());
}

TYPED_TEST(ReadContent, GivesNothingForARevisionThatDoesNotExist) {
  this->store({this->filled()});
  this->read(99);
  this->read(0);
  EXPECT_THAT(this->items(), IsEmpty());
}

TYPED_TEST(ReadContent, GivesEveryFieldAsSentAndNoIdOfARow) {
  this->store({this->marked("first"), this->filled()});
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("first"), this->filled()));
}

TYPED_TEST(ReadContent, GivesTheRecordsOfThatRevisionAloneInTheirOrder) {
  const std::int32_t other = this->make_revision();
  const auto elsewhere = filled_content<typename TypeParam::Kind>(this->in_revision(other));
  this->store({this->marked("c"), elsewhere, this->marked("a")});
  this->read(other);
  EXPECT_THAT(this->items(), ElementsAre(elsewhere));
  this->items().clear();
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("c"), this->marked("a")));
}

TYPED_TEST(ReadContent, StartsEachRecordAfresh) {
  this->store({this->filled(), this->marked("")});
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->filled(), this->marked("")));
}

TYPED_TEST(ReadContent, AppendsToItsReply) {
  this->store({this->marked("stored")});
  this->items() = {this->marked("before")};
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("before"), this->marked("stored")));
}

TYPED_TEST(ReadContent, ReadsRawAndNoColumnButTheRevision) {
  this->store({this->marked("sent")});
  this->run_plainly("update " + this->table() + " set id = 70, mark = 'column'");
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("sent")));
}

TYPED_TEST(ReadContent, RunsOneStatementForAllRowsAndNoTransaction) {
  this->store({this->marked("a"), this->marked("b")});
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->read();
  EXPECT_THAT(watch.statements(),
              ElementsAre("select raw from " + this->table() + " where rev_id = ?"));
  EXPECT_THAT(this->items(), SizeIs(2));
}

TYPED_TEST(ReadContent, LogsNothingUnlessItIsGetRebars) {
  this->store({this->marked("a"), this->marked("b")});
  this->log().clear();
  this->read();
  const LogLines line = {{0, L"korvane.model.cad.Project:0: get_rebars rev_id=1"}};
  EXPECT_EQ(this->log().lines(), (std::is_same_v<TypeParam, GetRebars>) ? line : LogLines{});
}

TYPED_TEST(ReadContent, EndsAtAnEmptyRawAndKeepsWhatWasReadBefore) {
  this->store({this->marked("a"), this->marked("b"), this->marked("c")});
  this->damage(2, "");
  EXPECT_THAT([&] { this->read(); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  EXPECT_THAT(this->items(), ElementsAre(this->marked("a")));
}

TYPED_TEST(ReadContent, EndsAtADamagedRawAndKeepsWhatWasReadBefore) {
  this->store({this->marked("a"), this->marked("b")});
  this->damage(2, TypeParam::Kind::cut_record);
  EXPECT_THAT([&] { this->read(); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 5 bytes requested, offset: 2, length: 3"));
  EXPECT_THAT(this->items(), ElementsAre(this->marked("a")));
}

TYPED_TEST(ReadContent, EndsAtARowWithoutRaw) {
  this->store({this->marked("a")});
  this->run_plainly("update " + this->table() + " set raw = NULL");
  EXPECT_THAT([&] { this->read(); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  EXPECT_THAT(this->items(), IsEmpty());
}

TYPED_TEST(ReadContent, SeesATransactionInProgressOnTheProjectsConnection) {
  this->store({this->marked("a")});
  this->query("begin");
  this->query("delete from " + this->table());
  this->read();
  EXPECT_THAT(this->items(), IsEmpty());
  this->query("rollback");
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("a")));
}

using RawRecords = ContentTest<RebarKind>;

// Records are kept in blocks of 128 KiB until all are read.
TEST_F(RawRecords, MayHaveRecordsOfAnySize) {
  std::vector<Rebar> bars;
  for (const std::size_t length : {3U, 9'000U, 300'000U, 1U, 130'000U, 131'000U, 7U}) {
    bars.push_back(minimal());
    bars.back().comment = std::string(length, static_cast<char>('a' + bars.size()));
  }
  add(bars);
  EXPECT_EQ(bars_of(1), bars);
}

TEST_F(RawRecords, MayFillManyBlocks) {
  std::vector<Rebar> bars(3000, filled());
  for (std::size_t i = 0; i < bars.size(); ++i) bars[i].mark = std::to_string(i);
  add(bars);
  EXPECT_EQ(bars_of(1), bars);
}

using ContentOfARevision = FilledRevision;
using ChecksOfTheReads = FilledRevision;

TEST_F(ContentOfARevision, IsReadByIdWhateverTheUidSays) {
  make_revision(make_sheet(), "r-2");
  for (const std::int32_t id : {rev_, 99}) {
    const auto request = by_id_and_uid<RevisionRef>(id, id == rev_ ? "r-2" : "r-1");
    const std::size_t expected = id == rev_ ? 2 : 0;
    Rebars bars;
    project().get_all_rebars_for_revision(request, bars);
    Batch<Rebar> batch;
    project().get_rebars(request, batch);
    BarSpacers spacers;
    project().get_all_barspacers_for_revision(request, spacers);
    EXPECT_THAT(bars.rebars, SizeIs(expected));
    EXPECT_THAT(batch.items, SizeIs(expected));
    EXPECT_THAT(spacers.barspacers, SizeIs(expected));
  }
}

TEST_F(ContentOfARevision, IsLoggedByGetRebarsWithAnyId) {
  log().clear();
  EXPECT_THAT(read_content<GetRebars>(project(), -12), IsEmpty());
  EXPECT_EQ(log().lines(), (LogLines{{0, L"korvane.model.cad.Project:0: get_rebars rev_id=-12"}}));
}

/// The four operations that take a reference to a revision, with their error for a missing id.
struct Required {
  std::string text;
  void (*call)(Project_Service_Impl& project, const RevisionRef& request);
};

void PrintTo(const Required& required, std::ostream* stream) { *stream << required.text; }

class RequiredId : public FilledRevision, public ::testing::WithParamInterface<Required> {
 protected:
  void call(const RevisionRef& request) { GetParam().call(project(), request); }
};

TEST_P(RequiredId, IsMissedInAnEmptyReference) {
  EXPECT_THAT([&] { call({}); }, ThrowsMessage<std::runtime_error>(GetParam().text));
}

TEST_P(RequiredId, IsMissedBesideAUidThoughTheRevisionExists) {
  EXPECT_THAT([&] { call(by_uid<RevisionRef>("r-1")); },
              ThrowsMessage<std::runtime_error>(GetParam().text));
}

TEST_P(RequiredId, IsMissedWithoutTouchingDatabaseOrLog) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  EXPECT_THROW(call(by_uid<RevisionRef>("r-1")), std::runtime_error);
  EXPECT_THAT(watch.statements(), IsEmpty());
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_P(RequiredId, IsSetByAnyNumber) {
  ConnectionWatch watch;
  reopen_under(watch);
  for (const std::int32_t id : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
    watch.forget();
    call(by_id<RevisionRef>(id));
    EXPECT_FALSE(watch.statements().empty()) << id;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Operations, RequiredId,
    ::testing::Values(Required{"get_all_rebars_for_revision requires RevisionRef.id to be set.",
                               [](Project_Service_Impl& project, const RevisionRef& request) {
                                 Rebars reply;
                                 project.get_all_rebars_for_revision(request, reply);
                               }},
                      Required{"get_rebars requires RevisionRef.id to be set.",
                               [](Project_Service_Impl& project, const RevisionRef& request) {
                                 Batch<Rebar> reply;
                                 project.get_rebars(request, reply);
                               }},
                      Required{"get_all_barspacers_for_revision requires RevisionRef.id to be set.",
                               [](Project_Service_Impl& project, const RevisionRef& request) {
                                 BarSpacers reply;
                                 project.get_all_barspacers_for_revision(request, reply);
                               }},
                      Required{"clear_for_revision requires RevisionRef.id to be set.",
                               [](Project_Service_Impl& project, const RevisionRef& request) {
                                 GenericReply reply;
                                 project.clear_for_revision(request, reply);
                               }}),
    [](const auto& one) { return one.param.text.substr(0, one.param.text.find(' ')); });

TEST_F(ChecksOfTheReads, ReportANegativeRevisionOfFabricsAndGiveNothing) {
  log().clear();
  EXPECT_THAT(fabrics_of(-1), IsEmpty());
  EXPECT_THAT(log().lines(), SizeIs(1));
  ASSERT_THAT(log().texts(2), SizeIs(1));
  EXPECT_THAT(krv::log::narrow(log().texts(2)[0]),
              MatchesRegex("assertion failed: request\\.rev_id >= 0, file "
                           "model/plugins/korvane\\.model\\.cad\\.project/project\\.cpp, "
                           "line [0-9]+: invalid revision id"));
}

TEST_F(ChecksOfTheReads, RunNoStatementForANegativeRevisionOfFabrics) {
  run_plainly("update fabric set rev_id = -1");
  ConnectionWatch watch;
  reopen_under(watch);
  EXPECT_THAT(fabrics_of(-1), IsEmpty());
  EXPECT_THAT(fabrics_of(std::numeric_limits<std::int32_t>::min()), IsEmpty());
  EXPECT_THAT(watch.statements(), IsEmpty());
}

TEST_F(ChecksOfTheReads, LeaveTheReplyOfFabricsAsItWas) {
  FabricRef request;
  request.rev_id = -1;
  Fabrics reply{{full_fabric(rev_, type_)}};
  project().get_all_fabrics_for_revision(request, reply);
  EXPECT_THAT(reply.fabrics, ElementsAre(full_fabric(rev_, type_)));
}

TEST_F(ChecksOfTheReads, LetRevisionZeroOfFabricsPass) {
  run_plainly("update fabric set rev_id = 0");
  log().clear();
  EXPECT_THAT(fabrics_of(0), SizeIs(2));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(ChecksOfTheReads, AskTheDatabaseForMountingPartsOfANegativeRevision) {
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  EXPECT_THAT(parts_of(-1), IsEmpty());
  EXPECT_THAT(watch.statements(), ElementsAre("select raw from mountingpart where rev_id = ?"));
  EXPECT_THAT(log().lines(), IsEmpty());
}

TEST_F(ChecksOfTheReads, FindMountingPartsOfANegativeRevision) {
  run_plainly("update mountingpart set rev_id = -1");
  EXPECT_THAT(parts_of(-1), SizeIs(2));
}

}  // namespace

}  // namespace korvane::test
