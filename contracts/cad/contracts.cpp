#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/make_contract.h"

#define MAKE_CONTRACT(name) KORVANE_MAKE_CONTRACT(korvane::model::cad::name)
#define MAKE_ENUMERATION(name) KORVANE_MAKE_ENUMERATION(korvane::model::cad::name)

KORVANE_CAD_CONTRACTS(MAKE_CONTRACT)
KORVANE_CAD_ENUMERATIONS(MAKE_ENUMERATION)

#define MAKE_BATCH(name) KORVANE_MAKE_RECORD(korvane::Batch<korvane::model::cad::name>)
#define MAKE_OPTIONAL_VALUE(name) \
  KORVANE_MAKE_RECORD(korvane::OptionalValue<korvane::model::cad::name>)

KORVANE_BATCH_ITEMS(MAKE_BATCH)
KORVANE_OPTIONAL_VALUES(MAKE_OPTIONAL_VALUE)
