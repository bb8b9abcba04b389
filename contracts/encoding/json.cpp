#include "contracts/encoding/json.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <rapidjson/reader.h>
#include <system_error>

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

/// Room for any double as it is written here.
using NumberText = std::array<char, 32>;

/// A finite number as a person would write it, and so that it reads back as the same double. The
/// result is in `room`.
std::string_view shortest(double value, NumberText& room) {
  constexpr double kSmallestPlain = 1e-5;
  constexpr double kLargestPlain = 1e15;
  const double magnitude = std::fabs(value);
  const bool is_plainly_written =
      value == 0 || (magnitude >= kSmallestPlain && magnitude < kLargestPlain);
  const auto format = is_plainly_written ? std::chars_format::fixed : std::chars_format::scientific;
  const char* const end = std::to_chars(room.data(), room.data() + room.size(), value, format).ptr;
  return {room.data(), static_cast<std::size_t>(end - room.data())};
}

std::string number_text(double value) {
  NumberText room;
  return std::string(shortest(value, room));
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

void require_depth(std::size_t depth) {
  if (depth > kDeepest) fail_at("", "nested deeper than " + std::to_string(kDeepest) + " levels");
}

/// What the library says, without its number, the place and the text it read, which may be long and
/// no UTF-8.
std::string reason_of(std::string_view what) {
  constexpr std::string_view kIntroduction = "syntax error ";
  const std::size_t begin = what.find(kIntroduction);
  if (begin != std::string_view::npos) what.remove_prefix(begin + kIntroduction.size());
  return std::string(what.substr(0, what.find("; last read: ")));
}

/// Reads a text into a tree, or tells what is wrong with it and where.
class ExactReader : public nlohmann::json_sax<Json> {
 public:
  ExactReader(std::string_view text, JsonDocument& tree) : text_(text), tree_(tree) {}

  bool read() { return Json::sax_parse(text_.begin(), text_.end(), this); }

  bool null() override { return count(tree_.Null()); }
  bool boolean(bool value) override { return count(tree_.Bool(value)); }
  bool number_integer(number_integer_t value) override {
    // The library asks for a signed number behind a minus alone, so that this zero has one.
    return count(tree_.Double(value == 0 ? -0.0 : static_cast<double>(value)));
  }
  bool number_unsigned(number_unsigned_t value) override { return count(tree_.Uint64(value)); }
  bool number_float(number_float_t value, const string_t&) override {
    return count(tree_.Double(value));
  }
  bool string(string_t& value) override {
    return count(tree_.String(value.data(), length_of(value), true));
  }
  bool binary(binary_t&) override { return false; }

  bool start_object(std::size_t) override {
    return open({.is_array = false}) && tree_.StartObject();
  }
  bool key(string_t& key) override {
    open_.back().key = key;
    return tree_.Key(key.data(), length_of(key), true);
  }
  bool end_object() override { return count(tree_.EndObject(close())); }
  bool start_array(std::size_t) override { return open({.is_array = true}) && tree_.StartArray(); }
  bool end_array() override { return count(tree_.EndArray(close())); }

  bool parse_error(std::size_t position, const std::string& token,
                   const Json::exception& error) override {
    constexpr int kNumberOverflow = 406;
    if (error.id != kNumberOverflow) fail_malformed(text_, position, reason_of(error.what()));
    fail_at(path_of_next(),
            (token.size() > kLongestQuote ? token.substr(0, kLongestQuote) + "…" : token) +
                " is out of range: no number is beyond " +
                number_text(std::numeric_limits<double>::max()));
  }

 private:
  /// An object or array that is not closed yet.
  struct Open {
    bool is_array = false;
    std::string key = {};
    unsigned size = 0;
  };

  static unsigned length_of(const std::string& text) { return static_cast<unsigned>(text.size()); }

  bool open(Open container) {
    require_depth(open_.size() + 1);
    open_.push_back(std::move(container));
    return true;
  }
  /// Returns the number of values that were in it.
  unsigned close() {
    const unsigned size = open_.back().size;
    open_.pop_back();
    return size;
  }
  /// A value is complete.
  bool count(bool is_added) {
    if (!open_.empty()) ++open_.back().size;
    return is_added;
  }

  /// The path of the value that comes next.
  std::string path_of_next() const {
    std::string path;
    for (const Open& container : open_) {
      if (container.is_array) {
        append_index(path, container.size);
      } else {
        append_key(path, container.key);
      }
    }
    return path;
  }

  std::string_view text_;
  JsonDocument& tree_;
  /// From the outermost in.
  std::vector<Open> open_;
};

/// Hands on to the tree what the fast library reads, and refuses what it reads differently.
class TreeHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeHandler> {
 public:
  explicit TreeHandler(JsonDocument& tree) : tree_(tree) {}

  bool Null() { return tree_.Null(); }
  bool Bool(bool value) { return tree_.Bool(value); }
  /// Every number is a double, which holds all that a field can: an integer has 32 bits. The
  /// library's own reading of numbers is inexact, or shifts by more bits than there are.
  bool RawNumber(const char* text, unsigned size, bool) {
    double value = 0;
    const auto [end, error] = std::from_chars(text, text + size, value);
    return error == std::errc() && end == text + size && tree_.Double(value);
  }
  bool String(const char* text, unsigned size, bool is_copied) {
    return !has_surrogate({text, size}) && tree_.String(text, size, is_copied);
  }
  bool Key(const char* text, unsigned size, bool is_copied) {
    return !has_surrogate({text, size}) && tree_.Key(text, size, is_copied);
  }
  bool StartObject() {
    require_depth(++depth_);
    return tree_.StartObject();
  }
  bool EndObject(unsigned members) {
    --depth_;
    return tree_.EndObject(members);
  }
  bool StartArray() {
    require_depth(++depth_);
    return tree_.StartArray();
  }
  bool EndArray(unsigned elements) {
    --depth_;
    return tree_.EndArray(elements);
  }

 private:
  /// Of an escaped half of a pair that stands alone the library makes three bytes that are no
  /// UTF-8.
  static bool has_surrogate(std::string_view text) {
    for (std::size_t at = 0; (at = text.find('\xED', at)) != std::string_view::npos; ++at) {
      if (static_cast<unsigned char>(text[at + 1]) >= 0xA0) return true;
    }
    return false;
  }

  JsonDocument& tree_;
  std::size_t depth_ = 0;
};

template <unsigned Flags>
bool parse_fast(std::string_view text, JsonDocument& tree) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  TreeHandler handler(tree);
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> reader;
  return !reader.Parse<Flags | rapidjson::kParseNumbersAsStringsFlag>(stream, handler).IsError();
}

bool is_ascii(std::string_view text) {
  unsigned bits = 0;
  for (const char c : text) bits |= static_cast<unsigned char>(c);
  return bits < 0x80;
}

/// "null", "text": what stands in the text, for a message.
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

[[noreturn]] void fail_unexpected(const Place& place, const std::string& expected,
                                  std::string_view found) {
  place.fail("expected " + expected + ", found " + std::string(found));
}

void require(bool is_as_expected, const JsonNode& node, const Place& place, const char* expected) {
  if (!is_as_expected) fail_unexpected(place, expected, kind_of(node));
}

std::string_view expect_text(const JsonNode& node, const Place& place, const char* expected) {
  require(node.IsString(), node, place, expected);
  return text_of(node);
}

double expect_number(const JsonNode& node, const Place& place, const char* expected) {
  require(node.IsNumber(), node, place, expected);
  return node.GetDouble();
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

JsonDocument parse_json(std::string_view text) {
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    fail_at("", "the text is empty");
  }
  // The libraries take a NUL for the end of the text, and would pass over what follows it.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    fail_malformed(text, nul + 1, "a NUL character");
  }
  JsonDocument tree;
  bool is_read = false;
  auto read_fast = [&](JsonDocument& into) {
    is_read = is_ascii(text) ? parse_fast<rapidjson::kParseNoFlags>(text, into)
                             : parse_fast<rapidjson::kParseValidateEncodingFlag>(text, into);
    return is_read;
  };
  tree.Populate(read_fast);
  if (is_read) return tree;
  // The fast library says little about what is wrong, and refuses some texts with which nothing is:
  // a byte order mark, 0e999.
  JsonDocument exact;
  auto read_exactly = [&](JsonDocument& into) { return ExactReader(text, into).read(); };
  exact.Populate(read_exactly);
  return exact;
}

bool read_bool(const JsonNode& node, const Place& place) {
  require(node.IsBool(), node, place, "a boolean");
  return node.GetBool();
}

std::int32_t read_int32(const JsonNode& node, const Place& place) {
  return integer_of(expect_number(node, place, "an integer"), place,
                    [] { return "an integer from " + int32_range(); });
}

double read_double(const JsonNode& node, const Place& place) {
  if (node.IsString()) {
    const std::string_view text = text_of(node);
    if (text == "NaN" || text == "Infinity" || text == "-Infinity") {
      place.fail(std::string(text) + " cannot be given as JSON");
    }
  }
  return expect_number(node, place, "a number");
}

std::string read_text(const JsonNode& node, const Place& place) {
  return std::string(expect_text(node, place, "text"));
}

bond::blob read_blob(const JsonNode& node, const Place& place) {
  const std::string_view text = expect_text(node, place, "base64 text");
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
  if (node.IsNumber()) return integer_of(node.GetDouble(), place, expected);
  if (!node.IsString()) fail_unexpected(place, expected(), kind_of(node));
  const std::string_view name = text_of(node);
  const auto found = std::find_if(enumerators.begin(), enumerators.end(),
                                  [&](const auto& each) { return each.name == name; });
  if (found == enumerators.end()) fail_unexpected(place, expected(), shown(name));
  return found->number;
}

JsonNode::ConstArray read_array(const JsonNode& node, const Place& place) {
  require(node.IsArray(), node, place, "an array");
  return node.GetArray();
}

JsonNode::ConstObject read_object(const JsonNode& node, const Place& place) {
  require(node.IsObject(), node, place, "an object");
  return node.GetObject();
}

void read_fields(const JsonNode& node, const Place& place, void* record,
                 std::span<const FieldReader> fields) {
  std::bitset<kMostFields> seen;
  std::size_t next = 0;
  for (const auto& [name_node, value] : read_object(node, place)) {
    const std::string_view name = text_of(name_node);
    const Place field_place(place, name);
    // Most texts name the fields in the order of the contract.
    std::size_t index = next;
    std::size_t tried = 0;
    for (; tried < fields.size() && fields[index].name != name; ++tried) {
      index = (index + 1) % fields.size();
    }
    if (tried == fields.size()) field_place.fail("unknown field");
    if (seen.test(index)) field_place.fail("given twice");
    seen.set(index);
    next = (index + 1) % fields.size();
    fields[index].read(record, value, field_place);
  }
}

void write_double(JsonOutput& text, double value, const Place& place) {
  if (!std::isfinite(value)) {
    const std::string name = std::isnan(value) ? "NaN" : value > 0 ? "Infinity" : "-Infinity";
    place.fail(name + " cannot be written as JSON");
  }
  NumberText room;
  text += shortest(value, room);
  // Many readers take "-0" for the integer, which has no sign.
  if (value == 0 && std::signbit(value)) text += std::string_view(".0");
}

void write_int32(JsonOutput& text, std::int32_t value) {
  char digits[16];
  const char* const end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
  text += std::string_view(digits, static_cast<std::size_t>(end - digits));
}

void write_text(JsonOutput& text, std::string_view value, const Place& place) {
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

void write_blob(JsonOutput& text, const bond::blob& value) {
  const std::size_t length = value.size();
  text += '"';
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return i < length ? static_cast<unsigned char>(value.content()[i]) : 0U;
  };
  for (std::size_t i = 0; i < length; i += 3) {
    const std::uint32_t bits = byte(i) << 16U | byte(i + 1) << 8U | byte(i + 2);
    const char digits[] = {kBase64Digits[bits >> 18U], kBase64Digits[bits >> 12U & 0x3FU],
                           i + 1 < length ? kBase64Digits[bits >> 6U & 0x3FU] : '=',
                           i + 2 < length ? kBase64Digits[bits & 0x3FU] : '='};
    text += std::string_view(digits, sizeof digits);
  }
  text += '"';
}

void write_enumeration(JsonOutput& text, std::int32_t value,
                       std::span<const EnumeratorNumber> enumerators) {
  const auto found = std::find_if(enumerators.begin(), enumerators.end(),
                                  [&](const auto& each) { return each.number == value; });
  if (found == enumerators.end()) return write_int32(text, value);
  text += '"';
  text += found->name;
  text += '"';
}

void write_separator(JsonOutput& text) {
  // No value ends in an opening bracket.
  if (text.back() != '{' && text.back() != '[') text += ',';
}

void write_name(JsonOutput& text, std::string_view name) {
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
  std::string names;
  for (const EnumeratorNumber& each : enumerators) {
    names += (names.empty() ? "\"" : ",\"") + std::string(each.name) + '"';
  }
  return "{\"anyOf\":[{\"type\":\"string\",\"enum\":[" + names + "]},{" +
         std::string(kInt32Members) + "}]}";
}

}  // namespace korvane::encoding::detail
