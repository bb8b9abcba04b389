#pragma once

#include <span>

#include "model/tables/meanings.h"

/// The parts that the meanings are told in.
namespace korvane::model::tables {

/// The tables themselves, and the columns that repeat no field.
std::span<const Meaning> table_meanings();
/// The fields that mean something else in a row than to a client: ids and the like, of which the
/// row's own are the truth.
std::span<const Meaning> row_meanings();

}  // namespace korvane::model::tables
