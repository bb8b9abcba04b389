#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/make_json.h"

#define MAKE_JSON(name) KORVANE_MAKE_JSON(korvane::model::cad::name)

KORVANE_CAD_CONTRACTS(MAKE_JSON)

#define MAKE_BATCH(name) KORVANE_MAKE_JSON(korvane::Batch<korvane::model::cad::name>)
#define MAKE_OPTIONAL_VALUE(name) \
  KORVANE_MAKE_JSON(korvane::OptionalValue<korvane::model::cad::name>)

KORVANE_BATCH_ITEMS(MAKE_BATCH)
KORVANE_OPTIONAL_VALUES(MAKE_OPTIONAL_VALUE)
