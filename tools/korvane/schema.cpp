#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/plugins/plugin.h"
#include "host/service/openapi.h"
#include "platform/log/log.h"
#include "platform/project_rpc/idl_files.h"
#include "server/openapi_examples.h"
#include "server/project_routes.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_file.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

namespace {

using IdlFiles = std::vector<rpc::IdlFile>;

struct SchemaOptions {
  std::optional<std::string> output;
  bool is_openapi = false;
  std::string edition = "3.1";
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

/// As a server gives it that has the same plugins: services are described as they are live.
int print_openapi(const SchemaOptions& options, const CommonOptions& common) {
  const krv::log::StderrSink log(common.is_verbose ? krv::log::trace : krv::log::refused);
  std::vector<std::unique_ptr<host::Plugin>> plugins;
  if (std::filesystem::exists(common.plugins)) plugins = host::load_plugins(common.plugins);
  const std::string document = host::openapi_document(
      host::described_services(), server::project_routes(),
      options.edition == "3.0" ? host::Edition::json_3_0 : host::Edition::json,
      server::openapi_examples());
  if (options.output) {
    OutputFile file(*options.output);
    file.write(document);
    file.finish();
  } else {
    std::cout << document;
    require_output();
  }
  return kDone;
}

}  // namespace

Command add_schema(CLI::App& program) {
  const auto options = std::make_shared<SchemaOptions>();
  CLI::App* const command = program.add_subcommand(
      "schema", "Print the contracts and services in the Bond interface definition language");
  CLI::Option* const openapi = command->add_flag(
      "--openapi", options->is_openapi,
      "Print what a server serves instead, as an OpenAPI document for generators of "
      "clients: that of /openapi.json?media=json");
  command
      ->add_option("--edition", options->edition,
                   "Edition of OpenAPI, for generators that read 3.0 alone: then that of "
                   "/openapi.json?edition=3.0")
      ->check(CLI::IsMember({"3.0", "3.1"}))
      ->capture_default_str()
      ->needs(openapi);
  command->add_option("--output", options->output,
                      "Folder to write a file for each namespace into; with --openapi the file");
  command->footer(
      "Examples:\n  korvane schema --output contracts\n"
      "  korvane schema --openapi --output openapi.json\n"
      "  korvane schema --openapi --edition 3.0 --output openapi.json");
  return {command, [options](const CommonOptions& common) {
            return options->is_openapi ? print_openapi(*options, common) : print_idl(*options);
          }};
}

}  // namespace korvane::tools
