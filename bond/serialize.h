#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "bond/compact_binary.h"
#include "bond/describe.h"
#include "bond/output_buffer.h"
#include "bond/wire_type.h"

namespace bond {

/// The record whose fields hold their defaults: what a writer leaves out is what equals it.
template <Described T>
const T& default_record() {
  static const T record{};
  return record;
}

namespace detail {

template <class Writer, Described T>
void write_struct(Writer& output, const T& record);

template <class Writer, class T>
void write_value(Writer& output, const T& value) {
  if constexpr (Described<T>) {
    write_struct(output, value);
  } else if constexpr (std::is_enum_v<T>) {
    output.Write(static_cast<std::int32_t>(value));
  } else if constexpr (std::is_same_v<T, blob>) {
    output.WriteContainerBegin(value.size(), BT_INT8);
    output.Write(value);
  } else if constexpr (is_nullable_v<T>) {
    output.WriteContainerBegin(value.hasvalue() ? 1 : 0, wire_type<typename T::value_type>());
    if (value.hasvalue()) write_value(output, *value);
  } else if constexpr (is_vector_v<T>) {
    output.WriteContainerBegin(static_cast<std::uint32_t>(value.size()),
                               wire_type<typename T::value_type>());
    for (const auto& element : value) write_value(output, element);
  } else if constexpr (is_map_v<T>) {
    output.WriteContainerBegin(static_cast<std::uint32_t>(value.size()),
                               wire_type<typename T::key_type>(),
                               wire_type<typename T::mapped_type>());
    for (const auto& [key, mapped] : value) {
      write_value(output, key);
      write_value(output, mapped);
    }
  } else {
    output.Write(value);
  }
}

template <class M>
bool is_left_out(const M& value, const M& standard) {
  if constexpr (Described<M>) {
    return false;
  } else if constexpr (is_maybe_v<M>) {
    return value.is_nothing();
  } else if constexpr (is_nullable_v<M> || is_vector_v<M> || is_map_v<M> ||
                       std::is_same_v<M, blob>) {
    return value.empty();
  } else {
    return value == standard;
  }
}

template <class Writer, Described T>
void write_fields(Writer& output, const T& record) {
  if constexpr (DescribedWithBase<T>) {
    using Base = typename Describe<T>::base;
    write_fields<Writer, Base>(output, record);
    output.WriteStructEnd(true);
  }
  const T& standard = default_record<T>();
  for_each_field<T>([&](auto field) {
    const auto& value = record.*field.member;
    using M = std::remove_cvref_t<decltype(value)>;
    if (is_left_out(value, standard.*field.member)) return;
    output.WriteFieldBegin(wire_type<M>(), field.ordinal);
    if constexpr (is_maybe_v<M>) {
      write_value(output, value.value());
    } else {
      write_value(output, value);
    }
  });
}

template <class Writer, Described T>
void write_struct(Writer& output, const T& record) {
  write_fields(output, record);
  output.WriteStructEnd();
}

template <class Reader, Described T>
void read_struct(Reader& input, T& record);

template <class Reader, class T>
void read_value(Reader& input, T& value, BondDataType type);

/// Elements are decoded over those that are there: decoding never resets.
template <class Reader, class T>
void read_list(Reader& input, std::vector<T>& list) {
  const typename Reader::Nesting nesting(input);
  std::uint32_t count = 0;
  BondDataType element = BT_STOP;
  input.ReadContainerBegin(count, element);
  if (!fits<T>(element)) return input.SkipElements(count, element);
  if (list.size() > count) list.resize(count);
  // A claimed count reserves no more than a few times the bytes that are there.
  const std::size_t affordable = std::size_t{input.GetBuffer().remaining()} * 8 / sizeof(T);
  list.reserve(std::min<std::size_t>(count, affordable));
  for (std::uint32_t i = 0; i < count; ++i) {
    read_value(input, i < list.size() ? list[i] : list.emplace_back(), element);
  }
}

template <class Reader, class T>
void read_nullable(Reader& input, nullable<T>& value) {
  const typename Reader::Nesting nesting(input);
  std::uint32_t count = 0;
  BondDataType element = BT_STOP;
  input.ReadContainerBegin(count, element);
  if (!fits<T>(element)) return input.SkipElements(count, element);
  if (count == 0) return value.reset();
  read_value(input, value.set(), element);
  // One by one: where the claimed count passes the end, as many go as are whole.
  input.SkipEach(count - 1, element);
}

template <class Reader>
void read_blob(Reader& input, blob& value) {
  const typename Reader::Nesting nesting(input);
  std::uint32_t count = 0;
  BondDataType element = BT_STOP;
  input.ReadContainerBegin(count, element);
  if (element != BT_INT8) return input.SkipElements(count, element);
  input.Read(value, count);
}

/// The map is emptied first; of two equal keys the later is decoded over the earlier.
template <class Reader, class K, class V>
void read_map(Reader& input, std::map<K, V>& map) {
  const typename Reader::Nesting nesting(input);
  std::uint32_t count = 0;
  BondDataType key_type = BT_STOP;
  BondDataType value_type = BT_STOP;
  input.ReadContainerBegin(count, key_type, value_type);
  if (!fits<K>(key_type) || !fits<V>(value_type)) {
    return input.SkipEntries(count, key_type, value_type);
  }
  map.clear();
  for (; count != 0; --count) {
    K key{};
    read_value(input, key, key_type);
    read_value(input, map[std::move(key)], value_type);
  }
}

/// Reads a value from a wire type that fits it.
template <class Reader, class T>
void read_value(Reader& input, T& value, BondDataType type) {
  if constexpr (is_maybe_v<T>) {
    read_value(input, value.set_value(), type);
  } else if constexpr (Described<T>) {
    read_struct(input, value);
  } else if constexpr (std::is_enum_v<T>) {
    std::int32_t number = 0;
    input.Read(number, type);
    value = static_cast<T>(number);
  } else if constexpr (std::is_same_v<T, blob>) {
    read_blob(input, value);
  } else if constexpr (is_nullable_v<T>) {
    read_nullable(input, value);
  } else if constexpr (is_vector_v<T>) {
    read_list(input, value);
  } else if constexpr (is_map_v<T>) {
    read_map(input, value);
  } else if constexpr (std::is_same_v<T, double> || std::is_same_v<T, std::int32_t>) {
    input.Read(value, type);
  } else {
    input.Read(value);
  }
}

/// Reads the fields of `T` and, before them, those of its base. Returns the code that ended them.
template <class Reader, Described T>
BondDataType read_fields(Reader& input, T& record, bool is_base) {
  if constexpr (DescribedWithBase<T>) {
    using Base = typename Describe<T>::base;
    if (read_fields<Reader, Base>(input, record, true) == BT_STOP) return BT_STOP;
  }
  BondDataType type = BT_STOP;
  std::uint16_t id = 0;
  input.ReadFieldBegin(type, id);
  while (type != BT_STOP && type != BT_STOP_BASE) {
    // Writers write fields in the order of their ordinals, so that one pass mostly takes all.
    bool was_read = false;
    for_each_field<T>([&](auto field) {
      using M = std::remove_cvref_t<decltype(record.*field.member)>;
      if (field.ordinal != id || !fits<M>(type)) return;
      read_value(input, record.*field.member, type);
      input.ReadFieldBegin(type, id);
      was_read = true;
    });
    if (was_read) continue;
    input.Skip(type);
    input.ReadFieldBegin(type, id);
  }
  // What follows the part of a base that `T` does not have belongs to a derived record, with
  // ordinals of its own.
  if (type == BT_STOP_BASE && !is_base) input.SkipFields();
  return type;
}

template <class Reader, Described T>
void read_struct(Reader& input, T& record) {
  const typename Reader::Nesting nesting(input);
  read_fields(input, record, false);
}

}  // namespace detail

namespace detail {

/// With all that it calls in one piece, the place to write to stays in a register: bytes that are
/// stored could else be the place itself.
template <class Buffer, class T>
[[gnu::flatten]] Buffer write_flat(Buffer buffer, const T& record) {
  CompactBinaryWriter<Buffer> writer(buffer);
  write_struct(writer, record);
  return buffer;
}

}  // namespace detail

/// Writes `record` through `output`. Fields that hold their default are left out; a struct-typed
/// field and a nullable with a value never are. The bytes are counted first, so that the output
/// grows once at most. Raises nothing but std::bad_alloc.
template <class T>
void Serialize(const T& record, CompactBinaryWriter<OutputBuffer>& output) {
  char* const begin = output.GetBuffer().Extend(detail::write_flat(ByteCount(), record).size());
  detail::write_flat(ByteCursor(begin), record);
}

/// Reads into `record` and does not reset it first: a field that is absent keeps what it held.
/// Unknown ordinals and types that do not fit are passed over. The caller's reader does not move.
///
/// Throws StreamException when the bytes end too early, CoreException "Max recursion depth
/// exceeded" beyond 64 levels, std::overflow_error "Overflow on multiplication" for a passed-over
/// list whose size does not fit 32 bits; `record` may then be partly filled. Memory and time stay
/// in proportion to the bytes given, whatever counts they claim.
template <class T, class Reader>
void Deserialize(Reader input, T& record) {
  detail::read_struct(input, record);
}

/// The same, and moves the reader to the byte after the record.
template <class T, class Reader>
void DeserializeFrom(Reader& input, T& record) {
  detail::read_struct(input, record);
}

template <class T, class Reader>
T Deserialize(Reader input) {
  T record{};
  Deserialize(std::move(input), record);
  return record;
}

}  // namespace bond
