#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/project_rpc/idl_files.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

namespace {

using IdlFiles = std::vector<rpc::IdlFile>;

struct SchemaOptions {
  std::optional<std::string> output;
};

void write_files(const IdlFiles& files, const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  for (const auto& file : files) {
    const std::filesystem::path path = folder / file.name;
    std::ofstream output(path, std::ios::binary);
    output << file.text;
    output.close();
    if (!output) throw std::runtime_error("cannot write " + path.string());
  }
}

void print_files(const IdlFiles& files) {
  for (const auto& file : files) std::cout << "// " << file.name << '\n' << file.text << '\n';
  require_output();
}

int print_idl(const SchemaOptions& options) {
  const IdlFiles files = rpc::idl_files();
  if (options.output) {
    write_files(files, *options.output);
  } else {
    print_files(files);
  }
  return kDone;
}

}  // namespace

Command add_schema(CLI::App& program) {
  const auto options = std::make_shared<SchemaOptions>();
  CLI::App* const command = program.add_subcommand(
      "schema", "Print the contracts and services in the Bond interface definition language");
  command->add_option("--output", options->output,
                      "Folder to write a file for each namespace into");
  command->footer("Example:\n  korvane schema --output contracts");
  return {command, [options](const CommonOptions&) { return print_idl(*options); }};
}

}  // namespace korvane::tools
