#include "sqlite/check.h"

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "schedule/changes.h"
#include "schedule/structure_faults.h"
#include "sqlite/application_id.h"
#include "sqlite/repair.h"
#include "tools/korvane/check_locks.h"
#include "tools/korvane/columns.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_options.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::Cell;
using schedule::StructureFault;
using schedule::Table;
using sqlite::CheckReport;
using sqlite::Finding;
using sqlite::Kind;
using sqlite::Repair;
using sqlite::Severity;

namespace {

struct CheckCommandOptions {
  std::vector<std::string> files;
  bool is_repaired = false;
  bool are_orphans_removed = false;
  /// A folder whose locks are tried instead.
  std::optional<std::string> locks;
  std::optional<std::string> server;
  std::string token;
  OutputOptions output;
};

Kind kind_of(StructureFault::Kind kind) {
  switch (kind) {
    case StructureFault::Kind::unfinished_change:
      return Kind::unfinished_change;
    case StructureFault::Kind::change_at_work:
      return Kind::change_at_work;
    case StructureFault::Kind::sheet_name:
      return Kind::sheet_name;
    default:
      return Kind::revision_name;
  }
}

/// The file and what its sheets and revisions come to.
CheckReport check_whole(const std::string& file) {
  CheckReport report = sqlite::check_file(file);
  for (StructureFault& fault :
       schedule::structure_faults(report.seen.sheets, report.seen.revisions)) {
    Finding finding;
    finding.kind = kind_of(fault.kind);
    finding.table = fault.is_sheet ? "sheet" : "revision";
    finding.row = fault.id;
    finding.text = std::move(fault.text);
    report.findings.add(std::move(finding));
  }
  return report;
}

std::string verdict_of(const CheckReport& report) {
  if (report.findings.count(Severity::damage) != 0) return "damaged";
  return report.is_sound() ? "sound" : "faulty";
}

std::string identity_of(const CheckReport& report) {
  if (report.application_id == sqlite::kApplicationId) return "KRVN";
  return report.application_id == 0 ? "none" : "other";
}

std::int64_t integer(std::size_t count) { return static_cast<std::int64_t>(count); }

Table files_table(const std::vector<CheckReport>& reports) {
  Table table;
  table.name = "files";
  table.columns = {text_column("file", "file"),
                   text_column("verdict", "verdict"),
                   count_column("damage", "damage"),
                   count_column("findings", "findings"),
                   count_column("notes", "notes"),
                   count_column("rows", "rows"),
                   count_column("bytes", "size", "bytes"),
                   text_column("application_id", "id")};
  for (const CheckReport& report : reports) {
    table.rows.push_back(
        {report.filename, verdict_of(report), integer(report.findings.count(Severity::damage)),
         integer(report.findings.count(Severity::finding)),
         integer(report.findings.count(Severity::note)), integer(report.seen.count),
         report.pages * report.page_bytes, identity_of(report)});
  }
  return table;
}

Cell cell_of(const std::optional<std::int64_t>& row) { return row ? Cell(*row) : Cell(); }
Cell cell_of(const std::string& text) { return text.empty() ? Cell() : Cell(text); }

/// Of what befell a row: what it is called for people, and the two values that programs get.
Table row_table(const char* name, const std::string& title, const char* state,
                const char* first_value, const char* second_value) {
  Table table;
  table.name = name;
  table.title = title;
  table.columns = {
      program_column("file"),      text_column(state, state),    program_column("kind"),
      program_column("table"),     program_column("row"),        program_column("column"),
      program_column(first_value), program_column(second_value), text_column("text", "what")};
  return table;
}

Table findings_table(const CheckReport& report) {
  Table table = row_table("findings", report.filename, "severity", "found", "expected");
  for (const Finding& finding : report.findings.listed()) {
    table.rows.push_back({report.filename, std::string(name_of(finding.severity())),
                          std::string(description_of(finding.kind).name), cell_of(finding.table),
                          cell_of(finding.row), cell_of(finding.column), cell_of(finding.found),
                          cell_of(finding.expected), finding.text});
  }
  return table;
}

Table repairs_table(const std::string& file, const std::vector<Repair>& repairs) {
  Table table = row_table("repairs", file + ": repairs", "outcome", "before", "after");
  for (const Repair& repair : repairs) {
    table.rows.push_back({file, std::string(repair.is_done ? "done" : "left"),
                          std::string(description_of(repair.kind).name), cell_of(repair.table),
                          cell_of(repair.row), cell_of(repair.column), cell_of(repair.before),
                          cell_of(repair.after), repair.text});
  }
  return table;
}

void tell(const std::string& text, const CheckCommandOptions& options) {
  if (!options.output.is_quiet) std::cerr << printable(text) << '\n';
}

/// Finishes or takes back the changes that `before` tells of. Not where the file has triggers: the
/// store would run them, and they may remove what they like.
void finish_changes(const CheckReport& before, const CommonOptions& common,
                    std::vector<Repair>& repairs) {
  if (!before.has_triggers) {
    ProjectOptions project;
    project.file = before.filename;
    with_project(project, common, Purpose::changing,
                 [](Project_Service& service) { schedule::finish_changes(service); });
  }
  const CheckReport after = check_whole(before.filename);
  for (const Finding& finding : before.findings.listed()) {
    if (finding.kind != Kind::unfinished_change) continue;
    Repair repair;
    repair.kind = finding.kind;
    repair.table = finding.table;
    repair.row = finding.row;
    repair.is_done = true;
    for (const Finding& left : after.findings.listed()) {
      if (left.kind == finding.kind && left.table == finding.table && left.row == finding.row) {
        repair.is_done = false;
      }
    }
    repair.text = finding.text + "; " +
                  (repair.is_done        ? "now finished or taken back"
                   : before.has_triggers ? "not finished, as it would run the triggers of the file"
                                         : "it could not be finished");
    repairs.push_back(std::move(repair));
  }
}

std::vector<Repair> repair(const CheckReport& before, const CheckCommandOptions& options,
                           const CommonOptions& common) {
  for (const Kind kind :
       {Kind::unreadable, Kind::not_a_database, Kind::not_a_project, Kind::pages}) {
    if (!before.findings.has(kind)) continue;
    tell(before.filename + ": nothing is repaired: restore a backup", options);
    return {};
  }
  tell(before.filename + ": a repair changes the file; keep a copy (korvane backup)", options);
  sqlite::RepairOptions how;
  how.are_orphans_removed = options.are_orphans_removed;
  std::vector<Repair> repairs = sqlite::repair_file(before.filename, how);
  CheckReport report = check_whole(before.filename);
  if (before.findings.has(Kind::journal) && !report.findings.has(Kind::journal)) {
    Repair taken;
    taken.kind = Kind::journal;
    taken.is_done = true;
    taken.text = "the write that was broken off was taken back, or finished";
    repairs.insert(repairs.begin(), std::move(taken));
  }
  if (report.findings.has(Kind::unfinished_change)) finish_changes(report, common, repairs);
  return repairs;
}

int run_check_locks(const CheckCommandOptions& options) {
  const SharedFolder seen = look_at_mount(*options.locks);
  tell(*options.locks + " is on " + seen.mount, options);
  Table table;
  table.name = "locks";
  table.columns = {text_column("check", "check"), text_column("verdict", "verdict"),
                   text_column("text", "what")};
  bool is_sound = seen.refusal.empty();
  if (!is_sound) table.rows.push_back({std::string("mount"), std::string("fails"), seen.refusal});
  for (const sqlite::LockResult& result :
       try_locks(*options.locks, options.server, options.token)) {
    is_sound = is_sound && result.holds;
    table.rows.push_back({std::string(result.rule->name),
                          std::string(result.holds ? "holds" : "fails"), result.text});
  }
  TablePrinter printer(options.output, TablePrinter::Tables::one, std::cout);
  printer.print(table);
  printer.finish();
  require_output();
  return is_sound ? kDone : kFailed;
}

int run_check(const CheckCommandOptions& options, const CommonOptions& common) {
  TablePrinter printer(options.output, TablePrinter::Tables::several, std::cout);
  std::vector<CheckReport> reports;
  bool is_something_done = false;
  bool has_failed = false;
  for (const std::string& file : options.files) {
    CheckReport report = check_whole(file);
    std::vector<Repair> repairs;
    if (options.is_repaired || options.are_orphans_removed) {
      try {
        repairs = repair(report, options, common);
      } catch (const std::exception& failure) {
        has_failed = true;
        std::cerr << "korvane: " << printable(failure.what()) << '\n';
      }
      if (has_failed || !repairs.empty()) report = check_whole(file);
    }
    for (const Repair& each : repairs) is_something_done = is_something_done || each.is_done;
    const Table repaired = repairs_table(file, repairs);
    if (!printer.is_for_people() || !repaired.rows.empty()) printer.print(repaired);
    const Table found = findings_table(report);
    if (!printer.is_for_people() || !found.rows.empty()) printer.print(found);
    report.seen = {report.seen.count, {}, {}};
    reports.push_back(std::move(report));
  }
  printer.print(files_table(reports));
  printer.finish();
  require_output();
  if (has_failed) return is_something_done ? kDonePart : kFailed;
  for (const CheckReport& report : reports) {
    if (!report.is_sound()) return is_something_done ? kDonePart : kFailed;
  }
  return kDone;
}

void add_lock_options(CLI::App& command, CheckCommandOptions& options, CLI::Option& files) {
  auto* const locks =
      command.add_option("--locks", options.locks,
                         "Folder: try whether two processes there keep each other out and read "
                         "what the other wrote, as several servers of one folder need it");
  locks->check(CLI::ExistingDirectory)->excludes(&files)->excludes("--repair");
  auto* const with =
      command.add_option("--with", options.server,
                         "With --locks: address of a server on another machine that serves the "
                         "folder, such as http://10.0.0.2:8420");
  with->needs(locks);
  command.add_option("--token", options.token, "Bearer token for that server, of the scope write")
      ->envname("KORVANE_TOKEN");
  command.final_callback([&options] {
    if (options.files.empty() && !options.locks) throw CLI::RequiredError("PROJECT");
  });
}

}  // namespace

Command add_check(CLI::App& program) {
  const auto options = std::make_shared<CheckCommandOptions>();
  CLI::App* const command = program.add_subcommand(
      "check", "Look whether project files are sound, and mend what can be mended");
  auto* const files = command->add_option("PROJECT", options->files, "The project files");
  auto* const repair =
      command->add_flag("--repair", options->is_repaired,
                        "Mend what can be mended without loss, and tell of each repair");
  command
      ->add_flag("--remove-orphans", options->are_orphans_removed,
                 "With --repair: remove bar spacers of revisions that are gone")
      ->needs(repair);
  add_lock_options(*command, *options, *files);
  add_output_options(*command, options->output);
  command->footer(
      "Without --repair files are only read, also while a server has them open. Ends with 0 if all "
      "are sound, which notes do not change, with 1 if there is damage or a finding, and with 3 if "
      "some of it was repaired and some is left. docs/operations.md says what each kind of finding "
      "means.\n\n"
      "Examples:\n"
      "  korvane check tower.db\n"
      "  korvane check halls/*.db --format ndjson\n"
      "  korvane backup tower.db before.db && korvane check tower.db --repair\n"
      "  korvane check --locks /srv/projects --with http://10.0.0.2:8420");
  return {command, [options](const CommonOptions& common) {
            return options->locks ? run_check_locks(*options) : run_check(*options, common);
          }};
}

}  // namespace korvane::tools
