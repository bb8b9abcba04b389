#pragma once

#include <cstddef>

namespace korvane::test {

/// The bytes that this thread has asked `new` for so far, given back or not. Only in programs that
/// have `allocated_bytes.cpp` among their sources: it replaces the process's `new`.
std::size_t allocated_bytes();

}  // namespace korvane::test
