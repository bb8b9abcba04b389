#include "schedule/json_cursor.h"

namespace korvane::schedule {

JsonCursor::JsonCursor(std::string_view text, std::size_t position) : text_(text), at_(position) {
  skip_blanks();
}

std::string_view JsonCursor::take() {
  const std::size_t begin = at_;
  std::size_t depth = 0;
  do {
    switch (text_[at_]) {
      case '"':
        skip_text();
        break;
      case '{':
      case '[':
        ++depth;
        ++at_;
        break;
      case '}':
      case ']':
        --depth;
        ++at_;
        break;
      default:
        // Signs between values, and numbers, true, false and null.
        at_ = text_.find_first_of(depth == 0 ? ",}] \t\r\n" : "\"{[]}", at_);
        if (at_ == std::string_view::npos) at_ = text_.size();
    }
  } while (depth != 0);
  const std::string_view value = text_.substr(begin, at_ - begin);
  skip_blanks();
  return value;
}

void JsonCursor::enter() {
  ++at_;
  skip_blanks();
}

bool JsonCursor::next_member(std::string_view& name) {
  if (!next_element()) return false;
  const std::size_t begin = at_ + 1;
  skip_text();
  name = text_.substr(begin, at_ - 1 - begin);
  skip_blanks();
  ++at_;  // the colon
  skip_blanks();
  return true;
}

bool JsonCursor::next_element() {
  const bool is_end = text_[at_] == '}' || text_[at_] == ']';
  if (is_end || text_[at_] == ',') ++at_;
  skip_blanks();
  return !is_end;
}

void JsonCursor::skip_blanks() {
  while (at_ < text_.size() &&
         std::string_view(" \t\r\n").find(text_[at_]) != std::string_view::npos) {
    ++at_;
  }
}

void JsonCursor::skip_text() {
  for (++at_; text_[at_] != '"'; ++at_) {
    if (text_[at_] == '\\') ++at_;
  }
  ++at_;
}

}  // namespace korvane::schedule
