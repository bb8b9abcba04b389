#pragma once

#include <array>
#include <string>

#include "contracts/encoding/json.h"
#include "schedule/drawing/bending_list_pages.h"

namespace korvane::schedule::drawing {

/// A format of bending lists.
struct ListFormat {
  /// Also the extension of its files.
  const char* name;
  const char* media_type;
};

inline constexpr std::array kListFormats = {ListFormat{"pdf", "application/pdf"},
                                            ListFormat{"svg", "image/svg+xml"},
                                            ListFormat{"html", "text/html; charset=utf-8"}};

/// Writes the pages, one at a time: as pages of a PDF file; as one SVG with the pages one under
/// another; as a page of HTML that needs nothing else, prints a page on each sheet of paper, and has
/// the texts of its own as texts. `format` is the name of one of kListFormats, else
/// std::logic_error. Throws what PdfFile and the sink throw.
void print_bending_list(const BendingListPages& pages, const std::string& format,
                        const encoding::JsonSink& sink);

/// Today here, as "2026-01-31".
std::string today();

}  // namespace korvane::schedule::drawing
