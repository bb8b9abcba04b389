#include "contracts/encoding/json_text.h"

#include <charconv>
#include <cmath>

#include <nlohmann/json.hpp>

namespace korvane::encoding::detail {

using Json = nlohmann::json;

std::string_view number_text(double value, NumberText& room) {
  constexpr double kSmallestPlain = 1e-5;
  constexpr double kLargestPlain = 1e15;
  const double magnitude = std::fabs(value);
  const bool is_plainly_written =
      value == 0 || (magnitude >= kSmallestPlain && magnitude < kLargestPlain);
  const auto format = is_plainly_written ? std::chars_format::fixed : std::chars_format::scientific;
  const char* const end = std::to_chars(room.data(), room.data() + room.size(), value, format).ptr;
  return {room.data(), static_cast<std::size_t>(end - room.data())};
}

std::string number_text(double value) {
  NumberText room;
  return std::string(number_text(value, room));
}

std::optional<std::string> quoted(std::string_view text) {
  try {
    return Json(text).dump();
  } catch (const Json::type_error&) {
    return std::nullopt;
  }
}

std::string quoted_anyhow(std::string_view text) {
  return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string shown(std::string_view text) {
  std::string_view part = text;
  if (text.size() > kLongestQuote) {
    std::size_t end = kLongestQuote;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    part = text.substr(0, end);
  }
  std::string result = quoted_anyhow(part);
  if (part.size() < text.size()) result.insert(result.size() - 1, "…");
  return result;
}

}  // namespace korvane::encoding::detail
