#include "schedule/edit.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "schedule/changes.h"
#include "schedule/content.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using krv::rpc4::BadRequest;
using krv::rpc4::NotFound;
using testing::HasSubstr;
using testing::SizeIs;
using testing::ThrowsMessage;

TEST(Assignments, AreAFieldAndAValue) {
  EXPECT_EQ(parse_assignment("comment=a=b").field, "comment");
  EXPECT_EQ(parse_assignment("comment=a=b").value, "a=b");
  EXPECT_EQ(parse_assignment("comment=").value, "");
}

TEST(Assignments, NeedAFieldAndASign) {
  for (const std::string text : {"", "=", "=12", "total_bars"}) {
    EXPECT_THAT(
        [&] { parse_assignment(text); },
        ThrowsMessage<BadRequest>("\"" + text + "\" is not an assignment: expected FIELD=VALUE"));
  }
}

class Edited : public testing::Test {
 protected:
  Edited() {
    structure_.materials[7].id = 7;
    structure_.materials[7].identity.name = "B500B";
    structure_.materials[8].id = 8;
    structure_.materials[8].identity.name = "B500A";
    bar_.material_id.set(7);
    bar_.mark = "10";
    bar_.member_multiplier = 2;
    bar_.bars_per_member = 6;
    bar_.total_bars = 12;
    bar_.total_length = 12 * 1500.0;
  }

  Rebar with(const std::vector<std::string>& texts) const {
    std::vector<Assignment> assignments;
    for (const std::string& text : texts) assignments.push_back(parse_assignment(text));
    return edited(bar_, assignments, structure_);
  }

  auto refuses(const std::string& text, const std::string& why) const {
    EXPECT_THAT([&] { with({text}); }, ThrowsMessage<BadRequest>(HasSubstr(why))) << text;
  }

  Structure structure_;
  Rebar bar_;
};

TEST_F(Edited, TakesNumbersTextsAndNull) {
  const Rebar bar = with(
      {"comment=bent on site", "bar_diameter=14.5", "shape_code=21", "hook_bend_diameter=null"});
  EXPECT_EQ(bar.comment, "bent on site");
  EXPECT_EQ(bar.bar_diameter, 14.5);
  EXPECT_EQ(*bar.shape_code, "21");
  EXPECT_TRUE(bar.hook_bend_diameter.empty());
}

TEST_F(Edited, TakesATextThatReadsAsANumber) { EXPECT_EQ(with({"mark=11"}).mark, "11"); }

TEST_F(Edited, TakesAQuotedTextAsJson) {
  EXPECT_EQ(*with({R"(shape_code="null")"}).shape_code, "null");
}

TEST_F(Edited, TakesFieldsInsideByTheirPath) {
  const Rebar bar =
      with({"parameters_exact.a=300", "geometry.objects[0].length=250", "start_hook.angle=90"});
  EXPECT_EQ(*bar.parameters_exact.a, 300);
  ASSERT_THAT(bar.geometry.objects, SizeIs(1));
  EXPECT_EQ(*bar.geometry.objects[0].length, 250);
  EXPECT_EQ(bar.start_hook->angle, 90);
}

TEST_F(Edited, TakesTheSteelByItsName) { EXPECT_EQ(*with({"steel=B500A"}).material_id, 8); }

TEST_F(Edited, RefusesASteelThatTheProjectDoesNotHave) {
  EXPECT_THAT([&] { with({"steel=S235"}); },
              ThrowsMessage<NotFound>("no material \"S235\" in this project"));
  EXPECT_THAT([&] { with({"material_id=9"}); }, testing::Throws<NotFound>());
}

TEST_F(Edited, KeepsTheLengthOfOnePieceWhenTheirNumberChanges) {
  const Rebar bar = with({"total_bars=20"});
  EXPECT_EQ(bar.total_length, 20 * 1500.0);
  EXPECT_EQ(bar.bars_per_member, 10);
}

TEST_F(Edited, LeavesTheCountOfAMemberWhereTheTotalCannotBeShared) {
  const Rebar bar = with({"total_bars=21"});
  EXPECT_EQ(bar.total_bars, 21);
  EXPECT_EQ(bar.bars_per_member, 6);
}

TEST_F(Edited, CountsThePiecesOfAllMembers) {
  const Rebar bar = with({"member_multiplier=3"});
  EXPECT_EQ(bar.total_bars, 18);
  EXPECT_EQ(bar.total_length, 18 * 1500.0);
}

TEST_F(Edited, LeavesALengthThatIsAssignedAsWell) {
  EXPECT_EQ(with({"total_bars=20", "total_length=5"}).total_length, 5);
}

TEST_F(Edited, RefusesMorePiecesThanALineCanHave) {
  refuses("member_multiplier=2000000000", "12000000000 bars are more than a line can have");
}

TEST_F(Edited, TakesTheLeastNumberOfPiecesWhateverTheMultiplier) {
  bar_.member_multiplier = -1;
  bar_.bars_per_member = -12;
  const Rebar bar = with({"total_bars=-2147483648"});
  EXPECT_EQ(bar.total_bars, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(bar.bars_per_member, -12);
}

TEST_F(Edited, RefusesAPathOfMoreLevelsThanARecordCanHave) {
  std::string dots = "a";
  std::string brackets = "a";
  for (int i = 0; i < 100'000; ++i) {
    dots += ".a";
    brackets += "[0]";
  }
  refuses(dots + "=1", "…\" is not a field: expected a path such as");
  refuses(brackets + "=1", "…\" is not a field: expected a path such as");
}

TEST_F(Edited, NamesTheFieldThatKeepsABarFromBeingEdited) {
  bar_.total_length = std::numeric_limits<double>::quiet_NaN();
  refuses("comment=x", "the bar cannot be edited: total_length: NaN cannot be written as JSON");
}

TEST_F(Edited, RefusesWhatTheStoreSets) {
  for (const std::string field : {"id", "rev_id", "sheet_id"}) {
    refuses(field + "=1", field + " cannot be edited: the store sets it");
  }
}

TEST_F(Edited, RefusesAFieldThatThereIsNot) {
  refuses("weight=3", "weight=3: weight: unknown field");
  refuses("parameters_exact.x=3", "parameters_exact.x: unknown field");
}

TEST_F(Edited, RefusesAPathThatLeadsNowhere) {
  for (const std::string text :
       {"comment.a=1", ".=1", "a..b=1", "geometry.objects[=1", "geometry.objects[x]=1",
        "geometry.objects[5].length=1", "geometry.objects[99999999]=1", "parameters_exact[0]=1",
        "geometry.objects[0]x=1", "geometry.objects[0..length=1", "geometry.objects[0x.length=1",
        "textblock.items.rows[99999999]=1", "textblock.items.rows[10000]=1"}) {
    refuses(text, "is not a field");
  }
}

TEST_F(Edited, RefusesAValueOfAnotherType) {
  refuses("total_bars=many", "total_bars: expected");
  refuses("total_bars=1.5", "total_bars: expected");
  refuses("total_bars=99999999999", "total_bars: expected");
  refuses("comment=\xFF", "expected text in UTF-8");
}

TEST_F(Edited, RefusesAFieldThatIsAssignedTwice) {
  EXPECT_THAT(
      [&] {
        with({"comment=a", "comment=b"});
      },
      ThrowsMessage<BadRequest>("comment is assigned twice"));
}

class EditBar : public test::StoreTest {
 protected:
  EditBar() {
    const std::int32_t material = make_material();
    Sheet sheet;
    sheet.name = "417";
    SheetRef sheet_ref;
    project().create_sheet(sheet, sheet_ref);
    Revision revision;
    revision.name = "a";
    revision.sheet_id = sheet_ref.id.value();
    RevisionRef ref;
    project().create_revision(revision, ref);
    revision_ = ref.id.value();
    Content content;
    for (const char* const mark : {"10", "11", "11"}) {
      content.bars.push_back(test::minimal_bar(0, material));
      content.bars.back().mark = mark;
    }
    content.bars[2].submark.set("2");
    content.bar_spacers.push_back(test::full_bar_spacer(0));
    add_content(project(), revision.sheet_id, revision_, content);
  }

  EditedBar edit(const std::string& mark, const std::string& assignment, bool is_trial = false) {
    return edit_bar(project(), {"417", "a"}, mark, {parse_assignment(assignment)}, is_trial);
  }

  std::int32_t revision_ = 0;
};

TEST_F(EditBar, ChangesTheColumnsAndLosesNothingElse) {
  const EditedBar result = edit("10", "comment=corrected");
  EXPECT_EQ(result.before.comment, "");
  EXPECT_EQ(result.after.comment, "corrected");
  EXPECT_EQ(value("select comment from rebar where mark = '10'"), "corrected");
  EXPECT_EQ(count("rebar"), 3);
  EXPECT_EQ(count("barspacer"), 1);
}

TEST_F(EditBar, FindsABarByItsRowAndSaysWhereItIsNow) {
  const EditedBar result =
      edit_bar(project(), 2, {parse_assignment("comment=corrected")}, /*is_trial=*/false);
  EXPECT_EQ(result.after.mark, "11");
  EXPECT_EQ(value("select id from rebar where comment = 'corrected'"), std::to_string(result.id));
  EXPECT_EQ(result.revision.record.id, revision_);
  EXPECT_EQ(result.revision.content_id, revision_);
  EXPECT_THAT([&] { edit_bar(project(), 99, {parse_assignment("comment=x")}, false); },
              ThrowsMessage<NotFound>("no bar with the id 99 in this project"));
}

TEST_F(EditBar, WithANumberThatIsNoneIsNotTakenForOneThatOthersChange) {
  Content content = ContentReader(project()).read(revision_);
  content.bars[1].total_length = std::numeric_limits<double>::quiet_NaN();
  replace_content(project(), revision_, content);
  const std::int32_t id = std::stoi(*value("select id from rebar where total_length is null"));
  EXPECT_THAT([&] { edit_bar(project(), id, {parse_assignment("comment=x")}, false); },
              ThrowsMessage<BadRequest>(
                  "the bar cannot be edited: total_length: NaN cannot be written as JSON"));
}

TEST_F(EditBar, CanBeEndedBeforeEachAssignment) {
  struct TooLong {};
  const auto before = all_of("rebar");
  const std::vector<Assignment> assignments = {parse_assignment("comment=x"),
                                               parse_assignment("comment_2=y")};
  int steps = 0;
  const auto step = [&] {
    if (++steps == 2) throw TooLong();
  };
  EXPECT_THROW(edit_bar(project(), 2, assignments, /*is_trial=*/false, {}, step), TooLong);
  EXPECT_EQ(steps, 2);
  EXPECT_EQ(all_of("rebar"), before);
}

TEST_F(EditBar, ChangesNothingWheneverItsCheckRefuses) {
  struct Refused {};
  const auto before = all_of("rebar");
  int checks = 0;
  const auto edit_until = [&](int last) {
    int calls = 0;
    edit_bar(project(), 2, {parse_assignment("comment=x")}, /*is_trial=*/false,
             [&](const RevisionEntry& revision) {
               EXPECT_EQ(revision.record.id, revision_);
               checks = ++calls;
               if (calls == last) throw Refused();
             });
  };
  for (int last = 1; last <= 3; ++last) {
    EXPECT_THROW(edit_until(last), Refused) << last;
    EXPECT_EQ(all_of("rebar"), before) << last;
    EXPECT_EQ(count("revision"), 1) << last;
  }
  edit_until(99);
  EXPECT_EQ(checks, 3);
  EXPECT_EQ(value("select mark from rebar where comment = 'x'"), "11");
}

TEST_F(EditBar, FindsABarByItsSubmark) {
  edit("11.2", "comment=corrected");
  EXPECT_EQ(value("select submark from rebar where comment = 'corrected'"), "2");
}

TEST_F(EditBar, StoresNothingOnTrial) {
  EXPECT_EQ(edit("10", "comment=corrected", true).after.comment, "corrected");
  EXPECT_EQ(count("rebar"), 3);
  EXPECT_EQ(value("select count(*) from rebar where comment = 'corrected'"), "0");
}

TEST_F(EditBar, RefusesAMarkThatNoBarHas) {
  EXPECT_THAT([&] { edit("12", "comment=x"); },
              ThrowsMessage<NotFound>("no bar \"12\" in sheet \"417\", revision \"a\""));
}

TEST_F(EditBar, RefusesAMarkThatSeveralBarsHave) {
  EXPECT_THAT(
      [&] { edit("11", "comment=x"); },
      ThrowsMessage<BadRequest>("2 bars have the mark \"11\" in sheet \"417\", revision \"a\""));
}

TEST_F(EditBar, RefusesASheetThatIsNotThere) {
  EXPECT_THAT(
      [&] {
        edit_bar(project(), {"418", "a"}, "10", {}, false);
      },
      ThrowsMessage<NotFound>("no sheet \"418\" in this project"));
  EXPECT_THAT(
      [&] {
        edit_bar(project(), {"417", "b"}, "10", {}, false);
      },
      ThrowsMessage<NotFound>("no revision \"b\" of sheet \"417\""));
}

}  // namespace
}  // namespace korvane::schedule
