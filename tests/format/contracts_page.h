#pragma once

#include <map>
#include <string>

/// The parts of docs/contracts.md that are made from the descriptions.
namespace korvane::test {

/// By the name of the part: "services", "messages", "records", "enumerations" and "unused". Each is
/// lines of Markdown.
std::map<std::string, std::string> contracts_page_parts();

/// The page with its parts made anew. Throws std::invalid_argument if it does not have each once.
std::string remade_contracts_page(const std::string& page);

}  // namespace korvane::test
