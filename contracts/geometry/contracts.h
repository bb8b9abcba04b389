#pragma once

#include "contracts/geometry/coordinate_system.h"
#include "contracts/geometry/curve.h"
#include "contracts/geometry/loop.h"
#include "contracts/geometry/mesh.h"
#include "contracts/geometry/point.h"
#include "contracts/geometry/vector.h"

/// All contracts of `korvane::model::geometry`, each once. Whatever is made or listed for each
/// contract derives from these lists.
#define KORVANE_GEOMETRY_CONTRACTS(X) \
  X(CoordinateSystem)                 \
  X(Line)                             \
  X(Arc)                              \
  X(NurbsCurve)                       \
  X(Polygon)                          \
  X(AnyCurve)                         \
  X(PolyCurve)                        \
  X(Curve)                            \
  X(Loop)                             \
  X(Mesh)                             \
  X(Surface)                          \
  X(Point3d)                          \
  X(Point2)                           \
  X(Vector2)                          \
  X(Vector3)
#define KORVANE_GEOMETRY_ENUMERATIONS(X) \
  X(CurveKind)                           \
  X(LoopKind)
