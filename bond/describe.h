#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

/// How a contract is described. The struct itself is plain; `Describe<T>`, in a header of its own
/// beside the struct's, says once what every format needs to know:
///
///     template <>
///     struct bond::Describe<Sheet> {
///       static constexpr std::string_view qualified_name = "korvane.model.cad.Sheet";
///       static constexpr std::array attributes = {Attribute{"DbStoreAsBlob", "raw"}};   //
///       optional using base = GenericReply; // optional static constexpr auto fields(auto&& list)
///       {
///         return list(Field<0, &Sheet::id>{"id"},
///                     Field<1, &Sheet::uid>{"uid", {"DbOption", "unique"}});
///       }
///     };
///
/// The description of a generic struct names its parameter as `type_parameter`.
///
/// `fields` hands all fields, in ascending ordinal, to one callable: a visitor. A field's default
/// is the one of a default-made record and stands nowhere else. Every field is optional.
namespace bond {

/// One entry of the attribute map of a struct or field. A field has at most one.
struct Attribute {
  std::string_view name;
  std::string_view value;
};

template <std::uint16_t Ordinal, auto Member>
struct Field {
  static constexpr std::uint16_t ordinal = Ordinal;
  static constexpr auto member = Member;

  std::string_view name;
  Attribute attribute{};
  /// The schema states the default, also where it is the one that the type has anyway.
  bool states_default = false;

  constexpr Field stated() const { return {name, attribute, true}; }
};

struct no_base {};

template <class T>
struct Describe;

template <class T>
concept Described = requires {
  Describe<T>::qualified_name;
};

template <class T>
concept DescribedWithBase = Described<T> && requires {
  typename Describe<T>::base;
};

/// The name behind the last dot.
constexpr std::string_view plain_name(std::string_view qualified_name) {
  return qualified_name.substr(qualified_name.rfind('.') + 1);
}

namespace detail {

template <class T>
constexpr auto type_name_storage() {
  constexpr std::string_view name = Describe<T>::qualified_name;
  if constexpr (requires { typename Describe<T>::type_parameter; }) {
    constexpr auto parameter = type_name_storage<typename Describe<T>::type_parameter>();
    std::array<char, name.size() + parameter.size() + 2> text{};
    auto* end = std::copy(name.begin(), name.end(), text.begin());
    *end++ = '<';
    end = std::copy(parameter.begin(), parameter.end(), end);
    *end = '>';
    return text;
  } else {
    std::array<char, name.size()> text{};
    std::copy(name.begin(), name.end(), text.begin());
    return text;
  }
}

template <class T>
inline constexpr auto type_name_v = type_name_storage<T>();

}  // namespace detail

/// The qualified name, with the parameter of a generic struct:
/// "korvane.Batch<korvane.model.cad.Rebar>".
template <Described T>
constexpr std::string_view type_name() {
  return {detail::type_name_v<T>.data(), detail::type_name_v<T>.size()};
}

/// The number of fields that `T` adds to its base.
template <Described T>
constexpr std::size_t field_count() {
  return Describe<T>::fields([](auto... field) { return sizeof...(field); });
}

/// Calls `visitor` with each field of `T`, in ascending ordinal. Fields of the base are not
/// visited.
template <Described T, class Visitor>
constexpr void for_each_field(Visitor&& visitor) {
  Describe<T>::fields([&](auto... field) { (visitor(field), ...); });
}

namespace detail {

struct ConvertibleToAnything {
  template <class T>
  operator T() const;  // NOLINT(google-explicit-constructor): only ever named, never called
};

template <class T, class... Initialisers>
constexpr std::size_t aggregate_size() {
  if constexpr (requires { T{Initialisers{}..., ConvertibleToAnything{}}; }) {
    return aggregate_size<T, Initialisers..., ConvertibleToAnything>();
  } else {
    return sizeof...(Initialisers);
  }
}

}  // namespace detail

/// True when the description names as many fields as the struct has members and the ordinals rise.
/// Asserted once for each contract, so that a forgotten field does not compile.
template <Described T>
constexpr bool is_described_whole() {
  static_assert(std::is_aggregate_v<T>, "a contract is a plain aggregate");
  const std::size_t bases = DescribedWithBase<T> ? 1 : 0;
  if (detail::aggregate_size<T>() != field_count<T>() + bases) return false;
  bool rising = true;
  std::int32_t last = -1;
  for_each_field<T>([&](auto field) {
    rising = rising && field.ordinal > last;
    last = field.ordinal;
  });
  return rising;
}

}  // namespace bond
