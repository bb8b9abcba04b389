#include "contracts/encoding/json_reader.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <limits>

#include "contracts/encoding/base64.h"
#include "contracts/encoding/json_text.h"

namespace korvane::encoding::detail {

namespace {

std::string_view text_of(const JsonNode& node) {
  return {node.GetString(), node.GetStringLength()};
}

/// The kind of a node, for a message.
std::string_view kind_of(const JsonNode& node) {
  switch (node.GetType()) {
    case rapidjson::kNullType:
      return "null";
    case rapidjson::kNumberType:
      return "a number";
    case rapidjson::kStringType:
      return "text";
    case rapidjson::kArrayType:
      return "an array";
    case rapidjson::kObjectType:
      return "an object";
    default:
      return "a boolean";
  }
}

std::string int32_range() {
  using Limits = std::numeric_limits<std::int32_t>;
  return std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
}

/// The number as an int32, or JsonError that says what was expected.
template <class Expected>
std::int32_t integer_of(double number, const Place& place, const Expected& expected) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (number < Limits::min() || number > Limits::max() || number != std::trunc(number)) {
    place.fail_expected(expected(), number_text(number));
  }
  return static_cast<std::int32_t>(number);
}

}  // namespace

void JsonReader::require(bool is_as_expected, const char* expected) const {
  if (!is_as_expected) place_.fail_expected(expected, kind_of(node_));
}

std::string_view JsonReader::expect_text(const char* expected) const {
  require(node_.IsString(), expected);
  return text_of(node_);
}

double JsonReader::expect_number(const char* expected) const {
  require(node_.IsNumber(), expected);
  return node_.GetDouble();
}

JsonNode::ConstArray JsonReader::expect_array() const {
  require(node_.IsArray(), "an array");
  return node_.GetArray();
}

JsonNode::ConstObject JsonReader::expect_object() const {
  require(node_.IsObject(), "an object");
  return node_.GetObject();
}

void JsonReader::read(bool& value) const {
  require(node_.IsBool(), "a boolean");
  value = node_.GetBool();
}

void JsonReader::read(std::int32_t& value) const {
  value = integer_of(expect_number("an integer"), place_,
                     [] { return "an integer from " + int32_range(); });
}

void JsonReader::read(double& value) const {
  if (node_.IsString()) {
    const std::string_view text = text_of(node_);
    if (text == "NaN" || text == "Infinity" || text == "-Infinity") {
      place_.fail(std::string(text) + " cannot be given as JSON");
    }
  }
  value = expect_number("a number");
}

void JsonReader::read(std::string& value) const { value = expect_text("text"); }

void JsonReader::read(bond::blob& value) const {
  value = base64_bytes(expect_text("base64 text"), place_);
}

std::int32_t JsonReader::enumerator(std::span<const EnumeratorNumber> enumerators) const {
  const auto expected = [&] {
    std::string names;
    for (const EnumeratorNumber& each : enumerators) names += std::string(each.name) + ", ";
    return "one of " + names + "or an integer from " + int32_range();
  };
  if (node_.IsNumber()) return integer_of(node_.GetDouble(), place_, expected);
  if (!node_.IsString()) place_.fail_expected(expected(), kind_of(node_));
  const std::string_view name = text_of(node_);
  const auto found = std::find_if(enumerators.begin(), enumerators.end(),
                                  [&](const auto& each) { return each.name == name; });
  if (found == enumerators.end()) place_.fail_expected(expected(), shown(name));
  return found->number;
}

void JsonReader::read_fields(void* record, Fields fields) const {
  std::bitset<kMostFields> seen;
  std::size_t next = 0;
  for (const auto& [name_node, value] : expect_object()) {
    const std::string_view name = text_of(name_node);
    const Place place(place_, name);
    // Most texts name the fields in the order of the contract.
    std::size_t index = next;
    std::size_t tried = 0;
    for (; tried < fields.size() && fields[index].name != name; ++tried) {
      index = (index + 1) % fields.size();
    }
    if (tried == fields.size()) place.fail("unknown field");
    if (seen.test(index)) place.fail("given twice");
    seen.set(index);
    next = (index + 1) % fields.size();
    fields[index].read(record, JsonReader(value, place));
  }
}

}  // namespace korvane::encoding::detail
