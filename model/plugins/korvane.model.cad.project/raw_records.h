#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "contracts/encoding/record_codec.h"

namespace korvane::model::cad {

/// The encoded records of a read, kept until their number is known. A vector that grows holds
/// everything twice for a while; one that is reserved as large as it will be does not, and the
/// bytes here go as they are decoded.
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

  /// Decodes all records behind those in `items`, in order, and is used up. Throws what the decoder
  /// throws; the records before the one that fails are then in `items`.
  template <class T>
  void decode_behind(std::vector<T>& items) {
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

  /// A first one for few records, and from then on ones that are small beside what they hold in
  /// all.
  static constexpr std::size_t kFirstCapacity = std::size_t{8} * 1024;
  static constexpr std::size_t kCapacity = std::size_t{128} * 1024;

  void begin_chunk(std::size_t needed) {
    const std::size_t usual = chunks_.empty() ? kFirstCapacity : kCapacity;
    const std::size_t capacity = needed > usual ? needed : usual;
    chunks_.push_back({std::make_unique_for_overwrite<char[]>(capacity), 0, capacity, {}});
  }

  std::vector<Chunk> chunks_;
  std::size_t count_ = 0;
};

}  // namespace korvane::model::cad
