#pragma once

#include <cstddef>
#include <string_view>

namespace korvane::schedule {

/// Goes through JSON text value by value without building anything, so that what is large is read
/// piece by piece. The text must have passed encoding::check_json and must outlive the cursor.
///
///     cursor.enter();
///     while (cursor.next_member(name)) { … take() or enter() … }
class JsonCursor {
 public:
  /// Before the value that begins at `position` or after blanks there.
  explicit JsonCursor(std::string_view text, std::size_t position = 0);

  /// Where the next value begins.
  std::size_t position() const { return at_; }
  bool is_object() const { return text_[at_] == '{'; }
  bool is_array() const { return text_[at_] == '['; }

  /// The text of the next value, which it goes past.
  std::string_view take();

  /// Goes into the next value, an object or an array.
  void enter();
  /// Goes to the value of the next member, whose name is as the text has it between the quotes, or
  /// returns false at the end of the object and goes past it. Call it when the value before has
  /// been gone past.
  bool next_member(std::string_view& name);
  /// The same for the elements of an array.
  bool next_element();

 private:
  void skip_blanks();
  void skip_text();

  std::string_view text_;
  std::size_t at_;
};

}  // namespace korvane::schedule
