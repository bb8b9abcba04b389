#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/encoding/json.h"
#include "schedule/fault_list.h"
#include "schedule/json_cursor.h"

namespace korvane::schedule {

/// Goes through a JSON document piece by piece and notes what is wrong with it. A place is the path
/// of a value, "sheets[0].revisions"; that of the whole document is empty.
class DocumentReader {
 public:
  struct Member {
    std::string_view name;
    /// Called before the value, with its place. Must go past it.
    std::function<void(const std::string& place)> read;
    bool is_required = false;
  };

  /// `text` must have passed encoding::check_json, and outlive the reader.
  explicit DocumentReader(std::string_view text) : text_(text), cursor_(text) {}

  JsonCursor& cursor() { return cursor_; }
  void go_to(std::size_t position) { cursor_ = JsonCursor(text_, position); }

  /// Notes "line <n>: <text>" for the line of `position`.
  void fault(std::size_t position, const std::string& text) { faults_.add(position, text); }
  std::vector<std::string> faults() const;
  std::size_t fault_count() const { return faults_.count(); }

  /// Reads the object that comes next. Other members than these, those that are given twice, and
  /// those that are missing, are faults.
  void read_object(const std::string& place, std::span<const Member> members);

  /// Calls `read` before each element of the array that comes next. It must go past it.
  void read_list(const std::string& place, const std::function<void(std::size_t index)>& read);

  /// Reads the record that comes next; none if it is faulty.
  template <class T>
  std::optional<T> read_record(const std::string& place) {
    const std::size_t begin = cursor_.position();
    try {
      return encoding::from_json<T>(cursor_.take());
    } catch (const encoding::JsonError& error) {
      fault(begin, at_place(place, error.what()));
      return std::nullopt;
    }
  }

  /// The text of a JsonError of a record, whose place is `place`, in terms of the document.
  static std::string at_place(const std::string& place, std::string_view error);
  static std::string element(const std::string& place, std::size_t index);

 private:
  void refuse_kind(const std::string& place, const char* expected);

  std::string_view text_;
  JsonCursor cursor_;
  FaultList faults_;
};

}  // namespace korvane::schedule
