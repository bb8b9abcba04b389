#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;

/// A project with a revision and two materials.
class AddMountingPart : public ContentTest<MountingPartKind> {
 protected:
  AddMountingPart() { make_material(); }
};

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
  add({minimal()});
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
                                                {"raw", raw_hex(minimal())}}));
}

TEST_F(AddMountingPart, WithoutCostStoresNullAndWithACostOfNothingZero) {
  MountingPart free = minimal();
  free.cost.set(0.0);
  add({minimal(), free});
  EXPECT_EQ(rows("select cost from mountingpart order by id"), (Rows{{kNull}, {"0.0"}}));
}

TEST_F(AddMountingPart, StoresEveryEmptyNullableTextAsText) {
  MountingPart empty = minimal();
  for (auto* text :
       {&empty.family_name, &empty.type_name, &empty.manufacturer, &empty.comment, &empty.keynote,
        &empty.model, &empty.url, &empty.description, &empty.order_number, &empty.catalog,
        &empty.mark_prefix, &empty.mark_suffix, &empty.member}) {
    text->set("");
  }
  add({empty});
  EXPECT_EQ(rows("select family_name, type_name, manufacturer, comment, keynote, model, url, "
                 "description, order_number, catalog, mark_prefix, mark_suffix, member, "
                 "typeof(comment) from mountingpart"),
            (Rows{{"", "", "", "", "", "", "", "", "", "", "", "", "", "text"}}));
}

TEST_F(AddMountingPart, NeitherRoundsNorScalesANumber) {
  MountingPart exact = minimal();
  exact.cost.set(0.1 + 0.2);
  exact.quantity = std::numeric_limits<std::int32_t>::min();
  add({exact});
  EXPECT_EQ(rows("select cost = 0.1 + 0.2, quantity from mountingpart"),
            (Rows{{"1", "-2147483648"}}));
}

TEST_F(AddMountingPart, StoresTextByteForByte) {
  MountingPart quoted = minimal();
  quoted.mark = "it's \"12\"; St\xC3\xBCtze ?";
  quoted.url.set(std::string("a\0b", 3));
  add({quoted});
  EXPECT_EQ(rows("select mark, hex(url) from mountingpart"),
            (Rows{{"it's \"12\"; St\xC3\xBCtze ?", "610062"}}));
}

}  // namespace

}  // namespace korvane::test
