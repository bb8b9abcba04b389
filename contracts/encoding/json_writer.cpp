#include "contracts/encoding/json_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "contracts/encoding/base64.h"
#include "contracts/encoding/json_text.h"

namespace korvane::encoding::detail {

namespace {

/// Room for any integer of 64 bits.
constexpr std::size_t kLongestInteger = 20;

void write_integer(JsonOutput& text, std::int64_t value) {
  char* const begin = text.room(kLongestInteger);
  text.wrote(
      static_cast<std::size_t>(std::to_chars(begin, begin + kLongestInteger, value).ptr - begin));
}

}  // namespace

void JsonWriter::write_int32(std::int32_t value) { write_integer(text_, value); }

void JsonWriter::write_double(double value, const Place& place) {
  constexpr double kLargestPlain = 1e15;
  // Most are whole, and then their digits are those of the integer.
  if (std::fabs(value) < kLargestPlain && value == std::trunc(value) && value != 0) {
    return write_integer(text_, static_cast<std::int64_t>(value));
  }
  if (value == 0) {
    // Many readers take "-0" for the integer, which has no sign.
    text_ += std::signbit(value) ? std::string_view("-0.0") : std::string_view("0");
    return;
  }
  if (!std::isfinite(value)) {
    if (replaces_) return void(text_ += std::string_view("null"));
    const std::string name = std::isnan(value) ? "NaN" : value > 0 ? "Infinity" : "-Infinity";
    place.fail(name + " cannot be written as JSON");
  }
  NumberText room;
  text_ += number_text(value, room);
}

void JsonWriter::write_text(std::string_view value, const Place& place) {
  const bool is_written_as_it_is = std::all_of(value.begin(), value.end(), [](char c) {
    return c >= ' ' && c != '"' && c != '\\' && static_cast<unsigned char>(c) < 0x80;
  });
  if (is_written_as_it_is) return write_quoted(value);
  const std::optional<std::string> escaped = replaces_ ? quoted_anyhow(value) : quoted(value);
  if (!escaped) place.fail("text that is not UTF-8 cannot be written as JSON");
  text_ += *escaped;
}

void JsonWriter::write_blob(const bond::blob& value) {
  // A multiple of three bytes, so that only the last piece ends in padding.
  constexpr std::size_t kPiece = 3072;
  text_ += '"';
  const std::string_view bytes(value.content(), value.size());
  for (std::size_t i = 0; i < bytes.size(); i += kPiece) {
    text_ += base64_text(bytes.substr(i, kPiece));
  }
  text_ += '"';
}

void JsonWriter::write_enumeration(std::int32_t value,
                                   std::span<const EnumeratorNumber> enumerators) {
  const auto found = std::find_if(enumerators.begin(), enumerators.end(),
                                  [&](const auto& each) { return each.number == value; });
  if (found == enumerators.end()) return write_int32(value);
  write_quoted(found->name);
}

void JsonWriter::write_separator() {
  // No value ends in an opening bracket.
  if (text_.back() != '{' && text_.back() != '[') text_ += ',';
}

void JsonWriter::write_quoted(std::string_view text) {
  text_ += '"';
  text_ += text;
  text_ += '"';
}

}  // namespace korvane::encoding::detail
