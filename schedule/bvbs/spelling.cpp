#include "schedule/bvbs/spelling.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>

#include "schedule/bvbs/letters.h"
#include "schedule/bvbs/numbers.h"

namespace korvane::schedule::bvbs {

namespace {

using Meaning = DraftField::Meaning;

std::optional<std::int32_t> parse_count(std::string_view text) {
  std::int32_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || rest != end) return std::nullopt;
  return count;
}

/// Whether the text of a field in a source line says what the draft does.
bool means(std::string_view text, const DraftField& field) {
  switch (field.meaning) {
    case Meaning::text:
      return text == field.text;
    case Meaning::number:
      return parse_number(text.empty() ? "0" : text) ==
             parse_number(field.text.empty() ? "0" : field.text);
    case Meaning::count:
      return parse_count(text) == parse_count(field.text);
    case Meaning::reserved:
      return true;
  }
  return false;
}

std::string spelled(char letter, std::string_view value) {
  std::string text(1, letter);
  text += value;
  text += '@';
  return text;
}

std::string spelled(const Block& block) {
  std::string text(1, block.letter);
  for (const Field& field : block.fields) text += spelled(field.letter, field.value);
  return text;
}

/// Throws CannotSay for a text that would break the record.
std::string spelled(const DraftField& field) {
  const auto refuse = [&](const char* reason) {
    throw CannotSay("its " + std::string(field.what) + " has " + reason);
  };
  for (const char c : field.text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '@') refuse("an @, which ends a field of the format");
    if (byte < 0x20 || byte == 0x7F) refuse("a control character");
  }
  if (!windows1252_from_utf8(field.text)) refuse("letters that Windows-1252 lacks");
  return spelled(field.letter, field.text);
}

/// The header: the fields of the source in their order, those that it lacks at their places.
class Header {
 public:
  Header(const Draft& draft, const Block* source, bool keeps_more)
      : draft_(draft), keeps_more_(keeps_more) {
    if (source != nullptr) {
      for (const Field& field : source->fields) take_over(field);
    }
    for (const DraftField& field : draft_.header) {
      if (placed_.count(field.letter) == 0) insert(field, source != nullptr);
    }
  }

  std::string text() const {
    std::string text = "H";
    for (const Placed& placed : fields_) text += placed.text;
    return text;
  }

 private:
  struct Placed {
    std::size_t rank;
    std::string text;
  };

  /// The place in the order of the format; 0 for a field that the draft does not know.
  std::size_t rank_of(const DraftField* field) const {
    return field == nullptr ? 0 : static_cast<std::size_t>(field - draft_.header.data()) + 1;
  }

  void take_over(const Field& field) {
    const DraftField* const now = draft_.find(field.letter);
    if (now == nullptr) {
      if (keeps_more_) fields_.push_back({0, spelled(field.letter, field.value)});
      return;
    }
    // Of a field that is there twice the first counts, as for a reader.
    if (!placed_.insert(field.letter).second) return;
    if (means(field.value, *now)) {
      fields_.push_back({rank_of(now), spelled(field.letter, field.value)});
    } else if (!now->is_optional || !now->text.empty()) {
      fields_.push_back({rank_of(now), spelled(*now)});
    }
  }

  void insert(const DraftField& field, bool is_left_out_when_empty) {
    if (field.text.empty() && (field.is_optional || is_left_out_when_empty)) return;
    const std::size_t rank = rank_of(&field);
    const auto before = std::find_if(
        fields_.rbegin(), fields_.rend(),
        [rank](const Placed& placed) { return placed.rank != 0 && placed.rank < rank; });
    fields_.insert(before.base(), {rank, spelled(field)});
  }

  const Draft& draft_;
  bool keeps_more_;
  std::vector<Placed> fields_;
  std::set<char> placed_;
};

/// Puts a record together, up to and including the C.
class Blocks {
 public:
  Blocks(const Draft& draft, const Source* source)
      : draft_(draft),
        source_(source),
        has_same_body_(source != nullptr && has_same_body(draft, source->draft)) {}

  std::string text() const {
    const Block* const header = source_ == nullptr ? nullptr : source_->record.find('H');
    const std::string shape = shape_text();
    if (draft_.group == "BF2D" && shape.empty()) {
      throw CannotSay("no geometry, and the format needs one");
    }
    return (keeps_shape() ? source_->record.group : draft_.group) + '@' +
           Header(draft_, header, has_same_body_).text() + shape + treatments_text() +
           more_blocks() + 'C';
  }

 private:
  bool keeps_shape() const {
    return source_ != nullptr && source_->draft.group == draft_.group &&
           source_->draft.shape == draft_.shape;
  }

  /// The block G, or the positions of block A that stand for it.
  std::string shape_text() const {
    if (!draft_.shape.empty()) {
      return keeps_shape() ? spelled(*source_->record.find('G')) : draft_.shape;
    }
    if (!has_same_body_) return {};
    const Block* const positions = source_->record.find('A');
    return positions == nullptr ? std::string() : spelled(*positions);
  }

  std::string treatments_text() const {
    if (draft_.treatments.empty()) return {};
    if (source_ != nullptr && source_->draft.treatments == draft_.treatments) {
      return spelled(*source_->record.find('M'));
    }
    std::string text = "M";
    for (const DraftField& field : draft_.treatments) text += spelled(field);
    return text;
  }

  /// What the draft knows nothing about.
  std::string more_blocks() const {
    if (!has_same_body_) return {};
    std::string text;
    for (const Block& block : source_->record.blocks) {
      if (is_further(block)) text += spelled(block);
    }
    return text + source_->private_text;
  }

  bool is_further(const Block& block) const {
    if (block.letter == 'A') return !draft_.shape.empty() || &block != source_->record.find('A');
    return block.letter != 'H' && block.letter != 'G' && block.letter != 'M';
  }

  const Draft& draft_;
  const Source* source_;
  bool has_same_body_;
};

}  // namespace

std::string spell(const Draft& draft, const Source* source) {
  std::string line = windows1252_from_utf8(Blocks(draft, source).text()).value();
  const std::int32_t sum = checksum(line);
  return line + std::to_string(sum) + '@';
}

bool says_more(const Source& source, const Draft& draft) {
  if (!has_same_body(draft, source.draft)) return false;
  if (!source.private_text.empty()) return true;
  for (const Block& block : source.record.blocks) {
    if (block.letter == 'H') {
      for (const Field& field : block.fields) {
        if (draft.find(field.letter) == nullptr) return true;
      }
    } else if (block.letter != 'G' && block.letter != 'M') {
      return true;
    }
  }
  return false;
}

}  // namespace korvane::schedule::bvbs
