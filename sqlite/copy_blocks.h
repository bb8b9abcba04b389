#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// A file in blocks of one length. By their digests two machines find out what of it differs.
namespace korvane::sqlite {

/// SHA-256.
using BlockDigest = std::array<unsigned char, 32>;

BlockDigest digest_of(std::string_view block);

struct BlockList {
  /// The least and the greatest length of a block, which is a power of two, and how many blocks a
  /// file may have: one of 256 GiB at most.
  static constexpr std::size_t kLeastBytes = std::size_t{64} << 10U;
  static constexpr std::size_t kMostBytes = std::size_t{4} << 20U;
  static constexpr std::size_t kMostBlocks = 65536;

  /// Of the file.
  std::uint64_t bytes = 0;
  /// Of each block; the last may be shorter.
  std::size_t block_bytes = kLeastBytes;
  std::vector<BlockDigest> digests;

  std::uint64_t offset_of(std::size_t block) const {
    return static_cast<std::uint64_t>(block) * block_bytes;
  }
  /// How long that block is.
  std::size_t length_of(std::size_t block) const;
};

/// The blocks of a file that nobody writes to, and that is no database that this program has open:
/// as short as there may be for its length. Throws std::runtime_error "\"<file>\" cannot be read:
/// <reason>" and "\"<file>\" is too large to be sent: expected at most 256 GiB".
BlockList list_blocks(const std::string& file);

/// `count` blocks of such a file from `first` on, one after another. Throws as list_blocks does.
std::string read_blocks(const std::string& file, const BlockList& list, std::size_t first,
                        std::size_t count);

}  // namespace korvane::sqlite
