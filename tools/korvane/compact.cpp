#include "sqlite/compact.h"

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

struct CompactOptions {
  std::vector<std::string> files;
  OutputOptions output;
};

int run_compact(const CompactOptions& options) {
  schedule::Table table;
  table.name = "compacted";
  table.columns = {text_column("file", "file"), count_column("bytes_before", "before", "bytes"),
                   count_column("bytes_after", "after", "bytes"),
                   text_column("application_id", "id")};
  return print_each_file(options.files, std::move(table), options.output,
                         [](const std::string& file) -> FileRow {
                           const sqlite::CompactResult result = sqlite::compact_file(file);
                           return {file, result.bytes_before, result.bytes_after,
                                   std::string(result.has_application_id ? "KRVN" : "other")};
                         });
}

}  // namespace

Command add_compact(CLI::App& program) {
  const auto options = std::make_shared<CompactOptions>();
  CLI::App* const command = program.add_subcommand(
      "compact", "Give back the room that removed lines have left in project files");
  command->add_option("PROJECT", options->files, "The project files")->required();
  add_output_options(*command, options->output);
  command->footer(
      "Nobody else can use a file meanwhile, and the disk must have room for another one. It also "
      "gets SQLite's application id KRVN, by which it says what it is.\n\n"
      "Examples:\n"
      "  korvane compact tower.db\n"
      "  korvane compact *.db --format csv");
  return {command, [options](const CommonOptions&) { return run_compact(*options); }};
}

}  // namespace korvane::tools
