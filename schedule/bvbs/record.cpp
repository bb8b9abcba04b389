#include "schedule/bvbs/record.h"

#include <algorithm>
#include <charconv>

#include "schedule/bvbs/letters.h"

namespace korvane::schedule::bvbs {

namespace {

constexpr std::size_t kGroupLength = 4;

bool is_capital(char c) { return c >= 'A' && c <= 'Z'; }
bool is_lower(char c) { return c >= 'a' && c <= 'z'; }

std::string quoted(std::string_view text) { return '"' + utf8_from_windows1252(text) + '"'; }

/// Where the checksum block begins, or npos: the last one, since private text may contain "@C".
std::size_t checksum_block(std::string_view record) {
  const std::size_t at = record.rfind("@C");
  return at == std::string_view::npos ? at : at + 1;
}

std::int32_t computed_checksum(std::string_view record) {
  return checksum(record.substr(0, checksum_block(record) + 1));
}

/// Throws unless the number after the C is the one that the record's characters give, as they are
/// or `as_written`.
void verify_checksum(std::string_view record, std::string_view as_written, std::size_t number) {
  std::string_view stated_text = record.substr(checksum_block(record) + 1);
  if (!stated_text.empty() && stated_text.back() == '@') stated_text.remove_suffix(1);
  std::int32_t stated = 0;
  const char* const end = stated_text.data() + stated_text.size();
  const auto [rest, error] = std::from_chars(stated_text.data(), end, stated);
  if (error != std::errc() || rest != end) {
    throw RecordError(number, "the checksum block C holds " + quoted(stated_text) +
                                  ", expected a number from 65 to 96");
  }
  const std::int32_t computed = computed_checksum(record);
  if (stated == computed || stated == computed_checksum(as_written)) return;
  throw RecordError(number, "wrong checksum: the record states " + std::to_string(stated) +
                                ", its characters give " + std::to_string(computed));
}

/// Takes a block off the front of `text`, which begins with the block's letter.
Block take_block(std::string_view& text, std::size_t number) {
  Block block{text.front(), {}};
  text.remove_prefix(1);
  while (!text.empty() && !is_capital(text.front())) {
    if (!is_lower(text.front())) {
      throw RecordError(number, std::string("block ") + block.letter +
                                    ": expected a field, found " +
                                    quoted(text.substr(0, text.find('@'))));
    }
    const std::size_t end = text.find('@');
    if (end == std::string_view::npos) {
      throw RecordError(number, std::string("block ") + block.letter + ": field " + text.front() +
                                    " does not end in @");
    }
    block.fields.push_back({text.front(), utf8_from_windows1252(text.substr(1, end - 1))});
    text.remove_prefix(end + 1);
  }
  return block;
}

}  // namespace

std::optional<std::string_view> Block::find(char field) const {
  for (const Field& candidate : fields) {
    if (candidate.letter == field) return candidate.value;
  }
  return std::nullopt;
}

const Block* Record::find(char block) const {
  for (const Block& candidate : blocks) {
    if (candidate.letter == block) return &candidate;
  }
  return nullptr;
}

std::int32_t checksum(std::string_view text) {
  std::uint32_t sum = 0;
  for (const char c : text) sum += static_cast<unsigned char>(c);
  return 96 - static_cast<std::int32_t>(sum % 32);
}

SourceLines::SourceLines(std::string_view text) : rest_(text) {
  constexpr std::string_view kMark = "\uFEFF";
  has_mark_ = rest_.starts_with(kMark);
  if (has_mark_) rest_.remove_prefix(kMark.size());
}

std::optional<SourceLine> SourceLines::next() {
  while (!rest_.empty()) {
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++number_;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty()) return SourceLine{number_, line, has_mark_};
  }
  return std::nullopt;
}

bool begins_as_record(std::string_view line) {
  return line.size() > kGroupLength && line[kGroupLength] == '@' && line.starts_with("BF");
}

Record parse_record(const SourceLine& source) {
  const std::size_t number = source.number;
  const auto converted =
      source.has_mark ? windows1252_from_utf8(source.text) : std::optional<std::string>();
  const std::string_view line = converted ? *converted : source.text;
  if (line.find('\r') != std::string_view::npos) {
    throw RecordError(number, "a carriage return without a line feed after it");
  }
  if (!begins_as_record(line)) {
    throw RecordError(number, "expected a record that begins with its group such as BF2D@, found " +
                                  quoted(line.substr(0, 8)));
  }
  if (line.find("@H") == std::string_view::npos) {
    throw RecordError(number, "no header block H");
  }
  const std::size_t checksum_at = checksum_block(line);
  if (checksum_at == std::string_view::npos) {
    throw RecordError(number, "no checksum block C");
  }
  verify_checksum(line, source.text, number);

  const bool has_foreign_letters =
      !converted && std::any_of(line.begin(), line.end(), [](char c) { return (c & 0x80) != 0; });
  Record record{number,
                std::string(line.substr(0, kGroupLength)),
                {},
                utf8_from_windows1252(line),
                has_foreign_letters};
  std::string_view rest = line.substr(kGroupLength + 1, checksum_at - kGroupLength - 1);
  while (!rest.empty() && rest.front() != 'P') {
    if (!is_capital(rest.front())) {
      throw RecordError(number,
                        "expected a block, found " + quoted(rest.substr(0, rest.find('@'))));
    }
    record.blocks.push_back(take_block(rest, number));
  }
  return record;
}

}  // namespace korvane::schedule::bvbs
