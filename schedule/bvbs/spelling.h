#pragma once

#include <string>

#include "schedule/bvbs/draft.h"
#include "schedule/bvbs/source.h"

namespace korvane::schedule::bvbs {

/// Spells a draft as a line in Windows-1252 with its checksum, without the line's end.
///
/// With a `source` each of its fields that means what the draft says keeps its text and its place.
/// What the draft knows nothing about, other blocks, private text and further fields of the header,
/// is kept as long as the draft describes the same piece (has_same_body): it may describe the piece.
/// Null for no source.
///
/// Throws CannotSay for a text with characters that the format cannot carry, and for a bar without
/// geometry.
std::string spell(const Draft& draft, const Source* source);

/// Whether the line says more than a draft does, of the same piece.
bool says_more(const Source& source, const Draft& draft);

}  // namespace korvane::schedule::bvbs
