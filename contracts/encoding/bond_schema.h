#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/serialize.h"
#include "bond/wire_type.h"

/// Contracts as text of the public Bond interface definition language
/// (https://microsoft.github.io/bond/manual/compiler.html), from which clients in other languages
/// generate their code. All of it derives from the descriptions.
namespace korvane::encoding {

/// One declaration of a schema file.
struct SchemaDeclaration {
  /// "korvane.model.cad.Rebar".
  std::string qualified_name;
  /// The declaration, without the blank line that goes before it.
  std::string text;
  /// The qualified names that it mentions: they must be declared before it.
  std::vector<std::string> uses;
};

/// What belongs into one file: the namespace's declarations, in any order.
struct SchemaNamespace {
  /// "korvane.model.cad".
  std::string name;
  std::vector<SchemaDeclaration> declarations;
};

/// The name of the file of a namespace, "korvane.model.cad.bond".
std::string schema_file_name(const std::string& schema_namespace);

/// The text of a namespace's file: imports of the other namespaces that it mentions, then the
/// declarations, each after those that it uses, otherwise in the order given.
std::string schema_file_text(const SchemaNamespace& schema);

namespace detail {

/// Stands for the parameter of a generic struct.
struct TypeParameter {
  bool operator==(const TypeParameter&) const = default;
};

}  // namespace detail
}  // namespace korvane::encoding

template <>
struct bond::Describe<korvane::encoding::detail::TypeParameter> {
  static constexpr std::string_view qualified_name = "T";
  static constexpr auto fields(auto&& list) { return list(); }
};

namespace korvane::encoding {
namespace detail {

/// "korvane.model.cad" of "korvane.model.cad.Rebar".
std::string namespace_of(std::string_view qualified_name);

/// Writes one declaration of `own_namespace`, and collects the names it mentions.
class DeclarationWriter {
 public:
  explicit DeclarationWriter(std::string own_namespace)
      : own_namespace_(std::move(own_namespace)) {}

  /// A name as this namespace writes it: plain for its own, qualified for others.
  std::string reference(std::string_view qualified_name) {
    uses_.emplace_back(qualified_name);
    const bool is_own = namespace_of(qualified_name) == own_namespace_;
    return std::string(is_own ? bond::plain_name(qualified_name) : qualified_name);
  }

  template <class M>
  std::string type_text() {
    if constexpr (bond::is_maybe_v<M>) {
      return type_text<typename M::value_type>();
    } else if constexpr (bond::is_nullable_v<M>) {
      return "nullable<" + type_text<typename M::value_type>() + ">";
    } else if constexpr (bond::is_vector_v<M>) {
      return "vector<" + type_text<typename M::value_type>() + ">";
    } else if constexpr (bond::is_map_v<M>) {
      return "map<" + type_text<typename M::key_type>() + ", " +
             type_text<typename M::mapped_type>() + ">";
    } else if constexpr (bond::DescribedEnum<M>) {
      return reference(bond::DescribeEnum<M>::qualified_name);
    } else if constexpr (bond::Described<M>) {
      if constexpr (requires { typename bond::Describe<M>::type_parameter; }) {
        return reference(bond::Describe<M>::qualified_name) + "<" +
               type_text<typename bond::Describe<M>::type_parameter>() + ">";
      } else {
        return reference(bond::Describe<M>::qualified_name);
      }
    } else if constexpr (std::is_same_v<M, bool>) {
      return "bool";
    } else if constexpr (std::is_same_v<M, std::int32_t>) {
      return "int32";
    } else if constexpr (std::is_same_v<M, double>) {
      return "double";
    } else if constexpr (std::is_same_v<M, bond::blob>) {
      return "blob";
    } else {
      static_assert(std::is_same_v<M, std::string>);
      return "string";
    }
  }

  std::vector<std::string> take_uses() { return std::move(uses_); }

 private:
  std::string own_namespace_;
  std::vector<std::string> uses_;
};

/// " = …", or nothing where the default is the type's own and the schema does not state it.
template <class M>
std::string default_text(const M& value, bool is_stated) {
  if constexpr (bond::is_maybe_v<M>) {
    return " = nothing";
  } else if constexpr (bond::DescribedEnum<M>) {
    return " = " + bond::to_string(value);
  } else if constexpr (std::is_same_v<M, bool> || std::is_same_v<M, std::int32_t> ||
                       std::is_same_v<M, double> || std::is_same_v<M, std::string>) {
    if (value == M{} && !is_stated) return {};
    if constexpr (std::is_same_v<M, bool>) {
      return value ? " = true" : " = false";
    } else if constexpr (std::is_same_v<M, std::string>) {
      return " = \"" + value + "\"";
    } else {
      char digits[32];
      std::string text(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
      if (std::is_same_v<M, double> && text.find('.') == std::string::npos) text += ".0";
      return " = " + text;
    }
  } else {
    return {};
  }
}

inline std::string attribute_text(const bond::Attribute& attribute) {
  return "[" + std::string(attribute.name) + "(\"" + std::string(attribute.value) + "\")]";
}

}  // namespace detail

/// The declaration of a struct; of a generic one, with any parameter, that of the generic struct.
template <bond::Described T>
SchemaDeclaration struct_declaration() {
  using Description = bond::Describe<T>;
  SchemaDeclaration declaration;
  declaration.qualified_name = Description::qualified_name;
  detail::DeclarationWriter writer(detail::namespace_of(Description::qualified_name));
  std::string& text = declaration.text;
  if constexpr (requires { Description::attributes; }) {
    for (const bond::Attribute& attribute : Description::attributes) {
      text += detail::attribute_text(attribute) + "\n";
    }
  }
  text += "struct " + std::string(bond::plain_name(Description::qualified_name));
  if constexpr (requires { typename Description::type_parameter; }) text += "<T>";
  if constexpr (bond::DescribedWithBase<T>) {
    text += " : " + writer.reference(bond::Describe<typename Description::base>::qualified_name);
  }
  text += "\n{\n";
  bond::for_each_field<T>([&](auto field) {
    const auto& value = bond::default_record<T>().*field.member;
    using M = std::remove_cvref_t<decltype(value)>;
    if (!field.attribute.name.empty()) {
      text += "    " + detail::attribute_text(field.attribute) + "\n";
    }
    text += "    " + std::to_string(field.ordinal) + ": " + writer.template type_text<M>() + " " +
            std::string(field.name) + detail::default_text(value, field.states_default) + ";\n";
  });
  text += "}\n";
  declaration.uses = writer.take_uses();
  return declaration;
}

/// The declaration of the generic struct `Generic<T>`.
template <template <class> class Generic>
SchemaDeclaration generic_declaration() {
  SchemaDeclaration declaration = struct_declaration<Generic<detail::TypeParameter>>();
  std::erase(declaration.uses, "T");
  return declaration;
}

template <bond::DescribedEnum E>
SchemaDeclaration enum_declaration() {
  using Description = bond::DescribeEnum<E>;
  std::string text = "enum " + std::string(bond::plain_name(Description::qualified_name)) + "\n{\n";
  for (const auto& [name, value] : Description::enumerators) {
    text += "    " + std::string(name) + " = " + std::to_string(static_cast<std::int32_t>(value)) +
            ",\n";
  }
  return {std::string(Description::qualified_name), text + "}\n", {}};
}

/// The declarations of each contracts folder.
SchemaNamespace common_schema();
SchemaNamespace geometry_schema();
SchemaNamespace cad_schema();

}  // namespace korvane::encoding
