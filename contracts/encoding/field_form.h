#pragma once

#include <string_view>
#include <type_traits>
#include <utility>

#include "bond/kinds.h"
#include "contracts/encoding/json.h"

namespace korvane::encoding {

/// The form of a field of type `M`. What can be unset has that of its value.
template <class M>
constexpr FieldForm form_of() {
  if constexpr (bond::Text<M> || bond::Blob<M>) {
    return FieldForm::text;
  } else if constexpr (bond::Bool<M> || bond::Int32<M> || bond::Double<M> || bond::Enumeration<M>) {
    return FieldForm::scalar;
  } else if constexpr (bond::Nullable<M> || bond::Maybe<M>) {
    return form_of<typename M::value_type>();
  } else {
    return FieldForm::composite;
  }
}

/// The form of the field of that name, of `T` or of its base.
template <bond::Record T>
FieldForm form_of_field(std::string_view name) {
  FieldForm form = FieldForm::none;
  if constexpr (bond::DescribedWithBase<T>) {
    form = form_of_field<typename bond::Describe<T>::base>(name);
  }
  bond::for_each_field<T>([&](const auto& field) {
    using M = std::remove_cvref_t<decltype(std::declval<T>().*field.member)>;
    if (field.name == name) form = form_of<M>();
  });
  return form;
}

}  // namespace korvane::encoding
