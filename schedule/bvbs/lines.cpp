#include "schedule/bvbs/lines.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "schedule/angles.h"
#include "schedule/bvbs/numbers.h"
#include "schedule/weights.h"

namespace korvane::schedule::bvbs {

namespace {

using model::cad::BarSpacer;
using model::cad::EndTreatment;
using model::cad::Fabric;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::Rebar;
using model::cad::RebarGeometry;
using model::geometry::Point3d;

/// Reads the fields of one block of a record as numbers, and says where one could not be read.
class BlockReader {
 public:
  BlockReader(const Record& record, const Block& block) : record_(record), block_(block) {}

  std::string text(char field) const { return std::string(block_.find(field).value_or("")); }

  /// `otherwise` for a field that is absent or empty.
  double number_or(char field, double otherwise) const {
    const std::string_view value = block_.find(field).value_or("");
    return value.empty() ? otherwise : number(field, value);
  }

  double positive_number(char field, const char* meaning) const {
    const std::string_view value = block_.find(field).value_or("");
    const std::optional<double> read = parse_number(value);
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
    const std::optional<double> read = parse_number(value);
    if (!read) refuse(field, value, "expected a number");
    return *read;
  }

  [[noreturn]] void refuse(char field, std::string_view value, const std::string& expected) const {
    throw RecordError(record_.line, std::string("block ") + block_.letter + ", field " + field +
                                        ": " + expected + ", found \"" + std::string(value) + "\"");
  }

 private:
  const Record& record_;
  const Block& block_;
};

/// Returns `number`, which was computed from several fields that are each in range.
double in_range(const Record& record, double number, const char* meaning) {
  if (!std::isfinite(number)) {
    throw RecordError(record.line, std::string(meaning) + " out of range");
  }
  return number;
}

/// Collects the legs of a flat shape: lengths or radii, each with the bend after it.
class FlatShape {
 public:
  FlatShape(const Record& record, const BlockReader& reader) : record_(record), reader_(reader) {}

  void add(char letter, std::string_view value) {
    const double number = reader_.number(letter, value);
    std::vector<GeometryObject>& pieces = geometry_.objects;
    if (letter != 'w' && expects_bend_ && pieces.back().type == GeometryObjectType::kArc) {
      reader_.refuse(letter, value, "expected the angle w of the curved leg before it");
    }
    if (letter == 'l') {
      pieces.emplace_back().length.set(number);
      expects_bend_ = true;
    } else if (letter == 'r') {
      pieces.emplace_back().radius.set(number);
      pieces.back().type = GeometryObjectType::kArc;
      expects_bend_ = true;
    } else if (letter == 'w' && expects_bend_) {
      pieces.back().angle.set(number);
      expects_bend_ = false;
    } else if (letter == 'w' && !pieces.empty() && pieces.back().type == GeometryObjectType::kArc) {
      // The bend from a curved leg into the next leg; 0 means none.
      if (number != 0) {
        pieces.emplace_back().angle.set(number);
        pieces.back().type = GeometryObjectType::kKink;
      }
    } else {
      reader_.refuse(letter, value, "expected legs l or r, each with its bend w");
    }
  }

  RebarGeometry take() {
    if (expects_bend_) throw RecordError(record_.line, "block G: the last leg has no bend w");
    return std::move(geometry_);
  }

 private:
  const Record& record_;
  const BlockReader& reader_;
  RebarGeometry geometry_;
  bool expects_bend_ = false;
};

RebarGeometry read_flat_shape(const Record& record, const Block& block) {
  const BlockReader reader(record, block);
  FlatShape shape(record, reader);
  for (const Field& field : block.fields) shape.add(field.letter, field.value);
  return shape.take();
}

/// Offsets from vertex to vertex; a coordinate that is 0 may be left out.
RebarGeometry read_spatial_shape(const Record& record, const Block& block) {
  const BlockReader reader(record, block);
  std::vector<Point3d> points = {Point3d{}};
  char last_letter = 'z';
  for (const Field& field : block.fields) {
    if (field.letter < 'x') {
      reader.refuse(field.letter, field.value, "expected offsets x, y or z");
    }
    if (field.letter <= last_letter) points.push_back(points.back());
    last_letter = field.letter;
    double& coordinate = field.letter == 'x'   ? points.back().x
                         : field.letter == 'y' ? points.back().y
                                               : points.back().z;
    coordinate = in_range(record, coordinate + reader.number(field.letter, field.value),
                          "block G: the sum of the offsets is");
  }
  RebarGeometry geometry;
  geometry.polyline = std::move(points);
  return geometry;
}

/// A flat shape, then turns and their pitch, which may change along the column.
RebarGeometry read_helix(const Record& record, const Block& block, std::string& pitches) {
  const BlockReader reader(record, block);
  FlatShape shape(record, reader);
  bool expects_pitch = false;
  for (const Field& field : block.fields) {
    if (field.letter == 'n' && !expects_pitch) {
      reader.number('n', field.value);
      pitches += (pitches.empty() ? "" : ", ") + field.value;
      expects_pitch = true;
    } else if (field.letter == 'g' && expects_pitch) {
      reader.number('g', field.value);
      pitches += " x " + field.value;
      expects_pitch = false;
    } else if (pitches.empty()) {
      shape.add(field.letter, field.value);
    } else {
      reader.refuse(field.letter, field.value, "expected turns n, each with its pitch g");
    }
  }
  if (expects_pitch) throw RecordError(record.line, "block G: the last turns n have no pitch g");
  return shape.take();
}

/// The letter that names the bent bars comes before the first leg, without an @ after it.
RebarGeometry read_bent_fabric(const Record& record, Block block, std::string& bent_bars) {
  const bool names_bars =
      !block.fields.empty() && (block.fields[0].letter == 'x' || block.fields[0].letter == 'y') &&
      (block.fields[0].value.starts_with('l') || block.fields[0].value.starts_with('r'));
  if (names_bars) {
    Field& first = block.fields[0];
    bent_bars = std::string(1, first.letter);
    first = {first.value[0], first.value.substr(1)};
  }
  return read_flat_shape(record, block);
}

/// The treatment that three fields of a block M describe, or none where all are empty.
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

void keep_text(Properties& properties, const char* key, std::string text) {
  if (!text.empty()) properties[key].value_string.set(std::move(text));
}

/// What every kind of line takes from the header.
template <class T>
void read_common(const Record& record, const BlockReader& header, Line<T>& line) {
  line.drawing = {header.text('j'), header.text('r'), header.text('i'), header.text('g'), false};
  line.item.mark = header.text('p');
  keep_text(line.item.properties, "bvbs", record.source);
  keep_text(line.item.properties, "layer", header.text('a'));
}

const Block& header_of(const Record& record) {
  const Block* const header = record.find('H');
  if (header == nullptr) throw RecordError(record.line, "no header block H");
  return *header;
}

/// Sets the kilograms per metre. The guideline asks for the weight of one piece, but some exporters
/// write that of all pieces: the reading nearer to what the diameter gives is taken.
void read_mass(const Record& record, const BlockReader& header, BarLine& bar) {
  const double stated = header.number_or('e', 0.0);
  const double expected = nominal_mass_per_length(bar.item.bar_diameter);
  const double metres = bar.cut_length / kMillimetresPerMetre;
  const double of_one = stated / metres;
  const double of_all = of_one / bar.item.total_bars;
  bar.weight_was_total = std::abs(of_all - expected) < std::abs(of_one - expected);
  bar.item.bar_type_mass_per_length =
      in_range(record, bar.weight_was_total ? of_all : of_one, "block H: the mass per metre is");
}

double sum_of_legs(const RebarGeometry& geometry) {
  double sum = 0;
  for (const GeometryObject& piece : geometry.objects) {
    if (piece.length.hasvalue()) sum += *piece.length;
    if (piece.radius.hasvalue()) sum += *piece.radius * std::abs(*piece.angle) * kRadiansPerDegree;
  }
  return sum;
}

void read_bar_shape(const Record& record, BarLine& bar) {
  Rebar& rebar = bar.item;
  const Block* const block = record.find('G');
  if (block == nullptr) {
    if (record.find('A') != nullptr) return;
    throw RecordError(record.line, "no geometry block G and no spacer positions A");
  }
  if (record.group == "BF3D") {
    rebar.geometry = read_spatial_shape(record, *block);
  } else if (record.group == "BFWE") {
    std::string pitches;
    rebar.geometry = read_helix(record, *block, pitches);
    keep_text(rebar.properties, "pitch", std::move(pitches));
  } else {
    rebar.geometry = read_flat_shape(record, *block);
    bar.sum_of_legs = sum_of_legs(rebar.geometry);
  }
}

}  // namespace

BarLine read_bar(const Record& record) {
  const BlockReader header(record, header_of(record));
  BarLine bar;
  read_common(record, header, bar);
  Rebar& rebar = bar.item;
  const std::string stagger_group = header.text('c');
  const std::size_t dot = rebar.mark.find('.');
  if (!stagger_group.empty() && dot != std::string::npos) {
    rebar.submark.set(rebar.mark.substr(dot + 1));
    rebar.mark.resize(dot);
  }
  keep_text(rebar.properties, "stagger_group", stagger_group);
  keep_text(rebar.properties, "stagger_step", header.text('t'));

  bar.cut_length = header.positive_number('l', "a cut length in millimetres");
  rebar.total_bars = header.positive_count('n', "a number of pieces");
  rebar.bar_diameter = header.positive_number('d', "a bar diameter in millimetres");
  rebar.standard_bend_diameter = header.number_or('s', 0.0);
  rebar.member_multiplier = 1;
  rebar.bars_per_member = rebar.total_bars;
  rebar.total_length =
      in_range(record, bar.cut_length * rebar.total_bars, "block H: the total length is");
  read_mass(record, header, bar);
  read_bar_shape(record, bar);
  if (const Block* const treatments = record.find('M')) {
    const BlockReader reader(record, *treatments);
    rebar.end_treatment_start = read_treatment(reader, 'a', 'b', 'c');
    rebar.end_treatment_end = read_treatment(reader, 'n', 'o', 'p');
  }
  return bar;
}

FabricLine read_fabric(const Record& record) {
  const BlockReader header(record, header_of(record));
  FabricLine line;
  read_common(record, header, line);
  Fabric& fabric = line.item;
  fabric.type_name = header.text('m');
  fabric.length = header.positive_number('l', "a length in millimetres");
  fabric.width = header.positive_number('b', "a width in millimetres");
  fabric.total_fabrics = header.positive_count('n', "a number of pieces");
  fabric.member_multiplier = 1;
  fabric.fabrics_per_member = fabric.total_fabrics;
  fabric.fabric_weight = header.number_or('e', 0.0);
  fabric.standard_bend_diameter = header.number_or('s', 0.0);
  fabric.fabric_type.type_name = fabric.type_name;
  fabric.fabric_type.overall_length = fabric.length;
  fabric.fabric_type.overall_width = fabric.width;
  fabric.fabric_type.sheet_mass = fabric.fabric_weight;
  if (const Block* const shape = record.find('G')) {
    std::string bent_bars;
    fabric.geometry.set(read_bent_fabric(record, *shape, bent_bars));
    keep_text(fabric.properties, "bent_bars", std::move(bent_bars));
  }
  return line;
}

BarSpacerLine read_bar_spacer(const Record& record) {
  const BlockReader header(record, header_of(record));
  BarSpacerLine line;
  read_common(record, header, line);
  BarSpacer& spacer = line.item;
  spacer.name = header.text('m');
  spacer.length = header.positive_number('l', "a length in millimetres");
  spacer.quantity = header.positive_count('n', "a number of pieces");
  spacer.weight_per_piece = header.number_or('e', 0.0);
  keep_text(spacer.properties, "height", header.text('h'));
  return line;
}

AnyLine read_line(const Record& record) {
  const std::string& group = record.group;
  if (group == "BF2D" || group == "BF3D" || group == "BFWE") return read_bar(record);
  if (group == "BFMA") return read_fabric(record);
  if (group == "BFAU") return read_bar_spacer(record);
  return {};
}

}  // namespace korvane::schedule::bvbs
