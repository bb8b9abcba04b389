#include "contracts/encoding/idl.h"

#include <charconv>
#include <functional>
#include <map>
#include <set>

#include "contracts/encoding/idl_writer.h"

namespace korvane::encoding {

std::string idl_file_name(const std::string& idl_namespace) { return idl_namespace + ".bond"; }

std::string idl_file_text(const IdlNamespace& idl) {
  std::map<std::string, const IdlDeclaration*> own;
  std::set<std::string> imports;
  for (const IdlDeclaration& declaration : idl.declarations) {
    own.emplace(declaration.qualified_name, &declaration);
    for (const std::string& name : declaration.uses) imports.emplace(bond::namespace_name(name));
  }
  imports.erase(idl.name);

  std::string text;
  for (const std::string& name : imports) text += "import \"" + idl_file_name(name) + "\"\n";
  if (!imports.empty()) text += "\n";
  text += "namespace " + idl.name + "\n";

  // No record holds itself, so this ends.
  const std::function<void(const IdlDeclaration&)> declare =
      [&](const IdlDeclaration& declaration) {
        if (own.erase(declaration.qualified_name) == 0) return;
        for (const std::string& name : declaration.uses) {
          const auto used = own.find(name);
          if (used != own.end()) declare(*used->second);
        }
        text += "\n" + declaration.text;
      };
  for (const IdlDeclaration& declaration : idl.declarations) declare(declaration);
  return text;
}

namespace detail {

namespace {

std::string attribute_text(const bond::Attribute& attribute) {
  return "[" + std::string(attribute.name) + "(\"" + std::string(attribute.value) + "\")]\n";
}

}  // namespace

IdlWriter::IdlWriter(std::string_view qualified_name) {
  declaration_.qualified_name = qualified_name;
}

std::string IdlWriter::literal(bool value) { return value ? " = true" : " = false"; }

std::string IdlWriter::literal(std::int32_t value) { return " = " + std::to_string(value); }

std::string IdlWriter::literal(double value) {
  char digits[32];
  std::string text(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
  if (text.find('.') == std::string::npos) text += ".0";
  return " = " + text;
}

std::string IdlWriter::literal(const std::string& value) { return " = \"" + value + "\""; }

std::string IdlWriter::reference(std::string_view qualified_name) {
  declaration_.uses.emplace_back(qualified_name);
  const bool is_own =
      bond::namespace_name(qualified_name) == bond::namespace_name(declaration_.qualified_name);
  return std::string(is_own ? bond::plain_name(qualified_name) : qualified_name);
}

void IdlWriter::begin_struct(std::span<const bond::Attribute> attributes, std::string_view header) {
  std::string& text = declaration_.text;
  for (const bond::Attribute& attribute : attributes) text += attribute_text(attribute);
  text += "struct ";
  text += bond::plain_name(declaration_.qualified_name);
  text += header;
  text += "\n{\n";
}

void IdlWriter::add_field(std::uint16_t ordinal, const std::string& type, std::string_view name,
                          const std::string& default_text, const bond::Attribute& attribute) {
  std::string& text = declaration_.text;
  if (!attribute.name.empty()) text += "    " + attribute_text(attribute);
  text += "    " + std::to_string(ordinal) + ": " + type + " " + std::string(name) + default_text +
          ";\n";
}

void IdlWriter::add_remark(std::string_view text) {
  declaration_.text += "    // " + std::string(text) + "\n";
}

void IdlWriter::add_gap(std::uint16_t first, std::uint16_t last) {
  std::string ordinals = std::to_string(first);
  if (last != first) ordinals += " to " + std::to_string(last);
  add_remark(ordinals + ": no field, and never to be given to one");
}

IdlDeclaration IdlWriter::end() && {
  declaration_.text += "}\n";
  return std::move(declaration_);
}

IdlDeclaration IdlWriter::enumeration(std::string_view qualified_name,
                                      std::span<const EnumeratorNumber> enumerators) {
  std::string text = "enum " + std::string(bond::plain_name(qualified_name)) + "\n{\n";
  for (const EnumeratorNumber& each : enumerators) {
    text += "    " + std::string(each.name) + " = " + std::to_string(each.number) + ",\n";
  }
  return {std::string(qualified_name), text + "}\n", {}};
}

}  // namespace detail
}  // namespace korvane::encoding
