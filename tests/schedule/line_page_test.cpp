#include "schedule/line_page.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "schedule/content.h"
#include "schedule/export.h"
#include "schedule/find_line.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

/// Two revisions whose bars take turns in the table.
class LinePages : public test::StoreTest {
 protected:
  LinePages() {
    first_ = make_revision();
    second_ = make_revision();
    const std::int32_t material = make_material();
    for (int i = 1; i <= 4; ++i) {
      for (const std::int32_t revision : {first_, second_}) {
        Content content;
        content.bars.push_back(test::minimal_bar(0, material));
        content.bars.back().mark = std::to_string(i);
        add_content(project(), 1, revision, content);
      }
    }
    structure_ = read_structure(project());
  }

  SelectedRevision selected(std::int32_t id) const {
    for (const SheetEntry& sheet : structure_.sheets) {
      for (const RevisionEntry& revision : sheet.revisions) {
        if (revision.record.id == id) return {&sheet, &revision};
      }
    }
    throw std::logic_error("no such revision");
  }

  /// The ids of a page, and what comes next.
  std::vector<std::int64_t> ids_of(const LinePage& page) {
    std::vector<std::int64_t> ids;
    next_ = read_page(
        project(), structure_, selected(first_), find_range(project(), page.kind, first_), page,
        [&](std::int64_t id, const std::vector<Cell>& cells) {
          ids.push_back(id);
          cells_ = cells;
        },
        [](std::int64_t id, const char* table, const std::string& reason) {
          ADD_FAILURE() << table << ' ' << id << ": " << reason;
        });
    return ids;
  }

  std::int32_t first_ = 0;
  std::int32_t second_ = 0;
  Structure structure_;
  std::optional<std::int64_t> next_;
  std::vector<Cell> cells_;
};

TEST_F(LinePages, GoThroughOneRevision) {
  EXPECT_THAT(ids_of({.kind = "bars", .limit = 3}), ElementsAre(1, 3, 5));
  EXPECT_EQ(next_, 5);
  EXPECT_THAT(ids_of({.kind = "bars", .after = 5, .limit = 3}), ElementsAre(7));
  EXPECT_EQ(next_, std::nullopt);
  EXPECT_THAT(ids_of({.kind = "bars", .after = 7}), IsEmpty());
  EXPECT_THAT(ids_of({.kind = "fabrics"}), IsEmpty());
}

TEST_F(LinePages, HaveTheChosenColumnsInTheirOrder) {
  ids_of({.kind = "bars", .columns = {"mark", "total_bars"}, .limit = 1});
  EXPECT_THAT(cells_, ElementsAre(Cell("1"), Cell(std::int64_t{0})));
}

TEST_F(LinePages, DoNotDecodeTheRowsOfOtherPages) {
  set_raw("rebar", 1, "FF");
  set_raw("rebar", 7, "FF");
  EXPECT_THAT(ids_of({.kind = "bars", .after = 1, .limit = 2}), ElementsAre(3, 5));
}

TEST_F(LinePages, KnowTheirRange) {
  const LineRange range = find_range(project(), "bars", second_);
  EXPECT_EQ(range.count, 4U);
  EXPECT_EQ(range.first, 2);
  EXPECT_EQ(range.last, 8);
  EXPECT_EQ(find_range(project(), "bars", 99).count, 0U);
}

TEST_F(LinePages, RefuseAColumnThatThereIsNot) {
  EXPECT_THAT([&] { ids_of({.kind = "bars", .columns = {"colour"}}); },
              ThrowsMessage<krv::rpc4::BadRequest>(
                  HasSubstr("bars have no column \"colour\": expected sheet, revision, label,")));
}

TEST(ColumnsOfKind, AreThoseOfEveryKind) {
  for (const std::string& kind : table_kinds()) {
    EXPECT_EQ(columns_of_kind(kind).at(0).name, "sheet") << kind;
  }
}

TEST_F(LinePages, FindOneLineByItsId) {
  const FoundLine<Rebar> found = find_line<Rebar>(project(), structure_, 6);
  EXPECT_EQ(found.item.mark, "3");
  EXPECT_EQ(found.item.id, 6);
  EXPECT_EQ(found.selected.revision->record.id, second_);
  EXPECT_THAT([&] { find_line<Rebar>(project(), structure_, 99); },
              ThrowsMessage<krv::rpc4::NotFound>("no bar with the id 99 in this project"));
}

TEST_F(LinePages, FindNoLineOfARevisionThatIsNotShown) {
  structure_.sheets.clear();
  EXPECT_THROW(find_line<Rebar>(project(), structure_, 1), krv::rpc4::NotFound);
}

}  // namespace
}  // namespace korvane::schedule
