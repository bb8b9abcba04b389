#include "contracts/meanings/meanings_data.h"

namespace korvane::meanings {

namespace {

constexpr Meaning kMeanings[] = {
    {"ProjectData", "", "", "The project as a whole."},
    {"ProjectData", "properties", "", "whatever clients note of the project"},

    {"Material", "", "", "A material of the catalogue."},
    {"Material", "id", "",
     "number of the material, given by the store. Creating one does not go by it, updating does."},
    {"Material", "uid", "",
     "a text that names the material for good, usually a UUID. If it is empty when the material is "
     "created, the store makes one."},
    {"Material", "identity", "", "its names"},
    {"Material", "physical", "", "its physical side"},

    {"Material_Identity", "", "", "The names of a material."},
    {"Material_Identity", "name", "", "name, for steel the grade: \"B500A\""},
    {"Material_Identity", "description", "", "description"},
    {"Material_Identity", "keyword", "", "keyword"},
    {"Material_Identity", "comment", "", "comment"},

    {"Material_Physical", "", "", "The physical side of a material."},
    {"Material_Physical", "name", "", "name of the physical properties"},
    {"Material_Physical", "description", "", "description"},
    {"Material_Physical", "keyword", "", "keyword"},
    {"Material_Physical", "comment", "", "comment"},
    {"Material_Physical", "density", "kg/m³", "density; 0 if not stated"},

    {"Sheet", "", "", "A drawing sheet."},
    {"Sheet", "id", "",
     "number of the sheet, given by the store. Creating one does not go by it, updating does."},
    {"Sheet", "uid", "",
     "a text that names the sheet for good. If it is empty when the sheet is created, the store "
     "makes one."},
    {"Sheet", "name", "", "name or number of the drawing: \"417\""},
    {"Sheet", "comment", "", "comment"},
    {"Sheet", "properties", "", "whatever clients note of the sheet"},

    {"Revision", "", "", "One revision of a sheet."},
    {"Revision", "id", "",
     "number of the revision, given by the store. Creating one does not go by it, updating does."},
    {"Revision", "uid", "",
     "a text that names the revision for good. If it is empty when the revision is created, the "
     "store makes one."},
    {"Revision", "name", "", "name or letter of the revision: \"a\""},
    {"Revision", "properties", "", "whatever clients note of the revision"},
    {"Revision", "sheet_id", "",
     "`id` of its sheet. Only creating a revision goes by it: it stays with that sheet, whatever "
     "an update says."},

    {"FabricType", "", "", "A type of fabric (welded mesh)."},
    {"FabricType", "id", "",
     "number of the type, given by the store. Creating one does not go by it, updating does. In a "
     "fabric, `id` of the type in the catalogue."},
    {"FabricType", "uid", "",
     "a text that names the type for good. If it is empty when the type is created, the store "
     "makes one."},
    {"FabricType", "sheet_mass", "kg", "weight of one whole sheet"},
    {"FabricType", "overall_length", "mm", "length of a whole sheet"},
    {"FabricType", "overall_width", "mm", "width of a whole sheet"},
    {"FabricType", "type_name", "", "name of the type: \"Q257A\""},
    {"FabricType", "material", "",
     "a copy of the material as the client had it. Its `id` is that "
     "of the row of `material`; the rest may be out of date."},
    {"FabricType", "description", "", "description"},
    {"FabricType", "list_fabric", "",
     "the layout of its bars. Set for fabric that is made to order "
     "(list fabric), not for stock."},

    {"ListenMatten", "", "",
     "The bars of a list fabric: along it, which is in the direction of its "
     "length, and across. Border bars are those at the edges where the "
     "diameter may differ."},
    {"ListenMatten", "along_distance", "mm", "spacing of the bars that run along"},
    {"ListenMatten", "along_inner_bar_diameter", "mm", "their diameter inside"},
    {"ListenMatten", "along_border_bar_diameter", "mm", "their diameter at the borders"},
    {"ListenMatten", "along_left_border_bar_number", "pieces", "how many at the left border"},
    {"ListenMatten", "along_right_border_bar_number", "pieces", "how many at the right border"},
    {"ListenMatten", "along_start_overhang", "mm",
     "how far they stand out over the first bar across"},
    {"ListenMatten", "along_end_overhang", "mm", "how far they stand out over the last bar across"},
    {"ListenMatten", "across_distance", "mm", "spacing of the bars that run across"},
    {"ListenMatten", "across_inner_bar_diameter", "mm", "their diameter inside"},
    {"ListenMatten", "across_border_bar_diameter", "mm", "their diameter at the borders"},
    {"ListenMatten", "across_start_border_bar_number", "pieces", "how many at the start"},
    {"ListenMatten", "across_end_border_bar_number", "pieces", "how many at the end"},
    {"ListenMatten", "across_left_overhang", "mm",
     "how far they stand out over the leftmost bar along"},
    {"ListenMatten", "across_right_overhang", "mm",
     "how far they stand out over the rightmost bar along"},

    {"Variant", "", "",
     "An open value. The field that is set says of what kind it is. Nothing "
     "forbids that none is set or several are."},
    {"Variant", "value_int32", "", "a whole number"},
    {"Variant", "value_double", "", "a number"},
    {"Variant", "value_string", "", "a text"},
    {"Variant", "value_blob", "", "bytes"},
    {"Variant", "bool_", "", "true or false. The name ends in an underscore."},
};

}  // namespace

std::span<const Meaning> catalogue_meanings() { return kMeanings; }

}  // namespace korvane::meanings
