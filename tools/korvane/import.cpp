#include "schedule/import.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/korvane/commands.h"
#include "tools/korvane/import_files.h"
#include "tools/korvane/print_project.h"
#include "tools/korvane/progress.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::IfFilled;
using schedule::ImportedRevision;
using schedule::ImportPlan;

namespace {

/// Revisions that a summary lists one by one.
constexpr std::size_t kMostListed = 20;

struct ImportOptions {
  std::vector<std::string> files;
  ProjectOptions project;
  schedule::ImportNames names;
  bool skips_faulty = false;
  bool replaces = false;
  bool appends = false;
  bool shows = false;
  bool is_quiet = false;

  IfFilled if_filled() const {
    if (replaces) return IfFilled::replace;
    return appends ? IfFilled::append : IfFilled::refuse;
  }
};

void say(const std::string& text) { std::cerr << printable(text) << '\n'; }

std::string counts_text(const ImportedRevision& counted) {
  const std::string bars_and_fabrics =
      format_count(counted.bars, "bar mark") + ", " + format_count(counted.fabrics, "fabric mark");
  const std::string spacers = format_count(counted.bar_spacers, "bar spacer mark");
  if (counted.mounting_parts == 0) return bars_and_fabrics + " and " + spacers;
  return bars_and_fabrics + ", " + spacers + " and " +
         format_count(counted.mounting_parts, "mounting part mark");
}

void report_revision(const ImportedRevision& revision, IfFilled if_filled) {
  std::string text = "imported " + counts_text(revision) + " into sheet \"" + revision.sheet +
                     "\", revision \"" + revision.revision + "\"";
  if (revision.lines_before != 0) {
    text += (if_filled == IfFilled::replace ? ", in place of " : ", after ") +
            format_count(revision.lines_before, "schedule line");
  }
  say(text);
}

void report_sum(const std::vector<ImportedRevision>& revisions) {
  ImportedRevision sum;
  std::set<std::string> sheets;
  for (const ImportedRevision& revision : revisions) {
    sum.bars += revision.bars;
    sum.fabrics += revision.fabrics;
    sum.bar_spacers += revision.bar_spacers;
    sum.mounting_parts += revision.mounting_parts;
    sheets.insert(revision.sheet);
  }
  say("imported " + counts_text(sum) + " into " + format_count(revisions.size(), "revision") +
      " of " + format_count(sheets.size(), "sheet"));
}

void report(const schedule::ImportResult& result, IfFilled if_filled) {
  for (const std::string& note : result.notes) say(note);
  const std::vector<ImportedRevision>& revisions = result.revisions;
  if (revisions.size() > kMostListed) {
    report_sum(revisions);
  } else {
    for (const ImportedRevision& revision : revisions) report_revision(revision, if_filled);
  }
}

/// What is known before a project is touched.
void report_plan(const ImportPlan& plan, const std::vector<std::string>& files) {
  for (const schedule::SourceNote& note : plan.notes()) say(text_of(note));
  if (plan.is_empty()) {
    std::string names;
    for (const std::string& file : files) names += (names.empty() ? "" : ", ") + file;
    say("nothing to import in " + names);
  }
  for (const auto& [group, count] : plan.skipped()) {
    say("skipped " + format_count(count, group + " record") + ": a project has no place for them");
  }
}

void report_faults(const ImportPlan& plan, bool are_skipped) {
  for (const schedule::SourceFault& fault : plan.faults()) {
    say((are_skipped ? "left out: " : "korvane: ") + text_of(fault));
  }
  if (are_skipped) return;
  say("korvane: nothing is stored, because of " + format_count(plan.faults().size(), "fault") +
      "; --skip-faulty stores the rest");
}

int run_import(const ImportOptions& options, const CommonOptions& common) {
  Progress line(std::cerr, !options.is_quiet && is_error_output_a_terminal());
  const schedule::Progress progress = [&line](std::string_view step, std::size_t done,
                                              std::size_t total) { line.show(step, done, total); };
  const ImportPlan plan(read_import_files(options.files), options.names, progress);
  line.clear();
  const bool is_faulty = !plan.faults().empty();
  if (!options.is_quiet) report_plan(plan, options.files);
  if (is_faulty) report_faults(plan, options.skips_faulty);
  if (is_faulty && (!options.skips_faulty || plan.is_empty())) return kFailed;
  if (plan.is_empty()) return kDone;

  with_project(options.project, common, Purpose::writing, [&](Project_Service& project) {
    const schedule::ImportResult result = import_plan(project, plan, options.if_filled(), progress);
    line.clear();
    if (!options.is_quiet) report(result, options.if_filled());
    if (!options.shows) return;
    std::vector<std::int32_t> ids;
    for (const auto& revision : result.revisions) ids.push_back(revision.id);
    print_revisions(project, ids, std::cout);
  });
  require_output();
  return is_faulty ? kDonePart : kDone;
}

}  // namespace

Command add_import(CLI::App& program) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* const command = program.add_subcommand(
      "import", "Store bar schedules in a project: BVBS files (.abs), or projects in JSON");
  command
      ->add_option("FILE", options->files,
                   "Files, folders for all .abs and .json files in them, or - for the standard "
                   "input")
      ->required();
  command->add_option("--project", options->project.file, "The project file; made if it is missing")
      ->required();
  command->add_option("--sheet", options->names.sheet, "Sheet name, instead of the records' own");
  command->add_option("--revision", options->names.revision,
                      "Revision name, instead of the records' own");
  command->add_flag("--skip-faulty", options->skips_faulty,
                    "Store what is not faulty, and exit with 3 if anything is");
  CLI::Option* const replace =
      command->add_flag("--replace", options->replaces,
                        "Put the lines in the place of those that a revision has; its mounting "
                        "parts stay");
  command->add_flag("--append", options->appends, "Add the lines to those that a revision has")
      ->excludes(replace);
  command->add_flag("--show", options->shows, "Print the schedule that was stored");
  command->add_flag("-q,--quiet", options->is_quiet, "Print nothing but errors");
  add_server_options(*command, options->project);
  command->footer(
      "Examples:\n"
      "  korvane import examples/guideline.abs --project guideline.db --show\n"
      "  korvane import examples/guideline.abs --project guideline.db --replace\n"
      "  korvane import examples --skip-faulty --project all.db --revision b\n"
      "  cat examples/shapes.abs | korvane import - --sheet S1 --project all.db");
  return {command, [options](const CommonOptions& common) { return run_import(*options, common); }};
}

}  // namespace korvane::tools
