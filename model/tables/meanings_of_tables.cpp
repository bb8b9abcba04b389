#include "model/tables/meanings_data.h"

namespace korvane::model::tables {

namespace {

constexpr Meaning kMeanings[] = {
    {"project", "", "", "The project as a whole. No row, or one: take that of the lowest `id`."},
    {"project", "id", "", "the row's number. Says nothing."},
    {"project", "raw", "", "the whole record"},

    {"material", "", "",
     "The catalogue of materials, such as steel grades. A material that "
     "another row refers to cannot be deleted."},
    {"material", "id", "", "what other rows name the material by. Not given again."},
    {"material", "raw", "", "the whole record"},

    {"sheet", "", "",
     "Drawing sheets. Deleting one deletes its revisions, and with them their "
     "bars, fabrics and mounting parts, but not their bar spacers."},
    {"sheet", "id", "", "what revisions name the sheet by. Not given again."},
    {"sheet", "raw", "", "the whole record"},

    {"revision", "", "",
     "Revisions of sheets: each is one issue of a drawing, with a schedule of "
     "its own. Deleting one deletes its bars, fabrics and mounting parts, "
     "but not its bar spacers."},
    {"revision", "id", "", "what the lines of the schedule name the revision by. Not given again."},
    {"revision", "raw", "", "the whole record"},

    {"barspacer", "", "",
     "Lines of the schedule that are bar spacers or supports. No foreign key: "
     "rows may name a revision that is gone, and then belong to nothing."},
    {"barspacer", "id", "", "the row's number, and the order of the lines. Nothing refers to it."},
    {"barspacer", "raw", "", "the whole record"},

    {"end_treatment", "", "",
     "What is done to ends of bars. Bars whose treatments are equal in "
     "these six values share a row, across the whole project. A row may "
     "be left that no bar refers to. Deleting one makes NULL of what "
     "refers to it; `raw` of the bar keeps the treatment."},
    {"end_treatment", "id", "",
     "what bars name the treatment by. The number of a deleted row may "
     "come back."},

    {"rebar", "", "",
     "Lines of the schedule that are bars: one row is one bar mark, not one piece "
     "of steel."},
    {"rebar", "id", "", "the row's number, and the order of the lines. Nothing refers to it."},
    {"rebar", "end_treatment_start", "",
     "the row of `end_treatment` for the start of the bar. May "
     "be NULL although `raw` has a treatment: see "
     "\"Odd on purpose\"."},
    {"rebar", "end_treatment_end", "", "the same for its end"},
    {"rebar", "raw", "", "the whole record"},

    {"fabric_type", "", "",
     "The catalogue of types of fabric (welded mesh). A type that a fabric "
     "refers to cannot be deleted."},
    {"fabric_type", "id", "", "what fabrics name the type by. Not given again."},
    {"fabric_type", "description", "", "description; a number if the text reads as one"},
    {"fabric_type", "material_id", "", "`id` of the row of `material`"},
    {"fabric_type", "is_list_fabric", "", "1 if `list_fabric` of the record is set, else 0"},
    {"fabric_type", "raw", "", "the whole record"},

    {"fabric", "", "", "Lines of the schedule that are fabrics: one row is one mark."},
    {"fabric", "id", "", "the row's number, and the order of the lines. Nothing refers to it."},
    {"fabric", "fabric_type_id", "", "`id` of the row of `fabric_type`"},
    {"fabric", "raw", "", "the whole record"},

    {"mountingpart", "", "",
     "Lines of the schedule that are mounting parts: what is built in "
     "besides reinforcement, such as anchors or boxes."},
    {"mountingpart", "id", "",
     "the row's number, and the order of the lines. Nothing refers to it."},
    {"mountingpart", "raw", "", "the whole record"},
};

}  // namespace

std::span<const Meaning> table_meanings() { return kMeanings; }

}  // namespace korvane::model::tables
