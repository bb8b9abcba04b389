#include "tests/format/contract_tables.h"

#include <cstddef>

namespace korvane::test {

std::string code(std::string_view text) { return "`" + std::string(text) + "`"; }

std::string row(const std::vector<std::string>& cells) {
  std::string line = "|";
  for (const std::string& cell : cells) line += cell.empty() ? " |" : " " + cell + " |";
  return line + "\n";
}

std::string remade_page(const std::string& page, const std::map<std::string, std::string>& parts) {
  const std::string end = "<!-- /made -->";
  std::string text = page;
  for (const auto& [name, part] : parts) {
    const std::string begin = "<!-- made: " + name + " -->\n";
    const std::size_t from = text.find(begin);
    const std::size_t to = text.find(end, from);
    if (from == std::string::npos || to == std::string::npos ||
        text.find(begin, from + 1) != std::string::npos) {
      throw std::invalid_argument("the page does not have the part \"" + name + "\" once");
    }
    text.replace(from + begin.size(), to - from - begin.size(), "\n" + part);
  }
  return text;
}

const meanings::Meaning& told(std::string_view owner, std::string_view name) {
  if (const meanings::Meaning* const meaning = meanings::find_meaning(owner, name)) return *meaning;
  throw std::out_of_range("no meaning of \"" + std::string(owner) + "." + std::string(name) + "\"");
}

namespace detail {

std::string number_text(double value) {
  char digits[32];
  std::string text(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
  return text.find('.') == std::string::npos ? text + ".0" : text;
}

}  // namespace detail
}  // namespace korvane::test
