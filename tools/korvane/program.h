#pragma once

#include <vector>

#include <CLI/CLI.hpp>

#include "tools/korvane/commands.h"

namespace korvane::tools {

/// The command line: the program's options, and its commands with theirs.
class Program {
 public:
  Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// For whoever describes it: the names, the options and their texts.
  CLI::App& description() { return app_; }

  /// Parses the arguments and runs the command that they name. Returns the exit code.
  int run(int argc, char** argv);

 private:
  CommonOptions options_;
  CLI::App app_;
  std::vector<Command> commands_;
};

}  // namespace korvane::tools
