#pragma once

#include "bond/maybe.h"

namespace korvane {

/// The reply of the `try_get_*` operations: the record asked for, or nothing if there is none.
template <class T>
struct OptionalValue {
  bond::maybe<T> value;

  bool operator==(const OptionalValue&) const = default;
};

}  // namespace korvane
