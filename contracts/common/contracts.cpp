#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/make_contract.h"

#define MAKE_CONTRACT(name) KORVANE_MAKE_CONTRACT(korvane::name)
#define MAKE_ENUMERATION(name) KORVANE_MAKE_ENUMERATION(korvane::name)

KORVANE_COMMON_CONTRACTS(MAKE_CONTRACT)
KORVANE_COMMON_ENUMERATIONS(MAKE_ENUMERATION)

KORVANE_MAKE_GENERIC(korvane::Batch)
KORVANE_MAKE_GENERIC(korvane::OptionalValue)
