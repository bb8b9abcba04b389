#include "schedule/export.h"

#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "schedule/project_document.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_file.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::DocumentForm;
using schedule::ExportReport;
using schedule::TextSink;

namespace {

constexpr const char* kStandardOutput = "-";

struct ExportOptions {
  ProjectOptions project;
  schedule::Selection selection;
  std::string format;
  std::string kind;
  std::string output = kStandardOutput;
};

void print(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) std::cerr << printable(text) << '\n';
}

ExportReport write(Project_Service& project, const ExportOptions& options, const TextSink& sink) {
  if (options.format == "bvbs") return export_bvbs(project, options.selection, sink);
  if (options.format == "csv") {
    return export_csv(project, options.selection, options.kind.empty() ? "bars" : options.kind,
                      sink);
  }
  const DocumentForm form = options.format == "json" ? DocumentForm::json : DocumentForm::ndjson;
  write_document(project, options.selection, form, sink);
  return {};
}

ExportReport write_file(Project_Service& project, const ExportOptions& options) {
  OutputFile file(options.output);
  ExportReport report =
      options.format == "xlsx"
          ? export_xlsx(project, options.selection, file.path())
          : write(project, options, [&](std::string_view text) { file.write(text); });
  file.finish();
  return report;
}

ExportReport print_all(Project_Service& project, const ExportOptions& options) {
  ExportReport report = write(project, options, [](std::string_view text) {
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!std::cout) require_output();
  });
  require_output();
  return report;
}

int run_export(const ExportOptions& options, const CommonOptions& common) {
  ExportReport report;
  try {
    with_project(options.project, common, Purpose::reading, [&](Project_Service& project) {
      report = options.output == kStandardOutput ? print_all(project, options)
                                                 : write_file(project, options);
    });
  } catch (const schedule::DocumentError& error) {
    print(error.faults());
    throw std::runtime_error("the project cannot be written as " + options.format);
  }
  print(report.notes);
  print(report.refusals);
  return report.refusals.empty() ? kDone : kDonePart;
}

/// What options are wrong together, which is wrong usage.
void check(const ExportOptions& options) {
  if (options.format == "xlsx" && options.output == kStandardOutput) {
    throw CLI::ValidationError("--format xlsx needs --output FILE");
  }
  if (options.format != "csv" && !options.kind.empty()) {
    throw CLI::ValidationError("--kind is for --format csv: the others have all kinds");
  }
}

}  // namespace

Command add_export(CLI::App& program) {
  const auto options = std::make_shared<ExportOptions>();
  CLI::App* const command = program.add_subcommand(
      "export", "Write a project or some of its revisions for others: a bender, a spreadsheet");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--sheet", options->selection.sheet, "Only sheets of this name");
  command->add_option("--revision", options->selection.revision, "Only revisions of this name");
  command
      ->add_option("--format", options->format,
                   "bvbs for machines, csv or xlsx for spreadsheets, json for all that is stored, "
                   "which import reads, ndjson for the same with a record a line")
      ->required()
      ->check(CLI::IsMember({"bvbs", "csv", "xlsx", "json", "ndjson"}).description(""));
  command
      ->add_option(
          "--kind", options->kind,
          "With csv, which lines: bars, fabrics, bar_spacers or mounting_parts; bars if it "
          "is not given")
      ->check(CLI::IsMember(schedule::table_kinds()).description(""));
  command->add_option("-o,--output", options->output,
                      "The file to write, replaced when the new one is whole; - is the standard "
                      "output");
  add_server_options(*command, options->project);
  command->callback([options] { check(*options); });
  command->footer(
      "Examples:\n"
      "  korvane export guideline.db --sheet 417 --format bvbs --output 417.abs\n"
      "  korvane export guideline.db --format xlsx --output guideline.xlsx\n"
      "  korvane export guideline.db --format csv --kind fabrics >fabrics.csv\n"
      "  korvane export guideline.db --format json --output guideline.json");
  return {command, [options](const CommonOptions& common) { return run_export(*options, common); }};
}

}  // namespace korvane::tools
