#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "bond/describe.h"
#include "bond/kinds.h"
#include "bond/serialize.h"
#include "contracts/encoding/enumerator_numbers.h"
#include "contracts/encoding/idl.h"

namespace korvane::encoding::detail {

/// Stands for the parameter of a generic struct.
struct TypeParameter {
  bool operator==(const TypeParameter&) const = default;
};

}  // namespace korvane::encoding::detail

template <>
struct bond::Describe<korvane::encoding::detail::TypeParameter> {
  static constexpr std::string_view qualified_name = "T";
  static constexpr void fields(auto&&) {}
};

namespace korvane::encoding::detail {

template <class T>
concept Generic = requires {
  typename bond::Describe<T>::type_parameter;
};

/// Writes one declaration, and collects the names that it mentions.
class IdlWriter {
 public:
  template <bond::Record T>
  static IdlDeclaration declaration() {
    using Description = bond::Describe<T>;
    IdlWriter writer(Description::qualified_name);
    std::string header;
    if constexpr (Generic<T>) header += "<T>";
    if constexpr (bond::DescribedWithBase<T>) {
      header +=
          " : " + writer.reference(bond::Describe<typename Description::base>::qualified_name);
    }
    writer.begin_struct(bond::attributes<T>(), header);
    Description::fields(Ordinals<T>{writer});
    return std::move(writer).end();
  }

  template <bond::Enumeration E>
  static IdlDeclaration declaration() {
    return enumeration(bond::DescribeEnum<E>::qualified_name, enumerator_numbers_v<E>);
  }

 private:
  /// Writes what each ordinal of `T` is for.
  template <bond::Record T>
  struct Ordinals {
    IdlWriter& writer;

    template <std::uint16_t Ordinal, auto Member>
    void operator()(const bond::Field<Ordinal, Member>& field) const {
      const auto& value = bond::default_record<T>().*field.member;
      if (!field.remark.empty()) writer.add_remark(field.remark);
      writer.add_field(field.ordinal, writer.template type<std::remove_cvref_t<decltype(value)>>(),
                       field.name, default_text(value, field.states_default), field.attribute);
    }
    template <std::uint16_t First, std::uint16_t Last>
    void operator()(bond::Gap<First, Last>) const {
      writer.add_gap(First, Last);
    }
  };

  explicit IdlWriter(std::string_view qualified_name);

  /// The type of a field of each kind.
  template <bond::Bool>
  std::string type() {
    return "bool";
  }
  template <bond::Int32>
  std::string type() {
    return "int32";
  }
  template <bond::Double>
  std::string type() {
    return "double";
  }
  template <bond::Text>
  std::string type() {
    return "string";
  }
  template <bond::Blob>
  std::string type() {
    return "blob";
  }
  template <bond::Enumeration E>
  std::string type() {
    return reference(bond::DescribeEnum<E>::qualified_name);
  }
  template <bond::Nullable T>
  std::string type() {
    return "nullable<" + type<typename T::value_type>() + ">";
  }
  /// Its default says that it may be nothing.
  template <bond::Maybe T>
  std::string type() {
    return type<typename T::value_type>();
  }
  template <bond::List T>
  std::string type() {
    return "vector<" + type<typename T::value_type>() + ">";
  }
  template <bond::Map T>
  std::string type() {
    return "map<" + type<typename T::key_type>() + ", " + type<typename T::mapped_type>() + ">";
  }
  template <bond::Record T>
  std::string type() {
    return reference(bond::Describe<T>::qualified_name);
  }
  template <bond::Record T>
  requires Generic<T> std::string type() {
    return reference(bond::Describe<T>::qualified_name) + "<" +
           type<typename bond::Describe<T>::type_parameter>() + ">";
  }

  /// " = …", or nothing where the default is the type's own and the schema does not state it.
  static std::string default_text(bond::Bool auto value, bool is_stated) {
    return is_stated || value ? literal(value) : "";
  }
  static std::string default_text(bond::Int32 auto value, bool is_stated) {
    return is_stated || value != 0 ? literal(value) : "";
  }
  static std::string default_text(bond::Double auto value, bool is_stated) {
    return is_stated || value != 0 ? literal(value) : "";
  }
  static std::string default_text(const bond::Text auto& value, bool is_stated) {
    return is_stated || !value.empty() ? literal(value) : "";
  }
  static std::string default_text(bond::Enumeration auto value, bool) {
    return " = " + bond::to_string(value);
  }
  static std::string default_text(const bond::Maybe auto&, bool) { return " = nothing"; }
  static std::string default_text(const bond::Container auto&, bool) { return {}; }
  static std::string default_text(const bond::Record auto&, bool) { return {}; }

  static std::string literal(bool value);
  static std::string literal(std::int32_t value);
  static std::string literal(double value);
  static std::string literal(const std::string& value);

  /// A name as this namespace writes it: plain for its own, qualified for others.
  std::string reference(std::string_view qualified_name);
  void begin_struct(std::span<const bond::Attribute> attributes, std::string_view header);
  void add_field(std::uint16_t ordinal, const std::string& type, std::string_view name,
                 const std::string& default_text, const bond::Attribute& attribute);
  void add_remark(std::string_view text);
  /// The ordinals from `first` to `last` have no field.
  void add_gap(std::uint16_t first, std::uint16_t last);
  IdlDeclaration end() &&;

  static IdlDeclaration enumeration(std::string_view qualified_name,
                                    std::span<const EnumeratorNumber> enumerators);

  IdlDeclaration declaration_;
};

}  // namespace korvane::encoding::detail
