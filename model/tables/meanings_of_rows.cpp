#include "model/tables/meanings_data.h"

namespace korvane::model::tables {

namespace {

constexpr Meaning kMeanings[] = {
    {"Material", "id", "",
     "what the client sent. In the table `material` the column is the truth."},
    {"Material", "uid", "",
     "a text that names the material for good, usually a UUID. In the table "
     "`material` the column is the truth."},
    {"Sheet", "id", "", "what the client sent. The column is the truth."},
    {"Sheet", "uid", "", "a text that names the sheet for good. The column is the truth."},
    {"Revision", "id", "", "what the client sent. The column is the truth."},
    {"Revision", "uid", "", "a text that names the revision for good. The column is the truth."},
    {"Revision", "sheet_id", "",
     "`id` of the row of `sheet`. The column is the truth: the record "
     "may say another sheet after an update, and the revision still "
     "belongs to that of the column."},
    {"FabricType", "id", "",
     "what the client sent. In the table `fabric_type` the column is the "
     "truth. In a fabric, `id` of the row of `fabric_type`."},
    {"FabricType", "uid", "",
     "a text that names the type for good. In the table `fabric_type` the "
     "column is the truth."},
    {"Rebar", "id", "", "what the client sent. Not the row's number."},
    {"Rebar", "rev_id", "", "`id` of the row of `revision`"},
    {"Rebar", "sheet_id", "", "what the client sent; -1 if nothing. Go by the revision instead."},
    {"Rebar", "material_id", "", "`id` of the row of `material`"},
    {"Fabric", "rev_id", "", "`id` of the row of `revision`"},
    {"Fabric", "sheet_id", "", "what the client sent; -1 if nothing. Go by the revision instead."},
    {"BarSpacer", "rev_id", "", "`id` of the row of `revision`, which may be gone"},
    {"BarSpacer", "sheet_id", "",
     "what the client sent; 0 if nothing. Go by the revision instead."},
    {"MountingPart", "id", "", "what the client sent. Not the row's number."},
    {"MountingPart", "rev_id", "", "`id` of the row of `revision`"},
    {"MountingPart", "sheet_id", "",
     "what the client sent; 0 if nothing. Go by the revision instead."},
    {"MountingPart", "material_id", "", "`id` of the row of `material`"},
};

}  // namespace

std::span<const Meaning> row_meanings() { return kMeanings; }

}  // namespace korvane::model::tables
