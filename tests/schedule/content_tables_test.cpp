#include "schedule/content_tables.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "schedule/bvbs/schedule.h"
#include "schedule/line_text.h"
#include "schedule/table_text.h"
#include "schedule/value_text.h"
#include "tests/support/filled_record.h"
#include "tests/support/records.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;

/// A sheet "417" with a revision "a", and a catalogue.
class ContentTables : public ::testing::Test {
 protected:
  ContentTables() {
    Material steel;
    steel.id = 3;
    steel.identity.name = "B500A";
    structure_.materials[3] = steel;
    SheetEntry sheet;
    sheet.record.name = "417";
    sheet.revisions.push_back({});
    sheet.revisions[0].record.name = "a";
    structure_.sheets.push_back(sheet);
  }

  Table table(const std::string& name, const Content& content) const {
    const SelectedRevision selected{&structure_.sheets[0], &structure_.sheets[0].revisions[0]};
    for (Table& each : content_tables(structure_, selected, content)) {
      if (each.name == name) return std::move(each);
    }
    return {};
  }

  /// The first row of a table by the names of its columns.
  static std::map<std::string, Cell> first_row(const Table& table) {
    std::map<std::string, Cell> row;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      row[table.columns[i].name] = table.rows.at(0).at(i);
    }
    return row;
  }
  std::map<std::string, Cell> row_of(const Rebar& bar) const {
    return first_row(table("bars", {{bar}, {}, {}, {}}));
  }
  std::map<std::string, Cell> row_of(const Fabric& fabric) const {
    return first_row(table("fabrics", {{}, {fabric}, {}, {}}));
  }
  std::map<std::string, Cell> row_of(const BarSpacer& spacer) const {
    return first_row(table("bar_spacers", {{}, {}, {spacer}, {}}));
  }
  std::map<std::string, Cell> row_of(const MountingPart& part) const {
    return first_row(table("mounting_parts", {{}, {}, {}, {part}}));
  }

  Structure structure_;
};

Rebar bar_of(const std::string& record) {
  return bvbs::read_bar(bvbs::parse_record(record, 1)).item;
}

TEST_F(ContentTables, ABarHasItsNumbersAsTheRecordStatesThem) {
  Rebar bar =
      bar_of("BF2D@HjTestPDF@r417@ia@p1@l1000@n10@e0.888@d12@gB500A@s48@v@Gl400@w90@l600@w0@C72@");
  bar.material_id.set(3);
  const auto row = row_of(bar);
  EXPECT_EQ(row.at("sheet"), Cell("417"));
  EXPECT_EQ(row.at("revision"), Cell("a"));
  EXPECT_EQ(row.at("label"), Cell("1"));
  EXPECT_EQ(row.at("total_bars"), Cell(std::int64_t{10}));
  EXPECT_EQ(row.at("bar_diameter"), Cell(12.0));
  EXPECT_EQ(row.at("length"), Cell(1000.0));
  EXPECT_EQ(row.at("legs"), Cell("400 (90°) 600"));
  EXPECT_EQ(row.at("steel"), Cell("B500A"));
  EXPECT_NEAR(std::get<double>(row.at("mass")), 8.88, 1e-9);
  EXPECT_EQ(row.at("estimated_mass"), Cell());
  EXPECT_EQ(row.at("standard_bend_diameter"), Cell(48.0));
  EXPECT_EQ(row.at("shape_code"), Cell());
  EXPECT_EQ(row.at("a"), Cell());
  EXPECT_EQ(row.at("properties"), Cell());
}

TEST_F(ContentTables, ABarHasItsDimensionsHooksAndTreatments) {
  Rebar bar;
  bar.mark_prefix.set("B");
  bar.mark = "7";
  bar.mark_suffix.set("x");
  bar.submark.set("2");
  bar.shape_code.set("21");
  bar.parameters_exact.a.set(400.4);
  bar.parameters_rounded.a.set(400);
  bar.parameters_exact.r.set(0);
  Hook hook;
  hook.type = "k180Hook";
  hook.angle = 180;
  hook.length = 120;
  hook.total_length = 150;
  hook.direction = HookDirection::kRight;
  bar.start_hook.set(hook);
  EndTreatment coupler;
  coupler.type = "coupler";
  coupler.manufacturer = "Lenton";
  coupler.diameter = 16;
  bar.end_treatment_end.set(coupler);
  bar.diff_state.set(DiffState::kAdded);
  const auto row = row_of(bar);
  EXPECT_EQ(row.at("label"), Cell("B7x.2"));
  EXPECT_EQ(row.at("mark"), Cell("7"));
  EXPECT_EQ(row.at("shape_code"), Cell("21"));
  EXPECT_EQ(row.at("a"), Cell(400.4));
  EXPECT_EQ(row.at("a_rounded"), Cell(400.0));
  EXPECT_EQ(row.at("r"), Cell(0.0));
  EXPECT_EQ(row.at("b"), Cell());
  EXPECT_EQ(row.at("start_hook"), Cell("k180Hook 180° 120 mm right, 150 mm in all"));
  EXPECT_EQ(row.at("start_hook_total_length"), Cell(150.0));
  EXPECT_EQ(row.at("start_hook_direction"), Cell("right"));
  EXPECT_EQ(row.at("end_hook_angle"), Cell());
  EXPECT_EQ(row.at("end_treatment"), Cell("coupler Lenton ø16"));
  EXPECT_EQ(row.at("end_treatment_manufacturer"), Cell("Lenton"));
  EXPECT_EQ(row.at("diff_state"), Cell("added"));
}

TEST_F(ContentTables, NoWeightIsNoValueAndEstimatedFromTheDiameter) {
  Rebar bar;
  bar.bar_diameter = 10;
  bar.total_bars = 2;
  bar.total_length = 2000;
  auto row = row_of(bar);
  EXPECT_EQ(row.at("mass"), Cell());
  EXPECT_EQ(row.at("bar_type_mass_per_length"), Cell());
  EXPECT_NEAR(std::get<double>(row.at("estimated_mass")), 2 * 0.6165, 1e-3);
  EXPECT_EQ(row_of(Fabric{}).at("mass"), Cell());
  EXPECT_EQ(row_of(BarSpacer{}).at("mass"), Cell());
}

TEST_F(ContentTables, PeopleReadWeightsInKilogramsWithTwoDecimals) {
  for (const Column& column : table("bars", {{Rebar{}}, {}, {}, {}}).columns) {
    if (column.name != "mass" && column.name != "estimated_mass") continue;
    EXPECT_EQ(column.unit, "kg") << column.name;
    EXPECT_EQ(column.decimals, 2) << column.name;
  }
}

TEST_F(ContentTables, AFabricIsOfTheTypeThatTheCatalogueHasNow) {
  FabricType type;
  type.id = 5;
  type.type_name = "Q257";
  type.material.id = 3;
  type.list_fabric.set().along_distance = 150;
  structure_.fabric_types[5] = type;
  Fabric fabric;
  fabric.fabric_type.id = 5;
  fabric.fabric_type.type_name = "as it was";
  fabric.fabric_weight = 35.28;
  fabric.total_fabrics = 10;
  const auto row = row_of(fabric);
  EXPECT_EQ(row.at("fabric_type"), Cell("Q257"));
  EXPECT_EQ(row.at("steel"), Cell("B500A"));
  EXPECT_EQ(row.at("list_fabric"), Cell("along distance 150"));
  EXPECT_EQ(row.at("list_fabric_along_distance"), Cell(150.0));
  EXPECT_NEAR(std::get<double>(row.at("mass")), 352.8, 1e-9);
  fabric.fabric_type.id = 6;
  EXPECT_EQ(row_of(fabric).at("fabric_type"), Cell("as it was"));
}

TEST_F(ContentTables, AnUnknownMaterialIsNamedByItsId) {
  MountingPart part;
  part.material_id = 9;
  EXPECT_EQ(row_of(part).at("material"), Cell("material 9"));
}

TEST_F(ContentTables, TheSourceRecordIsNotAmongTheProperties) {
  BarSpacer spacer;
  spacer.properties["bvbs"].value_string.set("BFAU@...");
  spacer.properties["height"].value_string.set("160");
  spacer.properties["layer"].value_int32.set(2);
  const auto row = row_of(spacer);
  EXPECT_EQ(row.at("properties"), Cell("height: 160; layer: 2"));
  EXPECT_EQ(row.at("bvbs"), Cell("BFAU@..."));
}

/// A record that is filled leaves no column empty, but those that depend on others.
TEST_F(ContentTables, EveryColumnOfAFilledLineHasAValue) {
  test::Filler filler;
  Content content;
  content.bars.push_back(filler.make<Rebar>());
  content.fabrics.push_back(filler.make<Fabric>());
  content.bar_spacers.push_back(filler.make<BarSpacer>());
  content.mounting_parts.push_back(filler.make<MountingPart>());
  for_each_kind(
      [](auto& list) {
        if constexpr (requires { list[0].properties; }) {
          list[0].properties["bvbs"].value_string.set("BF2D@");
        }
      },
      content);
  for (const std::string name : {"bars", "fabrics", "bar_spacers", "mounting_parts"}) {
    const Table filled = table(name, content);
    std::set<std::string> names;
    for (const auto& column : filled.columns) names.insert(column.name);
    EXPECT_EQ(names.size(), filled.columns.size()) << name;
    for (const auto& [column, cell] : first_row(filled)) {
      if (column == "estimated_mass") continue;
      EXPECT_NE(cell, Cell()) << name << ": " << column;
    }
  }
}

/// Collects the texts and numbers of a record, with their places.
class Values {
 public:
  template <class T>
  static std::map<std::string, std::string> of(const T& record) {
    Values values;
    values.visit(record);
    return std::move(values.values_);
  }

 private:
  void visit(const bond::Text auto& text) { keep(text); }
  void visit(bond::Double auto number) { keep(format_number(number, 6)); }
  void visit(bond::Int32 auto number) { keep(std::to_string(number)); }
  void visit(const bond::Blob auto&) {}
  void visit(bond::Bool auto) {}
  template <bond::Enumeration E>
  void visit(E) {}
  void visit(const bond::Nullable auto& value) {
    if (value.hasvalue()) visit(*value);
  }
  void visit(const bond::List auto& list) {
    for (const auto& element : list) visit(element);
  }
  void visit(const bond::Map auto& map) {
    for (const auto& [key, value] : map) {
      keep(key);
      visit(value);
    }
  }
  template <bond::Record T>
  void visit(const T& record) {
    bond::for_each_field<T>([&](const auto& field) {
      const std::string outer = path_;
      path_ += (path_.empty() ? "" : ".") + std::string(field.name);
      visit(record.*field.member);
      path_ = outer;
    });
  }
  void keep(const std::string& value) { values_[value] = path_; }

  std::string path_;
  /// Places by value: each has one of its own.
  std::map<std::string, std::string> values_;
};

template <class T>
void expect_all_shown(const T& item, const Table& table, const std::set<std::string>& others) {
  std::string all;
  for (const Cell& cell : table.rows.at(0)) all += cell_text(cell) + "\n";
  std::set<std::string> missing;
  for (const auto& [value, path] : Values::of(item)) {
    if (all.find(value) == std::string::npos) missing.insert(path);
  }
  EXPECT_EQ(missing, others) << table.name;
}

/// Each value that is stored is in some column, but for ids of rows and what is said of materials
/// besides their names.
TEST_F(ContentTables, AllThatIsStoredOfALineIsShown) {
  test::Filler filler;
  const auto bar = filler.make<Rebar>();
  expect_all_shown(bar, table("bars", {{bar}, {}, {}, {}}),
                   {"id", "rev_id", "sheet_id", "textblock.items.rows.cells.implicit_unit"});
  const auto fabric = filler.make<Fabric>();
  expect_all_shown(
      fabric, table("fabrics", {{}, {fabric}, {}, {}}),
      {"rev_id", "sheet_id", "textblock.items.rows.cells.implicit_unit", "fabric_type.id",
       "fabric_type.uid", "fabric_type.material.id", "fabric_type.material.uid",
       "fabric_type.material.identity.comment", "fabric_type.material.identity.description",
       "fabric_type.material.identity.keyword", "fabric_type.material.physical.comment",
       "fabric_type.material.physical.density", "fabric_type.material.physical.description",
       "fabric_type.material.physical.keyword", "fabric_type.material.physical.name"});
  const auto spacer = filler.make<BarSpacer>();
  expect_all_shown(spacer, table("bar_spacers", {{}, {}, {spacer}, {}}), {"rev_id", "sheet_id"});
  const auto part = filler.make<MountingPart>();
  expect_all_shown(part, table("mounting_parts", {{}, {}, {}, {part}}),
                   {"id", "rev_id", "sheet_id"});
}

TEST_F(ContentTables, ARevisionWithoutContentHasFourEmptyTables) {
  const SelectedRevision selected{&structure_.sheets[0], &structure_.sheets[0].revisions[0]};
  const auto tables = content_tables(structure_, selected, {});
  ASSERT_EQ(tables.size(), 4U);
  for (const Table& each : tables) {
    EXPECT_TRUE(each.rows.empty());
    EXPECT_FALSE(each.columns.empty());
  }
}

TEST(LegsText, SaysCurvedSpatialAndRelabelledLegs) {
  const auto legs = [](const std::string& record) { return legs_text(bar_of(record).geometry); };
  EXPECT_EQ(legs("BF2D@HjTestPDF@r417@ia@p1@l1428@n10@e1.268@d12@gB500A@s48@v@"
                 "Gl400@w45@r400@w90@w45@l400@w0@C93@"),
            "400 (45°) R400 (90°) (45°) 400");
  EXPECT_EQ(legs("BF3D@HjTestPDF@r417@ia@p1@l1500@n10@e1.332@d12@gB500A@s48@v@Gx294@y0@z0@x0@y288@"
                 "z0@x0@y0@z288@x0@y-288@z0@x294@y0@z0@C82@"),
            "3D 294 288 288 288 294");
  RebarGeometry geometry;
  geometry.objects.resize(1);
  geometry.objects[0].length.set(400);
  geometry.objects[0].display_length.set(410);
  geometry.objects[0].labels = {{GeometryLabelType::Length, "L1"}, {GeometryLabelType::Angle, "2"}};
  EXPECT_EQ(legs_text(geometry), "400 [410]");
  EXPECT_EQ(labels_text(geometry), "L1; 2");
}

TEST(TextblockText, HasRowsAndCells) {
  Textblock block;
  block.items.rows.resize(2);
  block.items.rows[0].cells.resize(2);
  block.items.rows[0].cells[0].value.value_string.set("a");
  block.items.rows[0].cells[1].value.value_double.set(2.5);
  block.items.rows[1].cells.resize(1);
  block.items.rows[1].cells[0].value.bool_.set(true);
  EXPECT_EQ(textblock_text(block), "a | 2.5 / true");
}

}  // namespace
}  // namespace korvane::schedule
