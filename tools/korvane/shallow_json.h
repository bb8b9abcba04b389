#pragma once

#include <stdexcept>
#include <string_view>

#include <nlohmann/json.hpp>

namespace korvane::tools {

/// What another program has sent. Throws std::exception for what is no JSON, and before it is read on
/// for what goes deeper than anything that these programs say.
inline nlohmann::json shallow_json(std::string_view text) {
  constexpr int kMostDepth = 4;
  return nlohmann::json::parse(text, [](int depth, auto, const nlohmann::json&) {
    if (depth > kMostDepth) throw std::runtime_error("JSON that is nested too deep");
    return true;
  });
}

}  // namespace korvane::tools
