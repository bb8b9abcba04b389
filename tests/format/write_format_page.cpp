// Writes the parts of docs/format.md anew that are made from the descriptions: `make docs`.
//
//   write_format_page docs/format.md

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "tests/format/page_tables.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: write_format_page PAGE\n";
    return 2;
  }
  try {
    std::ifstream input(argv[1], std::ios::binary);
    const std::string page(std::istreambuf_iterator<char>(input), {});
    const std::string remade = korvane::test::remade_format_page(page);
    std::ofstream output(argv[1], std::ios::binary);
    output << remade;
    output.close();
    return output ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << argv[1] << ": " << failure.what() << '\n';
    return 1;
  }
}
