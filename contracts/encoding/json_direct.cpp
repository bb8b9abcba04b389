#include "contracts/encoding/json_direct.h"

#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>

#include "bond/compact_binary.h"
#include "contracts/encoding/base64.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/place.h"
#include "contracts/encoding/utf8.h"

namespace korvane::encoding::detail {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// A byte of each eight whose high bit is set where that of `bytes` is below `limit`, which is at
/// most 0x80; after such a byte others may be marked too.
constexpr std::uint64_t bytes_below(std::uint64_t bytes, std::uint64_t limit) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = kOnes * 0x80;
  return (bytes - kOnes * limit) & ~bytes & kHighBits;
}

/// The first quote, backslash or control character from `at` on.
const char* end_of_plain(const char* at, const char* end) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  for (; end - at >= 8; at += 8) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, at, sizeof(bytes));
    if ((bytes_below(bytes, 0x20) | bytes_below(bytes ^ (kOnes * '"'), 1) |
         bytes_below(bytes ^ (kOnes * '\\'), 1)) != 0) {
      break;
    }
  }
  while (at != end && *at != '"' && *at != '\\' && static_cast<unsigned char>(*at) >= 0x20) ++at;
  return at;
}

void append_utf8(std::string& text, std::uint32_t point) {
  const auto add = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) return add(point);
  if (point < 0x800) {
    add(0xC0U | point >> 6U);
  } else if (point < 0x10000) {
    add(0xE0U | point >> 12U);
    add(0x80U | (point >> 6U & 0x3FU));
  } else {
    add(0xF0U | point >> 18U);
    add(0x80U | (point >> 12U & 0x3FU));
    add(0x80U | (point >> 6U & 0x3FU));
  }
  add(0x80U | (point & 0x3FU));
}

constexpr std::array kPowersOfTen = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace

struct JsonDirectReader::Number {
  const char* begin = nullptr;
  bool is_negative = false;
  bool has_exponent = false;
  /// All digits, as long as there are few enough to hold them.
  std::uint64_t digits = 0;
  std::size_t digit_count = 0;
  std::size_t fraction_count = 0;
};

bool JsonDirectReader::is_text_utf8() const {
  return is_utf8({at_, static_cast<std::size_t>(end_ - at_)});
}

void JsonDirectReader::skip_space() {
  while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
}

bool JsonDirectReader::open(char bracket) {
  if (at_ == end_ || *at_ != bracket || ++depth_ > bond::kMaxDepth) return false;
  ++at_;
  skip_space();
  return true;
}

bool JsonDirectReader::close(char bracket) {
  if (at_ == end_ || *at_ != bracket) return false;
  ++at_;
  --depth_;
  return true;
}

bool JsonDirectReader::take_comma() {
  skip_space();
  if (at_ == end_ || *at_ != ',') return false;
  ++at_;
  skip_space();
  return true;
}

bool JsonDirectReader::take_colon() {
  skip_space();
  if (at_ == end_ || *at_ != ':') return false;
  ++at_;
  skip_space();
  return true;
}

bool JsonDirectReader::take_word(std::string_view word) {
  if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(word)) return false;
  at_ += word.size();
  return true;
}

bool JsonDirectReader::read(bool& value) {
  value = take_word("true");
  return value || take_word("false");
}

bool JsonDirectReader::take_number(Number& number) {
  constexpr std::size_t kMostDigits = 19;
  number.begin = at_;
  if (at_ != end_ && *at_ == '-') {
    number.is_negative = true;
    ++at_;
  }
  const auto take_digits = [&] {
    const char* const first = at_;
    for (; at_ != end_ && is_digit(*at_); ++at_) {
      if (number.digit_count < kMostDigits) {
        number.digits = number.digits * 10 + static_cast<std::uint64_t>(*at_ - '0');
      }
      ++number.digit_count;
    }
    return at_ - first;
  };
  const char* const whole = at_;
  const auto whole_count = take_digits();
  if (whole_count == 0 || (whole_count > 1 && *whole == '0')) return false;
  if (at_ != end_ && *at_ == '.') {
    ++at_;
    const auto fraction_count = take_digits();
    if (fraction_count == 0) return false;
    number.fraction_count = static_cast<std::size_t>(fraction_count);
  }
  number.has_exponent = at_ != end_ && (*at_ == 'e' || *at_ == 'E');
  if (!number.has_exponent) return true;
  ++at_;
  if (at_ != end_ && (*at_ == '+' || *at_ == '-')) ++at_;
  const char* const exponent = at_;
  while (at_ != end_ && is_digit(*at_)) ++at_;
  return at_ != exponent;
}

bool JsonDirectReader::read(double& value) {
  constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53U;
  Number number;
  if (!take_number(number)) return false;
  // Digits and power are exact in a double, so that their quotient is the nearest one.
  if (!number.has_exponent && number.digit_count <= 19 && number.digits <= kMostExact &&
      number.fraction_count < kPowersOfTen.size()) {
    value = static_cast<double>(number.digits) / kPowersOfTen[number.fraction_count];
    if (number.is_negative) value = -value;
    return true;
  }
  const auto [end, error] = std::from_chars(number.begin, at_, value);
  return error == std::errc() && end == at_;
}

bool JsonDirectReader::read(std::int32_t& value) {
  using Limits = std::numeric_limits<std::int32_t>;
  constexpr std::size_t kSurelyWithin = 18;
  Number number;
  // 5.0 and 5e0 are integers too, but nobody writes them.
  if (!take_number(number) || number.has_exponent || number.fraction_count != 0 ||
      number.digit_count > kSurelyWithin) {
    return false;
  }
  const auto magnitude = static_cast<std::int64_t>(number.digits);
  const std::int64_t integer = number.is_negative ? -magnitude : magnitude;
  if (integer < Limits::min() || integer > Limits::max()) return false;
  value = static_cast<std::int32_t>(integer);
  return true;
}

bool JsonDirectReader::read(std::string& value) {
  if (at_ == end_ || *at_ != '"') return false;
  const char* const first = ++at_;
  at_ = end_of_plain(at_, end_);
  if (at_ == end_) return false;
  value.assign(first, static_cast<std::size_t>(at_ - first));
  if (*at_ != '"') return read_escaped(value);
  ++at_;
  return true;
}

bool JsonDirectReader::read_escaped(std::string& value) {
  while (at_ != end_ && *at_ == '\\') {
    if (!take_escape(value)) return false;
    const char* const first = at_;
    at_ = end_of_plain(at_, end_);
    value.append(first, static_cast<std::size_t>(at_ - first));
  }
  if (at_ == end_ || *at_ != '"') return false;
  ++at_;
  return true;
}

bool JsonDirectReader::take_escape(std::string& value) {
  constexpr std::string_view kEscapes = "\"\\/bfnrt";
  constexpr std::string_view kCharacters = "\"\\/\b\f\n\r\t";
  if (end_ - at_ < 2) return false;
  const char escape = at_[1];
  at_ += 2;
  if (escape != 'u') {
    const std::size_t index = kEscapes.find(escape);
    if (index == std::string_view::npos) return false;
    value += kCharacters[index];
    return true;
  }
  std::uint32_t unit = 0;
  if (!take_unit(unit)) return false;
  if (unit >= 0xD800 && unit <= 0xDFFF) {
    std::uint32_t second = 0;
    if (unit >= 0xDC00 || !take_word("\\u") || !take_unit(second)) return false;
    if (second < 0xDC00 || second > 0xDFFF) return false;
    unit = 0x10000 + ((unit - 0xD800) << 10U) + (second - 0xDC00);
  }
  append_utf8(value, unit);
  return true;
}

bool JsonDirectReader::take_unit(std::uint32_t& unit) {
  constexpr int kDigits = 4;
  if (end_ - at_ < kDigits) return false;
  const auto [end, error] = std::from_chars(at_, at_ + kDigits, unit, 16);
  if (error != std::errc() || end != at_ + kDigits) return false;
  at_ += kDigits;
  return true;
}

bool JsonDirectReader::read(bond::blob& value) {
  std::string text;
  if (!read(text)) return false;
  try {
    value = base64_bytes(text, Place());
  } catch (const JsonError&) {
    return false;
  }
  return true;
}

bool JsonDirectReader::read_enumerator(std::span<const EnumeratorNumber> enumerators,
                                       std::int32_t& number) {
  if (at_ == end_ || *at_ != '"') return read(number);
  std::string name;
  if (!read(name)) return false;
  for (const EnumeratorNumber& each : enumerators) {
    if (each.name != name) continue;
    number = each.number;
    return true;
  }
  return false;
}

std::size_t JsonDirectReader::take_name(Fields fields, std::size_t likely) {
  const std::size_t none = fields.size();
  // Most texts name the fields in the order of the contract.
  if (likely != none) {
    const std::string_view name = fields[likely].name;
    const std::size_t size = name.size();
    if (static_cast<std::size_t>(end_ - at_) > size + 2 && at_[0] == '"' && at_[size + 1] == '"' &&
        std::memcmp(at_ + 1, name.data(), size) == 0) {
      at_ += size + 2;
      return take_colon() ? likely : none;
    }
  }
  std::string name;
  if (!read(name) || !take_colon()) return none;
  std::size_t index = 0;
  while (index != none && fields[index].name != name) ++index;
  return index;
}

bool JsonDirectReader::read_fields(void* record, Fields fields) {
  if (!open('{')) return false;
  if (close('}')) return true;
  std::uint64_t seen = 0;
  std::size_t likely = 0;
  do {
    const std::size_t index = take_name(fields, likely);
    if (index == fields.size() || (seen >> index & 1U) != 0) return false;
    seen |= std::uint64_t{1} << index;
    likely = index + 1;
    if (!fields[index].read(record, *this)) return false;
  } while (take_comma());
  return close('}');
}

}  // namespace korvane::encoding::detail
