#include "sqlite/extension/change_mark.h"

#include <array>
#include <string_view>

namespace korvane::sqlite::extension {

namespace {

constexpr std::array<std::string_view, 4> kRevisionSteps = {"filling", "whole", "placed",
                                                            "removing"};
constexpr std::string_view kSheetStep = "importing";

bool is_step(std::string_view word, Marked marked) {
  if (marked == Marked::sheet) return word == kSheetStep;
  for (const std::string_view step : kRevisionSteps) {
    if (word == step) return true;
  }
  return false;
}

}  // namespace

std::optional<ChangeMark> mark_in(const Properties& properties, Marked marked) {
  const auto property = properties.find(kChangeProperty);
  if (property == properties.end() || property->second.value_string.empty()) return {};
  const std::string& text = *property->second.value_string;
  ChangeMark mark;
  mark.step = text.substr(0, text.find(' '));
  if (!is_step(mark.step, marked)) return {};
  if (property->second.value_int32.hasvalue()) {
    mark.changed_revision = *property->second.value_int32;
  }
  const auto made = properties.find(kImportProperty);
  mark.made_uids = "\n";
  if (made != properties.end() && made->second.value_string.hasvalue()) {
    mark.made_uids += *made->second.value_string;
  }
  return mark;
}

}  // namespace korvane::sqlite::extension
