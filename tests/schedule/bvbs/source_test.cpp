#include "schedule/bvbs/source.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/bvbs/write.h"
#include "tests/schedule/bvbs/record_text.h"

namespace korvane::schedule::bvbs {
namespace {

using model::cad::Fabric;
using model::cad::Rebar;
using test::bar_of;
using test::with_checksum;
using testing::Contains;
using testing::Key;
using testing::Not;

const std::string kPlain = "BF2D@HjT@r417@ia@p1@l700@n2@e0.6@d12@gB500A@s48@v@Gl400@w90@l300@w0@C";
const std::string kPrivate =
    "BF2D@HjT@r417@ia@p1@l700@n2@e0.6@d12@gB500A@s48@v@Gl400@w90@l300@w0@PtSEG;o0@C";

TEST(StatesTheSame, AsLongAsNothingChangesThatTheLineStates) {
  BarLine line = bar_of(kPlain);
  EXPECT_TRUE(states_the_same(line.item, line.drawing));
  line.item.comment = "not stated";
  line.item.shape_code.set("11");
  line.item.bars_per_member = 1;
  line.item.member_multiplier = 2;
  line.item.geometry.objects[0].display_length.set(1);
  EXPECT_TRUE(states_the_same(line.item, line.drawing));
  line.item.total_bars = 3;
  EXPECT_FALSE(states_the_same(line.item, line.drawing));
}

TEST(StatesTheSame, NotInAnotherDrawing) {
  const BarLine line = bar_of(kPlain);
  Drawing drawing = line.drawing;
  drawing.sheet = "418";
  EXPECT_FALSE(states_the_same(line.item, drawing));
}

TEST(StatesTheSame, NotForWhatTheFormatCannotSayNorWithoutALine) {
  BarLine line = bar_of(kPlain);
  line.item.total_bars = 0;
  EXPECT_FALSE(states_the_same(line.item, line.drawing));
  EXPECT_FALSE(states_the_same(Rebar{}, {}));
  EXPECT_FALSE(states_the_same(Fabric{}, {}));
  EXPECT_FALSE(states_the_same(model::cad::BarSpacer{}, {}));
}

TEST(DropStaleSource, LeavesALineThatIsStillTrue) {
  BarLine line = bar_of(kPlain);
  line.item.comment = "not stated";
  const Rebar before = line.item;
  drop_stale_source(line.item, "B500A");
  EXPECT_EQ(line.item, before);
}

TEST(DropStaleSource, RemovesALineThatStatesAnOldValue) {
  BarLine line = bar_of(kPlain);
  line.item.total_bars = 3;
  line.item.total_length = 2100;
  drop_stale_source(line.item, "B500A");
  EXPECT_TRUE(line.item.properties.empty());
}

TEST(DropStaleSource, RemovesALineThatStatesAnotherSteel) {
  BarLine line = bar_of(kPlain);
  drop_stale_source(line.item, "B500B");
  EXPECT_TRUE(line.item.properties.empty());
}

TEST(DropStaleSource, WhatOnlyTheLineSaysSurvivesCorrectionsOfOtherThings) {
  BarLine line = bar_of(kPrivate);
  line.item.total_bars = 3;
  line.item.total_length = 2100;
  drop_stale_source(line.item, "B500A");
  EXPECT_THAT(line.item.properties, Not(Contains(Key("bvbs"))));
  line.item.mark = "2";
  drop_stale_source(line.item, "B500A");
  EXPECT_THAT(line.item.properties, Not(Contains(Key("bvbs"))));
  EXPECT_EQ(
      write_bar(line.item, line.drawing).line,
      with_checksum("BF2D@HjT@r417@ia@p2@l700@n3@e0.6@d12@gB500A@s48@v@Gl400@w90@l300@w0@PtSEG;o0@"
                    "C"));
}

TEST(DropStaleSource, WhatOnlyTheLineSaysGoesWithTheShapeThatItMayDescribe) {
  BarLine line = bar_of(kPrivate);
  line.item.total_bars = 3;
  line.item.total_length = 2100;
  drop_stale_source(line.item, "B500A");
  line.item.geometry.objects[0].length.set(410);
  EXPECT_EQ(write_bar(line.item, line.drawing).line,
            with_checksum("BF2D@HjT@r417@ia@p1@l700@n3@e0.6@d12@gB500A@s48@v@Gl410@w90@l300@w0@C"));
  drop_stale_source(line.item, "B500A");
  EXPECT_TRUE(line.item.properties.empty());
}

TEST(DropStaleSource, KeepsNothingForWhatTheFormatCannotSay) {
  BarLine line = bar_of(kPrivate);
  line.item.mark = "漢";
  drop_stale_source(line.item, "B500A");
  EXPECT_TRUE(line.item.properties.empty());
  line = bar_of(kPrivate);
  line.item.total_bars = 0;
  drop_stale_source(line.item, "B500A");
  EXPECT_TRUE(line.item.properties.empty());
}

TEST(DropStaleSource, LeavesATextThatIsNotALine) {
  Rebar bar;
  bar.properties["bvbs"].value_string.set("somebody's note");
  drop_stale_source(bar, "");
  EXPECT_THAT(bar.properties, Contains(Key("bvbs")));
}

TEST(DropStaleSource, TheBarsOfAFabricSurviveAnotherNumberOfPieces) {
  FabricLine line = read_fabric(
      parse_record(with_checksum("BFMA@Hp1@l5000@n1@gB@mZM@b3000@Yd6d@x1;1@Xd5@x0@C"), 1));
  line.item.total_fabrics = 2;
  drop_stale_source(line.item, "B");
  EXPECT_THAT(line.item.properties, Not(Contains(Key("bvbs"))));
  EXPECT_EQ(write_fabric(line.item, line.drawing).line,
            with_checksum("BFMA@Hp1@l5000@n2@gB@mZM@b3000@Yd6d@x1;1@Xd5@x0@C"));
}

TEST(DropStaleSource, ABarSpacerHasNoSteelToCompare) {
  BarSpacerLine line =
      read_bar_spacer(parse_record(with_checksum("BFAU@Hp1@l2000@n5@e4.5@gB@mDS16@h160@C"), 1));
  const model::cad::BarSpacer before = line.item;
  drop_stale_source(line.item);
  EXPECT_EQ(line.item, before);
  line.item.quantity = 6;
  drop_stale_source(line.item);
  EXPECT_THAT(line.item.properties, Not(Contains(Key("bvbs"))));
  EXPECT_EQ(write_bar_spacer(line.item, line.drawing).line,
            with_checksum("BFAU@Hp1@l2000@n6@e4.5@gB@mDS16@h160@C"));
}

}  // namespace
}  // namespace korvane::schedule::bvbs
