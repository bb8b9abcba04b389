#pragma once

#include <cstdlib>
#include <string>
#include <sys/wait.h>

#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"

namespace korvane::test {

/// What is left of a program that has ended.
struct Outcome {
  int exit_code = 0;
  std::string out;
  std::string err;
};

/// Runs korvane in a shell to its end, which leaves what it prints in `folder`. `environment` is
/// put before the command, such as "NAME=value"; `output` is a file for its standard output
/// instead.
inline Outcome run_program(const TemporaryFolder& folder, const std::string& arguments,
                           const std::string& environment = "", const std::string& output = "") {
  const std::string out = output.empty() ? folder.file("out") : output;
  const std::string err = folder.file("err");
  const std::string command =
      environment + " " + KORVANE_PROGRAM + " " + arguments + " >" + out + " 2>" + err;
  const int status = std::system(command.c_str());
  return {WEXITSTATUS(status), output.empty() ? text_of(out) : "", text_of(err)};
}

}  // namespace korvane::test
