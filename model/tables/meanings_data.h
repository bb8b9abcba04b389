#pragma once

#include <span>

#include "model/tables/meanings.h"

/// The parts that the meanings are told in.
namespace korvane::model::tables {

/// The tables themselves, and the columns that repeat no field.
std::span<const Meaning> table_meanings();
/// The project record, the catalogues, sheets and revisions, and open values.
std::span<const Meaning> catalogue_meanings();
/// The lines of a schedule and all that is inside them.
std::span<const Meaning> schedule_meanings();

}  // namespace korvane::model::tables
