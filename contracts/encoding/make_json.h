#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <new>
#include <rapidjson/document.h>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/serialize.h"
#include "bond/wire_type.h"
#include "contracts/encoding/json.h"

/// What a folder's `json.cpp` includes to make the JSON codec of its contracts.
namespace korvane::encoding {
namespace detail {

/// Where a value stands in the whole: a chain along the stack, of which nothing is made into text
/// before something fails.
class Place {
 public:
  /// The whole itself.
  Place() = default;
  /// A field or an entry of what stands at `outer`. Both must outlive the place.
  Place(const Place& outer, std::string_view key) : outer_(&outer), key_(key) {}
  /// An element of what stands at `outer`, which must outlive the place.
  Place(const Place& outer, std::size_t index) : outer_(&outer), index_(index), is_element_(true) {}

  /// Throws JsonError "<path>: <what>".
  [[noreturn]] void fail(const std::string& what) const;

 private:
  void append_to(std::string& path) const;

  const Place* outer_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  bool is_element_ = false;
};

/// The library's memory comes by `new`: whoever counts or limits what the program allocates has
/// the parsed tree as well, and a failure is an exception.
class JsonAllocator {
 public:
  static constexpr bool kNeedFree = true;

  void* Malloc(std::size_t size) { return size == 0 ? nullptr : ::operator new(size); }
  void* Realloc(void* memory, std::size_t size, std::size_t new_size) {
    void* const moved = Malloc(new_size);
    if (memory != nullptr && moved != nullptr) {
      std::memcpy(moved, memory, std::min(size, new_size));
    }
    Free(memory);
    return moved;
  }
  static void Free(void* memory) { ::operator delete(memory); }
};

using JsonDocument =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<JsonAllocator>,
                               JsonAllocator>;

/// A parsed value. Members of an object stand in the order of the text, and keys may occur twice. A
/// number is read as a double, which holds all that a field can: an integer has 32 bits.
using JsonNode = JsonDocument::ValueType;

/// Throws JsonError for malformed text, nesting too deep and numbers too large.
JsonDocument parse_json(std::string_view text);

/// JSON text on its way out: kept whole, or handed on in pieces.
class JsonOutput {
 public:
  /// Keeps all of it.
  JsonOutput() = default;
  /// Hands it on; `sink` must outlive it.
  explicit JsonOutput(const JsonSink& sink) : sink_(&sink) {}

  JsonOutput& operator+=(char c) {
    text_ += c;
    return *this;
  }
  JsonOutput& operator+=(std::string_view piece) {
    text_ += piece;
    hand_on_if_large();
    return *this;
  }
  /// The character that was written last. Something must have been.
  char back() const { return text_.empty() ? last_ : text_.back(); }

  /// What is kept: all of it without a sink, else what is still to be handed on.
  std::string take() { return std::move(text_); }
  /// Hands the rest on.
  void finish() {
    if (sink_ != nullptr && !text_.empty()) (*sink_)(text_);
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{64} * 1024;

  void hand_on_if_large() {
    if (sink_ == nullptr || text_.size() < kPiece) return;
    last_ = text_.back();
    (*sink_)(text_);
    text_.clear();
  }

  const JsonSink* sink_ = nullptr;
  std::string text_;
  char last_ = 0;
};

/// Reads one field of a record into it.
struct FieldReader {
  std::string_view name;
  void (*read)(void* record, const JsonNode& node, const Place& place);
};

/// More than any contract has: read_fields() keeps a mark for each.
inline constexpr std::size_t kMostFields = 64;

struct EnumeratorNumber {
  std::string_view name;
  std::int32_t number;
};

/// The text of a node that is one.
inline std::string_view text_of(const JsonNode& node) {
  return {node.GetString(), node.GetStringLength()};
}

/// Each returns what the node holds, or throws JsonError.
bool read_bool(const JsonNode& node, const Place& place);
std::int32_t read_int32(const JsonNode& node, const Place& place);
double read_double(const JsonNode& node, const Place& place);
std::string read_text(const JsonNode& node, const Place& place);
bond::blob read_blob(const JsonNode& node, const Place& place);
std::int32_t read_enumeration(const JsonNode& node, const Place& place,
                              std::span<const EnumeratorNumber> enumerators);
JsonNode::ConstArray read_array(const JsonNode& node, const Place& place);
JsonNode::ConstObject read_object(const JsonNode& node, const Place& place);
void read_fields(const JsonNode& node, const Place& place, void* record,
                 std::span<const FieldReader> fields);

/// Each appends one value to `text`, or throws JsonError.
void write_double(JsonOutput& text, double value, const Place& place);
void write_int32(JsonOutput& text, std::int32_t value);
void write_text(JsonOutput& text, std::string_view value, const Place& place);
void write_blob(JsonOutput& text, const bond::blob& value);
void write_enumeration(JsonOutput& text, std::int32_t value,
                       std::span<const EnumeratorNumber> enumerators);
/// Appends the comma that parts an element from the one before it; call it before the element.
void write_separator(JsonOutput& text);
/// Appends `"name":` for a name that needs no escaping.
void write_name(JsonOutput& text, std::string_view name);

/// "korvane.Batch_korvane.model.cad.Rebar" of "korvane.Batch<korvane.model.cad.Rebar>".
std::string component_name(std::string_view type_name);
/// A schema's members that refer to a component.
std::string reference_members(std::string_view component);
std::string enumeration_schema(std::span<const EnumeratorNumber> enumerators);
/// The members of the schema of an int32.
inline constexpr std::string_view kInt32Members =
    "\"type\":\"integer\",\"format\":\"int32\",\"minimum\":-2147483648,\"maximum\":2147483647";

template <bond::DescribedEnum E>
inline constexpr auto enumerator_numbers_v = [] {
  constexpr auto& enumerators = bond::DescribeEnum<E>::enumerators;
  std::array<EnumeratorNumber, enumerators.size()> numbers{};
  std::transform(enumerators.begin(), enumerators.end(), numbers.begin(), [](const auto& each) {
    return EnumeratorNumber{each.name, static_cast<std::int32_t>(each.value)};
  });
  return numbers;
}();

template <class T>
void read_value(const JsonNode& node, T& value, const Place& place);

template <class T, auto Member>
void read_member(void* record, const JsonNode& node, const Place& place) {
  read_value(node, static_cast<T*>(record)->*Member, place);
}

/// The readers of the fields that `Part`, which is `T` or a base of it, adds to its own base.
template <class T, class Part>
constexpr auto own_field_readers() {
  return bond::Describe<Part>::fields([](auto... field) {
    return std::array<FieldReader, sizeof...(field)>{
        FieldReader{field.name, &read_member<T, decltype(field)::member>}...};
  });
}

template <class T, class Part>
constexpr auto all_field_readers() {
  if constexpr (bond::DescribedWithBase<Part>) {
    constexpr auto base = all_field_readers<T, typename bond::Describe<Part>::base>();
    constexpr auto own = own_field_readers<T, Part>();
    std::array<FieldReader, base.size() + own.size()> all{};
    std::copy(own.begin(), own.end(), std::copy(base.begin(), base.end(), all.begin()));
    return all;
  } else {
    return own_field_readers<T, Part>();
  }
}

template <bond::Described T>
inline constexpr auto field_readers_v = all_field_readers<T, T>();

template <class T>
void read_list(const JsonNode& node, std::vector<T>& list, const Place& place) {
  const JsonNode::ConstArray array = read_array(node, place);
  list.clear();
  list.reserve(array.Size());
  for (const JsonNode& element : array) {
    const std::size_t index = list.size();
    read_value(element, list.emplace_back(), Place(place, index));
  }
}

template <class V>
void read_map(const JsonNode& node, std::map<std::string, V>& map, const Place& place) {
  map.clear();
  for (const auto& [key, mapped] : read_object(node, place)) {
    const auto [entry, is_new] = map.try_emplace(std::string(text_of(key)));
    const Place entry_place(place, entry->first);
    if (!is_new) entry_place.fail("given twice");
    read_value(mapped, entry->second, entry_place);
  }
}

template <class T>
void read_value(const JsonNode& node, T& value, const Place& place) {
  if constexpr (bond::is_nullable_v<T>) {
    if (node.IsNull()) return value.reset();
    read_value(node, value.set(), place);
  } else if constexpr (bond::is_maybe_v<T>) {
    if (node.IsNull()) return value.set_nothing();
    read_value(node, value.set_value(), place);
  } else if constexpr (bond::is_vector_v<T>) {
    read_list(node, value, place);
  } else if constexpr (bond::is_map_v<T>) {
    read_map(node, value, place);
  } else if constexpr (bond::DescribedEnum<T>) {
    value = static_cast<T>(read_enumeration(node, place, enumerator_numbers_v<T>));
  } else if constexpr (bond::Described<T>) {
    static_assert(field_readers_v<T>.size() <= kMostFields);
    read_fields(node, place, &value, field_readers_v<T>);
  } else if constexpr (std::is_same_v<T, bool>) {
    value = read_bool(node, place);
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    value = read_int32(node, place);
  } else if constexpr (std::is_same_v<T, double>) {
    value = read_double(node, place);
  } else if constexpr (std::is_same_v<T, bond::blob>) {
    value = read_blob(node, place);
  } else {
    static_assert(std::is_same_v<T, std::string>);
    value = read_text(node, place);
  }
}

template <class T>
void write_value(JsonOutput& text, const T& value, const Place& place);

template <bond::Described T>
void write_fields(JsonOutput& text, const T& record, const Place& place) {
  if constexpr (bond::DescribedWithBase<T>) {
    write_fields<typename bond::Describe<T>::base>(text, record, place);
  }
  bond::for_each_field<T>([&](auto field) {
    write_separator(text);
    write_name(text, field.name);
    write_value(text, record.*field.member, Place(place, field.name));
  });
}

template <class T>
void write_value(JsonOutput& text, const T& value, const Place& place) {
  if constexpr (bond::is_nullable_v<T>) {
    value.hasvalue() ? write_value(text, value.value(), place) : void(text += "null");
  } else if constexpr (bond::is_maybe_v<T>) {
    value ? write_value(text, value.value(), place) : void(text += "null");
  } else if constexpr (bond::is_vector_v<T>) {
    text += '[';
    for (std::size_t i = 0; i < value.size(); ++i) {
      write_separator(text);
      write_value(text, value[i], Place(place, i));
    }
    text += ']';
  } else if constexpr (bond::is_map_v<T>) {
    text += '{';
    for (const auto& [key, mapped] : value) {
      const Place entry_place(place, key);
      write_separator(text);
      write_text(text, key, entry_place);
      text += ':';
      write_value(text, mapped, entry_place);
    }
    text += '}';
  } else if constexpr (bond::DescribedEnum<T>) {
    write_enumeration(text, static_cast<std::int32_t>(value), enumerator_numbers_v<T>);
  } else if constexpr (bond::Described<T>) {
    text += '{';
    write_fields(text, value, place);
    text += '}';
  } else if constexpr (std::is_same_v<T, bool>) {
    text += value ? "true" : "false";
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    write_int32(text, value);
  } else if constexpr (std::is_same_v<T, double>) {
    write_double(text, value, place);
  } else if constexpr (std::is_same_v<T, bond::blob>) {
    write_blob(text, value);
  } else {
    static_assert(std::is_same_v<T, std::string>);
    write_text(text, value, place);
  }
}

template <class M>
std::string schema_members(JsonSchemas& schemas);

template <bond::Described T>
void write_properties(JsonOutput& text, JsonSchemas& schemas) {
  if constexpr (bond::DescribedWithBase<T>) {
    write_properties<typename bond::Describe<T>::base>(text, schemas);
  }
  bond::for_each_field<T>([&](auto field) {
    const auto& standard = bond::default_record<T>().*field.member;
    using M = std::remove_cvref_t<decltype(standard)>;
    write_separator(text);
    write_name(text, field.name);
    text += "{" + schema_members<M>(schemas);
    if constexpr (!bond::Described<M>) {
      text += ",\"default\":";
      write_value(text, standard, Place());
    }
    text += '}';
  });
}

/// The members of the object that is the schema of `M`; the components it refers to are added.
template <class M>
std::string schema_members(JsonSchemas& schemas) {
  if constexpr (bond::is_nullable_v<M> || bond::is_maybe_v<M>) {
    return "\"anyOf\":[{" + schema_members<typename M::value_type>(schemas) +
           "},{\"type\":\"null\"}]";
  } else if constexpr (bond::is_vector_v<M>) {
    return "\"type\":\"array\",\"items\":{" + schema_members<typename M::value_type>(schemas) + "}";
  } else if constexpr (bond::is_map_v<M>) {
    return "\"type\":\"object\",\"additionalProperties\":{" +
           schema_members<typename M::mapped_type>(schemas) + "}";
  } else if constexpr (bond::DescribedEnum<M>) {
    const std::string name(bond::DescribeEnum<M>::qualified_name);
    schemas.try_emplace(name, enumeration_schema(enumerator_numbers_v<M>));
    return reference_members(name);
  } else if constexpr (bond::Described<M>) {
    return reference_members(add_json_schema<M>(schemas));
  } else if constexpr (std::is_same_v<M, bool>) {
    return "\"type\":\"boolean\"";
  } else if constexpr (std::is_same_v<M, std::int32_t>) {
    return std::string(kInt32Members);
  } else if constexpr (std::is_same_v<M, double>) {
    return "\"type\":\"number\",\"format\":\"double\"";
  } else if constexpr (std::is_same_v<M, bond::blob>) {
    return "\"type\":\"string\",\"contentEncoding\":\"base64\"";
  } else {
    static_assert(std::is_same_v<M, std::string>);
    return "\"type\":\"string\"";
  }
}

}  // namespace detail

template <class T>
T from_json(std::string_view text) {
  const detail::JsonDocument document = detail::parse_json(text);
  T record{};
  detail::read_value(document, record, detail::Place());
  return record;
}

template <class T>
std::string to_json(const T& record) {
  detail::JsonOutput text;
  detail::write_value(text, record, detail::Place());
  return text.take();
}

template <class T>
void write_json(const T& record, const JsonSink& sink) {
  detail::JsonOutput text(sink);
  detail::write_value(text, record, detail::Place());
  text.finish();
}

template <class T>
std::string add_json_schema(JsonSchemas& schemas) {
  std::string name = detail::component_name(bond::type_name<T>());
  if (!schemas.contains(name)) {
    detail::JsonOutput text;
    text += "{\"type\":\"object\",\"properties\":{";
    detail::write_properties<T>(text, schemas);
    text += "},\"additionalProperties\":false}";
    schemas.emplace(name, text.take());
  }
  return name;
}

}  // namespace korvane::encoding

/// Makes the JSON codec of one contract.
#define KORVANE_MAKE_JSON(...)                                                      \
  template __VA_ARGS__ korvane::encoding::from_json<__VA_ARGS__>(std::string_view); \
  template std::string korvane::encoding::to_json(const __VA_ARGS__&);              \
  template void korvane::encoding::write_json(const __VA_ARGS__&, const JsonSink&); \
  template std::string korvane::encoding::add_json_schema<__VA_ARGS__>(JsonSchemas&);
