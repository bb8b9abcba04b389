#pragma once

#include <stdexcept>
#include <string_view>

/// What the operations do, for people: the OpenAPI document and whatever else is made from the
/// operation tables has these texts. An operation without one does not compile.
namespace korvane::rpc {

struct OperationText {
  std::string_view name;
  /// A few words, without a full stop.
  std::string_view summary;
  /// What the summary does not say, in sentences. Empty where it says all.
  std::string_view text = {};
};

inline constexpr std::string_view kByIdOrUid =
    "By `id`; where none has that `id`, or it is not set, by `uid`. One that is not there is "
    "answered with 404.";
inline constexpr std::string_view kReplacesRecord =
    "The record as a whole is replaced: read it, change it, send all of it. `id` says which; one "
    "that is not there is no error, and nothing changes. The `uid` stays as it was.";
inline constexpr std::string_view kGivesUid =
    "The reply has the `id` that the store has given, and the `uid`: the one of the request, or a "
    "new UUID if that was empty. A `uid` that is there already is refused with 409.";
inline constexpr std::string_view kNothingOnMiss =
    "By `id`; where none has that `id`, or it is not set, by `uid`. `value` is null if there is "
    "none; that is no error.";

inline constexpr OperationText kOperationTexts[] = {
    {"open", "Open a project file",
     "Gives the id under which the services of the project are called in this run of the server. "
     "Not needed by who calls projects by the names of their files."},
    {"list_", "List the open projects", "In the order in which they were opened."},

    {"clear", "Empty the whole project",
     "Drops all tables and makes them anew: everything is gone. With `reset_schema` false nothing "
     "at all happens."},

    {"create_material", "Add a material", kGivesUid},
    {"update_material", "Replace a material", kReplacesRecord},
    {"delete_material", "Delete a material",
     "By `id` if it is set, else by `uid`; one that is not there is no error. One that bars, "
     "mounting parts or fabric types refer to "
     "is refused with 409."},
    {"get_material", "Get a material", kByIdOrUid},
    {"try_get_material", "Get a material, or null", kNothingOnMiss},
    {"list_materials", "List all materials"},

    {"create_fabric_type", "Add a fabric type", kGivesUid},
    {"update_fabric_type", "Replace a fabric type",
     "The record as a whole is replaced, its `uid` too. `id` says which; one that is not there is "
     "no error, and nothing changes."},
    {"delete_fabric_type", "Delete a fabric type",
     "By `id` if it is set, else by `uid`; one that is not there is no error. One that fabrics "
     "refer to is refused with 409."},
    {"get_fabric_type", "Get a fabric type", kByIdOrUid},
    {"try_get_fabric_type", "Get a fabric type, or null", kNothingOnMiss},
    {"list_fabric_type", "List all fabric types"},

    {"create_sheet", "Add a sheet", kGivesUid},
    {"update_sheet", "Replace a sheet", kReplacesRecord},
    {"delete_sheet", "Delete a sheet with its revisions",
     "By `id` if it is set, else by `uid`; one that is not there is no error. Its revisions and "
     "their bars, fabrics and mounting parts "
     "go with it. Bar spacers stay: clear the revisions first."},
    {"get_sheet", "Get a sheet", kByIdOrUid},
    {"try_get_sheet", "Get a sheet, or null", kNothingOnMiss},
    {"list_sheets", "List all sheets"},

    {"create_revision", "Add a revision to a sheet",
     "`sheet_id` names the sheet; one that is not there is refused with 409. The reply has the "
     "`id` that the store has given, and the `uid`: the one of the request, or a new UUID if that "
     "was empty."},
    {"update_revision", "Replace a revision",
     "The record as a whole is replaced: read it, change it, send all of it. `id` says which; one "
     "that is not there is no error, and nothing changes. The `uid` stays, and the revision stays "
     "with its sheet whatever `sheet_id` says."},
    {"delete_revision", "Delete a revision with its lines",
     "By `id` if it is set, else by `uid`; one that is not there is no error. Its bars, fabrics "
     "and mounting parts go with it. Bar "
     "spacers stay: clear the revision first."},
    {"get_revision", "Get a revision", kByIdOrUid},
    {"try_get_revision", "Get a revision, or null", kNothingOnMiss},
    {"list_revisions", "List the revisions of all sheets"},

    {"get_project", "Get the record of the project", "Empty if none was stored yet."},
    {"update_project", "Store the record of the project",
     "The record as a whole is replaced: read it, change it, send all of it."},

    {"get_all_rebars_for_revision", "Get the bars of a revision",
     "`id` names the revision; `uid` does not count. A revision that is not there has none."},
    {"get_all_barspacers_for_revision", "Get the bar spacers of a revision",
     "`id` names the revision; `uid` does not count. A revision that is not there has none."},
    {"clear_for_revision", "Remove the lines of a revision",
     "`id` names the revision; `uid` does not count. Bars, fabrics and bar spacers go; mounting "
     "parts stay. End treatments go too, also where bars of other revisions share them: these "
     "keep the treatment in their record."},
    {"get_all_revisions_for_sheetid", "List the revisions of a sheet",
     "`id` names the sheet; `uid` does not count. A sheet that is not there has none."},
    {"get_all_fabrics_for_revision", "Get the fabrics of a revision",
     "A revision that is not there has none."},
    {"add_fabric", "Add fabrics to a revision",
     "All of them or none. Each names its revision and its fabric type by their ids; "
     "one that is not there is refused with 409."},
    {"add_rebar", "Add bars to a revision",
     "All of them or none. Each names its revision and its material by their ids; one that is not "
     "there is refused with 409. Equal end treatments share a row."},
    {"get_rebars", "Get the bars of a revision",
     "`id` names the revision; `uid` does not count. A revision that is not there has none."},
    {"add_barspacer", "Add bar spacers to a revision",
     "All of them or none. Each names its revision by its id, which is not checked."},
    {"add_mountingpart", "Add mounting parts to a revision",
     "All of them or none. Each names its revision and its material by their ids; one that is not "
     "there is refused with 409."},
    {"get_all_mountingparts_for_revision", "Get the mounting parts of a revision",
     "A revision that is not there has none."},
    {"addget_rebar", "Do nothing", "Stores nothing and gives nothing: use `add_rebar`."},

    {"query_table", "Run a statement of SQL",
     "`kind` is \"sql:raw\", and `params` has the statement as the text `query`: "
     "`{\"kind\": \"sql:raw\", \"params\": {\"query\": {\"value_string\": \"select …\"}}}`. One "
     "statement, without parameters. Any other `kind` gives an empty table."},
    {"query_value", "Do nothing", "Gives a value without any member: use `query_table`."},
};

/// The text of the operation of that name. Evaluated while compiling.
consteval const OperationText& text_of_operation(std::string_view name) {
  for (const OperationText& one : kOperationTexts) {
    if (one.name == name) return one;
  }
  throw std::logic_error("an operation has no text");
}

}  // namespace korvane::rpc
