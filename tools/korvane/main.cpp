#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <Poco/Exception.h>

#include "platform/log/log.h"
#include "platform/project_rpc/schema_files.h"
#include "tools/korvane/embedded_project.h"
#include "tools/korvane/import.h"
#include "tools/korvane/show.h"
#include "tools/korvane/text_table.h"

namespace {

using korvane::tool::EmbeddedProject;
using korvane::tool::format_count;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Options {
  std::string plugins = korvane::tool::default_plugin_folder().string();
  std::string file;
  std::string project;
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
  std::optional<std::string> output;
  bool verbose = false;
};

/// Results go to stdout, all that is said about them to stderr.
void run_import(const Options& options) {
  const korvane::tool::ScheduleFile schedule =
      korvane::tool::read_schedule(options.file, {options.sheet, options.revision});
  for (const std::string& remark : schedule.remarks) std::cerr << remark << '\n';
  EmbeddedProject project(options.plugins, options.project);
  const auto revisions = korvane::tool::store_schedule(project.service(), schedule);
  for (const auto& revision : revisions) {
    std::cerr << "imported " << format_count(revision.bars, "bar mark") << ", "
              << format_count(revision.fabrics, "fabric mark") << " and "
              << format_count(revision.bar_spacers, "bar spacer mark") << " into sheet \""
              << revision.sheet << "\", revision \"" << revision.revision << "\"\n";
  }
  if (revisions.empty()) std::cerr << "nothing to import in " << options.file << '\n';
  for (const auto& [group, count] : schedule.passed_over) {
    std::cerr << "passed over " << format_count(count, group + " record")
              << ": the project has no place for them\n";
  }
  bool is_first = true;
  for (const auto& revision : revisions) {
    if (!is_first) std::cout << '\n';
    is_first = false;
    korvane::tool::show_revision(project.service(), revision.id, std::cout);
  }
}

void run_show(const Options& options) {
  EmbeddedProject project(options.plugins, options.project);
  korvane::tool::show_project(project.service(), options.revision ? &*options.revision : nullptr,
                              std::cout);
}

/// Prints the contracts, or writes a file for each namespace into a folder.
void run_schema(const Options& options) {
  for (const korvane::rpc::SchemaFile& file : korvane::rpc::schema_files()) {
    if (!options.output) {
      std::cout << "// " << file.name << '\n' << file.text << '\n';
      continue;
    }
    std::filesystem::create_directories(*options.output);
    const std::filesystem::path path = std::filesystem::path(*options.output) / file.name;
    std::ofstream output(path, std::ios::binary);
    output << file.text;
    output.close();
    if (!output) throw std::runtime_error("cannot write " + path.string());
  }
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app("korvane keeps the reinforcement data of structural CAD projects.", "korvane");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("korvane ") + KORVANE_VERSION);
  app.add_option("--plugins", options.plugins, "Folder of the plugin libraries")
      ->capture_default_str();
  app.add_flag("-v,--verbose", options.verbose, "Print the plugins' trace lines as well");

  CLI::App* const import = app.add_subcommand(
      "import", "Store the bar schedule of a BVBS file (.abs) in a project, and print it");
  import->add_option("FILE", options.file, "The BVBS file")->required()->check(CLI::ExistingFile);
  import->add_option("--project", options.project, "The project file; made if it is not there")
      ->required();
  import->add_option("--sheet", options.sheet, "Sheet name, instead of the records' own");
  import->add_option("--revision", options.revision, "Revision name, instead of the records' own");
  import->footer("Example:\n  korvane import examples/guideline.abs --project guideline.db");

  CLI::App* const show = app.add_subcommand("show", "Print the bar schedules of a project");
  show->add_option("PROJECT", options.project, "The project file")
      ->required()
      ->check(CLI::ExistingFile);
  show->add_option("--revision", options.revision, "Only revisions of this name");
  show->footer("Example:\n  korvane show guideline.db --revision a");

  CLI::App* const schema = app.add_subcommand(
      "schema", "Print the contracts and services in the Bond interface definition language");
  schema->add_option("--output", options.output, "Folder to write a file for each namespace into");
  schema->footer("Example:\n  korvane schema --output contracts");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }
  const krv::log::StderrSink log(options.verbose ? krv::log::trace : krv::log::refused);
  if (import->parsed()) run_import(options);
  if (show->parsed()) run_show(options);
  if (schema->parsed()) run_schema(options);
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const Poco::Exception& failure) {
    std::cerr << "korvane: " << failure.displayText() << '\n';
  } catch (const std::exception& failure) {
    std::cerr << "korvane: " << failure.what() << '\n';
  }
  return kFailed;
}
