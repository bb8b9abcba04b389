#pragma once

#include <string>
#include <vector>

/// Contracts in the public Bond interface definition language
/// (https://microsoft.github.io/bond/manual/compiler.html), from which clients in other languages
/// generate their code. Derived from the descriptions, and made for every contract in its folder's
/// `contracts.cpp`.
namespace korvane::encoding {

/// One declaration of a file.
struct IdlDeclaration {
  /// "korvane.model.cad.Rebar".
  std::string qualified_name;
  /// The declaration itself, without an empty line before it.
  std::string text;
  /// The qualified names that it mentions: they must be declared before it.
  std::vector<std::string> uses;
};

/// The declarations of one file, in any order.
struct IdlNamespace {
  /// "korvane.model.cad".
  std::string name;
  std::vector<IdlDeclaration> declarations;
};

/// The name of the file of a namespace, "korvane.model.cad.bond".
std::string idl_file_name(const std::string& idl_namespace);

/// The text of a namespace's file: imports of the other namespaces that it mentions, then the
/// declarations, each after those that it uses, otherwise in the order given.
std::string idl_file_text(const IdlNamespace& idl);

/// The declaration of a struct or an enumeration.
template <class T>
IdlDeclaration idl_declaration();

/// The declaration of the generic struct `Generic<T>`.
template <template <class> class Generic>
IdlDeclaration idl_generic_declaration();

}  // namespace korvane::encoding
