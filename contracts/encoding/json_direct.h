#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "bond/kinds.h"
#include "contracts/encoding/enumerator_numbers.h"
#include "contracts/encoding/field_table.h"

namespace korvane::encoding::detail {

/// Reads JSON text straight into a record: no tree of it is built. It takes what nearly every text
/// is, and of the rest says only that it did not take it: JsonReader then reads a parsed tree, which
/// knows what is wrong and where. What it takes, that one takes too, for the same record.
class JsonDirectReader {
 public:
  /// `text` must outlive the reader.
  explicit JsonDirectReader(std::string_view text)
      : at_(text.data()), end_(text.data() + text.size()) {}

  /// Reads the whole text. Returns whether it was taken; if not, `record` may be partly filled.
  template <bond::Record T>
  bool read_whole(T& record) {
    if (!is_text_utf8()) return false;
    skip_space();
    if (!read(record)) return false;
    skip_space();
    return at_ == end_;
  }

  // One value of each kind, which begins here. Each returns whether it was taken.

  bool read(bool& value);
  bool read(std::int32_t& value);
  bool read(double& value);
  bool read(std::string& value);
  bool read(bond::blob& value);

  template <bond::Enumeration E>
  bool read(E& value) {
    std::int32_t number = 0;
    if (!read_enumerator(enumerator_numbers_v<E>, number)) return false;
    value = static_cast<E>(number);
    return true;
  }

  bool read(bond::Nullable auto& value) {
    if (!take_word("null")) return read(value.set());
    value.reset();
    return true;
  }
  bool read(bond::Maybe auto& value) {
    if (!take_word("null")) return read(value.set_value());
    value.set_nothing();
    return true;
  }

  bool read(bond::List auto& list) {
    list.clear();
    if (!open('[')) return false;
    if (close(']')) return true;
    do {
      if (!read(list.emplace_back())) return false;
    } while (take_comma());
    return close(']');
  }

  bool read(bond::Map auto& map) {
    map.clear();
    if (!open('{')) return false;
    if (close('}')) return true;
    do {
      std::string key;
      if (!read(key) || !take_colon()) return false;
      const std::size_t before = map.size();
      // Maps are written in the order of their keys.
      const auto entry = map.try_emplace(map.end(), std::move(key));
      if (map.size() == before || !read(entry->second)) return false;
    } while (take_comma());
    return close('}');
  }

  template <bond::Record T>
  bool read(T& record) {
    constexpr const auto& readers = field_readers_v<T, JsonDirectReader, bool>;
    static_assert(readers.size() <= kMostFields);
    return read_fields(&record, readers);
  }

 private:
  using Fields = std::span<const FieldReader<JsonDirectReader, bool>>;

  bool is_text_utf8() const;
  void skip_space();
  /// Takes an opening bracket and the space after it.
  bool open(char bracket);
  /// Takes a closing bracket, if it comes next.
  bool close(char bracket);
  /// Takes a comma, if it comes next after space, and the space around it.
  bool take_comma();
  bool take_colon();
  bool take_word(std::string_view word);

  /// A number as it is written.
  struct Number;
  bool take_number(Number& number);

  /// Takes the rest of a text from its first backslash on.
  bool read_escaped(std::string& value);
  bool take_escape(std::string& value);
  bool take_unit(std::uint32_t& unit);

  bool read_enumerator(std::span<const EnumeratorNumber> enumerators, std::int32_t& number);
  bool read_fields(void* record, Fields fields);
  /// Takes a name and its colon. Returns the place of the field, and that after the last for none.
  std::size_t take_name(Fields fields, std::size_t likely);

  const char* at_;
  const char* end_;
  std::size_t depth_ = 0;
};

}  // namespace korvane::encoding::detail
