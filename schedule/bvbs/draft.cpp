#include "schedule/bvbs/draft.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "schedule/bvbs/numbers.h"
#include "schedule/bvbs/shape_text.h"

namespace korvane::schedule::bvbs {

namespace {

using model::cad::BarSpacer;
using model::cad::EndTreatment;
using model::cad::Fabric;
using model::cad::Rebar;
using Meaning = DraftField::Meaning;

constexpr double kMillimetresPerMetre = 1000.0;

/// The fields of the header that say what one piece is like.
constexpr std::string_view kBodyFields = "ldmbh";

std::string text_property(const Properties& properties, const char* key) {
  const auto found = properties.find(key);
  if (found == properties.end()) return {};
  const Variant& value = found->second;
  if (value.value_string) return *value.value_string;
  if (value.value_int32) return std::to_string(*value.value_int32);
  if (value.value_double && std::isfinite(*value.value_double)) {
    return number_text(*value.value_double);
  }
  return {};
}

void require_finite(double number, const char* what) {
  if (!std::isfinite(number)) {
    throw CannotSay(std::string("its ") + what + " is not a finite number");
  }
}

void require_pieces(std::int32_t count) {
  if (count <= 0) throw CannotSay("no pieces, and the format needs a number of them");
}

/// Lists the fields of a block.
class FieldList {
 public:
  void text(char letter, std::string text, const char* what) {
    add({letter, Meaning::text, std::move(text), what});
  }
  void optional_text(char letter, std::string text, const char* what) {
    add({letter, Meaning::text, std::move(text), what, true});
  }
  void positive(char letter, double number, const char* what) {
    require_finite(number, what);
    if (!(number > 0)) throw CannotSay(std::string("no ") + what + ", and the format needs one");
    add({letter, Meaning::number, number_text(number), what});
  }
  /// Nothing is stated of a 0.
  void number(char letter, double number, const char* what) {
    require_finite(number, what);
    add({letter, Meaning::number, number == 0 ? "" : number_text(number), what});
  }
  void number_text_of(char letter, std::string text, const char* what) {
    add({letter, Meaning::number, std::move(text), what});
  }
  void pieces(std::int32_t count) {
    require_pieces(count);
    add({'n', Meaning::count, std::to_string(count), "number of pieces"});
  }
  void reserved(char letter) { add({letter, Meaning::reserved, "", ""}); }

  /// What every header begins with. `mark` is with the submark.
  void names(const Drawing& drawing, std::string mark) {
    text('j', drawing.project, "project's name");
    text('r', drawing.sheet, "sheet's name");
    text('i', drawing.revision, "revision's name");
    text('p', std::move(mark), "mark");
  }

  void layer(const Properties& properties) {
    optional_text('a', text_property(properties, "layer"), "property \"layer\"");
  }

  std::vector<DraftField> take() { return std::move(fields_); }

 private:
  void add(DraftField field) { fields_.push_back(std::move(field)); }

  std::vector<DraftField> fields_;
};

std::string stated_kind(const std::string& type) {
  if (type == "coupler") return "1";
  if (type == "thread") return "2";
  return type;
}

std::vector<DraftField> treatments_of(const Rebar& bar) {
  FieldList list;
  const auto add = [&](const bond::nullable<EndTreatment>& given, const char* letters) {
    const EndTreatment treatment = given ? *given : EndTreatment{};
    list.text(letters[0], treatment.manufacturer, "end treatment's manufacturer");
    list.text(letters[1], treatment.model, "end treatment's model");
    list.text(letters[2], stated_kind(treatment.type), "end treatment's type");
  };
  add(bar.end_treatment_start, "abc");
  add(bar.end_treatment_end, "nop");
  std::vector<DraftField> fields = list.take();
  const bool has_any = std::any_of(fields.begin(), fields.end(),
                                   [](const DraftField& field) { return !field.text.empty(); });
  return has_any ? std::move(fields) : std::vector<DraftField>{};
}

struct StaggeredMark {
  std::string mark;
  std::string group;
};

/// A mark and its submark, joined by the dot that separates them in a staggered set. A set whose
/// group nobody named is called after its mark.
StaggeredMark staggered_mark(const Rebar& bar) {
  StaggeredMark result{bar.mark, text_property(bar.properties, "stagger_group")};
  const bool is_set = bar.submark || !result.group.empty();
  if (is_set && bar.mark.find('.') != std::string::npos) {
    throw CannotSay("its mark has a dot, after which a staggered set has its submark");
  }
  if (!bar.submark) return result;
  result.mark += "." + *bar.submark;
  if (result.group.empty()) result.group = bar.mark.empty() ? "0" : bar.mark;
  return result;
}

/// The cut length: a text which the pieces make the total length of.
std::string cut_length_of(const Rebar& bar) {
  require_finite(bar.total_length, "total length");
  const double pieces = bar.total_bars;
  std::string text = number_text_that(bar.total_length / pieces,
                                      [&](double cut) { return cut * pieces == bar.total_length; });
  const double cut_length = parse_number(text).value_or(0);
  // A weight is divided by it, in metres.
  if (!(cut_length / kMillimetresPerMetre > 0)) {
    throw CannotSay("no total length, and the format needs the length of a piece");
  }
  require_finite(cut_length * pieces, "total length");
  return text;
}

/// The weight of one piece, or nothing where it is not known.
std::string weight_of(const Rebar& bar, const std::string& cut_length) {
  const double mass = bar.bar_type_mass_per_length;
  require_finite(mass, "mass per length");
  if (mass == 0) return {};
  const double metres = *parse_number(cut_length) / kMillimetresPerMetre;
  const double weight = mass * metres;
  require_finite(weight, "weight");
  require_finite(weight / metres, "weight");
  return number_text_that(weight, [&](double stated) { return stated / metres == mass; });
}

}  // namespace

const DraftField* Draft::find(char letter) const {
  const auto found = std::find_if(header.begin(), header.end(), [letter](const DraftField& field) {
    return field.letter == letter;
  });
  return found == header.end() ? nullptr : &*found;
}

bool has_same_body(const Draft& one, const Draft& other) {
  if (one.group != other.group || one.shape != other.shape) return false;
  return std::all_of(kBodyFields.begin(), kBodyFields.end(), [&](char letter) {
    const DraftField* const field = one.find(letter);
    return field == nullptr || *field == *other.find(letter);
  });
}

Draft draft_of(const Rebar& bar, const Drawing& drawing) {
  Draft draft;
  StaggeredMark mark = staggered_mark(bar);
  FieldList header;
  header.names(drawing, std::move(mark.mark));
  require_pieces(bar.total_bars);
  const std::string cut_length = cut_length_of(bar);
  header.number_text_of('l', cut_length, "length");
  header.pieces(bar.total_bars);
  header.number_text_of('e', weight_of(bar, cut_length), "weight");
  header.positive('d', bar.bar_diameter, "bar diameter");
  header.text('g', drawing.steel, "material's name");
  header.number('s', bar.standard_bend_diameter, "standard bend diameter");
  header.reserved('v');
  header.layer(bar.properties);
  header.optional_text('t', text_property(bar.properties, "stagger_step"),
                       "property \"stagger_step\"");
  header.optional_text('c', std::move(mark.group), "property \"stagger_group\"");
  draft.header = header.take();
  BarShape shape = bar_shape(bar.geometry, text_property(bar.properties, "pitch"));
  draft.group = shape.group;
  draft.shape = std::move(shape.block);
  draft.treatments = treatments_of(bar);
  return draft;
}

Draft draft_of(const Fabric& fabric, const Drawing& drawing) {
  Draft draft;
  draft.group = "BFMA";
  FieldList header;
  header.names(drawing, fabric.mark);
  header.positive('l', fabric.length, "length");
  header.pieces(fabric.total_fabrics);
  header.number('e', fabric.fabric_weight, "weight");
  header.text('g', drawing.steel, "material's name");
  header.number('s', fabric.standard_bend_diameter, "standard bend diameter");
  header.text('m', fabric.type_name, "type's name");
  header.positive('b', fabric.width, "width");
  header.reserved('v');
  header.layer(fabric.properties);
  draft.header = header.take();
  if (fabric.geometry) {
    draft.shape =
        bent_fabric_block(*fabric.geometry, text_property(fabric.properties, "bent_bars"));
  }
  return draft;
}

Draft draft_of(const BarSpacer& spacer, const Drawing& drawing) {
  Draft draft;
  draft.group = "BFAU";
  FieldList header;
  header.names(drawing, spacer.mark);
  header.positive('l', spacer.length, "length");
  header.pieces(spacer.quantity);
  header.number('e', spacer.weight_per_piece, "weight");
  header.text('m', spacer.name, "name");
  header.text('h', text_property(spacer.properties, "height"), "property \"height\"");
  header.layer(spacer.properties);
  draft.header = header.take();
  return draft;
}

}  // namespace korvane::schedule::bvbs
