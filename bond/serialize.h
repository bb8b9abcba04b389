#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "bond/byte_cursor.h"
#include "bond/compact_binary.h"
#include "bond/describe.h"
#include "bond/most_bytes.h"
#include "bond/output_buffer.h"
#include "bond/wire_type.h"

namespace bond {

/// The record whose fields hold their defaults: writers leave out what equals it.
template <Described T>
const T& default_record() {
  // coverage: two threads that make the first record at once: the one that waits
  static const T record{};
  return record;
}

namespace detail {

/// Writes a value of each kind: a record with its end, any other without the header of a field.
template <class Writer>
struct Encoder {
  static void write(Writer& output, Bool auto value) { output.Write(value); }
  static void write(Writer& output, Int32 auto value) { output.Write(value); }
  static void write(Writer& output, Double auto value) { output.Write(value); }
  static void write(Writer& output, const Text auto& value) { output.Write(value); }
  static void write(Writer& output, Enumeration auto value) {
    output.Write(static_cast<std::int32_t>(value));
  }

  static void write(Writer& output, const Blob auto& value) {
    output.WriteContainerBegin(value.size(), BT_INT8);
    output.Write(value);
  }

  template <Nullable T>
  static void write(Writer& output, const T& value) {
    // coverage: a field without a value is left out before this; only in a list can there be none,
    // and not every type is listed
    output.WriteContainerBegin(value.hasvalue() ? 1 : 0, wire_type<typename T::value_type>());
    if (value.hasvalue()) write(output, *value);  // coverage: as above
  }

  template <List T>
  static void write(Writer& output, const T& list) {
    output.WriteContainerBegin(static_cast<std::uint32_t>(list.size()),
                               wire_type<typename T::value_type>());
    for (const auto& element : list) write(output, element);
  }

  template <Map T>
  static void write(Writer& output, const T& map) {
    output.WriteContainerBegin(static_cast<std::uint32_t>(map.size()),
                               wire_type<typename T::key_type>(),
                               wire_type<typename T::mapped_type>());
    for (const auto& [key, mapped] : map) {
      write(output, key);
      write(output, mapped);
    }
  }

  static void write(Writer& output, const Maybe auto& value) { write(output, value.value()); }

  template <Record T>
  static void write(Writer& output, const T& record) {
    write_fields(output, record);
    output.WriteStructEnd();
  }

 private:
  static bool is_left_out(const Basic auto& value, const auto& standard) {
    return value == standard;
  }
  static bool is_left_out(const Container auto& value, const auto&) { return value.empty(); }
  static bool is_left_out(const Maybe auto& value, const auto&) { return value.is_nothing(); }
  static bool is_left_out(const Record auto&, const auto&) { return false; }

  template <Record T>
  static void write_fields(Writer& output, const T& record) {
    if constexpr (DescribedWithBase<T>) {
      write_fields<typename Describe<T>::base>(output, record);
      output.WriteStructEnd(true);
    }
    const T& standard = default_record<T>();
    for_each_field<T>([&](const auto& field) {
      const auto& value = record.*field.member;
      // coverage: records inside records are never left out
      if (is_left_out(value, standard.*field.member)) return;
      output.WriteFieldBegin(wire_type<std::remove_cvref_t<decltype(value)>>(), field.ordinal);
      write(output, value);
    });
  }
};

/// Reads a value of each kind from a wire type that fits it.
template <class Reader>
struct Decoder {
  static void read(Reader& input, Bool auto& value, BondDataType) { input.Read(value); }
  static void read(Reader& input, Int32 auto& value, BondDataType type) { input.Read(value, type); }
  static void read(Reader& input, Double auto& value, BondDataType type) {
    input.Read(value, type);
  }
  static void read(Reader& input, Text auto& value, BondDataType) { input.Read(value); }

  template <Enumeration T>
  static void read(Reader& input, T& value, BondDataType type) {
    std::int32_t number = 0;
    input.Read(number, type);
    value = static_cast<T>(number);
  }

  static void read(Reader& input, Blob auto& value, BondDataType) {
    const typename Reader::Nesting nesting(input);
    std::uint32_t count = 0;
    BondDataType element = BT_STOP;
    input.ReadContainerBegin(count, element);
    if (element != BT_INT8) return input.SkipElements(count, element);
    input.Read(value, count);
  }

  template <Nullable T>
  static void read(Reader& input, T& value, BondDataType) {
    constexpr BondDataType kElement = wire_type<typename T::value_type>();
    const typename Reader::Nesting nesting(input);
    if (input.template TakeContainerOfOne<kElement>()) return read(input, value.set(), kElement);
    std::uint32_t count = 0;
    BondDataType element = BT_STOP;
    input.ReadContainerBegin(count, element);
    if (!fits<typename T::value_type>(element)) return input.SkipElements(count, element);
    if (count == 0) return value.reset();
    read(input, value.set(), element);
    // One by one: if the bytes end before the claimed count, the whole elements are skipped.
    input.SkipEach(count - 1, element);
  }

  /// Elements are decoded over those that are there: decoding never resets.
  template <List T>
  static void read(Reader& input, T& list, BondDataType) {
    const typename Reader::Nesting nesting(input);
    std::uint32_t count = 0;
    BondDataType element = BT_STOP;
    input.ReadContainerBegin(count, element);
    if (!fits<typename T::value_type>(element)) return input.SkipElements(count, element);
    if (list.size() > count) list.resize(count);
    // A claimed count reserves no more than a few times the bytes that are there.
    const std::size_t affordable =
        std::size_t{input.GetBuffer().remaining()} * 8 / sizeof(typename T::value_type);
    list.reserve(std::min<std::size_t>(count, affordable));
    for (std::uint32_t i = 0; i < count; ++i) {
      read(input, i < list.size() ? list[i] : list.emplace_back(), element);
    }
  }

  /// The map is emptied first; of two equal keys the later is decoded over the earlier.
  template <Map T>
  static void read(Reader& input, T& map, BondDataType) {
    const typename Reader::Nesting nesting(input);
    std::uint32_t count = 0;
    BondDataType key_type = BT_STOP;
    BondDataType value_type = BT_STOP;
    input.ReadContainerBegin(count, key_type, value_type);
    if (!fits<typename T::key_type>(key_type) || !fits<typename T::mapped_type>(value_type)) {
      return input.SkipEntries(count, key_type, value_type);
    }
    map.clear();
    for (; count != 0; --count) {
      typename T::key_type key{};
      read(input, key, key_type);
      read(input, map[std::move(key)], value_type);
    }
  }

  static void read(Reader& input, Maybe auto& value, BondDataType type) {
    read(input, value.set_value(), type);
  }

  static void read(Reader& input, Record auto& record, BondDataType = BT_STRUCT) {
    const typename Reader::Nesting nesting(input);
    read_fields(input, record, false);
  }

 private:
  /// Reads the fields of `T` and, before them, those of its base. Returns the code that ended them.
  template <Record T>
  static BondDataType read_fields(Reader& input, T& record, bool is_base) {
    if constexpr (DescribedWithBase<T>) {
      using Base = typename Describe<T>::base;
      if (read_fields<Base>(input, record, true) == BT_STOP) return BT_STOP;
    }
    BondDataType type = BT_STOP;
    std::uint16_t id = 0;
    for (;;) {
      read_expected_fields(input, record);
      input.ReadFieldBegin(type, id);
      if (type == BT_STOP || type == BT_STOP_BASE) break;
      read_unexpected_field(input, record, type, id);
    }
    // What follows the part of a base that `T` does not have belongs to a derived record, with
    // ordinals of its own.
    if (type == BT_STOP_BASE && !is_base) input.SkipFields();
    return type;
  }

  /// Reads fields as they are written, and usually all of them: in the order of their ordinals, each
  /// of its own type. The types are known while compiling, and no header is taken apart.
  template <Record T>
  BOND_ALWAYS_INLINE static void read_expected_fields(Reader& input, T& record) {
    std::uint16_t next = input.GetBuffer().Peek();
    for_each_field<T>([&](const auto& field) {
      constexpr std::uint16_t ordinal = std::remove_cvref_t<decltype(field)>::ordinal;
      constexpr BondDataType kType =
          wire_type<std::remove_cvref_t<decltype(record.*field.member)>>();
      // coverage: of some contracts no test leaves out some field
      if (!input.template TakeFieldBegin<kType, ordinal>(next)) return;
      read(input, record.*field.member, kType);
      next = input.GetBuffer().Peek();
    });
  }

  /// Reads a field that comes out of order, of a narrower type or under a longer header, and skips
  /// one that `T` does not have.
  template <Record T>
  [[gnu::noinline]] static void read_unexpected_field(Reader& input, T& record, BondDataType type,
                                                      std::uint16_t id) {
    bool is_known = false;
    for_each_field<T>([&](const auto& field) {
      using M = std::remove_cvref_t<decltype(record.*field.member)>;
      // coverage: tried for every narrower and every wrong type, but not in every field
      if (field.ordinal != id || !fits<M>(type)) return;
      read(input, record.*field.member, type);
      is_known = true;
    });
    if (!is_known) input.Skip(type);
  }
};

/// Inlines all that it calls, so that the place to write to stays in a register. Otherwise every
/// stored byte might change that place, and it would be loaded again.
template <class Buffer, class T>
[[gnu::flatten]] Buffer write_flat(Buffer buffer, const T& record) {
  CompactBinaryWriter<Buffer> writer(buffer);
  Encoder<CompactBinaryWriter<Buffer>>::write(writer, record);
  return buffer;
}

}  // namespace detail

/// Writes `record` through `output`. Fields that hold their default are left out; a struct-typed
/// field and a nullable with a value never are. The output grows once at most: a record of usual size
/// is written aside first, and of another the bytes are counted. Throws nothing but std::bad_alloc.
template <class T>
void Serialize(const T& record, CompactBinaryWriter<OutputBuffer>& output) {
  constexpr std::uint64_t kUsualSize = 2048;
  if (detail::most_bytes(record, kUsualSize) <= kUsualSize) {
    std::array<char, kUsualSize> aside;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const char* const end = detail::write_flat(ByteCursor(aside.data()), record).at();
    const auto size = static_cast<std::size_t>(end - aside.data());
    std::memcpy(output.GetBuffer().Extend(size), aside.data(), size);
    return;
  }
  char* const begin = output.GetBuffer().Extend(detail::write_flat(ByteCount(), record).size());
  detail::write_flat(ByteCursor(begin), record);
}

/// Reads into `record` and does not reset it first: a field that is absent keeps what it held.
/// Unknown ordinals and types that do not fit are skipped. The caller's reader does not move.
///
/// Throws StreamException when the bytes end too early, CoreException "Max recursion depth
/// exceeded" beyond 64 levels, std::overflow_error "Overflow on multiplication" for a skipped
/// list whose size does not fit 32 bits; `record` may then be partly filled. Memory and time stay
/// in proportion to the bytes given, whatever counts they claim.
template <class T, class Reader>
void Deserialize(Reader input, T& record) {
  detail::Decoder<Reader>::read(input, record);
}

/// The same, and moves the reader to the byte after the record.
template <class T, class Reader>
void DeserializeFrom(Reader& input, T& record) {
  detail::Decoder<Reader>::read(input, record);
}

template <class T, class Reader>
T Deserialize(Reader input) {
  T record{};
  Deserialize(std::move(input), record);
  return record;
}

}  // namespace bond
