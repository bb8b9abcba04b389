#include <exception>
#include <iostream>

#include "host/plugins/failure_text.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/program.h"
#include "tools/korvane/terminal_text.h"

int main(int argc, char** argv) {
  try {
    return korvane::tools::Program().run(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "korvane: " << korvane::tools::printable(korvane::host::failure_text(failure))
              << '\n';
  }
  return korvane::tools::kFailed;
}
