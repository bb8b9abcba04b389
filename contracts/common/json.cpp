#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/make_json.h"

#define MAKE_JSON(name) KORVANE_MAKE_JSON(korvane::name)

KORVANE_COMMON_CONTRACTS(MAKE_JSON)
