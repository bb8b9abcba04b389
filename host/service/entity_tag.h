#pragma once

#include <string>
#include <string_view>

#include "host/service/representation.h"

/// Entity tags: names of what a client has got, by which it need not get it again (RFC 9110,
/// section 8.8.3).
namespace korvane::host {

/// `W/"text"`: what has it means the same, though its bytes may differ, as compressed ones do.
std::string weak_tag(std::string_view text);

/// Whether a field If-None-Match has the tag, weak or not, or is "*".
bool has_tag(const std::string& if_none_match, std::string_view tag);

/// Whether a field If-Match has `tag`, which is a strong one, or is "*". Throws krv::rpc4::BadRequest
/// "If-Match: expected * or tags in quotes, found …".
bool matches(const std::string& if_match, std::string_view tag);

/// The strong tag of an entry in one form: other bytes need another tag.
std::string tag_of_form(std::string_view tag, Representation form);

/// The same as `matches`, in whichever form the client has seen the entry.
bool matches_any_form(const std::string& if_match, std::string_view tag);

}  // namespace korvane::host
