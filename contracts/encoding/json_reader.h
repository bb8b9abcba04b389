#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "bond/kinds.h"
#include "contracts/encoding/enumerator_numbers.h"
#include "contracts/encoding/json_parse.h"
#include "contracts/encoding/place.h"

namespace korvane::encoding::detail {

class JsonReader;

/// Reads one field of a record into it.
struct FieldReader {
  std::string_view name;
  void (*read)(void* record, const JsonReader& value);
};

/// One value of a parsed text. It is read into a field of the kind that it must have; a value of
/// another kind is a JsonError with its place.
class JsonReader {
 public:
  /// Reads `node`, whose place is `place`. Both must outlive the reader.
  JsonReader(const JsonNode& node, const Place& place) : node_(node), place_(place) {}
  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  void read(bool& value) const;
  void read(std::int32_t& value) const;
  void read(double& value) const;
  void read(std::string& value) const;
  void read(bond::blob& value) const;

  template <bond::Enumeration E>
  void read(E& value) const {
    value = static_cast<E>(enumerator(enumerator_numbers_v<E>));
  }

  void read(bond::Nullable auto& value) const {
    node_.IsNull() ? value.reset() : read(value.set());
  }
  void read(bond::Maybe auto& value) const {
    node_.IsNull() ? value.set_nothing() : read(value.set_value());
  }

  void read(bond::List auto& list) const {
    const JsonNode::ConstArray array = expect_array();
    list.clear();
    list.reserve(array.Size());
    for (const JsonNode& element : array) {
      const Place place(place_, list.size());
      JsonReader(element, place).read(list.emplace_back());
    }
  }

  void read(bond::Map auto& map) const {
    map.clear();
    for (const auto& [key, mapped] : expect_object()) {
      const auto [entry, is_new] =
          map.try_emplace(std::string(key.GetString(), key.GetStringLength()));
      const Place place(place_, entry->first);
      if (!is_new) place.fail("given twice");
      JsonReader(mapped, place).read(entry->second);
    }
  }

  template <bond::Record T>
  void read(T& record) const {
    static_assert(kFieldReaders<T>.size() <= kMostFields);
    read_fields(&record, kFieldReaders<T>);
  }

 private:
  /// More than any contract has: read_fields() keeps a mark for each.
  static constexpr std::size_t kMostFields = 64;

  template <class T, auto Member>
  static void read_member(void* record, const JsonReader& value) {
    value.read(static_cast<T*>(record)->*Member);
  }

  /// The number of fields of `Part`, those of its base included.
  template <bond::Record Part>
  static constexpr std::size_t count_fields() {
    if constexpr (bond::DescribedWithBase<Part>) {
      return bond::field_count<Part>() + count_fields<typename bond::Describe<Part>::base>();
    } else {
      return bond::field_count<Part>();
    }
  }

  /// Stores the readers of the fields of `Part`, which is `T` or a base of it, from `next` on.
  /// Returns the place after the last.
  template <class T, bond::Record Part>
  static constexpr FieldReader* add_readers(FieldReader* next) {
    if constexpr (bond::DescribedWithBase<Part>) {
      next = add_readers<T, typename bond::Describe<Part>::base>(next);
    }
    bond::for_each_field<Part>([&](const auto& field) {
      *next++ = {field.name, &read_member<T, std::remove_cvref_t<decltype(field)>::member>};
    });
    return next;
  }

  /// The readers of all fields of `T`, those of its base first.
  template <bond::Record T>
  static constexpr auto kFieldReaders = [] {
    std::array<FieldReader, count_fields<T>()> readers{};
    add_readers<T, T>(readers.data());
    return readers;
  }();

  void require(bool is_as_expected, const char* expected) const;
  std::string_view expect_text(const char* expected) const;
  double expect_number(const char* expected) const;
  JsonNode::ConstArray expect_array() const;
  JsonNode::ConstObject expect_object() const;
  std::int32_t enumerator(std::span<const EnumeratorNumber> enumerators) const;
  void read_fields(void* record, std::span<const FieldReader> fields) const;

  const JsonNode& node_;
  const Place& place_;
};

}  // namespace korvane::encoding::detail
