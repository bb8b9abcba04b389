#include "tests/format/contracts_page.h"

#include <regex>
#include <set>
#include <string_view>

#include "contracts/encoding/idl_writer.h"
#include "platform/rpc4/services.h"
#include "tests/format/contract_tables.h"
#include "tests/support/every_contract.h"
#include "tests/support/stored_contracts.h"

namespace korvane::test {

namespace {

/// "Batch<Rebar>" of "korvane.Batch<korvane.model.cad.Rebar>".
std::string without_namespaces(std::string_view name) {
  static const std::regex spaces(R"(\w+\.)");
  return std::regex_replace(std::string(name), spaces, "");
}

std::string services_text() {
  std::string text;
  for (const auto* const service : krv::rpc4::service_definitions()) {
    text += "### " + code(bond::plain_name(service->name)) + "\n\n";
    text += "| Operation | Request | Reply | |\n|---|---|---|---|\n";
    for (const krv::rpc4::Operation& operation : service->operations) {
      text += row({code(operation.name), code(without_namespaces(operation.request.name)),
                   code(without_namespaces(operation.reply.name)), std::string(operation.summary)});
    }
    text += "\n";
  }
  return text;
}

/// Notes which types there are, to tell them from others.
struct Names {
  std::set<std::string_view> all;

  template <class T>
  void contract() {
    all.insert(bond::Describe<T>::qualified_name);
  }
  template <class E>
  void enumeration() {}
};

struct Messages {
  std::set<std::string_view> others;
  ContractTables tables;
  std::string unused;

  template <class T>
  void operator()() {
    if (!others.insert(bond::Describe<T>::qualified_name).second) return;
    if (meanings::find_meaning(plain_name_of<T>()) != nullptr) return add<T>();
    unused += (unused.empty() ? "" : ", ") + code(plain_name_of<T>());
  }
  template <class T>
  void add() {
    tables.contract<T>();
  }
  /// A generic one is the same with each parameter.
  template <class T>
  requires requires { typename bond::Describe<T>::type_parameter; }
  void add() { generic(T{}); }
  template <template <class> class Generic, class T>
  void generic(const Generic<T>&) {
    tables.contract<Generic<encoding::detail::TypeParameter>>();
  }
};

}  // namespace

std::map<std::string, std::string> contracts_page_parts() {
  ContractTables records(&told);
  for_each_stored_type(records);
  Names stored;
  for_each_stored_type(stored);
  Messages messages{stored.all, ContractTables(&told), {}};
  for_each_contract(messages);
  return {{"services", services_text()},
          {"messages", messages.tables.contracts()},
          {"records", records.contracts()},
          {"enumerations", records.enumerations()},
          {"unused", messages.unused + ".\n"}};
}

std::string remade_contracts_page(const std::string& page) {
  return remade_page(page, contracts_page_parts());
}

}  // namespace korvane::test
