#include "schedule/bvbs/schedule.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "schedule/weights.h"

namespace korvane::schedule::bvbs {

namespace {

/// Cut lengths are written in whole millimetres, and so are legs.
constexpr double kLengthTolerance = 1.5;

/// Countries differ by less than a tenth in what a bar of a nominal diameter weighs.
constexpr double kMassTolerance = 0.15;

/// Collects notes, and what they compare a line with.
class Plausibility {
 public:
  void note(std::size_t line, const std::string& text) {
    const auto [place, is_new] = places_.try_emplace(text, notes_.size());
    if (is_new) notes_.push_back({text, 0, line});
    ++notes_[place->second].count;
  }

  void check_drawing(std::size_t line, const Drawing& drawing) {
    if (drawing.project.empty()) return;
    if (project_.empty()) project_ = drawing.project;
    if (drawing.project != project_) {
      note(line, "the project is another one than \"" + project_ + "\", which is named first");
    }
  }

  void check_line(std::size_t line, const BarLine& bar) {
    if (bar.weight_was_total) note(line, "the stated weight was taken as that of all pieces");
    const double mass = bar.item.bar_type_mass_per_length;
    const double nominal = nominal_mass_per_length(bar.item.bar_diameter);
    if (mass == 0) {
      note(line, "no weight is stated; the mass per metre is 0");
    } else if (std::abs(mass - nominal) > kMassTolerance * nominal) {
      note(line, "the stated weight is not what length and diameter give");
    }
    if (!bar.sum_of_legs) return;
    if (bar.cut_length < *bar.sum_of_legs - kLengthTolerance) {
      note(line, "the cut length is less than the sum of the legs, as where bends are deducted");
    } else if (bar.cut_length > *bar.sum_of_legs + kLengthTolerance) {
      note(line, "the cut length is more than the sum of the legs");
    }
  }

  void check_line(std::size_t line, const FabricLine& fabric) {
    const auto& type = fabric.item.fabric_type;
    const auto [first, is_new] =
        types_.try_emplace(type.type_name, std::pair(type, fabric.drawing.steel));
    if (is_new || first->second == std::pair(type, fabric.drawing.steel)) return;
    note(line, "fabric type \"" + type.type_name +
                   "\" differs in dimensions, weight or steel from the first of that name, which "
                   "is kept");
  }

  void check_line(std::size_t, const BarSpacerLine&) {}

  std::vector<Note> take() { return std::move(notes_); }

 private:
  std::vector<Note> notes_;
  std::map<std::string, std::size_t> places_;
  std::string project_;
  std::map<std::string, std::pair<model::cad::FabricType, std::string>> types_;
};

}  // namespace

bool looks_like_schedule(std::string_view text) {
  SourceLines lines(text);
  while (const std::optional<SourceLine> line = lines.next()) {
    if (begins_as_record(line->text)) return true;
  }
  return false;
}

Findings read_schedule(std::string_view text,
                       const std::function<void(AnyLine&&, const SourceLine&)>& visit) {
  Findings findings;
  Plausibility plausibility;
  SourceLines lines(text);
  while (const std::optional<SourceLine> where = lines.next()) {
    try {
      const Record record = parse_record(*where);
      AnyLine line = read_line(record);
      if (std::holds_alternative<std::monostate>(line)) {
        ++findings.skipped[record.group];
        continue;
      }
      if (record.has_foreign_letters) {
        plausibility.note(where->number, "letters beyond ASCII were taken as Windows-1252");
      }
      std::visit(
          [&](const auto& known) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(known)>, std::monostate>) {
              plausibility.check_drawing(where->number, known.drawing);
              plausibility.check_line(where->number, known);
            }
          },
          line);
      visit(std::move(line), *where);
    } catch (const RecordError& error) {
      findings.faults.push_back({error.line(), error.reason()});
    }
  }
  findings.notes = plausibility.take();
  return findings;
}

}  // namespace korvane::schedule::bvbs
