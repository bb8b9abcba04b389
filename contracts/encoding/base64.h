#pragma once

#include <string>
#include <string_view>

#include "bond/blob.h"
#include "contracts/encoding/place.h"

/// Base64 with padding (RFC 4648, section 4).
namespace korvane::encoding::detail {

std::string base64_text(std::string_view bytes);

/// The bytes that `text` stands for. Throws JsonError for `place`: "<place>: expected base64 text,
/// found …". The unused bits of the last digit must be 0, so that bytes have one text only.
bond::blob base64_bytes(std::string_view text, const Place& place);

}  // namespace korvane::encoding::detail
