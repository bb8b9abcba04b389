#include "schedule/bvbs/write_schedule.h"

#include <sstream>
#include <string>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/bvbs/schedule.h"
#include "tests/schedule/bvbs/plain_reader.h"
#include "tests/support/text_of.h"

namespace korvane::schedule::bvbs {
namespace {

using model::cad::Material;
using testing::ElementsAre;
using testing::IsEmpty;

std::string example(const std::string& file) { return test::text_of(KORVANE_EXAMPLES "/" + file); }

/// One sheet with one revision, and the materials that a schedule names.
struct SmallProject {
  Structure structure;
  Content content;

  SmallProject() {
    structure.project.properties["project"].value_string.set("TestPDF");
    SheetEntry& sheet = structure.sheets.emplace_back();
    sheet.record.name = "417";
    sheet.revisions.emplace_back().record.name = "a";
  }

  std::int32_t material(const std::string& name) {
    for (const auto& [id, material] : structure.materials) {
      if (material.identity.name == name) return id;
    }
    const auto id = static_cast<std::int32_t>(structure.materials.size()) + 1;
    structure.materials[id].identity.name = name;
    return id;
  }

  SelectedRevision selected() const {
    return {&structure.sheets[0], &structure.sheets[0].revisions[0]};
  }

  /// Takes the lines of a file as an import stores them.
  void import(const std::string& file) {
    const std::string text = example(file);
    read_schedule(text, [&](AnyLine&& line, const SourceLine&) {
      if (const auto* const bar = std::get_if<BarLine>(&line)) {
        content.bars.push_back(bar->item);
        content.bars.back().material_id.set(material(bar->drawing.steel));
      } else if (const auto* const fabric = std::get_if<FabricLine>(&line)) {
        content.fabrics.push_back(fabric->item);
        const auto id = static_cast<std::int32_t>(structure.fabric_types.size()) + 1;
        structure.fabric_types[id] = fabric->item.fabric_type;
        structure.fabric_types[id].material.id = material(fabric->drawing.steel);
        content.fabrics.back().fabric_type.id = id;
      } else if (const auto* const spacer = std::get_if<BarSpacerLine>(&line)) {
        content.bar_spacers.push_back(spacer->item);
      }
    });
  }

  std::string written(WrittenSchedule& result) const {
    std::ostringstream output;
    result = write_schedule(output, structure, selected(), content);
    return output.str();
  }
};

TEST(WriteSchedule, AnUnchangedFileComesOutByteForByte) {
  SmallProject project;
  project.import("guideline.abs");
  // The bar spacers of the file are of another revision.
  const std::vector<model::cad::BarSpacer> spacers = std::move(project.content.bar_spacers);
  project.content.bar_spacers.clear();
  WrittenSchedule result;
  std::string text = project.written(result);
  project.content = {};
  project.content.bar_spacers = spacers;
  project.structure.sheets[0].revisions[0].record.name = "";
  text += project.written(result);
  EXPECT_EQ(text, example("guideline.abs"));
  EXPECT_THAT(result.refusals, IsEmpty());
}

TEST(WriteSchedule, ASheetThatIsNamedAfterItsFileHasNoNumberAgain) {
  SmallProject project;
  project.import("shapes.abs");
  project.content.bars.pop_back();  // of another drawing
  model::cad::Sheet& sheet = project.structure.sheets[0].record;
  sheet.name = "shapes";
  sheet.properties["bvbs.name_instead"].value_string.set("shapes");
  project.structure.sheets[0].revisions[0].record.name = "";
  WrittenSchedule result;
  const std::string text = example("shapes.abs");
  EXPECT_EQ(project.written(result), text.substr(0, text.rfind("BF2D@")));
  EXPECT_EQ(result.lines, 19U);

  sheet.name = "T1";
  for (const test::PlainRecord& record : test::read_plain_file(project.written(result))) {
    EXPECT_EQ(record.header.at('r'), "T1");
  }
}

TEST(WriteSchedule, NamesWhatTheFormatCannotSay) {
  SmallProject project;
  project.import("guideline.abs");
  project.content.bars.resize(1);
  project.content.fabrics.clear();
  project.content.bar_spacers.clear();
  project.content.bars.push_back(project.content.bars[0]);
  project.content.bars[0].mark = "77";
  project.content.bars[0].geometry = {};
  project.content.mounting_parts.emplace_back().mark = "M1";
  WrittenSchedule result;
  const std::string text = project.written(result);
  EXPECT_EQ(result.lines, 1U);
  EXPECT_EQ(test::read_plain_file(text).size(), 1U);
  EXPECT_THAT(result.refusals,
              ElementsAre("mark 77: no geometry, and the format needs one",
                          "mark M1: a mounting part, and the format has no record for one"));
}

TEST(WriteSchedule, TellsRemarks) {
  SmallProject project;
  project.import("guideline.abs");
  project.content.bars.resize(1);
  project.content.bars[0].mark = "7";
  project.content.bars[0].mark_suffix.set("b");
  WrittenSchedule result;
  static_cast<void>(project.written(result));
  EXPECT_THAT(result.remarks,
              ElementsAre("mark 7: the prefix and suffix of its mark are left out"));
}

TEST(SteelOf, IsTheNameOfTheMaterialOfTheCatalogue) {
  SmallProject project;
  model::cad::Rebar bar;
  EXPECT_EQ(steel_of(project.structure, bar), "");
  bar.material_id.set(project.material("B500B"));
  EXPECT_EQ(steel_of(project.structure, bar), "B500B");
  bar.material_id.set(99);
  EXPECT_EQ(steel_of(project.structure, bar), "");
  model::cad::Fabric fabric;
  fabric.fabric_type.id = 5;
  fabric.fabric_type.material.id = project.material("B500B");
  EXPECT_EQ(steel_of(project.structure, fabric), "B500B");
  project.structure.fabric_types[5].material.id = project.material("B500A");
  EXPECT_EQ(steel_of(project.structure, fabric), "B500A");
}

}  // namespace
}  // namespace korvane::schedule::bvbs
