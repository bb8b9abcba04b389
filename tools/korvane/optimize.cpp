#include "sqlite/optimize.h"

#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/korvane/columns.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_options.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

namespace {

struct OptimizeCommandOptions {
  std::vector<std::string> files;
  bool is_dropping = false;
  OutputOptions output;
};

int run_optimize(const OptimizeCommandOptions& options) {
  schedule::Table table;
  table.name = "optimized";
  table.columns = {text_column("file", "file"), count_column("indexes_before", "indexes before"),
                   count_column("indexes_after", "after"),
                   count_column("bytes_before", "size before", "bytes"),
                   count_column("bytes_after", "after", "bytes")};
  std::size_t failed = 0;
  for (const std::string& file : options.files) {
    try {
      sqlite::OptimizeOptions how;
      how.is_dropping = options.is_dropping;
      const sqlite::OptimizeResult result = sqlite::optimize_file(file, how);
      table.rows.push_back({file, static_cast<std::int64_t>(result.indexes_before),
                            static_cast<std::int64_t>(result.indexes_after), result.bytes_before,
                            result.bytes_after});
    } catch (const std::exception& failure) {
      ++failed;
      std::cerr << "korvane: " << printable(failure.what()) << '\n';
    }
  }
  TablePrinter printer(options.output, TablePrinter::Tables::one, std::cout);
  if (!printer.is_for_people() || !table.rows.empty()) printer.print(table);
  printer.finish();
  require_output();
  if (failed == 0) return kDone;
  return failed == options.files.size() ? kFailed : kDonePart;
}

}  // namespace

Command add_optimize(CLI::App& program) {
  const auto options = std::make_shared<OptimizeCommandOptions>();
  CLI::App* const command = program.add_subcommand(
      "optimize",
      "Add indexes to project files, so that large ones are read as fast as small ones");
  command->add_option("PROJECT", options->files, "The project files")->required();
  command->add_flag("--drop", options->is_dropping, "Remove them again");
  add_output_options(*command, options->output);
  command->footer(
      "The tables stay as they are: any program goes on reading and writing the file. Others may "
      "read it meanwhile; writes wait. Removed indexes leave room in the file that compact gives "
      "back. docs/optimize.md says when it pays and what it costs.\n\n"
      "Examples:\n"
      "  korvane optimize tower.db\n"
      "  korvane optimize tower.db --drop");
  return {command, [options](const CommonOptions&) { return run_optimize(*options); }};
}

}  // namespace korvane::tools
