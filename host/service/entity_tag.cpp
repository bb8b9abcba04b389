#include "host/service/entity_tag.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <Poco/String.h>

#include "platform/rpc4/failure.h"

namespace korvane::host {

namespace {

std::string_view opaque(std::string_view tag) {
  if (tag.starts_with("W/")) tag.remove_prefix(2);
  return tag;
}

[[noreturn]] void refuse(const std::string& if_match) {
  throw krv::rpc4::BadRequest("If-Match: expected * or tags in quotes, found " + if_match);
}

}  // namespace

std::string weak_tag(std::string_view text) { return "W/\"" + std::string(text) + "\""; }

bool has_tag(const std::string& if_none_match, std::string_view tag) {
  if (Poco::trim(if_none_match) == "*") return true;
  // Tags hold no commas here, and what holds one is none of ours.
  std::vector<std::string> tags;
  for (std::size_t begin = 0; begin < if_none_match.size();) {
    const std::size_t end = std::min(if_none_match.find(',', begin), if_none_match.size());
    tags.push_back(Poco::trim(if_none_match.substr(begin, end - begin)));
    begin = end + 1;
  }
  return std::any_of(tags.begin(), tags.end(),
                     [&](const std::string& one) { return opaque(one) == opaque(tag); });
}

bool matches(const std::string& if_match, std::string_view tag) {
  constexpr std::string_view kBlanks = " \t";
  bool has_tag = false;
  std::string_view rest = if_match;
  const auto skip_blanks = [&] {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  };
  skip_blanks();
  if (rest.starts_with('*')) {
    rest.remove_prefix(1);
    skip_blanks();
    if (!rest.empty()) refuse(if_match);
    return true;
  }
  while (true) {
    skip_blanks();
    const bool is_weak = rest.starts_with("W/");
    if (is_weak) rest.remove_prefix(2);
    const std::size_t end = rest.starts_with('"') ? rest.find('"', 1) : std::string_view::npos;
    if (end == std::string_view::npos) refuse(if_match);
    if (!is_weak && rest.substr(0, end + 1) == tag) has_tag = true;
    rest.remove_prefix(end + 1);
    skip_blanks();
    if (rest.empty()) return has_tag;
    if (!rest.starts_with(',')) refuse(if_match);
    rest.remove_prefix(1);
  }
}

std::string tag_of_form(std::string_view tag, Representation form) {
  std::string text(tag);
  if (form == Representation::compact_binary && text.ends_with('"'))
    text.insert(text.size() - 1, ".b");
  return text;
}

bool matches_any_form(const std::string& if_match, std::string_view tag) {
  return matches(if_match, tag) ||
         matches(if_match, tag_of_form(tag, Representation::compact_binary));
}

}  // namespace korvane::host
