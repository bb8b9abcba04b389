#include <exception>
#include <iostream>
#include <string_view>

#include "host/plugins/failure_text.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/lock_peers.h"
#include "tools/korvane/program.h"
#include "tools/korvane/terminal_text.h"

int main(int argc, char** argv) {
  try {
    if (argc > 2 && std::string_view(argv[1]) == korvane::tools::kLockPeerArgument) {
      return korvane::tools::run_lock_peer({argv + 2, argv + argc});
    }
    return korvane::tools::Program().run(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "korvane: " << korvane::tools::printable(korvane::host::failure_text(failure))
              << '\n';
  }
  return korvane::tools::kFailed;
}
