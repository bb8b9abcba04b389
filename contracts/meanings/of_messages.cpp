#include "contracts/meanings/meanings_data.h"

namespace korvane::meanings {

namespace {

constexpr Meaning kMeanings[] = {
    {"GenericReply", "", "", "The reply of what has no other result."},
    {"GenericReply", "error", "", "never set: what fails is answered with a problem document"},
    {"Batch", "", "", "Records of one kind."},
    {"Batch", "items", "", "the records"},
    {"OptionalValue", "", "", "A record, or nothing."},
    {"OptionalValue", "value", "", "the record; null if there is none"},

    {"MaterialRef", "", "", "Names a material; also what creating one gives."},
    {"MaterialRef", "id", "",
     "number of the material, given by the store; null where it does not count"},
    {"MaterialRef", "uid", "",
     "the text that names the material for good; null where it does not count"},

    {"FabricTypeRef", "", "", "Names a fabric type; also what creating one gives."},
    {"FabricTypeRef", "id", "",
     "number of the fabric type, given by the store; null where it does not count"},
    {"FabricTypeRef", "uid", "",
     "the text that names the fabric type for good; null where it does not count"},

    {"SheetRef", "", "", "Names a sheet; also what creating one gives."},
    {"SheetRef", "id", "", "number of the sheet, given by the store; null where it does not count"},
    {"SheetRef", "uid", "", "the text that names the sheet for good; null where it does not count"},

    {"RevisionRef", "", "", "Names a revision; also what creating one gives."},
    {"RevisionRef", "id", "",
     "number of the revision, given by the store; null where it does not count"},
    {"RevisionRef", "uid", "",
     "the text that names the revision for good; null where it does not count"},

    {"ListMaterials", "", "", "No fields."},
    {"ListFabricType", "", "", "No fields."},
    {"ListSheets", "", "", "No fields."},
    {"ListRevisions", "", "", "No fields."},
    {"GetProject", "", "", "No fields."},
    {"UpdateProject", "", "", "The record of the project that is to be stored."},
    {"UpdateProject", "item", "", "the record"},
    {"ClearProjectRequest", "", "", "What is to be cleared."},
    {"ClearProjectRequest", "reset_schema", "",
     "whether all tables are dropped and made anew. With false nothing happens."},

    {"Rebars", "", "", "The bars of a revision."},
    {"Rebars", "rebars", "", "the bars, as they were sent"},
    {"Fabrics", "", "", "The fabrics of a revision."},
    {"Fabrics", "fabrics", "", "the fabrics, as they were sent"},
    {"FabricRef", "", "", "Names a revision whose fabrics are asked for."},
    {"FabricRef", "rev_id", "", "`id` of the revision"},
    {"BarSpacers", "", "", "The bar spacers of a revision."},
    {"BarSpacers", "barspacers", "", "the bar spacers, as they were sent"},
    {"MountingParts", "", "", "The mounting parts of a revision."},
    {"MountingParts", "mountingParts", "", "the mounting parts, as they were sent"},
    {"MountingPartRef", "", "", "Names a revision whose mounting parts are asked for."},
    {"MountingPartRef", "rev_id", "", "`id` of the revision"},
    {"Revisions", "", "", "The revisions of a sheet."},
    {"Revisions", "revisions", "", "the revisions"},

    {"OpenProjectRequest", "", "", "Names the file of a project."},
    {"OpenProjectRequest", "filename", "", "path of the file, under the server's folder"},
    {"OpenProjectResponse", "", "", "Names the service of a project."},
    {"OpenProjectResponse", "service_id", "",
     "the id under which the project is called in this run of the server"},
    {"ListProjectRequest", "", "", "No fields."},
    {"ProjectList", "", "", "The open projects."},
    {"ProjectList", "projects", "", "the projects, in the order of their opening"},
    {"ProjectInfo", "", "", "An open project."},
    {"ProjectInfo", "service_id", "",
     "the id under which the project is called in this run of the server"},
    {"ProjectInfo", "filename", "", "path of its file, normalised"},
    {"ProjectInfo", "extra", "", "always empty"},

    {"GET_TABLE", "", "", "A query."},
    {"GET_TABLE", "kind", "", "kind of query: only \"sql:raw\" is served"},
    {"GET_TABLE", "params", "", "of which only the text `query` is read: the statement of SQL"},
    {"TABLE", "", "", "The result of a query."},
    {"TABLE", "columns", "", "the columns, in the order of the statement"},
    {"TABLE", "rows", "",
     "the rows, of which each has a cell for each column. A cell of which no member is set is "
     "NULL."},
    {"TableColumn", "", "", "A column of the result of a query."},
    {"TableColumn", "name", "", "its name, as the database reports it"},
    {"TableColumn", "kind", "",
     "what it is declared to hold: 0 whole numbers, 1 numbers, 2 texts, 3 bytes, which come as "
     "texts. What a cell holds is said by the cell."},
};

}  // namespace

std::span<const Meaning> message_meanings() { return kMeanings; }

}  // namespace korvane::meanings
