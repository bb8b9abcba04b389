#pragma once

#include <functional>
#include <string_view>

#include "contracts/meanings/meanings.h"

/// What a project file holds means, for people: its tables and columns, and the fields of the
/// contracts in it. docs/format.md is made from it.
namespace korvane::model::tables {

/// The owner of one may be a table ("rebar") as well, and the name a column.
using meanings::Meaning;

/// The meaning of a field of a contract that a project file holds, of an enumerator, or of a column
/// that repeats no field; without a name that of the contract, the enumeration or the table. Valid
/// for good. Throws std::out_of_range `no meaning of "Rebar.colour"`.
const Meaning& meaning_of(std::string_view owner, std::string_view name = {});

/// The same, or null. Some columns have a meaning of their own although they repeat a field.
const Meaning* find_meaning(std::string_view owner, std::string_view name);

/// Calls `visit` with each of them.
void for_each_meaning(const std::function<void(const Meaning&)>& visit);

}  // namespace korvane::model::tables
