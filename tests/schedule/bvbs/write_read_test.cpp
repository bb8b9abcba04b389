// Random records of every kind: what is written is read by both readers as what the record says, and
// what is not written is refused with a reason.

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "contracts/cad/bar_spacer.describe.h"
#include "contracts/cad/fabric.describe.h"
#include "contracts/cad/rebar.describe.h"
#include "schedule/bvbs/letters.h"
#include "schedule/bvbs/source.h"
#include "schedule/bvbs/write.h"
#include "tests/schedule/bvbs/plain_reader.h"
#include "tests/schedule/bvbs/random_lines.h"
#include "tests/support/vector_json.h"

namespace korvane::schedule::bvbs {
namespace {

using model::cad::BarSpacer;
using model::cad::Fabric;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::Rebar;
using model::geometry::Point3d;
using test::PlainRecord;

constexpr std::uint32_t kRecords = 2500;

/// Equal, or off by the last digits of a product or sum of some numbers.
bool is_near(double one, double other, double scale = 0) {
  return std::abs(one - other) <= 1e-14 * std::max({std::abs(one), std::abs(other), scale});
}

/// Pieces as the format has them: a bend in the leg, none where there is none.
std::vector<GeometryObject> as_read(const std::vector<GeometryObject>& pieces) {
  std::vector<GeometryObject> read;
  for (const GeometryObject& piece : pieces) {
    if (piece.type == GeometryObjectType::kKink) {
      const double bend = *piece.angle;
      GeometryObject& leg = read.back();
      if (leg.type == GeometryObjectType::kLine) {
        leg.angle.set(bend);
      } else if (bend != 0) {
        read.push_back(piece);
      }
      continue;
    }
    read.push_back(piece);
    if (piece.type == GeometryObjectType::kLine && !piece.angle) read.back().angle.set(0);
  }
  return read;
}

/// Takes over values that are near enough, so that the rest can be compared exactly.
void take_over(double& expected, double read, double scale = 0) {
  if (is_near(expected, read, scale)) expected = read;
}

Rebar as_read(Rebar bar, const Rebar& read, bool is_weight_doubtful) {
  for (auto* treatment : {&bar.end_treatment_start, &bar.end_treatment_end}) {
    if (*treatment && **treatment == model::cad::EndTreatment{}) treatment->reset();
  }
  bar.geometry.objects = as_read(bar.geometry.objects);
  take_over(bar.total_length, read.total_length);
  take_over(bar.bar_type_mass_per_length, read.bar_type_mass_per_length);
  if (is_weight_doubtful) bar.bar_type_mass_per_length = read.bar_type_mass_per_length;
  if (bar.submark && bar.properties.count("stagger_group") == 0) {
    bar.properties["stagger_group"].value_string.set(bar.mark.empty() ? "0" : bar.mark);
  }
  double scale = 0;
  for (const Point3d& point : bar.geometry.polyline) {
    scale = std::max({scale, std::abs(point.x), std::abs(point.y), std::abs(point.z)});
  }
  const Point3d first = bar.geometry.polyline.empty() ? Point3d{} : bar.geometry.polyline.front();
  for (std::size_t i = 0; i < bar.geometry.polyline.size(); ++i) {
    Point3d& point = bar.geometry.polyline[i];
    point = {point.x - first.x, point.y - first.y, point.z - first.z};
    if (i >= read.geometry.polyline.size()) continue;
    take_over(point.x, read.geometry.polyline[i].x, scale);
    take_over(point.y, read.geometry.polyline[i].y, scale);
    take_over(point.z, read.geometry.polyline[i].z, scale);
  }
  return bar;
}

Fabric as_read(Fabric fabric, const Fabric& /*read*/, bool /*is_weight_doubtful*/) {
  if (fabric.geometry) fabric.geometry->objects = as_read(fabric.geometry->objects);
  if (!fabric.geometry) fabric.properties.erase("bent_bars");
  return fabric;
}

BarSpacer as_read(BarSpacer spacer, const BarSpacer& /*read*/, bool /*is_weight_doubtful*/) {
  return spacer;
}

void expect_same(const Drawing& read, const Drawing& written, bool has_steel) {
  EXPECT_EQ(read.project, written.project);
  EXPECT_EQ(read.sheet, written.sheet);
  EXPECT_EQ(read.revision, written.revision);
  if (has_steel) {
    EXPECT_EQ(read.steel, written.steel);
  }
}

double stated(const PlainRecord& record, char letter) {
  const std::string& text = record.header.at(letter);
  return std::strtod(text.c_str(), nullptr);
}

std::string text_in(const PlainRecord& record, char letter) {
  const auto found = record.header.find(letter);
  return found == record.header.end() ? "" : utf8_from_windows1252(found->second);
}

std::string text_of(const Properties& properties, const char* key) {
  const auto found = properties.find(key);
  return found == properties.end() ? "" : *found->second.value_string;
}

/// Holds the legs to the pieces, which are read one after the other.
void expect_legs(const PlainRecord& record, const std::vector<GeometryObject>& pieces) {
  const std::vector<GeometryObject> expected = as_read(pieces);
  std::size_t next = 0;
  for (const test::PlainLeg& leg : record.legs) {
    ASSERT_LT(next, expected.size());
    const GeometryObject& piece = expected[next++];
    EXPECT_EQ(leg.is_curved, piece.type == GeometryObjectType::kArc);
    EXPECT_EQ(leg.size, leg.is_curved ? *piece.radius : *piece.length);
    EXPECT_EQ(leg.angle, *piece.angle);
    if (leg.next_bend.value_or(0) != 0) {
      ASSERT_LT(next, expected.size());
      EXPECT_EQ(*leg.next_bend, *expected[next++].angle);
    }
  }
  EXPECT_EQ(next, expected.size());
}

void expect_offsets(const PlainRecord& record, const std::vector<Point3d>& points) {
  ASSERT_EQ(record.offsets.size() + 1, points.size());
  for (std::size_t i = 1; i < points.size(); ++i) {
    const auto& [x, y, z] = record.offsets[i - 1];
    const auto expect = [&](double Point3d::*coordinate, double offset) {
      double scale = 0;
      for (const Point3d& point : points) scale = std::max(scale, std::abs(point.*coordinate));
      EXPECT_TRUE(is_near(offset, points[i].*coordinate - points[i - 1].*coordinate, 8 * scale));
    };
    expect(&Point3d::x, x);
    expect(&Point3d::y, y);
    expect(&Point3d::z, z);
  }
}

void expect_says(const PlainRecord& record, const Rebar& bar) {
  EXPECT_EQ(text_in(record, 'p'), bar.submark ? bar.mark + "." + *bar.submark : bar.mark);
  EXPECT_EQ(stated(record, 'n'), bar.total_bars);
  EXPECT_TRUE(is_near(stated(record, 'l') * bar.total_bars, bar.total_length));
  EXPECT_TRUE(
      is_near(stated(record, 'e'), bar.bar_type_mass_per_length * (stated(record, 'l') / 1000)));
  EXPECT_EQ(stated(record, 'd'), bar.bar_diameter);
  EXPECT_EQ(stated(record, 's'), bar.standard_bend_diameter);
  EXPECT_EQ(text_in(record, 'a'), text_of(bar.properties, "layer"));
  EXPECT_EQ(text_in(record, 't'), text_of(bar.properties, "stagger_step"));
  if (record.group == "BF3D") {
    expect_offsets(record, bar.geometry.polyline);
  } else {
    expect_legs(record, bar.geometry.objects);
  }
  EXPECT_EQ(record.group == "BFWE", bar.properties.count("pitch") != 0);
  EXPECT_EQ(record.turns.empty(), record.group != "BFWE");
  if (record.treatments.empty()) return;
  EXPECT_EQ(record.treatments.size(), 6U);
  const auto expect_treatment = [&](const auto& treatment, char manufacturer, char kind) {
    const model::cad::EndTreatment given = treatment ? *treatment : model::cad::EndTreatment{};
    EXPECT_EQ(utf8_from_windows1252(record.treatments.at(manufacturer)), given.manufacturer);
    EXPECT_EQ(record.treatments.at(kind) == "1", given.type == "coupler");
    EXPECT_EQ(record.treatments.at(kind) == "2", given.type == "thread");
  };
  expect_treatment(bar.end_treatment_start, 'a', 'c');
  expect_treatment(bar.end_treatment_end, 'n', 'p');
}

void expect_says(const PlainRecord& record, const Fabric& fabric) {
  EXPECT_EQ(text_in(record, 'p'), fabric.mark);
  EXPECT_EQ(text_in(record, 'm'), fabric.type_name);
  EXPECT_EQ(stated(record, 'n'), fabric.total_fabrics);
  EXPECT_EQ(stated(record, 'l'), fabric.length);
  EXPECT_EQ(stated(record, 'b'), fabric.width);
  EXPECT_EQ(stated(record, 'e'), fabric.fabric_weight);
  EXPECT_EQ(stated(record, 's'), fabric.standard_bend_diameter);
  if (!fabric.geometry) {
    EXPECT_TRUE(record.legs.empty());
    return;
  }
  expect_legs(record, fabric.geometry->objects);
  const std::string bent = text_of(fabric.properties, "bent_bars");
  EXPECT_EQ(record.bent_bars, bent.empty() ? 0 : bent[0]);
}

void expect_says(const PlainRecord& record, const BarSpacer& spacer) {
  EXPECT_EQ(text_in(record, 'p'), spacer.mark);
  EXPECT_EQ(text_in(record, 'm'), spacer.name);
  EXPECT_EQ(text_in(record, 'h'), text_of(spacer.properties, "height"));
  EXPECT_EQ(stated(record, 'n'), spacer.quantity);
  EXPECT_EQ(stated(record, 'l'), spacer.length);
  EXPECT_EQ(stated(record, 'e'), spacer.weight_per_piece);
}

/// How a kind of record is made, written and read.
struct Bars {
  static Rebar make(test::RandomLines& random) { return random.bar(); }
  static WrittenLine write(const Rebar& bar, const Drawing& drawing) {
    return write_bar(bar, drawing);
  }
  static void drop_stale(Rebar& bar, const std::string& steel) { drop_stale_source(bar, steel); }
  static Line<Rebar> read(const Record& record) { return read_bar(record); }
};
struct Fabrics {
  static Fabric make(test::RandomLines& random) { return random.fabric(); }
  static WrittenLine write(const Fabric& fabric, const Drawing& drawing) {
    return write_fabric(fabric, drawing);
  }
  static void drop_stale(Fabric& fabric, const std::string& steel) {
    drop_stale_source(fabric, steel);
  }
  static Line<Fabric> read(const Record& record) { return read_fabric(record); }
};
struct BarSpacers {
  static BarSpacer make(test::RandomLines& random) { return random.bar_spacer(); }
  static WrittenLine write(const BarSpacer& spacer, const Drawing& drawing) {
    return write_bar_spacer(spacer, drawing);
  }
  static void drop_stale(BarSpacer& spacer, const std::string& /*steel*/) {
    drop_stale_source(spacer);
  }
  static Line<BarSpacer> read(const Record& record) { return read_bar_spacer(record); }
};

template <class Kind>
class RandomRecords : public testing::Test {};

struct KindName {
  template <class Kind>
  static std::string GetName(int) {
    if (std::is_same_v<Kind, Bars>) return "Bars";
    return std::is_same_v<Kind, Fabrics> ? "Fabrics" : "BarSpacers";
  }
};

using Kinds = testing::Types<Bars, Fabrics, BarSpacers>;
TYPED_TEST_SUITE(RandomRecords, Kinds, KindName);

TYPED_TEST(RandomRecords, ReadAsWhatTheySayOrAreRefusedWithAReason) {
  std::size_t written_count = 0;
  for (std::uint32_t seed = 0; seed < kRecords; ++seed) {
    test::RandomLines random(seed);
    const auto item = TypeParam::make(random);
    const Drawing drawing = random.drawing();
    SCOPED_TRACE("seed " + std::to_string(seed) + " " + test::vector_text(item));
    const WrittenLine written = TypeParam::write(item, drawing);
    ASSERT_NE(written.line.empty(), written.refusal.empty());
    if (written.line.empty()) continue;
    ++written_count;
    SCOPED_TRACE(written.line);

    auto read = TypeParam::read(parse_record(written.line, 1));
    ASSERT_TRUE(states_the_same(read.item, read.drawing));
    ASSERT_EQ(TypeParam::write(read.item, read.drawing).line, written.line);
    read.item.properties.erase("bvbs");
    const bool is_weight_doubtful =
        !written.remarks.empty() && written.remarks.back().find("weight") != std::string::npos;
    const auto expected = as_read(item, read.item, is_weight_doubtful);
    ASSERT_TRUE(read.item == expected) << test::vector_text(read.item) << '\n'
                                       << test::vector_text(expected);
    expect_same(read.drawing, drawing, written.line.substr(0, 4) != "BFAU");

    const PlainRecord plain = test::read_plain(written.line);
    EXPECT_TRUE(test::has_whole_header(plain));
    EXPECT_EQ(text_in(plain, 'j'), drawing.project);
    EXPECT_EQ(text_in(plain, 'r'), drawing.sheet);
    EXPECT_EQ(text_in(plain, 'i'), drawing.revision);
    expect_says(plain, item);
    if (this->HasFailure()) return;
  }
  EXPECT_GT(written_count, kRecords / 3);
  EXPECT_LT(written_count, kRecords);
}

/// What a correction leaves of the imported line says the same as the record written anew.
TYPED_TEST(RandomRecords, ReadAsWhatTheySayAfterACorrection) {
  std::size_t corrected_count = 0;
  for (std::uint32_t seed = 0; seed < kRecords; ++seed) {
    test::RandomLines random(seed);
    const WrittenLine before = TypeParam::write(TypeParam::make(random), random.drawing());
    auto item = TypeParam::make(random);
    const Drawing drawing = random.drawing();
    const WrittenLine anew = TypeParam::write(item, drawing);
    if (before.line.empty()) continue;
    // The record has become another one, and keeps the line of the old one with more in it.
    std::string old = before.line.substr(0, before.line.rfind("@C") + 1);
    if (seed % 2 == 0) old += "PtSEGOPT;o0@";
    item.properties["bvbs"].value_string.set(utf8_from_windows1252(old + "C0@"));
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + old + "\n" + anew.line);
    const WrittenLine corrected = TypeParam::write(item, drawing);
    ASSERT_EQ(corrected.refusal.empty(), anew.refusal.empty());
    if (corrected.line.empty()) continue;
    ++corrected_count;
    SCOPED_TRACE(corrected.line);
    auto read = TypeParam::read(parse_record(corrected.line, 1));
    auto expected = TypeParam::read(parse_record(anew.line, 1));
    read.item.properties.erase("bvbs");
    expected.item.properties.erase("bvbs");
    ASSERT_TRUE(read.item == expected.item) << test::vector_text(read.item) << '\n'
                                            << test::vector_text(expected.item);
    expect_same(read.drawing, expected.drawing, true);
    static_cast<void>(test::read_plain(corrected.line));

    // Nor does the help for edits leave the old line.
    TypeParam::drop_stale(item, drawing.steel);
    ASSERT_EQ(item.properties.count("bvbs"), 0U);
    ASSERT_EQ(TypeParam::write(item, drawing).line, corrected.line);
    if (this->HasFailure()) return;
  }
  EXPECT_GT(corrected_count, kRecords / 6);
}

}  // namespace
}  // namespace korvane::schedule::bvbs
