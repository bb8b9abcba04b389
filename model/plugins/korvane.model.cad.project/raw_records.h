#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "contracts/encoding/record_codec.h"

namespace korvane::model::cad {

/// The encoded records of a read, collected until their number is known. A list that grows holds
/// everything twice for a while; one reserved at its final size does not, and the bytes here are
/// freed as they are decoded.
class RawRecords {
 public:
  /// Keeps a copy of `bytes`.
  void add(std::string_view bytes) {
    if (chunks_.empty() || bytes.size() > chunks_.back().capacity - chunks_.back().size) {
      begin_chunk(bytes.size());
    }
    Chunk& chunk = chunks_.back();
    if (!bytes.empty()) std::memcpy(chunk.bytes.get() + chunk.size, bytes.data(), bytes.size());
    chunk.size += bytes.size();
    chunk.lengths.push_back(static_cast<std::uint32_t>(bytes.size()));
    ++count_;
  }

  /// Appends all records, decoded and in order, to `items`. To be called once. Throws what the
  /// decoder throws; the records before the one that fails are then in `items`.
  template <class T>
  void append_decoded(std::vector<T>& items) {
    items.reserve(items.size() + count_);
    for (Chunk& chunk : chunks_) {
      const char* record = chunk.bytes.get();
      for (const std::uint32_t length : chunk.lengths) {
        items.push_back(encoding::decode<T>(record, length));
        record += length;
      }
      chunk = {};
    }
  }

 private:
  struct Chunk {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;
    std::size_t capacity = 0;
    std::vector<std::uint32_t> lengths;
  };

  /// The first chunk suits a few records; the others are small beside what all of them hold.
  static constexpr std::size_t kFirstCapacity = std::size_t{8} * 1024;
  static constexpr std::size_t kCapacity = std::size_t{128} * 1024;

  void begin_chunk(std::size_t needed) {
    const std::size_t usual = chunks_.empty() ? kFirstCapacity : kCapacity;
    const std::size_t capacity = needed > usual ? needed : usual;
    chunks_.push_back({std::make_unique_for_overwrite<char[]>(capacity), 0, capacity, {}});
    // The analyzer does not follow what moves into a vector, and takes the chunk's bytes for lost.
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
  }

  std::vector<Chunk> chunks_;
  std::size_t count_ = 0;
};

}  // namespace korvane::model::cad
