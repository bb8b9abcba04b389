#pragma once

#include <set>
#include <string_view>
#include <type_traits>
#include <utility>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/kinds.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/geometry/contracts.describe.h"
#include "model/tables/tables.h"

namespace korvane::test {

/// Finds the contracts and enumerations that rows of a project file are made of: those of the tables
/// and all that is inside them.
template <class Visitor>
class StoredTypes {
 public:
  explicit StoredTypes(Visitor& visitor) : visitor_(visitor) {}

  template <bond::Record T>
  void visit() {
    if (!seen_.insert(bond::Describe<T>::qualified_name).second) return;
    visitor_.template contract<T>();
    bond::for_each_field<T>([this](const auto& field) {
      // clang 14 sees no use of `this` in the call alone.
      this->template visit<std::remove_cvref_t<decltype(std::declval<T>().*field.member)>>();
    });
  }
  template <bond::Enumeration E>
  void visit() {
    if (seen_.insert(bond::DescribeEnum<E>::qualified_name).second) {
      visitor_.template enumeration<E>();
    }
  }
  template <bond::Nullable T>
  void visit() {
    visit<typename T::value_type>();
  }
  template <bond::List T>
  void visit() {
    visit<typename T::value_type>();
  }
  template <bond::Map T>
  void visit() {
    visit<typename T::mapped_type>();
  }
  template <class T>
  requires bond::Bool<T> || bond::Int32<T> || bond::Double<T> || bond::Text<T> || bond::Blob<T>
  void visit() {}

 private:
  Visitor& visitor_;
  std::set<std::string_view> seen_;
};

/// Calls `visitor.contract<T>()` and `visitor.enumeration<E>()` for each of them, once: those of a
/// table before those inside them, in the order of the tables and fields.
template <class Visitor>
void for_each_stored_type(Visitor&& visitor) {
  StoredTypes<Visitor> types(visitor);
  model::tables::for_each_table(
      [&]<class T>(const model::tables::Table<T>&) { types.template visit<T>(); });
}

}  // namespace korvane::test
