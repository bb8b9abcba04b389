#include "sqlite/optimize.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/korvane/columns.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/each_file.h"
#include "tools/korvane/output_options.h"

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
  return print_each_file(options.files, std::move(table), options.output,
                         [&](const std::string& file) -> FileRow {
                           sqlite::OptimizeOptions how;
                           how.is_dropping = options.is_dropping;
                           const sqlite::OptimizeResult result = sqlite::optimize_file(file, how);
                           return {file, static_cast<std::int64_t>(result.indexes_before),
                                   static_cast<std::int64_t>(result.indexes_after),
                                   result.bytes_before, result.bytes_after};
                         });
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
