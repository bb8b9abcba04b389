#pragma once

#include <string>
#include <string_view>

/// Entity tags: names of what a client has got, by which it need not get it again (RFC 9110,
/// section 8.8.3).
namespace korvane::host {

/// `W/"text"`: what has it means the same, though its bytes may differ, as compressed ones do.
std::string weak_tag(std::string_view text);

/// Whether a field If-None-Match has the tag, weak or not, or is "*".
bool has_tag(const std::string& if_none_match, std::string_view tag);

}  // namespace korvane::host
