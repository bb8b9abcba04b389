#pragma once

/// The descriptions of all contracts of this folder.
#include "contracts/geometry/contracts.h"
#include "contracts/geometry/coordinate_system.describe.h"
#include "contracts/geometry/curve.describe.h"
#include "contracts/geometry/loop.describe.h"
#include "contracts/geometry/mesh.describe.h"
#include "contracts/geometry/point.describe.h"
#include "contracts/geometry/vector.describe.h"
