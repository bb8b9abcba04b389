#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvane::host {

/// The text as far as its first `most` bytes, in whole characters of UTF-8; "…" stands for the
/// rest.
std::string shortened(std::string_view text, std::size_t most = std::size_t{4} * 1024);

}  // namespace korvane::host
