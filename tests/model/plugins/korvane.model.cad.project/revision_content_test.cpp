#include <cstdint>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "platform/log/log.h"
#include "tests/model/plugins/korvane.model.cad.project/content_kinds.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using Poco::Data::SQLite::DBLockedException;
using Poco::Data::SQLite::InvalidSQLStatementException;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::ThrowsMessage;

// The blanks before the brackets and at the ends are part of the texts.
constexpr const char* kDeleteStarts =
    "delete from end_treatment where id in (select end_treatment_start from rebar where rev_id = ? "
    ")";
constexpr const char* kDeleteEnds =
    "delete from end_treatment where id in (select end_treatment_end from rebar where rev_id = ? )";
constexpr const char* kDeleteBars = "delete from rebar where rev_id = ? ";
constexpr const char* kDeleteFabrics = "delete from fabric where rev_id = ? ";
constexpr const char* kDeleteBarSpacers = "delete from barspacer where rev_id = ? ";

/// The five reads, each over its kind of content.
struct GetAllRebars : RebarKind {
  static constexpr const char* name = "get_all_rebars_for_revision";
  using Reply = Rebars;
  static std::vector<Record>& items(Reply& reply) { return reply.rebars; }
  static void read(Project_Service_Impl& project, std::int32_t rev_id, Reply& reply) {
    project.get_all_rebars_for_revision(by_id<RevisionRef>(rev_id), reply);
  }
};

struct GetRebars : RebarKind {
  static constexpr const char* name = "get_rebars";
  using Reply = Batch<Rebar>;
  static std::vector<Record>& items(Reply& reply) { return reply.items; }
  static void read(Project_Service_Impl& project, std::int32_t rev_id, Reply& reply) {
    project.get_rebars(by_id<RevisionRef>(rev_id), reply);
  }
};

struct GetAllBarSpacers : BarSpacerKind {
  static constexpr const char* name = "get_all_barspacers_for_revision";
  using Reply = BarSpacers;
  static std::vector<Record>& items(Reply& reply) { return reply.barspacers; }
  static void read(Project_Service_Impl& project, std::int32_t rev_id, Reply& reply) {
    project.get_all_barspacers_for_revision(by_id<RevisionRef>(rev_id), reply);
  }
};

struct GetAllFabrics : FabricKind {
  static constexpr const char* name = "get_all_fabrics_for_revision";
  using Reply = Fabrics;
  static std::vector<Record>& items(Reply& reply) { return reply.fabrics; }
  static void read(Project_Service_Impl& project, std::int32_t rev_id, Reply& reply) {
    FabricRef request;
    request.rev_id = rev_id;
    project.get_all_fabrics_for_revision(request, reply);
  }
};

struct GetAllMountingParts : MountingPartKind {
  static constexpr const char* name = "get_all_mountingparts_for_revision";
  using Reply = MountingParts;
  static std::vector<Record>& items(Reply& reply) { return reply.mountingParts; }
  static void read(Project_Service_Impl& project, std::int32_t rev_id, Reply& reply) {
    MountingPartRef request;
    request.rev_id = rev_id;
    project.get_all_mountingparts_for_revision(request, reply);
  }
};

template <class Read>
class ReadContent : public KindTest<Read> {
 protected:
  using Record = typename Read::Record;

  /// What a read of `rev_id` makes of `reply`, also when it fails.
  void read(std::int32_t rev_id) { Read::read(this->project(), rev_id, reply_); }
  void read() { read(this->parents_.revision); }
  std::vector<Record>& items() { return Read::items(reply_); }
  void damage(std::int32_t id, const std::string& raw) { this->set_raw(Read::table, id, raw); }

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
  this->store({this->full()});
  this->read(99);
  this->read(0);
  EXPECT_THAT(this->items(), IsEmpty());
}

TYPED_TEST(ReadContent, GivesEveryFieldAsSentAndNoIdOfARow) {
  this->store({this->marked("first"), this->full()});
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("first"), this->full()));
}

TYPED_TEST(ReadContent, GivesTheRecordsOfThatRevisionAlone) {
  const std::int32_t other = this->make_revision();
  const auto elsewhere = TypeParam::full(this->in_revision(other));
  this->store({this->marked("c"), elsewhere, this->marked("a")});
  this->read(other);
  EXPECT_THAT(this->items(), ElementsAre(elsewhere));
}

TYPED_TEST(ReadContent, StartsEachRecordAfresh) {
  this->store({this->full(), this->marked("")});
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->full(), this->marked("")));
}

TYPED_TEST(ReadContent, AppendsToItsReply) {
  this->store({this->marked("stored")});
  this->items() = {this->marked("before")};
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("before"), this->marked("stored")));
}

TYPED_TEST(ReadContent, ReadsRawAndNoColumnButTheRevision) {
  this->store({this->marked("sent")});
  this->run_plainly(std::string("update ") + TypeParam::table + " set id = 70, mark = 'column'");
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("sent")));
}

TYPED_TEST(ReadContent, RunsOneStatementForAllRowsAndNoTransaction) {
  this->store({this->marked("a"), this->marked("b")});
  ConnectionWatch watch;
  this->reopen_under(watch);
  this->read();
  EXPECT_THAT(watch.statements(), ElementsAre(TypeParam::select_sql));
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
  this->damage(2, TypeParam::cut_text);
  EXPECT_THAT([&] { this->read(); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 5 bytes requested, offset: 2, length: 3"));
  EXPECT_THAT(this->items(), ElementsAre(this->marked("a")));
}

TYPED_TEST(ReadContent, EndsAtARowWithoutRaw) {
  this->store({this->marked("a")});
  this->run_plainly(std::string("update ") + TypeParam::table + " set raw = NULL");
  EXPECT_THAT([&] { this->read(); },
              ThrowsMessage<bond::StreamException>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  EXPECT_THAT(this->items(), IsEmpty());
}

TYPED_TEST(ReadContent, SeesATransactionInProgressOnTheProjectsConnection) {
  this->store({this->marked("a")});
  this->query("begin");
  this->query(std::string("delete from ") + TypeParam::table);
  this->read();
  EXPECT_THAT(this->items(), IsEmpty());
  this->query("rollback");
  this->read();
  EXPECT_THAT(this->items(), ElementsAre(this->marked("a")));
}

TYPED_TEST(ReadContent, WithoutAConnectionTellsTheConnectionString) {
  Poco::Data::Session session = this->closed_session();
  EXPECT_THAT([&] { read_revision_content(session, TypeParam::table, 1, this->items()); },
              misses_connection_to(this->file()));
  EXPECT_THAT(this->items(), IsEmpty());
}

/// One revision, named "r-1", with content of every kind.
class ContentOfARevision : public ContentTest {
 protected:
  ContentOfARevision() { fill(rev_); }

  void fill(std::int32_t rev_id) {
    add({full_rebar(rev_id, material_), minimal_bar(rev_id, material_)});
    add({full_fabric(rev_id, type_), minimal_fabric(rev_id, type_)});
    add({full_bar_spacer(rev_id), minimal_bar_spacer(rev_id)});
    add({full_mounting_part(rev_id, material_), minimal_mounting_part(rev_id, material_)});
  }
  static std::vector<std::string> cleared_tables() {
    return {"end_treatment", "rebar", "fabric", "barspacer", "mountingpart"};
  }
  std::vector<Rows> content() const {
    std::vector<Rows> tables;
    for (const std::string& table : cleared_tables()) tables.push_back(all_of(table));
    return tables;
  }
  Rows revisions_in(const std::string& table) const {
    return rows("select distinct rev_id from " + table + " order by rev_id");
  }
  Rows treatment_ids() const {
    return rows("select end_treatment_start, end_treatment_end from rebar order by id");
  }
  Rebar bar_with(std::int32_t rev_id, const EndTreatment& start, const EndTreatment& end) const {
    Rebar bar = minimal_bar(rev_id, material_);
    bar.end_treatment_start.set(start);
    bar.end_treatment_end.set(end);
    return bar;
  }

  std::int32_t material_ = make_material();
  std::int32_t type_ = make_fabric_type(material_);
  std::int32_t rev_ = make_revision(make_sheet(), "r-1");
};

using ChecksOfTheReads = ContentOfARevision;
using ClearForRevision = ContentOfARevision;
using SharedTreatments = ContentOfARevision;

TEST_F(ContentOfARevision, HasTheSameBarsByBothReads) {
  Batch<Rebar> batch;
  project().get_rebars(by_id<RevisionRef>(rev_), batch);
  EXPECT_THAT(batch.items, ElementsAre(full_rebar(rev_, material_), minimal_bar(rev_, material_)));
  EXPECT_EQ(batch.items, bars_of(rev_));
}

TEST_F(ContentOfARevision, IsReadByIdWhateverTheUidSays) {
  make_revision(make_sheet(), "r-2");
  const auto request = by_id_and_uid<RevisionRef>(rev_, "r-2");
  Rebars bars;
  project().get_all_rebars_for_revision(request, bars);
  Batch<Rebar> batch;
  project().get_rebars(request, batch);
  BarSpacers spacers;
  project().get_all_barspacers_for_revision(request, spacers);
  EXPECT_THAT(bars.rebars, SizeIs(2));
  EXPECT_THAT(batch.items, SizeIs(2));
  EXPECT_THAT(spacers.barspacers, SizeIs(2));
}

TEST_F(ContentOfARevision, IsLoggedByGetRebarsWithAnyId) {
  log().clear();
  Batch<Rebar> batch;
  project().get_rebars(by_id<RevisionRef>(-12), batch);
  EXPECT_EQ(log().lines(), (LogLines{{0, L"korvane.model.cad.Project:0: get_rebars rev_id=-12"}}));
}

/// The four operations that take a reference to a revision, with their text for one without id.
struct Required {
  std::string text;
  void (*call)(Project_Service_Impl& project, const RevisionRef& request);
};

void PrintTo(const Required& required, std::ostream* stream) { *stream << required.text; }

class RequiredId : public ContentOfARevision, public ::testing::WithParamInterface<Required> {
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

TEST_F(ClearForRevision, RemovesBarsFabricsAndBarSpacersAndKeepsMountingParts) {
  const std::vector<MountingPart> parts = parts_of(rev_);
  clear(rev_);
  EXPECT_THAT(bars_of(rev_), IsEmpty());
  EXPECT_THAT(fabrics_of(rev_), IsEmpty());
  EXPECT_THAT(spacers_of(rev_), IsEmpty());
  EXPECT_EQ(parts_of(rev_), parts);
  EXPECT_THAT(parts, SizeIs(2));
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

TEST_F(ClearForRevision, LetsMountingPartsBeAddedToThoseThatStayed) {
  clear(rev_);
  add({minimal_mounting_part(rev_, material_)});
  EXPECT_THAT(parts_of(rev_), SizeIs(3));
}

TEST_F(ClearForRevision, LeavesMountingPartsToTheDeletionOfTheRevision) {
  clear(rev_);
  GenericReply reply;
  project().delete_revision(by_id<RevisionRef>(rev_), reply);
  EXPECT_EQ(count("mountingpart"), 0);
}

TEST_F(ClearForRevision, LetsTheRevisionBeFilledAgain) {
  clear(rev_);
  fill(rev_);
  EXPECT_THAT(bars_of(rev_),
              ElementsAre(full_rebar(rev_, material_), minimal_bar(rev_, material_)));
  EXPECT_EQ(count("end_treatment"), 2);
}

// What a foreign key does is traced under the text that set it off, so no bar has a treatment here.
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

TEST_F(ClearForRevision, WithoutIdDeletesNothing) {
  const std::vector<Rows> before = content();
  GenericReply reply;
  EXPECT_THROW(project().clear_for_revision(by_uid<RevisionRef>("r-1"), reply), std::runtime_error);
  EXPECT_EQ(content(), before);
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

TEST_F(SharedTreatments, OfBothEndsOfABarGoWithTheFirstDeletion) {
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

TEST_F(SharedTreatments, OfBothEndsOfABarAreClearedWithIt) {
  const std::int32_t other = make_revision();
  add({bar_with(other, treatment("both"), treatment("both"))});
  clear(other);
  EXPECT_EQ(rows("select comment from end_treatment order by id"),
            (Rows{{"comment start"}, {"comment end"}}));
  EXPECT_EQ(revisions_in("rebar"), (Rows{{std::to_string(rev_)}}));
}

/// A step of the clear, and of which row the database refuses the deletion to make it fail.
struct Step {
  std::string name;
  std::string table;
  std::string condition;
  std::string sql;
};

void PrintTo(const Step& step, std::ostream* stream) { *stream << step.name; }

class FailingClearForRevision : public ContentOfARevision,
                                public ::testing::WithParamInterface<Step> {
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

class UnconnectedClear : public ContentOfARevision {};

TEST_F(UnconnectedClear, TellsTheConnectionStringAndDeletesNothing) {
  Poco::Data::Session session = closed_session();
  const std::vector<Rows> before = content();
  EXPECT_THAT([&] { clear_revision_content(session, by_id<RevisionRef>(rev_)); },
              misses_connection_to(file()));
  EXPECT_THAT([&] { delete_for_revision(session, "rebar", "", "", by_id<RevisionRef>(rev_)); },
              misses_connection_to(file()));
  EXPECT_EQ(content(), before);
}

TEST_F(ClearForRevision, ThatFailsOnItsCommitIsNotRolledBack) {
  Poco::Data::Session session = own_session();
  Reader reader(file());
  EXPECT_THROW(clear_revision_content(session, by_id<RevisionRef>(rev_)), DBLockedException);
  EXPECT_EQ(reader.count("rebar"), "2");
  reader.let_go();
  session.commit();
  EXPECT_EQ(count("rebar"), 0);
}

/// The deletion of one table's rows on a session of its own, which is watched.
class DeleteForRevision : public ContentOfARevision {
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

TEST_F(DeleteForRevision, LeavesTheRowsOfOtherRevisions) {
  const std::int32_t other = make_revision();
  fill(other);
  remove("rebar", "", "");
  EXPECT_EQ(revisions_in("rebar"), (Rows{{std::to_string(other)}}));
}

TEST_F(DeleteForRevision, DoesNotMindThatThereIsNothingToDelete) {
  remove("rebar", "", "");
  remove("rebar", "", "");
  EXPECT_EQ(count("rebar"), 0);
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

}  // namespace

}  // namespace korvane::test
