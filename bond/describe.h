#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

/// How a contract is described. The struct itself is plain; `Describe<T>`, in a header of its own
/// beside the struct's, says once what every format needs to know:
///
///     template <>
///     struct bond::Describe<Sheet> {
///       static constexpr std::string_view qualified_name = "korvane.model.cad.Sheet";
///       static constexpr std::array attributes = {Attribute{"DbStoreAsBlob", "raw"}};  // optional
///       using base = GenericReply;                                                     // optional
///       static constexpr void fields(auto&& visit) {
///         visit(Field<0, &Sheet::id>{"id"});
///         visit(Field<1, &Sheet::uid>{"uid", {"DbOption", "unique"}});
///         visit(Gap<2, 4>{});
///         visit(Field<5, &Sheet::name>{"name"});
///       }
///     };
///
/// The description of a generic struct names its parameter as `type_parameter`.
///
/// `fields` calls a visitor for every ordinal in ascending order. Each call is a statement, which
/// keeps one field a line whatever formats the text. A field's default is the one of a default-made
/// record and stands nowhere else. Every field is optional.
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
  /// Whether the schema states the default even where it is the one that the type has anyway.
  bool states_default = false;
  /// What readers of the schema text should know, in one line. Empty for nothing.
  std::string_view remark{};

  constexpr Field stated() const { return {name, attribute, true, remark}; }
  constexpr Field remarked(std::string_view text) const {
    return {name, attribute, states_default, text};
  }
};

/// The ordinals from `First` to `Last`, which no field has and none will ever have: an earlier
/// schema may have used them.
template <std::uint16_t First, std::uint16_t Last = First>
struct Gap {
  static_assert(First <= Last);
};

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

/// The name after the last dot.
constexpr std::string_view plain_name(std::string_view qualified_name) {
  return qualified_name.substr(qualified_name.rfind('.') + 1);
}

/// The name before the last dot, or nothing if there is no dot.
constexpr std::string_view namespace_name(std::string_view qualified_name) {
  const std::size_t dot = qualified_name.rfind('.');
  return qualified_name.substr(0, dot == std::string_view::npos ? 0 : dot);
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
constexpr std::string_view type_name() {  // coverage: evaluated while compiling
  // coverage: evaluated while compiling
  return {detail::type_name_v<T>.data(), detail::type_name_v<T>.size()};
}

/// The attributes of the struct itself, in declared order.
template <Described T>
constexpr std::span<const Attribute> attributes() {
  if constexpr (requires { Describe<T>::attributes; }) {
    return Describe<T>::attributes;
  } else {
    return {};
  }
}

namespace detail {

/// Hands the fields on to a visitor, and skips the gaps.
template <class Visitor>
struct FieldsOnly {
  Visitor& visitor;

  template <std::uint16_t Ordinal, auto Member>
  constexpr void operator()(const Field<Ordinal, Member>& field) const {
    visitor(field);
  }
  template <std::uint16_t First, std::uint16_t Last>
  constexpr void operator()(Gap<First, Last>) const {}
};

}  // namespace detail

/// Calls `visitor` with each field of `T`, in ascending ordinal. Fields of the base are not
/// visited.
template <Described T, class Visitor>
constexpr void for_each_field(Visitor&& visitor) {
  Describe<T>::fields(detail::FieldsOnly<Visitor>{visitor});
}

/// The number of fields that `T` adds to its base.
template <Described T>
constexpr std::size_t field_count() {
  std::size_t count = 0;
  for_each_field<T>([&](const auto&) { ++count; });
  return count;
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

/// Checks that each ordinal follows the one before it.
struct OrdinalCheck {
  bool is_passed = true;
  std::int32_t next = 0;

  template <std::uint16_t Ordinal, auto Member>
  constexpr void operator()(const Field<Ordinal, Member>&) {
    take(Ordinal, Ordinal);
  }
  template <std::uint16_t First, std::uint16_t Last>
  constexpr void operator()(Gap<First, Last>) {
    take(First, Last);
  }
  constexpr void take(std::int32_t first, std::int32_t last) {
    is_passed = is_passed && first == next;
    next = last + 1;
  }
};

}  // namespace detail

/// Whether the description names as many fields as the struct has members. Asserted once for each
/// contract, so that a forgotten field does not compile.
template <Described T>
consteval bool describes_every_member() {
  static_assert(std::is_aggregate_v<T>, "a contract is a plain aggregate");
  const std::size_t bases = DescribedWithBase<T> ? 1 : 0;
  return detail::aggregate_size<T>() == field_count<T>() + bases;
}

/// Whether the ordinals rise from 0 on, and each is that of a field or stands in a gap. Asserted
/// once for each contract, so that an ordinal is not skipped by mistake.
template <Described T>
consteval bool accounts_for_every_ordinal() {
  detail::OrdinalCheck check;
  Describe<T>::fields(check);
  return check.is_passed;
}

}  // namespace bond
