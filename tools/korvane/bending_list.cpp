#include "schedule/bending_list.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "schedule/drawing/print_bending_list.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_file.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::drawing::BendingListPages;

namespace {

constexpr const char* kStandardOutput = "-";

struct BendingListOptions {
  ProjectOptions project;
  schedule::Selection selection;
  std::string output;
  std::string format;
  std::string date;
};

std::vector<std::string> format_names() {
  std::vector<std::string> names;
  for (const auto& format : schedule::drawing::kListFormats) names.emplace_back(format.name);
  return names;
}

bool is_format(const std::string& name) {
  for (const std::string& format : format_names()) {
    if (name == format) return true;
  }
  return false;
}

/// The format that the options mean: the one that is named, else that of the file's extension.
void set_format(BendingListOptions& options) {
  if (!options.format.empty()) return;
  if (options.output == kStandardOutput) {
    throw CLI::ValidationError("--output - needs --format");
  }
  std::string extension = std::filesystem::path(options.output).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  if (!is_format(extension)) {
    throw CLI::ValidationError("--output " + options.output +
                               ": expected .pdf, .html or .svg, or --format");
  }
  options.format = extension;
}

/// Nothing for a day of the calendar, else what is wrong.
std::string date_fault(const std::string& text) {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  int length = 0;
  const int read = std::sscanf(text.c_str(), "%4d-%2u-%2u%n", &year, &month, &day, &length);
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  constexpr std::size_t kLength = 10;
  const bool is_date = read == 3 && text.size() == kLength &&
                       static_cast<std::size_t>(length) == kLength && year > 0 && date.ok();
  return is_date ? std::string() : "expected a date such as 2026-01-31";
}

void print_standard_output(const BendingListPages& pages, const std::string& format) {
  print_bending_list(pages, format, [](std::string_view text) {
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!std::cout) require_output();
  });
  require_output();
}

int run_bending_list(const BendingListOptions& options, const CommonOptions& common) {
  with_project(options.project, common, Purpose::reading, [&](Project_Service& project) {
    const BendingListPages pages(read_bending_list(project, options.selection),
                                 options.date.empty() ? schedule::drawing::today() : options.date);
    if (options.output == kStandardOutput) {
      print_standard_output(pages, options.format);
      return;
    }
    OutputFile file(options.output);
    print_bending_list(pages, options.format, [&](std::string_view text) { file.write(text); });
    file.finish();
  });
  return kDone;
}

}  // namespace

Command add_bending_list(CLI::App& program) {
  const auto options = std::make_shared<BendingListOptions>();
  CLI::App* const command = program.add_subcommand(
      "bending-list", "Print what goes to the bending yard: marks with sketches, and totals");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--sheet", options->selection.sheet, "Only sheets of this name");
  command->add_option("--revision", options->selection.revision, "Only revisions of this name");
  command
      ->add_option("-o,--output", options->output,
                   "The file to write, replaced when the new one is whole; its extension says the "
                   "format; - is the standard output")
      ->required();
  command
      ->add_option("--format", options->format,
                   "pdf with A4 pages, html with the same for a browser, or svg with all pages in "
                   "one drawing; that of the file's extension if it is not given")
      ->check(CLI::IsMember(format_names()).description(""));
  command->add_option("--date", options->date, "The date on the pages, instead of today")
      ->type_name("YYYY-MM-DD")
      ->check(CLI::Validator(date_fault, ""));
  add_server_options(*command, options->project);
  command->callback([options] { set_format(*options); });
  command->footer(
      "Examples:\n"
      "  korvane bending-list guideline.db --output guideline.pdf\n"
      "  korvane bending-list guideline.db --sheet 417 --revision a -o 417a.html\n"
      "  korvane bending-list guideline.db --output - --format pdf | lp");
  return {command,
          [options](const CommonOptions& common) { return run_bending_list(*options, common); }};
}

}  // namespace korvane::tools
