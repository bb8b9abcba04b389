#pragma once

#include <functional>
#include <string_view>

/// What the fields of contracts mean, for people: each told once, in plain text, with the unit that
/// its numbers are in by custom. The descriptions in JSON Schemas are made from it, and
/// docs/format.md.
namespace korvane::meanings {

struct Meaning {
  /// The plain name of a contract ("Rebar") or an enumeration ("DiffState").
  std::string_view owner;
  /// A field or an enumerator of it. Empty for the owner itself.
  std::string_view name;
  /// "mm", "°", "kg", "kg/m", "kg/m³" or "pieces"; empty for what has none. The store asks for no
  /// unit and converts none: these are what the commands read and write.
  std::string_view unit;
  /// A phrase or some sentences, without a full stop after a phrase. No line break, no "|".
  std::string_view text;
};

/// The meaning of a field of a contract or of an enumerator; without a name that of the contract or
/// enumeration. Valid for good; null where nobody has told it.
const Meaning* find_meaning(std::string_view owner, std::string_view name = {});

/// Calls `visit` with each meaning of what a project file holds.
void for_each_stored_meaning(const std::function<void(const Meaning&)>& visit);

/// Calls `visit` with each meaning of what only travels: requests and replies.
void for_each_message_meaning(const std::function<void(const Meaning&)>& visit);

}  // namespace korvane::meanings
