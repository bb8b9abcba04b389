#include "contracts/encoding/make_json.h"
#include "contracts/geometry/contracts.describe.h"

#define MAKE_JSON(name) KORVANE_MAKE_JSON(korvane::model::geometry::name)

KORVANE_GEOMETRY_CONTRACTS(MAKE_JSON)
