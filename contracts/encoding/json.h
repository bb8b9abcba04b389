#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

/// Contracts as JSON text and back, derived from their descriptions. Made for every contract in its
/// folder's `json.cpp`, so that the users of a contract never compile its description.
///
/// A struct is an object of its fields by name, those of its base first. A nullable or maybe is
/// null or its value, a list is an array, a map an object, a blob base64 text, an enumeration the
/// name of its enumerator.
namespace korvane::encoding {

/// What cannot be read from JSON or written as JSON. The text names the place by its path:
/// "items[3].parameters_exact.a: expected a number, found text". The path of the whole is
/// "request".
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads one record from `text`. A field that is absent has its default; enumerations are taken by
/// name or by number. Throws JsonError for text that is no JSON, a field that the contract does
/// not have, a value of another type, a number out of its range, and "NaN", "Infinity" and
/// "-Infinity" by name; for nesting deeper than 64 levels before it is built up.
template <class T>
T from_json(std::string_view text);

/// Writes `record` with all its fields, also those that hold their default. An enumeration's
/// unknown number stays a number. Throws JsonError for NaN and infinities, and for text that is not
/// UTF-8: JSON has no way to say them, Compact Binary has.
template <class T>
std::string to_json(const T& record);

/// JSON Schemas (draft 2020-12) by component name, each as JSON text.
using JsonSchemas = std::map<std::string, std::string>;

/// Adds the schema of `T` and of all that it uses to `schemas`, and returns the name of its own:
/// the qualified name, and for a generic struct "korvane.Batch_korvane.model.cad.Rebar". References
/// have the form "#/components/schemas/<name>".
template <class T>
std::string add_json_schema(JsonSchemas& schemas);

}  // namespace korvane::encoding
