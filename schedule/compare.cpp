#include "schedule/compare.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <map>
#include <set>
#include <tuple>
#include <type_traits>
#include <utility>

#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/record_codec.h"
#include "schedule/bvbs/record.h"
#include "schedule/bvbs/source.h"
#include "schedule/content_tables.h"
#include "schedule/line_text.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// More pairs of lines of one mark than these are not tried: such lines are matched in order.
constexpr std::size_t kMostPairs = 10000;

/// As different as this many fields are lines that the drawing labels differently.
constexpr std::size_t kWeightOfLabel = 100;

/// What no field says of a source record: its blocks but the header, the shape and the treatments,
/// and its private text.
std::string unsaid_in(const std::string& source) {
  bvbs::Record record;
  try {
    const std::optional<std::string> line = bvbs::line_of_source(source);
    if (!line) return {};
    record = bvbs::parse_record(*line, 1);
  } catch (const bvbs::RecordError&) {
    return {};
  }
  std::string unsaid;
  for (const bvbs::Block& block : record.blocks) {
    if (block.letter == 'H' || block.letter == 'G' || block.letter == 'M') continue;
    unsaid += block.letter;
    for (const bvbs::Field& field : block.fields) unsaid += field.letter + field.value + "@";
  }
  const std::size_t private_text = source.find("@P");
  if (private_text != std::string::npos) {
    unsaid += source.substr(private_text + 1, source.rfind("@C") - private_text);
  }
  return unsaid;
}

/// A line without what must not be compared, and with what it refers to.
template <class T>
struct ComparedLine {
  T item;
  Material material;
  /// None without a source record.
  std::optional<std::string> unsaid;
  std::string label;
  bool is_matched = false;

  /// The same for lines that are equal.
  std::string key() const {
    const bond::blob bytes = encoding::encode(item);
    const bond::blob steel = encoding::encode(material);
    return std::string(bytes.content(), bytes.size()) + std::string(steel.content(), steel.size()) +
           unsaid.value_or("");
  }
};

void forget_ids(Material& material) {
  material.id = Material{}.id;
  material.uid.clear();
}

Material material_at(const Structure& structure, std::int32_t id) {
  Material material;
  const auto found = structure.materials.find(id);
  if (found == structure.materials.end()) {
    material.identity.name = steel_name(structure, id);
  } else {
    material = found->second;
  }
  forget_ids(material);
  return material;
}

template <class T>
ComparedLine<T> compared(const Structure& structure, const T& original) {
  ComparedLine<T> line{original, {}, {}, label_of(original)};
  T& item = line.item;
  item.rev_id = 0;
  item.sheet_id = 0;
  if constexpr (requires { item.id; }) item.id = 0;
  if constexpr (requires { item.properties; }) {
    const auto source = item.properties.find("bvbs");
    if (source != item.properties.end()) {
      if (source->second.value_string.hasvalue()) {
        line.unsaid = unsaid_in(*source->second.value_string);
      }
      item.properties.erase(source);
    }
  }
  if constexpr (std::is_same_v<T, Rebar>) {
    if (item.material_id.hasvalue()) line.material = material_at(structure, *item.material_id);
    item.material_id.reset();
  } else if constexpr (std::is_same_v<T, MountingPart>) {
    line.material = material_at(structure, item.material_id);
    item.material_id = 0;
  } else if constexpr (std::is_same_v<T, Fabric>) {
    item.fabric_type = type_of(structure, original);
    item.fabric_type.id = 0;
    item.fabric_type.uid.clear();
    forget_ids(item.fabric_type.material);
  }
  return line;
}

template <class T>
std::vector<FieldDifference> differences_of(const ComparedLine<T>& before,
                                            const ComparedLine<T>& after) {
  DifferenceFinder finder;
  finder.compare("", before.item, after.item);
  finder.compare("material", before.material, after.material);
  if (before.unsaid && after.unsaid)
    finder.compare("properties.bvbs", *before.unsaid, *after.unsaid);
  return finder.take();
}

/// Clears the mark and all that belongs to it.
template <class T>
T without_label(T item) {
  item.mark.clear();
  if constexpr (requires { item.mark_prefix; }) {
    item.mark_prefix.reset();
    item.mark_suffix.reset();
  }
  if constexpr (requires { item.submark; }) item.submark.reset();
  return item;
}

/// Compares the lines of one kind.
template <class T>
class KindComparison {
 public:
  KindComparison(std::string kind, const Structure& structure_before, const std::vector<T>& before,
                 const Structure& structure_after, const std::vector<T>& after)
      : kind_(std::move(kind)) {
    for (const T& item : before) before_.push_back(compared(structure_before, item));
    for (const T& item : after) after_.push_back(compared(structure_after, item));
    changes_.resize(before_.size());
    partners_.resize(before_.size());
  }

  void add_to(std::vector<LineDifference>& lines, std::size_t most_effort) {
    left_effort_ = most_effort;
    match_by_key([](const ComparedLine<T>& line) { return line.key(); });
    match_alike();
    match_by_key([](const ComparedLine<T>& line) {
      return ComparedLine<T>{without_label(line.item), line.material, line.unsaid, ""}.key();
    });
    for (std::size_t i = 0; i < before_.size(); ++i) {
      if (!before_[i].is_matched) {
        lines.push_back(
            {Change::removed, kind_, before_[i].label, {{"", summary(before_[i]), {}}}, i, {}});
      } else if (!changes_[i].empty()) {
        lines.push_back(
            {Change::changed, kind_, before_[i].label, std::move(changes_[i]), i, partners_[i]});
      }
    }
    for (std::size_t i = 0; i < after_.size(); ++i) {
      const ComparedLine<T>& line = after_[i];
      if (line.is_matched) continue;
      lines.push_back({Change::added, kind_, line.label, {{"", {}, summary(line)}}, {}, i});
    }
  }

 private:
  using Indices = std::vector<std::size_t>;

  void match(std::size_t before, std::size_t after) {
    before_[before].is_matched = true;
    after_[after].is_matched = true;
    partners_[before] = after;
    changes_[before] = differences_of(before_[before], after_[after]);
  }

  template <class Key>
  void match_by_key(Key key) {
    std::map<std::string, std::deque<std::size_t>> by_key;
    for (std::size_t i = 0; i < after_.size(); ++i) {
      if (!after_[i].is_matched) by_key[key(after_[i])].push_back(i);
    }
    if (by_key.empty()) return;
    for (std::size_t i = 0; i < before_.size(); ++i) {
      if (before_[i].is_matched) continue;
      const auto found = by_key.find(key(before_[i]));
      if (found == by_key.end() || found->second.empty()) continue;
      match(i, found->second.front());
      found->second.pop_front();
    }
  }

  /// Lines of the same mark.
  void match_alike() {
    std::map<std::string, std::pair<Indices, Indices>> by_mark;
    for (std::size_t i = 0; i < before_.size(); ++i) {
      if (!before_[i].is_matched) by_mark[before_[i].item.mark].first.push_back(i);
    }
    for (std::size_t i = 0; i < after_.size(); ++i) {
      if (!after_[i].is_matched) by_mark[after_[i].item.mark].second.push_back(i);
    }
    for (const auto& [mark, indices] : by_mark) {
      const auto& [first, second] = indices;
      if (first.size() * second.size() > kMostPairs || !match_most_alike(first, second)) {
        match_in_order(first, second);
      }
    }
  }

  void match_in_order(const Indices& before, const Indices& after) {
    for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
      match(before[i], after[i]);
    }
  }

  /// Returns false, and nothing is matched, if that takes too long.
  bool match_most_alike(const Indices& before, const Indices& after) {
    std::vector<std::tuple<std::size_t, std::size_t, std::size_t>> pairs;
    for (const std::size_t i : before) {
      for (const std::size_t j : after) {
        std::size_t distance = 0;
        if (before.size() * after.size() > 1) {
          if (left_effort_ == 0) return false;
          distance = differences_of(before_[i], after_[j]).size();
          left_effort_ -= std::min(left_effort_, 1 + distance);
          if (before_[i].label != after_[j].label) distance += kWeightOfLabel;
        }
        pairs.emplace_back(distance, i, j);
      }
    }
    std::sort(pairs.begin(), pairs.end());
    for (const auto& [distance, i, j] : pairs) {
      if (!before_[i].is_matched && !after_[j].is_matched) match(i, j);
    }
    return true;
  }

  static std::string summary(const ComparedLine<T>& line) {
    const T& item = line.item;
    if constexpr (std::is_same_v<T, Rebar>) {
      const double length = item.total_bars == 0 ? 0 : item.total_length / item.total_bars;
      return std::to_string(item.total_bars) + " x ø" + format_number(item.bar_diameter) + ", " +
             format_number(length, 1) + " mm, " + line.material.identity.name;
    } else if constexpr (std::is_same_v<T, Fabric>) {
      return std::to_string(item.total_fabrics) + " x " + item.type_name + ", " +
             format_number(item.length) + " x " + format_number(item.width) + " mm";
    } else if constexpr (std::is_same_v<T, BarSpacer>) {
      return std::to_string(item.quantity) + " x " + item.name + ", " + format_number(item.length) +
             " mm";
    } else {
      return std::to_string(item.quantity) + " x " + cell_text(value_cell(item.family_name)) + " " +
             cell_text(value_cell(item.type_name));
    }
  }

  std::string kind_;
  std::vector<ComparedLine<T>> before_;
  std::vector<ComparedLine<T>> after_;
  /// Of each line before that is matched.
  std::vector<std::vector<FieldDifference>> changes_;
  /// The line after that each line before is matched with.
  std::vector<std::size_t> partners_;
  std::size_t left_effort_ = 0;
};

}  // namespace

Comparison compare_contents(const Structure& structure_before, const Content& before,
                            const Structure& structure_after, const Content& after,
                            std::size_t most_effort) {
  Comparison comparison;
  const auto add = [&](const char* kind, const auto& items, const auto& others) {
    using T = typename std::decay_t<decltype(items)>::value_type;
    KindComparison<T>(kind, structure_before, items, structure_after, others)
        .add_to(comparison.lines, most_effort);
  };
  add("bars", before.bars, after.bars);
  add("fabrics", before.fabrics, after.fabrics);
  add("bar_spacers", before.bar_spacers, after.bar_spacers);
  add("mounting_parts", before.mounting_parts, after.mounting_parts);
  comparison.before = totals_of(structure_before, before);
  comparison.after = totals_of(structure_after, after);
  return comparison;
}

}  // namespace korvane::schedule
