#include "model/tables/meanings.h"

#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/tables/meanings_data.h"

namespace korvane::model::tables {

void for_each_meaning(const std::function<void(const Meaning&)>& visit) {
  for (const std::span<const Meaning> part :
       {table_meanings(), catalogue_meanings(), schedule_meanings()}) {
    for (const Meaning& meaning : part) visit(meaning);
  }
}

const Meaning* find_meaning(std::string_view owner, std::string_view name) {
  using Key = std::pair<std::string_view, std::string_view>;
  static const std::map<Key, const Meaning*> by_name = [] {
    std::map<Key, const Meaning*> all;
    for_each_meaning(
        [&](const Meaning& meaning) { all.emplace(Key(meaning.owner, meaning.name), &meaning); });
    return all;
  }();
  const auto found = by_name.find(Key(owner, name));
  return found == by_name.end() ? nullptr : found->second;
}

const Meaning& meaning_of(std::string_view owner, std::string_view name) {
  if (const Meaning* const meaning = find_meaning(owner, name)) return *meaning;
  std::string text(owner);
  if (!name.empty()) text.append(".").append(name);
  throw std::out_of_range("no meaning of \"" + text + "\"");
}

}  // namespace korvane::model::tables
