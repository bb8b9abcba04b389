#pragma once

#include <functional>
#include <string_view>

/// What the fields of a project file mean, for people: each told once, in plain text, with the unit
/// that its numbers are in by custom. docs/format.md is made from it.
namespace korvane::model::tables {

struct Meaning {
  /// The plain name of a contract ("Rebar") or an enumeration ("DiffState"), or the name of a table
  /// ("rebar").
  std::string_view owner;
  /// A field, an enumerator or a column of it. Empty for the owner itself.
  std::string_view name;
  /// "mm", "°", "kg", "kg/m", "kg/m³" or "pieces"; empty for what has none. The store asks for no
  /// unit and converts none: these are what the commands read and write.
  std::string_view unit;
  /// A phrase or some sentences, without a full stop after a phrase. No line break, no "|".
  std::string_view text;
};

/// The meaning of a field of a contract that a project file holds, of an enumerator, or of a column
/// that repeats no field; without a name that of the contract, the enumeration or the table. Valid
/// for good. Throws std::out_of_range `no meaning of "Rebar.colour"`.
const Meaning& meaning_of(std::string_view owner, std::string_view name = {});

/// The same, or null. Some columns have a meaning of their own although they repeat a field.
const Meaning* find_meaning(std::string_view owner, std::string_view name);

/// Calls `visit` with each of them.
void for_each_meaning(const std::function<void(const Meaning&)>& visit);

}  // namespace korvane::model::tables
