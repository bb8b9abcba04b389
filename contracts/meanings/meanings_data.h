#pragma once

#include <span>

#include "contracts/meanings/meanings.h"

/// The parts that the meanings are told in.
namespace korvane::meanings {

/// The project record, the catalogues, sheets and revisions, and open values.
std::span<const Meaning> catalogue_meanings();
/// The lines of a schedule and all that is inside them.
std::span<const Meaning> schedule_meanings();
/// Requests and replies.
std::span<const Meaning> message_meanings();

}  // namespace korvane::meanings
