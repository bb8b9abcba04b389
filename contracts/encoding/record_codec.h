#pragma once

#include <cstdint>

#include "bond/blob.h"

/// One record to bytes and back: the bare Compact Binary payload, version 1, of one struct, with no
/// header and no length. Made for every contract in its folder's `contracts.cpp`, so that the users
/// of a contract never compile its description.
namespace korvane::encoding {

/// The bytes of `record`, in memory of their own. Never empty: a record ends in a stop byte.
/// Fields that hold their default are left out. Throws nothing but std::bad_alloc.
template <class T>
bond::blob encode(const T& record);

/// Reads a record from `length` bytes at `bytes` into `record` without resetting it: a field that the
/// bytes leave out keeps its value. Nothing in `record` refers to `bytes` afterwards. Returns the
/// number of bytes that the record takes; what follows is ignored.
///
/// Throws bond::StreamException "Read out of bounds: <n> bytes requested, offset: <position>,
/// length: <length>" when the bytes end too early, for no bytes at all too, and bond::CoreException
/// "Max recursion depth exceeded" beyond 64 levels; `record` may then be partly filled.
template <class T>
std::uint32_t decode_into(const void* bytes, std::uint32_t length, T& record);

/// Reads into a default-made record.
template <class T>
T decode(const void* bytes, std::uint32_t length) {
  T record{};
  decode_into(bytes, length, record);
  return record;
}

template <class T>
T decode(const bond::blob& bytes) {
  return decode<T>(bytes.data(), bytes.size());
}

}  // namespace korvane::encoding
