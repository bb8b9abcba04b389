#pragma once

#include <cstddef>

namespace korvane::test {

/// The bytes that this thread has allocated with `new` so far, freed or not. Only for programs that
/// have `allocated_bytes.cpp` among their sources: it replaces the process's `new`.
std::size_t allocated_bytes();

}  // namespace korvane::test
