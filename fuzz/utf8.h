#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace korvane::fuzz {

inline bool is_utf8(const std::string& text) {
  try {
    static_cast<void>(nlohmann::json(text).dump());
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

}  // namespace korvane::fuzz
