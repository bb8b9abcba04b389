// crash_writer PLUGINS PROJECT JOURNAL SEED FROM
//
// Applies the scripted operations from FROM on to a project, without end, until it is killed. After
// each it appends one byte to JOURNAL: the acknowledgement. Prints a line when the project is open.

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <boost/log/core.hpp>

#include "tests/scenarios/crash_loop/scripted_stream.h"
#include "tools/korvane/embedded_project.h"

namespace {

void run(char** arguments) {
  boost::log::core::get()->set_logging_enabled(false);
  korvane::tools::EmbeddedProject project(arguments[1], arguments[2],
                                          korvane::tools::EmbeddedProject::IfMissing::make);
  const int journal = ::open(arguments[3], O_WRONLY | O_CREAT | O_APPEND, 0600);
  const auto seed = static_cast<std::uint32_t>(std::stoul(arguments[4]));
  auto index = static_cast<std::uint32_t>(std::stoul(arguments[5]));
  std::cout << "open" << std::endl;
  for (;; ++index) {
    korvane::test::apply_scripted_operation(project.service(), seed, index);
    if (::write(journal, ".", 1) != 1) throw std::runtime_error("cannot acknowledge");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  try {
    run(argv);
  } catch (const std::exception& failure) {
    std::cerr << "crash_writer: " << failure.what() << '\n';
  }
  return EXIT_FAILURE;
}
