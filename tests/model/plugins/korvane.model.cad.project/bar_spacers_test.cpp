#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using ::testing::ElementsAre;

/// A project with a revision, whose id is 1.
class AddBarSpacer : public StoreTest {
 protected:
  std::int32_t rev_ = make_revision();
};

TEST_F(AddBarSpacer, StoresEveryColumnAsSent) {
  add({full_bar_spacer(rev_)});
  EXPECT_EQ(only_row("barspacer"), (NamedRow{{"id", "1"},
                                             {"mark", "D 9"},
                                             {"rev_id", "1"},
                                             {"sheet_id", "35"},
                                             {"name", "snake"},
                                             {"quantity", "40"},
                                             {"weight_per_piece", "0.625"},
                                             {"description", "height 12"},
                                             {"length", "1.75"},
                                             {"raw", raw_hex(full_bar_spacer(rev_))}}));
}

TEST_F(AddBarSpacer, StoresNoNullForADefaultRecord) {
  add({BarSpacer{}});
  EXPECT_EQ(only_row("barspacer"), (NamedRow{{"id", "1"},
                                             {"mark", ""},
                                             {"rev_id", "0"},
                                             {"sheet_id", "0"},
                                             {"name", ""},
                                             {"quantity", "0"},
                                             {"weight_per_piece", "0.0"},
                                             {"description", ""},
                                             {"length", "0.0"},
                                             {"raw", "00"}}));
}

TEST_F(AddBarSpacer, StoresADescriptionThatReadsAsANumberAsText) {
  BarSpacer spacer = minimal_bar_spacer(rev_);
  spacer.description = "012.50";
  add({spacer});
  EXPECT_EQ(rows("select typeof(description), description from barspacer"),
            (Rows{{"text", "012.50"}}));
}

TEST_F(AddBarSpacer, NeitherRoundsNorScalesANumber) {
  BarSpacer exact = minimal_bar_spacer(rev_);
  exact.length = 0.1 + 0.2;
  exact.weight_per_piece = -5e-324;
  add({exact});
  EXPECT_EQ(rows("select length = 0.1 + 0.2, weight_per_piece = -5e-324 from barspacer"),
            (Rows{{"1", "1"}}));
}

TEST_F(AddBarSpacer, TakesARevisionThatDoesNotExistAndReturnsItForThatId) {
  for (const std::int32_t id : {99, 0, -1}) {
    add({minimal_bar_spacer(id)});
    EXPECT_THAT(spacers_of(id), ElementsAre(minimal_bar_spacer(id)));
  }
  EXPECT_EQ(rows("select rev_id from barspacer order by id"), (Rows{{"99"}, {"0"}, {"-1"}}));
}

TEST_F(AddBarSpacer, TakesASheetThatDoesNotExist) {
  BarSpacer spacer = minimal_bar_spacer(rev_);
  spacer.sheet_id = 99;
  add({spacer});
  EXPECT_EQ(rows("select sheet_id from barspacer"), (Rows{{"99"}}));
}

TEST_F(AddBarSpacer, OutlivesItsRevisionUntilThatIsCleared) {
  add({full_bar_spacer(rev_)});
  delete_revision(rev_);
  EXPECT_EQ(count("revision"), 0);
  EXPECT_THAT(spacers_of(rev_), ElementsAre(full_bar_spacer(rev_)));
  clear(rev_);
  EXPECT_EQ(count("barspacer"), 0);
}

}  // namespace

}  // namespace korvane::test
