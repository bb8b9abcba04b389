#include "model/plugins/korvane.model.cad.project/table_query.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <Poco/Any.h>
#include <Poco/Data/DataException.h>
#include <Poco/Data/LOB.h>
#include <Poco/Data/MetaColumn.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/SQLite/SQLiteStatementImpl.h>
#include <Poco/Data/SQLite/SessionImpl.h>
#include <Poco/Exception.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/log/log.h"
#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model;
using namespace model::cad;
using Poco::Data::SQLite::InvalidSQLStatementException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr std::int32_t kInt32 = 0;
constexpr std::int32_t kDouble = 1;
constexpr std::int32_t kString = 2;
constexpr std::int32_t kBlob = 3;

Variant int32_cell(std::int32_t number) {
  Variant cell;
  cell.value_int32.set(number);
  return cell;
}
Variant double_cell(double number) {
  Variant cell;
  cell.value_double.set(number);
  return cell;
}
const Variant kNoMemberSet;

class QueryTable : public StoreTest {
 protected:
  QueryTable() { log().clear(); }

  static table::GET_TABLE request(const std::string& kind, Properties params) {
    return {kind, std::move(params)};
  }
  table::TABLE ask(const std::string& kind, Properties params) {
    table::TABLE reply;
    project().query_table(request(kind, std::move(params)), reply);
    return reply;
  }
  /// What the reply holds after the query failed with `Exception`.
  template <class Exception>
  table::TABLE failing(const std::string& sql) {
    table::TABLE reply;
    EXPECT_THROW(project().query_table({"sql:raw", {{"query", text_variant(sql)}}}, reply),
                 Exception);
    return reply;
  }
  void expect_no_query(Properties params) {
    log().clear();
    EXPECT_THAT([&] { ask("sql:raw", params); },
                ThrowsMessage<std::runtime_error>("No query or empty query"));
    EXPECT_EQ(log().lines(), (LogLines{{2, L"No query or empty query"}}));
  }
  /// Makes the table `t` with one row.
  void make_row(const std::string& columns, const std::string& values) {
    run_plainly("create table t (" + columns + "); insert into t values (" + values + ")");
  }
};

using QueryKind = QueryTable;
using QueryText = QueryTable;
using QueryColumns = QueryTable;
using QueryCells = QueryTable;
using FailingQuery = QueryTable;
using QueryValue = QueryTable;

TEST_F(QueryKind, ThatDiffersInCaseOrByABlankGivesAnEmptyTable) {
  for (const char* kind : {"SQL:RAW", "sql:raw ", " sql:raw", "sql:ra", ""}) {
    EXPECT_EQ(ask(kind, {{"query", text_variant("select 1")}}), table::TABLE{});
  }
  EXPECT_EQ(log().lines(), (LogLines{{2, L"unhandled query kind: SQL:RAW"},
                                     {2, L"unhandled query kind: sql:raw "},
                                     {2, L"unhandled query kind:  sql:raw"},
                                     {2, L"unhandled query kind: sql:ra"},
                                     {2, L"unhandled query kind: "}}));
}

TEST_F(QueryKind, ThatIsUnknownRunsNothing) {
  make_sheet();
  ask("sql", {{"query", text_variant("delete from sheet")}});
  EXPECT_EQ(count("sheet"), 1);
}

TEST_F(QueryKind, ThatIsNotUtf8IsLoggedAllTheSame) {
  ask("\xFF", {});
  EXPECT_EQ(log().lines(), (LogLines{{2, L"unhandled query kind: \xFFFD"}}));
}

TEST_F(QueryText, ThatIsMissingIsRefused) { expect_no_query({}); }

TEST_F(QueryText, ThatIsEmptyIsRefused) { expect_no_query({{"query", text_variant("")}}); }

TEST_F(QueryText, ThatIsOnlyANumberIsRefused) {
  expect_no_query({{"query", int32_cell(1)}});
  expect_no_query({{"query", Variant{}}});
}

TEST_F(QueryText, UnderAnotherKeyIsNotRead) {
  expect_no_query({{"Query", text_variant("select 1")}, {"sql", text_variant("select 1")}});
}

TEST_F(QueryText, IsReadWhateverElseIsSent) {
  Variant query_text = text_variant("select id from sheet");
  query_text.value_int32.set(7);
  const table::TABLE reply =
      ask("sql:raw", {{"limit", int32_cell(1)}, {"query", query_text}, {"z", text_variant("x")}});
  EXPECT_THAT(reply.columns, ElementsAre(table::TableColumn{"id", kInt32}));
}

TEST_F(QueryText, ThatIsNotUtf8IsLoggedAndRun) {
  const table::TABLE reply = query("select '\xFF' as x");
  EXPECT_EQ(log().texts(0).at(0), L"query_table_impl: statement=select '\xFFFD' as x");
  EXPECT_EQ(reply.rows, (std::vector<std::vector<Variant>>{{text_variant("\xFF")}}));
}

TEST_F(QueryTable, LogsTheStatementAndTheNumberOfColumns) {
  make_sheet();
  log().clear();
  query("select id, uid, id from sheet");
  EXPECT_EQ(log().lines(),
            (LogLines{{0, L"query_table_impl: statement=select id, uid, id from sheet"},
                      {0, L"query_table_impl returned 3 records"}}));
}

TEST_F(QueryTable, AppendsToItsReply) {
  make_sheet("s-1");
  table::TABLE reply{{{"before", kBlob}}, {{text_variant("before")}}};
  project().query_table({"sql:raw", {{"query", text_variant("select uid from sheet")}}}, reply);
  EXPECT_EQ(reply, (table::TABLE{{{"before", kBlob}, {"uid", kString}},
                                 {{text_variant("before")}, {text_variant("s-1")}}}));
}

TEST_F(QueryTable, GivesRowsInTheOrderOfTheStatement) {
  make_sheet("a");
  make_sheet("b");
  EXPECT_EQ(query("select id, uid from sheet order by id desc").rows,
            (std::vector<std::vector<Variant>>{{int32_cell(2), text_variant("b")},
                                               {int32_cell(1), text_variant("a")}}));
}

TEST_F(QueryTable, GivesTheSearchableColumnsOfABar) {
  add({full_rebar(make_revision(), make_material())});
  EXPECT_EQ(query("select mark, total_bars, A from rebar where shape_code = '21'"),
            (table::TABLE{{{"mark", kString}, {"total_bars", kInt32}, {"A", kDouble}},
                          {{text_variant("17"), int32_cell(24), double_cell(1.125)}}}));
}

TEST_F(QueryTable, GivesAllColumnsAndNoRowsWhereNothingMatches) {
  EXPECT_EQ(query("select id, uid, raw from sheet"),
            (table::TABLE{{{"id", kInt32}, {"uid", kString}, {"raw", kBlob}}, {}}));
}

TEST_F(QueryTable, GivesAnEmptyTableForADeleteThatHasTakenEffect) {
  make_sheet();
  log().clear();
  EXPECT_EQ(query("delete from sheet"), table::TABLE{});
  EXPECT_EQ(count("sheet"), 0);
  EXPECT_EQ(log().lines(), (LogLines{{0, L"query_table_impl: statement=delete from sheet"},
                                     {0, L"query_table_impl returned 0 records"}}));
}

TEST_F(QueryTable, RunsUpdatesAndDropsLikeSelects) {
  make_sheet("a");
  query("update sheet set uid = 'b'");
  EXPECT_EQ(value("select uid from sheet"), "b");
  query("drop table mountingpart");
  EXPECT_EQ(rows("select name from sqlite_master where name = 'mountingpart'"), Rows{});
}

TEST_F(QueryTable, OpensNoTransactionAndChangesNoText) {
  ConnectionWatch watch;
  reopen_under(watch);
  query("select  ID from sheet /* all */");
  EXPECT_THAT(watch.statements(), ElementsAre("select  ID from sheet /* all */"));
}

TEST_F(QueryTable, TakesAPercentSignAsItIs) {
  make_sheet("a%b");
  EXPECT_EQ(query("select id from sheet where uid like 'a%b'").rows.size(), 1U);
}

TEST_F(QueryColumns, AreOfTheKindOfTheirDeclaration) {
  make_row("a integer, b int, c real, d double, e text, f varchar(9), g blob", "1,2,3,4,5,6,7");
  std::vector<std::int32_t> kinds;
  for (const auto& column : query("select * from t").columns) kinds.push_back(column.kind);
  EXPECT_THAT(kinds, ElementsAre(kInt32, kInt32, kDouble, kDouble, kString, kString, kBlob));
}

/// A session whose statements report the same type for every column, as another connector might.
class RetypingSession : public Poco::Data::SQLite::SessionImpl {
 public:
  using Type = Poco::Data::MetaColumn::ColumnDataType;

  explicit RetypingSession(Type type) : SessionImpl(":memory:", 0), type_(type) {}

  Poco::SharedPtr<Poco::Data::StatementImpl> createStatementImpl() override {
    return new Statement(*this, Poco::AnyCast<sqlite3*>(getProperty("handle")), type_);
  }

 private:
  class Statement : public Poco::Data::SQLite::SQLiteStatementImpl {
   public:
    Statement(RetypingSession& session, sqlite3* connection, Type type)
        : SQLiteStatementImpl(session, connection), column_(0, "x", type) {}

   protected:
    const Poco::Data::MetaColumn& metaColumn(std::size_t) const override { return column_; }

   private:
    Poco::Data::MetaColumn column_;
  };

  Type type_;
};

table::TABLE query_of_type(RetypingSession::Type type,
                           const std::string& sql = "select 1 as x where 0") {
  Poco::Data::Session session(Poco::AutoPtr<Poco::Data::SessionImpl>(new RetypingSession(type)));
  table::TABLE reply;
  query_table_impl(session, {"sql:raw", {{"query", text_variant(sql)}}}, reply);
  return reply;
}

TEST_F(QueryColumns, HaveTheKindOfTheTypeThatTheConnectorReports) {
  using Column = Poco::Data::MetaColumn;
  const std::pair<Column::ColumnDataType, std::int32_t> cases[] = {
      {Column::FDT_INT32, kInt32},   {Column::FDT_INT64, kInt32}, {Column::FDT_DOUBLE, kDouble},
      {Column::FDT_STRING, kString}, {Column::FDT_BLOB, kBlob},   {Column::FDT_CLOB, kBlob}};
  for (const auto& [type, kind] : cases) {
    EXPECT_THAT(query_of_type(type).columns, ElementsAre(table::TableColumn{"x", kind})) << type;
  }
}

TEST_F(QueryColumns, OfAnyOtherTypeAreRefused) {
  using Column = Poco::Data::MetaColumn;
  for (const auto type :
       {Column::FDT_BOOL, Column::FDT_INT8, Column::FDT_UINT8, Column::FDT_INT16,
        Column::FDT_UINT16, Column::FDT_UINT32, Column::FDT_UINT64, Column::FDT_FLOAT,
        Column::FDT_WSTRING, Column::FDT_DATE, Column::FDT_TIME, Column::FDT_TIMESTAMP}) {
    log().clear();
    EXPECT_THAT([&] { query_of_type(type); },
                ThrowsMessage<std::runtime_error>("unsupported return type"))
        << type;
    EXPECT_EQ(log().texts(2), (std::vector<std::wstring>{L"unsupported return type"}));
  }
}

TEST_F(QueryColumns, ThatAreExpressionsAreText) {
  make_sheet();
  EXPECT_EQ(query("select count(*) as number, max(id) from sheet"),
            (table::TABLE{{{"number", kString}, {"max(id)", kString}},
                          {{text_variant("1"), text_variant("1")}}}));
}

TEST_F(QueryColumns, HaveTheNameTheDatabaseReports) {
  EXPECT_THAT(query("select id as \"my id\", id from sheet").columns,
              ElementsAre(table::TableColumn{"my id", kInt32}, table::TableColumn{"id", kInt32}));
}

TEST_F(QueryColumns, OfTypeBooleanAreRefused) {
  EXPECT_THAT([&] { query("select is_list_fabric from fabric_type"); },
              ThrowsMessage<std::runtime_error>("unsupported return type"));
  EXPECT_EQ(log().lines(),
            (LogLines{{0, L"query_table_impl: statement=select is_list_fabric from fabric_type"},
                      {0, L"query_table_impl returned 1 records"},
                      {2, L"unsupported return type"}}));
}

TEST_F(QueryColumns, OfTypeDateAreRefused) {
  make_row("a date", "'2024-05-06'");
  EXPECT_THAT([&] { query("select a from t"); },
              ThrowsMessage<std::runtime_error>("unsupported return type"));
}

TEST_F(QueryColumns, BeforeARefusedOneStayInTheReply) {
  const auto reply =
      failing<std::runtime_error>("select id, description, is_list_fabric, uid from fabric_type");
  EXPECT_EQ(reply, (table::TABLE{{{"id", kInt32}, {"description", kDouble}}, {}}));
}

TEST_F(QueryCells, OfARawHoldTheBytesAsText) {
  Sheet sheet;
  sheet.uid = "s-1";
  sheet.name = std::string("a\0b", 3);
  SheetRef ref;
  project().create_sheet(sheet, ref);
  const bond::blob bytes = encoding::encode(sheet);
  const table::TABLE reply = query("select raw from sheet");
  EXPECT_THAT(reply.columns, ElementsAre(table::TableColumn{"raw", kBlob}));
  EXPECT_EQ(reply.rows, (std::vector<std::vector<Variant>>{
                            {text_variant(std::string(bytes.content(), bytes.size()))}}));
}

TEST_F(QueryCells, OfAWholeNumberInARealColumnAreDoubles) {
  make_row("a real", "3");
  EXPECT_EQ(query("select a from t").rows, (std::vector<std::vector<Variant>>{{double_cell(3.0)}}));
}

TEST_F(QueryCells, HoldTheLimitsOfThirtyTwoBits) {
  make_row("a integer, b integer", "2147483647, -2147483648");
  EXPECT_EQ(query("select a, b from t").rows,
            (std::vector<std::vector<Variant>>{{int32_cell(2147483647), int32_cell(INT32_MIN)}}));
}

TEST_F(QueryCells, OfNullHaveNoMemberSetAndTheNextIsFilledAsUsual) {
  add({minimal_bar(make_revision(), make_material())});
  log().clear();
  EXPECT_EQ(query("select A, total_length, submark, mark from rebar").rows,
            (std::vector<std::vector<Variant>>{
                {kNoMemberSet, double_cell(0.0), kNoMemberSet, text_variant("")}}));
}

TEST_F(QueryCells, OfNullAreLoggedOnceEach) {
  add({minimal_bar(make_revision(), make_material())});
  log().clear();
  query("select A, B, mark, end_treatment_start, raw from rebar");
  EXPECT_EQ(log().texts(2),
            (std::vector<std::wstring>{L"unhandled cell type: v", L"unhandled cell type: v",
                                       L"unhandled cell type: v"}));
}

TEST_F(QueryCells, OfAnotherTypeHaveNoMemberSetAndAreLogged) {
  const table::TABLE reply = query_of_type(Poco::Data::MetaColumn::FDT_CLOB, "select 'text' as x");
  EXPECT_EQ(reply.rows, (std::vector<std::vector<Variant>>{{kNoMemberSet}}));
  EXPECT_EQ(log().texts(2),
            (std::vector<std::wstring>{L"unhandled cell type: " +
                                       krv::log::widen(typeid(Poco::Data::CLOB).name())}));
}

TEST_F(QueryCells, OfAConnectorThatReadsThirtyTwoBitsAreInt32) {
  const table::TABLE reply = query_of_type(Poco::Data::MetaColumn::FDT_INT32, "select 7 as x");
  EXPECT_EQ(reply.rows, (std::vector<std::vector<Variant>>{{int32_cell(7)}}));
}

TEST_F(QueryCells, OfANullRawHaveNoMemberSet) {
  query("insert into sheet (uid) values ('s')");
  EXPECT_EQ(query("select raw, uid from sheet").rows,
            (std::vector<std::vector<Variant>>{{kNoMemberSet, text_variant("s")}}));
}

TEST_F(FailingQuery, ThatTheDatabaseRefusesIsLoggedAsAStatementAlone) {
  EXPECT_EQ(failing<InvalidSQLStatementException>("select nothing from nowhere"), table::TABLE{});
  EXPECT_EQ(log().lines(),
            (LogLines{{0, L"query_table_impl: statement=select nothing from nowhere"}}));
}

TEST_F(FailingQuery, ThatBreaksAConstraintChangesNothing) {
  make_sheet("a");
  failing<Poco::Data::SQLite::ConstraintViolationException>(
      "insert into sheet (uid) values ('b'), ('a')");
  EXPECT_EQ(rows("select uid from sheet"), (Rows{{"a"}}));
  make_sheet("c");
  EXPECT_EQ(count("sheet"), 2);
}

TEST_F(FailingQuery, OnANumberBeyondThirtyTwoBitsKeepsTheRowsBeforeIt) {
  run_plainly(
      "create table t (a integer, b integer); insert into t values (1, 2), (3, 2147483648)");
  const table::TABLE reply = failing<Poco::RangeException>("select a, b from t");
  EXPECT_EQ(reply,
            (table::TABLE{{{"a", kInt32}, {"b", kInt32}}, {{int32_cell(1), int32_cell(2)}}}));
}

/// A session of the data layer's own connector, but for its type: its statements are the data
/// layer's.
class OtherSession : public Poco::Data::SQLite::SessionImpl {
 public:
  using SessionImpl::SessionImpl;
};

/// What a query gives, throws and logs.
struct Outcome {
  table::TABLE reply{{{"before", kBlob}}, {{text_variant("before")}}};
  std::string failure;
  LogLines log;

  bool operator==(const Outcome&) const = default;
};

template <class Session>
Outcome outcome_of(const std::string& sql, CapturedLog& lines) {
  Poco::Data::Session session(
      Poco::AutoPtr<Poco::Data::SessionImpl>(new Session(":memory:", Poco::UInt32{0})));
  for (const char* const made :
       {"create table t (a integer, b int, c real, d text, e blob, f date, g boolean, h clob, "
        "i float, j varchar(9), k bigint, l money)",
        "insert into t (a, b, c, d, e, h, i, j) values (1, 2, 3, 'four', x'050005', 'h', 0.5, 'j')",
        "insert into t (a, b, c, d, e) values (NULL, 5000000000, -0.0, '', x'')",
        "insert into t (a, b, c, d, e) values ('text', 'b', 'c', 7, 8), (1.5, 2.5, '1e3', x'64', "
        "'nine')",
        "insert into t (a, d) values (10, cast(x'610062' as text))",
        "create table far (a integer, b integer)",
        "insert into far values (1, 2), (NULL, 3000000000), (NULL, NULL), (-3000000000, 4)"}) {
    session << made, Poco::Data::Keywords::now;
  }
  lines.clear();
  Outcome outcome;
  try {
    query_table_impl(session, {"sql:raw", {{"query", text_variant(sql)}}}, outcome.reply);
  } catch (const Poco::Exception& e) {
    outcome.failure = std::string(typeid(e).name()) + " " + e.displayText();
  } catch (const std::exception& e) {
    outcome.failure = std::string(typeid(e).name()) + " " + e.what();
  }
  outcome.log = lines.lines();
  return outcome;
}

TEST_F(QueryTable, GivesWhatTheDataLayerGives) {
  for (const std::string& sql : std::vector<std::string>{
           "select a, c, d, e from t",
           "select b from t where a = 1",
           "select b from t",
           "select d, a from t where a is null",
           "select f from t",
           "select g from t",
           "select h from t",
           "select i, j from t",
           "select k from t",
           "select l from t",
           "select a + 1, d || 'x', e || '', count(*), null from t group by a",
           "select a, b from far",
           "select b, a from far order by b",
           "select a as \"x y\" from t",
           "select d, length(d) from t where a = 10",
           "select 1; select 2",
           "select 1; ",
           "select 1 \n\t",
           "select 1;\v",
           "select 1 -- all",
           "select 1; -- all",
           "-- nothing",
           " ",
           ";",
           "select ?",
           "select :name",
           "select nothing",
           "selec",
           "select 'open",
           std::string("select 1 as a\0, 2 as b", 22),
           "pragma table_info(t)",
           "explain select 1",
           "select a from t where 0",
           "delete from t",
           "delete from t returning a, d",
           "insert into far values (5, 6) returning b, a",
           "update t set a = 3; select a from t",
           "select abs(a - 9223372036854775807 - 2) from far",
           "select a from far union all select abs(-9223372036854775807 - 1)",
           "select a, abs(-9223372036854775807 - b + 2) from far",
           "create table far (x)",
           "create table new (x)",
           "begin",
           "begin; select 1",
           "commit",
           "insert into t (a) values (1), (raise(abort, 'x'))",
           "select raise(abort, 'x')",
           "attach '/no/such/folder/x' as y",
           "vacuum into '/no/such/folder/x'",
           "select * from t where a = 1",
           "select e, e, typeof(e) from t",
           "values (1, 'a', x'62')",
           "with recursive n(i) as (select 1 union all select i + 1 from n where i < 9) select i "
           "from n"}) {
    const Outcome directly = outcome_of<Poco::Data::SQLite::SessionImpl>(sql, log());
    const Outcome by_data_layer = outcome_of<OtherSession>(sql, log());
    EXPECT_EQ(directly.reply, by_data_layer.reply) << sql;
    EXPECT_EQ(directly.failure, by_data_layer.failure) << sql;
    EXPECT_EQ(directly.log, by_data_layer.log) << sql;
  }
}

TEST_F(FailingQuery, OnANumberBeyondThirtyTwoBitsTakesEffectToItsEnd) {
  run_plainly("create table t (a integer)");
  failing<Poco::RangeException>("insert into t values (3000000000), (1) returning a");
  EXPECT_EQ(rows("select a from t"), (Rows{{"3000000000"}, {"1"}}));
}

TEST_F(QueryValue, SetsNothingAndRunsNothingWhateverItIsAsked) {
  make_sheet();
  ConnectionWatch watch;
  reopen_under(watch);
  log().clear();
  for (const char* kind : {"sql:raw", "sql", ""}) {
    Variant reply;
    project().query_value(request(kind, {{"query", text_variant("delete from sheet")}}), reply);
    EXPECT_EQ(reply, kNoMemberSet);
  }
  EXPECT_THAT(watch.statements(), IsEmpty());
  EXPECT_THAT(log().lines(), IsEmpty());
  EXPECT_EQ(count("sheet"), 1);
}

TEST_F(QueryValue, LeavesItsReplyAsItWas) {
  Variant reply = text_variant("before");
  project().query_value({}, reply);
  EXPECT_EQ(reply, text_variant("before"));
}

}  // namespace

}  // namespace korvane::test
