#include "schedule/compare.h"

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/plugins/failure_text.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_options.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::Comparison;
using schedule::RevisionPair;
using schedule::Structure;
using schedule::Table;
using schedule::Totals;

namespace {

/// As `diff` ends.
enum ComparisonCode : int { kSame = 0, kDifferent = 1, kNotCompared = 2 };

struct CompareOptions {
  ProjectOptions project;
  /// The other project without `after`, else a revision.
  std::string before;
  std::optional<std::string> after;
  std::optional<std::string> sheet;
  OutputOptions output;
};

std::string shown(const std::string& name) { return name.empty() ? "(unnamed)" : name; }

/// Of a pair that has both sides.
std::string heading_of(const RevisionPair& pair) {
  const std::string before = shown(pair.before->revision->record.name);
  const std::string after = shown(pair.after->revision->record.name);
  return "Sheet " + shown(pair.before->sheet->record.name) + ", " +
         (before == after ? "revision " + before : "revisions " + before + " and " + after);
}

/// Prints what differs, and adds up what it means.
class ComparisonPrinter {
 public:
  explicit ComparisonPrinter(const OutputOptions& options)
      : is_silent_(options.is_quiet), printer_(options, TablePrinter::Tables::several, std::cout) {}

  void print(const RevisionPair& pair, const Comparison& comparison) {
    before_ += comparison.before;
    after_ += comparison.after;
    Table table = schedule::changes_table(pair, comparison);
    is_different_ = is_different_ || !table.rows.empty();
    if (is_silent_) return;
    if (!printer_.is_for_people()) return printer_.print(table);
    if (table.rows.empty()) return;
    if (!pair.before || !pair.after) return keep_one_sided(std::move(table));
    table.title.clear();
    printer_.print_heading(heading_of(pair));
    printer_.print(table);
  }

  ComparisonCode finish() {
    if (is_silent_) return is_different_ ? kDifferent : kSame;
    if (!one_sided_.rows.empty()) printer_.print(one_sided_);
    for (const Table& table : schedule::difference_tables(before_, after_)) {
      if (!printer_.is_for_people() || !table.rows.empty()) printer_.print(table);
    }
    printer_.finish();
    require_output();
    return is_different_ ? kDifferent : kSame;
  }

 private:
  /// People read of all revisions that one side lacks in one table.
  void keep_one_sided(Table table) {
    if (one_sided_.rows.empty()) {
      one_sided_.name = table.name;
      one_sided_.title = "Revisions that one side lacks";
      one_sided_.columns = std::move(table.columns);
      for (schedule::Column& column : one_sided_.columns) {
        // What the row is about is said above, and it has neither mark nor field.
        column.is_for_programs = column.name == "kind";
      }
    }
    one_sided_.rows.push_back(std::move(table.rows.front()));
  }

  bool is_silent_;
  TablePrinter printer_;
  bool is_different_ = false;
  Table one_sided_;
  Totals before_;
  Totals after_;
};

ComparisonCode compare(const CompareOptions& options, const CommonOptions& common) {
  ComparisonPrinter printer(options.output);
  const auto print = [&](const RevisionPair& pair, const Comparison& comparison) {
    printer.print(pair, comparison);
  };
  if (options.after) {
    with_project(options.project, common, Purpose::reading, [&](Project_Service& project) {
      const Structure structure = schedule::read_structure(project);
      const RevisionPair pair =
          schedule::find_revisions(structure, options.sheet, options.before, *options.after);
      schedule::compare_revisions(project, structure, project, structure, {pair}, print);
    });
  } else {
    with_two_projects(options.project, options.before, common,
                      [&](Project_Service& before, Project_Service& after) {
                        const Structure first = schedule::read_structure(before);
                        const Structure second = schedule::read_structure(after);
                        schedule::compare_revisions(
                            before, first, after, second,
                            schedule::match_revisions(first, second, {options.sheet, std::nullopt}),
                            print);
                      });
  }
  return printer.finish();
}

/// A failure is not a difference, whose code it would have elsewhere.
int run_compare(const CompareOptions& options, const CommonOptions& common) {
  try {
    return compare(options, common);
  } catch (const std::exception& failure) {
    std::cerr << "korvane: " << printable(host::failure_text(failure)) << '\n';
    return kNotCompared;
  }
}

}  // namespace

Command add_compare(CLI::App& program) {
  const auto options = std::make_shared<CompareOptions>();
  CLI::App* const command = program.add_subcommand(
      "compare",
      "Say what has changed, mark by mark, and what it means in pieces and kilograms: between two "
      "revisions of one sheet, or between two projects by the names of sheets and revisions. "
      "Exit code 0: the same, 1: different, 2: failed");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command
      ->add_option("A", options->before, "The revision before, or without B the other project file")
      ->required();
  command->add_option("B", options->after, "The revision after");
  command->add_option("--sheet", options->sheet, "Only sheets of this name");
  add_output_options(*command, options->output);
  add_server_options(*command, options->project);
  command->footer(
      "With --quiet only the exit code says it.\n\n"
      "Examples:\n"
      "  korvane compare guideline.db a b\n"
      "  korvane compare guideline.db a b --sheet 417 --format csv >changes.csv\n"
      "  korvane compare before.db after.db");
  return {command,
          [options](const CommonOptions& common) { return run_compare(*options, common); }};
}

}  // namespace korvane::tools
