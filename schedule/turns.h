#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

/// The turns of a helix as a bar's property "pitch" has them: "6 x 100, 12 x 200".
namespace korvane::schedule {

/// How often a helix turns with one pitch, as texts.
struct TurnsText {
  std::string_view count;
  std::string_view pitch;
};

/// The parts of the text, which must outlive them. A part without " x " has no pitch.
inline std::vector<TurnsText> turns_in(std::string_view text) {
  constexpr std::string_view kTimes = " x ";
  constexpr std::string_view kComma = ", ";
  std::vector<TurnsText> parts;
  // A number may end in a decimal comma, so the times sign is what to look for.
  for (std::string_view rest = text; !rest.empty();) {
    TurnsText& part = parts.emplace_back();
    part.count = rest.substr(0, rest.find(kTimes));
    rest.remove_prefix(std::min(part.count.size() + kTimes.size(), rest.size()));
    part.pitch = rest.substr(0, rest.find(kComma));
    rest.remove_prefix(std::min(part.pitch.size() + kComma.size(), rest.size()));
  }
  return parts;
}

}  // namespace korvane::schedule
