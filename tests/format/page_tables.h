#pragma once

#include <map>
#include <string>

/// The parts of docs/format.md that are made from the descriptions.
namespace korvane::test {

/// By the name of the part: "tables", "contracts" and "enumerations". Each is lines of Markdown.
std::map<std::string, std::string> format_page_parts();

/// The page with its parts made anew: what stands between `<!-- made: NAME -->` and `<!-- /made -->`.
/// Throws std::invalid_argument if the page does not have each part once.
std::string remade_format_page(const std::string& page);

}  // namespace korvane::test
