#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using AddRebar = ContentTest<RebarKind>;
using AddGetRebar = ContentTest<RebarKind>;

TEST_F(AddRebar, StoresEveryColumnAsSent) {
  make_material();
  add({full_rebar(1, 2)});
  NamedRow row = only_row("rebar");
  ASSERT_EQ(row.size(), 36U);
  EXPECT_EQ(row.back(), (NamedRow::value_type{"raw", raw_hex(full_rebar(1, 2))}));
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
  add({minimal()});
  EXPECT_EQ(only_row("rebar"), (NamedRow{{"id", "1"},
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
                                         {"raw", raw_hex(minimal())}}));
}

TEST_F(AddRebar, StoresAnEmptyNullableTextAsText) {
  Rebar empty = minimal();
  for (auto* text : {&empty.submark, &empty.mark_suffix, &empty.mark_prefix, &empty.shape_code,
                     &empty.bar_type_name}) {
    text->set("");
  }
  add({empty});
  EXPECT_EQ(rows("select submark, mark_suffix, mark_prefix, shape_code, bartype_name, "
                 "typeof(submark), typeof(comment) from rebar"),
            (Rows{{"", "", "", "", "", "text", "text"}}));
}

TEST_F(AddRebar, NeitherRoundsNorScalesANumber) {
  Rebar exact = minimal();
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
  Rebar quoted = minimal();
  quoted.mark = "it's \"12\"; St\xC3\xBCtze ?";
  quoted.member = std::string("a\0b", 3);
  add({quoted});
  EXPECT_EQ(rows("select mark, hex(member) from rebar"),
            (Rows{{"it's \"12\"; St\xC3\xBCtze ?", "610062"}}));
}

TEST_F(AddGetRebar, AddsNothingAndLeavesItsReplyAsItWas) {
  Batch<Rebar> reply;
  project().addget_rebar({{minimal(), filled()}}, reply);
  EXPECT_THAT(reply.items, IsEmpty());
  EXPECT_EQ(count("rebar"), 0);
  reply.items = {minimal()};
  project().addget_rebar({}, reply);
  EXPECT_THAT(reply.items, ElementsAre(minimal()));
}

TEST_F(AddGetRebar, RunsNoStatement) {
  ConnectionWatch watch;
  reopen_under(watch);
  Batch<Rebar> reply;
  project().addget_rebar({{minimal()}}, reply);
  EXPECT_THAT(watch.statements(), IsEmpty());
}

}  // namespace

}  // namespace korvane::test
