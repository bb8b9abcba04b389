#include "sqlite/compact.h"

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
  std::size_t failed = 0;
  for (const std::string& file : options.files) {
    try {
      const sqlite::CompactResult result = sqlite::compact_file(file);
      table.rows.push_back({file, result.bytes_before, result.bytes_after,
                            std::string(result.has_application_id ? "KRVN" : "other")});
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
