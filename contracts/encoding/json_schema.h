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
  JsonSchemaMaker(JsonSchemas& schemas, SchemaOf of) : schemas_(schemas), of_(of) {}

  /// Adds the component of a record. Returns its name.
  template <bond::Record T>
  std::string add_component() {
    std::string name = component_name(bond::type_name<T>(), of_);
    if (schemas_.contains(name)) return name;
    Json properties = Json::object();
    add_properties<T>(properties);
    schemas_.emplace(name, record_schema(owner_name<T>(), std::move(properties)));
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
    schemas_.try_emplace(name,
                         enumeration_schema(bond::plain_name(bond::DescribeEnum<E>::qualified_name),
                                            enumerator_numbers_v<E>));
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

  /// The default of each kind, as JSON writes it.
  static Json default_of(bond::Bool auto value) { return value; }
  static Json default_of(bond::Int32 auto value) { return value; }
  static Json default_of(bond::Double auto value) { return number(value); }
  static Json default_of(const bond::Text auto& value) { return value; }
  static Json default_of(bond::Enumeration auto value) { return bond::to_string(value); }
  static Json default_of(const bond::Blob auto&) { return ""; }
  static Json default_of(const bond::Nullable auto&) { return nullptr; }
  static Json default_of(const bond::Maybe auto&) { return nullptr; }
  static Json default_of(const bond::List auto&) { return Json::array(); }
  static Json default_of(const bond::Map auto&) { return Json::object(); }

  template <bond::Record T>
  void add_properties(Json& properties) {
    if constexpr (bond::DescribedWithBase<T>) {
      add_properties<typename bond::Describe<T>::base>(properties);
    }
    bond::for_each_field<T>([&](const auto& field) {
      const auto& standard = bond::default_record<T>().*field.member;
      using M = std::remove_cvref_t<decltype(standard)>;
      Json property = schema<M>();
      std::string description = description_of(owner_name<T>(), field.name);
      // The fields of a record state theirs.
      if constexpr (!bond::Record<M>) {
        if (of_ == SchemaOf::request) add_default(description, default_of(standard));
      }
      if (!description.empty()) property["description"] = std::move(description);
      properties[std::string(field.name)] = std::move(property);
    });
  }

  /// "korvane.Batch_korvane.model.cad.Rebar" of "korvane.Batch<korvane.model.cad.Rebar>", and with
  /// "-Input" for a request.
  static std::string component_name(std::string_view type_name, SchemaOf of);
  static Json reference(const std::string& component);
  static Json bool_schema();
  static Json int32_schema();
  static Json double_schema();
  static Json text_schema();
  static Json blob_schema();
  static Json enumeration_schema(std::string_view owner,
                                 std::span<const EnumeratorNumber> enumerators);
  static Json or_null(Json schema);
  static Json list_schema(Json items);
  static Json map_schema(Json values);
  Json record_schema(std::string_view owner, Json properties) const;
  /// The number as records write it: a whole one has no decimal point.
  static Json number(double value);
  /// "Rebar", by which the meanings know it.
  template <class T>
  static std::string_view owner_name() {
    return bond::plain_name(bond::Describe<T>::qualified_name);
  }
  /// What the field means, with its unit; empty where nobody has told it.
  static std::string description_of(std::string_view owner, std::string_view field);
  static void add_default(std::string& description, const Json& value);

  JsonSchemas& schemas_;
  const SchemaOf of_;
};

}  // namespace korvane::encoding::detail
