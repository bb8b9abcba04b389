#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// How numbers and texts look in JSON, and in messages about it.
namespace korvane::encoding::detail {

/// Room for any double as it is written here.
using NumberText = std::array<char, 32>;

/// A finite number as a person would write it, which reads back as the same double. The result is
/// in `room`.
std::string_view number_text(double value, NumberText& room);
std::string number_text(double value);

/// `text` in quotes and escaped; nothing if it is not UTF-8.
std::optional<std::string> quoted(std::string_view text);

/// The same with U+FFFD for what is not UTF-8.
std::string quoted_anyhow(std::string_view text);

/// Messages quote no more bytes of a text than these.
inline constexpr std::size_t kLongestQuote = 60;

/// Text for a message: in quotes, escaped, UTF-8 whatever it was, and short.
std::string shown(std::string_view text);

}  // namespace korvane::encoding::detail
