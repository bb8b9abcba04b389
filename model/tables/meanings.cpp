#include "model/tables/meanings.h"

#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/tables/meanings_data.h"

namespace korvane::model::tables {

namespace {

using Key = std::pair<std::string_view, std::string_view>;

/// Those that are told here. They come before what is told of the contracts.
const std::map<Key, const Meaning*>& own_meanings() {
  static const std::map<Key, const Meaning*> by_name = [] {
    std::map<Key, const Meaning*> all;
    for (const std::span<const Meaning> part : {table_meanings(), row_meanings()}) {
      for (const Meaning& one : part) all.emplace(Key(one.owner, one.name), &one);
    }
    return all;
  }();
  return by_name;
}

}  // namespace

void for_each_meaning(const std::function<void(const Meaning&)>& visit) {
  for (const std::span<const Meaning> part : {table_meanings(), row_meanings()}) {
    for (const Meaning& meaning : part) visit(meaning);
  }
  meanings::for_each_stored_meaning([&](const Meaning& meaning) {
    if (!own_meanings().contains(Key(meaning.owner, meaning.name))) visit(meaning);
  });
}

const Meaning* find_meaning(std::string_view owner, std::string_view name) {
  const auto found = own_meanings().find(Key(owner, name));
  if (found != own_meanings().end()) return found->second;
  return meanings::find_meaning(owner, name);
}

const Meaning& meaning_of(std::string_view owner, std::string_view name) {
  if (const Meaning* const meaning = find_meaning(owner, name)) return *meaning;
  std::string text(owner);
  if (!name.empty()) text.append(".").append(name);
  throw std::out_of_range("no meaning of \"" + text + "\"");
}

}  // namespace korvane::model::tables
