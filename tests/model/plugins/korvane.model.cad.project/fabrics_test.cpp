#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;

/// A project with a revision and two fabric types.
class AddFabric : public ContentTest<FabricKind> {
 protected:
  AddFabric() { make_fabric_type(1, "Q257A"); }
};

TEST_F(AddFabric, StoresEveryColumnAsSent) {
  add({full_fabric(1, 2)});
  EXPECT_EQ(only_row("fabric"), (NamedRow{{"id", "1"},
                                          {"rev_id", "1"},
                                          {"comment", "bottom layer"},
                                          {"member", "Slab 2"},
                                          {"mark", "M17"},
                                          {"mark_suffix", "-u"},
                                          {"mark_prefix", "F-"},
                                          {"member_multiplier", "3"},
                                          {"fabrics_per_member", "8.0"},
                                          {"total_fabrics", "24"},
                                          {"length", "5.95"},
                                          {"width", "2.25"},
                                          {"standard_bend_diameter", "0.028"},
                                          {"shape_code", "007"},
                                          {"fabric_weight", "43.5"},
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
                                          {"fabric_type_id", "2"},
                                          {"raw", raw_hex(full_fabric(1, 2))}}));
}

TEST_F(AddFabric, StoresNullForEachFieldWithoutAValueAndEmptyTextForEachEmptyOne) {
  add({minimal()});
  EXPECT_EQ(only_row("fabric"), (NamedRow{{"id", "1"},
                                          {"rev_id", "1"},
                                          {"comment", ""},
                                          {"member", ""},
                                          {"mark", ""},
                                          {"mark_suffix", kNull},
                                          {"mark_prefix", kNull},
                                          {"member_multiplier", "0"},
                                          {"fabrics_per_member", "0.0"},
                                          {"total_fabrics", "0"},
                                          {"length", "0.0"},
                                          {"width", "0.0"},
                                          {"standard_bend_diameter", "0.0"},
                                          {"shape_code", kNull},
                                          {"fabric_weight", "0.0"},
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
                                          {"fabric_type_id", "1"},
                                          {"raw", raw_hex(minimal())}}));
}

TEST_F(AddFabric, StoresAnEmptyCommentAndEmptyNullablesAsText) {
  Fabric empty = minimal();
  for (auto* text : {&empty.shape_code, &empty.mark_suffix, &empty.mark_prefix}) text->set("");
  add({empty});
  EXPECT_EQ(rows("select typeof(comment), typeof(shape_code), typeof(mark_suffix), "
                 "typeof(mark_prefix) from fabric"),
            (Rows{{"text", "text", "text", "text"}}));
}

TEST_F(AddFabric, StoresEachLetterOnItsOwn) {
  Fabric bent = minimal();
  bent.parameters_exact.c.set(0.25);
  bent.parameters_rounded.r.set(-1.5);
  add({bent});
  EXPECT_EQ(rows("select A, B, C, D, E, F, R, A_rounded, B_rounded, C_rounded, D_rounded, "
                 "E_rounded, F_rounded, R_rounded from fabric"),
            (Rows{{kNull, kNull, "0.25", kNull, kNull, kNull, kNull, kNull, kNull, kNull, kNull,
                   kNull, kNull, "-1.5"}}));
}

TEST_F(AddFabric, StoresTheNumberOfFabricsPerMemberAsAReal) {
  Fabric three = minimal();
  three.fabrics_per_member = 3;
  add({three});
  const model::table::TABLE found = query("select fabrics_per_member from fabric");
  EXPECT_THAT(found.columns, ElementsAre(model::table::TableColumn{"fabrics_per_member", 1}));
  Variant cell;
  cell.value_double.set(3.0);
  EXPECT_EQ(found.rows.at(0).at(0), cell);
  EXPECT_EQ(fabrics_of(1).at(0).fabrics_per_member, 3);
}

TEST_F(AddFabric, NeitherRoundsNorScalesANumber) {
  Fabric exact = minimal();
  exact.length = 0.1 + 0.2;
  exact.width = 1e300;
  exact.fabric_weight = -5e-324;
  add({exact});
  EXPECT_EQ(rows("select length = 0.1 + 0.2, width = 1e300, fabric_weight = -5e-324 from fabric"),
            (Rows{{"1", "1", "1"}}));
}

TEST_F(AddFabric, StoresTextByteForByte) {
  Fabric quoted = minimal();
  quoted.mark = "it's \"12\"; St\xC3\xBCtze ?";
  quoted.shape_code.set(std::string("a\0b", 3));
  add({quoted});
  EXPECT_EQ(rows("select mark, hex(shape_code) from fabric"),
            (Rows{{"it's \"12\"; St\xC3\xBCtze ?", "610062"}}));
}

TEST_F(AddFabric, NeitherLooksAtNorWritesTheFabricType) {
  const Rows before = all_of("fabric_type");
  ConnectionWatch watch;
  reopen_under(watch);
  add({full_fabric(1, 2)});
  EXPECT_EQ(all_of("fabric_type"), before);
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", FabricKind::insert_sql, "COMMIT"));
}

TEST_F(AddFabric, KeepsTheTypeInRawAsItWasWhenTheRowOfTheTypeChanges) {
  add({full_fabric(1, 2)});
  FabricType changed = minimal_fabric_type(1, "changed");
  changed.id = 2;
  GenericReply reply;
  project().update_fabric_type(changed, reply);
  EXPECT_EQ(fabrics_of(1).at(0).fabric_type, full_fabric(1, 2).fabric_type);
  EXPECT_EQ(rows("select f.fabric_type_id, t.type from fabric f join fabric_type t "
                 "on t.id = f.fabric_type_id"),
            (Rows{{"2", "changed"}}));
}

}  // namespace

}  // namespace korvane::test
