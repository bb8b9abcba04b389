#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/filled_record.h"
#include "tests/support/records.h"

namespace korvane {
namespace {

using model::cad::Rebar;
using test::kNull;
using test::LoadedConnection;
using test::raw_hex;
using testing::HasSubstr;

class Functions : public testing::Test {
 protected:
  LoadedConnection connection_{":memory:"};
};

TEST_F(Functions, JsonIsTheOneOfTheContract) {
  const auto bar = test::Filler().make<Rebar>();
  const std::string raw = "x'" + raw_hex(bar) + "')";
  EXPECT_EQ(connection_.value("select korvane_json('Rebar', " + raw), encoding::to_json(bar));
  EXPECT_EQ(connection_.value("select korvane_json('korvane.model.cad.Rebar', " + raw),
            encoding::to_json(bar));
}

TEST_F(Functions, JsonIsTakenApartByThoseOfSqlite) {
  const std::string raw = raw_hex(test::full_rebar(1, 1));
  EXPECT_EQ(connection_.value("select korvane_json('Rebar', x'" + raw + "') ->> '$.mark'"), "17");
  EXPECT_EQ(connection_.value("select json_type(json_array(korvane_json('Rebar', x'" + raw +
                              "')), '$[0]')"),
            "object");
}

TEST_F(Functions, NullGivesNull) {
  EXPECT_EQ(connection_.value("select korvane_json('Rebar', null)"), kNull);
  EXPECT_EQ(connection_.value("select korvane_json(null, x'00')"), kNull);
  EXPECT_EQ(connection_.value("select korvane_value('Rebar.legs', null)"), kNull);
}

TEST_F(Functions, EveryStoredContractIsKnownAndNoOther) {
  EXPECT_EQ(connection_.failure("select korvane_json('Beam', x'00')"),
            "korvane_json: unknown contract 'Beam': known are ProjectData, Material, Sheet, "
            "Revision, BarSpacer, Rebar, FabricType, Fabric, MountingPart");
  EXPECT_EQ(connection_.value("select korvane_json('BarSpacer', x'00') ->> 'quantity'"), "0");
  EXPECT_THAT(connection_.failure("select korvane_json('EndTreatment', x'00')"),
              HasSubstr("unknown contract"));
}

TEST_F(Functions, DamagedBytesAreNamed) {
  EXPECT_EQ(connection_.failure("select korvane_json('Rebar', x'CA0D')"),
            "korvane_json: raw is not a Rebar: Read out of bounds: 1 bytes requested, offset: 2, "
            "length: 2");
  EXPECT_THAT(connection_.failure("select korvane_json('Rebar', x'')"),
              HasSubstr("raw is not a Rebar"));
  EXPECT_THAT(connection_.failure("select korvane_value('Sheet.name', x'49')"),
              HasSubstr("korvane_value: raw is not a Sheet"));
}

TEST_F(Functions, OnlyBytesAreARecord) {
  for (const char* const value : {"'text'", "1", "0.5"}) {
    EXPECT_EQ(connection_.failure("select korvane_json('Rebar', " + std::string(value) + ")"),
              "korvane_json: raw must be a BLOB");
  }
}

TEST_F(Functions, WhatJsonCannotSayIsAnErrorWithItsPlace) {
  Rebar bar;
  bar.total_length = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(connection_.failure("select korvane_json('Rebar', x'" + raw_hex(bar) + "')"),
            "korvane_json: total_length: NaN cannot be written as JSON");
}

TEST_F(Functions, ADamagedRecordIsNotTakenForTheOneBefore) {
  const std::string whole = raw_hex(test::full_rebar(1, 1));
  const std::string value = "select korvane_value('Rebar.custom_text', x'";
  EXPECT_EQ(connection_.value(value + whole + "')"), "see detail 4");
  EXPECT_THAT(connection_.failure(value + whole.substr(0, 60) + "')"), HasSubstr("not a Rebar"));
  EXPECT_EQ(connection_.value(value + whole + "')"), "see detail 4");
  EXPECT_EQ(connection_.value(value + raw_hex(Rebar()) + "')"), kNull);
}

TEST_F(Functions, UnknownValuesAreNamed) {
  EXPECT_EQ(connection_.failure("select korvane_value('Rebar.colour', x'00')"),
            "korvane_value: unknown value 'Rebar.colour'");
}

TEST_F(Functions, MayStandInAnIndexAndInAViewOfASchemaThatIsNotTrusted) {
  connection_.rows("pragma trusted_schema = 0");
  connection_.rows("create table spacer (raw)");
  connection_.rows("create index by_name on spacer (korvane_json('BarSpacer', raw))");
  connection_.rows(
      "create view lengths as select length(korvane_json('BarSpacer', raw)) as l from spacer");
  connection_.rows("insert into spacer values (x'00')");
  EXPECT_EQ(connection_.value("select l > 100 from lengths"), "1");
}

TEST_F(Functions, ViewsAreOfADatabaseThatIsThere) {
  EXPECT_EQ(connection_.failure("select korvane_views(null)"),
            "korvane_views: the name of a database must be a text");
  EXPECT_EQ(connection_.failure("select korvane_views('none')"),
            "korvane_views: no database is attached as 'none'");
}

TEST_F(Functions, ViewsCannotBeMadeByAnotherView) {
  connection_.rows("create view trap as select korvane_views('main')");
  EXPECT_THAT(connection_.failure("select * from trap"), HasSubstr("unsafe use"));
}

}  // namespace
}  // namespace korvane
