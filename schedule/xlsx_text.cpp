#include "schedule/xlsx_text.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace korvane::schedule {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool continues(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

std::string utf8_of(std::string_view text) {
  const bool is_ascii = std::all_of(text.begin(), text.end(),
                                    [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (is_ascii) return std::string(text);
  using Json = nlohmann::json;
  return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace))
      .get<std::string>();
}

/// Whether the text begins with "_x", four hexadecimal digits and "_".
bool is_escape(std::string_view text) {
  constexpr std::size_t kDigits = 4;
  constexpr std::string_view kBegin = "_x";
  if (!text.starts_with(kBegin) || text.size() <= kBegin.size() + kDigits) return false;
  const std::string_view digits = text.substr(kBegin.size(), kDigits);
  return digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos &&
         text[kBegin.size() + kDigits] == '_';
}

}  // namespace

std::string xlsx_text(std::string_view text) {
  const std::string utf8 = utf8_of(text);
  std::string result;
  result.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const std::string_view rest = std::string_view(utf8).substr(i);
    const auto byte = static_cast<unsigned char>(utf8[i]);
    const bool is_control = byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r';
    if (is_control) {
      result += kReplacement;
    } else if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {
      result += kReplacement;
      i += kReplacement.size() - 1;
    } else if (is_escape(rest)) {
      result += "_x005F_";
    } else {
      result += utf8[i];
    }
  }
  return result;
}

std::size_t length_of(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), continues));
}

std::string first_characters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  while (end < text.size() && (count > 0 || continues(text[end]))) {
    if (!continues(text[end])) --count;
    ++end;
  }
  return std::string(text.substr(0, end));
}

}  // namespace korvane::schedule
