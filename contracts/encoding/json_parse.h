#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <rapidjson/document.h>
#include <string_view>

namespace korvane::encoding::detail {

/// Takes the library's memory from `new`, so that the parsed tree is counted and limited like all
/// that the program allocates, and a failure is an exception.
class JsonAllocator {
 public:
  static constexpr bool kNeedFree = true;

  void* Malloc(std::size_t size) { return size == 0 ? nullptr : ::operator new(size); }
  void* Realloc(void* memory, std::size_t size, std::size_t new_size) {
    void* const moved = Malloc(new_size);
    if (memory != nullptr && moved != nullptr) {
      std::memcpy(moved, memory, std::min(size, new_size));
    }
    Free(memory);
    return moved;
  }
  static void Free(void* memory) { ::operator delete(memory); }
};

using JsonDocument =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<JsonAllocator>,
                               JsonAllocator>;

/// A parsed value. Members of an object are in the order of the text, and keys may occur twice. A
/// number is read as a double, which holds all that a field can: an integer has 32 bits.
using JsonNode = JsonDocument::ValueType;

/// Throws JsonError for malformed text, nesting that is too deep and numbers that are too large.
JsonDocument parse_json(std::string_view text);

}  // namespace korvane::encoding::detail
