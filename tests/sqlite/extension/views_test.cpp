#include <cmath>
#include <map>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/tables/tables.h"
#include "schedule/content_tables.h"
#include "schedule/table_text.h"
#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/store_test.h"

namespace korvane {
namespace {

using namespace model::cad;
using test::kNull;
using test::LoadedConnection;
using test::Rows;
using testing::HasSubstr;

class Views : public test::StoreTest {
 protected:
  Views() {
    Material material;
    material.identity.name = "B500A";
    MaterialRef material_reply;
    project().create_material(material, material_reply);
    material_ = material_reply.id.value();
    Sheet sheet;
    sheet.name = "417";
    sheet.comment = "ground floor";
    sheet.properties["scale"].value_int32.set(50);
    SheetRef sheet_reply;
    project().create_sheet(sheet, sheet_reply);
    sheet_ = sheet_reply.id.value();
    Revision revision;
    revision.name = "a";
    revision.sheet_id = sheet_;
    RevisionRef revision_reply;
    project().create_revision(revision, revision_reply);
    revision_ = revision_reply.id.value();
    FabricTypeRef type_reply;
    project().create_fabric_type(test::full_fabric_type(material_), type_reply);
    fabric_type_ = type_reply.id.value();
    add({test::full_rebar(revision_, material_), test::minimal_bar(revision_, material_)});
    add({test::full_fabric(revision_, fabric_type_),
         test::minimal_fabric(revision_, fabric_type_)});
    add({test::full_bar_spacer(revision_), test::minimal_bar_spacer(revision_)});
    add({test::full_mounting_part(revision_, material_),
         test::minimal_mounting_part(revision_, material_)});
  }

  Rows view(const std::string& sql) const { return LoadedConnection(file()).rows(sql); }

  /// Each column of a table against the view's of the same name.
  template <class T>
  void expect_columns(const std::string& view_name) const {
    const auto table = model::tables::table_of<T>();
    for (const auto& column : table.columns()) {
      if (column.name == "raw" || column.name == "sheet_id") continue;
      EXPECT_EQ(view("select " + column.name + " from " + view_name + " order by id"),
                rows("select " + column.name + " from " + table.name() + " order by id"))
          << column.name;
    }
  }

  std::int32_t material_ = 0;
  std::int32_t sheet_ = 0;
  std::int32_t revision_ = 0;
  std::int32_t fabric_type_ = 0;
};

TEST_F(Views, CarryTheColumnsOfTheirTables) {
  expect_columns<Rebar>("bars");
  expect_columns<Fabric>("fabrics");
  expect_columns<BarSpacer>("bar_spacers");
  expect_columns<MountingPart>("mounting_parts");
  expect_columns<Sheet>("sheets");
  EXPECT_EQ(view("select id, uid, sheet_id from revisions"),
            rows("select id, uid, sheet_id from revision"));
}

TEST_F(Views, BarsHaveNames) {
  EXPECT_EQ(
      view("select sheet, revision, label, steel, rev_id, sheet_id from bars order by id"),
      (Rows{{"417", "a", "P-17-S.b", "B500A", "1", "1"}, {"417", "a", "", "B500A", "1", "1"}}));
}

TEST_F(Views, BarsHaveLegsHooksAndTreatments) {
  EXPECT_EQ(view("select legs, vertices, start_hook_type, start_hook_direction, start_hook_length, "
                 "end_hook_direction, end_hook_angle, start_treatment_model, "
                 "end_treatment_draw_pointer from bars order by id"),
            (Rows{{R"([{"length":0.75,"display_length":0.76,"labels":[{"text":"75"}]},)"
                   R"({"type":"arc","angle":90.5,"radius":0.06,"labels":[{"type":"radius",)"
                   R"("text":"R6"},{"type":"angle","text":"90"}]}])",
                   "[[0.1,0.2,0.3],[1.1,1.2,1.3]]", "kAngleHook", "right", "0.15", "left", "135.25",
                   test::treatment("start").model, "1"},
                  {kNull, kNull, kNull, kNull, kNull, kNull, kNull, kNull, kNull}}));
}

TEST_F(Views, BarsHaveStateTextsAndProperties) {
  EXPECT_EQ(view("select diff_state, custom_text, textblock, properties, "
                 "out_of_plane_bend_diameter from bars order by id"),
            (Rows{{"added", "see detail 4", "[[6.25]]", R"({"layer":"T1"})", "0.098"},
                  {kNull, kNull, kNull, kNull, kNull}}));
}

TEST_F(Views, FabricsHaveTheirType) {
  EXPECT_EQ(view("select label, fabric_type, steel, type_name, multiplier, fabric_type_sheet_mass, "
                 "fabric_type_is_list_fabric, fabric_type_description, list_fabric_along_distance, "
                 "legs is null, textblock is null from fabrics order by id"),
            (Rows{{"F-M17-u", "R257A", "B500A", "R257A cut", "6", "49.75", "1", "one way", "0.15",
                   "0", "0"},
                  {"", "R257A", "B500A", "", "1", "49.75", "1", "one way", "0.15", "1", "1"}}));
}

TEST_F(Views, BarSpacersAndMountingPartsHaveNames) {
  EXPECT_EQ(view("select sheet, revision from bar_spacers"), (Rows{{"417", "a"}, {"417", "a"}}));
  EXPECT_EQ(view("select sheet, revision, material from mounting_parts"),
            (Rows{{"417", "a", "B500A"}, {"417", "a", "B500A"}}));
}

TEST_F(Views, SheetsAndRevisionsHaveNames) {
  EXPECT_EQ(view("select name, comment, properties ->> 'scale' from sheets"),
            (Rows{{"417", "ground floor", "50"}}));
  EXPECT_EQ(view("select sheet, name, properties, content_id = id from revisions"),
            (Rows{{"417", "a", kNull, "1"}}));
}

TEST_F(Views, ShowARevisionWithoutASheet) {
  run_plainly("update revision set sheet_id = null");
  EXPECT_EQ(view("select sheet, revision, sheet_id from bars where id = 1"),
            (Rows{{kNull, "a", kNull}}));
}

TEST_F(Views, ShowNoLineWithoutARevision) {
  add({test::minimal_bar_spacer(4711)});
  EXPECT_EQ(view("select count(*) from bar_spacers"), (Rows{{"2"}}));
}

TEST_F(Views, ReadNoRecordForColumnsAlone) {
  set_raw("rebar", 1, "FF");
  EXPECT_EQ(view("select count(*), sum(total_bars) from bars"), (Rows{{"2", "24"}}));
  EXPECT_THAT(LoadedConnection(file()).failure("select legs from bars"),
              HasSubstr("raw is not a Rebar"));
}

TEST_F(Views, HaveNoValuesOfARecordThatIsNull) {
  run_plainly("update rebar set raw = null; update material set raw = null");
  EXPECT_EQ(view("select mark, legs, steel from bars where id = 1"), (Rows{{"17", kNull, kNull}}));
}

TEST_F(Views, DescribeAnOpenValueShortly) {
  Rebar bar = test::minimal_bar(revision_, material_);
  bar.properties["none"] = {};
  bar.properties["bool"].bool_.set(true);
  bar.properties["not a number"].value_double.set(std::nan(""));
  bar.properties["not UTF-8"].value_string.set("\xFF");
  bar.properties["blob"].value_blob.set(bond::blob("a", 1));
  bar.properties["two"].value_int32.set(1);
  bar.properties["two"].value_string.set("one");
  add({bar});
  EXPECT_EQ(
      view("select properties from bars where id = 3"),
      (Rows{{"{\"blob\":\"YQ==\",\"bool\":true,\"none\":null,\"not UTF-8\":\"\xEF\xBF\xBD\","
             "\"not a number\":null,\"two\":{\"value_int32\":1,\"value_string\":\"one\"}}"}}));
}

/// The cells of one kind of line as the commands print them, by column, a text each.
std::map<std::string, std::vector<test::CellText>> printed_columns(const schedule::Table& table) {
  std::map<std::string, std::vector<test::CellText>> columns;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    for (const auto& row : table.rows) {
      test::CellText text;
      if (const auto* const count = std::get_if<std::int64_t>(&row[i])) {
        text = std::to_string(*count);
      } else if (const auto* const number = std::get_if<double>(&row[i])) {
        text = schedule::format_number(*number, 6);
      } else if (const auto* const letters = std::get_if<std::string>(&row[i])) {
        text = *letters;
      }
      columns[table.columns[i].name].push_back(text);
    }
  }
  return columns;
}

TEST_F(Views, SayWhatTheCommandsSayUnderTheSameName) {
  // Texts for people there, and JSON or numbers here.
  const std::set<std::string> others = {"legs",
                                        "vertices",
                                        "properties",
                                        "textblock",
                                        "start_treatment_draw_pointer",
                                        "end_treatment_draw_pointer"};
  const auto structure = schedule::read_structure(project());
  const auto selected = schedule::select_revisions(structure, {});
  ASSERT_EQ(selected.size(), 1U);
  const schedule::Content content = schedule::ContentReader(project()).read(revision_);
  std::size_t compared = 0;
  for (const schedule::Table& table : schedule::content_tables(structure, selected[0], content)) {
    const auto known = view("select lower(name) from pragma_table_info('" + table.name + "')");
    for (const auto& [name, cells] : printed_columns(table)) {
      const bool is_known = std::find(known.begin(), known.end(), test::Row{name}) != known.end();
      if (!is_known || others.count(name) != 0) continue;
      ++compared;
      const auto found =
          view("select " + name + ", typeof(" + name + ") from " + table.name + " order by id");
      // The first row has every field set; where the second has an empty text or 0, a table for
      // people may have nothing.
      ASSERT_EQ(found.size(), 2U);
      ASSERT_TRUE(found[0][0].has_value()) << table.name << "." << name;
      const bool is_real = found[0][1] == "real";
      EXPECT_EQ(is_real ? schedule::format_number(std::stod(*found[0][0]), 6) : *found[0][0],
                cells[0])
          << table.name << "." << name;
    }
  }
  EXPECT_GT(compared, 100U);
}

}  // namespace
}  // namespace korvane
