#include "schedule/document_reader.h"

#include <algorithm>
#include <set>

#include "contracts/encoding/place.h"

namespace korvane::schedule {

namespace {

/// What a value is, by how it begins.
std::string kind_of(char first) {
  switch (first) {
    case '"':
      return "text";
    case '{':
      return "an object";
    case '[':
      return "an array";
    case 't':
    case 'f':
      return "a boolean";
    case 'n':
      return "null";
    default:
      return "a number";
  }
}

std::string inside(std::string place, std::string_view name) {
  encoding::detail::append_key(place, name);
  return place;
}

}  // namespace

std::string DocumentReader::at_place(const std::string& place, std::string_view error) {
  constexpr std::string_view kWhole = "request: ";
  if (error.starts_with(kWhole)) return place + ": " + std::string(error.substr(kWhole.size()));
  return place + (error.starts_with('[') ? "" : ".") + std::string(error);
}

std::string DocumentReader::element(const std::string& place, std::size_t index) {
  return place + "[" + std::to_string(index) + "]";
}

// Lines are counted once, at the end: faults come in any order, and there may be one for each byte.
std::vector<std::string> DocumentReader::faults() const {
  std::size_t line = 1;
  std::size_t counted_to = 0;
  return faults_.texts([&](std::size_t position) {
    const std::string_view between = text_.substr(counted_to, position - counted_to);
    line += static_cast<std::size_t>(std::count(between.begin(), between.end(), '\n'));
    counted_to = position;
    return "line " + std::to_string(line) + ": ";
  });
}

void DocumentReader::refuse_kind(const std::string& place, const char* expected) {
  const std::size_t begin = cursor_.position();
  fault(begin, place + ": expected " + expected + ", found " + kind_of(text_[begin]));
  cursor_.take();
}

void DocumentReader::read_object(const std::string& place, std::span<const Member> members) {
  if (!cursor_.is_object()) return refuse_kind(place, "an object");
  const std::size_t begin = cursor_.position();
  std::set<std::string_view> seen;
  cursor_.enter();
  for (std::string_view name; cursor_.next_member(name);) {
    const auto known = std::find_if(members.begin(), members.end(),
                                    [&](const Member& each) { return each.name == name; });
    const std::string inner = inside(place, name);
    if (known != members.end() && seen.insert(name).second) {
      known->read(inner);
      continue;
    }
    fault(cursor_.position(),
          inner + (known == members.end() ? ": unknown field" : ": given twice"));
    cursor_.take();
  }
  for (const Member& member : members) {
    if (!member.is_required || seen.count(member.name) != 0) continue;
    fault(begin, inside(place, member.name) + ": is missing");
  }
}

void DocumentReader::read_list(const std::string& place,
                               const std::function<void(std::size_t index)>& read) {
  if (!cursor_.is_array()) return refuse_kind(place, "an array");
  cursor_.enter();
  for (std::size_t i = 0; cursor_.next_element(); ++i) read(i);
}

}  // namespace korvane::schedule
