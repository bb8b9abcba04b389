#pragma once

#include <string_view>

namespace korvane::encoding::detail {

/// Whether `text` is UTF-8: neither overlong nor a surrogate nor beyond U+10FFFF.
bool is_utf8(std::string_view text);

}  // namespace korvane::encoding::detail
