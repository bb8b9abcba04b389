#include "contracts/encoding/make_contract.h"
#include "contracts/geometry/contracts.describe.h"

#define MAKE_CONTRACT(name) KORVANE_MAKE_CONTRACT(korvane::model::geometry::name)
#define MAKE_ENUMERATION(name) KORVANE_MAKE_ENUMERATION(korvane::model::geometry::name)

KORVANE_GEOMETRY_CONTRACTS(MAKE_CONTRACT)
KORVANE_GEOMETRY_ENUMERATIONS(MAKE_ENUMERATION)
