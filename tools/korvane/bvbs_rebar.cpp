#include "tools/korvane/bvbs_rebar.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace korvane::bvbs {

namespace {

using model::cad::EndTreatment;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::Rebar;
using model::cad::RebarGeometry;

constexpr double kMillimetresPerMetre = 1000.0;

/// Kilograms a metre of a bar of one millimetre: steel of 7850 kg/m³, a circle of that diameter.
constexpr double kMassOfUnitBar = 7850.0 * 3.14159265358979323846 / 4.0 * 1e-6;

/// Reads the fields of one block of a record as numbers, and says where one could not be read.
class BlockReader {
 public:
  BlockReader(const Record& record, const Block& block) : record_(record), block_(block) {}

  std::string text(char field) const { return std::string(block_.find(field).value_or("")); }

  /// An absent or empty field is `otherwise`.
  double number_or(char field, double otherwise) const {
    const std::string_view value = block_.find(field).value_or("");
    return value.empty() ? otherwise : number(field, value);
  }

  double positive_number(char field, const char* meaning) const {
    const std::string_view value = block_.find(field).value_or("");
    const std::optional<double> read = parse(value);
    if (!read || !(*read > 0)) refuse(field, value, std::string("expected ") + meaning);
    return *read;
  }

  std::int32_t positive_count(char field, const char* meaning) const {
    const std::string_view value = block_.find(field).value_or("");
    std::int32_t count = 0;
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, count);
    if (error != std::errc() || rest != end || count <= 0) {
      refuse(field, value, std::string("expected ") + meaning);
    }
    return count;
  }

  double number(char field, std::string_view value) const {
    const std::optional<double> read = parse(value);
    if (!read) refuse(field, value, "expected a number");
    return *read;
  }

  [[noreturn]] void refuse(char field, std::string_view value, const std::string& expected) const {
    throw RecordError(record_.line, std::string("block ") + block_.letter + ", field " + field +
                                        ": " + expected + ", found \"" + std::string(value) + "\"");
  }

 private:
  /// Decimal point or decimal comma.
  static std::optional<double> parse(std::string_view value) {
    std::string text(value);
    std::replace(text.begin(), text.end(), ',', '.');
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || !std::isfinite(number)) return std::nullopt;
    return number;
  }

  const Record& record_;
  const Block& block_;
};

RebarGeometry read_geometry(const Record& record, const Block& block) {
  const BlockReader reader(record, block);
  RebarGeometry geometry;
  bool expects_angle = false;
  for (const Field& field : block.fields) {
    const double value = reader.number(field.letter, field.value);
    if (field.letter == 'l' || field.letter == 'r') {
      GeometryObject& piece = geometry.objects.emplace_back();
      if (field.letter == 'l') {
        piece.length.set(value);
      } else {
        piece.type = GeometryObjectType::kArc;
        piece.radius.set(value);
      }
      expects_angle = true;
    } else if (field.letter == 'w' && expects_angle) {
      geometry.objects.back().angle.set(value);
      expects_angle = false;
    } else if (field.letter == 'w' && !geometry.objects.empty() &&
               geometry.objects.back().type == GeometryObjectType::kArc) {
      // The bend from a curved leg into the next: 0 goes on without one.
      if (value != 0) {
        GeometryObject& kink = geometry.objects.emplace_back();
        kink.type = GeometryObjectType::kKink;
        kink.angle.set(value);
      }
    } else {
      reader.refuse(field.letter, field.value, "expected legs l or r, each with its bend w");
    }
  }
  if (expects_angle) {
    throw RecordError(record.line, "block G: the last leg has no bend w");
  }
  return geometry;
}

/// The treatment that three fields of a block M tell, or none where all are empty.
bond::nullable<EndTreatment> read_treatment(const BlockReader& reader, char manufacturer,
                                            char model, char kind) {
  EndTreatment treatment;
  treatment.manufacturer = reader.text(manufacturer);
  treatment.model = reader.text(model);
  const std::string type = reader.text(kind);
  treatment.type = type == "1" ? "coupler" : type == "2" ? "thread" : type;
  if (treatment == EndTreatment{}) return {};
  return bond::nullable<EndTreatment>(std::move(treatment));
}

void keep_text(Rebar& rebar, const char* key, std::string text) {
  if (!text.empty()) rebar.properties[key].value_string.set(std::move(text));
}

/// Kilograms a metre. The guideline has the weight of one piece, and some exporters write the
/// weight of all: the reading nearer to what the diameter gives is taken.
void read_mass(const BlockReader& header, double cut_length, FlatBar& bar) {
  const double stated = header.number_or('e', 0.0);
  const double expected = kMassOfUnitBar * bar.rebar.bar_diameter * bar.rebar.bar_diameter;
  const double metres = cut_length / kMillimetresPerMetre;
  const double of_one = stated / metres;
  const double of_all = of_one / bar.rebar.total_bars;
  bar.weight_was_total = std::abs(of_all - expected) < std::abs(of_one - expected);
  bar.rebar.bar_type_mass_per_length = bar.weight_was_total ? of_all : of_one;
}

}  // namespace

FlatBar flat_bar(const Record& record) {
  const Block* const header_block = record.find('H');
  if (header_block == nullptr) throw RecordError(record.line, "no header block H");
  const BlockReader header(record, *header_block);
  FlatBar bar;
  Rebar& rebar = bar.rebar;
  bar.project = header.text('j');
  bar.sheet = header.text('r');
  bar.revision = header.text('i');
  bar.steel = header.text('g');

  rebar.mark = header.text('p');
  const std::string stagger_group = header.text('c');
  const std::size_t dot = rebar.mark.find('.');
  if (!stagger_group.empty() && dot != std::string::npos) {
    rebar.submark.set(rebar.mark.substr(dot + 1));
    rebar.mark.resize(dot);
  }

  const double cut_length = header.positive_number('l', "a cut length in millimetres");
  rebar.total_bars = header.positive_count('n', "a number of pieces");
  rebar.bar_diameter = header.positive_number('d', "a bar diameter in millimetres");
  rebar.standard_bend_diameter = header.number_or('s', 0.0);
  rebar.member_multiplier = 1;
  rebar.bars_per_member = rebar.total_bars;
  rebar.total_length = cut_length * rebar.total_bars;
  read_mass(header, cut_length, bar);

  if (const Block* const geometry = record.find('G')) {
    rebar.geometry = read_geometry(record, *geometry);
  } else if (record.find('A') == nullptr) {
    throw RecordError(record.line, "no geometry block G and no spacer positions A");
  }
  if (const Block* const treatments = record.find('M')) {
    const BlockReader reader(record, *treatments);
    rebar.end_treatment_start = read_treatment(reader, 'a', 'b', 'c');
    rebar.end_treatment_end = read_treatment(reader, 'n', 'o', 'p');
  }
  keep_text(rebar, "bvbs", record.source);
  keep_text(rebar, "layer", header.text('a'));
  keep_text(rebar, "stagger_step", header.text('t'));
  keep_text(rebar, "stagger_group", stagger_group);
  return bar;
}

}  // namespace korvane::bvbs
