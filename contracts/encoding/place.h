#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvane::encoding::detail {

/// The place of a value in a record: a chain along the stack, which becomes text only when
/// something fails.
class Place {
 public:
  /// The record itself.
  Place() = default;
  /// A field or an entry of the value at `outer`. Both must outlive the place.
  Place(const Place& outer, std::string_view key) : outer_(&outer), key_(key) {}
  /// An element of the list at `outer`, which must outlive the place.
  Place(const Place& outer, std::size_t index) : outer_(&outer), index_(index), is_element_(true) {}

  /// Throws JsonError "<path>: <what>".
  [[noreturn]] void fail(const std::string& what) const;
  /// Throws JsonError "<path>: expected <expected>, found <found>".
  [[noreturn]] void fail_expected(const std::string& expected, std::string_view found) const;

 private:
  void append_to(std::string& path) const;

  const Place* outer_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  bool is_element_ = false;
};

/// Each appends one step to a path.
void append_key(std::string& path, std::string_view key);
void append_index(std::string& path, std::size_t index);

/// Throws JsonError "<path>: <what>"; an empty path is that of the record, "request".
[[noreturn]] void fail_at(const std::string& path, const std::string& what);

}  // namespace korvane::encoding::detail
