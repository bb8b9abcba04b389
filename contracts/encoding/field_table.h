#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "bond/describe.h"

namespace korvane::encoding::detail {

/// Reads one field of a record from a `Source`, by its member function `read`.
template <class Source, class Result>
struct FieldReader {
  std::string_view name;
  Result (*read)(void* record, Source& source);
};

/// The number of fields of `T`, those of its base included.
template <bond::Described T>
constexpr std::size_t count_fields() {
  if constexpr (bond::DescribedWithBase<T>) {
    return bond::field_count<T>() + count_fields<typename bond::Describe<T>::base>();
  } else {
    return bond::field_count<T>();
  }
}

template <class T, auto Member, class Source, class Result>
Result read_member(void* record, Source& source) {
  return source.read(static_cast<T*>(record)->*Member);
}

/// Stores the readers of the fields of `Part`, which is `T` or a base of it, from `next` on. Returns
/// the place after the last.
template <class T, bond::Described Part, class Source, class Result>
constexpr FieldReader<Source, Result>* add_readers(FieldReader<Source, Result>* next) {
  if constexpr (bond::DescribedWithBase<Part>) {
    next = add_readers<T, typename bond::Describe<Part>::base>(next);
  }
  bond::for_each_field<Part>([&](const auto& field) {
    using Field = std::remove_cvref_t<decltype(field)>;
    *next++ = {field.name, &read_member<T, Field::member, Source, Result>};
  });
  return next;
}

/// The readers of all fields of `T`, those of its base first.
template <bond::Described T, class Source, class Result>
inline constexpr auto field_readers_v = [] {
  std::array<FieldReader<Source, Result>, count_fields<T>()> readers{};
  add_readers<T, T>(readers.data());
  return readers;
}();

/// More than any contract has: readers of records keep a mark for each.
inline constexpr std::size_t kMostFields = 64;

}  // namespace korvane::encoding::detail
