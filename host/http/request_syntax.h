#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// The words that requests are made of.
namespace korvane::host {

/// Whether a control character other than the tab stands in the text.
bool has_control(std::string_view text);

/// Whether the text is a token as RFC 9110, section 5.6.2, defines it.
bool is_token(std::string_view text);

/// The number that the text consists of: digits and nothing else. Nothing if it is larger than the
/// type. `base` is 10 or 16.
std::optional<std::uint64_t> parse_number(std::string_view text, int base);

/// The bytes up to and including the first line feed; all of them if there is none.
std::string_view up_to_line_feed(std::string_view bytes);

}  // namespace korvane::host
