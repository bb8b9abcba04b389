#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "bond/kinds.h"
#include "contracts/encoding/enumerator_numbers.h"
#include "contracts/encoding/field_table.h"
#include "contracts/encoding/json_parse.h"
#include "contracts/encoding/place.h"

namespace korvane::encoding::detail {

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
    constexpr const auto& readers = field_readers_v<T, const JsonReader, void>;
    static_assert(readers.size() <= kMostFields);
    read_fields(&record, readers);
  }

 private:
  using Fields = std::span<const FieldReader<const JsonReader, void>>;

  void require(bool is_as_expected, const char* expected) const;
  std::string_view expect_text(const char* expected) const;
  double expect_number(const char* expected) const;
  JsonNode::ConstArray expect_array() const;
  JsonNode::ConstObject expect_object() const;
  std::int32_t enumerator(std::span<const EnumeratorNumber> enumerators) const;
  void read_fields(void* record, Fields fields) const;

  const JsonNode& node_;
  const Place& place_;
};

}  // namespace korvane::encoding::detail
