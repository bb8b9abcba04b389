#pragma once

#include <string>

#include "bond/nullable.h"

namespace korvane {

/// The reply of every operation that has no other result, and the base of the reference
/// structs. `error` is never set by the store: an operation succeeds by returning.
struct GenericReply {
  bond::nullable<std::string> error;

  bool operator==(const GenericReply&) const = default;
};

}  // namespace korvane
