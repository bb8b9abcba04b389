#include "schedule/totals.h"

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/change_mark.h"
#include "schedule/groupings.h"
#include "schedule/weights.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class TotalsOfProject : public test::StoreTest {
 protected:
  TotalsOfProject() {
    material_ = make_material();
    other_material_ = make_material();
    fabric_type_ = make_fabric_type(material_);
    sheet_ = make_sheet();
    revision_ = make_revision(sheet_);
    other_ = make_revision(sheet_);
  }

  Rebar bar(double diameter, std::int32_t pieces, double length, double mass) const {
    Rebar item = test::minimal_bar(revision_, material_);
    item.bar_diameter = diameter;
    item.total_bars = pieces;
    item.total_length = length * pieces;
    item.bar_type_mass_per_length = mass;
    return item;
  }

  std::map<std::int32_t, Totals> totals() {
    return totals_by_revision(project(), read_structure(project()));
  }

  std::int32_t material_ = 0;
  std::int32_t other_material_ = 0;
  std::int32_t fabric_type_ = 0;
  std::int32_t sheet_ = 0;
  std::int32_t revision_ = 0;
  std::int32_t other_ = 0;
};

void expect_near(const Sum& sum, const Sum& expected) {
  EXPECT_EQ(sum.lines, expected.lines);
  EXPECT_EQ(sum.pieces, expected.pieces);
  EXPECT_EQ(sum.lines_without_mass, expected.lines_without_mass);
  EXPECT_NEAR(sum.metres, expected.metres, 1e-6);
  EXPECT_NEAR(sum.mass, expected.mass, 1e-6);
  EXPECT_NEAR(sum.estimated_mass, expected.estimated_mass, 1e-6);
}

template <class Key>
void expect_near(const std::map<Key, Sum>& sums, const std::map<Key, Sum>& expected) {
  ASSERT_EQ(sums.size(), expected.size());
  for (auto a = sums.begin(), b = expected.begin(); a != sums.end(); ++a, ++b) {
    EXPECT_EQ(a->first, b->first);
    expect_near(a->second, b->second);
  }
}

void expect_near(const Totals& totals, const Totals& expected) {
  expect_near(totals.bars, expected.bars);
  expect_near(totals.fabrics, expected.fabrics);
  expect_near(totals.bar_spacers, expected.bar_spacers);
  expect_near(totals.mounting_parts, expected.mounting_parts);
}

TEST_F(TotalsOfProject, ABarHasItsPiecesMetresAndKilograms) {
  add({bar(12, 10, 1000, 0.888), bar(12, 2, 500, 0.888), bar(16, 1, 1000, 1.58)});
  const auto by_revision = totals();
  ASSERT_THAT(by_revision, SizeIs(1));
  const Totals& of_revision = by_revision.at(revision_);
  ASSERT_THAT(of_revision.bars, SizeIs(2));
  expect_near(of_revision.bars.begin()->second, {2, 12, 11, 11 * 0.888, 0, 0});
  expect_near(sum_of(of_revision), {3, 13, 12, 11 * 0.888 + 1.58, 0, 0});
}

TEST_F(TotalsOfProject, AMissingWeightIsCountedAndEstimated) {
  add({bar(10, 2, 1000, 0), bar(10, 1, 1000, 0.617)});
  const Sum sum = totals().at(revision_).bars.begin()->second;
  expect_near(sum, {2, 3, 3, 0.617, 1, 2 * nominal_mass_per_length(10)});
  EXPECT_NEAR(nominal_mass_per_length(10), 0.6165, 1e-4);
}

TEST_F(TotalsOfProject, AWeightBeyondAllNumbersIsUnknownAsInTheContent) {
  add({bar(10, 1, 1e200, 1e200), bar(10, 1, 1000, 0.617)});
  const Sum sum = totals().at(revision_).bars.begin()->second;
  EXPECT_EQ(sum.mass, 0.617);
  EXPECT_EQ(sum.lines_without_mass, 1);
  const Content content = ContentReader(project()).read(revision_);
  const Sum in_content = totals_of(read_structure(project()), content).bars.begin()->second;
  EXPECT_EQ(in_content.mass, sum.mass);
  EXPECT_EQ(in_content.lines_without_mass, sum.lines_without_mass);
}

/// The sums that the database makes are those of the records that are read.
TEST_F(TotalsOfProject, AreThoseOfTheContent) {
  std::mt19937 engine(13);
  const auto below = [&](std::uint32_t limit) {
    return static_cast<std::int32_t>(engine() % limit);
  };
  std::vector<Rebar> bars;
  std::vector<Fabric> fabrics;
  std::vector<BarSpacer> spacers;
  std::vector<MountingPart> parts;
  for (int i = 0; i < 200; ++i) {
    Rebar item = bar(6 + 2 * below(4), below(20), 100.5 * below(50), below(3) == 0 ? 0 : 0.888);
    item.rev_id = below(2) == 0 ? revision_ : other_;
    item.material_id.set(below(2) == 0 ? material_ : other_material_);
    bars.push_back(item);
    Fabric fabric = test::minimal_fabric(item.rev_id, fabric_type_);
    fabric.total_fabrics = below(9);
    fabric.fabric_weight = below(2) * 35.28;
    fabrics.push_back(fabric);
    BarSpacer spacer = test::minimal_bar_spacer(item.rev_id);
    spacer.name = std::string(1, static_cast<char>('a' + below(3)));
    spacer.quantity = below(9);
    spacer.length = below(2000);
    spacer.weight_per_piece = below(2) * 1.5;
    spacers.push_back(spacer);
    MountingPart part = test::minimal_mounting_part(item.rev_id, material_);
    if (below(2) == 0) part.family_name.set("anchor");
    if (below(2) == 0) part.type_name.set("M12");
    part.quantity = below(9);
    parts.push_back(part);
  }
  add(bars);
  add(fabrics);
  add(spacers);
  add(parts);
  const Structure structure = read_structure(project());
  const auto by_revision = totals_by_revision(project(), structure);
  const ContentReader reader(project());
  for (const std::int32_t revision : {revision_, other_}) {
    expect_near(by_revision.at(revision), totals_of(structure, reader.read(revision)));
  }
}

TEST_F(TotalsOfProject, ARevisionThatIsPartOfAChangeDoesNotCount) {
  add({bar(12, 10, 1000, 0.888)});
  Revision stage;
  stage.sheet_id = sheet_;
  ChangeMark mark;
  mark.step = ChangeStep::filling;
  mark.changed_revision = revision_;
  write_mark(mark, stage.properties);
  RevisionRef ref;
  project().create_revision(stage, ref);
  Rebar staged = bar(12, 7, 1000, 0.888);
  staged.rev_id = ref.id.value();
  add({staged});
  auto by_revision = totals();
  ASSERT_THAT(by_revision, SizeIs(1));
  EXPECT_EQ(sum_of(by_revision.at(revision_)).pieces, 10);
  // Once it is whole it is the content that counts, under the id of the revision.
  stage.id = ref.id.value();
  stage.uid = ref.uid.value();
  mark.step = ChangeStep::whole;
  write_mark(mark, stage.properties);
  GenericReply reply;
  project().update_revision(stage, reply);
  by_revision = totals();
  ASSERT_THAT(by_revision, SizeIs(1));
  EXPECT_EQ(sum_of(by_revision.at(revision_)).pieces, 7);
}

Table table_of(const std::vector<Table>& tables, const std::string& name) {
  for (const Table& table : tables) {
    if (table.name == name) return table;
  }
  ADD_FAILURE() << name;
  return {};
}

TEST(TotalsOfContent, ABarWithoutANumberForItsDiameterJoinsNoOther) {
  Content content;
  for (const double diameter : {std::nan(""), 12.0, 8.0, std::nan(""), 12.0}) {
    Rebar& bar = content.bars.emplace_back();
    bar.bar_diameter = diameter;
    bar.total_bars = 1;
    bar.total_length = 1000;
  }
  content.bars[0].total_length = std::nan("");
  std::vector<std::pair<double, double>> metres;
  for (const auto& [group, sum] : totals_of({}, content).bars) {
    metres.emplace_back(group.diameter, sum.metres);
  }
  EXPECT_THAT(metres,
              testing::ElementsAre(testing::Pair(0, 1), testing::Pair(8, 1), testing::Pair(12, 2)));
}

TEST(TotalsTables, HaveARowForEachGroupAndATotal) {
  Totals totals;
  totals.bars[{10, "B500A"}] = {1, 2, 3, 1.5, 0, 0};
  totals.bars[{12, "B500A"}] = {2, 3, 4, 0, 2, 2.5};
  const Table table = table_of(totals_tables(totals), "bar_totals");
  EXPECT_THAT(table.rows, ElementsAre(ElementsAre(Cell(10.0), Cell("B500A"), Cell(std::int64_t{1}),
                                                  Cell(std::int64_t{2}), Cell(3.0), Cell(1.5),
                                                  Cell(std::int64_t{0}), Cell(0.0)),
                                      // No weight is no value.
                                      ElementsAre(Cell(12.0), Cell("B500A"), Cell(std::int64_t{2}),
                                                  Cell(std::int64_t{3}), Cell(4.0), Cell(),
                                                  Cell(std::int64_t{2}), Cell(2.5))));
  EXPECT_EQ(table.totals.at(0)[5], Cell(1.5));
  EXPECT_THAT(table.notes,
              ElementsAre("2 marks have no weight and are not among the kilograms; the estimate is "
                          "that of round bars of steel with 7850 kg/m³."));
}

TEST(Kilograms, OfNoLinesAreNoneAndOfLinesWithoutAWeightUnknown) {
  EXPECT_EQ(mass_cell(Sum{}), Cell(0.0));
  Sum unknown;
  unknown.lines = 1;
  EXPECT_EQ(mass_cell(unknown), Cell());
  unknown.mass = 2.5;
  EXPECT_EQ(mass_cell(unknown), Cell(2.5));
}

TEST(TotalsTables, MountingPartsHaveNoWeightAndDoNotLackIt) {
  MountingPart part;
  part.quantity = 4;
  Content content;
  content.mounting_parts = {part};
  const Table table = table_of(totals_tables(totals_of({}, content)), "mounting_part_totals");
  ASSERT_THAT(table.rows, SizeIs(1));
  EXPECT_EQ(table.rows[0][2], Cell(std::int64_t{4}));
  EXPECT_EQ(table.rows[0][3], Cell());
  EXPECT_THAT(table.notes, IsEmpty());
}

TEST(RevisionsTable, HasARowForEachRevisionAndForASheetWithoutOne) {
  Structure structure;
  structure.sheets.resize(2);
  structure.sheets[0].record.name = "417";
  structure.sheets[0].revisions.resize(2);
  structure.sheets[0].revisions[0].record.id = 1;
  structure.sheets[0].revisions[0].record.name = "a";
  structure.sheets[0].revisions[1].record.id = 2;
  structure.sheets[1].record.name = "418";
  std::map<std::int32_t, Totals> totals;
  totals[1].bars[{10, "B500A"}] = {1, 2, 3, 1.5, 0, 0};
  totals[2].fabrics[{"Q257", "B500A"}] = {1, 4, 0, 9, 0, 0};
  const Table table = revisions_table(structure, select_revisions(structure, {}), totals);
  ASSERT_THAT(table.rows, SizeIs(3));
  EXPECT_EQ(table.rows[0][0], Cell("417"));
  EXPECT_EQ(table.rows[0][1], Cell("a"));
  EXPECT_EQ(table.rows[0][3], Cell(std::int64_t{2}));
  EXPECT_EQ(table.rows[1][1], Cell(""));
  EXPECT_EQ(table.rows[1][4], Cell(std::int64_t{4}));
  EXPECT_EQ(table.rows[2][0], Cell("418"));
  EXPECT_EQ(table.rows[2][1], Cell());
  EXPECT_EQ(table.totals.at(0)[8], Cell(10.5));
  EXPECT_THAT(table.notes, ElementsAre("1 sheet has several revisions, and all of them count."));
}

}  // namespace
}  // namespace korvane::schedule
