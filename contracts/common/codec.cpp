#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/make_codec.h"

#define MAKE_CONTRACT(name) KORVANE_MAKE_CONTRACT(korvane::name)
#define MAKE_ENUMERATION(name) template struct bond::EnumMaps<korvane::name>;

KORVANE_COMMON_CONTRACTS(MAKE_CONTRACT)
KORVANE_COMMON_ENUMERATIONS(MAKE_ENUMERATION)
