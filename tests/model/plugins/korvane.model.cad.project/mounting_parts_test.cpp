#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/batch_suite.h"

namespace korvane::test {

INSTANTIATE_TYPED_TEST_SUITE_P(MountingParts, BatchTest, MountingPartKind);

namespace {

using namespace model::cad;

constexpr const char* kNoSuchParent = "FOREIGN KEY constraint failed";

/// A project with a revision and two materials.
class AddMountingPart : public ContentTest {
 protected:
  AddMountingPart() { make_material(); }

  MountingPart part() const { return minimal_mounting_part(rev_, material_); }
  void expect_nothing_stored_and_next_write_to_work() {
    EXPECT_EQ(count("mountingpart"), 0);
    add({part()});
    EXPECT_EQ(count("mountingpart"), 1);
  }

  std::int32_t rev_ = make_revision();
  std::int32_t material_ = make_material();
};

using FailingAddMountingPart = AddMountingPart;

TEST_F(AddMountingPart, StoresEveryColumnAsSent) {
  add({full_mounting_part(1, 2)});
  EXPECT_EQ(only_row("mountingpart"), (NamedRow{{"id", "1"},
                                                {"mark", "A 3"},
                                                {"quantity", "14"},
                                                {"material_id", "2"},
                                                {"family_name", "anchor plate"},
                                                {"type_name", "200 x 300"},
                                                {"manufacturer", "forge"},
                                                {"comment", "cast in"},
                                                {"keynote", "03 21"},
                                                {"model", "AP 20"},
                                                {"url", "https://example.org/ap20"},
                                                {"description", "with four studs"},
                                                {"cost", "81.25"},
                                                {"order_number", "0815"},
                                                {"catalog", "2019"},
                                                {"rev_id", "1"},
                                                {"mark_prefix", "E-"},
                                                {"mark_suffix", "-x"},
                                                {"member", "Column 4"},
                                                {"raw", raw_hex(full_mounting_part(1, 2))}}));
}

TEST_F(AddMountingPart, StoresNullForEachFieldWithoutAValueAndEmptyTextForAnEmptyMark) {
  add({part()});
  EXPECT_EQ(only_row("mountingpart"), (NamedRow{{"id", "1"},
                                                {"mark", ""},
                                                {"quantity", "0"},
                                                {"material_id", "1"},
                                                {"family_name", kNull},
                                                {"type_name", kNull},
                                                {"manufacturer", kNull},
                                                {"comment", kNull},
                                                {"keynote", kNull},
                                                {"model", kNull},
                                                {"url", kNull},
                                                {"description", kNull},
                                                {"cost", kNull},
                                                {"order_number", kNull},
                                                {"catalog", kNull},
                                                {"rev_id", "1"},
                                                {"mark_prefix", kNull},
                                                {"mark_suffix", kNull},
                                                {"member", kNull},
                                                {"raw", raw_hex(part())}}));
}

TEST_F(AddMountingPart, WithoutCostStoresNullAndWithACostOfNothingZero) {
  MountingPart free = part();
  free.cost.set(0.0);
  add({part(), free});
  EXPECT_EQ(rows("select cost from mountingpart order by id"), (Rows{{kNull}, {"0.0"}}));
}

TEST_F(AddMountingPart, WithAnEmptyCommentStoresEmptyText) {
  MountingPart empty = part();
  empty.comment.set("");
  add({empty});
  EXPECT_EQ(rows("select typeof(comment), comment, typeof(keynote) from mountingpart"),
            (Rows{{"text", "", "null"}}));
}

TEST_F(AddMountingPart, StoresEveryEmptyNullableTextAsText) {
  MountingPart empty = part();
  for (auto* text :
       {&empty.family_name, &empty.type_name, &empty.manufacturer, &empty.comment, &empty.keynote,
        &empty.model, &empty.url, &empty.description, &empty.order_number, &empty.catalog,
        &empty.mark_prefix, &empty.mark_suffix, &empty.member}) {
    text->set("");
  }
  add({empty});
  EXPECT_EQ(rows("select family_name, type_name, manufacturer, comment, keynote, model, url, "
                 "description, order_number, catalog, mark_prefix, mark_suffix, member "
                 "from mountingpart"),
            (Rows{Row(13, "")}));
}

TEST_F(AddMountingPart, NeitherRoundsNorScalesANumber) {
  MountingPart exact = part();
  exact.cost.set(0.1 + 0.2);
  exact.quantity = std::numeric_limits<std::int32_t>::min();
  add({exact});
  EXPECT_EQ(rows("select cost = 0.1 + 0.2, quantity from mountingpart"),
            (Rows{{"1", "-2147483648"}}));
}

TEST_F(AddMountingPart, StoresTextByteForByte) {
  MountingPart quoted = part();
  quoted.mark = "it's \"12\"; St\xC3\xBCtze ?";
  quoted.url.set(std::string("a\0b", 3));
  add({quoted});
  EXPECT_EQ(rows("select mark, hex(url) from mountingpart"),
            (Rows{{"it's \"12\"; St\xC3\xBCtze ?", "610062"}}));
}

TEST_F(AddMountingPart, KeepsTheIdAndSheetOfTheClientInRawAlone) {
  add({full_mounting_part(rev_, material_)});
  EXPECT_EQ(rows("select id from mountingpart"), (Rows{{"1"}}));
  EXPECT_EQ(parts_of(rev_).at(0).id, 4712);
  EXPECT_EQ(parts_of(rev_).at(0).sheet_id, 36);
}

TEST_F(AddMountingPart, KeepsAMaterialInUseFromBeingDeleted) {
  add({part()});
  GenericReply reply;
  EXPECT_THAT([&] { project().delete_material(by_id<MaterialRef>(material_), reply); },
              violates("NOT NULL constraint failed: mountingpart.material_id"));
  EXPECT_EQ(rows("select material_id from mountingpart"), (Rows{{"1"}}));
  EXPECT_EQ(count("material"), 2);
}

TEST_F(AddMountingPart, GoesWithItsRevision) {
  const std::int32_t other = make_revision();
  add({part(), minimal_mounting_part(other, material_)});
  GenericReply reply;
  project().delete_revision(by_id<RevisionRef>(rev_), reply);
  EXPECT_EQ(rows("select rev_id from mountingpart"), (Rows{{std::to_string(other)}}));
}

TEST_F(FailingAddMountingPart, ForAnUnknownRevisionStoresNothing) {
  EXPECT_THAT([&] { add({minimal_mounting_part(99, material_)}); }, violates(kNoSuchParent));
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddMountingPart, ForTheDefaultRevisionStoresNothing) {
  EXPECT_EQ(MountingPart{}.rev_id, 0);
  EXPECT_THAT([&] { add({minimal_mounting_part(0, material_)}); }, violates(kNoSuchParent));
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddMountingPart, ForAnUnknownMaterialStoresNothing) {
  EXPECT_THAT([&] { add({minimal_mounting_part(rev_, 99)}); }, violates(kNoSuchParent));
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddMountingPart, ForTheDefaultMaterialStoresNothing) {
  EXPECT_EQ(MountingPart{}.material_id, 0);
  EXPECT_THAT([&] { add({minimal_mounting_part(rev_, 0)}); }, violates(kNoSuchParent));
  expect_nothing_stored_and_next_write_to_work();
}

TEST_F(FailingAddMountingPart, OnItsLastRecordLeavesNothingBehind) {
  EXPECT_THAT(
      [&] {
        add({full_mounting_part(1, 2), part(), minimal_mounting_part(99, 1)});
      },
      violates(kNoSuchParent));
  expect_nothing_stored_and_next_write_to_work();
}

}  // namespace

}  // namespace korvane::test
