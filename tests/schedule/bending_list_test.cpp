#include "schedule/bending_list.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "schedule/weights.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

BendingSheet sheet_of(const Content& content) {
  Structure structure;
  structure.materials[3].identity.name = "B500A";
  structure.sheets.resize(1);
  structure.sheets[0].revisions.resize(1);
  structure.sheets[0].record.name = "417";
  structure.sheets[0].record.comment = "Ground floor";
  structure.sheets[0].revisions[0].record.name = "a";
  structure.sheets[0].revisions[0].record.properties["date"].value_string.set("2026-01-31");
  structure.sheets[0].revisions[0].record.properties["korvane.import"].value_string.set("x");
  return bending_sheet(structure, {&structure.sheets[0], &structure.sheets[0].revisions[0]},
                       content);
}

Rebar bar(const std::string& mark) {
  Rebar item;
  item.mark = mark;
  item.material_id.set(3);
  return item;
}

BendingBar line_of(const Rebar& item) {
  Content content;
  content.bars = {item};
  return sheet_of(content).bars.at(0);
}

TEST(BendingSheet, HasTheNamesAndWhatTheRecordsSay) {
  const BendingSheet sheet = sheet_of({});
  EXPECT_EQ(sheet.sheet, "417");
  EXPECT_EQ(sheet.revision, "a");
  EXPECT_EQ(sheet.comment, "Ground floor; date: 2026-01-31");
}

TEST(BendingSheet, ABarHasWhatTheYardNeeds) {
  Rebar item = bar("7");
  item.mark_prefix.set("A");
  item.submark.set("2");
  item.member = "wall";
  item.member_multiplier = 4;
  item.bars_per_member = 5;
  item.total_bars = 20;
  item.total_length = 20'000;
  item.bar_diameter = 12;
  item.standard_bend_diameter = 48;
  item.hook_bend_diameter.set(60);
  item.bar_type_mass_per_length = 0.888;
  item.shape_code.set("21");
  item.comment = "top";
  item.custom_text.set("C1");
  Hook hook;
  hook.type = "standard hook";
  hook.angle = 135;
  hook.length = 120;
  item.start_hook.set(hook);
  EndTreatment treatment;
  treatment.type = "coupler";
  treatment.model = "A12";
  item.end_treatment_end.set(treatment);
  const BendingBar line = line_of(item);
  EXPECT_EQ(line.mark, "A7.2");
  EXPECT_EQ(line.steel, "B500A");
  EXPECT_EQ(line.pieces, 20);
  EXPECT_EQ(line.members, "4 × 5");
  EXPECT_EQ(line.diameter, 12);
  EXPECT_EQ(line.length, 1000);
  EXPECT_EQ(line.total_metres, 20);
  EXPECT_EQ(line.mandrel, 48);
  EXPECT_EQ(line.hook_mandrel, 60);
  EXPECT_NEAR(line.mass.value_or(0), 17.76, 1e-9);
  EXPECT_FALSE(line.estimated_mass);
  EXPECT_THAT(line.remarks, ElementsAre("Member: wall", "Shape code: 21",
                                        "Hook at start: standard hook 135° 120 mm left",
                                        "End: coupler A12", "Comment: top", "Text: C1"));
}

TEST(BendingSheet, WhatIsNotStatedIsNoValue) {
  const BendingBar line = line_of(bar("7"));
  EXPECT_FALSE(line.pieces || line.diameter || line.length || line.total_metres || line.mandrel ||
               line.hook_mandrel || line.mass || line.estimated_mass);
  EXPECT_EQ(line.members, "");
  EXPECT_THAT(line.remarks, IsEmpty());
}

TEST(BendingSheet, NumbersThatAreNotFiniteAreNotStated) {
  Rebar item = bar("7");
  item.total_bars = 1;
  item.total_length = std::numeric_limits<double>::quiet_NaN();
  item.bar_diameter = std::numeric_limits<double>::infinity();
  item.standard_bend_diameter = -1;
  const BendingBar line = line_of(item);
  EXPECT_FALSE(line.length || line.total_metres || line.diameter || line.mandrel || line.mass ||
               line.estimated_mass);
}

TEST(BendingSheet, AMissingWeightIsEstimated) {
  Rebar item = bar("7");
  item.total_bars = 2;
  item.total_length = 2000;
  item.bar_diameter = 10;
  const BendingBar line = line_of(item);
  EXPECT_FALSE(line.mass);
  EXPECT_NEAR(line.estimated_mass.value_or(0), 2 * nominal_mass_per_length(10), 1e-9);
}

TEST(BendingSheet, TheHooksMandrelIsNamedWhereItIsAnother) {
  Rebar item = bar("7");
  item.standard_bend_diameter = 48;
  item.hook_bend_diameter.set(48);
  EXPECT_FALSE(line_of(item).hook_mandrel);
}

TEST(BendingSheet, ARemovedLineSaysSo) {
  Rebar item = bar("7");
  item.diff_state.set(DiffState::kRemoved);
  EXPECT_THAT(line_of(item).remarks, ElementsAre("State: removed"));
}

TEST(BendingSheet, EveryFieldThatPeopleFillIsThere) {
  Content content;
  content.fabrics = {test::full_fabric(1, 1)};
  content.bar_spacers = {test::full_bar_spacer(1)};
  content.mounting_parts = {test::full_mounting_part(1, 3)};
  const BendingSheet sheet = sheet_of(content);
  const BendingFabric& fabric = sheet.fabrics.at(0);
  EXPECT_EQ(fabric.type, content.fabrics[0].type_name);
  EXPECT_EQ(fabric.length, content.fabrics[0].length);
  EXPECT_EQ(fabric.width, content.fabrics[0].width);
  EXPECT_THAT(fabric.remarks, Contains("Comment: " + content.fabrics[0].comment));
  const BendingSpacer& spacer = sheet.bar_spacers.at(0);
  EXPECT_EQ(spacer.name, content.bar_spacers[0].name);
  EXPECT_EQ(spacer.pieces, content.bar_spacers[0].quantity);
  EXPECT_THAT(spacer.remarks, Contains("Description: " + content.bar_spacers[0].description));
  const BendingPart& part = sheet.mounting_parts.at(0);
  EXPECT_EQ(part.name,
            *content.mounting_parts[0].family_name + ", " + *content.mounting_parts[0].type_name);
  EXPECT_EQ(part.order, *content.mounting_parts[0].manufacturer + ", " +
                            *content.mounting_parts[0].model + ", " +
                            *content.mounting_parts[0].order_number);
}

TEST(BendingSheet, AFlatFabricHasNoShape) {
  Content content;
  content.fabrics.resize(1);
  EXPECT_FALSE(sheet_of(content).fabrics.at(0).shape);
}

TEST(BendingSheet, IsInTheOrderOfMarks) {
  Content content;
  for (const char* const mark : {"10", "2", "A1", "1", "2a", "02"})
    content.bars.push_back(bar(mark));
  std::vector<std::string> marks;
  for (const BendingBar& line : sheet_of(content).bars) marks.push_back(line.mark);
  EXPECT_THAT(marks, ElementsAre("1", "2", "02", "2a", "10", "A1"));
}

TEST(IsMarkBefore, OrdersAnyMarks) {
  EXPECT_TRUE(is_mark_before("", "1"));
  EXPECT_TRUE(is_mark_before("9", "10"));
  EXPECT_TRUE(is_mark_before("A9.9", "A9.10"));
  EXPECT_TRUE(is_mark_before("99999999999999999998", "99999999999999999999"));
  EXPECT_FALSE(is_mark_before("7", "7"));
  // The order is strict, or sorting would be undefined.
  const std::string marks[] = {"", "0", "00", "1", "01", "1a", "a1", "a", "1 ", "10", "\xC3\xA4"};
  for (const std::string& one : marks) {
    for (const std::string& other : marks) {
      EXPECT_FALSE(is_mark_before(one, other) && is_mark_before(other, one)) << one << " " << other;
      for (const std::string& third : marks) {
        if (is_mark_before(one, other) && is_mark_before(other, third)) {
          EXPECT_TRUE(is_mark_before(one, third)) << one << " " << other << " " << third;
        }
      }
    }
  }
}

class ReadBendingList : public test::StoreTest {};

TEST_F(ReadBendingList, OfAnEmptyProjectIsEmpty) {
  EXPECT_THAT(read_bending_list(project(), {}).sheets, IsEmpty());
  Selection selection;
  selection.sheet = "5";
  EXPECT_THROW(read_bending_list(project(), selection), krv::rpc4::NotFound);
}

TEST_F(ReadBendingList, HasARevisionWithoutLinesAndSaysWhatAllCount) {
  const std::int32_t sheet = make_sheet();
  const std::int32_t material = make_material();
  const std::int32_t revision = make_revision(sheet);
  make_revision(sheet);
  std::vector<Rebar> bars(2500, test::minimal_bar(revision, material));
  add(bars);
  const BendingList list = read_bending_list(project(), {});
  ASSERT_THAT(list.sheets, SizeIs(2));
  EXPECT_THAT(list.sheets[0].bars, SizeIs(2500));
  EXPECT_THAT(list.sheets[1].bars, IsEmpty());
  EXPECT_EQ(sum_of(list.sheets[0].totals).lines, 2500);
  EXPECT_THAT(list.notes, ElementsAre("1 sheet has several revisions, and all of them count."));
}

}  // namespace
}  // namespace korvane::schedule
