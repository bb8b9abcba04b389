#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvane::host {

/// How long a text may be that goes into the log or to a client as a failure's.
inline constexpr std::size_t kShortBytes = std::size_t{4} * 1024;

/// The first `most` bytes of the text, in whole characters of UTF-8; "…" stands for the rest.
std::string shortened(std::string_view text, std::size_t most = kShortBytes);

}  // namespace korvane::host
