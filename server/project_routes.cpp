#include "server/project_routes.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <utility>

#include <nlohmann/json.hpp>

#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/failure.h"
#include "schedule/compare.h"
#include "schedule/export.h"
#include "schedule/import.h"
#include "schedule/project_document.h"
#include "schedule/table_text.h"
#include "schedule/totals.h"
#include "server/contents_route.h"
#include "server/drawing_routes.h"
#include "server/edit_route.h"
#include "server/line_routes.h"
#include "server/mounted_project.h"
#include "server/project_state.h"
#include "server/revision_tag.h"
#include "server/schemas.h"

namespace korvane::server {

using host::MountedCall;
using host::MountedParameter;
using host::MountedReply;
using host::MountedRoute;
using krv::rpc4::BadRequest;
using krv::rpc4::Effect;
using model::cad::Project_Service;
using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kXlsx = "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet";

struct ExportFormat {
  const char* name;
  const char* media_type;
  const char* file_name;
};

constexpr ExportFormat kExportFormats[] = {
    {"bvbs", "text/plain; charset=windows-1252", "schedule.abs"},
    {"csv", "text/csv; charset=utf-8", "schedule.csv"},
    {"xlsx", kXlsx, "schedule.xlsx"},
    {"json", kJsonType, "project.json"},
    {"ndjson", "application/x-ndjson", "project.ndjson"},
};

/// An object of the tables' rows, by their names.
MountedReply json_of(const std::vector<schedule::Table>& tables) {
  std::ostringstream text;
  for (const schedule::Table& table : tables) {
    text << (text.tellp() == std::streampos(0) ? "{" : ",") << schedule::json_text(table.name)
         << ':';
    schedule::write_json(table, text);
  }
  text << "}\n";
  return {kJsonType, std::move(text).str()};
}

schedule::ImportPlan plan_of(const MountedCall& call) {
  std::vector<schedule::Source> sources;
  sources.push_back({call.parameter("name").value_or("import"), std::string(call.body)});
  return {std::move(sources), {call.parameter("sheet"), call.parameter("revision")}};
}

void refuse_unusable(const MountedCall& call) {
  if (call.has("replace") && call.has("append")) {
    throw BadRequest("replace and append exclude each other");
  }
  const schedule::ImportPlan plan = plan_of(call);
  if (call.has("dry_run") && !plan.faults().empty()) return;  // to be told of them
  if (!plan.faults().empty() && (!call.has("skip_faulty") || plan.is_empty())) {
    std::string text = "nothing is stored:";
    for (const schedule::SourceFault& fault : plan.faults()) text += "\n" + text_of(fault);
    throw BadRequest(text);
  }
  if (plan.is_empty()) throw BadRequest("there is nothing to import in the body");
}

schedule::IfFilled if_filled(const MountedCall& call) {
  if (call.has("replace")) return schedule::IfFilled::replace;
  return call.has("append") ? schedule::IfFilled::append : schedule::IfFilled::refuse;
}

MountedReply import_reply(const schedule::ImportPlan& plan, const schedule::ImportResult& result) {
  Json reply = {{"revisions", Json::array()},
                {"left_out", Json::array()},
                {"skipped", Json::object()},
                {"notes", result.notes}};
  for (const schedule::ImportedRevision& revision : result.revisions) {
    reply["revisions"].push_back({{"id", revision.id},
                                  {"sheet", revision.sheet},
                                  {"revision", revision.revision},
                                  {"bars", revision.bars},
                                  {"fabrics", revision.fabrics},
                                  {"bar_spacers", revision.bar_spacers},
                                  {"mounting_parts", revision.mounting_parts},
                                  {"lines_before", revision.lines_before}});
  }
  for (const schedule::SourceFault& fault : plan.faults()) {
    reply["left_out"].push_back({{"line", fault.line}, {"reason", fault.reason}});
  }
  for (const auto& [group, count] : plan.skipped()) reply["skipped"][group] = count;
  for (const schedule::SourceNote& note : plan.notes()) reply["notes"].push_back(text_of(note));
  MountedReply done{kJsonType, reply.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"};
  for (const schedule::ImportedRevision& revision : result.revisions) {
    done.changed.push_back({"revision", revision.id});
  }
  return done;
}

MountedReply import(const MountedCall& call) {
  const schedule::ImportPlan plan = plan_of(call);
  Project_Service& project = project_of(call);
  if (call.has("dry_run")) return import_reply(plan, {preview_import(&project, plan), {}});
  return import_reply(plan, import_plan(project, plan, if_filled(call)));
}

std::optional<MountedReply> import_into_nothing(const MountedCall& call) {
  if (!call.has("dry_run")) return std::nullopt;
  const schedule::ImportPlan plan = plan_of(call);
  return import_reply(plan, {schedule::preview_import(nullptr, plan), {}});
}

/// A temporary file that no other user of the machine can read, nor put anything in its place.
class PrivateFile {
 public:
  PrivateFile() : folder_((std::filesystem::temp_directory_path() / "korvane-XXXXXX").string()) {
    if (::mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("cannot make " + folder_);
    path_ = folder_ + "/schedule.xlsx";
  }
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;
  /// Takes no memory: there may be none left for the call.
  ~PrivateFile() {
    ::unlink(path_.c_str());
    ::rmdir(folder_.c_str());
  }

  const std::string& path() const { return path_; }

 private:
  std::string folder_;
  std::string path_;
};

/// The library writes to files alone.
std::string xlsx_of(Project_Service& project, const schedule::Selection& selection) {
  const PrivateFile file;
  export_xlsx(project, selection, file.path());
  std::ifstream stream(file.path(), std::ios::binary);
  std::ostringstream bytes;
  if (!(bytes << stream.rdbuf())) throw std::runtime_error("cannot read a temporary file");
  return std::move(bytes).str();
}

std::string exported(const MountedCall& call, const std::string& format) {
  Project_Service& project = project_of(call);
  const schedule::Selection selection = selection_of(call);
  std::string text;
  const schedule::TextSink sink = [&](std::string_view piece) {
    call.require_time();
    text += piece;
  };
  if (format == "xlsx") return xlsx_of(project, selection);
  if (format == "csv") {
    export_csv(project, selection, call.parameter("kind").value_or("bars"), sink);
  } else if (format == "bvbs") {
    const schedule::ExportReport report = export_bvbs(project, selection, sink);
    if (!report.refusals.empty() && !call.has("skip_unsayable")) {
      std::string refusal = "the format cannot say all lines; skip_unsayable=true leaves them out:";
      for (const std::string& one : report.refusals) refusal += "\n" + one;
      throw BadRequest(refusal);
    }
  } else {
    using schedule::DocumentForm;
    write_document(project, selection, format == "json" ? DocumentForm::json : DocumentForm::ndjson,
                   sink);
  }
  return text;
}

MountedReply export_as(const MountedCall& call) {
  const std::string name = *call.parameter("format");
  for (const ExportFormat& format : kExportFormats) {
    if (name == format.name) return {format.media_type, exported(call, name), format.file_name};
  }
  throw std::logic_error("a format that is offered and not known: " + name);
}

std::vector<schedule::Table> comparison_tables(const schedule::RevisionPair& pair,
                                               const schedule::Comparison& comparison) {
  std::vector<schedule::Table> tables = difference_tables(comparison.before, comparison.after);
  tables.insert(tables.begin(), changes_table(pair, comparison, schedule::ChangeIds::shown));
  return tables;
}

MountedReply compare(const MountedCall& call) {
  Project_Service& project = project_of(call);
  const schedule::Structure structure = schedule::read_structure(project);
  const schedule::RevisionPair pair = schedule::find_revisions(
      structure, call.parameter("sheet"), *call.parameter("before"), *call.parameter("after"));
  MountedReply reply;
  schedule::compare_revisions(
      project, structure, project, structure, {pair},
      [&](const schedule::RevisionPair& compared, const schedule::Comparison& comparison) {
        reply = json_of(comparison_tables(compared, comparison));
      });
  return reply;
}

std::vector<schedule::Table> all_totals_tables(
    const schedule::Structure& structure, const std::vector<schedule::SelectedRevision>& selected,
    const std::map<std::int32_t, schedule::Totals>& by_revision) {
  schedule::Totals all;
  for (const schedule::SelectedRevision& one : selected) {
    const auto found = by_revision.find(one.revision->record.id);
    if (found != by_revision.end()) all += found->second;
  }
  std::vector<schedule::Table> tables = totals_tables(all);
  tables.insert(tables.begin(), revisions_table(structure, selected, by_revision));
  return tables;
}

MountedReply totals(const MountedCall& call) {
  Project_Service& project = project_of(call);
  const schedule::Structure structure = schedule::read_structure(project);
  const auto selected = select_revisions(structure, selection_of(call));
  const auto by_revision = totals_by_revision(project, structure);
  return json_of(all_totals_tables(structure, selected, by_revision));
}

MountedRoute import_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("import", Effect::writes);
  route.summary = "Stores a schedule";
  route.text =
      "Stores a schedule: records of the bar schedule exchange format (BVBS), or a project in JSON "
      "as export gives it. A faulty record is named, and then nothing is stored. A dry run of a "
      "project that is to be made makes none.";
  route.parameters = {
      {"name", "The name of the file; without its extension it names sheets without a number"},
      {"sheet", "The sheet, instead of the records' own"},
      {"revision", "The revision, instead of the records' own"},
      {"skip_faulty", "Whether to store the rest where records are faulty", host::on_or_off()},
      {"replace", "Whether the lines take the place of those that a revision has",
       host::on_or_off()},
      {"append", "Whether the lines come after those that a revision has", host::on_or_off()},
      {"dry_run", "Whether to say what would be stored and what is faulty, and store nothing",
       host::on_or_off()}};
  route.request_types = {"text/plain", "application/octet-stream", kJsonType};
  route.reply_types = {kJsonType};
  route.reply_schemas = import_schemas();
  route.check = refuse_unusable;
  route.without_project = import_into_nothing;
  route.run = import;
  return route;
}

MountedRoute export_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("export", Effect::reads);
  route.summary = "The schedule in a format for others";
  route.text =
      "Gives the schedule for others: bvbs for machines, csv or xlsx for spreadsheets, json and "
      "ndjson with every field of every record.";
  MountedParameter format{"format", "The format", {}, true};
  for (const ExportFormat& one : kExportFormats) {
    format.values.emplace_back(one.name);
    route.reply_types.emplace_back(one.media_type);
  }
  route.parameters = selection_parameters();
  route.parameters.push_back(std::move(format));
  route.parameters.push_back(
      {"kind", "With csv, which lines; bars if it is not given", schedule::table_kinds()});
  route.parameters.push_back({"skip_unsayable",
                              "With bvbs, whether to leave out lines that the format cannot say",
                              host::on_or_off()});
  route.run = export_as;
  return route;
}

MountedRoute compare_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("compare", Effect::reads);
  route.summary = "What has changed between two revisions";
  route.text =
      "Says what has changed between two revisions of a sheet, mark by mark, and what it means in "
      "pieces and kilograms.";
  route.parameters = {{"before", "The revision before", {}, true},
                      {"after", "The revision after", {}, true},
                      {"sheet", "The sheet, where several have such revisions"}};
  route.reply_types = {kJsonType};
  route.reply_schemas =
      tables_schemas("Comparison", comparison_tables({}, {}), {"before", "after"});
  route.run = compare;
  return route;
}

MountedRoute totals_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("totals", Effect::reads);
  route.summary = "Pieces, metres and kilograms";
  route.text = "Adds up pieces, metres and kilograms, by revision, diameter, steel and type.";
  route.parameters = selection_parameters();
  route.reply_types = {kJsonType};
  route.reply_schemas = tables_schemas("Totals", all_totals_tables({}, {}, {}));
  route.run = totals;
  return route;
}

}  // namespace

namespace {

std::vector<MountedRoute> routes_with(const std::shared_ptr<RevisionTags>& tags) {
  return {import_route(),       export_route(),   compare_route(),  totals_route(),
          bending_list_route(), sketch_route(),   sketches_route(), contents_route(),
          lines_route(),        line_route(tags), edit_route(tags), host::changes_route()};
}

}  // namespace

std::vector<MountedRoute> project_routes() { return routes_with(std::make_shared<RevisionTags>()); }

host::Mounted mounted() {
  const auto tags = std::make_shared<RevisionTags>();
  host::Mounted all(routes_with(tags));
  all.state_of = state_of;
  all.tag_of = [tags](const krv::rpc4::LiveService& project, const krv::rpc4::Subject& subject) {
    return tag_of(project, subject, *tags);
  };
  return all;
}

}  // namespace korvane::server
