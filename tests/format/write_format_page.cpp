// Writes the parts of pages of docs/ anew that are made from the descriptions: `make docs`.
//
//   write_format_page docs/format.md docs/contracts.md

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "tests/format/contracts_page.h"
#include "tests/format/page_tables.h"

namespace {

bool write(const char* path, std::string (*remade)(const std::string& page)) {
  try {
    std::ifstream input(path, std::ios::binary);
    const std::string page(std::istreambuf_iterator<char>(input), {});
    const std::string text = remade(page);
    std::ofstream output(path, std::ios::binary);
    output << text;
    output.close();
    return bool(output);
  } catch (const std::exception& failure) {
    std::cerr << path << ": " << failure.what() << '\n';
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: write_format_page FORMAT CONTRACTS\n";
    return 2;
  }
  const bool is_format_written = write(argv[1], &korvane::test::remade_format_page);
  const bool are_contracts_written = write(argv[2], &korvane::test::remade_contracts_page);
  return is_format_written && are_contracts_written ? 0 : 1;
}
