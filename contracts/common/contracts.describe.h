#pragma once

/// The descriptions of all contracts of this folder.
#include "contracts/common/batch.describe.h"
#include "contracts/common/contracts.h"
#include "contracts/common/empty.describe.h"
#include "contracts/common/generic_reply.describe.h"
#include "contracts/common/optional_value.describe.h"
#include "contracts/common/rgba_color.describe.h"
#include "contracts/common/variant.describe.h"
