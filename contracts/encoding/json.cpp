#include "contracts/encoding/json.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <rapidjson/reader.h>

#include <nlohmann/json.hpp>

#include "contracts/encoding/make_json.h"

namespace korvane::encoding::detail {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kDeepest = 64;
constexpr std::size_t kLongestQuote = 60;

bool is_plain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-';
}

/// Text for a message: in quotes, escaped, UTF-8 whatever it was, and short.
std::string shown(std::string_view text) {
  std::string_view part = text;
  if (text.size() > kLongestQuote) {
    std::size_t end = kLongestQuote;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    part = text.substr(0, end);
  }
  std::string result = Json(part).dump(-1, ' ', false, Json::error_handler_t::replace);
  if (part.size() < text.size()) result.insert(result.size() - 1, "…");
  return result;
}

void append_key(std::string& path, std::string_view key) {
  const bool is_bare =
      !key.empty() && key.size() <= kLongestQuote && std::all_of(key.begin(), key.end(), is_plain);
  if (!is_bare) {
    path += "[" + shown(key) + "]";
    return;
  }
  if (!path.empty()) path += '.';
  path += key;
}

void append_index(std::string& path, std::size_t index) {
  path += "[" + std::to_string(index) + "]";
}

[[noreturn]] void fail_at(const std::string& path, const std::string& what) {
  throw JsonError((path.empty() ? "request" : path) + ": " + what);
}

/// A finite number as a person would write it, and so that it reads back as the same double.
void append_shortest(std::string& text, double value) {
  constexpr double kSmallestPlain = 1e-5;
  constexpr double kLargestPlain = 1e15;
  const double magnitude = std::fabs(value);
  const bool is_plainly_written =
      value == 0 || (magnitude >= kSmallestPlain && magnitude < kLargestPlain);
  char digits[32];
  const auto format = is_plainly_written ? std::chars_format::fixed : std::chars_format::scientific;
  text.append(digits, std::to_chars(digits, digits + sizeof(digits), value, format).ptr);
}

std::string number_text(double value) {
  std::string text;
  append_shortest(text, value);
  return text;
}

[[noreturn]] void fail_malformed(std::string_view text, std::size_t position, std::string reason) {
  const std::string_view before =
      text.substr(0, std::min(text.size(), position == 0 ? 0 : position - 1));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
  fail_at("", "malformed JSON at line " + std::to_string(line) + ", column " +
                  std::to_string(column) + " (byte " + std::to_string(before.size() + 1) +
                  "): " + reason);
}

/// What the library says, without its number, the place and the text it read, which may be long and
/// no UTF-8.
std::string reason_of(std::string_view what) {
  constexpr std::string_view kIntroduction = "syntax error ";
  const std::size_t begin = what.find(kIntroduction);
  if (begin != std::string_view::npos) what.remove_prefix(begin + kIntroduction.size());
  return std::string(what.substr(0, what.find("; last read: ")));
}

/// Builds the tree of a text of which one value after the other is told.
class TreeBuilder {
 public:
  JsonNode take_tree() { return std::move(root_); }

  void add(JsonNode node) { place(std::move(node)); }

  void open(JsonNode node) {
    if (open_.size() == kDeepest) {
      fail_at("", "nested deeper than " + std::to_string(kDeepest) + " levels");
    }
    open_.push_back(&place(std::move(node)));
  }

  /// Objects of a list mostly have as many members as the one before.
  void open_object() {
    open({JsonNode::Object()});
    std::get<JsonNode::Object>(open_.back()->value).reserve(members_of_last_object_);
    members_of_last_object_ = 0;
  }

  void add_key(std::string key) {
    std::get<JsonNode::Object>(open_.back()->value).push_back({std::move(key), {}});
  }

  void close() {
    const auto* const object = std::get_if<JsonNode::Object>(&open_.back()->value);
    if (object != nullptr) members_of_last_object_ = object->size();
    open_.pop_back();
  }

  /// The path of the value that would be added next.
  std::string path_of_next() const {
    std::string path;
    for (const JsonNode* const node : open_) {
      if (const auto* const array = std::get_if<JsonNode::Array>(&node->value)) {
        // Of the arrays around, the last element is the one that is open.
        append_index(path, node == open_.back() ? array->size() : array->size() - 1);
      } else {
        append_key(path, std::get<JsonNode::Object>(node->value).back().key);
      }
    }
    return path;
  }

 private:
  JsonNode& place(JsonNode node) {
    if (open_.empty()) return root_ = std::move(node);
    if (auto* const array = std::get_if<JsonNode::Array>(&open_.back()->value)) {
      return array->emplace_back(std::move(node));
    }
    return std::get<JsonNode::Object>(open_.back()->value).back().node = std::move(node);
  }

  JsonNode root_;
  /// From the outermost in. They stay where they are: what holds one grows only when it is closed.
  std::vector<JsonNode*> open_;
  std::size_t members_of_last_object_ = 0;
};

/// Builds the tree, or tells what is wrong with the text and where.
class ExactReader : public nlohmann::json_sax<Json> {
 public:
  explicit ExactReader(std::string_view text) : text_(text) {}

  JsonNode read() {
    Json::sax_parse(text_.begin(), text_.end(), this);
    return tree_.take_tree();
  }

  bool null() override { return add({nullptr}); }
  bool boolean(bool value) override { return add({value}); }
  bool number_integer(number_integer_t value) override {
    // The library asks for a signed number behind a minus alone, so that this zero has one.
    return add({value == 0 ? -0.0 : static_cast<double>(value)});
  }
  bool number_unsigned(number_unsigned_t value) override {
    return add({static_cast<double>(value)});
  }
  bool number_float(number_float_t value, const string_t&) override { return add({value}); }
  bool string(string_t& value) override { return add({std::move(value)}); }
  bool binary(binary_t&) override { return false; }

  bool start_object(std::size_t) override {
    tree_.open_object();
    return true;
  }
  bool key(string_t& key) override {
    tree_.add_key(std::move(key));
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override {
    tree_.open({JsonNode::Array()});
    return true;
  }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t position, const std::string& token,
                   const Json::exception& error) override {
    constexpr int kNumberOverflow = 406;
    if (error.id != kNumberOverflow) fail_malformed(text_, position, reason_of(error.what()));
    fail_at(tree_.path_of_next(),
            (token.size() > kLongestQuote ? token.substr(0, kLongestQuote) + "…" : token) +
                " is out of range: no number is beyond " +
                number_text(std::numeric_limits<double>::max()));
  }

 private:
  bool add(JsonNode node) {
    tree_.add(std::move(node));
    return true;
  }
  bool close() {
    tree_.close();
    return true;
  }

  std::string_view text_;
  TreeBuilder tree_;
};

/// Builds the tree several times as fast, of text with which nothing is wrong. Its own words for
/// what is would say less.
class FastReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, FastReader> {
 public:
  /// Nothing if the text is to be read exactly.
  std::optional<JsonNode> read(std::string_view text) {
    constexpr unsigned kFlags =
        rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag;
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::Reader reader;
    if (reader.Parse<kFlags>(stream, *this).IsError()) return std::nullopt;
    return tree_.take_tree();
  }

  bool Null() { return add({nullptr}); }
  bool Bool(bool value) { return add({value}); }
  // It is a signed number behind a minus alone, so that this zero has one.
  bool Int(int value) { return add({value == 0 ? -0.0 : value}); }
  bool Uint(unsigned value) { return add({static_cast<double>(value)}); }
  bool Int64(std::int64_t value) { return add({static_cast<double>(value)}); }
  bool Uint64(std::uint64_t value) { return add({static_cast<double>(value)}); }
  bool Double(double value) { return add({value}); }
  bool String(const char* text, unsigned size, bool) {
    if (has_surrogate({text, size})) return false;
    return add({std::string(text, size)});
  }
  bool StartObject() {
    tree_.open_object();
    return true;
  }
  bool Key(const char* text, unsigned size, bool) {
    if (has_surrogate({text, size})) return false;
    tree_.add_key(std::string(text, size));
    return true;
  }
  bool EndObject(unsigned) { return close(); }
  bool StartArray() {
    tree_.open({JsonNode::Array()});
    return true;
  }
  bool EndArray(unsigned) { return close(); }

 private:
  /// The library makes three bytes of an escaped half of a pair that stands alone, which is no
  /// UTF-8.
  static bool has_surrogate(std::string_view text) {
    for (std::size_t at = 0; (at = text.find('\xED', at)) != std::string_view::npos; ++at) {
      if (static_cast<unsigned char>(text[at + 1]) >= 0xA0) return true;
    }
    return false;
  }
  bool add(JsonNode node) {
    tree_.add(std::move(node));
    return true;
  }
  bool close() {
    tree_.close();
    return true;
  }

  TreeBuilder tree_;
};

/// "null", "text": what stands in the text, for a message.
std::string_view kind_of(const JsonNode& node) {
  constexpr std::array<std::string_view, 6> kKinds = {"null", "a boolean", "a number",
                                                      "text", "an array",  "an object"};
  return kKinds[node.value.index()];
}

[[noreturn]] void fail_unexpected(const Place& place, const std::string& expected,
                                  std::string_view found) {
  place.fail("expected " + expected + ", found " + std::string(found));
}

/// The node as one of its alternatives, or JsonError that `expected` was.
template <class Alternative, class Node>
auto& expect(Node& node, const Place& place, const char* expected) {
  auto* const value = std::get_if<Alternative>(&node.value);
  if (value == nullptr) fail_unexpected(place, expected, kind_of(node));
  return *value;
}

/// The number as an int32, or JsonError that what `expected()` returns was.
template <class Expected>
std::int32_t integer_of(double number, const Place& place, const Expected& expected) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (number < Limits::min() || number > Limits::max() || number != std::trunc(number)) {
    fail_unexpected(place, expected(), number_text(number));
  }
  return static_cast<std::int32_t>(number);
}

std::string int32_range() {
  using Limits = std::numeric_limits<std::int32_t>;
  return std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
}

constexpr std::string_view kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t kNoBase64Digit = 0xFF;

/// The value of each character as a base64 digit.
constexpr auto kBase64Values = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoBase64Digit);
  std::uint8_t value = 0;
  for (const char digit : kBase64Digits) values[static_cast<unsigned char>(digit)] = value++;
  return values;
}();

}  // namespace

void Place::append_to(std::string& path) const {
  if (outer_ == nullptr) return;
  outer_->append_to(path);
  is_element_ ? append_index(path, index_) : append_key(path, key_);
}

void Place::fail(const std::string& what) const {
  std::string path;
  append_to(path);
  fail_at(path, what);
}

JsonNode parse_json(std::string_view text) {
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    fail_at("", "the text is empty");
  }
  // The library takes a NUL for the end of the text, and would pass over what follows it.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    fail_malformed(text, nul + 1, "a NUL character");
  }
  if (auto tree = FastReader().read(text)) return *std::move(tree);
  return ExactReader(text).read();
}

bool read_bool(const JsonNode& node, const Place& place) {
  return expect<bool>(node, place, "a boolean");
}

std::int32_t read_int32(const JsonNode& node, const Place& place) {
  return integer_of(expect<double>(node, place, "an integer"), place,
                    [] { return "an integer from " + int32_range(); });
}

double read_double(const JsonNode& node, const Place& place) {
  if (const auto* const text = std::get_if<std::string>(&node.value)) {
    if (*text == "NaN" || *text == "Infinity" || *text == "-Infinity") {
      place.fail(*text + " cannot be given as JSON");
    }
  }
  return expect<double>(node, place, "a number");
}

std::string read_text(JsonNode& node, const Place& place) {
  return std::move(expect<std::string>(node, place, "text"));
}

bond::blob read_blob(const JsonNode& node, const Place& place) {
  const auto& text = expect<std::string>(node, place, "base64 text");
  if (text.size() % 4 != 0) {
    fail_unexpected(place, "base64 text",
                    std::to_string(text.size()) + " characters, not a multiple of four");
  }
  if (text.empty()) return {};
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::size_t length = text.size() / 4 * 3 - padding;
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    fail_unexpected(place, "at most 4294967295 bytes", std::to_string(length));
  }
  auto bytes = std::make_shared_for_overwrite<char[]>(length);
  std::uint32_t bits = 0;
  char* next = bytes.get();
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const std::uint8_t digit = kBase64Values[static_cast<unsigned char>(text[i])];
    if (digit == kNoBase64Digit) {
      fail_unexpected(place, "base64 text",
                      "another character at position " + std::to_string(i + 1));
    }
    bits = bits << 6U | digit;
    // After 2, 3 and 4 digits of each four a byte is complete; 4, 2 and 0 bits are then left.
    if (i % 4 != 0) *next++ = static_cast<char>(bits >> (6U - 2U * (i % 4)));
  }
  if (padding != 0 && (bits & (padding == 2 ? 0x0FU : 0x03U)) != 0) {
    fail_unexpected(place, "base64 text", "bits behind the last byte");
  }
  return {std::move(bytes), static_cast<std::uint32_t>(length)};
}

std::int32_t read_enumeration(const JsonNode& node, const Place& place,
                              std::span<const EnumeratorNumber> enumerators) {
  const auto expected = [&] {
    std::string names;
    for (const EnumeratorNumber& each : enumerators) names += std::string(each.name) + ", ";
    return "one of " + names + "or an integer from " + int32_range();
  };
  if (const auto* const number = std::get_if<double>(&node.value)) {
    return integer_of(*number, place, expected);
  }
  const auto* const name = std::get_if<std::string>(&node.value);
  if (name == nullptr) fail_unexpected(place, expected(), kind_of(node));
  const auto found = std::find_if(enumerators.begin(), enumerators.end(),
                                  [&](const auto& each) { return each.name == *name; });
  if (found == enumerators.end()) fail_unexpected(place, expected(), shown(*name));
  return found->number;
}

JsonNode::Array& read_array(JsonNode& node, const Place& place) {
  return expect<JsonNode::Array>(node, place, "an array");
}

JsonNode::Object& read_object(JsonNode& node, const Place& place) {
  return expect<JsonNode::Object>(node, place, "an object");
}

void read_fields(JsonNode& node, const Place& place, void* record,
                 std::span<const FieldReader> fields) {
  std::bitset<kMostFields> seen;
  for (JsonMember& member : read_object(node, place)) {
    const Place field_place(place, member.key);
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto& each) { return each.name == member.key; });
    if (field == fields.end()) field_place.fail("unknown field");
    const auto index = static_cast<std::size_t>(field - fields.begin());
    if (seen.test(index)) field_place.fail("given twice");
    seen.set(index);
    field->read(record, member.node, field_place);
  }
}

void write_double(std::string& text, double value, const Place& place) {
  if (!std::isfinite(value)) {
    const std::string name = std::isnan(value) ? "NaN" : value > 0 ? "Infinity" : "-Infinity";
    place.fail(name + " cannot be written as JSON");
  }
  append_shortest(text, value);
  // Many readers take "-0" for the integer, which has no sign.
  if (value == 0 && std::signbit(value)) text += ".0";
}

void write_int32(std::string& text, std::int32_t value) {
  char digits[16];
  text.append(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
}

void write_text(std::string& text, std::string_view value, const Place& place) {
  const bool is_written_as_it_is = std::all_of(value.begin(), value.end(), [](char c) {
    return c >= ' ' && c != '"' && c != '\\' && static_cast<unsigned char>(c) < 0x80;
  });
  if (is_written_as_it_is) {
    text += '"';
    text += value;
    text += '"';
    return;
  }
  try {
    text += Json(value).dump();
  } catch (const Json::type_error&) {
    place.fail("text that is not UTF-8 cannot be written as JSON");
  }
}

void write_blob(std::string& text, const bond::blob& value) {
  const std::size_t length = value.size();
  text.reserve(text.size() + (length + 2) / 3 * 4 + 2);
  text += '"';
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return i < length ? static_cast<unsigned char>(value.content()[i]) : 0U;
  };
  for (std::size_t i = 0; i < length; i += 3) {
    const std::uint32_t bits = byte(i) << 16U | byte(i + 1) << 8U | byte(i + 2);
    text += kBase64Digits[bits >> 18U];
    text += kBase64Digits[bits >> 12U & 0x3FU];
    text += i + 1 < length ? kBase64Digits[bits >> 6U & 0x3FU] : '=';
    text += i + 2 < length ? kBase64Digits[bits & 0x3FU] : '=';
  }
  text += '"';
}

void write_enumeration(std::string& text, std::int32_t value,
                       std::span<const EnumeratorNumber> enumerators) {
  const auto found = std::find_if(enumerators.begin(), enumerators.end(),
                                  [&](const auto& each) { return each.number == value; });
  if (found == enumerators.end()) return write_int32(text, value);
  text += '"';
  text += found->name;
  text += '"';
}

void write_separator(std::string& text) {
  // No value ends in an opening bracket.
  if (text.back() != '{' && text.back() != '[') text += ',';
}

void write_name(std::string& text, std::string_view name) {
  text += '"';
  text += name;
  text += "\":";
}

std::string component_name(std::string_view type_name) {
  std::string name(type_name);
  std::replace(name.begin(), name.end(), '<', '_');
  std::erase(name, '>');
  return name;
}

std::string reference_members(std::string_view component) {
  return "\"$ref\":\"#/components/schemas/" + std::string(component) + "\"";
}

std::string enumeration_schema(std::span<const EnumeratorNumber> enumerators) {
  std::string text = "{\"anyOf\":[{\"type\":\"string\",\"enum\":[";
  for (const EnumeratorNumber& each : enumerators) {
    write_separator(text);
    text += '"';
    text += each.name;
    text += '"';
  }
  return text + "]},{" + std::string(kInt32Members) + "}]}";
}

}  // namespace korvane::encoding::detail
