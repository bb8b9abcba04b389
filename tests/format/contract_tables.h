#pragma once

#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/kinds.h"
#include "bond/serialize.h"
#include "contracts/meanings/meanings.h"

/// Contracts and enumerations as tables of Markdown, for pages that are made from the descriptions.
namespace korvane::test {

/// In backquotes.
std::string code(std::string_view text);
/// A line of a table.
std::string row(const std::vector<std::string>& cells);

/// A page of `docs/` with its parts made anew: what stands between `<!-- made: NAME -->` and
/// `<!-- /made -->`. Throws std::invalid_argument if the page does not have each part once.
std::string remade_page(const std::string& page, const std::map<std::string, std::string>& parts);

/// The meaning, as whoever sends and gets records needs it. Throws std::out_of_range where there is
/// none.
const meanings::Meaning& told(std::string_view owner, std::string_view name);

/// The name without its namespace, of a generic one without its parameter.
template <class T>
std::string plain_name_of() {
  return std::string(bond::plain_name(bond::Describe<T>::qualified_name));
}
template <bond::Enumeration E>
std::string plain_name_of() {
  return std::string(bond::plain_name(bond::DescribeEnum<E>::qualified_name));
}

namespace detail {

std::string number_text(double value);

/// The type of a field of each kind.
struct TypeText {
  static std::string of(bond::Bool auto) { return "bool"; }
  static std::string of(bond::Int32 auto) { return "int32"; }
  static std::string of(bond::Double auto) { return "double"; }
  static std::string of(const bond::Text auto&) { return "string"; }
  static std::string of(const bond::Blob auto&) { return "blob"; }
  template <bond::Enumeration E>
  static std::string of(E) {
    return plain_name_of<E>();
  }
  template <bond::Record T>
  static std::string of(const T&) {
    return plain_name_of<T>();
  }
  template <bond::Maybe T>
  static std::string of(const T&) {
    return of(typename T::value_type{}) + " or nothing";
  }
  template <bond::Nullable T>
  static std::string of(const T&) {
    return "nullable<" + of(typename T::value_type{}) + ">";
  }
  template <bond::List T>
  static std::string of(const T&) {
    return "list<" + of(typename T::value_type{}) + ">";
  }
  template <bond::Map T>
  static std::string of(const T&) {
    return "map<" + of(typename T::key_type{}) + ", " + of(typename T::mapped_type{}) + ">";
  }
};

/// The default of a field of each kind.
struct DefaultText {
  static std::string of(bond::Bool auto value) { return value ? "true" : "false"; }
  static std::string of(bond::Int32 auto value) { return std::to_string(value); }
  static std::string of(bond::Double auto value) { return number_text(value); }
  static std::string of(bond::Enumeration auto value) { return code(bond::to_string(value)); }
  static std::string of(const bond::Text auto& value) {
    if (!value.empty()) throw std::logic_error("the page has no place for a text as a default");
    return "empty";
  }
  static std::string of(const bond::List auto&) { return "empty"; }
  static std::string of(const bond::Map auto&) { return "empty"; }
  static std::string of(const bond::Nullable auto&) { return "not set"; }
  static std::string of(const bond::Maybe auto&) { return "nothing"; }
  static std::string of(const bond::Record auto&) { return "its own"; }
};

/// Lists the ordinals that no field has.
struct SpareOrdinals {
  std::string text;

  template <std::uint16_t Ordinal, auto Member>
  void operator()(const bond::Field<Ordinal, Member>&) {}
  template <std::uint16_t First, std::uint16_t Last>
  void operator()(bond::Gap<First, Last>) {
    for (int ordinal = First; ordinal <= Last; ++ordinal) {
      text += (text.empty() ? "" : ", ") + std::to_string(ordinal);
    }
  }
};

}  // namespace detail

/// Collects the tables of those that it visits.
class ContractTables {
 public:
  /// Gives the meaning of a contract, an enumeration, a field or an enumerator.
  using Told = const meanings::Meaning& (*)(std::string_view owner, std::string_view name);

  explicit ContractTables(Told told) : told_(told) {}

  template <class T>
  void contract() {
    const std::string name = plain_name_of<T>();
    std::string& text = contracts_;
    text += "### " + code(name) + "\n\n" + std::string(told_(name, {}).text);
    if constexpr (bond::DescribedWithBase<T>) {
      text += " It has the fields of " + code(plain_name_of<typename bond::Describe<T>::base>()) +
              " as well.";
    }
    text += "\n\n";
    if (bond::field_count<T>() == 0) return;
    text += "| Ordinal | Field | Type | Default | Unit | Meaning |\n|--:|---|---|---|---|---|\n";
    bond::for_each_field<T>([&](const auto& field) {
      const auto& standard = bond::default_record<T>().*field.member;
      const meanings::Meaning& meaning = told_(name, field.name);
      text += row({std::to_string(field.ordinal), code(field.name),
                   code(detail::TypeText::of(standard)), detail::DefaultText::of(standard),
                   std::string(meaning.unit), std::string(meaning.text)});
    });
    detail::SpareOrdinals spare;
    bond::Describe<T>::fields(spare);
    text += spare.text.empty() ? "\n" : "\nSpare ordinals: " + spare.text + ".\n\n";
  }

  template <class E>
  void enumeration() {
    const std::string name = plain_name_of<E>();
    enumerations_ += "### " + code(name) + "\n\n" + std::string(told_(name, {}).text) + "\n\n";
    enumerations_ += "| Number | Name | Meaning |\n|--:|---|---|\n";
    for (const auto& [enumerator, value] : bond::DescribeEnum<E>::enumerators) {
      enumerations_ += row({std::to_string(static_cast<std::int32_t>(value)), code(enumerator),
                            std::string(told_(name, enumerator).text)});
    }
    enumerations_ += "\n";
  }

  const std::string& contracts() const { return contracts_; }
  const std::string& enumerations() const { return enumerations_; }

 private:
  const Told told_;
  std::string contracts_;
  std::string enumerations_;
};

}  // namespace korvane::test
