#include "host/service/entity_tag.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <Poco/String.h>

namespace korvane::host {

namespace {

std::string_view opaque(std::string_view tag) {
  if (tag.starts_with("W/")) tag.remove_prefix(2);
  return tag;
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

}  // namespace korvane::host
