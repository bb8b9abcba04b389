// Writes what the packages have of the commands' own descriptions: pages of the manual, completions
// of the shells, and the server's file of options.
//
//   write_manual FOLDER [NAME=VALUE…]     the options whose values the file has

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "tools/korvane/program.h"
#include "tools/manual/command_text.h"
#include "tools/manual/completion.h"
#include "tools/manual/man_page.h"
#include "tools/manual/option_file.h"

namespace korvane::manual {
namespace {

void write(const std::filesystem::path& file, const std::string& text) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream output(file, std::ios::binary);
  output << text;
  if (!output.flush()) throw std::runtime_error("cannot write " + file.string());
}

void write_all(const std::filesystem::path& folder,
               const std::map<std::string, std::string>& values) {
  tools::Program program;
  const CommandText text = program_text(program.description());
  for (const ManPage& page : man_pages(text, KORVANE_VERSION)) {
    write(folder / "man" / page.file, page.text);
  }
  write(folder / "bash" / "korvane", bash_completion(text));
  write(folder / "zsh" / "_korvane", zsh_completion(text));
  write(folder / "fish" / "korvane.fish", fish_completion(text));
  for (const CommandText& command : text.commands) {
    if (command.word() == "serve") write(folder / "korvane.conf", option_file(command, values));
  }
}

}  // namespace
}  // namespace korvane::manual

int main(int argc, char** argv) {
  try {
    if (argc < 2) throw std::runtime_error("usage: write_manual FOLDER [NAME=VALUE…]");
    std::map<std::string, std::string> values;
    for (int i = 2; i < argc; ++i) {
      const std::string pair = argv[i];
      const auto at = pair.find('=');
      if (at == std::string::npos) throw std::runtime_error("\"" + pair + "\" is not NAME=VALUE");
      values[pair.substr(0, at)] = pair.substr(at + 1);
    }
    korvane::manual::write_all(argv[1], values);
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "write_manual: " << failure.what() << '\n';
    return 1;
  }
}
