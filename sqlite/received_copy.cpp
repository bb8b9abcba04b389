#include "sqlite/received_copy.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "sqlite/check.h"
#include "sqlite/copy_placement.h"
#include "sqlite/database.h"
#include "sqlite/file_content.h"
#include "sqlite/page_copy.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;

void require_list(const BlockList& list) {
  const bool is_length = list.block_bytes >= BlockList::kLeastBytes &&
                         list.block_bytes <= BlockList::kMostBytes &&
                         (list.block_bytes & (list.block_bytes - 1)) == 0;
  if (!is_length) {
    throw std::invalid_argument(
        "blocks of " + std::to_string(list.block_bytes) + " bytes: expected a power of two from " +
        std::to_string(BlockList::kLeastBytes) + " to " + std::to_string(BlockList::kMostBytes));
  }
  const std::size_t count = list.digests.size();
  if (count > BlockList::kMostBlocks) {
    throw std::invalid_argument("expected at most " + std::to_string(BlockList::kMostBlocks) +
                                " blocks");
  }
  const bool is_whole =
      count > 0 && list.bytes > list.offset_of(count - 1) && list.bytes <= list.offset_of(count);
  if (!is_whole) {
    throw std::invalid_argument(std::to_string(count) + " blocks of " +
                                std::to_string(list.block_bytes) + " bytes are not a file of " +
                                std::to_string(list.bytes) + " bytes");
  }
}

}  // namespace

ReceivedCopy::ReceivedCopy(std::string copy, AnnouncedState announced, const CopyOptions& options)
    : copy_(std::move(copy)),
      announced_(std::move(announced)),
      has_come_(announced_.blocks.digests.size()) {
  require_list(announced_.blocks);
  std::error_code none;
  const fs::file_status there = fs::status(copy_, none);
  if (fs::exists(there) && !fs::is_regular_file(there)) {
    throw std::runtime_error("\"" + copy_ + "\" is not a file");
  }
  entry_ = std::make_unique<FolderEntry>(copy_, announced_.permissions);
  entry_->reserve(announced_.blocks.bytes);
  if (fs::exists(there)) take_from_copy(options);
}

void ReceivedCopy::take_from_copy(const CopyOptions& options) {
  const std::unique_ptr<Database> there = open_copy(copy_, options);
  there->run("begin; select count(*) from sqlite_schema");
  const bool is_own = is_as_noted(*there, header_of(*there), read_note(copy_));
  if (!is_own && content_digest(*there) != announced_.content) throw WrittenElsewhere(copy_);
  const BlockList& blocks = announced_.blocks;
  const std::uint64_t size = file_size_of(*there);
  std::string block;
  for (std::size_t i = 0; i < has_come_.size(); ++i) {
    block.resize(blocks.length_of(i));
    if (blocks.offset_of(i) + block.size() > size) return;
    read_bytes(*there, block.data(), block.size(), blocks.offset_of(i));
    if (digest_of(block) != blocks.digests[i]) continue;
    entry_->overwrite(static_cast<long>(blocks.offset_of(i)), block);
    has_come_[i] = true;
  }
}

std::vector<std::size_t> ReceivedCopy::missing() const {
  std::vector<std::size_t> blocks;
  for (std::size_t i = 0; i < has_come_.size(); ++i) {
    if (!has_come_[i]) blocks.push_back(i);
  }
  return blocks;
}

void ReceivedCopy::put(std::size_t first, std::string_view bytes) {
  const BlockList& blocks = announced_.blocks;
  for (std::size_t i = first; !bytes.empty(); ++i) {
    if (i >= has_come_.size() || bytes.size() < blocks.length_of(i)) {
      throw std::invalid_argument("expected whole blocks");
    }
    const std::string_view block = bytes.substr(0, blocks.length_of(i));
    if (digest_of(block) != blocks.digests[i]) {
      throw std::invalid_argument("block " + std::to_string(i) + " is not as it was announced");
    }
    entry_->overwrite(static_cast<long>(blocks.offset_of(i)), block);
    has_come_[i] = true;
    bytes.remove_prefix(block.size());
  }
}

void ReceivedCopy::require_file() const {
  Database part(entry_->path(), Database::Access::settled);
  part.distrust();
  const std::string header = header_of(part);
  if (is_write_ahead_header(header)) {
    throw std::invalid_argument("expected a file without a write-ahead log");
  }
  if (content_digest(part) != announced_.content) {
    throw std::invalid_argument("the content is not as it was announced");
  }
  require_project(part);
}

StandingCopy ReceivedCopy::finish(const CopyOptions& options) {
  const auto missing = std::count(has_come_.begin(), has_come_.end(), false);
  if (missing > 0) throw std::invalid_argument(std::to_string(missing) + " blocks have not come");
  require_file();
  CheckOptions check;
  check.are_rows_read = false;
  check.proceed = within_usual_time(entry_->path());
  const CheckReport report = check_file(entry_->path(), check);
  require_undamaged(report, "what has come for \"" + copy_ + "\"");
  if (static_cast<std::uint64_t>(report.pages * report.page_bytes) != announced_.blocks.bytes) {
    throw std::invalid_argument("the file has other bytes than those of its pages");
  }
  StandingCopy result;
  result.taken = announced_.taken;
  result.source = announced_.source;
  result.bytes = static_cast<std::int64_t>(announced_.blocks.bytes);
  result.findings = without_notes(report);
  CopyNote note;
  note.source = announced_.source;
  note.taken = announced_.taken;
  note.content = announced_.content;
  put_in_place(*entry_, copy_, std::move(note), announced_.permissions, result, options);
  return result;
}

}  // namespace korvane::sqlite
