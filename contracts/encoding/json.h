#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

/// Contracts as JSON text and back, derived from their descriptions. Made for every contract in its
/// folder's `contracts.cpp`, so that the users of a contract never compile its description.
///
/// A struct is an object of its fields by name, those of its base first. A nullable or maybe is
/// null or its value, a list is an array, a map an object, a blob base64 text, an enumeration the
/// name of its enumerator.
namespace korvane::encoding {

/// Thrown for what cannot be read from JSON or written as JSON. The text names the place by its path:
/// "items[3].parameters_exact.a: expected a number, found text". The path of the whole text
/// is "request"; a key that is not made of ASCII letters, digits, '_' and '-' stands in brackets, as
/// in `properties["two words"].value_int32`. The text is always UTF-8, and what it quotes is
/// shortened.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads one record from `text`. A field that is absent has its default; null is taken for a
/// nullable and a maybe alone; enumerations are taken by name or by number; an integer may be
/// written as any number of integral value. Throws JsonError
///
///     "request: the text is empty" and "request: malformed JSON at line …, column … (byte …): …",
///     also for text that is not UTF-8; bytes and columns are counted from 1
///     "request: nested deeper than 64 levels", before anything that deep is built up
///     "<path>: unknown field" and "<path>: given twice"
///     "<path>: expected <what>, found <what>" for a value of another type, an integer out of its
///     range, an unknown name of an enumeration and text that is not base64
///     "<path>: <number> is out of range: …" for a number that no double holds
///     "<path>: NaN cannot be given as JSON" for the texts "NaN", "Infinity" and "-Infinity" where
///     a number belongs
template <class T>
T from_json(std::string_view text);

/// Goes through `text` as `from_json` does and keeps nothing of it. Throws the same for text that is
/// empty, malformed or nested too deep and for a number that no double holds; what no record takes
/// passes.
void check_json(std::string_view text);

/// Writes `record` with all its fields, also those that hold their default, on one line. Doubles
/// read back as the same double, -0.0 too. An enumeration's unknown number stays a number. Throws
/// JsonError for what Compact Binary can say and JSON cannot: "<path>: NaN cannot be written as
/// JSON", the same for Infinity and -Infinity, and "<path>: text that is not UTF-8 cannot be written
/// as JSON".
template <class T>
std::string to_json(const T& record);

/// The same to look at, whatever the record holds: null for a number that is not finite, U+FFFD for
/// what is not UTF-8. Throws no JsonError.
template <class T>
std::string to_shown_json(const T& record);

/// Takes JSON text piece by piece. An exception that it throws ends the writing.
using JsonSink = std::function<void(std::string_view piece)>;

/// Writes the same text as `to_json` to `sink`, in pieces of some 64 KiB: no more of it is held at a
/// time. When it throws JsonError, the pieces before the fault have been handed over.
template <class T>
void write_json(const T& record, const JsonSink& sink);

/// JSON Schemas (draft 2020-12, as OpenAPI 3.1 takes them) by component name. Who uses them includes
/// <nlohmann/json.hpp>.
using JsonSchemas = std::map<std::string, nlohmann::ordered_json>;

/// Which way a record goes. One that is written has all its fields; of one that is read any may be
/// left out, which is why a contract has two schemas.
enum class SchemaOf { reply, request };

/// Adds the schema of `T` and of all that it uses to `schemas`, and returns the name of its own:
/// the qualified name, and for a generic struct "korvane.Batch_korvane.model.cad.Rebar"; that of a
/// request ends in "-Input". References have the form "#/components/schemas/<name>".
///
/// A reply requires every field. In a request the description of a field states its default, except
/// that of a struct: its own fields do. The keyword `default` would make generators of clients
/// require the field.
template <class T>
std::string add_json_schema(JsonSchemas& schemas, SchemaOf of);

/// What a field takes where it is given as bare text, as in the address of a request.
enum class FieldForm {
  /// There is no such field.
  none,
  /// The text as it is; of a blob its base64.
  text,
  /// A number, a boolean or an enumerator.
  scalar,
  /// What has parts, and cannot be given so.
  composite,
};

}  // namespace korvane::encoding
