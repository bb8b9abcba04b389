#pragma once

#include "contracts/common/batch.h"
#include "contracts/common/empty.h"
#include "contracts/common/generic_reply.h"
#include "contracts/common/optional_value.h"
#include "contracts/common/rgba_color.h"
#include "contracts/common/variant.h"

/// All contracts of `korvane`, each once. Whatever is made or listed for each contract derives from
/// these lists.
#define KORVANE_COMMON_CONTRACTS(X) \
  X(Empty)                          \
  X(GenericReply)                   \
  X(RGBA_Color)                     \
  X(Variant)
#define KORVANE_COMMON_ENUMERATIONS(X) X(VariantKind)
