#include "schedule/compare.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "platform/rpc4/failure.h"
#include "schedule/bvbs/lines.h"
#include "tests/support/filled_record.h"
#include "tests/support/random_record.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

/// Counts the values of a record, or changes one of them and says where it is.
class ChangeOfOne {
 public:
  /// Changes the value with that number.
  explicit ChangeOfOne(std::size_t target) : target_(target) {}

  template <class T>
  void change(T& record) {
    visit(record);
  }
  std::size_t count() const { return count_; }
  /// Of the value that was changed, as the report should name it; empty if it reports nothing.
  const std::string& path() const { return changed_path_; }

 private:
  void visit(bond::Bool auto& value) {
    if (is_target()) value = !value;
  }
  void visit(bond::Int32 auto& value) {
    if (is_target()) value = value == 7 ? 8 : 7;
  }
  void visit(bond::Double auto& value) {
    if (is_target()) value = value == 7.5 ? 8.5 : 7.5;
  }
  void visit(bond::Text auto& value) {
    if (is_target()) value += "x";
  }
  template <bond::Enumeration E>
  void visit(E& value) {
    const auto& known = bond::DescribeEnum<E>::enumerators;
    if (is_target()) value = value == known[0].value ? known[1].value : known[0].value;
  }
  void visit(Variant& value) {
    if (is_target()) value.value_string.set("changed");
  }
  template <bond::Nullable T>
  void visit(T& value) {
    if (value.hasvalue()) visit(*value);
    if (!is_target()) return;
    value.hasvalue() ? value.reset() : void(value.set());
  }
  template <bond::List T>
  void visit(T& list) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      at("[" + std::to_string(i) + "]", [&] { visit(list[i]); });
    }
    at("[" + std::to_string(list.size()) + "]", [&] {
      if (is_target()) list.emplace_back();
    });
  }
  template <bond::Map T>
  void visit(T& map) {
    for (auto& [key, value] : map) at("." + key, [&, &v = value] { visit(v); });
    at(".new key", [&] {
      if (is_target()) map["new key"].value_int32.set(1);
    });
  }
  template <bond::Record T>
  void visit(T& record) {
    bond::for_each_field<T>([&](const auto& field) {
      at((path_.empty() ? "" : ".") + std::string(field.name),
         [&] { visit(record.*field.member); });
    });
  }

  bool is_target() {
    if (count_++ != target_) return false;
    changed_path_ = path_;
    return true;
  }
  template <class Go>
  void at(const std::string& step, Go go) {
    const std::size_t size = path_.size();
    path_ += step;
    go();
    path_.resize(size);
  }

  std::size_t target_;
  std::size_t count_ = 0;
  std::string path_;
  std::string changed_path_;
};

template <class T>
std::size_t count_values(T record) {
  ChangeOfOne counter(static_cast<std::size_t>(-1));
  counter.change(record);
  return counter.count();
}

/// How the report names the value at `path`: not at all if it is the id of a row.
std::string reported(const std::string& path) {
  for (const char* const id : {"id", "rev_id", "sheet_id", "fabric_type.id", "fabric_type.uid",
                               "fabric_type.material.id", "fabric_type.material.uid"}) {
    if (path == id) return {};
  }
  return path == "material_id" ? "material.identity.name" : path;
}

template <class T>
Content content_of(std::vector<T> items) {
  Content content;
  if constexpr (std::is_same_v<T, Rebar>) content.bars = std::move(items);
  if constexpr (std::is_same_v<T, Fabric>) content.fabrics = std::move(items);
  if constexpr (std::is_same_v<T, BarSpacer>) content.bar_spacers = std::move(items);
  if constexpr (std::is_same_v<T, MountingPart>) content.mounting_parts = std::move(items);
  return content;
}

template <class T>
Comparison compare(const std::vector<T>& before, const std::vector<T>& after) {
  return compare_contents({}, content_of(before), {}, content_of(after));
}

std::vector<std::string> fields_of(const Comparison& comparison) {
  std::vector<std::string> fields;
  for (const LineDifference& line : comparison.lines) {
    EXPECT_EQ(line.change, Change::changed);
    for (const FieldDifference& field : line.fields) fields.push_back(field.field);
  }
  return fields;
}

template <class T>
class CompareContents : public ::testing::Test {};
using Kinds = ::testing::Types<Rebar, Fabric, BarSpacer, MountingPart>;
TYPED_TEST_SUITE(CompareContents, Kinds);

TYPED_TEST(CompareContents, FindsNothingInEqualLinesOfOtherRowsInAnotherOrder) {
  test::RandomFiller filler(1);
  std::vector<TypeParam> before(5);
  for (TypeParam& item : before) item = filler.make<TypeParam>();
  std::vector<TypeParam> after(before.rbegin(), before.rend());
  for (TypeParam& item : after) {
    item.rev_id += 5;
    item.sheet_id += 1;
    if constexpr (requires { item.id; }) item.id = 17;
  }
  EXPECT_THAT(compare(before, after).lines, IsEmpty());
}

/// Each value of a filled line, one after another.
TYPED_TEST(CompareContents, NamesExactlyTheFieldThatWasChanged) {
  test::Filler filler;
  const std::vector<TypeParam> before = {filler.make<TypeParam>(), filler.make<TypeParam>(),
                                         filler.make<TypeParam>()};
  const std::size_t count = count_values(before[1]);
  ASSERT_GT(count, 10U);
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<TypeParam> after = before;
    ChangeOfOne change(i);
    change.change(after[1]);
    const std::string expected = reported(change.path());
    const std::vector<std::string> fields = fields_of(compare(before, after));
    if (expected.empty()) {
      EXPECT_THAT(fields, IsEmpty()) << change.path();
    } else {
      EXPECT_THAT(fields, ElementsAre(expected)) << change.path();
    }
  }
}

/// Lines that cannot be told by their mark.
TYPED_TEST(CompareContents, NamesTheFieldAmongLinesOfOneMark) {
  for (std::uint32_t seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE(seed);
    test::RandomFiller filler(seed);
    std::mt19937 engine(seed);
    std::vector<TypeParam> before(4);
    for (TypeParam& item : before) {
      item = filler.make<TypeParam>();
      item.mark = "1";
      item.sheet_id = item.rev_id = 0;
      if constexpr (requires { item.id; }) item.id = 0;
    }
    std::vector<TypeParam> after = before;
    ChangeOfOne change(engine() % count_values(before[2]));
    change.change(after[2]);
    std::swap(after[2], after[3]);
    const std::string expected = reported(change.path());
    const std::vector<std::string> fields = fields_of(compare(before, after));
    if (expected.empty()) {
      EXPECT_THAT(fields, IsEmpty()) << change.path();
    } else {
      EXPECT_THAT(fields, ElementsAre(expected)) << change.path();
    }
  }
}

TYPED_TEST(CompareContents, SaysWhatWasAddedAndRemoved) {
  test::Filler filler;
  const TypeParam first = filler.make<TypeParam>();
  const TypeParam second = filler.make<TypeParam>();
  const Comparison added = compare<TypeParam>({first}, {second, first});
  ASSERT_THAT(added.lines, SizeIs(1));
  EXPECT_EQ(added.lines[0].change, Change::added);
  EXPECT_THAT(added.lines[0].mark, HasSubstr(second.mark));
  EXPECT_EQ(added.lines[0].fields[0].before, Cell());
  EXPECT_NE(added.lines[0].fields[0].after, Cell());
  const Comparison removed = compare<TypeParam>({second, first}, {first});
  ASSERT_THAT(removed.lines, SizeIs(1));
  EXPECT_EQ(removed.lines[0].change, Change::removed);
}

Rebar bar_of(const std::string& mark, double length) {
  Rebar bar;
  bar.mark = mark;
  bar.total_bars = 2;
  bar.bar_diameter = 12;
  bar.total_length = length;
  return bar;
}

TEST(CompareBars, HasBothValuesOfAField) {
  const Comparison comparison = compare<Rebar>({bar_of("1", 100)}, {bar_of("1", 200)});
  ASSERT_THAT(comparison.lines, SizeIs(1));
  EXPECT_EQ(comparison.lines[0].kind, "bars");
  EXPECT_EQ(comparison.lines[0].mark, "1");
  EXPECT_THAT(comparison.lines[0].fields,
              ElementsAre(FieldDifference{"total_length", 100.0, 200.0}));
}

TEST(CompareBars, PrefersTheSameSubmarkToAMoreSimilarLine) {
  Rebar first = bar_of("10", 100);
  first.submark.set("1");
  Rebar second = bar_of("10", 200);
  second.submark.set("2");
  Rebar other = first;
  other.total_length = 200;
  other.comment = "longer";
  const Comparison comparison = compare<Rebar>({second, first}, {other});
  ASSERT_THAT(comparison.lines, SizeIs(2));
  EXPECT_EQ(comparison.lines[0].change, Change::removed);
  EXPECT_EQ(comparison.lines[0].mark, "10.2");
  EXPECT_EQ(comparison.lines[1].change, Change::changed);
  EXPECT_EQ(comparison.lines[1].mark, "10.1");
}

TEST(CompareBars, ManyLinesOfOneMarkAreMatchedInOrder) {
  std::vector<Rebar> before;
  std::vector<Rebar> after;
  for (int i = 0; i < 300; ++i) {
    before.push_back(bar_of("1", i));
    after.push_back(bar_of("1", i + 0.5));
  }
  const Comparison comparison = compare(before, after);
  ASSERT_THAT(comparison.lines, SizeIs(300));
  EXPECT_THAT(comparison.lines[7].fields, ElementsAre(FieldDifference{"total_length", 7.0, 7.5}));
}

TEST(CompareBars, LinesOfOneMarkAreMatchedInOrderWhereASearchCostsTooMuch) {
  const Content before = content_of<Rebar>({bar_of("1", 1), bar_of("1", 2)});
  Content after = content_of<Rebar>({bar_of("1", 2.5), bar_of("1", 1)});
  for (Rebar& bar : after.bars) bar.comment = "new";
  EXPECT_THAT(compare_contents({}, before, {}, after).lines[0].fields, SizeIs(1));
  const Comparison cheap = compare_contents({}, before, {}, after, 1);
  ASSERT_THAT(cheap.lines, SizeIs(2));
  EXPECT_THAT(cheap.lines[0].fields, SizeIs(2));
  EXPECT_EQ(cheap.lines[0].fields[1], (FieldDifference{"total_length", 1.0, 2.5}));
}

Structure with_material(std::int32_t id, const std::string& name, const std::string& comment = "") {
  Structure structure;
  Material& material = structure.materials[id];
  material.id = id;
  material.uid = "uid " + std::to_string(id);
  material.identity.name = name;
  material.identity.comment = comment;
  return structure;
}

TEST(CompareBars, AMaterialIsComparedByItsValues) {
  Rebar bar = bar_of("1", 100);
  bar.material_id.set(3);
  Rebar other = bar;
  other.material_id.set(8);
  const auto fields = [&](const Structure& after) {
    return fields_of(compare_contents(with_material(3, "B500A"), content_of<Rebar>({bar}), after,
                                      content_of<Rebar>({other})));
  };
  EXPECT_THAT(fields(with_material(8, "B500A")), IsEmpty());
  EXPECT_THAT(fields(with_material(8, "B500B")), ElementsAre("material.identity.name"));
  EXPECT_THAT(fields(with_material(8, "B500A", "x")), ElementsAre("material.identity.comment"));
}

TEST(CompareFabrics, ATypeIsThatOfTheCatalogue) {
  Structure catalogue = with_material(3, "B500A");
  FabricType& type = catalogue.fabric_types[5];
  type.id = 5;
  type.type_name = "Q257";
  type.material.id = 3;
  Fabric fabric;
  fabric.fabric_type = type;
  Fabric other = fabric;
  other.fabric_type.sheet_mass = 9;
  const auto fields = [&](const Structure& after) {
    return fields_of(compare_contents(catalogue, content_of<Fabric>({fabric}), after,
                                      content_of<Fabric>({other})));
  };
  EXPECT_THAT(fields(catalogue), IsEmpty());
  Structure changed = catalogue;
  changed.fabric_types[5].sheet_mass = 7;
  EXPECT_THAT(fields(changed), ElementsAre("fabric_type.sheet_mass"));
  changed = catalogue;
  changed.materials[3].identity.name = "B500B";
  EXPECT_THAT(fields(changed), ElementsAre("fabric_type.material.identity.name"));
}

Rebar imported(std::string record) {
  record += "@C";
  record += std::to_string(bvbs::checksum(record)) + "@";
  return bvbs::read_bar(bvbs::parse_record(record, 1)).item;
}

TEST(CompareBars, OfASourceRecordOnlyWhatNoFieldHoldsCounts) {
  const std::string header = "BF2D@HjTower@r417@i";
  const std::string rest = "@p1@l1000@n10@e0.888@d12@gB500A@s48@v";
  const Rebar bar = imported(header + "a" + rest + "@Gl400@w90@l600@w0");
  EXPECT_THAT(
      fields_of(compare<Rebar>({bar}, {imported(header + "b" + rest + "@Gl400.0@w90@l600@w0")})),
      IsEmpty());
  const Rebar with_private = imported(header + "a" + rest + "@Gl400@w90@l600@w0@Px1");
  EXPECT_THAT(fields_of(compare<Rebar>({bar}, {with_private})), ElementsAre("properties.bvbs"));
  Rebar edited = with_private;
  edited.properties.erase("bvbs");
  EXPECT_THAT(fields_of(compare<Rebar>({with_private}, {edited})), IsEmpty());
  // Positions of a spacer, which no field holds.
  const Rebar spacer = imported(header + "a" + rest + "@At6@p140@p667");
  const Rebar moved = imported(header + "b" + rest + "@At6@p150@p667");
  EXPECT_THAT(fields_of(compare<Rebar>({spacer}, {moved})), ElementsAre("properties.bvbs"));
  EXPECT_THAT(fields_of(compare<Rebar>({spacer, moved}, {moved, spacer})), IsEmpty());
}

TEST(CompareBars, OfASourceRecordWithLettersBeyondAsciiTheSameCounts) {
  const std::string line =
      "BF2D@HjBr\xFC"
      "cke@r417@ia@p1@l1000@n10@e0.888@d12@gB500A@s48@v@At6@p140@p";
  const Rebar spacer = imported(line + "667");
  EXPECT_THAT(fields_of(compare<Rebar>({spacer}, {imported(line + "668")})),
              ElementsAre("properties.bvbs"));
  EXPECT_THAT(fields_of(compare<Rebar>({spacer}, {spacer})), IsEmpty());
}

SheetEntry sheet_of(const std::string& name, const std::vector<std::string>& revisions) {
  SheetEntry sheet;
  sheet.record.name = name;
  for (const std::string& revision : revisions) {
    sheet.revisions.push_back({});
    sheet.revisions.back().record.name = revision;
  }
  return sheet;
}

Structure structure_of(std::vector<SheetEntry> sheets) {
  Structure structure;
  structure.sheets = std::move(sheets);
  return structure;
}

std::vector<std::string> texts_of(const std::vector<RevisionPair>& pairs) {
  const auto text = [](const std::optional<SelectedRevision>& side) {
    return side ? side->sheet->record.name + "/" + side->revision->record.name : std::string("-");
  };
  std::vector<std::string> texts;
  for (const RevisionPair& pair : pairs) {
    texts.push_back(text(pair.before) + " " + text(pair.after));
  }
  return texts;
}

TEST(MatchRevisions, GoesByTheNamesOfSheetAndRevision) {
  const Structure before = structure_of({sheet_of("1", {"a", "b"}), sheet_of("2", {"a", "a"})});
  const Structure after = structure_of({sheet_of("2", {"a"}), sheet_of("1", {"c", "b"})});
  EXPECT_THAT(texts_of(match_revisions(before, after, {})),
              ElementsAre("1/a -", "1/b 1/b", "2/a 2/a", "2/a -", "- 1/c"));
  EXPECT_THAT(texts_of(match_revisions(before, after, {"2", std::nullopt})),
              ElementsAre("2/a 2/a", "2/a -"));
  EXPECT_THAT(
      [&] {
        match_revisions(before, after, {"3", std::nullopt});
      },
      ThrowsMessage<krv::rpc4::NotFound>("no sheet \"3\" in this project"));
  EXPECT_THAT(match_revisions({}, {}, {}), IsEmpty());
}

TEST(FindRevisions, TakesTheOnlySheetThatHasBoth) {
  const Structure structure =
      structure_of({sheet_of("1", {"a", "b", "d", "d"}), sheet_of("2", {"a", "b", "c"})});
  EXPECT_EQ(texts_of({find_revisions(structure, std::nullopt, "c", "a")}).at(0), "2/c 2/a");
  EXPECT_EQ(texts_of({find_revisions(structure, "1", "a", "b")}).at(0), "1/a 1/b");
  EXPECT_THAT(
      [&] { find_revisions(structure, std::nullopt, "a", "b"); },
      ThrowsMessage<krv::rpc4::BadRequest>("2 sheets have revisions \"a\" and \"b\": name one"));
  EXPECT_THAT([&] { find_revisions(structure, std::nullopt, "a", "z"); },
              ThrowsMessage<krv::rpc4::NotFound>("no sheet has revisions \"a\" and \"z\""));
  EXPECT_THAT(
      [&] { find_revisions(structure, "1", "a", "z"); },
      ThrowsMessage<krv::rpc4::NotFound>("sheet \"1\" does not have revisions \"a\" and \"z\""));
  EXPECT_THAT([&] { find_revisions(structure, "1", "a", "d"); },
              ThrowsMessage<krv::rpc4::BadRequest>("sheet \"1\" has several revisions \"d\""));
}

TEST(DifferenceTables, HaveTheGroupsThatDifferAndAllTogether) {
  Rebar bar = bar_of("1", 2000);
  bar.bar_type_mass_per_length = 0.888;
  Rebar thin = bar;
  thin.bar_diameter = 8;
  Rebar more = thin;
  more.total_bars = 5;
  more.total_length = 5000;
  const Comparison comparison = compare<Rebar>({bar, thin}, {bar, more});
  const auto tables = difference_tables(comparison.before, comparison.after);
  ASSERT_EQ(tables.size(), 4U);
  ASSERT_THAT(tables[0].rows, SizeIs(1));
  const auto& row = tables[0].rows[0];
  EXPECT_EQ(row[0], Cell(8.0));
  EXPECT_EQ(row[2], Cell(std::int64_t{2}));
  EXPECT_EQ(row[3], Cell(std::int64_t{5}));
  EXPECT_EQ(row[4], Cell(std::int64_t{3}));
  EXPECT_NEAR(std::get<double>(row[7]), 3 * 0.888, 1e-9);
  EXPECT_EQ(tables[0].totals.at(0)[3], Cell(std::int64_t{7}));
  EXPECT_THAT(tables[1].rows, IsEmpty());
}

TEST(DifferenceTables, ADifferenceOfUnknownWeightsIsUnknown) {
  const Comparison comparison = compare<Rebar>({bar_of("1", 100)}, {});
  const auto table = difference_tables(comparison.before, comparison.after)[0];
  EXPECT_EQ(table.rows.at(0)[5], Cell());
  EXPECT_EQ(table.rows.at(0)[7], Cell());
  EXPECT_THAT(table.notes, ElementsAre(HasSubstr("1 before, 0 after")));
}

TEST(ChangesTable, HasARowForEachFieldAndForARevisionThatIsMissing) {
  const Structure structure = structure_of({sheet_of("417", {"a", "b"})});
  const RevisionPair pair = find_revisions(structure, std::nullopt, "a", "b");
  const Table table = changes_table(pair, compare<Rebar>({bar_of("1", 1)}, {bar_of("1", 2)}));
  EXPECT_THAT(table.rows, ElementsAre(ElementsAre(Cell("417"), Cell("a"), Cell("b"), Cell("bars"),
                                                  Cell("1"), Cell("changed"), Cell("total_length"),
                                                  Cell(1.0), Cell(2.0))));
  const Table missing =
      changes_table({pair.before, std::nullopt}, compare<Rebar>({bar_of("1", 1)}, {}));
  EXPECT_THAT(missing.rows,
              ElementsAre(ElementsAre(Cell("417"), Cell("a"), Cell(), Cell("revision"), Cell(),
                                      Cell("removed"), Cell(), Cell("1 mark"), Cell())));
}

}  // namespace
}  // namespace korvane::schedule
