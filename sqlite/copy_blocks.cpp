#include "sqlite/copy_blocks.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <openssl/sha.h>
#include <stdexcept>
#include <system_error>

namespace korvane::sqlite {

namespace {

[[noreturn]] void fail_to_read(const std::string& file, const std::error_code& reason) {
  throw std::runtime_error("\"" + file + "\" cannot be read: " + reason.message());
}

/// Reads one block after another.
class BlockReader {
 public:
  explicit BlockReader(const std::string& file) : file_(file), input_(file, std::ios::binary) {
    require(input_.is_open());
  }

  void seek(std::uint64_t offset) { input_.seekg(static_cast<std::streamoff>(offset)); }

  void read(char* bytes, std::size_t count) {
    input_.read(bytes, static_cast<std::streamsize>(count));
    require(input_.good());
  }

 private:
  void require(bool is_done) const {
    if (!is_done) fail_to_read(file_, {errno == 0 ? EIO : errno, std::system_category()});
  }

  const std::string file_;
  std::ifstream input_;
};

}  // namespace

BlockDigest digest_of(std::string_view block) {
  BlockDigest digest{};
  ::SHA256(reinterpret_cast<const unsigned char*>(block.data()), block.size(), digest.data());
  return digest;
}

std::size_t BlockList::length_of(std::size_t block) const {
  return static_cast<std::size_t>(
      std::min<std::uint64_t>(block_bytes, bytes - std::min(bytes, offset_of(block))));
}

BlockList list_blocks(const std::string& file) {
  BlockList list;
  std::error_code failure;
  list.bytes = std::filesystem::file_size(file, failure);
  if (failure) fail_to_read(file, failure);
  const auto count = [&] { return (list.bytes + list.block_bytes - 1) / list.block_bytes; };
  while (count() > BlockList::kMostBlocks) {
    if (list.block_bytes == BlockList::kMostBytes) {
      throw std::runtime_error("\"" + file +
                               "\" is too large to be sent: expected at most 256 GiB");
    }
    list.block_bytes *= 2;
  }
  BlockReader reader(file);
  std::string block;
  for (std::size_t i = 0; i < count(); ++i) {
    block.resize(list.length_of(i));
    reader.read(block.data(), block.size());
    list.digests.push_back(digest_of(block));
  }
  return list;
}

std::string read_blocks(const std::string& file, const BlockList& list, std::size_t first,
                        std::size_t count) {
  const std::uint64_t begin = list.offset_of(first);
  const std::uint64_t end = std::min(list.bytes, list.offset_of(first + count));
  std::string bytes(static_cast<std::size_t>(end - begin), '\0');
  BlockReader reader(file);
  reader.seek(begin);
  reader.read(bytes.data(), bytes.size());
  return bytes;
}

}  // namespace korvane::sqlite
