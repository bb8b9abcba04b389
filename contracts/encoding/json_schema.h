#pragma once

#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include "bond/kinds.h"
#include "bond/serialize.h"
#include "contracts/encoding/enumerator_numbers.h"
#include "contracts/encoding/json.h"

namespace korvane::encoding::detail {

/// Makes the JSON Schema of each kind, and adds the components that it refers to.
class JsonSchemaMaker {
 public:
  using Json = nlohmann::ordered_json;

  /// Adds components to `schemas`, which must outlive it.
  explicit JsonSchemaMaker(JsonSchemas& schemas) : schemas_(schemas) {}

  /// Adds the component of a record. Returns its name.
  template <bond::Record T>
  std::string add_component() {
    std::string name = component_name(bond::type_name<T>());
    if (schemas_.contains(name)) return name;
    Json properties = Json::object();
    add_properties<T>(properties);
    schemas_.emplace(name, record_schema(std::move(properties)));
    return name;
  }

 private:
  template <bond::Bool>
  Json schema() {
    return bool_schema();
  }
  template <bond::Int32>
  Json schema() {
    return int32_schema();
  }
  template <bond::Double>
  Json schema() {
    return double_schema();
  }
  template <bond::Text>
  Json schema() {
    return text_schema();
  }
  template <bond::Blob>
  Json schema() {
    return blob_schema();
  }
  template <bond::Enumeration E>
  Json schema() {
    const std::string name(bond::DescribeEnum<E>::qualified_name);
    schemas_.try_emplace(name, enumeration_schema(enumerator_numbers_v<E>));
    return reference(name);
  }
  template <class T>
  requires bond::Nullable<T> || bond::Maybe<T> Json schema() {
    return or_null(schema<typename T::value_type>());
  }
  template <bond::List T>
  Json schema() {
    return list_schema(schema<typename T::value_type>());
  }
  template <bond::Map T>
  Json schema() {
    return map_schema(schema<typename T::mapped_type>());
  }
  template <bond::Record T>
  Json schema() {
    return reference(add_component<T>());
  }

  /// A property of that schema, with the default of each kind.
  static Json property(Json schema, bond::Bool auto value) {
    return with_default(std::move(schema), value);
  }
  static Json property(Json schema, bond::Int32 auto value) {
    return with_default(std::move(schema), value);
  }
  static Json property(Json schema, bond::Double auto value) {
    return with_default(std::move(schema), number(value));
  }
  static Json property(Json schema, const bond::Text auto& value) {
    return with_default(std::move(schema), value);
  }
  static Json property(Json schema, bond::Enumeration auto value) {
    return with_default(std::move(schema), bond::to_string(value));
  }
  static Json property(Json schema, const bond::Blob auto&) {
    return with_default(std::move(schema), "");
  }
  static Json property(Json schema, const bond::Nullable auto&) {
    return with_default(std::move(schema), nullptr);
  }
  static Json property(Json schema, const bond::Maybe auto&) {
    return with_default(std::move(schema), nullptr);
  }
  static Json property(Json schema, const bond::List auto&) {
    return with_default(std::move(schema), Json::array());
  }
  static Json property(Json schema, const bond::Map auto&) {
    return with_default(std::move(schema), Json::object());
  }
  /// The fields of a record state theirs.
  static Json property(Json schema, const bond::Record auto&) { return schema; }

  template <bond::Record T>
  void add_properties(Json& properties) {
    if constexpr (bond::DescribedWithBase<T>) {
      add_properties<typename bond::Describe<T>::base>(properties);
    }
    bond::for_each_field<T>([&](const auto& field) {
      const auto& standard = bond::default_record<T>().*field.member;
      using M = std::remove_cvref_t<decltype(standard)>;
      add_property(properties, field.name, property(schema<M>(), standard));
    });
  }

  /// "korvane.Batch_korvane.model.cad.Rebar" of "korvane.Batch<korvane.model.cad.Rebar>".
  static std::string component_name(std::string_view type_name);
  static Json reference(const std::string& component);
  static Json bool_schema();
  static Json int32_schema();
  static Json double_schema();
  static Json text_schema();
  static Json blob_schema();
  static Json enumeration_schema(std::span<const EnumeratorNumber> enumerators);
  static Json or_null(Json schema);
  static Json list_schema(Json items);
  static Json map_schema(Json values);
  static Json record_schema(Json properties);
  /// The number as records write it: a whole one has no decimal point.
  static Json number(double value);
  static Json with_default(Json schema, Json value);
  static void add_property(Json& properties, std::string_view name, Json property);

  JsonSchemas& schemas_;
};

}  // namespace korvane::encoding::detail
