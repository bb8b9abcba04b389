#include "schedule/structure_faults.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/change_mark.h"

namespace korvane::schedule {
namespace {

using model::cad::Revision;
using model::cad::Sheet;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = StructureFault::Kind;

Sheet sheet(std::int32_t id, const std::string& name) {
  Sheet sheet;
  sheet.id = id;
  sheet.uid = "sheet " + std::to_string(id);
  sheet.name = name;
  return sheet;
}

Revision revision(std::int32_t id, std::int32_t sheet_id, const std::string& name) {
  Revision revision;
  revision.id = id;
  revision.uid = "revision " + std::to_string(id);
  revision.sheet_id = sheet_id;
  revision.name = name;
  return revision;
}

template <class T>
T marked(T record, const std::string& text, std::int32_t changed) {
  record.properties[kChangeProperty].value_int32.set(changed);
  record.properties[kChangeProperty].value_string.set(text);
  return record;
}

std::vector<std::string> texts(const std::vector<Sheet>& sheets,
                               const std::vector<Revision>& revisions) {
  std::vector<std::string> texts;
  for (const StructureFault& fault : structure_faults(sheets, revisions)) {
    texts.push_back(fault.text);
  }
  return texts;
}

TEST(StructureFaults, AreNamesThatSeveralBear) {
  EXPECT_THAT(texts({sheet(1, "417"), sheet(2, "418"), sheet(5, "417"), sheet(6, "417")},
                    {revision(1, 1, "a"), revision(2, 2, "a"), revision(3, 2, "a")}),
              ElementsAre("the sheets 1, 5, 6 are all named \"417\"",
                          "the revisions 2, 3 of sheet 2 are all named \"a\""));
}

TEST(StructureFaults, AreNotWhatHasNoName) {
  EXPECT_THAT(texts({sheet(1, ""), sheet(2, "")}, {revision(1, 1, ""), revision(2, 1, "")}),
              IsEmpty());
}

TEST(StructureFaults, AreChangesThatWereBrokenOff) {
  EXPECT_THAT(texts({marked(sheet(3, "417"), "importing a:1:1 0", 0)},
                    {marked(revision(2, 1, "a"), "filling a:1:1 0", 1),
                     marked(revision(3, 1, "a"), "whole a:1:1 0", 1),
                     marked(revision(4, 1, "a"), "placed a:1:1 0", 1),
                     marked(revision(5, 1, "a"), "removing a:1:1 0", 1), revision(1, 1, "a")}),
              ElementsAre("sheet 3: an import was broken off; what it made is not shown",
                          "revision 2: a change of revision 1 was broken off: new lines were being "
                          "stored; it still has the old ones",
                          "revision 3: a change of revision 1 was broken off: its new lines are "
                          "whole, and were being put in their place",
                          "revision 4: a change of revision 1 was broken off: it has its new "
                          "lines; their first copy is left",
                          "revision 5: a change of revision 1 was broken off: it was being "
                          "removed"));
}

TEST(StructureFaults, SayThatAMakerMayBeAtWork) {
  ChangeMark mark;
  mark.uid = "revision 2";
  mark.changed_revision = 1;
  const std::optional<OwnChange> own(mark);
  Revision change = revision(2, 1, "a");
  write_mark(mark, change.properties);
  const auto faults = structure_faults({}, {change});
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_EQ(faults[0].kind, Kind::change_at_work);
  EXPECT_EQ(faults[0].id, 2);
  EXPECT_FALSE(faults[0].is_sheet);
}

TEST(StructureFaults, AreNotTheNamesOfWhatAnImportStillMakes) {
  ChangeMark mark;
  mark.uid = "sheet 3";
  mark.step = ChangeStep::importing;
  mark.made_uids = {"sheet 4", "revision 2"};
  const std::optional<OwnChange> own(mark);
  Sheet bearer = sheet(3, "");
  write_mark(mark, bearer.properties);
  const auto faults = structure_faults({sheet(1, "417"), bearer, sheet(4, "417")},
                                       {revision(1, 1, "a"), revision(2, 1, "a")});
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_EQ(faults[0].kind, Kind::change_at_work);
}

}  // namespace
}  // namespace korvane::schedule
