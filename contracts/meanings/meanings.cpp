#include "contracts/meanings/meanings.h"

#include <map>
#include <utility>

#include "contracts/meanings/meanings_data.h"

namespace korvane::meanings {

void for_each_stored_meaning(const std::function<void(const Meaning&)>& visit) {
  for (const std::span<const Meaning> part : {catalogue_meanings(), schedule_meanings()}) {
    for (const Meaning& meaning : part) visit(meaning);
  }
}

void for_each_message_meaning(const std::function<void(const Meaning&)>& visit) {
  for (const Meaning& meaning : message_meanings()) visit(meaning);
}

const Meaning* find_meaning(std::string_view owner, std::string_view name) {
  using Key = std::pair<std::string_view, std::string_view>;
  static const std::map<Key, const Meaning*> by_name = [] {
    std::map<Key, const Meaning*> all;
    const auto add = [&](const Meaning& meaning) {
      all.emplace(Key(meaning.owner, meaning.name), &meaning);
    };
    for_each_stored_meaning(add);
    for_each_message_meaning(add);
    return all;
  }();
  const auto found = by_name.find(Key(owner, name));
  return found == by_name.end() ? nullptr : found->second;
}

}  // namespace korvane::meanings
